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

#include "classlib/base/Kt_Memory.h"

// Sorting of rows by prepared keys: every cell becomes a 64-bit number once, in an order that is
// that of the cells, and only the numbers are compared.
namespace kt::kernels {

struct KeyedRow {
  std::uint64_t key;
  std::uint32_t row;
};

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

// Sorts words by `bits` of their bits, those from `shift` on; stable. Digit by digit from the
// lowest, with as few digits as the counts of one allow that stay in the nearest cache. `spare` is
// working memory. Calls charge(rows) for each pass over the words; it may throw, and they are then
// in no order.
template <class Charge>
void SortWords(CountedVector<std::uint64_t>& words, CountedVector<std::uint64_t>& spare, int shift,
               int bits, Charge charge) {
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
  for (int digit = 0; digit < digits; ++digit, shift += digit_bits) {
    charge(2 * words.size());
    std::array<std::uint32_t, std::size_t{1} << kMostBits> starts{};
    for (const std::uint64_t word : words) ++starts[word >> shift & mask];
    std::uint32_t start = 0;
    for (std::uint32_t& count : starts) start += std::exchange(count, start);
    for (const std::uint64_t word : words) spare[starts[word >> shift & mask]++] = word;
    words.swap(spare);
  }
}

// Stable. Byte by byte from the lowest; bytes that are the same everywhere are left out, and the
// counts of the others are taken in one pass. `spare` is working memory. Calls charge(rows) for
// each pass over the rows; it may throw, and the rows are then in no order.
template <class Charge>
void SortByKey(CountedVector<KeyedRow>& rows, CountedVector<KeyedRow>& spare, Charge charge) {
  constexpr std::size_t kFewRows = 1024;
  if (rows.size() < kFewRows) {
    std::stable_sort(rows.begin(), rows.end(),
                     [](const KeyedRow& a, const KeyedRow& b) { return a.key < b.key; });
    return;
  }
  charge(rows.size());
  spare.resize(rows.size());
  std::uint64_t different = 0;  // bits
  for (const KeyedRow& row : rows) different |= row.key ^ rows[0].key;
  std::array<std::uint8_t, 8> shifts;  // of the bytes that matter
  std::size_t bytes = 0;
  for (std::uint8_t shift = 0; shift < 64; shift += 8) {
    if ((different >> shift & 0xFF) != 0) shifts[bytes++] = shift;
  }
  std::array<std::array<std::uint32_t, 256>, 8> counts{};
  for (const KeyedRow& row : rows) {
    for (std::size_t byte = 0; byte < bytes; ++byte) ++counts[byte][row.key >> shifts[byte] & 0xFF];
  }
  for (std::size_t byte = 0; byte < bytes; ++byte) {
    std::array<std::uint32_t, 256>& starts = counts[byte];
    charge(rows.size());
    std::uint32_t start = 0;
    for (std::uint32_t& count : starts) start += std::exchange(count, start);
    for (const KeyedRow& row : rows) spare[starts[row.key >> shifts[byte] & 0xFF]++] = row;
    rows.swap(spare);
  }
}

// Sorts rows by keys of so few bits that every key can have a counter; stable. One pass counts,
// another one moves. The keys stay where they are. Gives where the rows of each key end.
template <class Charge>
CountedVector<std::uint32_t> SortByCounts(const CountedVector<std::uint64_t>& keys,
                                          CountedVector<std::uint32_t>& rows, int key_bits,
                                          Charge charge) {
  charge(3 * rows.size());
  CountedVector<std::uint32_t> ends(std::size_t{1} << key_bits);
  for (const std::uint64_t key : keys) ++ends[key];
  std::uint32_t start = 0;
  for (std::uint32_t& count : ends) start += std::exchange(count, start);
  CountedVector<std::uint32_t> sorted(rows.size());
  for (std::size_t at = 0; at < rows.size(); ++at) sorted[ends[keys[at]]++] = rows[at];
  rows.swap(sorted);
  return ends;
}

// Whether the counters are few beside the rows, and stay in the caches.
inline bool CanSortByCounts(std::size_t rows, int key_bits) {
  constexpr int kMostBits = 17;
  return key_bits <= kMostBits && std::size_t{4} << key_bits <= rows;
}

// Sorts rows by their keys of `key_bits` bits, and the keys with them; stable. Where both have room
// in one word they are sorted as one.
template <class Charge>
void SortRows(CountedVector<std::uint64_t>& keys, CountedVector<std::uint32_t>& rows, int key_bits,
              Charge charge) {
  if (rows.empty() || key_bits == 0) return;
  if (CanSortByCounts(rows.size(), key_bits)) {
    const CountedVector<std::uint32_t> ends = SortByCounts(keys, rows, key_bits, charge);
    std::size_t at = 0;
    for (std::uint64_t key = 0; key < ends.size(); ++key) {
      while (at < ends[key]) keys[at++] = key;
    }
    return;
  }
  charge(2 * rows.size());
  const auto row_bits =
      static_cast<int>(std::bit_width(*std::max_element(rows.begin(), rows.end())));
  if (key_bits + row_bits <= 64) {
    for (std::size_t at = 0; at < rows.size(); ++at) keys[at] = keys[at] << row_bits | rows[at];
    CountedVector<std::uint64_t> spare;
    SortWords(keys, spare, row_bits, key_bits, charge);
    const std::uint64_t mask = (std::uint64_t{1} << row_bits) - 1;
    for (std::size_t at = 0; at < rows.size(); ++at) {
      rows[at] = static_cast<std::uint32_t>(keys[at] & mask);
      keys[at] >>= row_bits;
    }
    return;
  }
  CountedVector<KeyedRow> keyed;
  CountedVector<KeyedRow> spare;
  keyed.reserve(rows.size());
  for (std::size_t at = 0; at < rows.size(); ++at) keyed.push_back({keys[at], rows[at]});
  SortByKey(keyed, spare, charge);
  for (std::size_t at = 0; at < rows.size(); ++at) {
    keys[at] = keyed[at].key;
    rows[at] = keyed[at].row;
  }
}

}  // namespace kt::kernels
