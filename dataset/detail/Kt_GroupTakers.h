// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "classlib/base/Kt_Helper.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/kernels/Kt_SortKernels.h"
#include "dataset/detail/Kt_Distinct.h"
#include "dataset/detail/Kt_GroupFolds.h"
#include "dataset/rows/Kt_RowLoop.h"

namespace kt::detail {

// Calls take(row, number) for numbers that were computed ahead.
template <class Take>
kt_long TakeEach(kt_long first, const RowNumbers& numbers, Take take) {
  auto row = static_cast<std::size_t>(first);
  for (kt_long at = 0; at < numbers.count; ++at, ++row) {
    if (numbers.longs != nullptr) {
      take(row, numbers.longs[at]);
    } else {
      take(row, numbers.doubles[at]);
    }
  }
  return numbers.count;
}

// The records of rows that follow one another: one after another too, or as a list has them.
struct RecordRun {
  std::uint32_t first;
  std::uint32_t operator[](std::size_t at) const { return first + static_cast<std::uint32_t>(at); }
};
using RecordList = const std::uint32_t*;

// The cells of some rows.
template <class Records>
struct CellsOfRows {
  const Kt_Column& cells;
  std::size_t first_row;
  std::size_t count;
  Records records;  // by row from the first one
};

// Whether there are so few among some rows that two threads may find them on their own: what they
// found is put together one by one.
inline bool IsFew(std::size_t found, std::size_t rows) { return found <= rows / 4; }

// Gives rows that two threads have numbered on their own the numbers of both.
inline void Renumber(Numbers& numbers, const Numbers& new_numbers, std::size_t first,
                     std::size_t end, Helper& helper) {
  helper.InHalves(end - first, [&](std::size_t from, std::size_t to) {
    for (std::size_t row = first + from; row < first + to; ++row) {
      if (numbers[row] != kNoGroup) numbers[row] = new_numbers[numbers[row]];
    }
  });
}

// Takers of row loops that go over the rows of a group alone.
//
// Two threads may share the cells of a column (Kt_GroupPart.h): the rows from some on are given to
// another taker, ForLater(), and what that came to is taken in afterwards. Numbers of groups and
// values, and which of equal ones is kept, are then those that one taker would have given.
class OfGroups {
 public:
  explicit OfGroups(Numbers& groups) : groups_(groups) {}
  bool Wants(kt_long row) const { return groups_[static_cast<std::size_t>(row)] != kNoGroup; }

 protected:
  static bool IsOfValues(const Kt_Column& cells) {
    return cells.Type() == Kt_ColumnType::kVariant || cells.Type() == Kt_ColumnType::kBinary;
  }
  // Two threads would count the references of such cells one after the other.
  static bool HasReferences(const Kt_Column& cells) {
    return IsOfValues(cells) || cells.Type() == Kt_ColumnType::kString;
  }
  // Calls visit(row, record) for those of some rows that have a group.
  template <class Rows, class Visit>
  void EachOf(const Rows& rows, Visit visit) const {
    const std::uint32_t* const groups = groups_.data() + rows.first_row;
    for (std::size_t at = 0; at < rows.count; ++at) {
      if (groups[at] != kNoGroup) visit(rows.first_row + at, rows.records[at]);
    }
  }
  Numbers& groups_;
};

class FilterTaker : public OfGroups {
 public:
  using OfGroups::OfGroups;
  static bool MayShare(const Kt_Column& cells) { return !HasReferences(cells); }
  static bool IsWorthSharing(std::size_t, std::size_t) { return true; }
  FilterTaker ForLater() const { return FilterTaker(groups_); }
  void TakeIn(const FilterTaker&, const Kt_Column&, std::size_t, std::size_t, Helper&) {}
  template <class Rows>
  void TakeCells(const Rows& rows) {
    EachOf(rows, [&](std::size_t row, std::uint32_t record) {
      TakeOne(static_cast<kt_long>(row), rows.cells.Read(record), true);
    });
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    if (numbers.longs == nullptr) return numbers.count;  // doubles are no conditions
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (number == 0) groups_[row] = kNoGroup;
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    if (IsFalseCondition(value)) groups_[static_cast<std::size_t>(row)] = kNoGroup;
    return true;
  }
};

class KeyTaker : public OfGroups {
 public:
  KeyTaker(Numbers& groups, Numbers& numbers) : OfGroups(groups), numbers_(numbers) {}

  const Distinct& Values() const { return values_; }

  static bool MayShare(const Kt_Column& cells) { return !IsOfValues(cells); }
  bool IsWorthSharing(std::size_t rows_taken, std::size_t) const {
    return IsFew(values_.Count(), rows_taken);
  }
  KeyTaker ForLater() const {
    KeyTaker later(groups_, numbers_);
    later.is_for_later_ = true;
    return later;
  }
  // The cells of the rows [first, end) went to `later`.
  void TakeIn(const KeyTaker& later, const Kt_Column& cells, std::size_t first, std::size_t end,
              Helper& helper) {
    Numbers new_numbers;
    new_numbers.reserve(later.first_records_.size());
    NumberCells(cells, [&](auto number_of) {
      for (const std::uint32_t record : later.first_records_) {
        new_numbers.push_back(number_of(record));
      }
    });
    Renumber(numbers_, new_numbers, first, end, helper);
  }

  // REQUIRES: the cells are those of one column.
  template <class Rows>
  void TakeCells(const Rows& rows) {
    if (IsOfValues(rows.cells)) {
      const auto& values = rows.cells.template Cells<Kt_Column::Values>();
      return EachOf(rows, [&](std::size_t row, std::uint32_t record) {
        numbers_[row] = values_.NumberOf(values[record]);
      });
    }
    NumberCells(rows.cells, [&](auto number_of) {
      std::uint32_t* const numbers = numbers_.data();
      EachOf(rows,
             [&](std::size_t row, std::uint32_t record) { numbers[row] = number_of(record); });
    });
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (groups_[row] == kNoGroup) return;
      constexpr bool kIsDouble = std::is_same_v<decltype(number), double>;
      std::uint32_t& known = (kIsDouble ? by_key_ : by_long_).NumberOf(kernels::KeyOf(number));
      if (KT_UNLIKELY(known == kNoGroup)) known = values_.NumberOf(number);
      numbers_[row] = known;
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    numbers_[static_cast<std::size_t>(row)] = values_.NumberOf(value);
    return true;
  }

 private:
  // Calls number(number_of), with what gives the number of the cell of a record.
  template <class Number>
  void NumberCells(const Kt_Column& cells, Number number) {
    const kernels::NullBits nulls = cells.Nulls();
    const auto number_by = [&](auto known_of) {
      number([&, known_of](std::uint32_t record) {
        const bool is_null = nulls != nullptr && kernels::IsNull(nulls, record);
        std::uint32_t& known = is_null ? of_null_ : known_of(record);
        if (KT_UNLIKELY(known == kNoGroup)) known = NewNumber(cells, record);
        return known;
      });
    };
    VisitCells(cells, [&]<class Cells>(const Cells& values) {
      if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
        by_code_.resize(values.dictionary.Count(), kNoGroup);
        number_by([known = by_code_.data(), codes = values.codes.data()](
                      std::uint32_t record) -> std::uint32_t& { return known[codes[record]]; });
      } else if constexpr (!std::is_same_v<Cells, Kt_Column::Values>) {
        number_by([this, keyed = values.data()](std::uint32_t record) -> std::uint32_t& {
          return by_key_.NumberOf(kernels::KeyOf(keyed[record]));
        });
      }
    });
  }
  // For later rows numbers are what they are called until they are taken in, where some may turn
  // out to be of equal values.
  KT_NOINLINE std::uint32_t NewNumber(const Kt_Column& cells, std::uint32_t record) {
    if (!is_for_later_) return values_.NumberOf(cells.Read(record));
    first_records_.push_back(record);
    return static_cast<std::uint32_t>(first_records_.size() - 1);
  }

  Distinct values_;
  Numbers& numbers_;
  // Numbers that are known already: of texts, of other cells and doubles, and of longs that were
  // computed.
  Numbers by_code_;
  NumberTable by_key_;
  NumberTable by_long_;
  std::uint32_t of_null_ = kNoGroup;
  bool is_for_later_ = false;
  Numbers first_records_;  // by number, where it is for later
};

class TotalTaker : public OfGroups {
 public:
  // The folds of the groups stand `step` apart.
  TotalTaker(Numbers& groups, Kt_Aggregate what, Kt_PartFold* folds, std::size_t step,
             std::size_t group_count)
      : OfGroups(groups), what_(what), folds_(what, folds, step, group_count) {}

  bool MayShare(const Kt_Column& cells) const {
    return what_ == Kt_Aggregate::kCount || !HasReferences(cells);
  }
  bool IsWorthSharing(std::size_t, std::size_t rows) const {
    return IsFew(folds_.GroupCount(), rows / 4);
  }
  TotalTaker ForLater() const { return TotalTaker(*this, ForLaterRows()); }
  void TakeIn(TotalTaker& later, const Kt_Column&, std::size_t, std::size_t, Helper&) {
    folds_.TakeIn(later.folds_);
  }
  void Finish() { folds_.Finish(); }

  template <class Rows>
  void TakeCells(const Rows& rows) {
    folds_.AddCells(rows.cells, [&](auto visit) {
      EachOf(rows, [&](std::size_t row, std::uint32_t record) { visit(groups_[row], record); });
    });
  }
  kt_long TakeMany(kt_long first, const RowNumbers& numbers) {
    return TakeEach(first, numbers, [this](std::size_t row, auto number) {
      if (groups_[row] != kNoGroup) folds_.Add(groups_[row], number);
    });
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool) {
    folds_.Add(groups_[static_cast<std::size_t>(row)], value.Target());
    return true;
  }

 private:
  struct ForLaterRows {};
  TotalTaker(const TotalTaker& first, ForLaterRows)
      : OfGroups(first), what_(first.what_), folds_(first.folds_, GroupFolds::kForLater) {}

  Kt_Aggregate what_;
  GroupFolds folds_;
};

}  // namespace kt::detail
