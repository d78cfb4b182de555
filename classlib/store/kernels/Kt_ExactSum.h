// SPDX-License-Identifier: MIT
//
// A sum of doubles without rounding. Every finite double is a whole number of units of 2^-1074, of
// at most 2098 binary digits. The sum is kept as that number, in chunks of 32 digits that are held
// in 64 bits each, so that a value is added to three of them at most and carries wait: 2^30 values
// fit before the chunks have to pass on what is beyond their 32 digits. Only Total rounds, once, to
// the nearest double (of two equally near ones the even one).
//
// So a sum depends neither on the order of its values nor on how they were cut into parts, and a
// sum in parts can be merged. The price is about three times that of plain addition.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace kt::kernels {

class ExactSum {
 public:
  // The 2098 digits of a double, and some for the carries of many.
  static constexpr std::size_t kChunks = 68;
  using Chunks = std::array<std::int64_t, kChunks>;
  static constexpr std::uint32_t kNoNumber = 0x7FF;  // the exponent of infinities and NaN

  void AddOne(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const auto exponent = static_cast<std::uint32_t>(bits >> 52 & 0x7FF);
    if (exponent == kNoNumber) {
      // Of infinities and NaN it matters only which of them there were.
      others_ = others_ == 0 || others_ == value ? value : std::numeric_limits<double>::quiet_NaN();
      return;
    }
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
    const std::uint64_t digits = exponent == 0 ? fraction : fraction | std::uint64_t{1} << 52;
    const std::uint32_t place = exponent == 0 ? 0 : exponent - 1;
    const std::uint32_t shift = place % 32;
    const std::size_t at = place / 32;
    const std::uint64_t low = (digits & kMask) << shift;
    const std::uint64_t high = ((digits >> 32) << shift) + (low >> 32);
    const std::int64_t sign = static_cast<std::int64_t>(bits) < 0 ? -1 : 1;
    chunks_[at] += sign * static_cast<std::int64_t>(low & kMask);
    chunks_[at + 1] += sign * static_cast<std::int64_t>(high & kMask);
    chunks_[at + 2] += sign * static_cast<std::int64_t>(high >> 32);
    if (++pending_ == kMostPending) Settle();
  }

  // Adds, or takes away, a whole number of 128 digits whose lowest one has that place: 0 is
  // 2^-1074. REQUIRES: place + 128 < 32 * (kChunks - 1).
  void AddDigits(std::uint64_t high, std::uint64_t low, std::uint32_t place, bool is_negative) {
    const std::uint32_t shift = place % 32;
    const std::array<std::uint64_t, 4> parts = {low & kMask, low >> 32, high & kMask, high >> 32};
    const std::int64_t sign = is_negative ? -1 : 1;
    std::size_t at = place / 32;
    std::uint64_t carried = 0;
    for (const std::uint64_t part : parts) {
      carried += part << shift;
      chunks_[at++] += sign * static_cast<std::int64_t>(carried & kMask);
      carried >>= 32;
    }
    chunks_[at] += sign * static_cast<std::int64_t>(carried);
    if (++pending_ == kMostPending) Settle();
  }

  void Merge(const ExactSum& other) {
    Chunks carried = other.chunks_;
    Carry(carried);
    Settle();
    for (std::size_t at = 0; at < kChunks; ++at) chunks_[at] += carried[at];
    ++pending_;
    if (other.others_ != 0) AddOne(other.others_);
  }

  double Total() const {
    if (others_ != 0) return others_;
    Chunks digits = chunks_;
    Carry(digits);
    const bool is_negative = digits.back() < 0;
    if (is_negative) {
      for (std::int64_t& chunk : digits) chunk = -chunk;
      Carry(digits);
    }
    const double total = Rounded(digits);
    return is_negative ? -total : total;
  }

  // What the sum is kept as: chunks of 32 digits, the least first, all but the last from 0 to
  // 2^32 - 1; and the infinity or NaN that there was, otherwise 0.
  Chunks Digits() const {
    Chunks digits = chunks_;
    Carry(digits);
    return digits;
  }
  double Others() const { return others_; }
  static ExactSum FromDigits(const Chunks& digits, double others) {
    ExactSum sum;
    sum.chunks_ = digits;
    for (std::size_t at = 0; at + 1 < kChunks; ++at) sum.chunks_[at] &= kMask;
    sum.pending_ = 1;
    if (!std::isfinite(others)) sum.others_ = others;
    return sum;
  }

 private:
  static constexpr std::uint32_t kMostPending = 1U << 30;
  static constexpr std::int64_t kMask = 0xFFFFFFFF;

  static void Carry(Chunks& chunks) {
    for (std::size_t at = 0; at + 1 < kChunks; ++at) {
      chunks[at + 1] += chunks[at] >> 32;
      chunks[at] &= kMask;
    }
  }
  void Settle() {
    Carry(chunks_);
    pending_ = 1;
  }

  static bool Digit(const Chunks& digits, int place) {
    return place >= 0 && (digits[static_cast<std::size_t>(place) / 32] >> (place % 32) & 1) != 0;
  }
  // Of digits that are carried, none below 0.
  static double Rounded(const Chunks& digits) {
    constexpr int kPrecision = 53;
    constexpr int kLowest = -1074;
    int top = static_cast<int>(kChunks) - 1;
    while (top >= 0 && digits[static_cast<std::size_t>(top)] == 0) --top;
    if (top < 0) return 0;
    const int first =
        top * 32 + 63 -
        std::countl_zero(static_cast<std::uint64_t>(digits[static_cast<std::size_t>(top)]));
    const int last = first >= kPrecision ? first - kPrecision + 1 : 0;
    std::uint64_t kept = 0;
    for (int place = first; place >= last; --place) {
      kept = kept << 1 | (Digit(digits, place) ? 1 : 0);
    }
    if (Digit(digits, last - 1) && ((kept & 1) != 0 || HasDigitBelow(digits, last - 1))) ++kept;
    return std::ldexp(static_cast<double>(kept), last + kLowest);
  }
  static bool HasDigitBelow(const Chunks& digits, int place) {
    for (int chunk = 0; chunk < place / 32; ++chunk) {
      if (digits[static_cast<std::size_t>(chunk)] != 0) return true;
    }
    const std::int64_t below = (std::int64_t{1} << place % 32) - 1;
    return (digits[static_cast<std::size_t>(place) / 32] & below) != 0;
  }

  Chunks chunks_{};
  double others_ = 0;
  std::uint32_t pending_ = 0;  // values that were added since carries were passed on
};

}  // namespace kt::kernels
