// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_Tally.h"

#include <cmath>
#include <limits>
#include <type_traits>

#include "classlib/value/Kt_VarInline.h"

namespace kt::detail {

// In row order: sums of doubles depend on it.
template <class T>
void ExpressionSum::StepAll(const T* numbers, kt_long count) {
  double sum = sum_;
  for (kt_long at = 0; at < count; ++at) sum += static_cast<double>(numbers[at]);
  sum_ = sum;
  is_real_ = is_real_ || std::is_same_v<T, double>;
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
  if (Adds()) {
    sum_.StepAll(numbers, count);
    rows_ += count;
    values_ += count;
    return;
  }
  for (kt_long at = 0; at < count; ++at) Step(Kt_Variant(numbers[at]));
}

void Tally::Add(const RowNumbers& numbers) {
  if (numbers.longs != nullptr) {
    AddAll(numbers.longs, numbers.count);
  } else {
    AddAll(numbers.doubles, numbers.count);
  }
}

}  // namespace kt::detail
