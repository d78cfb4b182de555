// SPDX-License-Identifier: MIT
//
// Rows: coming, going, order, selection.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/detail/Kt_Edit.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

// Fewer rows are done at once.
constexpr kt_long kManyRows = 4096;

}  // namespace

kt_long Kt_Dataset::Body::RecordOf(View view, kt_long row) const {
  if (KT_LIKELY(!rows_.grouped)) return row;
  GroupView& groups = GroupsOf(view);
  return groups.Find(row) != nullptr ? -1 : groups.RecordsBefore(row);
}

std::optional<Slot> Kt_Dataset::Body::RecordAt(View view, kt_long row) const {
  const kt_long record = HasRow(view, row) ? RecordOf(view, row) : -1;
  if (record < 0) return std::nullopt;
  return rows_.index->At(view, record);
}

std::optional<RowIndex::Place> Kt_Dataset::Body::PlaceAt(View view, kt_long row) const {
  const kt_long record = HasRow(view, row) ? RecordOf(view, row) : -1;
  if (record < 0) return std::nullopt;
  return rows_.index->Find(view, record);
}

// Without memory for the note the groups of the view are laid anew when they are asked for.
template <class Note>
void Kt_Dataset::Body::NoteInGroups(View view, Note note) const {
  if (!rows_.groups[view]) return;
  try {
    note(*rows_.groups[view]);
  } catch (const std::bad_alloc&) {
    rows_.groups[view].reset();
  }
}

// Rows of `view` have gone from it, and from every other view that `flags` are part of.
template <class Note>
void Kt_Dataset::Body::NoteGoneRows(View view, std::uint8_t flags, Note note) {
  ++structure_version_;
  if (!rows_.grouped) return;
  // Subtotals stay as they are until they are laid anew, but not over nothing.
  NoteInGroups(view, note);
  if (rows_.index->Count(view) == 0) rows_.groups[view].reset();
  rows_.DropGroups(flags, view);
}

kt_long Kt_Dataset::GetRowCount() const { return body().GetRowCount(); }
kt_long Kt_Dataset::GetRowCountNF() const { return body().ViewCount(kAllRows); }

void Kt_Dataset::Body::NoteGone(View view, kt_long row, std::uint8_t flags) {
  NoteGoneRows(view, flags, [row](GroupView& groups) { groups.NoteRemoved(row); });
}

void Kt_Dataset::Body::NoteGone(View view, std::span<const std::uint8_t> marked,
                                std::uint8_t flags) {
  NoteGoneRows(view, flags, [marked](GroupView& groups) { groups.NoteRemoved(marked); });
}

// ---- Slots ------------------------------------------------------------------------------------

// Slots of rows that have gone are used again before the columns grow.
bool Kt_Dataset::Body::NewSlots(kt_long count, kt::CountedVector<Slot>& slots) {
  const auto wanted = static_cast<std::size_t>(count);
  const std::size_t reused = std::min(wanted, rows_.free_slots.size());
  const std::size_t fresh = wanted - reused;
  if (rows_.slot_count + fresh > static_cast<std::size_t>(kMaxDatasetRows)) return false;
  slots.reserve(wanted);
  const std::size_t rows = rows_.slot_count + fresh;
  columns_.PadTo(rows);
  for (std::size_t taken = 0; taken < reused; ++taken) {
    slots.push_back(rows_.free_slots.back());
    rows_.free_slots.pop_back();
  }
  while (rows_.slot_count < rows) slots.push_back(rows_.slot_count++);
  return true;
}

// After this FreeSlot needs no memory.
void Kt_Dataset::Body::PrepareFree(Slot slot) {
  if (rows_.free_slots.size() == rows_.free_slots.capacity())
    rows_.free_slots.reserve(rows_.free_slots.size() * 2 + 8);
  history_.MakeRoom(slot);
  PrepareForgetKeyCells(slot);
  (void)rows_.index.Write();
  columns_.PrepareForget(slot);
}

// Of NewSlots, before any of them became a row.
void Kt_Dataset::Body::GiveBackSlots(const kt::CountedVector<Slot>& slots, Slot slot_count) {
  for (const Slot slot : slots) {
    rows_.index.Write().Forget(slot);
    if (slot < slot_count)
      rows_.free_slots.push_back(slot);  // there is room where it was taken from
  }
  rows_.slot_count = slot_count;
}

void Kt_Dataset::Body::FreeSlot(Slot slot) {
  rows_.free_slots.push_back(slot);
  history_.NoteFreed(slot);
  ForgetKeyCells(slot);
  rows_.index.Write().Forget(slot);
  columns_.Forget(slot);
}

// ---- New rows ---------------------------------------------------------------------------------

kt_long Kt_Dataset::Body::InsertSlots(kt_long row, kt_long count) {
  return Edit([&] {
    const std::int64_t units = count < kManyRows ? 0 : 4 * Kt_WorkMeter::kUnitsPerCell;
    const Slot slot_count = rows_.slot_count;
    const kt_long first = row < 0 ? GetRowCount() : row;
    const kt_long record =
        row < 0 ? rows_.index->Count(ActiveView()) : RecordsBefore(ActiveView(), row);
    kt::CountedVector<Slot> slots;
    kt_long added = 0;
    const auto insert = [&]() -> kt_long {
      RoundCharge charge;
      if (units > 0) ChargeOrLeave(count * units / 4);
      RowIndex& index = rows_.index.Write();
      if (!NewSlots(count, slots)) return kErrRowNotAdded;
      for (const Slot slot : slots) index.Mark(slot, kRowInserted, 0);
      for (; added < count; ++added) {
        charge.AddOrLeave(units);
        const Slot slot = slots[static_cast<std::size_t>(added)];
        if (record + added == index.Count(ActiveView())) {
          index.Append(slot);
        } else {
          index.Insert(index.Find(ActiveView(), record + added), slot);
        }
      }
      if (rows_.grouped && row >= 0) {
        NoteInGroups(ActiveView(), [&](GroupView& groups) { groups.NoteInserted(row, count); });
      }
      if (rows_.grouped) rows_.DropGroups(0, ActiveView());
      rows_.inserted_count += count;
      ++structure_version_;
      return first;
    };
    const auto take_out = [&] {
      // The last one first: a chunk that it was put into lists its slots already.
      while (added-- > 0) {
        RowIndex& index = rows_.index.Write();
        index.Remove(index.Find(ActiveView(), record + added));
      }
      GiveBackSlots(slots, slot_count);
    };
    return OrTakeBack(units > 0, insert, take_out);
  });
}

// One row at the end, in a slot of its own: what InsertSlots does of it.
kt_long Kt_Dataset::Body::AppendSlot() {
  return Edit([&]() -> kt_long {
    const Slot slot = rows_.slot_count;
    if (slot >= static_cast<Slot>(kMaxDatasetRows)) return kErrRowNotAdded;
    const kt_long row = GetRowCount();
    RowIndex& index = rows_.index.Write();
    columns_.PadTo(std::size_t{slot} + 1);
    index.Mark(slot, kRowInserted, 0);
    try {
      index.Append(slot);
    } catch (...) {
      index.Forget(slot);
      throw;
    }
    ++rows_.slot_count;
    ++rows_.inserted_count;
    ++structure_version_;
    return row;
  });
}

kt_long Kt_Dataset::AppendRow(kt_long count) {
  if (count < 1 || !IsPhysical()) return -1;
  Body& own = body();
  if (count == 1 && own.rows_.free_slots.empty() && !own.rows_.grouped) return own.AppendSlot();
  return own.InsertSlots(-1, count);
}

kt_long Kt_Dataset::InsertRow(kt_long row, kt_long count) {
  if (count < 1 || !IsPhysical()) return -1;
  return body().InsertSlots(body().HasRow(body().ActiveView(), row) ? row : -1, count);
}

// ---- Deleting ---------------------------------------------------------------------------------

void Kt_Dataset::Body::DeleteAt(RowIndex::Place place) {
  RowIndex& index = rows_.index.Write();
  const Slot slot = index.SlotAt(place);
  if ((index.Flags(slot) & kRowInserted) != 0) {
    PrepareFree(slot);
    index.Remove(place);
    FreeSlot(slot);
    --rows_.inserted_count;
  } else {
    const std::uint8_t selected = index.Flags(slot) & kRowSelected;
    index.Change(place, kRowDeleted, kRowSelected);
    try {
      rows_.changes.Write().NoteDelete(slot);
    } catch (...) {
      index.Change(place, selected, kRowDeleted);
      throw;
    }
    history_.NoteLoss();
  }
}

void Kt_Dataset::Body::DeleteShown(kt_long row, RowIndex::Place place) {
  const View view = ActiveView();
  DeleteAt(place);
  NoteGone(view, row, 0);
}

kt_long Kt_Dataset::DeleteRow(kt_long row) {
  return body().Edit([&] {
    const auto place = body().PlaceAt(body().ActiveView(), row);
    if (!place || !IsPhysical()) return -1;
    body().DeleteShown(row, *place);
    return 1;
  });
}

// From the last row to the first, so that the rows still to come keep their numbers.
template <class Keep>
kt_long Kt_Dataset::Body::DeleteWhere(Keep keep) {
  return Edit([&]() -> kt_long {
    if (!IsPhysical()) return -1;
    ChargeOrLeave(0);
    return OrRestore([&] {
      kt_long deleted = 0;
      RoundCharge charge;
      for (kt_long row = GetRowCount() - 1; row >= 0; --row) {
        charge.AddOrLeave(16 * Kt_WorkMeter::kUnitsPerCell);
        const auto place = PlaceAt(ActiveView(), row);
        if (!place || keep(rows_.index->SlotAt(*place))) continue;
        DeleteShown(row, *place);
        ++deleted;
      }
      ChargeOrLeave(0);
      return deleted;
    });
  });
}

kt_long Kt_Dataset::DeleteAll() {
  return body().DeleteWhere([](Slot) { return false; });
}

kt_long Kt_Dataset::DeleteSelected() {
  return body().DeleteWhere(
      [&](Slot slot) { return (body().rows_.index->Flags(slot) & kRowSelected) == 0; });
}

// Takes every entry with one of `flags` out of the order, in one pass.
void Kt_Dataset::Body::RemoveEntries(std::uint8_t flags) {
  kt::CountedVector<Slot> kept;
  kt::CountedVector<Slot> removed;
  rows_.index->ForEachEntry([&](RowIndex::Place, Slot slot) {
    ((rows_.index->Flags(slot) & flags) != 0 ? removed : kept).push_back(slot);
  });
  if (removed.empty()) return;
  const std::int64_t units =
      removed.size() < std::size_t{kManyRows} ? 0 : 8 * Kt_WorkMeter::kUnitsPerCell;
  RoundCharge charge;
  rows_.free_slots.reserve(rows_.free_slots.size() + removed.size());
  for (const Slot slot : removed) {
    charge.AddOrLeave(units);
    PrepareFree(slot);
  }
  ChargeOrLeave(static_cast<std::int64_t>(kept.size()));
  rows_.index.Write().Assign(std::move(kept));
  for (const Slot slot : removed) {
    charge.AddOrLeave(units);
    FreeSlot(slot);
  }
}

// The rows to save in record order; deleted ones are among them when `deleted` is set.
kt::CountedVector<Slot> Kt_Dataset::Body::RowsToSave(View view, bool changed_only,
                                                     bool deleted) const {
  ChargeOrLeave(static_cast<std::int64_t>(rows_.index->EntryCount()) * Kt_WorkMeter::kUnitsPerCell /
                2);
  if (!changed_only && !deleted) return rows_.index->Slots(view);
  kt::CountedVector<Slot> slots;
  rows_.index->ForEachEntry([&](RowIndex::Place, Slot slot) {
    const std::uint8_t flags = rows_.index->Flags(slot);
    const bool is_deleted = (flags & kRowDeleted) != 0;
    if (is_deleted ? !deleted : !rows_.index->IsIn(view, slot)) return;
    if (changed_only && (flags & (kRowInserted | kRowUpdated | kRowDeleted)) == 0) return;
    slots.push_back(slot);
  });
  return slots;
}

// ---- Order ------------------------------------------------------------------------------------

kt_long Kt_Dataset::MoveRow(kt_long from, kt_long to) {
  return body().Edit([&] {
    if (!body().PlaceAt(body().ActiveView(), from) || !body().PlaceAt(body().ActiveView(), to) ||
        IsPivot())
      return -1;
    if (from == to) return 1;
    RowIndex& index = body().rows_.index.Write();
    const kt_long record = body().RecordOf(body().ActiveView(), to);
    const kt_long next = record + (from < to ? 1 : 0);
    // Room first: once the row has left its place, nothing may fail.
    index.MakeRoomAt(next < index.Count(body().ActiveView()) ? index.Find(body().ActiveView(), next)
                                                             : index.End());
    const RowIndex::Place source = *body().PlaceAt(body().ActiveView(), from);
    const Slot slot = index.SlotAt(source);
    index.Remove(source);
    const bool inside = record < index.Count(body().ActiveView());
    index.Insert(inside ? index.Find(body().ActiveView(), record) : index.End(), slot);
    body().rows_.DropGroups(0, body().ActiveView());
    ++body().structure_version_;
    return 1;
  });
}

kt_long Kt_Dataset::ExchangeRow(kt_long a, kt_long b) {
  return body().Edit([&] {
    const auto first = body().PlaceAt(body().ActiveView(), a);
    const auto second = body().PlaceAt(body().ActiveView(), b);
    if (!first || !second || IsPivot()) return -1;
    if (a != b) body().rows_.index.Write().Exchange(*first, *second);
    body().rows_.DropGroups(0, body().ActiveView());
    ++body().structure_version_;
    return 1;
  });
}

// All that may fail comes first.
void Kt_Dataset::Body::DropRows() {
  ColumnSet empty = columns_;
  for (Column& column : empty) {
    if (column.cells != nullptr) column.cells = std::make_shared<Kt_Column>(column.type);
  }
  CopyOnWrite<RowIndex> index;
  CopyOnWrite<ChangeBuffer> changes;
  LeavePivot();
  history_.Restart();
  columns_ = std::move(empty);
  rows_.index = std::move(index);
  rows_.changes = std::move(changes);
  rows_.free_slots.clear();
  rows_.slot_count = 0;
  rows_.inserted_count = 0;
  rows_.active_view = kAllRows;
  rows_.DropGroups();
  ++structure_version_;
}

void Kt_Dataset::Body::DropColumns() {
  ColumnSet none;
  DropRows();
  columns_ = std::move(none);
  keys_.Clear();
  rows_.grouped = false;
}

void Kt_Dataset::ClearData() {
  body().Edit([&] {
    body().DropRows();
    return 1;
  });
}

void Kt_Dataset::Clear() {
  body().Edit([&] {
    body().DropColumns();
    return 1;
  });
}

void Kt_Dataset::ClearAll() {
  body().Edit([&] {
    body().DropColumns();
    body().constants_.Clear();
    return 1;
  });
}

// ---- Marks ------------------------------------------------------------------------------------

kt_long Kt_Dataset::GetRowIndexNF(kt_long row) const {
  const auto place = body().PlaceAt(body().ActiveView(), row);
  if (!place) return -1;
  const kt_long record = body().rows_.index->RankOf(kAllRows, *place);
  return body().rows_.grouped ? body().GroupsOf(kAllRows).RowOf(record) : record;
}

kt_long Kt_Dataset::SelectRow(kt_long row, bool selected) {
  const auto slot = body().RecordAt(body().ActiveView(), row);
  if (!slot) return -1;
  return RefuseOnFailure([&] {
    body().rows_.index.Write().Mark(*slot, selected ? kRowSelected : 0,
                                    selected ? 0 : kRowSelected);
    return 1;
  });
}

bool Kt_Dataset::GetSelect(kt_long row) const {
  const auto slot = body().RecordAt(body().ActiveView(), row);
  return slot && (body().rows_.index->Flags(*slot) & kRowSelected) != 0;
}

void Kt_Dataset::ClearSelect() {
  RefuseOnFailure([&] {
    body().rows_.index.Write().ChangeAll(0, kRowSelected);
    return 1;
  });
}
