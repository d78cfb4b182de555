// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
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

class TallyPart;

// What aggregates make of the values of an expression.
class Tally : private Kt_Fold<ExpressionRule> {
 public:
  explicit Tally(Kt_Aggregate what) : Kt_Fold(what) {}

  void Add(const Kt_Variant& value) { Step(value); }
  // The same for each number in turn.
  void Add(const RowNumbers& numbers);
  // The same for each number whose condition is not 0. Addends only where HasAddends().
  void AddWhere(const RowNumbers& numbers, const kt_long* conditions);
  // The same for the values of the rows that come next.
  void Add(const TallyPart& part);
  // Whether an empty value counts as a 0.
  bool HasAddends() const { return Adds(); }
  // The average and the extremes of nothing are the double 0.0, sum and count the integer 0.
  Kt_Variant Result() const { return Finish(); }

 private:
  friend class TallyPart;

  template <class T>
  void AddAll(const T* numbers, kt_long count);
  template <class T>
  void AddPicked(const RowNumbers& from, const T* numbers, const kt_long* conditions);
};

// The values of up to kMost rows, made ready for a tally on any thread: what the order of the rows
// does not matter for is done. Sums of doubles keep their addends.
class TallyPart {
 public:
  static constexpr kt_long kMost = 1024;

  TallyPart() {}  // NOLINT: the addends are written before they are read

  // Begins with no values, for what `tally` makes.
  void Open(const Tally& tally);
  // As in a tally.
  void Add(const RowNumbers& numbers);
  void AddWhere(const RowNumbers& numbers, const kt_long* conditions);
  // An empty value. False: its place among the others matters, so they are no part.
  bool AddEmpty();
  // How many values there are.
  kt_long Count() const { return count_; }

 private:
  friend class Tally;

  template <class T>
  void Take(const T* numbers, std::size_t count, bool is_real);
  template <class T>
  void Pick(const RowNumbers& from, const T* numbers, const kt_long* conditions);
  template <class T>
  void Offer(const T* numbers, std::size_t count);

  bool adds_ = false;
  bool is_extreme_ = false;
  bool is_max_ = false;
  bool has_real_ = false;         // a double is among the addends
  bool begins_with_nan_ = false;  // first_, which nothing replaces when it is the first of all
  double first_ = 0;
  kt_long count_ = 0;
  std::int64_t whole_ = 0;  // the sum while there is no double
  Kt_Variant best_;         // empty: none but NaN
  std::size_t addend_count_ = 0;
  std::array<double, kMost> addends_;
};

}  // namespace kt::detail
