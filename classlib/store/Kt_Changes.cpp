// SPDX-License-Identifier: MIT
//
// Row states, first values, and taking changes over or back.
#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/store/Kt_Dataset.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

// Work on fewer rows is short, and cheaper to finish than to prepare for being stopped.
constexpr kt_long kManyRows = 4096;

kt_long TypeOfFlags(std::uint8_t flags) {
  if ((flags & kRowInserted) != 0) return kRowTypeInsert;
  return (flags & kRowUpdated) != 0 ? kRowTypeUpdate : kRowTypeNormal;
}

}  // namespace

kt_long Kt_Dataset::RowType(View view, kt_long row) const {
  const auto slot = RecordAt(view, row);
  if (!slot || !IsPhysical()) return HasRow(view, row) ? kRowTypeLogical : 0;
  return TypeOfFlags(index_->Flags(*slot));
}

kt_long Kt_Dataset::SetRowType(kt_long row, kt_long type) {
  if (IsEvaluating()) return -1;
  const auto slot = RecordAt(ActiveView(), row);
  if (!slot || !IsPhysical()) return -1;
  if (type != kRowTypeNormal && type != kRowTypeInsert && type != kRowTypeUpdate) return -1;
  return RefuseOnFailure([&] {
    if (TypeOfFlags(index_->Flags(*slot)) == type) return 1;
    SetNormal(*slot);
    RowIndex& index = index_.Write();
    if (type == kRowTypeInsert) {
      index.Mark(*slot, kRowInserted, 0);
      ++inserted_count_;
    } else if (type == kRowTypeUpdate) {
      changes_.Write().Touch(*slot).forced = true;
      index.Mark(*slot, kRowUpdated, 0);
    }
    return 1;
  });
}

void Kt_Dataset::SetNormal(Slot slot) {
  const std::uint8_t flags = index_->Flags(slot);
  if ((flags & kRowInserted) != 0) --inserted_count_;
  if ((flags & kRowUpdated) != 0) changes_.Write().Drop(slot);
  index_.Write().Mark(slot, 0, kRowInserted | kRowUpdated);
}

// ---- Taking back what was stopped ---------------------------------------------------------------

struct Kt_Dataset::Rollback::State {
  explicit State(const Kt_Dataset& dataset)
      : columns(dataset.columns_),
        index(dataset.index_),
        changes(dataset.changes_),
        free_slots(dataset.free_slots_),
        slot_count(dataset.slot_count_),
        inserted_count(dataset.inserted_count_),
        active_view(dataset.active_view_),
        shown_keys(dataset.shown_keys_),
        key_cells(dataset.key_cells_),
        grouped(dataset.grouped_),
        history(dataset.history_.Saved()) {}

  std::vector<Column> columns;
  CopyOnWrite<RowIndex> index;
  CopyOnWrite<ChangeBuffer> changes;
  kt::CountedVector<Slot> free_slots;
  Slot slot_count;
  kt_long inserted_count;
  View active_view;
  std::vector<Key> shown_keys;
  std::vector<KeyCells> key_cells;
  bool grouped;
  SlotHistory history;
};

Kt_Dataset::Rollback::Rollback(Kt_Dataset& dataset, bool is_wanted) {
  const bool may_stop = Kt_WorkMeter::Current() != nullptr && Kt_WorkMeter::CurrentStop() == 0;
  if (!is_wanted || !may_stop || dataset.IsPivot()) return;
  dataset_ = Kt_DatasetHandle(&dataset);
  state_ = std::make_unique<State>(dataset);
}

Kt_Dataset::Rollback::~Rollback() {
  if (!TakesBack()) return;
  Kt_Dataset* const dataset = dataset_.Get();
  // Columns that came or went were not part of the work.
  if (dataset == nullptr || dataset->columns_.size() != state_->columns.size()) return;
  dataset->columns_.swap(state_->columns);
  std::swap(dataset->index_, state_->index);
  std::swap(dataset->changes_, state_->changes);
  dataset->free_slots_.swap(state_->free_slots);
  dataset->slot_count_ = state_->slot_count;
  dataset->inserted_count_ = state_->inserted_count;
  dataset->active_view_ = state_->active_view;
  dataset->shown_keys_.swap(state_->shown_keys);
  dataset->key_cells_.swap(state_->key_cells);
  dataset->grouped_ = state_->grouped;
  dataset->history_ = std::move(state_->history);
  dataset->DropGroups();
  ++dataset->structure_version_;
}

// ---- First values -----------------------------------------------------------------------------

Kt_Variant Kt_Dataset::FirstValue(Slot slot, kt_long col) const {
  if (IsGone(slot)) return {};
  const kt_long end = EndCol(col);
  if (end < 0) return {};
  const Column& column = columns_[static_cast<std::size_t>(end)];
  if (column.cells == nullptr) return GetSource()->FirstValue(slot, column.source_col);
  if ((PlainIndex().Flags(slot) & kRowInserted) != 0) return {};
  const ChangeBuffer::Entry* const entry = PlainChanges().Find(slot);
  const Kt_Variant* const old = entry ? ChangeBuffer::OldValue(*entry, end) : nullptr;
  return old != nullptr ? *old : column.cells->Read(slot);
}

Kt_Variant Kt_Dataset::OriginalAt(View view, kt_long row, kt_long col) const {
  const auto slot = IsPivot() ? std::nullopt : RecordAt(view, row);
  return slot ? FirstValue(*slot, col) : Kt_Variant();
}

Kt_Variant Kt_Dataset::GetOrgColumn(kt_long row, kt_long col) const {
  return OriginalAt(ActiveView(), row, col);
}

Kt_Variant Kt_Dataset::GetOrgColumnNF(kt_long row, kt_long col) const {
  return OriginalAt(kAllRows, row, col);
}

Kt_Variant Kt_Dataset::GetOrgBuffColumn(kt_long index, kt_long col) const {
  if (index < 0 || index >= GetOrgBuffCount()) return {};
  return FirstValue(changes_->SlotAt(index), col);
}

kt_long Kt_Dataset::GetOrgBuffType(kt_long index) const {
  if (index < 0 || index >= GetOrgBuffCount()) return 0;
  return changes_->Find(changes_->SlotAt(index))->deleted ? kRowTypeDelete : kRowTypeUpdate;
}

Kt_Variant Kt_Dataset::GetDelColumn(kt_long index, kt_long col) const {
  if (index < 0 || index >= GetDelRowCount()) return {};
  return FirstValue(changes_->Deleted()[static_cast<std::size_t>(index)], col);
}

// ---- Taking over and back ---------------------------------------------------------------------

void Kt_Dataset::ApplyChange() {
  if (IsEvaluating()) return;
  if (!GetUpdate()) return;
  const PlainRows plain(*this);
  RefuseOnFailure([&] {
    const Rollback rollback(*this, GetDelRowCount() >= kManyRows);
    CopyOnWrite<ChangeBuffer> none;
    RowIndex& index = index_.Write();
    if (GetDelRowCount() > 0) {
      RemoveEntries(kRowDeleted);
      ++structure_version_;
    }
    index.ChangeAll(0, kRowInserted | kRowUpdated);
    changes_ = std::move(none);
    inserted_count_ = 0;
    return 1;
  });
}

void Kt_Dataset::RestoreFirstValues(Slot slot) {
  const ChangeBuffer::Entry* const entry = changes_->Find(slot);
  for (const auto& [col, old] : entry->cells) WriteCells(col).Write(slot, old);
}

void Kt_Dataset::Reset() {
  if (IsEvaluating()) return;
  if (!GetUpdate()) return;
  TakeBackChanges();
  if (!key_cells_.empty()) ComputeKeyCells();
}

void Kt_Dataset::TakeBackChanges() {
  const PlainRows plain(*this);
  const bool is_long = GetOrgBuffCount() + inserted_count_ >= kManyRows;
  RefuseOnFailure([&] {
    const Rollback rollback(*this, is_long || inserted_count_ > 0);
    CopyOnWrite<ChangeBuffer> none;
    RowIndex& index = index_.Write();
    // While these hold the columns, those that are written become copies.
    std::vector<std::shared_ptr<Kt_Column>> before;
    for (const Column& column : columns_) before.push_back(column.cells);
    try {
      for (kt_long entry = 0; entry < GetOrgBuffCount(); ++entry) {
        const auto at = static_cast<std::size_t>(entry);
        if (is_long && !GoesOnAt(at, 32 * Kt_WorkMeter::kUnitsPerCell)) throw WorkStopped();
        RestoreFirstValues(changes_->SlotAt(entry));
      }
      if (inserted_count_ > 0) RemoveEntries(kRowInserted);
    } catch (...) {
      for (std::size_t col = 0; col < before.size(); ++col) columns_[col].cells = before[col];
      throw;
    }
    index.ChangeAll(0, kRowDeleted | kRowUpdated);
    changes_ = std::move(none);
    inserted_count_ = 0;
    DropGroups();
    ++structure_version_;
    return 1;
  });
}

void Kt_Dataset::SetUpdate(bool changed) {
  if (IsEvaluating()) return;
  if (!changed) return ApplyChange();
  if (ShowsSource()) return;
  const PlainRows plain(*this);
  RefuseOnFailure([&] {
    CopyOnWrite<ChangeBuffer> changes = changes_;
    CopyOnWrite<RowIndex> index = index_;
    kt::detail::RoundCharge charge;
    index_->ForEachEntry([&](RowIndex::Place, Slot slot) {
      charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
      if ((index_->Flags(slot) & (kRowInserted | kRowUpdated | kRowDeleted)) != 0) return;
      changes.Write().Touch(slot).forced = true;
    });
    for (kt_long entry = 0; entry < changes->Count(); ++entry) {
      charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
      const Slot slot = changes->SlotAt(entry);
      if (!changes->Find(slot)->deleted) index.Write().Mark(slot, kRowUpdated, 0);
    }
    changes_ = std::move(changes);
    index_ = std::move(index);
    return 1;
  });
}
