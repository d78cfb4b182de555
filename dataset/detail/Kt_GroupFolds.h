// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_PartFold.h"

namespace kt::detail {

// Folds numbers by group, whichever group comes next. Numbers of one type go to a few bytes for
// each group, which lose nothing, and what these came to goes to the folds at the end: so a step
// touches one line of memory, where a fold with its sum has several.
//
//   GroupFolds folds(Kt_Aggregate::kAvg, first_fold, step, group_count);
//   folds.Add(group, 2.5);
//   folds.Finish();
//
// Borrows the folds, one for each group and `step` apart. REQUIRES: fewer than 2^31 values. Throws
// std::bad_alloc; then the folds are of no use.
//
// Threads: belongs to one at a time. Later values of the same groups may be added elsewhere at the
// same time, to one made with kForLater, which has folds of its own when it needs any.
class GroupFolds {
 public:
  enum Later : std::uint8_t { kForLater };

  GroupFolds(Kt_Aggregate what, Kt_PartFold* folds, std::size_t step, std::size_t group_count)
      : what_(what), folds_(folds), step_(step), group_count_(group_count) {}
  GroupFolds(const GroupFolds& first, Later)
      : what_(first.what_),
        folds_(nullptr),
        step_(1),
        group_count_(first.group_count_),
        window_(first.window_) {}
  GroupFolds(const GroupFolds&) = delete;
  GroupFolds& operator=(const GroupFolds&) = delete;

  std::size_t GroupCount() const { return group_count_; }

  void Add(std::size_t group, double number) {
    if (IsCount()) {
      ++RoomIn(counts_)[group].values;
    } else if (IsSum()) {
      if (!window_) NoteForWindow(number);
      AddDouble(RoomIn(doubles_)[group], group, number);
    } else {
      Fold(group).Step(number);
    }
  }
  void Add(std::size_t group, kt_long number) {
    if (IsCount()) {
      ++RoomIn(counts_)[group].values;
    } else if (IsSum()) {
      AddTo(RoomIn(longs_)[group], number);
    } else {
      Fold(group).Step(number);
    }
  }
  void Add(std::size_t group, const Kt_Variant& value) {
    Give(group);  // of equal extremes the first one stays
    Fold(group).Step(value);
  }

  // Adds cells of one column: calls each(visit), which calls visit(group, record) for all of them,
  // in order.
  template <class Each>
  void AddCells(const Kt_Column& column, Each each) {
    if (IsCount()) {
      return AddPresent(counts_, column, each,
                        [](auto& tally, std::size_t, std::uint32_t) { ++tally.values; });
    }
    VisitCells(column, [&]<class Cells>(const Cells& cells) {
      if constexpr (std::is_same_v<Cells, Kt_Column::Texts> ||
                    std::is_same_v<Cells, Kt_Column::Values>) {
        AddEach(column, each);
      } else {
        AddNumbers(column, cells.data(), each);
      }
    });
  }

  // Takes in what was added to one for later values, of which nothing is to be used then. REQUIRES:
  // cells were added to both, no other values.
  void TakeIn(GroupFolds& later) {
    if (!window_) window_ = later.window_;  // so far doubles were 0
    if (later.window_ && later.window_->Lowest() != window_->Lowest()) later.Finish();
    const auto add = [](auto& tally, const auto& other) { tally.sum += other.sum; };
    Merge(counts_, later.counts_, [](auto&, const auto&) {});
    Merge(longs_, later.longs_, add);
    Merge(units_, later.units_, [](auto& tally, const auto& other) { tally.sum.Merge(other.sum); });
    Merge(doubles_, later.doubles_,
          [](auto& tally, const auto& other) { tally.sum.Merge(other.sum); });
    const auto keep_best = [this](auto& tally, const auto& other) {
      if (other.values > 0 && IsBetter(other.sum, tally)) tally.sum = other.sum;
    };
    Merge(long_extremes_, later.long_extremes_, keep_best);
    Merge(double_extremes_, later.double_extremes_, keep_best);
    if (later.folds_ == nullptr) return;
    for (std::size_t group = 0; group < group_count_; ++group) {
      Fold(group).Merge(later.Fold(group));
    }
  }

  // Gives all that was added to the folds.
  void Finish() {
    for (std::size_t group = 0; group < group_count_; ++group) Give(group);
  }

 private:
  struct None {};
  template <class Sum>
  struct Tally {
    Sum sum{};  // or extreme, when there are values
    std::uint32_t values = 0;
    std::uint32_t nulls = 0;
  };
  template <class Sum>
  using Tallies = CountedVector<Tally<Sum>>;  // by group; empty until numbers of that kind come

  bool IsSum() const { return what_ == Kt_Aggregate::kSum || what_ == Kt_Aggregate::kAvg; }
  bool IsCount() const { return what_ == Kt_Aggregate::kCount; }
  Kt_PartFold& Fold(std::size_t group) {
    if (KT_UNLIKELY(folds_ == nullptr)) {
      own_folds_.assign(group_count_, Kt_PartFold(what_));
      folds_ = own_folds_.data();
    }
    return folds_[group * step_];
  }
  template <class Sum>
  Tallies<Sum>& RoomIn(Tallies<Sum>& tallies) {
    if (KT_UNLIKELY(tallies.empty())) tallies.resize(group_count_);
    return tallies;
  }

  // Any cells.
  template <class Each>
  void AddEach(const Kt_Column& column, Each each) {
    each([&](std::size_t group, std::uint32_t record) { Fold(group).Step(column.Read(record)); });
  }
  // Calls add(tally, group, record) for those that are not null.
  template <class Sum, class Each, class AddOne>
  void AddPresent(Tallies<Sum>& tallies, const Kt_Column& column, Each each, AddOne add) {
    const kernels::NullBits nulls = column.Nulls();
    Tally<Sum>* const first = RoomIn(tallies).data();
    each([&](std::size_t group, std::uint32_t record) {
      if (nulls != nullptr && kernels::IsNull(nulls, record)) {
        ++first[group].nulls;
      } else {
        add(first[group], group, record);
      }
    });
  }
  template <class Each>
  void AddNumbers(const Kt_Column& column, const kt_long* cells, Each each) {
    if (!IsSum()) return AddExtremes(long_extremes_, column, cells, each);
    AddPresent(longs_, column, each, [&](auto& tally, std::size_t, std::uint32_t record) {
      AddTo(tally, cells[record]);
    });
  }
  template <class Each>
  void AddNumbers(const Kt_Column& column, const double* cells, Each each) {
    if (!IsSum()) {
      if (column.Type() != Kt_ColumnType::kDouble) return AddEach(column, each);
      return AddExtremes(double_extremes_, column, cells, each);
    }
    if (!window_) {
      double largest = 0;
      each([&](std::size_t, std::uint32_t record) {
        if (!column.IsNull(record) && std::isfinite(cells[record])) {
          largest = std::max(largest, std::fabs(cells[record]));
        }
      });
      NoteForWindow(largest);
    }
    AddPresent(doubles_, column, each, [&](auto& tally, std::size_t group, std::uint32_t record) {
      AddDouble(tally, group, cells[record]);
    });
  }
  template <class Each>
  void AddNumbers(const Kt_Column& column, const std::int64_t* cells, Each each) {
    if (!IsSum()) return AddEach(column, each);
    AddPresent(units_, column, each, [&](auto& tally, std::size_t, std::uint32_t record) {
      tally.sum.AddOne(cells[record]);
      ++tally.values;
    });
  }
  // merge(tally, other) for every group; both have their values.
  template <class Sum, class MergeOne>
  static void Merge(Tallies<Sum>& tallies, Tallies<Sum>& later, MergeOne merge) {
    if (tallies.empty()) return tallies.swap(later);
    for (std::size_t group = 0; group < later.size(); ++group) {
      merge(tallies[group], later[group]);
      tallies[group].values += later[group].values;
      tallies[group].nulls += later[group].nulls;
    }
  }
  // A later number that is equal is no better, NaN never is, and everything else is better than it.
  template <class T>
  bool IsBetter(T cell, const Tally<T>& tally) const {
    const T best = tally.sum;
    return (what_ == Kt_Aggregate::kMax ? cell > best : cell < best) || tally.values == 0 ||
           (IsNaN(best) && !IsNaN(cell));
  }
  template <class T, class Each>
  void AddExtremes(Tallies<T>& tallies, const Kt_Column& column, const T* cells, Each each) {
    AddPresent(tallies, column, each, [&](auto& tally, std::size_t, std::uint32_t record) {
      if (IsBetter(cells[record], tally)) tally.sum = cells[record];
      ++tally.values;
    });
  }

  static bool IsNaN(double number) { return std::isnan(number); }
  static bool IsNaN(kt_long) { return false; }

  static void AddTo(Tally<std::int64_t>& tally, kt_long number) {
    tally.sum += number;
    ++tally.values;
  }
  // The window for numbers like the first that are not 0.
  void NoteForWindow(double largest) {
    if (largest != 0 && std::isfinite(largest)) window_ = kernels::SumWindow(largest);
  }
  kernels::SumWindow Window() const { return window_.value_or(kernels::SumWindow(1)); }
  void AddDouble(Tally<kernels::WindowSum>& tally, std::size_t group, double number) {
    if (KT_LIKELY(tally.sum.AddOne(number, Window())) || number == 0) {
      ++tally.values;
    } else {
      Fold(group).Step(number);
    }
  }

  // Gives what was added to a group to its fold.
  void Give(std::size_t group) {
    Kt_PartFold& fold = Fold(group);
    const auto give = [&](auto& tallies, auto add) {
      if (tallies.empty()) return;
      auto& tally = tallies[group];
      fold.StepSum(tally.nulls, tally.values, [&](Kt_PartSum& sum) { add(sum, tally.sum); });
      tally = {};
    };
    const auto give_extreme = [&](auto& tallies) {
      if (tallies.empty()) return;
      auto& tally = tallies[group];
      fold.StepExtreme(tally.nulls, tally.values, tally.sum);
      tally = {};
    };
    give(counts_, [](Kt_PartSum&, None) {});
    give(doubles_, [&](Kt_PartSum& sum, const auto& doubles) { sum.Step(doubles, Window()); });
    give(longs_, [](Kt_PartSum& sum, std::int64_t longs) { sum.StepLongs(longs); });
    give(units_, [](Kt_PartSum& sum, const auto& units) { sum.StepUnits(units); });
    give_extreme(long_extremes_);
    give_extreme(double_extremes_);
  }

  Kt_Aggregate what_;
  Kt_PartFold* folds_;
  std::size_t step_;
  std::size_t group_count_;
  std::vector<Kt_PartFold> own_folds_;
  std::optional<kernels::SumWindow> window_;  // nothing while doubles were 0 or no numbers
  Tallies<None> counts_;
  Tallies<kernels::WindowSum> doubles_;
  Tallies<std::int64_t> longs_;
  Tallies<kernels::WideSum> units_;
  Tallies<kt_long> long_extremes_;
  Tallies<double> double_extremes_;
};

}  // namespace kt::detail
