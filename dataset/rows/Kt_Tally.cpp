// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_Tally.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>

#include "classlib/value/Kt_VarInline.h"

namespace kt::detail {

// In row order: sums of doubles depend on it.
template <class T>
void ExpressionSum::StepAll(const T* numbers, kt_long count, bool is_real) {
  double sum = sum_;
  for (kt_long at = 0; at < count; ++at) sum += static_cast<double>(numbers[at]);
  sum_ = sum;
  is_real_ = is_real_ || is_real;
}

Kt_Variant ExpressionSum::Total() const {
  const double whole = std::trunc(sum_);
  const bool fits =
      whole >= std::numeric_limits<kt_long>::min() && whole <= std::numeric_limits<kt_long>::max();
  if (is_real_) return sum_;
  return fits ? Kt_Variant(static_cast<kt_long>(whole)) : Kt_Variant(whole);
}

bool ExpressionRule::IsBetter(bool greatest, const Kt_Variant& value, const Kt_Variant& best) {
  return kt::VarCmp(value, best, greatest ? kCmpGreaterEqual : kCmpLessEqual) != 0;
}

template <class T>
void Tally::AddAll(const T* numbers, kt_long count) {
  if (count == 0) return;
  if (IsExtreme()) {
    for (kt_long at = 0; at < count; ++at) Step(Kt_Variant(numbers[at]));
    return;
  }
  if (Adds()) sum_.StepAll(numbers, count);
  rows_ += count;
  values_ += count;
}

void Tally::Add(const RowNumbers& numbers) {
  if (numbers.longs != nullptr) {
    AddAll(numbers.longs, numbers.count);
  } else {
    AddAll(numbers.doubles, numbers.count);
  }
}

namespace {

kt_long CountTrue(const kt_long* conditions, kt_long count) {
  kt_long wanted = 0;
  for (kt_long at = 0; at < count; ++at) wanted += conditions[at] != 0 ? 1 : 0;
  return wanted;
}

bool IsBetterNumber(bool greatest, double a, double b) { return greatest ? a >= b : a <= b; }
bool IsBetterNumber(bool greatest, kt_long a, kt_long b) { return greatest ? a >= b : a <= b; }

// Whether any number that is wanted is more than a stand-in for nothing.
bool HasOneThere(const std::uint8_t* empty_marks, const kt_long* conditions, kt_long count) {
  bool has_one = false;
  for (kt_long at = 0; at < count; ++at) has_one |= conditions[at] != 0 && empty_marks[at] == 0;
  return has_one;
}

}  // namespace

// Picks them first, without a branch, as nobody can guess the conditions.
template <class T>
void Tally::AddPicked(const RowNumbers& from, const T* numbers, const kt_long* conditions) {
  constexpr kt_long kAtOnce = 1024;
  std::array<T, kAtOnce> picked;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  for (kt_long first = 0; first < from.count; first += kAtOnce) {
    const kt_long end = std::min(from.count, first + kAtOnce);
    std::size_t picked_count = 0;
    for (kt_long at = first; at < end; ++at) {
      picked[picked_count] = numbers[at];
      picked_count += conditions[at] != 0 ? 1 : 0;
    }
    const auto count = static_cast<kt_long>(picked_count);
    if (from.empty_marks == nullptr || sum_.IsReal() || std::is_same_v<T, kt_long>) {
      AddAll(picked.data(), count);
      continue;
    }
    const bool has_one = HasOneThere(from.empty_marks + first, conditions + first, end - first);
    sum_.StepAll(picked.data(), count, has_one);
    rows_ += count;
    values_ += count;
  }
}

void Tally::AddWhere(const RowNumbers& numbers, const kt_long* conditions) {
  if (!Adds() && !IsExtreme()) {
    const kt_long count = CountTrue(conditions, numbers.count);
    rows_ += count;
    values_ += count;
  } else if (numbers.longs != nullptr) {
    AddPicked(numbers, numbers.longs, conditions);
  } else {
    AddPicked(numbers, numbers.doubles, conditions);
  }
}

// Whole numbers up to 2^53 add up to the same in any order.
void Tally::Add(const TallyPart& part) {
  constexpr double kSafe = 4503599627370496.0;  // 2^52; a part has at most 2^42
  if (part.count_ == 0) return;
  if (Adds()) {
    const double sum = sum_.Real();
    if (!part.has_real_ && std::trunc(sum) == sum && std::fabs(sum) <= kSafe) {
      const auto whole = static_cast<double>(part.whole_);
      sum_.StepAll(&whole, 1, false);
    } else {
      sum_.StepAll(part.addends_.data(), static_cast<kt_long>(part.addend_count_), part.has_real_);
    }
  } else if (values_ == 0 && part.begins_with_nan_) {
    best_ = part.first_;
  } else if (IsExtreme() && !part.best_.IsEmpty()) {
    Offer(part.best_);
  }
  rows_ += part.count_;
  values_ += part.count_;
}

void TallyPart::Open(const Tally& tally) {
  adds_ = tally.Adds();
  is_extreme_ = tally.IsExtreme();
  is_max_ = tally.what_ == Kt_Aggregate::kMax;
  has_real_ = false;
  begins_with_nan_ = false;
  count_ = 0;
  whole_ = 0;
  best_.Clear();
  addend_count_ = 0;
}

// Of the numbers that are not NaN; of equal ones the last.
template <class T>
void TallyPart::Offer(const T* numbers, std::size_t count) {
  if (count_ == 0 && count > 0 && numbers[0] != numbers[0]) {
    begins_with_nan_ = true;
    first_ = numbers[0];
  }
  std::size_t at = 0;
  while (at < count && numbers[at] != numbers[at]) ++at;
  if (at == count) return;
  T best = numbers[at];
  for (++at; at < count; ++at) {
    best = IsBetterNumber(is_max_, numbers[at], best) ? numbers[at] : best;
  }
  const Kt_Variant value(best);
  if (best_.IsEmpty() || ExpressionRule::IsBetter(is_max_, value, best_)) best_ = value;
}

template <class T>
void TallyPart::Take(const T* numbers, std::size_t count, bool is_real) {
  if (is_extreme_) Offer(numbers, count);
  if (adds_) {
    for (std::size_t at = 0; at < count; ++at) {
      addends_[addend_count_ + at] = static_cast<double>(numbers[at]);
    }
    if constexpr (std::is_same_v<T, kt_long>) {
      for (std::size_t at = 0; at < count; ++at) whole_ += numbers[at];
    }
    addend_count_ += count;
    has_real_ = has_real_ || is_real;
  }
  count_ += static_cast<kt_long>(count);
}

void TallyPart::Add(const RowNumbers& numbers) {
  const auto count = static_cast<std::size_t>(numbers.count);
  if (numbers.longs != nullptr) return Take(numbers.longs, count, false);
  const std::uint8_t* const empty = numbers.empty_marks;
  Take(numbers.doubles, count,
       empty == nullptr || std::find(empty, empty + count, 0) != empty + count);
}

template <class T>
void TallyPart::Pick(const RowNumbers& from, const T* numbers, const kt_long* conditions) {
  std::array<T, kMost> picked;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  std::size_t count = 0;
  for (kt_long at = 0; at < from.count; ++at) {
    picked[count] = numbers[at];
    count += conditions[at] != 0 ? 1 : 0;
  }
  bool is_real = count > 0 && std::is_same_v<T, double>;
  if (is_real && from.empty_marks != nullptr) {
    is_real = HasOneThere(from.empty_marks, conditions, from.count);
  }
  Take(picked.data(), count, is_real);
}

void TallyPart::AddWhere(const RowNumbers& numbers, const kt_long* conditions) {
  if (!adds_ && !is_extreme_) {
    count_ += CountTrue(conditions, numbers.count);
  } else if (numbers.longs != nullptr) {
    Pick(numbers, numbers.longs, conditions);
  } else {
    Pick(numbers, numbers.doubles, conditions);
  }
}

bool TallyPart::AddEmpty() {
  if (is_extreme_) return false;
  if (adds_) addends_[addend_count_++] = 0.0;
  ++count_;
  return true;
}

}  // namespace kt::detail
