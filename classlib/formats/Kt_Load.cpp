// SPDX-License-Identifier: MIT
//
// Taking over what a file held, and choosing what a file will hold.
#include <algorithm>
#include <functional>
#include <unordered_map>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/formats/detail/Kt_SavedValue.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/detail/Kt_LoadedTable.h"
#include "classlib/store/detail/Kt_Whole.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

// Works on a copy, which shares everything that is not replaced.
kt_long Kt_Dataset::Adopt(LoadedTable& table, bool clear) {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  if (IsEvaluating()) return -1;
  if (!clear && !IsPhysical()) return -1;
  return RefuseOnFailure([&]() -> kt_long {
    ChargeOrLeave(0);  // what was read may be a part
    const std::uint32_t failures = kt::MemoryFailures();
    Kt_Dataset next(*this);
    const std::vector<Kt_WString> key_ids = KeyIds();
    if (clear) next.ClearData();
    if (clear && next.ShowsSource()) next.OwnColumns();
    if (clear && table.has_column_info) next.DropStoredColumns();
    if (next.slot_count_ + std::size_t{table.row_count} >
        static_cast<std::size_t>(kMaxDatasetRows)) {
      return kErrRowNotAdded;
    }
    const Slot first = next.slot_count_;
    std::vector<kt_long> cols;
    if (!next.AdoptColumns(table, cols)) {
      return next.GetColCount() < kMaxDatasetColumns ? kErrNoMemory : -1;
    }
    next.AdoptRows(table, cols, first);
    next.FindKeys(key_ids);
    for (const auto& [id, value] : table.constants) {
      if (next.SetConstColumn(id, value) >= 0) continue;
      if (const kt_long added = next.AddConstColumn(id, value); added < 0) return added;
    }
    if (clear && !table.id.IsEmpty()) next.id_ = table.id;
    kt::PassMemoryFailure(failures);                 // of what gives no answer
    if (!clear) std::swap(next.history_, history_);  // the rows that were here keep their slots
    *this = std::move(next);
    if (!key_cells_.empty()) ComputeKeyCells();  // which the copy had no evaluator for
    return static_cast<kt_long>(table.row_count) -
           static_cast<kt_long>(
               std::count_if(table.notes.begin(), table.notes.end(),
                             [](const LoadedNote& note) { return note.type == kRowTypeDelete; }));
  });
}

std::vector<Kt_WString> Kt_Dataset::KeyIds() const {
  std::vector<Kt_WString> ids;
  for (const Key& key : keys_) ids.push_back(GetColID(key.col));
  return ids;
}

// Keys stay with the ids of their columns, and go with them.
void Kt_Dataset::FindKeys(const std::vector<Kt_WString>& ids) {
  for (std::size_t key = 0; key < keys_.size(); ++key) keys_[key].col = GetColIndex(ids[key]);
  std::erase_if(keys_, [](const Key& key) { return key.col < 0; });
  RecalcGroup();
}

void Kt_Dataset::DropStoredColumns() {
  std::erase_if(columns_, [](const Column& column) { return column.cells != nullptr; });
  NameMap& names = names_.Write();
  names.Clear();
  for (kt_long col = 0; col < GetColCount(); ++col) names.Add(GetColID(col), col);
  ResolveLogicalColumns();
}

bool Kt_Dataset::AdoptColumns(LoadedTable& table, std::vector<kt_long>& cols) {
  for (LoadedColumn& loaded : table.columns) {
    kt_long col = GetColIndex(loaded.id);
    if (col < 0 && loaded.cells == nullptr) {
      Column logical{loaded.id, loaded.map, loaded.type, loaded.size};
      logical.origin = loaded.origin;
      col = AddColumnRow(std::move(logical));
    } else if (col < 0) {
      col = AddColumn(loaded.id, loaded.type, loaded.size);
    }
    if (col < 0) return false;
    cols.push_back(col);
  }
  for (std::size_t at = 0; at < cols.size(); ++at) {
    Column& column = columns_[static_cast<std::size_t>(cols[at])];
    std::shared_ptr<Kt_Column>& loaded = table.columns[at].cells;
    if (column.cells == nullptr || loaded == nullptr) continue;
    if (column.type == loaded->Type() && slot_count_ == 0) {
      column.cells = std::move(loaded);
      continue;
    }
    Kt_Column& cells = WriteCells(cols[at]);
    if (cells.RowCount() > slot_count_) cells = cells.Head(slot_count_);
    cells.AppendFrom(*loaded);
  }
  return true;
}

void Kt_Dataset::AdoptRows(const LoadedTable& table, const std::vector<kt_long>& cols, Slot first) {
  RowIndex& index = index_.Write();
  slot_count_ += table.row_count;
  for (std::size_t col = 0; col < columns_.size(); ++col) {
    if (columns_[col].cells == nullptr || columns_[col].cells->RowCount() >= slot_count_) continue;
    Kt_Column& cells = WriteCells(static_cast<kt_long>(col));
    cells.AppendNulls(slot_count_ - cells.RowCount());
  }
  index.Append(first, table.row_count);
  RoundCharge charge;
  for (const LoadedNote& note : table.notes) {
    charge.AddOrLeave(32 * Kt_WorkMeter::kUnitsPerCell);
    AdoptNote(note, cols, first + note.row);
  }
  AdoptDeletions(table, first);
  ++structure_version_;
}

void Kt_Dataset::AdoptNote(const LoadedNote& note, const std::vector<kt_long>& cols, Slot slot) {
  if (note.type == kRowTypeInsert) {
    index_.Write().Mark(slot, kRowInserted, 0);
    ++inserted_count_;
    return;
  }
  ChangeBuffer& changes = changes_.Write();
  changes.Touch(slot).forced = note.forced;
  for (const auto& [loaded_col, old] : note.old_cells) {
    const kt_long stored = StoredCol(cols[loaded_col]);
    if (stored >= 0) changes.NoteWrite(slot, stored, CellsOf(stored)->Converted(old));
  }
  if (note.type == kRowTypeUpdate) index_.Write().Mark(slot, kRowUpdated, 0);
}

void Kt_Dataset::AdoptDeletions(const LoadedTable& table, Slot first) {
  std::vector<const LoadedNote*> deleted;
  for (const LoadedNote& note : table.notes) {
    if (note.type == kRowTypeDelete) deleted.push_back(&note);
  }
  if (deleted.empty()) return;
  std::stable_sort(deleted.begin(), deleted.end(), [](const LoadedNote* a, const LoadedNote* b) {
    return a->delete_number < b->delete_number;
  });
  for (const LoadedNote* note : deleted) {
    changes_.Write().NoteDelete(first + note->row);
    index_.Write().Mark(first + note->row, kRowDeleted, 0);
  }
  index_.Write().RecountAll();
}

// ---- Choosing ---------------------------------------------------------------------------------

bool Kt_Dataset::SaveViewOf(std::u16string_view save_type, View& view, bool& changed_only) const {
  const Kt_WString type(save_type);
  changed_only = type.EqualsNoCase(u"update");
  view = type.EqualsNoCase(u"nf") || changed_only ? kAllRows : ActiveView();
  return changed_only || type.IsEmpty() || type.EqualsNoCase(u"all") || type.EqualsNoCase(u"nf");
}

// Runs write(table) on what a file will hold: kOk or a code. The number of rows saved, or the code.
kt_long Kt_Dataset::SaveTable(std::u16string_view type, Kt_SaveReport& report,
                              const std::function<kt_long(LoadedTable&)>& write) const {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  report = {};
  View view = kAllRows;
  bool changed_only = false;
  if (!SaveViewOf(type, view, changed_only)) {
    return report.Refuse(kErrNotAllowed, Kt_WString(u"unknown save type '") + type + u"'");
  }
  const kt_long saved = RefuseOnFailure([&]() -> kt_long {
    if (!IsPhysical()) return AsTable(view).SaveTable(type, report, write);
    LoadedTable table = TableToSave(view, changed_only);
    const kt_long code = write(table);
    return code == kOk ? static_cast<kt_long>(table.row_count) : code;
  });
  return saved < 0 ? SaveRefusal(saved, report) : saved;
}

// The same for what has neither states nor first values: runs write(table, slots) on the rows that
// are not deleted. The cells of computed columns are made on the way.
kt_long Kt_Dataset::SaveRows(
    std::u16string_view type, Kt_SaveReport& report,
    const std::function<kt_long(const Kt_Dataset&, const kt::CountedVector<Slot>&)>& write) const {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  report = {};
  View view = kAllRows;
  bool changed_only = false;
  if (!SaveViewOf(type, view, changed_only)) {
    return report.Refuse(kErrNotAllowed, Kt_WString(u"unknown save type '") + type + u"'");
  }
  const auto save = [&]() -> kt_long {
    if (!IsPhysical()) {
      const std::shared_ptr<Kt_ColumnEvaluator> evaluator = evaluator_.pointer;
      Kt_Dataset table = AsTable(view);
      table.SetEvaluator(evaluator);  // for its columns of expressions
      return table.SaveRows(type, report, write);
    }
    const kt::CountedVector<Slot> slots = RowsToSave(view, changed_only, false);
    const kt_long code = write(*this, slots);
    return code == kOk ? static_cast<kt_long>(slots.size()) : code;
  };
  const kt_long saved = RefuseOnFailure([&] { return Whole(save, -1); });
  return saved < 0 ? SaveRefusal(saved, report) : saved;
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

// The dataset's content as a file will hold it; the columns are copies of the saved rows.
LoadedTable Kt_Dataset::TableToSave(View view, bool changed_only) const {
  LoadedTable table;
  table.id = id_;
  table.has_column_info = true;
  for (const auto& constant : constants_) {
    table.constants.emplace_back(constant.id, constant.value);
  }
  const kt::CountedVector<Slot> slots = RowsToSave(view, changed_only, true);
  table.row_count = static_cast<std::uint32_t>(slots.size());
  for (const Column& column : columns_) {
    table.columns.push_back(
        {column.id, column.map, column.type, column.size, nullptr, column.origin});
    if (column.cells == nullptr) continue;
    table.columns.back().cells = std::make_shared<Kt_Column>(column.cells->Gather(slots));
  }
  AddNotes(slots, table);
  return table;
}

void Kt_Dataset::AddNotes(const kt::CountedVector<Slot>& slots, LoadedTable& table) const {
  std::unordered_map<Slot, kt_long> delete_numbers;
  for (const Slot slot : changes_->Deleted()) {
    delete_numbers.emplace(slot, static_cast<kt_long>(delete_numbers.size()));
  }
  std::vector<std::pair<std::uint64_t, LoadedNote>> notes;
  RoundCharge charge;
  for (std::uint32_t row = 0; row < slots.size(); ++row) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    const std::uint8_t flags = index_->Flags(slots[row]);
    LoadedNote note;
    note.row = row;
    if ((flags & kRowInserted) != 0) {
      note.type = kRowTypeInsert;
      notes.emplace_back(0, std::move(note));
    } else if (const ChangeBuffer::Entry* const entry = changes_->Find(slots[row])) {
      note.type = entry->deleted ? kRowTypeDelete : kRowTypeUpdate;
      note.forced = entry->forced;
      if (entry->deleted) note.delete_number = delete_numbers[slots[row]];
      for (const auto& [col, old] : entry->cells) {
        note.old_cells.emplace_back(static_cast<std::uint32_t>(col), old);
      }
      notes.emplace_back(entry->number + 1, std::move(note));
    }
  }
  std::stable_sort(notes.begin(), notes.end(), [&](const auto& a, const auto& b) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    return a.first < b.first;
  });
  for (auto& [number, note] : notes) table.notes.push_back(std::move(note));
}
