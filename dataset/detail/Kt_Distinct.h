// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_VariantCompare.h"
#include "dataset/detail/Kt_NumberTable.h"

namespace kt::detail {

using Numbers = CountedVector<std::uint32_t>;  // of groups or values, by row

// Of a row without a group, and of a value that nobody has numbered.
inline constexpr std::uint32_t kNoGroup = std::numeric_limits<std::uint32_t>::max();
static_assert(NumberTable::kNone == kNoGroup);

// Of two keys that are equal the one whose kind stays, whichever came first.
inline void KeepKind(Kt_Variant& kept, const Kt_Variant& other) {
  if (other.GetTag() > kept.GetTag()) kept = other;
}

// The distinct values of a key, numbered as they come.
class Distinct {
 public:
  std::uint32_t NumberOf(const Kt_Variant& held) {
    const Kt_Variant& value = held.Target();
    const auto [place, is_new] =
        numbers_.try_emplace(value, static_cast<std::uint32_t>(values_.size()));
    if (is_new) {
      values_.push_back(value);
    } else {
      KeepKind(values_[place->second], value);
    }
    return place->second;
  }
  const Kt_Variant& Value(std::uint32_t number) const { return values_[number]; }
  std::size_t Count() const { return values_.size(); }

 private:
  struct Hash {
    std::size_t operator()(const Kt_Variant& value) const { return kt::HashOf(value); }
  };
  std::unordered_map<Kt_Variant, std::uint32_t, Hash> numbers_;
  std::vector<Kt_Variant> values_;
};

// The distinct pairs of a group and a value, numbered as they come: by a table of all pairs there
// can be where that is small, else by a hash.
class PairNumbers {
 public:
  struct Pair {
    std::uint32_t group;
    std::uint32_t value;
  };

  PairNumbers(std::size_t group_count, std::size_t value_count, std::size_t most_places)
      : value_count_(value_count) {
    if (group_count * value_count <= most_places)
      table_.assign(group_count * value_count, kNoGroup);
  }

  std::size_t Count() const { return pairs_.size(); }
  const CountedVector<Pair>& Pairs() const { return pairs_; }

  // Puts the numbers of their pairs in the place of the groups of rows that have one.
  void NumberRows(Numbers& groups, const Numbers& values, std::size_t first, std::size_t end) {
    if (table_.empty()) {
      NumberBy([this](Pair pair) -> std::uint32_t& { return InHash(pair); }, groups, values, first,
               end);
    } else {
      NumberBy([this](Pair pair) -> std::uint32_t& { return InTable(pair); }, groups, values, first,
               end);
    }
  }
  // Numbers the pairs of later rows after those that are known, as if they had come by here; gives
  // their numbers by what they had there.
  Numbers TakeIn(const PairNumbers& later) {
    Numbers here;
    here.reserve(later.Count());
    for (const Pair pair : later.pairs_) {
      here.push_back(Known(table_.empty() ? InHash(pair) : InTable(pair), pair));
    }
    return here;
  }

 private:
  std::uint32_t& InTable(Pair pair) {
    return table_[std::size_t{pair.group} * value_count_ + pair.value];
  }
  std::uint32_t& InHash(Pair pair) {
    return hash_.NumberOf(std::uint64_t{pair.group} << 32 | pair.value);
  }
  std::uint32_t Known(std::uint32_t& known, Pair pair) {
    if (KT_UNLIKELY(known == kNoGroup)) {
      known = static_cast<std::uint32_t>(pairs_.size());
      pairs_.push_back(pair);
    }
    return known;
  }
  template <class KnownOf>
  void NumberBy(KnownOf known_of, Numbers& groups, const Numbers& values, std::size_t first,
                std::size_t end) {
    for (std::size_t row = first; row < end; ++row) {
      if (groups[row] == kNoGroup) continue;
      const Pair pair{groups[row], values[row]};
      groups[row] = Known(known_of(pair), pair);
    }
  }

  std::size_t value_count_;
  Numbers table_;
  NumberTable hash_;
  CountedVector<Pair> pairs_;
};

}  // namespace kt::detail
