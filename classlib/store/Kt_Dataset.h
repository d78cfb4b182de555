// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_ColumnMap.h"
#include "classlib/store/Kt_DatasetHandle.h"
#include "classlib/store/Kt_Keys.h"
#include "classlib/store/Kt_LoadReport.h"
#include "classlib/store/Kt_SaveReport.h"
#include "classlib/value/Kt_Aggregate.h"

class Kt_Buffer;
class Kt_Dataset;
class Kt_Pivot;
namespace kt::detail {
class TableDoor;
}  // namespace kt::detail

// Limits of one dataset; what goes past one is refused. Rows: their numbers, and twice as many
// while something grows, fit 32 bits. Columns: each costs every row something.
inline constexpr kt_long kMaxDatasetRows = 1 << 27;
inline constexpr kt_long kMaxDatasetColumns = 16384;

// Row states as GetRowType and SetRowType give and take them.
inline constexpr kt_long kRowTypeNormal = 1;
inline constexpr kt_long kRowTypeInsert = 2;
inline constexpr kt_long kRowTypeUpdate = 4;
inline constexpr kt_long kRowTypeDelete = 8;
inline constexpr kt_long kRowTypeLogical = 16;
// "insert", "update", "delete", "logical"; "normal" for every other number.
KT_CLASS_API const char16_t* kt_rowtypetextW(kt_long type);

// Which row a row is, whatever number it has: the same while the record is in the dataset, through
// sorting, moves, filters and edits of other rows, and never that of another record. A row that is
// deleted and taken back by Reset is the same one. Rows that a load or a copy replaced are other
// ones. All that is no record (subtotals, rows of a pivot, rows outside) has the default value.
class KT_CLASS_API Kt_RowIdentity {
 public:
  Kt_RowIdentity() = default;
  bool operator==(const Kt_RowIdentity&) const = default;

 private:
  friend class Kt_Dataset;
  std::uint64_t era_ = 0;
  std::uint32_t slot_ = 0;
  std::uint32_t freed_at_ = 0;
};

// Computes the cells of logical columns whose map is an expression; the engine implements it.
class KT_CLASS_API Kt_ColumnEvaluator {
 public:
  virtual ~Kt_ColumnEvaluator() = default;
  // False when what it needs has gone, so that another one may take its place.
  virtual bool IsAlive() const { return true; }
  // The value of a map in a row; `filtered` says which of the two row numberings `row` counts in.
  // False gives an empty cell. The dataset refuses all changes meanwhile; it may be assigned to or
  // destroyed, which ends the operation that asked. Reading columns of this kind in it comes here
  // again: where the native stack ends is to be looked at.
  //
  // A map that has an origin may be a stranger's. Unless loaded maps are trusted it may only
  // compute: it reaches neither what the host offers nor its scripts.
  virtual bool EvaluateColumn(const Kt_Dataset& dataset, kt_long row, bool filtered,
                              const Kt_ColumnMap& map, Kt_Variant& result) = 0;

  // Whether maps that a load brought may do all that those of the host may. Off by default.
  void TrustLoadedMaps(bool trusted) { trusts_loaded_maps_ = trusted; }
  bool TrustsLoadedMaps() const { return trusts_loaded_maps_; }

 private:
  bool trusts_loaded_maps_ = false;
};

// A table of typed columns and rows that knows what was changed since it was loaded.
//
//   Kt_Dataset orders(u"orders");
//   const kt_long price = orders.AddColumn(u"price", u"currency");
//   const kt_long row = orders.AppendRow();
//   orders.SetColumn(row, price, u"12.50");
//   orders.GetRowType(row);                         // kRowTypeInsert
//
// Rows are numbered from 0 as they are shown: behind both filters. The ...NF forms number all rows,
// with both filters off. Rows have a state (normal, inserted, updated); the first values of updated
// rows and the deleted rows are kept until ApplyChange forgets or Reset restores them. Column ids
// compare without regard to case; the first of several counts.
//
// Owns its cells. Copies share columns, order and texts until one of them writes: copying costs
// about as much as there are columns.
// Threads: one thread per dataset, for reading too; copies on several threads may share content.
// Debug builds stop where two threads are in one dataset.
// Fails: rows and columns outside read empty and refuse writes; refusals are negative results. A
// change for which memory runs out is refused with kErrNoMemory and leaves everything as it was;
// rows beyond the limit are refused with kErrRowNotAdded, everything else with -1. What gives a
// value throws std::bad_alloc without memory. Nothing else throws.
class KT_CLASS_API Kt_Dataset {
 public:
  class Rollback;

  Kt_Dataset();
  explicit Kt_Dataset(const Kt_WString& id);
  Kt_Dataset(const Kt_Dataset& other);
  Kt_Dataset(Kt_Dataset&& other);
  Kt_Dataset& operator=(const Kt_Dataset& other);
  Kt_Dataset& operator=(Kt_Dataset&& other);
  ~Kt_Dataset();

  const Kt_WString& GetId() const;
  void SetId(const Kt_WString& id);

  // Rises whenever columns or rows come, go or change places. A loop that calls out of the store
  // compares it before it uses a row or column number again.
  std::uint64_t GetStructureVersion() const;

  // ---- Kind -----------------------------------------------------------------------------------

  // Physical: has cells of its own. Logical: shows those of a source, or a cross table of rows. A
  // pivot is logical and not physical.
  bool IsPhysical() const;
  bool IsLogical() const;
  bool IsPivot() const;

  // Makes this dataset show the records of `source`: one column of its own for each of the
  // source's, under the same id; rows, columns and keys that it had go. Cells are read where they
  // are, and written through; filters, order, groups and selection are its own. Changed cells show
  // at once. Records that came or went do at ResetRecIndex, RecalcGroup and RecalcPivot; until then
  // those that went read empty and cannot be written. When the source has gone there are no rows.
  // Null: plain and empty again. 1, or -1 when the source shows this dataset, and nothing changed.
  // More than 16 sources behind one another read null.
  kt_long SetSource(Kt_Dataset* source);
  Kt_Dataset* GetSource() const;  // null: none, or it has gone
  // The number without filters that the record behind a shown row has in the source / the column of
  // the source behind a column. -1 outside, for subtotals, and for what is not the source's.
  kt_long GetSourceRowNF(kt_long row) const;
  kt_long GetSourceCol(kt_long col) const;

  // ---- Columns --------------------------------------------------------------------------------

  kt_long GetColCount() const;
  kt_long GetColIndex(std::u16string_view id) const;  // -1: none
  // Index of the n-th column as shown; -1 outside.
  kt_long GetColIDxByOrder(kt_long order) const;
  // Empty, string and 0 outside.
  const Kt_WString& GetColID(kt_long col) const;
  Kt_ColumnType GetColType(kt_long col) const;
  kt_long GetColSize(kt_long col) const;  // as declared; values are not cut to it
  // What a logical column shows: a column id or an expression. Empty for all other columns.
  const Kt_WString& GetColMapValue(kt_long col) const;
  bool IsLogicalColumn(kt_long col) const;
  // Whether the map of a column came with data that was loaded. Copies of the column keep that, and
  // saving and loading again does too. Such a map may be a stranger's (Kt_ColumnEvaluator).
  bool IsLoadedMap(kt_long col) const;
  // Says which file the loaded maps are from that have no name yet, for messages.
  void NameLoadedMaps(const Kt_WString& file);

  // The index of the new column, whose cells are null. -1 when the id is empty or known or the type
  // unknown, or at the limit. The empty type is string.
  kt_long AddColumn(const Kt_WString& id, std::u16string_view type = {}, kt_long size = 0);
  kt_long AddColumn(const Kt_WString& id, Kt_ColumnType type, kt_long size = 0);
  // A column without cells of its own. `map` is the id of another column, now or later, which is
  // then read and written through this one, or an expression for the evaluator (read-only).
  kt_long AddLogicalColumn(const Kt_WString& id, const Kt_WString& map,
                           std::u16string_view type = {}, kt_long size = 0);
  // A logical column as `source` has it, with the origin of its map.
  kt_long AddLogicalColumnOf(const Kt_Dataset& source, kt_long col);
  // Null for none. Copies of the dataset have none.
  void SetEvaluator(std::shared_ptr<Kt_ColumnEvaluator> evaluator);
  const std::shared_ptr<Kt_ColumnEvaluator>& GetEvaluator() const;
  // While a cell of a column of expressions is being computed; rows, columns and cells are refused
  // to change then.
  bool IsEvaluating() const;

  // Constants: one value for the whole dataset. Index or id; outside: -1, empty.
  kt_long AddConstColumn(const Kt_WString& id, const Kt_Variant& value = {});
  kt_long GetConstCount() const;
  kt_long GetConstIndex(std::u16string_view id) const;
  const Kt_WString& GetConstColID(kt_long constant) const;
  const Kt_Variant& GetConstColumn(kt_long constant) const;
  const Kt_Variant& GetConstColumn(std::u16string_view id) const;
  kt_long SetConstColumn(kt_long constant, const Kt_Variant& value);  // 1 or -1
  kt_long SetConstColumn(std::u16string_view id, const Kt_Variant& value);

  // ---- Rows -----------------------------------------------------------------------------------

  kt_long GetRowCount() const;
  kt_long GetRowCountNF() const;

  // New rows: inserted, empty, shown, at the end / before a shown row (any other number: at the
  // end). The first new index; -1 for a count below 1 and on a dataset without rows of its own,
  // kErrRowNotAdded at the limit, kErrNoMemory. Costs O(log rows), wherever they go.
  kt_long AppendRow(kt_long count = 1);
  kt_long InsertRow(kt_long row, kt_long count = 1);
  // 1, or -1 outside. An inserted row goes for good, any other to the deleted rows.
  kt_long DeleteRow(kt_long row);
  // Deletes the shown rows / those of them that are selected; returns how many.
  kt_long DeleteAll();
  kt_long DeleteSelected();
  // Moves a row so that it has number `to` afterwards / exchanges two rows, in record order too. No
  // row state changes. 1 or -1.
  kt_long MoveRow(kt_long from, kt_long to);
  kt_long ExchangeRow(kt_long a, kt_long b);
  void ClearData();  // all rows with their states and originals; filters go off
  void Clear();      // ClearData, and the columns
  void ClearAll();   // Clear, and the constants

  // kRowType...; 0 outside.
  kt_long GetRowType(kt_long row) const;
  kt_long GetRowTypeNF(kt_long row) const;
  // Forces normal (forgets the originals), insert or update. 1, or -1 for other types and outside.
  kt_long SetRowType(kt_long row, kt_long type);
  // The number that a shown row has without filters; -1 outside.
  kt_long GetRowIndexNF(kt_long row) const;

  // What an operation that calls out of the store compares before it uses a row number again.
  Kt_RowIdentity GetRowIdentity(kt_long row) const;
  Kt_RowIdentity GetRowIdentityNF(kt_long row) const;

  // 1, or -1 outside.
  kt_long SelectRow(kt_long row, bool selected = true);
  bool GetSelect(kt_long row) const;
  void ClearSelect();

  // ---- Cells ----------------------------------------------------------------------------------

  // The value of a cell; empty outside. Null cells are empty too. The pointer is never null, and
  // good for 31 further calls. A pivot has a value per position in its value columns; nothing else
  // looks at the position.
  Kt_Variant ReadColumn(kt_long row, kt_long col, kt_long position = -1) const;
  Kt_Variant ReadColumnNF(kt_long row, kt_long col, kt_long position = -1) const;
  const Kt_Variant* GetColumn(kt_long row, kt_long col, kt_long position = -1) const;
  const Kt_Variant* GetColumnNF(kt_long row, kt_long col, kt_long position = -1) const;
  // The values in all positions; the one value when this is no pivot.
  Kt_VariantList GetColumnSet(kt_long row, kt_long col) const;
  // Stores a value, converted as Kt_Column::Write says, and moves the row state; an equal value
  // changes nothing. 1, or -1 outside and for cells that cannot be written.
  kt_long SetColumn(kt_long row, kt_long col, const Kt_Variant& value);
  kt_long SetColumnNF(kt_long row, kt_long col, const Kt_Variant& value);
  // For places that come back to one column with any row: reads or writes a cell by the id of its
  // column, looked for at `col` first, which is set to where it is. False, and nothing done, where
  // this would be more than a look into the column: cells that are not kept here, or may be objects
  // (type variant), subtotals, unknown ids. `answer` is what SetColumn answers.
  bool ReadOwnCell(kt_long row, std::u16string_view id, kt_long& col, Kt_Variant& value) const;
  bool WriteOwnCell(kt_long row, std::u16string_view id, kt_long& col, const Kt_Variant& value,
                    kt_long& answer);
  // Whether SetColumn would change the cell.
  bool WouldChange(kt_long row, kt_long col, const Kt_Variant& value) const;

  // ---- Filters and order ----------------------------------------------------------------------

  // The main filter hides records, the local one rows that the main filter shows. Hiding turns the
  // filter on; loops should go from the last row to the first, because the rows after a hidden one
  // change their numbers. 1, or -1 outside. Filter counts rows without the local filter.
  //
  // Filters are not live: a row stays hidden or shown whatever becomes of its cells.
  kt_long Filter(kt_long row);
  kt_long LocFilter(kt_long row);
  // The same for all rows at once whose number has another value than 0 in `hidden`, which go by
  // the numbers that they have before. Costs one pass over the rows. How many were hidden.
  kt_long FilterRows(std::span<const std::uint8_t> hidden);
  kt_long LocFilterRows(std::span<const std::uint8_t> hidden);
  // Drops the filter / shows all its rows again with the filter on.
  void UnFilter();
  void LocUnFilter();
  void ResetRecIndex();
  void ResetFilIndex();
  // Suspends a filter, or puts it back, without forgetting what it hides; costs nothing.
  bool GetFilterStat() const;
  bool GetLocFilterStat() const;
  void SetFilterStat(bool on);
  void SetLocFilterStat(bool on);
  // The filter that belongs to the definition of the dataset; the store only keeps the text.
  const Kt_WString& GetFilterStr() const;
  void SetFilterStr(const Kt_WString& text);

  // Sorts the records, hidden ones too, by a list "price:d, name": descending after ":d".
  // `ascending` false turns every item round. Stable. Nulls stand after all values, or before all,
  // whatever the direction; texts go by code unit; NaN is greater than every number. 1, or -1 for
  // an unknown column or an empty list, or kErrNoMemory, and nothing changed. The list becomes the
  // sort keys, and with `group_keys` the group keys too.
  kt_long Sort(std::u16string_view list, bool ascending = true, bool nulls_last = false,
               bool group_keys = false);

  // ---- Groups ---------------------------------------------------------------------------------

  // Adds, removes or changes one key, or clears all keys of all types; takes effect at RecalcGroup.
  // The subtotal kind counts for keys of type kPivotValue: their columns are totalled. 1, or -1 for
  // an unknown column, a key that is known (add) or unknown (remove, change).
  kt_long ModifyKeyStat(Kt_KeyCall call, Kt_KeyType type, kt_long col, bool ascending = true,
                        Kt_Aggregate subtotal = Kt_Aggregate::kNone);
  // The keys of a type as a list that Sort takes; GetGroupStr of the group keys.
  Kt_WString GetKeyStr(Kt_KeyType type) const;
  Kt_WString GetGroupStr() const { return GetKeyStr(Kt_KeyType::kGroup); }

  // Lays subtotal rows between the rows as they stand: with group keys k1 to kn, one of level 1
  // after each run of equal (k1..kn), one of level 2 after each run of equal (k1..kn-1), and so
  // on. Without group keys they go. They count as rows everywhere, also in the NF numbering, but
  // have no state, cannot be written, deleted or hidden, and are left out by aggregates, files and
  // copies. Totals stay as they are until the next call; rows that come, go or are hidden shift
  // them.
  void RecalcGroup();
  // Reversed, subtotals stand before their rows, outer ones first.
  bool GetReverseSubSumStat() const;
  void SetReverseSubSumStat(bool reverse);
  kt_long GetRowLevel(kt_long row) const;  // 0 for a record and outside
  // Of a subtotal: the first row of its group, reversed the last one. Of a record: itself. -1
  // outside.
  kt_long GetRowIndex(kt_long row) const;
  // The first row that a subtotal covers and how many rows, inner subtotals among them; a record
  // covers itself. -1 and 0 outside.
  kt_long GetRangeStart(kt_long row) const;
  kt_long GetRangeCount(kt_long row) const;

  // ---- Pivot ----------------------------------------------------------------------------------

  // With pivot row or column keys, the rows of this dataset are those of the cross table that
  // Kt_Pivot describes, over the rows that are shown, and subtotals of them by those group keys
  // that are row keys too. Columns stay as they are; filters, groups and selection are those of the
  // pivot rows, which have no state and cannot be edited. Without such keys, the plain rows are
  // back as they were. A snapshot: cells that change show at the next call. 1, or -1 without
  // memory.
  //
  // Files and copies of a pivot hold a plain table: the row keys, and one column for every position
  // and value key.
  kt_long RecalcPivot();
  // Rows as shown, subtotals included / positions, subtotal positions included / plain positions.
  // 0 when this is no pivot.
  kt_long GetPivotRowCount() const;
  kt_long GetPivotColCount() const;
  kt_long GetPivotTableColCount() const;
  kt_long GetPivotColType(kt_long col) const;  // 0 value, 1 row key, 2 column key, 3 other
  // 0 for a plain position, a record, and outside.
  kt_long GetPivotColLevel(kt_long position) const;
  kt_long GetPivotRowLevel(kt_long row) const;
  // The number of the cell of a shown row in a position; -1 when no record falls into it, for
  // subtotals and outside. The flag is not used.
  kt_long GetPivotRowPos(kt_long row, kt_long position, kt_long flag = 0) const;
  // The column keys of a position with "/" between them.
  Kt_WString GetPivotColText(kt_long position) const;
  // Makes the subtotals of the pivot rows anew, from those that are shown.
  void PivotLocSubSum_Reset();

  // A value column down one position, over the pivot rows [start, end); `filtered` 0: of all pivot
  // rows. Cells without a value add nothing, but their rows count: for the number, and for what an
  // average divides by. Subtotals are left out. The flag is not used. 1, or 0 when there is no
  // value (sum 0, otherwise empty), or -1 when this is no pivot or the column holds no values.
  kt_long GetPivotRowAggregate(Kt_Aggregate what, kt_long col, kt_long position, kt_long start,
                               kt_long end, bool filtered, Kt_Variant& result) const;
  kt_long GetPivotRowSum(kt_long col, kt_long position, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotRowAggregate(Kt_Aggregate::kSum, col, position, start, end, filtered != 0,
                                result);
  }
  kt_long GetPivotRowAvg(kt_long col, kt_long position, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotRowAggregate(Kt_Aggregate::kAvg, col, position, start, end, filtered != 0,
                                result);
  }
  kt_long GetPivotRowMax(kt_long col, kt_long position, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotRowAggregate(Kt_Aggregate::kMax, col, position, start, end, filtered != 0,
                                result);
  }
  kt_long GetPivotRowMin(kt_long col, kt_long position, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotRowAggregate(Kt_Aggregate::kMin, col, position, start, end, filtered != 0,
                                result);
  }
  kt_long GetPivotRowCount(kt_long col, kt_long position, kt_long, kt_long start, kt_long end,
                           kt_long filtered) const {
    Kt_Variant count;
    GetPivotRowAggregate(Kt_Aggregate::kCount, col, position, start, end, filtered != 0, count);
    return count.ToInteger();
  }
  // The same across one pivot row, over those of the positions [start, end) that are plain; -1 and
  // -1: all. The NN forms and `present_only` leave cells without a value out of the number.
  kt_long GetPivotColAggregate(Kt_Aggregate what, kt_long col, kt_long pivot_row, kt_long start,
                               kt_long end, bool filtered, bool present_only,
                               Kt_Variant& result) const;
  kt_long GetPivotColSum(kt_long col, kt_long pivot_row, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotColAggregate(Kt_Aggregate::kSum, col, pivot_row, start, end, filtered != 0,
                                false, result);
  }
  kt_long GetPivotColAvg(kt_long col, kt_long pivot_row, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotColAggregate(Kt_Aggregate::kAvg, col, pivot_row, start, end, filtered != 0,
                                false, result);
  }
  kt_long GetPivotColAvgNN(kt_long col, kt_long pivot_row, kt_long, kt_long start, kt_long end,
                           kt_long filtered, Kt_Variant& result) const {
    return GetPivotColAggregate(Kt_Aggregate::kAvg, col, pivot_row, start, end, filtered != 0, true,
                                result);
  }
  kt_long GetPivotColMax(kt_long col, kt_long pivot_row, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotColAggregate(Kt_Aggregate::kMax, col, pivot_row, start, end, filtered != 0,
                                false, result);
  }
  kt_long GetPivotColMin(kt_long col, kt_long pivot_row, kt_long, kt_long start, kt_long end,
                         kt_long filtered, Kt_Variant& result) const {
    return GetPivotColAggregate(Kt_Aggregate::kMin, col, pivot_row, start, end, filtered != 0,
                                false, result);
  }
  kt_long GetPivotColCount(kt_long col, kt_long pivot_row, kt_long, kt_long start, kt_long end,
                           kt_long filtered) const {
    Kt_Variant count;
    GetPivotColAggregate(Kt_Aggregate::kCount, col, pivot_row, start, end, filtered != 0, false,
                         count);
    return count.ToInteger();
  }
  kt_long GetPivotColCountNN(kt_long col, kt_long pivot_row, kt_long, kt_long start, kt_long end,
                             kt_long filtered) const {
    Kt_Variant count;
    GetPivotColAggregate(Kt_Aggregate::kCount, col, pivot_row, start, end, filtered != 0, true,
                         count);
    return count.ToInteger();
  }

  // ---- Aggregates and searches ----------------------------------------------------------------

  // Over the rows [start, end), cut to those there are. Nulls are left out. Sums of longs and
  // currencies are exact and keep their kind while they fit, then doubles; sums of doubles depend
  // on the sequence of the values alone. An average is a double. A text counts as the number that
  // it starts with, except for the greatest and least, which are texts.
  // NaN is the greatest or least only where there is nothing else; docs/values.md says it all.
  // 1, or 0 when no value was there (sum and count 0, otherwise empty), or -1 for an unknown
  // column. In a pivot the position chooses the cells of a value column.
  kt_long GetAggregate(Kt_Aggregate what, kt_long col, kt_long start, kt_long end,
                       Kt_Variant& result, kt_long position = -1) const;
  kt_long GetAggregateNF(Kt_Aggregate what, kt_long col, kt_long start, kt_long end,
                         Kt_Variant& result, kt_long position = -1) const;
  kt_long GetSum(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                 kt_long position = -1) const {
    return GetAggregate(Kt_Aggregate::kSum, col, start, end, result, position);
  }
  kt_long GetAvg(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                 kt_long position = -1) const {
    return GetAggregate(Kt_Aggregate::kAvg, col, start, end, result, position);
  }
  kt_long GetMax(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                 kt_long position = -1) const {
    return GetAggregate(Kt_Aggregate::kMax, col, start, end, result, position);
  }
  kt_long GetMin(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                 kt_long position = -1) const {
    return GetAggregate(Kt_Aggregate::kMin, col, start, end, result, position);
  }
  kt_long GetSumNF(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                   kt_long position = -1) const {
    return GetAggregateNF(Kt_Aggregate::kSum, col, start, end, result, position);
  }
  kt_long GetAvgNF(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                   kt_long position = -1) const {
    return GetAggregateNF(Kt_Aggregate::kAvg, col, start, end, result, position);
  }
  kt_long GetMaxNF(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                   kt_long position = -1) const {
    return GetAggregateNF(Kt_Aggregate::kMax, col, start, end, result, position);
  }
  kt_long GetMinNF(kt_long col, kt_long start, kt_long end, Kt_Variant& result,
                   kt_long position = -1) const {
    return GetAggregateNF(Kt_Aggregate::kMin, col, start, end, result, position);
  }
  // Records in the range.
  kt_long GetCount(kt_long start, kt_long end) const;
  kt_long GetCountNF(kt_long start, kt_long end) const;

  // The first row in [start, end) whose column holds the value of `text`, converted to the column's
  // type; the As forms compare the texts of the cells without regard to case. The empty text finds
  // null and empty text. End -1: to the last row. -1 when there is none.
  kt_long LookupDataRow(std::u16string_view id, std::u16string_view text, kt_long start = 0,
                        kt_long end = -1) const;
  kt_long LookupDataRowNF(std::u16string_view id, std::u16string_view text, kt_long start = 0,
                          kt_long end = -1) const;
  kt_long LookupDataRowAs(std::u16string_view id, std::u16string_view text, kt_long start = 0,
                          kt_long end = -1) const;
  kt_long LookupDataRowNFAs(std::u16string_view id, std::u16string_view text, kt_long start = 0,
                            kt_long end = -1) const;
  // The text of another column in the first row that LookupDataRow finds; empty for none.
  Kt_WString LookupDataText(std::u16string_view id, std::u16string_view text,
                            std::u16string_view out_id) const;

  // ---- Copying --------------------------------------------------------------------------------

  // All keep this dataset's id. The number of rows that are shown / were appended / were appended
  // or overwritten, or -1 without memory.
  //
  // Copy: columns, rows, states, first values and constants in place of the own ones; no filters
  // and keys. Assign: these too. Both share the cells until one side writes.
  kt_long Copy(const Kt_Dataset& source);
  kt_long Assign(const Kt_Dataset& source);
  // Copies the rows that are shown, as normal rows.
  kt_long CopyF(const Kt_Dataset& source);
  // Appends the rows that are shown, as inserted rows, into the columns with the same ids.
  kt_long AppendDataset(const Kt_Dataset& source);
  // As AppendDataset, but a row whose sort and group key cells are those of a row shown here is not
  // appended: it overwrites that row when it is inserted or updated itself, and is left out when
  // it is normal. Without such keys AppendDataset.
  kt_long Merge(const Kt_Dataset& source);
  // Copies one cell. 1, or -1 when either cell is not there or this one cannot be written.
  kt_long CopyColumn(kt_long row, kt_long col, const Kt_Dataset& source, kt_long source_row,
                     kt_long source_col);
  // The same the other way round: writes the target's cell.
  kt_long CopytoColumn(kt_long row, kt_long col, Kt_Dataset& target, kt_long target_row,
                       kt_long target_col) const {
    return target.CopyColumn(target_row, target_col, *this, row, col);
  }

  // ---- Files ----------------------------------------------------------------------------------

  // The functions of classlib/formats/Kt_Formats.h by the names that hosts know; it says what they
  // do. What has no report here has none to give.
  kt_long LoadCSV(std::u16string_view text, bool clear = true);
  kt_long LoadCSV(std::u16string_view text, const Kt_CsvOptions& options, Kt_LoadReport& report);
  kt_long LoadCSVBytes(std::string_view utf8, const Kt_CsvOptions& options, Kt_LoadReport& report);
  kt_long SaveCSV(Kt_WString& out, std::u16string_view type = {}, char16_t separator = u',') const;
  kt_long SaveCSV(Kt_WString& out, std::u16string_view type,
                  const Kt_CsvSaveOptions& options) const;
  kt_long SaveCSV(Kt_WString& out, std::u16string_view type, const Kt_CsvSaveOptions& options,
                  Kt_SaveReport& report) const;
  kt_long LoadJson(std::string_view utf8, const Kt_JsonOptions& options, Kt_LoadReport& report);
  kt_long SaveJson(Kt_Buffer& out, std::u16string_view type, const Kt_JsonSaveOptions& options,
                   Kt_SaveReport& report) const;
  kt_long LoadDataXml(std::u16string_view text, bool clear = true);
  kt_long LoadDataXml(std::u16string_view text, bool clear, Kt_LoadReport& report);
  kt_long SaveDataXml(Kt_WString& out, std::u16string_view type = {}, bool header = true) const;
  kt_long SaveDataXml(Kt_WString& out, std::u16string_view type, bool header,
                      Kt_SaveReport& report) const;
  kt_long LoadDataBin(std::span<const std::uint8_t> bytes, bool clear = true);
  kt_long LoadDataBin(std::span<const std::uint8_t> bytes, bool clear, Kt_LoadReport& report);
  kt_long Save2(Kt_Buffer& out, std::u16string_view type = {}) const;
  kt_long Save2(Kt_Buffer& out, std::u16string_view type, Kt_SaveReport& report) const;

  // ---- Changes --------------------------------------------------------------------------------

  // The updated and deleted rows with their first values, in order of first change. The type is
  // kRowTypeUpdate or kRowTypeDelete, 0 outside.
  kt_long GetOrgBuffCount() const;
  Kt_Variant GetOrgBuffColumn(kt_long index, kt_long col) const;
  kt_long GetOrgBuffType(kt_long index) const;
  // The first value of a cell: of an updated row as it was, of an inserted row empty.
  Kt_Variant GetOrgColumn(kt_long row, kt_long col) const;
  Kt_Variant GetOrgColumnNF(kt_long row, kt_long col) const;
  // The deleted rows with their first values, in order of deletion.
  kt_long GetDelRowCount() const;
  Kt_Variant GetDelColumn(kt_long index, kt_long col) const;

  // Makes the present rows the unchanged ones.
  void ApplyChange();
  // Takes back all changes: inserted rows go, deleted ones return to their place, updated ones get
  // their first values. Filters, order and selection stay.
  void Reset();
  // True when any row is inserted, updated or deleted. SetUpdate(false) is ApplyChange; true marks
  // every normal row updated, so that everything will be saved.
  bool GetUpdate() const;
  void SetUpdate(bool changed);

 private:
  friend class Kt_Pivot;  // works on slots and columns
  friend class Kt_DatasetHandle;
  friend class Kt_RowReader;
  friend class kt::detail::TableDoor;
  class Body;    // detail/Kt_DatasetBody.h
  struct State;  // detail/Kt_Edit.h

  Body& body() { return *body_; }
  const Body& body() const { return *body_; }

  std::unique_ptr<Body> body_;
  kt::detail::DatasetLifeOwner life_;
};

// Takes a dataset back to what it was when this was made if the work on it is stopped meanwhile
// (see Kt_WorkMeter): rows, cells, row states and filters. Costs next to nothing, and does nothing,
// where nothing limits the work.
class KT_CLASS_API Kt_Dataset::Rollback {
 public:
  explicit Rollback(Kt_Dataset& dataset, bool is_wanted = true);
  Rollback(const Rollback&) = delete;
  Rollback& operator=(const Rollback&) = delete;
  ~Rollback();

  bool TakesBack() const { return state_ != nullptr && Kt_WorkMeter::CurrentStop() != 0; }

 private:
  Kt_DatasetHandle dataset_;
  std::unique_ptr<State> state_;
};
