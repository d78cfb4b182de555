// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "classlib/store/Kt_Dataset.h"

namespace kt::detail {
class GroupBuilder;
struct SortedRuns;
struct SubtotalCell;
}  // namespace kt::detail

// A cross table over the rows that a dataset shows, by its pivot keys: one pivot row per different
// set of row keys, one position per different set of column keys, both in key order, and for every
// value key one value per cell, made of all rows that fall into it. Cells into which no row falls
// are absent: they take no memory and read null.
//
//   sales.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, region);
//   sales.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, month);
//   sales.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, amount);
//   Kt_Pivot pivot;
//   if (pivot.Build(sales)) pivot.GetColumn(0, amount, 0);
//
// With column keys k1 to kn there are also subtotal positions: one of level 1 after each run of
// equal (k1..kn-1), ... one of level n-1 after each k1. Columns are numbered as in the dataset.
// Without row keys there is one row, without column keys one position.
//
// A snapshot: later changes of the dataset do not reach it. Owns its values. Threads: const members
// may run in parallel. Fails: outside everything reads empty.
class KT_CLASS_API Kt_Pivot {
 public:
  enum class ColumnType : std::uint8_t { kValue, kRowKey, kColumnKey, kOther };

  // False, and the pivot empty, without row and column keys or without memory. A value key without
  // a kind is summed.
  bool Build(const Kt_Dataset& source);
  void Clear();

  kt_long GetPivotRowCount() const { return static_cast<kt_long>(rows_.size()); }
  kt_long GetPivotColCount() const { return static_cast<kt_long>(positions_.size()); }
  kt_long GetPivotTableColCount() const { return plain_count_; }  // without subtotals
  ColumnType GetPivotColType(kt_long col) const;
  kt_long GetPivotColLevel(kt_long position) const;  // 0 for a plain position and outside
  // The number of a cell; -1 for an absent one and outside. Costs O(log cells of the row).
  kt_long GetPivotRowPos(kt_long row, kt_long position) const;
  // A value column: the value of a cell. A row key: that of the row, whatever the position. A
  // column key: that of the position, null in subtotals that it is not part of. Any other column:
  // null.
  Kt_Variant GetColumn(kt_long row, kt_long col, kt_long position) const;
  // The column keys of a position with "/" between them; those that a subtotal is not part of are
  // left out.
  Kt_WString GetPivotColText(kt_long position) const;
  // The values of a column in all positions.
  Kt_VariantList GetColumnSet(kt_long row, kt_long col) const;

 private:
  friend class Kt_Dataset;  // whose rows it becomes
  friend class kt::detail::GroupBuilder;
  using Slot = std::uint32_t;  // of a record in the columns
  using Cells = std::shared_ptr<const Kt_Column>;
  struct KeyColumn {
    kt_long col;
    bool ascending;
    Cells cells;  // while it is built by slot, then by row or position
  };
  // Averages of several cells need what their averages were made of.
  struct Weight {
    Kt_Variant sum;
    kt_long count;
  };
  struct ValueColumn {
    kt_long col;
    Kt_Aggregate what;
    Cells cells;                           // while it is built
    kt::CountedVector<Kt_Variant> values;  // by cell
    kt::CountedVector<Weight> weights;     // by cell, of an average
  };
  struct Position {
    Slot slot;      // a record that has its keys
    kt_long level;  // of a subtotal, else 0
  };
  using CellNumber = std::pair<std::uint32_t, std::uint32_t>;  // position, cell

  // Records sorted by some keys, and what the sort knows of them.
  struct Sorted {
    kt::CountedVector<Slot> slots;
    std::shared_ptr<const kt::detail::SortedRuns> runs;  // null: nothing
  };

  bool BuildFrom(const Kt_Dataset& source);
  void TakeKeys(const Kt_Dataset& source);
  // No slots: those up to `count`.
  static Sorted SortedBy(const Kt_Dataset& source, const std::vector<KeyColumn>& keys,
                         const kt::CountedVector<Slot>& slots, std::size_t count);
  void SetRows(const Sorted& sorted, kt::CountedVector<std::uint32_t>& row_of);
  void SetPositions(const Sorted& sorted,
                    kt::CountedVector<kt::CountedVector<std::uint32_t>>& positions_of_plain,
                    kt::CountedVector<std::uint32_t>& plain_of);
  void SetAll(const Kt_Dataset& source, const kt::CountedVector<Slot>& slots, std::size_t count);
  bool CanSetAll() const;
  void SetCells(kt::CountedVector<std::uint64_t>& keys, kt::CountedVector<Slot>& records);
  void AddCells(const kt::CountedVector<Slot>& slots, const kt::CountedVector<std::uint32_t>& ends);
  static void AddCellsOf(ValueColumn& value, const kt::CountedVector<Slot>& slots,
                         const kt::CountedVector<std::uint32_t>& ends);
  static void AddCell(ValueColumn& value, const kt::CountedVector<Slot>& slots);
  void LetGoOfSource();
  const ValueColumn* ValueOf(kt_long col) const;
  // A row key by pivot row; null for other columns.
  const Cells& RowKeyCells(kt_long col) const;
  // What each position of some rows holds together, made of their records.
  void TotalRows(const kt::CountedVector<Slot>& rows,
                 kt::CountedVector<kt::detail::SubtotalCell>& totals) const;
  static Kt_Variant TotalOf(const ValueColumn& value, const CellNumber* first,
                            const CellNumber* last);

  std::vector<KeyColumn> row_keys_;
  std::vector<KeyColumn> column_keys_;
  std::vector<ValueColumn> values_;
  kt::CountedVector<Slot> rows_;  // a record of each row
  kt::CountedVector<Position> positions_;
  kt_long plain_count_ = 0;
  kt::CountedVector<std::uint32_t> row_starts_;      // first cell of each row, and the end
  kt::CountedVector<std::uint32_t> cell_positions_;  // by cell; rising within a row
};
