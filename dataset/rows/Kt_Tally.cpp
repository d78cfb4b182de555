// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_Tally.h"

#include <cmath>
#include <limits>
#include <type_traits>

#include "classlib/value/Kt_VarInline.h"

namespace kt::detail {

void Tally::Add(const Kt_Variant& value) {
  ++count_;
  switch (what_) {
    case Kt_Aggregate::kMax:
      if (count_ == 1 || kt::VarCmp(value, best_, kCmpGreaterEqual) != 0) best_ = value;
      break;
    case Kt_Aggregate::kMin:
      if (count_ == 1 || kt::VarCmp(value, best_, kCmpLessEqual) != 0) best_ = value;
      break;
    case Kt_Aggregate::kSum:
    case Kt_Aggregate::kAvg:
      sum_ += value.ToDouble();
      is_real_ = is_real_ || (value.GetTag() >= kTagDouble && value.GetTag() <= kTagDateTime);
      break;
    default: break;
  }
}

template <class T>
void Tally::AddAll(const T* numbers, kt_long count) {
  if (what_ != Kt_Aggregate::kSum && what_ != Kt_Aggregate::kAvg) {
    for (kt_long at = 0; at < count; ++at) Add(Kt_Variant(numbers[at]));
    return;
  }
  // In row order: sums of doubles depend on it.
  double sum = sum_;
  for (kt_long at = 0; at < count; ++at) sum += static_cast<double>(numbers[at]);
  sum_ = sum;
  is_real_ = is_real_ || std::is_same_v<T, double>;
  count_ += count;
}

void Tally::Add(const RowNumbers& numbers) {
  if (numbers.longs != nullptr) {
    AddAll(numbers.longs, numbers.count);
  } else {
    AddAll(numbers.doubles, numbers.count);
  }
}

Kt_Variant Tally::Sum() const {
  const double whole = std::trunc(sum_);
  const bool fits =
      whole >= std::numeric_limits<kt_long>::min() && whole <= std::numeric_limits<kt_long>::max();
  if (is_real_) return sum_;
  return fits ? Kt_Variant(static_cast<kt_long>(whole)) : Kt_Variant(whole);
}

Kt_Variant Tally::Result() const {
  switch (what_) {
    case Kt_Aggregate::kSum: return Sum();
    case Kt_Aggregate::kAvg: return count_ > 0 ? sum_ / count_ : 0.0;
    case Kt_Aggregate::kCount: return count_;
    default: return count_ > 0 ? best_ : Kt_Variant(0.0);
  }
}

}  // namespace kt::detail
