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

}  // namespace kt::kernels
