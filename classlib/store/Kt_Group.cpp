// SPDX-License-Identifier: MIT
//
// Keys, and subtotal rows between the records.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_Edit.h"
#include "classlib/store/detail/Kt_GroupBuilder.h"
#include "classlib/store/detail/Kt_Whole.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

// ---- Keys -------------------------------------------------------------------------------------

kt_long Kt_Dataset::ModifyKeyStat(Kt_KeyCall call, Kt_KeyType type, kt_long col, bool ascending,
                                  Kt_Aggregate subtotal) {
  return body().Edit([&] {
    if (call > Kt_KeyCall::kClear || type > Kt_KeyType::kPivotValue ||
        subtotal > Kt_Aggregate::kCount) {
      return -1;
    }
    if (call == Kt_KeyCall::kClear) {
      body().keys_.Clear();
      return 1;
    }
    if (!body().columns_.Has(col)) return -1;
    return body().keys_.Modify(call, {type, col, ascending, subtotal}) ? 1 : -1;
  });
}

Kt_WString Kt_Dataset::GetKeyStr(Kt_KeyType type) const {
  Kt_WString list;
  for (const Key& key : body().keys_) {
    if (key.type != type) continue;
    if (!list.IsEmpty()) list += u',';
    list += GetColID(key.col);
    if (!key.ascending) list += u":d";
  }
  return list;
}

// Group keys of a pivot are those that are its row keys.
bool Kt_Dataset::Body::IsGroupKey(const Key& key) const {
  if (key.type != Kt_KeyType::kGroup) return false;
  return !IsPivot() || pivot_->GetPivotColType(key.col) == Kt_Pivot::ColumnType::kRowKey;
}

// ---- Subtotals --------------------------------------------------------------------------------

void Kt_Dataset::RecalcGroup() {
  const auto recalc = [&] {
    if (body().ShowsSource() && !IsPivot()) body().TakeSourceRows(false);
    // Keys that change from now on wait for the next call, also where a view is first asked for
    // later.
    body().rows_.shown_keys.assign(body().keys_.begin(), body().keys_.end());
    return body().ComputeKeyCells();
  };
  body().Edit([&] { return body().Whole([&] { return body().OrRestore(recalc); }, -1); });
}

// Where the rows are others now. Without memory for the values there are no subtotals.
void Kt_Dataset::Body::RecomputeKeyCells() {
  if (rows_.key_cells.empty()) return;
  Edit([&] { return Whole([&] { return ComputeKeyCells(); }, -1); });
}

// What is asked for first after this, even a count of rows, lays the subtotals; that must not run
// the code of an expression. So keys that are expressions are computed here, for all views. While
// they are there are no subtotals.
kt_long Kt_Dataset::Body::ComputeKeyCells() {
  rows_.DropGroups();
  rows_.key_cells.clear();
  rows_.grouped = false;
  ++structure_version_;
  const bool has_groups = std::any_of(rows_.shown_keys.begin(), rows_.shown_keys.end(),
                                      [this](const Key& key) { return IsGroupKey(key); });
  if (!has_groups) return 1;
  std::vector<KeyCells> computed;
  for (const Key& key : rows_.shown_keys) {
    if (!columns_.Has(key.col) || !IsComputed(key.col)) continue;
    if (!IsGroupKey(key) && key.type != Kt_KeyType::kPivotValue) continue;
    computed.push_back({key.col, ComputedCells(key.col)});
  }
  rows_.key_cells = std::move(computed);
  rows_.grouped = true;
  rows_.DropGroups();
  ++structure_version_;
  return 1;
}

// The cells of a key by slot, without running an expression.
std::shared_ptr<const Kt_Column> Kt_Dataset::Body::CellsOfKey(kt_long col) const {
  if (!IsComputed(col)) return SlotCells(col);
  const auto known = std::find_if(rows_.key_cells.begin(), rows_.key_cells.end(),
                                  [col](const KeyCells& key) { return key.col == col; });
  if (known != rows_.key_cells.end() && known->cells->RowCount() >= rows_.slot_count)
    return known->cells;
  // Rows that came later, and keys of a dataset that was copied before it had an evaluator.
  auto cells = known != rows_.key_cells.end() ? std::make_shared<Kt_Column>(*known->cells)
                                              : std::make_shared<Kt_Column>(self_.GetColType(col));
  cells->AppendNulls(rows_.slot_count - cells->RowCount());
  return cells;
}

// After this ForgetKeyCells needs no memory.
void Kt_Dataset::Body::PrepareForgetKeyCells(Slot slot) {
  for (KeyCells& key : rows_.key_cells) {
    if (!key.HasValue(slot)) continue;
    if (key.cells.use_count() != 1) key.cells = std::make_shared<Kt_Column>(*key.cells);
    key.cells->MakeNullable();
  }
}

// The next row that gets the slot has no values yet.
void Kt_Dataset::Body::ForgetKeyCells(Slot slot) {
  for (const KeyCells& key : rows_.key_cells) {
    if (key.HasValue(slot)) key.cells->WriteNull(slot);
  }
}

bool Kt_Dataset::GetReverseSubSumStat() const { return body().reverse_subtotals_; }

void Kt_Dataset::SetReverseSubSumStat(bool reverse) {
  body().Edit([&] {
    body().reverse_subtotals_ = reverse;
    body().rows_.DropGroups();
    ++body().structure_version_;
    return 1;
  });
}

GroupView& Kt_Dataset::Body::GroupsOf(View view) const {
  std::optional<GroupView>& groups = rows_.groups[view];
  if (groups && groups->is_unfinished && kt::Charge(0)) groups.reset();
  if (!groups) {
    groups.emplace();
    try {
      BuildGroups(view, *groups);
    } catch (const WorkStopped&) {
      groups.emplace();
    } catch (...) {
      groups.reset();
      throw;
    }
    groups->is_unfinished = !kt::Charge(0);
  }
  return *groups;
}

// Where the group keys change, when the sort that made the order of the rows knows it.
const SortedRuns* Kt_Dataset::Body::RunsOfGroups(View view) const {
  const RowIndex& index = *rows_.index;
  const SortedRuns* const runs = index.Runs();
  const bool has_all = index.EntryCount() == static_cast<std::size_t>(index.Count(view));
  if (runs == nullptr || !has_all || !IsPhysical()) return nullptr;
  std::size_t at = 0;
  for (const Key& key : rows_.shown_keys) {
    if (!IsGroupKey(key)) continue;
    if (at == runs->keys.size()) return nullptr;
    const SortedRuns::Key& sorted = runs->keys[at++];
    if (StoredCol(key.col) != sorted.col ||
        columns_[sorted.col].searches.sort_mark != sorted.mark) {
      return nullptr;
    }
  }
  return runs;
}

void Kt_Dataset::Body::BuildGroups(View view, GroupView& groups) const {
  GroupBuilder builder(*rows_.index, view);
  for (const Key& key : rows_.shown_keys) {
    if (IsGroupKey(key)) builder.AddKey(key.col, CellsOfKey(key.col));
    if (key.type == Kt_KeyType::kPivotValue && !IsPivot()) {
      builder.AddTotal(key.col, key.subtotal, CellsOfKey(key.col));
    }
  }
  builder.SetRuns(RunsOfGroups(view));
  builder.SetPivot(pivot_.Get());
  builder.Build(reverse_subtotals_, groups);
}

kt_long Kt_Dataset::GetRowLevel(kt_long row) const {
  if (!body().rows_.grouped || !body().HasRow(body().ActiveView(), row)) return 0;
  const Subtotal* const subtotal = body().GroupsOf(body().ActiveView()).Find(row);
  return subtotal == nullptr ? 0 : subtotal->level;
}

kt_long Kt_Dataset::GetRowIndex(kt_long row) const {
  if (!body().HasRow(body().ActiveView(), row)) return -1;
  const Subtotal* const subtotal =
      body().rows_.grouped ? body().GroupsOf(body().ActiveView()).Find(row) : nullptr;
  if (subtotal == nullptr) return row;
  return body().reverse_subtotals_ ? subtotal->last - 1 : subtotal->first;
}

kt_long Kt_Dataset::GetRangeStart(kt_long row) const {
  if (!body().HasRow(body().ActiveView(), row)) return -1;
  if (GetRowLevel(row) == 0) return row;
  return body().reverse_subtotals_ ? row + 1 : GetRowIndex(row);
}

kt_long Kt_Dataset::GetRangeCount(kt_long row) const {
  if (!body().HasRow(body().ActiveView(), row)) return 0;
  if (GetRowLevel(row) == 0) return 1;
  return body().reverse_subtotals_ ? GetRowIndex(row) - row : row - GetRowIndex(row);
}
