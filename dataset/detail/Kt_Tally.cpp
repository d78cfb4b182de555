// SPDX-License-Identifier: MIT
#include "dataset/detail/Kt_Tally.h"

#include <cmath>
#include <limits>

#include "classlib/Kt_VarInline.h"

namespace kt::detail {

void Tally::Add(const Kt_Variant& value) {
  ++count_;
  switch (what_) {
    case Kt_Aggregate::kMax:
      if (count_ == 1 || kt::VarCmp(value, best_, kCmpGreater) != 0) best_ = value;
      break;
    case Kt_Aggregate::kMin:
      if (count_ == 1 || kt::VarCmp(value, best_, kCmpLess) != 0) best_ = value;
      break;
    case Kt_Aggregate::kSum:
    case Kt_Aggregate::kAvg:
      sum_ += value.ToDouble();
      is_real_ = is_real_ || (value.GetTag() >= kTagDouble && value.GetTag() <= kTagDateTime);
      break;
    default: break;
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
