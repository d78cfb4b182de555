// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_Dataset.h"
#include "dataset/rows/Kt_RowNames.h"

namespace kt::detail {

// What aggregates make of the values of an expression, added one by one in row order.
//
// A sum is a double when any value was a double, a currency or a date-time, else an integer; a
// whole sum that no integer holds stays a double. An extreme is the last of equal values, with its
// kind: the greatest of 3 and 3.0 is the 3.0. Nothing replaces or is replaced by NaN.
class Tally {
 public:
  explicit Tally(Kt_Aggregate what) : what_(what) {}

  void Add(const Kt_Variant& value);
  // The same for each number in turn.
  void Add(const RowNumbers& numbers);
  kt_long Count() const { return count_; }
  // The average and the extremes of nothing are the double 0.0, sum and count the integer 0.
  Kt_Variant Result() const;

 private:
  template <class T>
  void AddAll(const T* numbers, kt_long count);
  Kt_Variant Sum() const;

  Kt_Aggregate what_;
  kt_long count_ = 0;
  double sum_ = 0;
  bool is_real_ = false;
  Kt_Variant best_;
};

}  // namespace kt::detail
