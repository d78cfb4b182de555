// SPDX-License-Identifier: MIT
#include "classlib/Kt_NearestName.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

// Longer names are no slip of the finger, and comparing them takes time.
constexpr std::size_t kMaxCompared = 100;

// How many units have to be put in, taken out or replaced; case does not count.
std::size_t EditDistance(std::u16string_view a, std::u16string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t at = 0; at <= b.size(); ++at) row[at] = at;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = kt_foldcaseW(a[i - 1]) == kt_foldcaseW(b[j - 1]);
      const std::size_t replaced = diagonal + (same ? 0 : 1);
      diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, replaced}));
    }
  }
  return row.back();
}

}  // namespace

const Kt_WString* kt_nearestnameW(std::u16string_view wanted, std::span<const Kt_WString> names) {
  if (wanted.size() > kMaxCompared) return nullptr;
  const Kt_WString* nearest = nullptr;
  // One more than may have to change; of a name of one character that would be all of it.
  std::size_t least = std::min(std::max<std::size_t>(wanted.size() / 3, 1) + 1, wanted.size());
  for (const Kt_WString& name : names) {
    const std::size_t size = name.View().size();
    // Names of such different lengths cannot be nearer.
    if (size > kMaxCompared || size + least <= wanted.size() || wanted.size() + least <= size) {
      continue;
    }
    const std::size_t distance = EditDistance(wanted, name);
    if (distance >= least) continue;
    least = distance;
    nearest = &name;
  }
  return nearest;
}
