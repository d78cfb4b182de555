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

}  // namespace kt::detail
