// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Searches in plain arrays: how many cells come before the first one that equals `wanted`, all of
// them when none does. Dense forms walk `count` cells in a row, Listed forms those that a list of
// row numbers names. Pieces of cells are compared as a whole, and looked into only when they have
// one.
namespace kt::kernels {

inline constexpr std::size_t kCellsCompared = 128;

// same(at) for `count` cells.
template <class Same>
std::size_t FindWhere(std::size_t count, Same same) {
  std::size_t at = 0;
  for (; at + kCellsCompared <= count; at += kCellsCompared) {
    unsigned any = 0;
    for (std::size_t next = at; next < at + kCellsCompared; ++next) any |= same(next) ? 1u : 0u;
    if (any != 0) break;
  }
  while (at < count && !same(at)) ++at;
  return at;
}

template <class T>
std::size_t FindDense(const T* cells, std::size_t count, T wanted) {
  return FindWhere(count, [=](std::size_t at) { return cells[at] == wanted; });
}

template <class T>
std::size_t FindListed(const T* cells, const std::uint32_t* rows, std::size_t count, T wanted) {
  return FindWhere(count, [=](std::size_t at) { return cells[rows[at]] == wanted; });
}

}  // namespace kt::kernels
