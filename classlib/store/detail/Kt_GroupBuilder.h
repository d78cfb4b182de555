// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "classlib/store/Kt_Column.h"
#include "classlib/store/detail/Kt_GroupView.h"
#include "classlib/store/detail/Kt_RowIndex.h"
#include "classlib/value/Kt_Aggregate.h"

class Kt_Pivot;

namespace kt::detail {

// Lays subtotals between the records of a view: where a key differs from the record before, the
// groups of that key and of all keys after it end. Sums, averages and counts are made on the way,
// for all levels in one pass over the records; for other totals the column is laid out in their
// order, and every subtotal of every level is a walk over neighbours. Needs 4 bytes a record, and
// one such column at a time.
//
//   GroupBuilder builder(index, view);
//   builder.AddKey(city, cities);
//   builder.AddTotal(price, Kt_Aggregate::kSum, prices);
//   builder.Build(false, groups);
//
// Borrows the order. Fails: throws std::bad_alloc and WorkStopped.
class GroupBuilder {
 public:
  using Cells = std::shared_ptr<const Kt_Column>;  // by slot

  GroupBuilder(const RowIndex& index, View view) : index_(index), view_(view) {}

  // The outermost key comes first.
  void AddKey(kt_long col, Cells cells) { keys_.push_back({col, std::move(cells)}); }
  void AddTotal(kt_long col, Kt_Aggregate what, Cells cells) {
    totals_.push_back({col, what, std::move(cells)});
  }
  // What a sort by the keys, and perhaps more, knows of all the records; null for nothing.
  void SetRuns(const SortedRuns* runs) { runs_ = runs; }
  // The rows are those of a cross table, which has totals for every position.
  void SetPivot(const Kt_Pivot* pivot) { pivot_ = pivot; }

  // `reverse`: subtotals stand before their rows.
  void Build(bool reverse, GroupView& groups) const;

 private:
  struct KeyColumn {
    kt_long col;
    Cells cells;
  };
  struct TotalColumn {
    kt_long col;
    Kt_Aggregate what;
    Cells cells;
  };

  // Where the cells of the subtotals of one level stand.
  struct Places {
    std::size_t count = 0;
    std::vector<std::size_t> keys;    // of those that are shown
    std::vector<std::size_t> totals;  // kNoPlace: the column shows a key
  };
  static constexpr auto kNoPlace = static_cast<std::size_t>(-1);

  void Find(const CountedVector<Slot>& records, GroupView& groups) const;
  std::size_t CountGroups() const;
  static void Place(bool reverse, GroupView& groups);
  void RangesToRows(GroupView& groups) const;
  static std::size_t LevelOf(const Subtotal& subtotal) {
    return static_cast<std::size_t>(subtotal.level) - 1;
  }
  std::vector<Places> PlacesOfCells() const;
  void FillKeys(const CountedVector<Slot>& records, const Places& places, Subtotal& subtotal) const;
  void FillTotals(const CountedVector<Slot>& records, const std::vector<Places>& places,
                  GroupView& groups) const;
  void FillPositions(const CountedVector<Slot>& records, GroupView& groups) const;

  const RowIndex& index_;
  const View view_;
  std::vector<KeyColumn> keys_;
  std::vector<TotalColumn> totals_;
  const SortedRuns* runs_ = nullptr;
  const Kt_Pivot* pivot_ = nullptr;
};

}  // namespace kt::detail
