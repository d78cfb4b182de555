// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Variant.h"

enum class Kt_Aggregate : std::uint8_t;

namespace kt::detail {

// Makes one value of those of several cells. Sums of longs and currencies are exact while they fit.
class CellFold {
 public:
  // Empty: a cell without a value.
  void Add(const Kt_Variant& value) {
    ++all_;
    if (value.IsEmpty()) return;
    AddTo(sum_, value);
    if (present_ == 0 || Var_Order(value, greatest_) > 0) greatest_ = value;
    if (present_ == 0 || Var_Order(value, least_) < 0) least_ = value;
    ++present_;
  }

  bool HasValue() const { return present_ > 0; }
  // Averages and counts are over the cells with a value, or over all.
  Kt_Variant Result(Kt_Aggregate what, bool present_only) const;

  static void AddTo(Kt_Variant& sum, const Kt_Variant& value) {
    const bool exact = value.IsLong() || value.GetTag() == kTagCurrency;
    Var_Add(sum, exact ? value : Kt_Variant(value.ToDouble()), sum);
  }

 private:
  kt_long all_ = 0;
  kt_long present_ = 0;
  Kt_Variant sum_ = Kt_Variant(kt_long{0});
  Kt_Variant greatest_;
  Kt_Variant least_;
};

}  // namespace kt::detail
