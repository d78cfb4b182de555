// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_NearestName.h"

#include <algorithm>
#include <vector>

namespace {

// Longer names are no slip of the finger, and comparing them takes time.
constexpr std::size_t kMaxCompared = 100;

// How many units have to be put in, taken out, replaced or swapped with the next; case does not
// count. One row for each unit of `a` is computed from the two before.
std::size_t EditDistance(std::u16string_view a, std::u16string_view b) {
  const auto is_same = [&](std::size_t i, std::size_t j) {
    return kt_foldcaseW(a[i]) == kt_foldcaseW(b[j]);
  };
  std::vector<std::size_t> before(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    before.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (is_same(i - 1, j - 1) ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      const bool is_swapped = i > 1 && j > 1 && is_same(i - 1, j - 2) && is_same(i - 2, j - 1);
      if (is_swapped) row[j] = std::min(row[j], before[j - 2] + 1);
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
