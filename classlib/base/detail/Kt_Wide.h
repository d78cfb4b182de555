// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace kt::detail {

// A product of two 64-bit numbers, whole.
struct WideProduct {
  std::uint64_t high;
  std::uint64_t low;
};

// By halves of 32 bits, as it is done on paper; for compilers without 128-bit integers.
constexpr WideProduct MultiplyHalves(std::uint64_t a, std::uint64_t b) {
  constexpr std::uint64_t kLow = 0xFFFFFFFF;
  const std::uint64_t low = (a & kLow) * (b & kLow);
  const std::uint64_t left = (a >> 32) * (b & kLow) + (low >> 32);  // at most 2^64 - 2^32
  const std::uint64_t right = (a & kLow) * (b >> 32) + (left & kLow);
  return {(a >> 32) * (b >> 32) + (left >> 32) + (right >> 32), right << 32 | (low & kLow)};
}

constexpr WideProduct MultiplyWide(std::uint64_t a, std::uint64_t b) {
#ifdef __SIZEOF_INT128__
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return {static_cast<std::uint64_t>(product >> 64), static_cast<std::uint64_t>(product)};
#else
  return MultiplyHalves(a, b);
#endif
}

}  // namespace kt::detail
