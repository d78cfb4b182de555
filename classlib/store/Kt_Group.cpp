// SPDX-License-Identifier: MIT
//
// Keys, and subtotal rows between the records.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_Edit.h"
#include "classlib/store/detail/Kt_Whole.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

// ---- Keys -------------------------------------------------------------------------------------

kt_long Kt_Dataset::ModifyKeyStat(Kt_KeyCall call, Kt_KeyType type, kt_long col, bool ascending,
                                  Kt_Aggregate subtotal) {
  return Edit([&] {
    if (call > Kt_KeyCall::kClear || type > Kt_KeyType::kPivotValue ||
        subtotal > Kt_Aggregate::kCount) {
      return -1;
    }
    if (call == Kt_KeyCall::kClear) {
      keys_.clear();
      return 1;
    }
    if (!HasCol(col)) return -1;
    const auto found = std::find_if(keys_.begin(), keys_.end(), [&](const Key& key) {
      return key.type == type && key.col == col;
    });
    const bool is_known = found != keys_.end();
    if (is_known != (call != Kt_KeyCall::kAdd)) return -1;
    if (call == Kt_KeyCall::kRemove) {
      keys_.erase(found);
    } else if (is_known) {
      *found = {type, col, ascending, subtotal};
    } else {
      keys_.push_back({type, col, ascending, subtotal});
    }
    return 1;
  });
}

// `all` with the keys of one type replaced.
void Kt_Dataset::SetKeys(Kt_KeyType type, const std::vector<SortKey>& keys, std::vector<Key>& all) {
  std::erase_if(all, [type](const Key& key) { return key.type == type; });
  for (const SortKey& key : keys) {
    all.push_back({type, key.col, key.ascending, Kt_Aggregate::kNone});
  }
}

std::vector<Kt_Dataset::Key> Kt_Dataset::KeysOf(Kt_KeyType type) const {
  std::vector<Key> keys;
  for (const Key& key : keys_) {
    if (key.type == type) keys.push_back(key);
  }
  return keys;
}

Kt_WString Kt_Dataset::GetKeyStr(Kt_KeyType type) const {
  Kt_WString list;
  for (const Key& key : KeysOf(type)) {
    if (!list.IsEmpty()) list += u',';
    list += GetColID(key.col);
    if (!key.ascending) list += u":d";
  }
  return list;
}

// Group keys of a pivot are those that are its row keys.
bool Kt_Dataset::IsGroupKey(const Key& key) const {
  if (key.type != Kt_KeyType::kGroup) return false;
  return !IsPivot() || pivot_->GetPivotColType(key.col) == Kt_Pivot::ColumnType::kRowKey;
}

// ---- Subtotals --------------------------------------------------------------------------------

void Kt_Dataset::RecalcGroup() {
  const auto recalc = [&] {
    if (ShowsSource() && !IsPivot()) TakeSourceRows(false);
    // Keys that change from now on wait for the next call, also where a view is first asked for
    // later.
    rows_.shown_keys = keys_;
    return ComputeKeyCells();
  };
  Edit([&] { return Whole([&] { return OrRestore(recalc); }, -1); });
}

// Where the rows are others now. Without memory for the values there are no subtotals.
void Kt_Dataset::RecomputeKeyCells() {
  if (rows_.key_cells.empty()) return;
  Edit([&] { return Whole([&] { return ComputeKeyCells(); }, -1); });
}

// What is asked for first after this, even a count of rows, lays the subtotals; that must not run
// the code of an expression. So keys that are expressions are computed here, for all views. While
// they are there are no subtotals.
kt_long Kt_Dataset::ComputeKeyCells() {
  rows_.DropGroups();
  rows_.key_cells.clear();
  rows_.grouped = false;
  ++structure_version_;
  const bool has_groups = std::any_of(rows_.shown_keys.begin(), rows_.shown_keys.end(),
                                      [this](const Key& key) { return IsGroupKey(key); });
  if (!has_groups) return 1;
  std::vector<KeyCells> computed;
  for (const Key& key : rows_.shown_keys) {
    if (!HasCol(key.col) || !IsComputed(key.col)) continue;
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
std::shared_ptr<const Kt_Column> Kt_Dataset::CellsOfKey(kt_long col) const {
  if (!IsComputed(col)) return SlotCells(col);
  const auto known = std::find_if(rows_.key_cells.begin(), rows_.key_cells.end(),
                                  [col](const KeyCells& key) { return key.col == col; });
  if (known != rows_.key_cells.end() && known->cells->RowCount() >= rows_.slot_count)
    return known->cells;
  // Rows that came later, and keys of a dataset that was copied before it had an evaluator.
  auto cells = known != rows_.key_cells.end() ? std::make_shared<Kt_Column>(*known->cells)
                                              : std::make_shared<Kt_Column>(GetColType(col));
  cells->AppendNulls(rows_.slot_count - cells->RowCount());
  return cells;
}

// After this ForgetKeyCells needs no memory.
void Kt_Dataset::PrepareForgetKeyCells(Slot slot) {
  for (KeyCells& key : rows_.key_cells) {
    if (!key.HasValue(slot)) continue;
    if (key.cells.use_count() != 1) key.cells = std::make_shared<Kt_Column>(*key.cells);
    key.cells->MakeNullable();
  }
}

// The next row that gets the slot has no values yet.
void Kt_Dataset::ForgetKeyCells(Slot slot) {
  for (const KeyCells& key : rows_.key_cells) {
    if (key.HasValue(slot)) key.cells->WriteNull(slot);
  }
}

void Kt_Dataset::SetReverseSubSumStat(bool reverse) {
  Edit([&] {
    reverse_subtotals_ = reverse;
    rows_.DropGroups();
    ++structure_version_;
    return 1;
  });
}

GroupView& Kt_Dataset::GroupsOf(View view) const {
  std::optional<GroupView>& groups = rows_.groups[view];
  if (groups && groups->is_unfinished && kt::Charge(0)) groups.reset();
  if (!groups) {
    groups.emplace();
    try {
      (void)BuildGroups(view, *groups);
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

kt_long Kt_Dataset::BuildGroups(View view, GroupView& groups) const {
  GroupPlan plan;
  for (const Key& key : rows_.shown_keys) {
    if (IsGroupKey(key)) plan.keys.push_back({key, CellsOfKey(key.col)});
    if (key.type == Kt_KeyType::kPivotValue && !IsPivot()) {
      plan.values.push_back({key, CellsOfKey(key.col)});
    }
  }
  FindGroups(view, plan, groups);
  PlaceSubtotals(groups);
  FillSubtotals(view, plan, groups);
  return 1;
}

// One pass over the rows: where a key differs from the row before, the groups of that key and of
// all keys after it end.
void Kt_Dataset::FindGroups(View view, const GroupPlan& plan, GroupView& groups) const {
  const kt_long count = rows_.index->Count(view);
  const std::size_t key_count = plan.keys.size();
  std::vector<kt_long> starts(key_count, 0);  // record that begins the open group of each key
  Slot before = 0;
  RoundCharge charge;
  const std::int64_t units = static_cast<std::int64_t>(key_count + 1) * Kt_WorkMeter::kUnitsPerCell;
  for (kt_long record = 0; record <= count; ++record) {
    charge.AddOrLeave(units);
    const Slot slot = record < count ? rows_.index->At(view, record) : 0;
    std::size_t same = 0;
    if (record > 0 && record < count) {
      while (same < key_count && plan.keys[same].cells->SameCells(before, slot)) ++same;
    }
    for (std::size_t key = key_count; record > 0 && key-- > same;) {
      Subtotal subtotal;
      subtotal.level = static_cast<kt_long>(key_count - key);
      subtotal.first = starts[key];
      subtotal.last = record;
      groups.Add(std::move(subtotal));
      starts[key] = record;
    }
    before = slot;
  }
}

// From record numbers to row numbers. Subtotals stand behind their rows, inner levels first, or,
// reversed, before them, outer levels first.
void Kt_Dataset::PlaceSubtotals(GroupView& groups) const {
  kt::CountedVector<Subtotal>& all = groups.All();
  if (reverse_subtotals_) {
    RoundCharge charge;
    std::stable_sort(all.begin(), all.end(), [&](const Subtotal& a, const Subtotal& b) {
      charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
      return a.first != b.first ? a.first < b.first : a.level > b.level;
    });
  }
  for (std::size_t at = 0; at < all.size(); ++at) {
    all[at].position =
        (reverse_subtotals_ ? all[at].first : all[at].last) + static_cast<kt_long>(at);
  }
}

// REQUIRES: the subtotal's range is still in records.
void Kt_Dataset::FillSubtotal(View view, const GroupPlan& plan, Subtotal& subtotal) const {
  const Slot slot = rows_.index->At(view, subtotal.first);
  const std::size_t shown = plan.keys.size() + 1 - static_cast<std::size_t>(subtotal.level);
  for (std::size_t key = 0; key < shown; ++key) {
    const kt_long col = plan.keys[key].key.col;
    subtotal.cells.push_back({col, -1, plan.keys[key].cells->Read(slot)});
  }
  for (const auto& [value, cells] : plan.values) {
    Kt_Variant total;
    AggregateRecords(view, value.subtotal, *cells, subtotal.first, subtotal.last, total);
    subtotal.cells.push_back({value.col, -1, total});
  }
  if (IsPivot()) {
    kt::CountedVector<Slot> rows;
    ChargeOrLeave((subtotal.last - subtotal.first) * Kt_WorkMeter::kUnitsPerCell);
    for (kt_long record = subtotal.first; record < subtotal.last; ++record) {
      rows.push_back(rows_.index->At(view, record));
    }
    pivot_->TotalRows(rows, subtotal.cells);
  }
  // Of a key column that is totalled too the key is shown.
  std::stable_sort(subtotal.cells.begin(), subtotal.cells.end(),
                   [](const SubtotalCell& a, const SubtotalCell& b) {
                     return std::pair(a.col, a.position) < std::pair(b.col, b.position);
                   });
}

void Kt_Dataset::FillSubtotals(View view, const GroupPlan& plan, GroupView& groups) const {
  RoundCharge charge;
  const auto cells = static_cast<std::int64_t>(plan.keys.size() + plan.values.size() + 1);
  for (Subtotal& subtotal : groups.All()) {
    charge.AddOrLeave(cells * 16 * Kt_WorkMeter::kUnitsPerCell);
    FillSubtotal(view, plan, subtotal);
    subtotal.first = groups.RowOf(subtotal.first);
    subtotal.last = groups.RowOf(subtotal.last - 1) + 1;
  }
}

kt_long Kt_Dataset::GetRowLevel(kt_long row) const {
  if (!rows_.grouped || !HasRow(ActiveView(), row)) return 0;
  const Subtotal* const subtotal = GroupsOf(ActiveView()).Find(row);
  return subtotal == nullptr ? 0 : subtotal->level;
}

kt_long Kt_Dataset::GetRowIndex(kt_long row) const {
  if (!HasRow(ActiveView(), row)) return -1;
  const Subtotal* const subtotal = rows_.grouped ? GroupsOf(ActiveView()).Find(row) : nullptr;
  if (subtotal == nullptr) return row;
  return reverse_subtotals_ ? subtotal->last - 1 : subtotal->first;
}

kt_long Kt_Dataset::GetRangeStart(kt_long row) const {
  if (!HasRow(ActiveView(), row)) return -1;
  if (GetRowLevel(row) == 0) return row;
  return reverse_subtotals_ ? row + 1 : GetRowIndex(row);
}

kt_long Kt_Dataset::GetRangeCount(kt_long row) const {
  if (!HasRow(ActiveView(), row)) return 0;
  if (GetRowLevel(row) == 0) return 1;
  return reverse_subtotals_ ? GetRowIndex(row) - row : row - GetRowIndex(row);
}
