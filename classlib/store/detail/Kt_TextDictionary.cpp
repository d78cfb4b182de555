// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_TextDictionary.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"

namespace kt::detail {

namespace {

// A search longer than this means texts made to collide; the hash is given up then, so that no
// input makes loading quadratic.
constexpr std::size_t kMaxProbes = 256;

std::uint64_t Mixed(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * 0x9E3779B97F4A7C15u;
  return hash ^ (hash >> 29);
}

std::uint64_t MixedUnits(std::uint64_t hash, std::u16string_view text, std::size_t& at) {
  for (; at + 4 <= text.size(); at += 4) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, sizeof word);
    hash = Mixed(hash, word);
  }
  return hash;
}

// False when the work is stopped.
bool Hash(std::u16string_view text, std::size_t& out) {
  static_assert(kPieceUnits % 4 == 0);
  std::uint64_t hash = text.size();
  std::size_t at = 0;
  bool is_whole = true;
  if (KT_LIKELY(text.size() <= kShortUnits)) {
    hash = MixedUnits(hash, text, at);
  } else {
    is_whole = InPieces(text.size(), 1, [&](std::size_t first, std::size_t count) {
      hash = MixedUnits(hash, text.substr(0, first + count), at);
      return true;
    });
  }
  std::uint64_t rest = 0;
  for (; is_whole && at < text.size(); ++at) rest = rest << 16 | text[at];
  out = static_cast<std::size_t>(Mixed(hash, rest));
  return is_whole;
}

std::size_t HashOrLeave(std::u16string_view text) {
  std::size_t hash = 0;
  if (!Hash(text, hash)) throw WorkStopped();
  return hash;
}

// The usual texts are compared at once.
bool IsSame(std::u16string_view a, std::u16string_view b) {
  if (KT_UNLIKELY(a.size() > kShortUnits)) return IsSameText(a, b);
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0;
}

// Texts that begin alike cost as many units as they have in common.
bool ComesBefore(std::u16string_view a, std::u16string_view b, RoundCharge& charge) {
  charge.AddOrLeave(3 * Kt_WorkMeter::kUnitsPerCell);
  while (std::min(a.size(), b.size()) > kShortUnits) {
    charge.AddOrLeave(kShortUnits);
    const int order = a.substr(0, kShortUnits).compare(b.substr(0, kShortUnits));
    if (order != 0) return order < 0;
    a.remove_prefix(kShortUnits);
    b.remove_prefix(kShortUnits);
  }
  return a < b;
}

}  // namespace

std::optional<std::uint32_t> TextDictionary::Find(std::u16string_view text) const {
  if (text.empty()) return 0;
  if (table_.empty()) return std::nullopt;
  const std::size_t mask = table_.size() - 1;
  std::size_t at = 0;
  if (!Hash(text, at)) return std::nullopt;
  for (at &= mask; table_[at] != 0; at = (at + 1) & mask) {
    if (IsSame(texts_[table_[at]].View(), text)) return table_[at];
  }
  return std::nullopt;
}

void TextDictionary::DropHash() {
  unique_ = false;
  CountedVector<std::uint32_t>().swap(table_);
}

// At least half of the places stay free, so that every search ends.
CountedVector<std::uint32_t> TextDictionary::TableOf(const CountedVector<Kt_WString>& texts) {
  std::size_t size = 64;
  while (size < texts.size() * 2) size *= 2;
  CountedVector<std::uint32_t> table(size);
  const std::size_t mask = size - 1;
  RoundCharge charge;
  for (std::uint32_t code = 1; code < texts.size(); ++code) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    std::size_t at = HashOrLeave(texts[code].View()) & mask;
    while (table[at] != 0) at = (at + 1) & mask;
    table[at] = code;
  }
  return table;
}

template <class Source>
std::uint32_t TextDictionary::AddText(const Source& text, std::u16string_view view,
                                      std::size_t row_count) {
  if (view.empty()) return 0;
  const auto next = static_cast<std::uint32_t>(texts_.size());
  if (unique_) {
    if (texts_.size() > kMinTexts && texts_.size() > row_count / 2) DropHash();
  }
  if (!unique_) {
    texts_.emplace_back(text);
    return next;
  }
  if (texts_.size() * 2 > table_.size()) table_ = TableOf(texts_);
  const std::size_t mask = table_.size() - 1;
  std::size_t at = HashOrLeave(view) & mask;
  std::size_t probes = 0;
  for (; table_[at] != 0; at = (at + 1) & mask) {
    if (IsSame(texts_[table_[at]].View(), view)) return table_[at];
    ++probes;
  }
  if (view.size() > kShortUnits) ChargeOrLeave(0);  // a comparison may have been stopped
  texts_.emplace_back(text);
  table_[at] = next;
  if (probes > kMaxProbes) DropHash();
  return next;
}

std::uint32_t TextDictionary::Add(std::u16string_view text, std::size_t row_count) {
  return AddText(text, text, row_count);
}

std::uint32_t TextDictionary::Add(const Kt_WString& text, std::size_t row_count) {
  return AddText(text, text.View(), row_count);
}

// Everything that may run out of memory comes before the first change.
void TextDictionary::Compact(CountedVector<std::uint32_t>& codes) {
  CountedVector<std::uint32_t> renumbered(texts_.size(), 0);
  CountedVector<Kt_WString> kept(1);
  for (const std::uint32_t code : codes) {
    if (code == 0 || renumbered[code] != 0) continue;
    renumbered[code] = static_cast<std::uint32_t>(kept.size());
    kept.push_back(texts_[code]);
  }
  if (unique_) table_ = TableOf(kept);
  texts_.swap(kept);
  for (std::uint32_t& code : codes) code = renumbered[code];
}

// Two halves are sorted, each by a thread where there are two, and merged.
CountedVector<std::uint32_t> TextDictionary::Ranks() const {
  CountedVector<std::uint32_t> halves(texts_.size());
  std::iota(halves.begin(), halves.end(), 0u);
  const auto middle = halves.begin() + static_cast<std::ptrdiff_t>(halves.size() / 2);
  const auto before_by = [this](RoundCharge& charge) {
    return [this, &charge](std::uint32_t a, std::uint32_t b) {
      return ComesBefore(texts_[a].View(), texts_[b].View(), charge);
    };
  };
  const auto sort = [&](auto first, auto last) {
    RoundCharge charge;
    std::sort(first, last, before_by(charge));
  };
  Helper helper(halves.size());
  helper.Both([&] { sort(halves.begin(), middle); }, [&] { sort(middle, halves.end()); });
  CountedVector<std::uint32_t> order(halves.size());
  RoundCharge charge;
  std::merge(halves.begin(), middle, middle, halves.end(), order.begin(), before_by(charge));
  CountedVector<std::uint32_t> ranks(texts_.size());
  std::uint32_t rank = 0;
  for (std::size_t at = 0; at < order.size(); ++at) {
    charge.AddOrLeave(Kt_WorkMeter::kUnitsPerCell);
    if (at > 0 && !IsSameText(texts_[order[at]].View(), texts_[order[at - 1]].View())) ++rank;
    ranks[order[at]] = rank;
  }
  return ranks;
}

}  // namespace kt::detail
