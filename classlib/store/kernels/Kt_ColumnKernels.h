// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

// Loops over plain arrays. Dense forms walk `count` cells in a row, Listed forms the cells that a
// list of row numbers names. They allocate nothing and cannot fail; null cells hold 0.
namespace kt::kernels {

// One bit per row, 1 = null; null pointer: no row is null.
using NullBits = const std::uint64_t*;

inline bool IsNull(NullBits nulls, std::size_t row) {
  return (nulls[row / 64] >> (row % 64) & 1) != 0;
}

// Calls dense(first, count) for stretches without nulls and single(row) for the other rows that
// are not null, in order. Reads the null bits 64 at a time.
template <class Dense, class Single>
void ForEachPresent(NullBits nulls, std::size_t first, std::size_t count, Dense dense,
                    Single single) {
  if (nulls == nullptr) return dense(first, count);
  const std::size_t end = first + count;
  while (first < end) {
    const std::size_t stop = std::min(end, (first / 64 + 1) * 64);
    const std::uint64_t upper =
        stop % 64 == 0 ? ~std::uint64_t{0} : (std::uint64_t{1} << stop % 64) - 1;
    const std::uint64_t mask = upper & ~std::uint64_t{0} << first % 64;
    std::uint64_t present = ~nulls[first / 64] & mask;
    if (present == mask) {
      dense(first, stop - first);
    } else {
      const std::size_t base = first / 64 * 64;
      for (; present != 0; present &= present - 1) {
        single(base + static_cast<std::size_t>(std::countr_zero(present)));
      }
    }
    first = stop;
  }
}

inline std::size_t CountPresentDense(NullBits nulls, std::size_t first, std::size_t count) {
  if (nulls == nullptr) return count;
  std::size_t present = 0;
  ForEachPresent(
      nulls, first, count, [&](std::size_t, std::size_t run) { present += run; },
      [&](std::size_t) { ++present; });
  return present;
}

inline std::size_t CountPresentListed(NullBits nulls, const std::uint32_t* rows,
                                      std::size_t count) {
  if (nulls == nullptr) return count;
  std::size_t present = 0;
  for (std::size_t at = 0; at < count; ++at) present += IsNull(nulls, rows[at]) ? 0 : 1;
  return present;
}

// The sum of a sequence of doubles that arrives in pieces. Number n goes to lane n % 8 and the
// lanes are added in a fixed order, so the result depends on the sequence alone: not on how the
// rows happen to be stored, and not on what a compiler makes of the loop.
class DoubleSum {
 public:
  void Dense(const double* cells, std::size_t count) {
    std::size_t at = 0;
    while (at < count && phase_ != 0) AddOne(cells[at++]);
    if (at == count) return;
    std::array<double, kLanes> lanes = lanes_;  // the cells cannot be these, so registers may be
    for (; at + kLanes <= count; at += kLanes) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) lanes[lane] += cells[at + lane];
    }
    phase_ = (count - at) % kLanes;
    for (std::size_t lane = 0; at < count; ++at, ++lane) lanes[lane] += cells[at];
    lanes_ = lanes;
  }
  void Listed(const double* cells, const std::uint32_t* rows, std::size_t count) {
    std::size_t at = 0;
    while (at < count && phase_ != 0) AddOne(cells[rows[at++]]);
    for (; at + kLanes <= count; at += kLanes) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) lanes_[lane] += cells[rows[at + lane]];
    }
    while (at < count) AddOne(cells[rows[at++]]);
  }
  void AddOne(double value) {
    lanes_[phase_] += value;
    phase_ = (phase_ + 1) % kLanes;
  }
  double Total() const {
    return ((lanes_[0] + lanes_[1]) + (lanes_[2] + lanes_[3])) +
           ((lanes_[4] + lanes_[5]) + (lanes_[6] + lanes_[7]));
  }

 private:
  static constexpr std::size_t kLanes = 8;
  std::array<double, kLanes> lanes_{};
  std::size_t phase_ = 0;
};

// The exact sum of 32-bit numbers: fewer than 2^32 of them cannot overflow 64 bits.
class LongSum {
 public:
  void Dense(const std::int32_t* cells, std::size_t count) {
    std::int64_t sum = 0;
    for (std::size_t at = 0; at < count; ++at) sum += cells[at];
    total_ += sum;
  }
  void Listed(const std::int32_t* cells, const std::uint32_t* rows, std::size_t count) {
    std::int64_t sum = 0;
    for (std::size_t at = 0; at < count; ++at) sum += cells[rows[at]];
    total_ += sum;
  }
  void AddOne(std::int32_t value) { total_ += value; }
  std::int64_t Total() const { return total_; }

 private:
  std::int64_t total_ = 0;
};

// The exact sum of 64-bit numbers in two halves of 32 bits, neither of which can overflow.
class WideSum {
 public:
  void Dense(const std::int64_t* cells, std::size_t count) {
    for (std::size_t at = 0; at < count; ++at) AddOne(cells[at]);
  }
  void Listed(const std::int64_t* cells, const std::uint32_t* rows, std::size_t count) {
    for (std::size_t at = 0; at < count; ++at) AddOne(cells[rows[at]]);
  }
  void AddOne(std::int64_t value) {
    high_ += value >> 32;
    low_ += value & 0xFFFFFFFF;
  }
  // Adds `value` * `times`. REQUIRES: `times` is below 2^16.
  void AddMany(std::int64_t value, std::int64_t times) {
    high_ += (value >> 32) * times;
    low_ += (value & 0xFFFFFFFF) * times;
  }
  // False when the sum does not fit 64 bits.
  bool Total(std::int64_t& total) const {
    const std::int64_t high = high_ + (low_ >> 32);
    if (high > std::numeric_limits<std::int32_t>::max() ||
        high < std::numeric_limits<std::int32_t>::min()) {
      return false;
    }
    total = high * (std::int64_t{1} << 32) + (low_ & 0xFFFFFFFF);
    return true;
  }
  double Approximate() const {
    return static_cast<double>(high_) * 4294967296.0 + static_cast<double>(low_);
  }
  // Adds the sum of other numbers; both halves are as small afterwards as they can be.
  void Merge(const WideSum& other) {
    high_ += other.high_ + (low_ >> 32) + (other.low_ >> 32);
    low_ = (low_ & 0xFFFFFFFF) + (other.low_ & 0xFFFFFFFF);
  }
  // What it is kept as: `high` * 2^32 + `low`.
  void Halves(std::int64_t& high, std::int64_t& low) const {
    high = high_ + (low_ >> 32);
    low = low_ & 0xFFFFFFFF;
  }
  static WideSum FromHalves(std::int64_t high, std::int64_t low) {
    WideSum sum;
    sum.high_ = high;
    sum.low_ = low & 0xFFFFFFFF;
    return sum;
  }

 private:
  std::int64_t high_ = 0;
  std::int64_t low_ = 0;
};

struct MaxOf {
  static constexpr bool kGreatest = true;
  template <class T>
  static bool Better(T a, T b) {
    return a > b;
  }
  template <class T>
  static constexpr T Worst() {
    return std::numeric_limits<T>::has_infinity ? -std::numeric_limits<T>::infinity()
                                                : std::numeric_limits<T>::lowest();
  }
};

struct MinOf {
  static constexpr bool kGreatest = false;
  template <class T>
  static bool Better(T a, T b) {
    return a < b;
  }
  template <class T>
  static constexpr T Worst() {
    return std::numeric_limits<T>::has_infinity ? std::numeric_limits<T>::infinity()
                                                : std::numeric_limits<T>::max();
  }
};

// The greatest or least of a sequence; nulls are left out, and NaN never wins.
template <class T, class Order>
class Extreme {
 public:
  void Dense(const T* cells, NullBits nulls, std::size_t first, std::size_t count) {
    ForEachPresent(
        nulls, first, count,
        [&](std::size_t start, std::size_t run) { DenseRun(cells + start, run); },
        [&](std::size_t row) { AddOne(cells[row]); });
  }
  void Listed(const T* cells, NullBits nulls, const std::uint32_t* rows, std::size_t count) {
    for (std::size_t at = 0; at < count; ++at) {
      if (nulls == nullptr || !IsNull(nulls, rows[at])) AddOne(cells[rows[at]]);
    }
  }
  void AddOne(T value) { best_ = Order::Better(value, best_) ? value : best_; }
  T Best() const { return best_; }

 private:
  static constexpr std::size_t kLanes = 8;

  void DenseRun(const T* cells, std::size_t count) {
    std::array<T, kLanes> lanes;
    lanes.fill(best_);
    std::size_t at = 0;
    for (; at + kLanes <= count; at += kLanes) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) {
        const T value = cells[at + lane];
        lanes[lane] = Order::Better(value, lanes[lane]) ? value : lanes[lane];
      }
    }
    for (const T lane : lanes) AddOne(lane);
    for (; at < count; ++at) AddOne(cells[at]);
  }

  T best_ = Order::template Worst<T>();
};

}  // namespace kt::kernels
