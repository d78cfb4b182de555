// SPDX-License-Identifier: MIT
#pragma once

#include <type_traits>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_Fold.h"
#include "dataset/rows/Kt_RowNames.h"

namespace kt::detail {

// The sum of the values of an expression, added one by one in row order: a double when any value
// was a double, a currency or a date-time, else an integer; a whole sum that no integer holds stays
// a double.
class ExpressionSum {
 public:
  void Step(const Kt_Variant& value) {
    sum_ += value.ToDouble();
    is_real_ = is_real_ || (value.GetTag() >= kTagDouble && value.GetTag() <= kTagDateTime);
  }
  // `is_real`: a double is among them.
  template <class T>
  void StepAll(const T* numbers, kt_long count, bool is_real = std::is_same_v<T, double>);
  bool IsReal() const { return is_real_; }
  Kt_Variant Total() const;
  double Real() const { return sum_; }

 private:
  double sum_ = 0;
  bool is_real_ = false;
};

// How aggregates take the values of an expression: empty ones too, each as the number it is.
struct ExpressionRule {
  using Sum = ExpressionSum;
  static bool Takes(const Kt_Variant&) { return true; }
  // The last of equal values, with its kind: the greatest of 3 and 3.0 is the 3.0. Nothing replaces
  // or is replaced by NaN.
  static bool IsBetter(bool greatest, const Kt_Variant& value, const Kt_Variant& best);
  static Kt_Variant Nothing() { return 0.0; }
};

// What aggregates make of the values of an expression.
class Tally : private Kt_Fold<ExpressionRule> {
 public:
  explicit Tally(Kt_Aggregate what) : Kt_Fold(what) {}

  void Add(const Kt_Variant& value) { Step(value); }
  // The same for each number in turn.
  void Add(const RowNumbers& numbers);
  // The same for each number whose condition is not 0. Addends only where HasAddends().
  void AddWhere(const RowNumbers& numbers, const kt_long* conditions);
  // Whether an empty value counts as a 0.
  bool HasAddends() const { return Adds(); }
  // The average and the extremes of nothing are the double 0.0, sum and count the integer 0.
  Kt_Variant Result() const { return Finish(); }

 private:
  template <class T>
  void AddAll(const T* numbers, kt_long count);
  template <class T>
  void AddPicked(const RowNumbers& from, const T* numbers, const kt_long* conditions);
};

}  // namespace kt::detail
