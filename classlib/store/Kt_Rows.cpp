// SPDX-License-Identifier: MIT
//
// Rows: coming, going, order, selection.
#include <algorithm>
#include <tuple>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/store/Kt_Dataset.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

// Fewer rows are done at once.
constexpr kt_long kManyRows = 4096;

}  // namespace

kt_long Kt_Dataset::RecordOf(View view, kt_long row) const {
  if (KT_LIKELY(!grouped_)) return row;
  GroupView& groups = GroupsOf(view);
  return groups.Find(row) != nullptr ? -1 : groups.RecordsBefore(row);
}

std::optional<Slot> Kt_Dataset::RecordAt(View view, kt_long row) const {
  const kt_long record = HasRow(view, row) ? RecordOf(view, row) : -1;
  if (record < 0) return std::nullopt;
  return index_->At(view, record);
}

std::optional<RowIndex::Place> Kt_Dataset::PlaceAt(View view, kt_long row) const {
  const kt_long record = HasRow(view, row) ? RecordOf(view, row) : -1;
  if (record < 0) return std::nullopt;
  return index_->Find(view, record);
}

// Without memory for the note the groups of the view are laid anew when they are asked for.
template <class Note>
void Kt_Dataset::NoteInGroups(View view, Note note) const {
  if (!groups_[view]) return;
  try {
    note(*groups_[view]);
  } catch (const std::bad_alloc&) {
    groups_[view].reset();
  }
}

// A row of `view` has gone from it, and from every other view that `flags` are part of.
void Kt_Dataset::NoteGone(View view, kt_long row, std::uint8_t flags) {
  ++structure_version_;
  if (!grouped_) return;
  // Subtotals stay as they are until they are laid anew, but not over nothing.
  NoteInGroups(view, [row](GroupView& groups) { groups.NoteRemoved(row); });
  if (index_->Count(view) == 0) groups_[view].reset();
  DropGroups(flags, view);
}

// ---- Slots ------------------------------------------------------------------------------------

// Slots of rows that have gone are used again before the columns grow.
bool Kt_Dataset::NewSlots(kt_long count, kt::CountedVector<Slot>& slots) {
  const auto wanted = static_cast<std::size_t>(count);
  const std::size_t reused = std::min(wanted, free_slots_.size());
  const std::size_t fresh = wanted - reused;
  if (slot_count_ + fresh > static_cast<std::size_t>(kMaxDatasetRows)) return false;
  slots.reserve(wanted);
  const std::size_t rows = slot_count_ + fresh;
  for (std::size_t col = 0; col < columns_.size(); ++col) {
    if (columns_[col].cells == nullptr || columns_[col].cells->RowCount() >= rows) continue;
    Kt_Column& cells = WriteCells(static_cast<kt_long>(col));
    cells.AppendNulls(rows - cells.RowCount());
  }
  for (std::size_t taken = 0; taken < reused; ++taken) {
    slots.push_back(free_slots_.back());
    free_slots_.pop_back();
  }
  while (slot_count_ < rows) slots.push_back(slot_count_++);
  return true;
}

// After this FreeSlot needs no memory.
void Kt_Dataset::PrepareFree(Slot slot) {
  if (free_slots_.size() == free_slots_.capacity()) free_slots_.reserve(free_slots_.size() * 2 + 8);
  history_.MakeRoom(slot);
  PrepareForgetKeyCells(slot);
  (void)index_.Write();
  for (std::size_t col = 0; col < columns_.size(); ++col) {
    const Kt_Column* const cells = columns_[col].cells.get();
    if (cells != nullptr && !cells->IsNull(slot))
      WriteCells(static_cast<kt_long>(col)).MakeNullable();
  }
}

// Of NewSlots, before any of them became a row.
void Kt_Dataset::GiveBackSlots(const kt::CountedVector<Slot>& slots, Slot slot_count) {
  for (const Slot slot : slots) {
    index_.Write().Forget(slot);
    if (slot < slot_count) free_slots_.push_back(slot);  // there is room where it was taken from
  }
  slot_count_ = slot_count;
}

void Kt_Dataset::FreeSlot(Slot slot) {
  free_slots_.push_back(slot);
  history_.NoteFreed(slot);
  ForgetKeyCells(slot);
  index_.Write().Forget(slot);
  for (std::size_t col = 0; col < columns_.size(); ++col) {
    const Kt_Column* const cells = columns_[col].cells.get();
    if (cells != nullptr && !cells->IsNull(slot))
      WriteCells(static_cast<kt_long>(col)).WriteNull(slot);
  }
}

// ---- New rows ---------------------------------------------------------------------------------

kt_long Kt_Dataset::InsertSlots(kt_long row, kt_long count) {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  if (IsEvaluating()) return -1;
  const std::int64_t units = count < kManyRows ? 0 : 4 * Kt_WorkMeter::kUnitsPerCell;
  return RefuseOnFailure([&]() -> kt_long {
    kt::CountedVector<Slot> slots;
    const Rollback rollback(*this, units > 0);
    RoundCharge charge;
    if (units > 0) ChargeOrLeave(count * units / 4);
    RowIndex& index = index_.Write();
    const kt_long first = row < 0 ? GetRowCount() : row;
    const kt_long record = row < 0 ? index.Count(ActiveView()) : RecordsBefore(ActiveView(), row);
    const Slot slot_count = slot_count_;
    if (!NewSlots(count, slots)) return kErrRowNotAdded;
    kt_long added = 0;
    try {
      for (const Slot slot : slots) index.Mark(slot, kRowInserted, 0);
      for (; added < count; ++added) {
        charge.AddOrLeave(units);
        const Slot slot = slots[static_cast<std::size_t>(added)];
        if (record + added == index.Count(ActiveView())) {
          index.Append(slot, 1);
        } else {
          index.Insert(index.Find(ActiveView(), record + added), slot);
        }
      }
    } catch (...) {
      if (rollback.TakesBack()) throw;
      // The last one first: a chunk that it was put into lists its slots already.
      while (added-- > 0) index.Remove(index.Find(ActiveView(), record + added));
      GiveBackSlots(slots, slot_count);
      throw;
    }
    if (grouped_ && row >= 0) {
      NoteInGroups(ActiveView(), [&](GroupView& groups) { groups.NoteInserted(row, count); });
    }
    if (grouped_) DropGroups(0, ActiveView());
    inserted_count_ += count;
    ++structure_version_;
    return first;
  });
}

kt_long Kt_Dataset::AppendRow(kt_long count) {
  return count < 1 || !IsPhysical() ? -1 : InsertSlots(-1, count);
}

kt_long Kt_Dataset::InsertRow(kt_long row, kt_long count) {
  if (count < 1 || !IsPhysical()) return -1;
  return InsertSlots(HasRow(ActiveView(), row) ? row : -1, count);
}

// ---- Deleting ---------------------------------------------------------------------------------

void Kt_Dataset::DeleteAt(RowIndex::Place place) {
  RowIndex& index = index_.Write();
  const Slot slot = index.SlotAt(place);
  if ((index.Flags(slot) & kRowInserted) != 0) {
    PrepareFree(slot);
    index.Remove(place);
    FreeSlot(slot);
    --inserted_count_;
  } else {
    const std::uint8_t selected = index.Flags(slot) & kRowSelected;
    index.Change(place, kRowDeleted, kRowSelected);
    try {
      changes_.Write().NoteDelete(slot);
    } catch (...) {
      index.Change(place, selected, kRowDeleted);
      throw;
    }
    history_.NoteLoss();
  }
}

void Kt_Dataset::DeleteShown(kt_long row, RowIndex::Place place) {
  const View view = ActiveView();
  DeleteAt(place);
  NoteGone(view, row, 0);
}

kt_long Kt_Dataset::DeleteRow(kt_long row) {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  if (IsEvaluating()) return -1;
  const auto place = PlaceAt(ActiveView(), row);
  if (!place || !IsPhysical()) return -1;
  return RefuseOnFailure([&] {
    DeleteShown(row, *place);
    return 1;
  });
}

// From the last row to the first, so that the rows still to come keep their numbers.
template <class Keep>
kt_long Kt_Dataset::DeleteWhere(Keep keep) {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  if (IsEvaluating()) return -1;
  if (!IsPhysical()) return -1;
  return RefuseOnFailure([&] {
    kt_long deleted = 0;
    ChargeOrLeave(0);
    RoundCharge charge;
    // While these hold what is there, what is written becomes a copy.
    auto before = std::tuple(index_, changes_, free_slots_, inserted_count_, key_cells_);
    std::vector<std::shared_ptr<Kt_Column>> cells;
    for (const Column& column : columns_) cells.push_back(column.cells);
    try {
      for (kt_long row = GetRowCount() - 1; row >= 0; --row) {
        charge.AddOrLeave(16 * Kt_WorkMeter::kUnitsPerCell);
        const auto place = PlaceAt(ActiveView(), row);
        if (!place || keep(index_->SlotAt(*place))) continue;
        DeleteShown(row, *place);
        ++deleted;
      }
      ChargeOrLeave(0);
    } catch (...) {
      std::tie(index_, changes_, free_slots_, inserted_count_, key_cells_) = std::move(before);
      for (std::size_t col = 0; col < cells.size(); ++col) columns_[col].cells = cells[col];
      DropGroups();
      throw;
    }
    return deleted;
  });
}

kt_long Kt_Dataset::DeleteAll() {
  return DeleteWhere([](Slot) { return false; });
}

kt_long Kt_Dataset::DeleteSelected() {
  return DeleteWhere([&](Slot slot) { return (index_->Flags(slot) & kRowSelected) == 0; });
}

// Takes every entry with one of `flags` out of the order, in one pass.
void Kt_Dataset::RemoveEntries(std::uint8_t flags) {
  kt::CountedVector<Slot> kept;
  kt::CountedVector<Slot> removed;
  index_->ForEachEntry([&](RowIndex::Place, Slot slot) {
    ((index_->Flags(slot) & flags) != 0 ? removed : kept).push_back(slot);
  });
  if (removed.empty()) return;
  const std::int64_t units =
      removed.size() < std::size_t{kManyRows} ? 0 : 8 * Kt_WorkMeter::kUnitsPerCell;
  RoundCharge charge;
  free_slots_.reserve(free_slots_.size() + removed.size());
  for (const Slot slot : removed) {
    charge.AddOrLeave(units);
    PrepareFree(slot);
  }
  ChargeOrLeave(static_cast<std::int64_t>(kept.size()));
  index_.Write().Assign(kept);
  for (const Slot slot : removed) {
    charge.AddOrLeave(units);
    FreeSlot(slot);
  }
}

// The rows to save in record order; deleted ones are among them when `deleted` is set.
kt::CountedVector<Slot> Kt_Dataset::RowsToSave(View view, bool changed_only, bool deleted) const {
  kt::CountedVector<Slot> slots;
  ChargeOrLeave(static_cast<std::int64_t>(index_->EntryCount()) * Kt_WorkMeter::kUnitsPerCell / 2);
  index_->ForEachEntry([&](RowIndex::Place, Slot slot) {
    const std::uint8_t flags = index_->Flags(slot);
    const bool is_deleted = (flags & kRowDeleted) != 0;
    if (is_deleted ? !deleted : !index_->IsIn(view, slot)) return;
    if (changed_only && (flags & (kRowInserted | kRowUpdated | kRowDeleted)) == 0) return;
    slots.push_back(slot);
  });
  return slots;
}

// ---- Order ------------------------------------------------------------------------------------

kt_long Kt_Dataset::MoveRow(kt_long from, kt_long to) {
  if (IsEvaluating()) return -1;
  if (!PlaceAt(ActiveView(), from) || !PlaceAt(ActiveView(), to) || IsPivot()) return -1;
  if (from == to) return 1;
  return RefuseOnFailure([&] {
    RowIndex& index = index_.Write();
    const kt_long record = RecordOf(ActiveView(), to);
    const kt_long next = record + (from < to ? 1 : 0);
    // Room first: once the row has left its place, nothing may fail.
    index.MakeRoomAt(next < index.Count(ActiveView()) ? index.Find(ActiveView(), next)
                                                      : index.End());
    const RowIndex::Place source = *PlaceAt(ActiveView(), from);
    const Slot slot = index.SlotAt(source);
    index.Remove(source);
    const bool inside = record < index.Count(ActiveView());
    index.Insert(inside ? index.Find(ActiveView(), record) : index.End(), slot);
    DropGroups(0, ActiveView());
    ++structure_version_;
    return 1;
  });
}

kt_long Kt_Dataset::ExchangeRow(kt_long a, kt_long b) {
  if (IsEvaluating()) return -1;
  const auto first = PlaceAt(ActiveView(), a);
  const auto second = PlaceAt(ActiveView(), b);
  if (!first || !second || IsPivot()) return -1;
  return RefuseOnFailure([&] {
    if (a != b) index_.Write().Exchange(*first, *second);
    DropGroups(0, ActiveView());
    ++structure_version_;
    return 1;
  });
}

void Kt_Dataset::ClearData() {
  if (IsEvaluating()) return;
  RefuseOnFailure([&] {
    std::vector<std::shared_ptr<Kt_Column>> empty(columns_.size());
    for (std::size_t col = 0; col < columns_.size(); ++col) {
      if (columns_[col].cells != nullptr)
        empty[col] = std::make_shared<Kt_Column>(columns_[col].type);
    }
    CopyOnWrite<RowIndex> index;
    CopyOnWrite<ChangeBuffer> changes;
    LeavePivot();
    history_.Restart();
    for (std::size_t col = 0; col < columns_.size(); ++col) columns_[col].cells = empty[col];
    index_ = std::move(index);
    changes_ = std::move(changes);
    free_slots_.clear();
    slot_count_ = 0;
    inserted_count_ = 0;
    active_view_ = kAllRows;
    DropGroups();
    ++structure_version_;
    return 1;
  });
}

void Kt_Dataset::Clear() {
  if (IsEvaluating()) return;
  RefuseOnFailure([&] {
    CopyOnWrite<NameMap> names;
    const std::uint32_t failures = kt::MemoryFailures();
    ClearData();
    kt::PassMemoryFailure(failures);
    columns_.clear();
    names_ = std::move(names);
    keys_.clear();
    grouped_ = false;
    return 1;
  });
}

void Kt_Dataset::ClearAll() {
  if (IsEvaluating()) return;
  const std::uint32_t failures = kt::MemoryFailures();
  Clear();
  if (kt::MemoryFailures() == failures) constants_.Clear();
}

// ---- Marks ------------------------------------------------------------------------------------

kt_long Kt_Dataset::GetRowIndexNF(kt_long row) const {
  const auto place = PlaceAt(ActiveView(), row);
  if (!place) return -1;
  const kt_long record = index_->RankOf(kAllRows, *place);
  return grouped_ ? GroupsOf(kAllRows).RowOf(record) : record;
}

kt_long Kt_Dataset::SelectRow(kt_long row, bool selected) {
  const auto slot = RecordAt(ActiveView(), row);
  if (!slot) return -1;
  return RefuseOnFailure([&] {
    index_.Write().Mark(*slot, selected ? kRowSelected : 0, selected ? 0 : kRowSelected);
    return 1;
  });
}

bool Kt_Dataset::GetSelect(kt_long row) const {
  const auto slot = RecordAt(ActiveView(), row);
  return slot && (index_->Flags(*slot) & kRowSelected) != 0;
}

void Kt_Dataset::ClearSelect() {
  RefuseOnFailure([&] {
    index_.Write().ChangeAll(0, kRowSelected);
    return 1;
  });
}
