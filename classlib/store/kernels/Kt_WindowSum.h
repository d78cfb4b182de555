// SPDX-License-Identifier: MIT
//
// Exact sums of doubles in 16 bytes each, for many groups at a time. An ExactSum has room for every
// double there is, 560 bytes, of which numbers of a like size use three words. Here the groups of a
// column agree on a window of binary digits, and each keeps a whole number of units of the lowest
// one: 2^31 values of 96 digits fit into its 128. Values outside of the window are left to the
// caller, who gives them and, at the end, the sums to ExactSums.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "classlib/base/Kt_Types.h"
#include "classlib/store/kernels/Kt_ExactSum.h"

namespace kt::kernels {

// The digits that a WindowSum holds: those of doubles whose exponents are one of kExponents.
class SumWindow {
 public:
  static constexpr std::uint32_t kExponents = 44;  // 53 + 43 digits

  // One for numbers that are up to 2^10 times as large as that one, and down to 2^-33 of it. Which
  // one it is decides how fast values are added, and nothing else. REQUIRES: it is finite.
  explicit SumWindow(double like)
      : lowest_(std::clamp(ExponentOf(like), kBelow + 1, kLast + kBelow) - kBelow) {}

  static std::uint32_t ExponentOf(double value) {
    return static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value) >> 52 & 0x7FF);
  }
  // The exponent of the lowest digit; never that of 0 and of numbers that are nearly 0.
  std::uint32_t Lowest() const { return lowest_; }

 private:
  static constexpr std::uint32_t kBelow = 33;
  static constexpr std::uint32_t kLast = ExactSum::kNoNumber - kExponents;
  std::uint32_t lowest_;
};

class WindowSum {
 public:
  // False, and nothing is added, where the value is outside of the window. REQUIRES: always the
  // same window, and fewer than 2^31 values.
  bool AddOne(double value, SumWindow window) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint32_t shift = SumWindow::ExponentOf(value) - window.Lowest();
    if (KT_UNLIKELY(shift >= SumWindow::kExponents)) return false;
    const auto sign = static_cast<std::int64_t>(bits) >> 63;  // all digits, or none
    constexpr std::uint64_t kLeading = std::uint64_t{1} << 52;
    const auto fraction = static_cast<std::int64_t>((bits & (kLeading - 1)) | kLeading);
    const std::int64_t digits = (fraction ^ sign) - sign;
    const std::uint64_t low = static_cast<std::uint64_t>(digits) << shift;
    low_ += low;
    high_ += (digits >> 1 >> (63 - shift)) + (low_ < low ? 1 : 0);
    return true;
  }

  // REQUIRES: the same window.
  void Merge(const WindowSum& other) {
    low_ += other.low_;
    high_ += other.high_ + (low_ < other.low_ ? 1 : 0);
  }

  // Adds what was added here.
  void AddTo(ExactSum& sum, SumWindow window) const {
    const bool is_negative = high_ < 0;
    // The digits of the absolute value.
    const std::uint64_t low = is_negative ? 0 - low_ : low_;
    const std::uint64_t high = is_negative ? ~static_cast<std::uint64_t>(high_) + (low == 0 ? 1 : 0)
                                           : static_cast<std::uint64_t>(high_);
    sum.AddDigits(high, low, window.Lowest() - 1, is_negative);
  }

 private:
  std::uint64_t low_ = 0;
  std::int64_t high_ = 0;
};

}  // namespace kt::kernels
