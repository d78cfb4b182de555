// SPDX-License-Identifier: MIT
//
// Row states, first values, and taking changes over or back.
#include "classlib/base/Kt_Charge.h"
#include "classlib/store/detail/Kt_Edit.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

// Work on fewer rows is short, and cheaper to finish than to prepare for being stopped.
constexpr kt_long kManyRows = 4096;

kt_long TypeOfFlags(std::uint8_t flags) {
  if ((flags & kRowInserted) != 0) return kRowTypeInsert;
  return (flags & kRowUpdated) != 0 ? kRowTypeUpdate : kRowTypeNormal;
}

}  // namespace

kt_long Kt_Dataset::Body::RowType(View view, kt_long row) const {
  const auto slot = RecordAt(view, row);
  if (!slot || !IsPhysical()) return HasRow(view, row) ? kRowTypeLogical : 0;
  return TypeOfFlags(rows_.index->Flags(*slot));
}

kt_long Kt_Dataset::GetRowType(kt_long row) const {
  return body().RowType(body().ActiveView(), row);
}
kt_long Kt_Dataset::GetRowTypeNF(kt_long row) const { return body().RowType(kAllRows, row); }

kt_long Kt_Dataset::SetRowType(kt_long row, kt_long type) {
  return body().Edit([&] {
    const auto slot = body().RecordAt(body().ActiveView(), row);
    if (!slot || !IsPhysical()) return -1;
    if (type != kRowTypeNormal && type != kRowTypeInsert && type != kRowTypeUpdate) return -1;
    const std::uint8_t flags = body().rows_.index->Flags(*slot);
    if (TypeOfFlags(flags) == type) return 1;
    RowIndex& index = body().rows_.index.Write();
    ChangeBuffer& changes = body().rows_.changes.Write();
    const std::uint8_t mark = type == kRowTypeInsert   ? kRowInserted
                              : type == kRowTypeUpdate ? kRowUpdated
                                                       : 0;
    const auto change = [&] {
      index.Mark(*slot, mark, 0);
      if (type == kRowTypeUpdate) changes.SetForced(*slot, true);
      if ((flags & kRowUpdated) != 0) changes.Drop(*slot);
      if ((flags & kRowInserted) != 0) --body().rows_.inserted_count;
      if (type == kRowTypeInsert) ++body().rows_.inserted_count;
      index.Mark(*slot, 0, flags & (kRowInserted | kRowUpdated));
      return 1;
    };
    return body().OrTakeBack(false, change, [&] { index.Mark(*slot, 0, mark); });
  });
}

// ---- Going back -------------------------------------------------------------------------------

void Kt_Dataset::State::Restore(Body& body) {
  std::swap(body.columns_, columns);
  std::swap(body.keys_, keys);
  std::swap(static_cast<RowState&>(body.rows_), rows);
  std::swap(body.pivot_, pivot);
  std::swap(body.source_, source);
  body.history_ = std::move(history);
  body.rows_.DropGroups();
  ++body.structure_version_;
}

Kt_Dataset::Rollback::Rollback(Kt_Dataset& dataset, bool is_wanted) {
  const bool may_stop = Kt_WorkMeter::Current() != nullptr && Kt_WorkMeter::CurrentStop() == 0;
  if (!is_wanted || !may_stop || dataset.IsPivot()) return;
  dataset_ = Kt_DatasetHandle(&dataset);
  state_ = std::make_unique<State>(dataset.body());
}

Kt_Dataset::Rollback::~Rollback() {
  if (!TakesBack()) return;
  Kt_Dataset* const dataset = dataset_.Get();
  // Columns that came or went were not part of the work.
  if (dataset == nullptr || dataset->body().columns_.Count() != state_->columns.Count()) return;
  state_->Restore(dataset->body());
}

// ---- First values -----------------------------------------------------------------------------

Kt_Variant Kt_Dataset::Body::FirstValue(Slot slot, kt_long col) const {
  if (IsGone(slot)) return {};
  const kt_long end = columns_.EndOf(col);
  if (end < 0) return {};
  const Column& column = columns_[end];
  if (column.cells == nullptr) return GetSource()->body().FirstValue(slot, column.source_col);
  if ((PlainIndex().Flags(slot) & kRowInserted) != 0) return {};
  const Kt_Variant* const old = PlainChanges().OldValue(slot, end);
  return old != nullptr ? *old : column.cells->Read(slot);
}

Kt_Variant Kt_Dataset::Body::OriginalAt(View view, kt_long row, kt_long col) const {
  const auto slot = IsPivot() ? std::nullopt : RecordAt(view, row);
  return slot ? FirstValue(*slot, col) : Kt_Variant();
}

Kt_Variant Kt_Dataset::GetOrgColumn(kt_long row, kt_long col) const {
  return body().OriginalAt(body().ActiveView(), row, col);
}

Kt_Variant Kt_Dataset::GetOrgColumnNF(kt_long row, kt_long col) const {
  return body().OriginalAt(kAllRows, row, col);
}

kt_long Kt_Dataset::GetOrgBuffCount() const { return body().rows_.changes->Count(); }
kt_long Kt_Dataset::GetDelRowCount() const {
  return static_cast<kt_long>(body().rows_.changes->Deleted().size());
}

Kt_Variant Kt_Dataset::GetOrgBuffColumn(kt_long index, kt_long col) const {
  if (index < 0 || index >= GetOrgBuffCount()) return {};
  return body().FirstValue(body().rows_.changes->SlotAt(index), col);
}

kt_long Kt_Dataset::GetOrgBuffType(kt_long index) const {
  if (index < 0 || index >= GetOrgBuffCount()) return 0;
  return body().rows_.changes->IsDeleted(body().rows_.changes->SlotAt(index)) ? kRowTypeDelete
                                                                              : kRowTypeUpdate;
}

Kt_Variant Kt_Dataset::GetDelColumn(kt_long index, kt_long col) const {
  if (index < 0 || index >= GetDelRowCount()) return {};
  return body().FirstValue(body().rows_.changes->Deleted()[static_cast<std::size_t>(index)], col);
}

// ---- Taking over and back ---------------------------------------------------------------------

kt_long Kt_Dataset::Body::TakeOverChanges() {
  const PlainRows plain(rows_, pivot_);
  const auto take_over = [&] {
    CopyOnWrite<ChangeBuffer> none;
    RowIndex& index = rows_.index.Write();
    if (self_.GetDelRowCount() > 0) {
      RemoveEntries(kRowDeleted);
      ++structure_version_;
    }
    index.ChangeAll(0, kRowInserted | kRowUpdated);
    rows_.changes = std::move(none);
    rows_.inserted_count = 0;
    return 1;
  };
  return OrTakeBack(self_.GetDelRowCount() >= kManyRows, take_over, [] {});
}

bool Kt_Dataset::GetUpdate() const {
  const RowLayer& plain = body().pivot_.PlainOf(body().rows_);
  return plain.inserted_count > 0 || plain.changes->Count() > 0;
}

void Kt_Dataset::ApplyChange() {
  body().Edit([&] { return GetUpdate() ? body().TakeOverChanges() : 0; });
}

void Kt_Dataset::Body::RestoreFirstValues(Slot slot) {
  rows_.changes->ForEachOld(
      slot, [&](kt_long col, const Kt_Variant& old) { columns_.Write(col).Write(slot, old); });
}

void Kt_Dataset::Reset() {
  const kt_long taken_back =
      body().Edit([&] { return GetUpdate() ? body().TakeBackChanges() : 0; });
  if (taken_back > 0) body().RecomputeKeyCells();
}

kt_long Kt_Dataset::Body::TakeBackChanges() {
  const PlainRows plain(rows_, pivot_);
  const bool is_long = self_.GetOrgBuffCount() + rows_.inserted_count >= kManyRows;
  return OrRestore([&] {
    CopyOnWrite<ChangeBuffer> none;
    for (kt_long entry = 0; entry < self_.GetOrgBuffCount(); ++entry) {
      const auto at = static_cast<std::size_t>(entry);
      if (is_long && !GoesOnAt(at, 32 * Kt_WorkMeter::kUnitsPerCell)) throw WorkStopped();
      RestoreFirstValues(rows_.changes->SlotAt(entry));
    }
    if (rows_.inserted_count > 0) RemoveEntries(kRowInserted);
    rows_.index.Write().ChangeAll(0, kRowDeleted | kRowUpdated);
    rows_.changes = std::move(none);
    rows_.inserted_count = 0;
    rows_.DropGroups();
    ++structure_version_;
    return 1;
  });
}

void Kt_Dataset::SetUpdate(bool changed) {
  if (!changed) return ApplyChange();
  body().Edit([&] { return body().ShowsSource() ? 0 : body().MarkAllUpdated(); });
}

kt_long Kt_Dataset::Body::MarkAllUpdated() {
  const PlainRows plain(rows_, pivot_);
  CopyOnWrite<ChangeBuffer> changes = rows_.changes;
  CopyOnWrite<RowIndex> index = rows_.index;
  RoundCharge charge;
  rows_.index->ForEachEntry([&](RowIndex::Place, Slot slot) {
    charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
    if ((rows_.index->Flags(slot) & (kRowInserted | kRowUpdated | kRowDeleted)) != 0) return;
    changes.Write().SetForced(slot, true);
  });
  for (kt_long entry = 0; entry < changes->Count(); ++entry) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    const Slot slot = changes->SlotAt(entry);
    if (!changes->IsDeleted(slot)) index.Write().Mark(slot, kRowUpdated, 0);
  }
  rows_.changes = std::move(changes);
  rows_.index = std::move(index);
  return 1;
}
