// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/detail/Kt_Callout.h"
#include "classlib/store/detail/Kt_ColumnSet.h"
#include "classlib/store/detail/Kt_ConstantList.h"
#include "classlib/store/detail/Kt_PivotLayer.h"
#include "classlib/store/detail/Kt_RowLayer.h"
#include "classlib/store/detail/Kt_SlotHistory.h"
#include "classlib/store/detail/Kt_SourceLink.h"
#include "classlib/value/Kt_OneThread.h"

namespace kt::detail {

class KeyTable;

// Not part of the value: copies start with none.
struct Scratch {
  Scratch() = default;
  Scratch(const Scratch&) {}
  Scratch& operator=(const Scratch&) { return *this; }
  std::array<Kt_Variant, 32> values;
  std::size_t next = 0;
};

// What a dataset is made of. Copies are copies of the dataset.
struct DatasetParts {
  Kt_WString id_;
  ColumnSet columns_;
  ConstantList constants_;
  RowLayer rows_;
  Kt_WString filter_text_;
  KeyList keys_;
  bool reverse_subtotals_ = false;
  PivotLayer pivot_;
  SourceLink source_;
  SlotHistory history_;
  std::uint64_t structure_version_ = 0;
  mutable CellEvaluator evaluator_;
  mutable Scratch scratch_;
  Kt_OneThread one_thread_;
};

}  // namespace kt::detail

// What a dataset does with its parts, in slots and views: what the operations that hosts see are
// made of.
class Kt_Dataset::Body : public kt::detail::DatasetParts {
 public:
  Body(Kt_Dataset& self, kt::detail::DatasetParts parts)
      : DatasetParts(std::move(parts)), self_(self) {}
  Body(const Body&) = delete;
  Body& operator=(const Body&) = delete;

  using Slot = kt::detail::Slot;
  using View = kt::detail::View;
  using RowIndex = kt::detail::RowIndex;

  using Column = kt::detail::DatasetColumn;
  using SortKey = kt::detail::SortKey;
  using Key = kt::detail::Key;
  using KeyCells = kt::detail::KeyCells;

  // An operation that goes on with this dataset after cells of columns of expressions were
  // computed, which may have destroyed or replaced it: the work then ends where it is, and the
  // answer is `ended`. What does not go on with it (reading one cell) needs no such frame.
  template <class Work>
  std::invoke_result_t<Work> Whole(Work work, std::invoke_result_t<Work> ended = {}) const;
  // What another dataset answers, whose cells may have to be computed.
  template <class Ask>
  std::invoke_result_t<Ask> Outside(Ask ask) const;

  void LeavePivot();
  void EnterPivot(std::shared_ptr<const Kt_Pivot> pivot);
  bool IsGroupKey(const Key& key) const;
  const RowIndex& PlainIndex() const { return *pivot_.PlainOf(rows_).index; }
  const kt::detail::ChangeBuffer& PlainChanges() const { return *pivot_.PlainOf(rows_).changes; }
  Slot PlainSlotCount() const { return pivot_.PlainOf(rows_).slot_count; }
  kt::CountedVector<Slot> PivotRows(View view, kt_long start, kt_long end) const;
  Kt_Dataset PivotTable(View view) const;

  bool IsPhysical() const { return !IsPivot() && !ShowsSource(); }
  bool IsLogical() const { return IsPivot() || source_.IsSet(); }
  bool IsPivot() const { return pivot_.IsOn(); }
  Kt_Dataset* GetSource() const { return source_.Get(); }
  bool ShowsSource() const { return source_.Shows(); }
  bool IsShownBy(const Kt_Dataset& source) const;
  bool SourceLives() const;
  const Kt_Dataset* Root() const;
  bool IsIntact() const;
  bool HasKnownSlots() const;
  bool IsGone(Slot slot) const;
  kt::CountedVector<Slot> RecordSlots() const;
  void TakeSourceRows(bool anew);
  std::vector<bool> KnownSlots() const;
  kt::CountedVector<Slot> InOwnOrder(const kt::CountedVector<Slot>& slots,
                                     const std::vector<bool>& known) const;
  void ClearStrangeCells(const kt::CountedVector<Slot>& slots, const std::vector<bool>& known);
  void LinkSource();
  void TakeCells();
  void OwnColumns();
  // This dataset as a plain one: with cells and rows of its own.
  Kt_Dataset AsTable(View view) const;
  kt_long SourceRowOf(Slot slot) const;
  Kt_Variant ReadSlot(Slot slot, kt_long col) const;

  bool IsPlain(kt_long col) const {
    return columns_.Has(col) && columns_[col].cells != nullptr && !ShowsSource();
  }
  bool IsEvaluating() const { return evaluator_.depth > 0; }
  // The door of edits, and the ways back: see detail/Kt_Edit.h.
  using State = Kt_Dataset::State;
  template <class Change>
  kt_long Edit(Change change);
  template <class Change>
  kt_long OrRestore(Change change);
  template <class Change, class TakeBack>
  kt_long OrTakeBack(bool is_long, Change change, TakeBack take_back);

  kt_long AddColumnRow(Column column);
  void ResolveLogicalColumn(Column& column);
  void ResolveLogicalColumns();
  // The cells of `col` by slot, where they are; null for an expression.
  // REQUIRES: IsIntact, or a slot that is not gone.
  const std::shared_ptr<Kt_Column>* FindCells(kt_long col) const;
  const Kt_Column* CellsOf(kt_long col) const;  // the same in a pivot too, whose rows are slots
  kt_long StoredCol(kt_long col) const;         // index of the own column that has the cells, or -1
  // An expression, here or in a source. REQUIRES: columns_.Has(col).
  bool IsComputed(kt_long col) const;

  View ActiveView() const { return rows_.active_view; }
  kt_long GetRowCount() const { return ViewCount(ActiveView()); }
  kt_long ViewCount(View view) const {
    if (KT_UNLIKELY(source_.IsSet()) && !SourceLives()) return 0;
    return rows_.index->Count(view) + (KT_UNLIKELY(rows_.grouped) ? GroupsOf(view).Count() : 0);
  }
  // The record number behind a row, in the view; -1 for a subtotal. REQUIRES: HasRow(view, row).
  kt_long RecordOf(View view, kt_long row) const;
  // How many records stand before a row. REQUIRES: 0 <= row <= ViewCount(view).
  kt_long RecordsBefore(View view, kt_long row) const {
    return rows_.grouped ? GroupsOf(view).RecordsBefore(row) : row;
  }
  template <class Note>
  void NoteInGroups(kt::detail::View view, Note note) const;
  template <class Note>
  void NoteGoneRows(View view, std::uint8_t flags, Note note);
  void NoteGone(View view, kt_long row, std::uint8_t flags);
  void NoteGone(View view, std::span<const std::uint8_t> marked, std::uint8_t flags);
  bool HasRow(View view, kt_long row) const { return row >= 0 && row < ViewCount(view); }
  // The record behind a row; nothing outside.
  std::optional<Slot> RecordAt(View view, kt_long row) const;
  std::optional<RowIndex::Place> PlaceAt(View view, kt_long row) const;
  kt_long RowType(View view, kt_long row) const;
  Kt_RowIdentity IdentityOf(View view, kt_long row) const;

  bool NewSlots(kt_long count, kt::CountedVector<Slot>& slots);
  void PrepareFree(Slot slot);
  void FreeSlot(Slot slot);
  void GiveBackSlots(const kt::CountedVector<Slot>& slots, Slot slot_count);
  kt_long InsertSlots(kt_long row, kt_long count);
  kt_long AppendSlot();
  void DeleteAt(RowIndex::Place place);
  void DeleteShown(kt_long row, RowIndex::Place place);
  template <class Keep>
  kt_long DeleteWhere(Keep keep);
  kt_long AppendRows(const Kt_Dataset& source);
  void RemoveEntries(std::uint8_t flags);
  void DropRows();
  void DropColumns();

  // The column at `col` where its cells are kept here and no rows but records are shown, or null.
  const Column* OwnCellsAt(kt_long col) const {
    if (KT_UNLIKELY(!columns_.Has(col) || source_.IsSet() || IsPivot() || rows_.grouped)) {
      return nullptr;
    }
    const Column& column = columns_[col];
    return KT_LIKELY(column.cells != nullptr) ? &column : nullptr;
  }
  // The same for the column with that id, which is looked for at `col` first; null for variants.
  const Column* FindOwnCells(std::u16string_view id, kt_long& col) const;
  // The record in a row. REQUIRES: OwnCellsAt has given a column.
  std::optional<Slot> OwnRecordAt(View view, kt_long row) const {
    const RowIndex& index = *rows_.index;
    if (KT_UNLIKELY(row < 0 || row >= index.Count(view))) return std::nullopt;
    return index.At(view, row);
  }
  kt_long WriteOwn(Slot slot, kt_long col, const Kt_Variant& value);
  Kt_Variant ReadCell(View view, kt_long row, kt_long col, kt_long position = -1) const;
  Kt_Variant ReadSubtotal(View view, kt_long row, kt_long col, kt_long position) const;
  Kt_Variant ReadExpression(View view, kt_long row, const Column& column) const;
  const Kt_Variant* Remember(Kt_Variant value) const;
  kt_long WriteCell(View view, kt_long row, kt_long col, const Kt_Variant& value);
  kt_long WriteSlot(Slot slot, kt_long col, const Kt_Variant& value);
  void StoreCell(Slot slot, kt_long stored_col, const Kt_Variant& before, const Kt_Variant& value);
  kt_long HideRow(View view, std::uint8_t filter, kt_long row);
  kt_long HideRows(View view, std::uint8_t filter, std::span<const std::uint8_t> hidden);
  kt_long ShowAll(std::uint8_t filter, bool on);
  void SwitchFilter(std::uint8_t filter, bool on);
  bool ParseSortKeys(std::u16string_view list, bool ascending, std::vector<SortKey>& keys) const;
  kt::detail::GroupView& GroupsOf(View view) const;
  kt_long ComputeKeyCells();
  void RecomputeKeyCells();
  std::shared_ptr<const Kt_Column> CellsOfKey(kt_long col) const;
  void PrepareForgetKeyCells(Slot slot);
  void ForgetKeyCells(Slot slot);
  void BuildGroups(View view, kt::detail::GroupView& groups) const;
  Kt_Variant ReadRecord(kt_long record, kt_long col) const;
  kt_long CountRecords(View view, kt_long start, kt_long end) const;
  // No slots: those up to `count`, which become a list.
  std::shared_ptr<kt::detail::SortedRuns> SortSlots(kt::CountedVector<Slot>& slots,
                                                    std::size_t count,
                                                    const std::vector<SortKey>& keys,
                                                    bool nulls_last) const;
  std::shared_ptr<const kt::detail::SortedRuns> Marked(std::shared_ptr<kt::detail::SortedRuns> runs,
                                                       const std::vector<SortKey>& keys) const;
  const kt::detail::SortedRuns* RunsOfGroups(View view) const;
  void SortRows(const std::vector<SortKey>& keys, bool nulls_last);
  std::shared_ptr<const Kt_Column> SlotCells(kt_long col) const;
  std::shared_ptr<Kt_Column> ComputedCells(kt_long col) const;

  std::unique_ptr<Kt_Column> Evaluated(View view, kt_long start, kt_long end, kt_long col,
                                       kt_long position) const;
  kt_long Aggregate(View view, Kt_Aggregate what, kt_long col, kt_long start, kt_long end,
                    kt_long position, Kt_Variant& result) const;
  kt_long PivotDown(Kt_Aggregate what, kt_long col, kt_long position, kt_long start, kt_long end,
                    View view, Kt_Variant& result) const;
  kt_long PivotAcross(Kt_Aggregate what, kt_long col, kt_long row, kt_long start, kt_long end,
                      View view, bool present_only, Kt_Variant& result) const;
  template <class Matches>
  kt_long FindFirst(View view, kt_long start, kt_long end, Matches matches) const;
  template <class Wanted>
  kt_long FindFirstCell(View view, kt_long start, kt_long end, const Wanted& wanted) const;
  kt_long LookupExact(View view, std::u16string_view id, std::u16string_view text, kt_long start,
                      kt_long end) const;
  kt_long FindCell(View view, kt_long col, std::u16string_view text, kt_long start,
                   kt_long end) const;
  template <class Wanted>
  std::optional<kt_long> FindHashed(View view, kt_long col, const Wanted& wanted, kt_long start,
                                    kt_long end) const;
  kt_long LookupAs(View view, std::u16string_view id, std::u16string_view text, kt_long start,
                   kt_long end) const;

  void TakeContent(const Kt_Dataset& source);
  template <class Take>
  kt_long FromTable(const Kt_Dataset& source, View view, Take take);
  template <class Change>
  kt_long WithSource(const Kt_Dataset& source, Change change);
  Kt_Variant CellFor(const Kt_Dataset& target, kt_long row, kt_long col) const;
  void DropArrangement();
  std::vector<std::pair<kt_long, kt_long>> SharedColumns(const Kt_Dataset& source) const;
  kt_long MergePhysical(const Kt_Dataset& source);
  kt_long MergeByKeys(const Kt_Dataset& source, const kt::detail::KeyTable& rows,
                      const std::vector<kt_long>& source_keys);
  void CopyCells(kt_long row, const Kt_Dataset& source, kt_long source_row,
                 const std::vector<std::pair<kt_long, kt_long>>& cols);
  kt::CountedText KeyText(kt_long row, const std::vector<kt_long>& cols) const;
  kt::CountedVector<Slot> RowsToSave(View view, bool changed_only, bool deleted) const;
  Kt_Variant FirstValue(Slot slot, kt_long col) const;
  Kt_Variant OriginalAt(View view, kt_long row, kt_long col) const;
  void RestoreFirstValues(Slot slot);
  kt_long TakeOverChanges();
  kt_long TakeBackChanges();
  kt_long MarkAllUpdated();

  Kt_Dataset& self_;
};
