// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Helper.h"
#include "classlib/base/Kt_Memory.h"

// Sorting of rows by prepared keys: every cell becomes a 64-bit number once, in an order that is
// that of the cells, and only the numbers are compared.
//
// Rows are moved by counts: how many rows have a digit tells where the first one with it goes, the
// next one goes behind it, and so on. Two threads count a half each, and then know where the rows
// of the second half begin for every digit: behind those of the first. So each moves its half to
// the places that one thread would have given it.
namespace kt::kernels {

using kt::detail::Helper;

inline std::uint64_t KeyOf(std::int32_t value) {
  return static_cast<std::uint64_t>(std::int64_t{value}) ^ std::uint64_t{1} << 63;
}
inline std::uint64_t KeyOf(std::uint32_t rank) { return rank; }
inline std::uint64_t KeyOf(std::int64_t value) {
  return static_cast<std::uint64_t>(value) ^ std::uint64_t{1} << 63;
}
// 0 and -0 are equal, NaN is after all numbers.
inline std::uint64_t KeyOf(double value) {
  if (std::isnan(value)) return ~std::uint64_t{0};
  const auto bits = std::bit_cast<std::uint64_t>(value + 0.0);
  return (bits >> 63) != 0 ? ~bits : bits | std::uint64_t{1} << 63;
}

// Turns how many rows each half has of every digit into where the first one goes.
template <class Counts>
void StartsOfCounts(Counts& first_half, Counts& second_half) {
  std::uint32_t start = 0;
  for (std::size_t digit = 0; digit < first_half.size(); ++digit) {
    start += std::exchange(first_half[digit], start);
    start += std::exchange(second_half[digit], start);
  }
}

// work(at) for all of [0, count), in halves.
template <class Work>
void ForEachIn(Helper& helper, std::size_t count, Work work) {
  helper.InHalves(count, [&](std::size_t first, std::size_t end) {
    for (std::size_t at = first; at < end; ++at) work(at);
  });
}

// Sorts words by `bits` of their bits, those from `shift` on; stable. Digit by digit from the
// lowest, with as few digits as the counts of one allow that stay in the nearest cache. `spare` is
// working memory. Calls charge(rows) for each pass over the words; it may throw, and they are then
// in no order.
template <class Charge>
void SortWords(CountedVector<std::uint64_t>& words, CountedVector<std::uint64_t>& spare, int shift,
               int bits, Charge charge, Helper& helper) {
  constexpr std::size_t kFewRows = 1024;
  if (words.size() < kFewRows) {
    std::stable_sort(words.begin(), words.end(), [shift](std::uint64_t a, std::uint64_t b) {
      return (a >> shift) < (b >> shift);
    });
    return;
  }
  constexpr int kMostBits = 11;  // of a digit
  const int digits = (bits + kMostBits - 1) / kMostBits;
  const int digit_bits = (bits + digits - 1) / digits;
  const std::uint64_t mask = (std::uint64_t{1} << digit_bits) - 1;
  spare.resize(words.size());
  using Counts = std::array<std::uint32_t, std::size_t{1} << kMostBits>;
  for (int digit = 0; digit < digits; ++digit, shift += digit_bits) {
    charge(2 * words.size());
    std::array<Counts, 2> halves{};
    helper.InHalves(words.size(), [&](std::size_t first, std::size_t end) {
      Counts& counts = halves[first > 0 ? 1 : 0];
      for (std::size_t at = first; at < end; ++at) ++counts[words[at] >> shift & mask];
    });
    StartsOfCounts(halves[0], halves[1]);
    helper.InHalves(words.size(), [&](std::size_t first, std::size_t end) {
      Counts& places = halves[first > 0 ? 1 : 0];
      for (std::size_t at = first; at < end; ++at) {
        spare[places[words[at] >> shift & mask]++] = words[at];
      }
    });
    words.swap(spare);
  }
}

// Sorts rows by keys of so few bits that every key can have a counter; stable. One pass counts,
// another one moves. The keys stay where they are. Gives where the rows of each key end.
template <class Word, class Charge>
CountedVector<std::uint32_t> SortByCounts(const CountedVector<Word>& keys,
                                          CountedVector<std::uint32_t>& rows, int key_bits,
                                          Charge charge, Helper& helper) {
  charge(3 * keys.size());
  using Counts = CountedVector<std::uint32_t>;
  Counts first_half(std::size_t{1} << key_bits);
  Counts second_half(helper.IsThere() ? first_half.size() : 0);
  helper.InHalves(keys.size(), [&](std::size_t first, std::size_t end) {
    Counts& counts = first > 0 ? second_half : first_half;
    for (std::size_t at = first; at < end; ++at) ++counts[keys[at]];
  });
  if (helper.IsThere()) {
    StartsOfCounts(first_half, second_half);
  } else {
    std::uint32_t start = 0;
    for (std::uint32_t& count : first_half) start += std::exchange(count, start);
  }
  CountedVector<std::uint32_t> sorted(keys.size());
  helper.InHalves(keys.size(), [&](std::size_t first, std::size_t end) {
    Counts& places = first > 0 ? second_half : first_half;
    if (rows.empty()) {
      for (std::size_t at = first; at < end; ++at) {
        sorted[places[keys[at]]++] = static_cast<std::uint32_t>(at);
      }
    } else {
      for (std::size_t at = first; at < end; ++at) sorted[places[keys[at]]++] = rows[at];
    }
  });
  rows.swap(sorted);
  return helper.IsThere() ? std::move(second_half) : std::move(first_half);
}

// Whether the counters are few beside the rows, and stay in the caches.
inline bool CanSortByCounts(std::size_t rows, int key_bits) {
  constexpr int kMostBits = 17;
  return key_bits <= kMostBits && std::size_t{4} << key_bits <= rows;
}

// The bits of keys by which they differ: `width` of them from `low` on; 0: all keys are the same.
struct KeyBits {
  int low;
  int width;
  std::uint64_t Mask() const { return ~std::uint64_t{0} >> (64 - width); }
};

inline KeyBits DifferentBits(const CountedVector<std::uint64_t>& keys) {
  std::uint64_t different = 0;
  for (const std::uint64_t key : keys) different |= key ^ keys[0];
  if (different == 0) return {0, 0};
  const int low = std::countr_zero(different);
  return {low, static_cast<int>(std::bit_width(different)) - low};
}

// Keys and rows that have room in one word. REQUIRES: bits.width > 0.
template <class Charge>
void SortInOneWord(CountedVector<std::uint64_t>& keys, CountedVector<std::uint32_t>& rows,
                   KeyBits bits, int row_bits, Charge charge, Helper& helper) {
  const std::uint64_t same = keys[0] & ~(bits.Mask() << bits.low);
  ForEachIn(helper, rows.size(), [&](std::size_t at) {
    keys[at] = (keys[at] >> bits.low & bits.Mask()) << row_bits | rows[at];
  });
  CountedVector<std::uint64_t> spare;
  SortWords(keys, spare, row_bits, bits.width, charge, helper);
  const std::uint64_t row_mask = (std::uint64_t{1} << row_bits) - 1;
  ForEachIn(helper, rows.size(), [&](std::size_t at) {
    rows[at] = static_cast<std::uint32_t>(keys[at] & row_mask);
    keys[at] = keys[at] >> row_bits << bits.low | same;
  });
}

// Runs of up to so many rows are sorted where they are.
constexpr std::size_t kShortRun = 16;

// Stable, by insertion: [first, last) of the keys, and of the words with them.
inline void SortShortRun(CountedVector<std::uint64_t>& keys, CountedVector<std::uint64_t>& words,
                         std::size_t first, std::size_t last) {
  for (std::size_t next = first + 1; next < last; ++next) {
    for (std::size_t at = next; at > first && keys[at] < keys[at - 1]; --at) {
      std::swap(keys[at], keys[at - 1]);
      std::swap(words[at], words[at - 1]);
    }
  }
}

// Keys that are too wide for that, doubles for one: a word has a row's place and as many of the
// leading bits of its key as there is room for. These hardly ever leave keys undecided that are not
// equal; what they leave is sorted once more, by all bits.
template <class Charge>
void SortByLeadingBits(CountedVector<std::uint64_t>& keys, CountedVector<std::uint32_t>& rows,
                       KeyBits bits, Charge charge, Helper& helper) {
  const std::size_t count = rows.size();
  const auto place_bits = static_cast<int>(std::bit_width(count - 1));
  const std::uint64_t place_mask = (std::uint64_t{1} << place_bits) - 1;
  const int leading = 64 - place_bits;
  const int left_out = bits.low + bits.width - leading;
  CountedVector<std::uint64_t> words(count);
  ForEachIn(helper, count,
            [&](std::size_t at) { words[at] = keys[at] >> left_out << place_bits | at; });
  CountedVector<std::uint64_t> sorted_keys;
  SortWords(words, sorted_keys, place_bits, leading, charge, helper);

  charge(3 * count);
  sorted_keys.resize(count);
  ForEachIn(helper, count, [&](std::size_t at) { sorted_keys[at] = keys[words[at] & place_mask]; });
  Helper alone(0);  // runs are short
  CountedVector<std::uint64_t> run_keys;
  CountedVector<std::uint32_t> run_places;
  for (std::size_t first = 0, last = 0; first < count; first = last) {
    bool is_sorted = true;
    for (last = first + 1; last < count; ++last) {
      if (words[last] >> place_bits != words[first] >> place_bits) break;
      is_sorted = is_sorted && sorted_keys[last - 1] <= sorted_keys[last];
    }
    if (is_sorted) continue;
    if (last - first <= kShortRun) {
      SortShortRun(sorted_keys, words, first, last);
      continue;
    }
    run_keys.assign(sorted_keys.data() + first, sorted_keys.data() + last);
    run_places.clear();
    for (std::size_t at = first; at < last; ++at) {
      run_places.push_back(static_cast<std::uint32_t>(words[at] & place_mask));
    }
    SortInOneWord(run_keys, run_places, DifferentBits(run_keys), place_bits, charge, alone);
    std::copy(run_keys.begin(), run_keys.end(), sorted_keys.data() + first);
    std::copy(run_places.begin(), run_places.end(), words.data() + first);
  }

  CountedVector<std::uint32_t> sorted_rows(count);
  ForEachIn(helper, count, [&](std::size_t at) { sorted_rows[at] = rows[words[at] & place_mask]; });
  rows.swap(sorted_rows);
  keys.swap(sorted_keys);
}

// Sorts rows by their keys of `key_bits` bits, and the keys with them; stable.
template <class Charge>
void SortRows(CountedVector<std::uint64_t>& keys, CountedVector<std::uint32_t>& rows, int key_bits,
              Charge charge, Helper& helper) {
  if (rows.empty() || key_bits == 0) return;
  if (CanSortByCounts(rows.size(), key_bits)) {
    const CountedVector<std::uint32_t> ends = SortByCounts(keys, rows, key_bits, charge, helper);
    std::size_t at = 0;
    for (std::uint64_t key = 0; key < ends.size(); ++key) {
      while (at < ends[key]) keys[at++] = key;
    }
    return;
  }
  charge(3 * rows.size());
  const KeyBits bits = DifferentBits(keys);
  if (bits.width == 0) return;
  const auto row_bits =
      static_cast<int>(std::bit_width(*std::max_element(rows.begin(), rows.end())));
  if (bits.width + row_bits <= 64) {
    SortInOneWord(keys, rows, bits, row_bits, charge, helper);
  } else {
    SortByLeadingBits(keys, rows, bits, charge, helper);
  }
}

// The same with a helper of its own.
template <class Charge>
void SortRows(CountedVector<std::uint64_t>& keys, CountedVector<std::uint32_t>& rows, int key_bits,
              Charge charge) {
  Helper helper(rows.size());
  SortRows(keys, rows, key_bits, charge, helper);
}

}  // namespace kt::kernels
