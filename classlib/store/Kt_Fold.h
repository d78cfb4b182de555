// SPDX-License-Identifier: MIT
//
// One aggregate over values that come one by one: Step takes a value, Merge the finished aggregate
// of other values, Finish gives the result. A rule says which values take part, how sums are kept
// and which of two values is the better one:
//
// - Kt_CellRule, for cells: columns, groups, pivots and the totals of `kt`. Nulls are left out,
//   sums are exact, and NaN is no extreme unless there is nothing else.
// - kt::detail::ExpressionRule (dataset/rows/Kt_Tally.h), for the values of a row expression.
//
// Where an array of cells is at hand, kernels do what Step does for all of them, and make the fold
// from their results, so that there is one place that finishes.
#pragma once

#include <utility>

#include "classlib/store/kernels/Kt_ColumnKernels.h"
#include "classlib/value/Kt_Aggregate.h"
#include "classlib/value/Kt_Variant.h"

// A sum of cells. Longs and amounts are added without loss and keep their kind while they fit, then
// they are a double; with a value of any other kind the sum is a double. Sums of doubles depend on
// the sequence of the doubles alone.
class KT_CLASS_API Kt_CellSum {
 public:
  Kt_CellSum() = default;
  // Of cells of one kind.
  explicit Kt_CellSum(const kt::kernels::LongSum& sum) : longs_(sum) {}
  explicit Kt_CellSum(const kt::kernels::DoubleSum& sum) : doubles_(sum), has_doubles_(true) {}
  explicit Kt_CellSum(const kt::kernels::WideSum& sum) : units_(sum), has_units_(true) {}

  void Step(const Kt_Variant& value) {
    switch (value.GetTag()) {
      case kTagLong: longs_.AddOne(value.AsLong()); break;
      case kTagCurrency: Of(units_, has_units_).AddOne(value.AsInt64()); break;
      default: Step(value.ToDouble()); break;
    }
  }
  void Step(double number) { SumOf(&number).AddOne(number); }
  // Runs of an array / the cells of an array that a list names; nulls hold 0.
  template <class T>
  void Dense(const T* cells, std::size_t count) {
    SumOf(cells).Dense(cells, count);
  }
  template <class T>
  void Listed(const T* cells, const std::uint32_t* rows, std::size_t count) {
    SumOf(cells).Listed(cells, rows, count);
  }
  Kt_Variant Total() const;
  double Real() const { return Total().ToDouble(); }

 private:
  template <class Sum>
  static Sum& Of(Sum& sum, bool& is_used) {
    is_used = true;
    return sum;
  }
  kt::kernels::LongSum& SumOf(const kt_long*) { return longs_; }
  kt::kernels::DoubleSum& SumOf(const double*) { return Of(doubles_, has_doubles_); }
  kt::kernels::WideSum& SumOf(const std::int64_t*) { return Of(units_, has_units_); }

  kt::kernels::LongSum longs_;
  kt::kernels::DoubleSum doubles_;
  kt::kernels::WideSum units_;
  bool has_doubles_ = false;
  bool has_units_ = false;
};

namespace kt::detail {
// The total of what a sum of cells is kept as; null for kinds that did not come.
KT_CLASS_API Kt_Variant TotalOfSums(const double* doubles, const kernels::WideSum* units,
                                    std::int64_t longs);
// How many there were: a double where a long does not hold it.
inline Kt_Variant CountValue(std::int64_t count) {
  return count == static_cast<kt_long>(count) ? Kt_Variant(static_cast<kt_long>(count))
                                              : Kt_Variant(static_cast<double>(count));
}
}  // namespace kt::detail

struct KT_CLASS_API Kt_CellRule {
  using Sum = Kt_CellSum;
  static bool Takes(const Kt_Variant& value) { return !value.IsEmpty(); }
  // In the order of sorts; of equal values the first one stays.
  static bool IsBetter(bool greatest, const Kt_Variant& value, const Kt_Variant& best);
  // The average and the extremes of nothing.
  static Kt_Variant Nothing() { return {}; }
};

template <class Rule>
class Kt_Fold {
 public:
  using Sum = typename Rule::Sum;

  explicit Kt_Fold(Kt_Aggregate what) : what_(what) {}
  // Of `values` values, of which kernels have made the sum or the best.
  Kt_Fold(Kt_Aggregate what, std::int64_t values, const Sum& sum, Kt_Variant best)
      : what_(what), rows_(values), values_(values), sum_(sum), best_(std::move(best)) {}

  void Step(const Kt_Variant& value) {
    ++rows_;
    if (!Rule::Takes(value)) return;
    if (Adds()) {
      sum_.Step(value);
    } else if (IsExtreme()) {
      Offer(value);
    }
    ++values_;
  }
  // Takes in the finished aggregate of other values; of an average their sum and how many there
  // were. Empty: there were none.
  void Merge(const Kt_Variant& finished, kt_long values = 1) {
    if (finished.IsEmpty()) return;
    ++rows_;
    if (Adds()) sum_.Step(finished);
    if (IsExtreme()) Offer(finished);
    values_ += what_ == Kt_Aggregate::kCount ? finished.ToInteger() : values;
  }
  // Of the values that took part; averages and counts, when asked, of all that came.
  Kt_Variant Finish(bool over_all = false) const {
    const std::int64_t count = over_all ? rows_ : values_;
    switch (what_) {
      case Kt_Aggregate::kSum: return sum_.Total();
      case Kt_Aggregate::kCount: return kt::detail::CountValue(count);
      case Kt_Aggregate::kNone: return {};
      default: break;
    }
    if (values_ == 0) return Rule::Nothing();
    return what_ == Kt_Aggregate::kAvg ? Kt_Variant(sum_.Real() / static_cast<double>(count))
                                       : best_;
  }

  // What an average is made of.
  Kt_Variant GetSum() const { return sum_.Total(); }
  std::int64_t GetValueCount() const { return values_; }

  bool HasValue() const { return values_ > 0; }
  bool HasRow() const { return rows_ > 0; }

 protected:
  bool Adds() const { return what_ == Kt_Aggregate::kSum || what_ == Kt_Aggregate::kAvg; }
  bool IsExtreme() const { return what_ == Kt_Aggregate::kMax || what_ == Kt_Aggregate::kMin; }
  // REQUIRES: values_ does not count the value yet.
  void Offer(const Kt_Variant& value) {
    if (values_ > 0 && !Rule::IsBetter(what_ == Kt_Aggregate::kMax, value, best_)) return;
    best_ = value;
  }

  Kt_Aggregate what_;
  std::int64_t rows_ = 0;
  std::int64_t values_ = 0;
  Sum sum_;
  Kt_Variant best_;  // while values_ > 0
};

using Kt_CellFold = Kt_Fold<Kt_CellRule>;
