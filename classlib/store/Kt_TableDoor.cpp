// SPDX-License-Identifier: MIT
//
// Taking over what a file held, and choosing what a file will hold.
#include "classlib/store/detail/Kt_TableDoor.h"

#include <algorithm>
#include <unordered_map>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/detail/Kt_Edit.h"
#include "classlib/store/detail/Kt_Whole.h"

namespace kt::detail {

kt_long LoadedTable::PresentCount() const {
  return RowCount() -
         static_cast<kt_long>(std::ranges::count(notes, kRowTypeDelete, &LoadedNote::type));
}

// ---- Taking -----------------------------------------------------------------------------------

// Works on a copy, which shares everything that is not replaced.
kt_long TableDoor::Take(Kt_Dataset& dataset, LoadedTable& table, bool clear) {
  const auto take = [&]() -> kt_long {
    if (!clear && !dataset.IsPhysical()) return -1;
    ChargeOrLeave(0);  // what was read may be a part
    const std::uint32_t failures = MemoryFailures();
    Kt_Dataset next(dataset);
    if (const kt_long refusal = TableDoor(next).Fill(table, clear); refusal < 0) return refusal;
    PassMemoryFailure(failures);  // of what gives no answer
    // The rows that were here keep their slots.
    if (!clear) std::swap(next.body().history_, dataset.body().history_);
    dataset = std::move(next);
    return 1;
  };
  if (const kt_long taken = dataset.body().Edit(take); taken < 0) return taken;
  dataset.body().RecomputeKeyCells();  // which the copy had no evaluator for
  return table.PresentCount();
}

kt_long TableDoor::Fill(LoadedTable& table, bool clear) {
  std::vector<Kt_WString> key_ids;
  for (const Key& key : dataset_.body().keys_) key_ids.push_back(dataset_.GetColID(key.col));
  if (clear) dataset_.ClearData();
  if (clear && dataset_.body().ShowsSource()) dataset_.body().OwnColumns();
  if (clear && table.has_column_info) DropStoredColumns();
  const Slot first = dataset_.body().rows_.slot_count;
  if (first + std::size_t{table.row_count} > static_cast<std::size_t>(kMaxDatasetRows)) {
    return kErrRowNotAdded;
  }
  if (!TakeColumns(table)) {
    return dataset_.GetColCount() < kMaxDatasetColumns ? kErrNoMemory : -1;
  }
  TakeRows(table, first);
  FindKeys(key_ids);
  if (clear && !table.id.IsEmpty()) dataset_.body().id_ = table.id;
  return TakeConstants(table);
}

kt_long TableDoor::TakeConstants(const LoadedTable& table) {
  for (const auto& [id, value] : table.constants) {
    if (dataset_.SetConstColumn(id, value) >= 0) continue;
    if (const kt_long added = dataset_.AddConstColumn(id, value); added < 0) return added;
  }
  return kOk;
}

// Keys stay with the ids of their columns, and go with them.
void TableDoor::FindKeys(const std::vector<Kt_WString>& ids) {
  dataset_.body().keys_.Follow([&](std::size_t key) { return dataset_.GetColIndex(ids[key]); });
  dataset_.RecalcGroup();
}

void TableDoor::DropStoredColumns() {
  dataset_.body().columns_.DropStored();
  dataset_.body().ResolveLogicalColumns();
}

bool TableDoor::TakeColumns(LoadedTable& table) {
  for (LoadedColumn& loaded : table.columns) {
    kt_long col = dataset_.GetColIndex(loaded.id);
    if (col < 0 && loaded.cells == nullptr) {
      DatasetColumn logical{loaded.id, loaded.map, loaded.type, loaded.size};
      logical.origin = loaded.origin;
      col = dataset_.body().AddColumnRow(std::move(logical));
    } else if (col < 0) {
      col = dataset_.AddColumn(loaded.id, loaded.type, loaded.size);
    }
    if (col < 0) return false;
    cols_.push_back(col);
  }
  for (std::size_t at = 0; at < cols_.size(); ++at) {
    DatasetColumn& column = dataset_.body().columns_[cols_[at]];
    std::shared_ptr<Kt_Column>& loaded = table.columns[at].cells;
    if (column.cells == nullptr || loaded == nullptr) continue;
    if (column.type == loaded->Type() && dataset_.body().rows_.slot_count == 0) {
      column.cells = std::move(loaded);
      continue;
    }
    Kt_Column& cells = dataset_.body().columns_.Write(cols_[at]);
    if (cells.RowCount() > dataset_.body().rows_.slot_count)
      cells = cells.Head(dataset_.body().rows_.slot_count);
    cells.AppendFrom(*loaded);
  }
  return true;
}

void TableDoor::TakeRows(const LoadedTable& table, Slot first) {
  RowIndex& index = dataset_.body().rows_.index.Write();
  dataset_.body().rows_.slot_count += table.row_count;
  dataset_.body().columns_.PadTo(dataset_.body().rows_.slot_count);
  index.Append(first, table.row_count);
  RoundCharge charge;
  for (const LoadedNote& note : table.notes) {
    charge.AddOrLeave(32 * Kt_WorkMeter::kUnitsPerCell);
    TakeNote(note, first + note.row);
  }
  TakeDeletions(table, first);
  ++dataset_.body().structure_version_;
}

void TableDoor::TakeNote(const LoadedNote& note, Slot slot) {
  if (note.type == kRowTypeInsert) {
    dataset_.body().rows_.index.Write().Mark(slot, kRowInserted, 0);
    ++dataset_.body().rows_.inserted_count;
    return;
  }
  ChangeBuffer& changes = dataset_.body().rows_.changes.Write();
  changes.SetForced(slot, note.forced);
  for (const auto& [loaded_col, old] : note.old_cells) {
    const kt_long stored = dataset_.body().StoredCol(cols_[loaded_col]);
    if (stored >= 0)
      changes.NoteWrite(slot, stored, dataset_.body().CellsOf(stored)->Converted(old));
  }
  if (note.type == kRowTypeUpdate) dataset_.body().rows_.index.Write().Mark(slot, kRowUpdated, 0);
}

void TableDoor::TakeDeletions(const LoadedTable& table, Slot first) {
  std::vector<const LoadedNote*> deleted;
  for (const LoadedNote& note : table.notes) {
    if (note.type == kRowTypeDelete) deleted.push_back(&note);
  }
  if (deleted.empty()) return;
  std::stable_sort(deleted.begin(), deleted.end(), [](const LoadedNote* a, const LoadedNote* b) {
    return a->delete_number < b->delete_number;
  });
  for (const LoadedNote* note : deleted) {
    dataset_.body().rows_.changes.Write().NoteDelete(first + note->row);
    dataset_.body().rows_.index.Write().Mark(first + note->row, kRowDeleted, 0);
  }
  dataset_.body().rows_.index.Write().RecountAll();
}

// ---- Giving -----------------------------------------------------------------------------------

std::optional<TableDoor::Choice> TableDoor::ChoiceOf(const Kt_Dataset& dataset,
                                                     std::u16string_view save_type) {
  const Kt_WString type(save_type);
  if (type.EqualsNoCase(u"update")) return Choice{kAllRows, true};
  if (type.EqualsNoCase(u"nf")) return Choice{kAllRows, false};
  if (!type.IsEmpty() && !type.EqualsNoCase(u"all")) return std::nullopt;
  return Choice{dataset.body().ActiveView(), false};
}

kt_long TableDoor::Give(const Kt_Dataset& dataset, std::u16string_view save_type,
                        LoadedTable& table) {
  KT_CHECK_THREAD(dataset.body().one_thread_, "dataset", dataset.body().id_);
  const auto choice = ChoiceOf(dataset, save_type);
  if (!choice) return kErrNotAllowed;
  if (!dataset.IsPhysical()) return Give(dataset.body().AsTable(choice->view), save_type, table);
  table.id = dataset.body().id_;
  for (const auto& constant : dataset.body().constants_) {
    table.constants.emplace_back(constant.id, constant.value);
  }
  const CountedVector<Slot> slots =
      dataset.body().RowsToSave(choice->view, choice->changed_only, true);
  GiveColumns(dataset, slots, table);
  GiveNotes(dataset, slots, table);
  return kOk;
}

// Cells of computed columns are made on the way.
kt_long TableDoor::Give(const Kt_Dataset& dataset, std::u16string_view save_type, SavedRows& rows) {
  KT_CHECK_THREAD(dataset.body().one_thread_, "dataset", dataset.body().id_);
  const auto choice = ChoiceOf(dataset, save_type);
  if (!choice) return kErrNotAllowed;
  const auto give = [&]() -> kt_long {
    if (!dataset.IsPhysical()) {
      Kt_Dataset table = dataset.body().AsTable(choice->view);
      table.SetEvaluator(dataset.GetEvaluator());  // for its columns of expressions
      return Give(table, save_type, rows);
    }
    rows.slots = dataset.body().RowsToSave(choice->view, choice->changed_only, false);
    for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
      rows.columns.push_back(
          {dataset.GetColID(col), dataset.GetColSize(col), dataset.body().SlotCells(col)});
    }
    return kOk;
  };
  return dataset.body().Whole(give, -1);
}

LoadedTable TableDoor::Shown(const Kt_Dataset& dataset) {
  LoadedTable table;
  GiveColumns(dataset, dataset.body().RowsToSave(dataset.body().ActiveView(), false, false), table);
  return table;
}

// The columns as they are in those rows.
void TableDoor::GiveColumns(const Kt_Dataset& dataset, const CountedVector<Slot>& slots,
                            LoadedTable& table) {
  table.has_column_info = true;
  table.row_count = static_cast<std::uint32_t>(slots.size());
  for (const DatasetColumn& column : dataset.body().columns_) {
    table.columns.push_back(
        {column.id, column.map, column.type, column.size, nullptr, column.origin});
    if (column.cells == nullptr) continue;
    table.columns.back().cells = std::make_shared<Kt_Column>(column.cells->Gather(slots));
  }
}

void TableDoor::GiveNotes(const Kt_Dataset& dataset, const CountedVector<Slot>& slots,
                          LoadedTable& table) {
  const ChangeBuffer& changes = *dataset.body().rows_.changes;
  CountedVector<std::uint32_t> numbers;  // by slot, from 1: the order of first change
  for (kt_long at = 0; at < changes.Count(); ++at) {
    const Slot slot = changes.SlotAt(at);
    if (numbers.size() <= slot) numbers.resize(std::size_t{slot} + 1);
    numbers[slot] = static_cast<std::uint32_t>(at + 1);
  }
  std::unordered_map<Slot, kt_long> delete_numbers;
  for (const Slot slot : changes.Deleted()) {
    delete_numbers.emplace(slot, static_cast<kt_long>(delete_numbers.size()));
  }
  std::vector<std::pair<std::uint32_t, LoadedNote>> notes;
  RoundCharge charge;
  for (std::uint32_t row = 0; row < slots.size(); ++row) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    const std::uint8_t flags = dataset.body().rows_.index->Flags(slots[row]);
    LoadedNote note;
    note.row = row;
    if ((flags & kRowInserted) != 0) {
      note.type = kRowTypeInsert;
      notes.emplace_back(0, std::move(note));
    } else if (const Slot slot = slots[row]; changes.Has(slot)) {
      note.type = changes.IsDeleted(slot) ? kRowTypeDelete : kRowTypeUpdate;
      note.forced = changes.IsForced(slot);
      if (changes.IsDeleted(slot)) note.delete_number = delete_numbers[slot];
      changes.ForEachOld(slot, [&note](kt_long col, const Kt_Variant& old) {
        note.old_cells.emplace_back(static_cast<std::uint32_t>(col), old);
      });
      notes.emplace_back(numbers[slot], std::move(note));
    }
  }
  std::stable_sort(notes.begin(), notes.end(), [&](const auto& a, const auto& b) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    return a.first < b.first;
  });
  for (auto& [number, note] : notes) table.notes.push_back(std::move(note));
}

}  // namespace kt::detail
