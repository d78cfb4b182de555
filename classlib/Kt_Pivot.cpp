// SPDX-License-Identifier: MIT
//
// Rows and positions are found by sorting the records by their keys and cutting where keys differ.
// Then every record is one entry (row, position), once more for each subtotal position above it;
// sorted, equal entries are the records of one cell.
#include "classlib/Kt_Pivot.h"

#include <algorithm>
#include <exception>

#include "classlib/kernels/Kt_SortKernels.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): slots and views

namespace {

// Folds the values of several cells.
class Fold {
 public:
  explicit Fold(Kt_Aggregate what) : what_(what) {}

  void Add(const Kt_Variant* value) {
    ++all_;
    if (value == nullptr || value->IsEmpty()) return;
    ++present_;
    sum_ += value->ToDouble();
    const int order = best_ == nullptr ? 1 : Var_Order(*value, *best_);
    if (best_ == nullptr || (what_ == Kt_Aggregate::kMax ? order > 0 : order < 0)) best_ = value;
  }

  Kt_Variant Result(bool present_only) const {
    const kt_long count = present_only ? present_ : all_;
    switch (what_) {
      case Kt_Aggregate::kSum: return sum_;
      case Kt_Aggregate::kCount: return count;
      case Kt_Aggregate::kAvg:
        return present_ == 0 ? Kt_Variant() : Kt_Variant(sum_ / static_cast<double>(count));
      case Kt_Aggregate::kMax:
      case Kt_Aggregate::kMin: return best_ == nullptr ? Kt_Variant() : *best_;
      default: return {};
    }
  }

 private:
  Kt_Aggregate what_;
  double sum_ = 0;
  kt_long all_ = 0;
  kt_long present_ = 0;
  const Kt_Variant* best_ = nullptr;
};

}  // namespace

void Kt_Pivot::Clear() { *this = Kt_Pivot(); }

bool Kt_Pivot::Build(const Kt_Dataset& source) {
  Clear();
  try {
    if (BuildFrom(source)) return true;
  } catch (const std::exception&) {
    // Out of memory: as if nothing had been built.
  }
  Clear();
  return false;
}

bool Kt_Pivot::BuildFrom(const Kt_Dataset& source) {
  std::vector<Kt_Dataset::SortKey> row_sort;
  std::vector<Kt_Dataset::SortKey> column_sort;
  for (const Kt_Dataset::Key& key : source.keys_) {
    const KeyColumn column{key.col, key.ascending, source.SlotCells(key.col)};
    if (key.type == Kt_KeyType::kPivotRow) {
      row_keys_.push_back(column);
      row_sort.push_back({key.col, key.ascending});
    } else if (key.type == Kt_KeyType::kPivotColumn) {
      column_keys_.push_back(column);
      column_sort.push_back({key.col, key.ascending});
    } else if (key.type == Kt_KeyType::kPivotValue) {
      const bool unset = key.subtotal == Kt_Aggregate::kNone;
      values_.push_back({key.col, unset ? Kt_Aggregate::kSum : key.subtotal, column.cells, {}});
    }
  }
  if (row_keys_.empty() || values_.empty()) return false;
  std::vector<std::uint32_t> row_of(source.slot_count_);
  std::vector<std::uint32_t> plain_of(source.slot_count_);
  std::vector<std::vector<std::uint32_t>> positions_of_plain;
  const std::vector<Slot> slots = SetRows(source.OrderedRecords(row_sort), row_of);
  SetPositions(source.OrderedRecords(column_sort), positions_of_plain, plain_of);
  std::vector<Entry> entries;
  for (const Slot slot : slots) {
    for (const std::uint32_t position : positions_of_plain[plain_of[slot]]) {
      entries.push_back({row_of[slot], position, slot});
    }
  }
  SetCells(entries);
  return true;
}

std::size_t Kt_Pivot::FirstDifference(const std::vector<KeyColumn>& keys, Slot a, Slot b) {
  std::size_t key = 0;
  while (key < keys.size() && keys[key].cells->SameCells(a, b)) ++key;
  return key;
}

std::vector<Slot> Kt_Pivot::SetRows(const std::vector<Slot>& slots,
                                    std::vector<std::uint32_t>& row_of) {
  for (const Slot slot : slots) {
    if (rows_.empty() || FirstDifference(row_keys_, rows_.back(), slot) < row_keys_.size()) {
      rows_.push_back(slot);
    }
    row_of[slot] = static_cast<std::uint32_t>(rows_.size() - 1);
  }
  return slots;
}

void Kt_Pivot::SetPositions(const std::vector<Slot>& slots,
                            std::vector<std::vector<std::uint32_t>>& positions_of_plain,
                            std::vector<std::uint32_t>& plain_of) {
  const std::size_t key_count = column_keys_.size();
  std::vector<std::size_t> open(key_count, 0);  // first plain position of the open run, by key
  const auto close = [&](std::size_t same) {
    for (std::size_t key = key_count; key-- > same + 1;) {
      const auto subtotal = static_cast<std::uint32_t>(positions_.size());
      const Slot slot = positions_.back().slot;
      positions_.push_back({slot, static_cast<kt_long>(key_count - key)});
      for (std::size_t plain = open[key - 1]; plain < positions_of_plain.size(); ++plain) {
        positions_of_plain[plain].push_back(subtotal);
      }
      open[key - 1] = positions_of_plain.size();
    }
  };
  for (const Slot slot : slots) {
    const bool first = positions_.empty();
    const std::size_t same =
        first ? 0 : FirstDifference(column_keys_, positions_.back().slot, slot);
    if (first || same < key_count) {
      if (!first) close(same);
      positions_of_plain.push_back({static_cast<std::uint32_t>(positions_.size())});
      positions_.push_back({slot, 0});
    }
    plain_of[slot] = static_cast<std::uint32_t>(positions_of_plain.size() - 1);
  }
  if (!positions_.empty()) close(0);
  plain_count_ = static_cast<kt_long>(positions_of_plain.size());
}

void Kt_Pivot::SetCells(std::vector<Entry>& entries) {
  std::vector<kt::kernels::KeyedRow> sorted;
  std::vector<kt::kernels::KeyedRow> spare;
  sorted.reserve(entries.size());
  for (const Entry& entry : entries) {
    sorted.push_back({std::uint64_t{entry.row} * positions_.size() + entry.position, entry.slot});
  }
  kt::kernels::SortByKey(sorted, spare);
  std::vector<Slot> slots;
  for (std::size_t at = 0; at < sorted.size();) {
    const std::uint64_t key = sorted[at].key;
    for (slots.clear(); at < sorted.size() && sorted[at].key == key; ++at) {
      slots.push_back(sorted[at].row);
    }
    const auto row = static_cast<std::size_t>(key / positions_.size());
    row_starts_.resize(row + 1, static_cast<std::uint32_t>(cell_positions_.size()));
    cell_positions_.push_back(static_cast<std::uint32_t>(key % positions_.size()));
    for (ValueColumn& value : values_) {
      Kt_Variant total;
      Kt_Dataset::AggregateListed(value.what, *value.cells, slots, total);
      value.values.push_back(std::move(total));
    }
  }
  row_starts_.resize(rows_.size() + 1, static_cast<std::uint32_t>(cell_positions_.size()));
}

// ---- Reading ----------------------------------------------------------------------------------

const Kt_Pivot::ValueColumn* Kt_Pivot::ValueOf(kt_long col) const {
  for (const ValueColumn& value : values_) {
    if (value.col == col) return &value;
  }
  return nullptr;
}

Kt_Pivot::ColumnType Kt_Pivot::GetPivotColType(kt_long col) const {
  const auto is_col = [col](const KeyColumn& key) { return key.col == col; };
  if (ValueOf(col) != nullptr) return ColumnType::kValue;
  if (std::any_of(row_keys_.begin(), row_keys_.end(), is_col)) return ColumnType::kRowKey;
  if (std::any_of(column_keys_.begin(), column_keys_.end(), is_col)) return ColumnType::kColumnKey;
  return ColumnType::kOther;
}

kt_long Kt_Pivot::GetPivotColLevel(kt_long position) const {
  if (position < 0 || position >= GetPivotColCount()) return 0;
  return positions_[static_cast<std::size_t>(position)].level;
}

kt_long Kt_Pivot::GetPivotRowPos(kt_long row, kt_long position) const {
  if (row < 0 || row >= GetPivotRowCount() || position < 0) return -1;
  const auto first = cell_positions_.begin() + row_starts_[static_cast<std::size_t>(row)];
  const auto last = cell_positions_.begin() + row_starts_[static_cast<std::size_t>(row) + 1];
  const auto found = std::lower_bound(first, last, static_cast<std::uint32_t>(position));
  const bool exists = found != last && *found == static_cast<std::uint32_t>(position);
  return exists ? static_cast<kt_long>(found - cell_positions_.begin()) : -1;
}

Kt_Variant Kt_Pivot::GetColumn(kt_long row, kt_long col, kt_long position) const {
  if (row < 0 || row >= GetPivotRowCount()) return {};
  if (const ValueColumn* const value = ValueOf(col)) {
    const kt_long cell = GetPivotRowPos(row, position);
    return cell < 0 ? Kt_Variant() : value->values[static_cast<std::size_t>(cell)];
  }
  for (const KeyColumn& key : row_keys_) {
    if (key.col == col) return key.cells->Read(rows_[static_cast<std::size_t>(row)]);
  }
  if (position < 0 || position >= GetPivotColCount()) return {};
  const Position& place = positions_[static_cast<std::size_t>(position)];
  const std::size_t shown = column_keys_.size() - static_cast<std::size_t>(place.level);
  for (std::size_t key = 0; key < shown; ++key) {
    if (column_keys_[key].col == col) return column_keys_[key].cells->Read(place.slot);
  }
  return {};
}

Kt_VariantList Kt_Pivot::GetColumnSet(kt_long row, kt_long col) const {
  Kt_VariantList values;
  for (kt_long position = 0; position < GetPivotColCount(); ++position) {
    values.Add(GetColumn(row, col, position));
  }
  return values;
}

Kt_Variant Kt_Pivot::AggregateDown(Kt_Aggregate what, kt_long col, kt_long position, kt_long start,
                                   kt_long end, bool present_only) const {
  const ValueColumn* const value = ValueOf(col);
  if (value == nullptr) return {};
  Fold fold(what);
  for (kt_long row = std::max(start, 0); row < std::min(end, GetPivotRowCount()); ++row) {
    const kt_long cell = GetPivotRowPos(row, position);
    fold.Add(cell < 0 ? nullptr : &value->values[static_cast<std::size_t>(cell)]);
  }
  return fold.Result(present_only);
}

Kt_Variant Kt_Pivot::AggregateAcross(Kt_Aggregate what, kt_long col, kt_long row, kt_long start,
                                     kt_long end, bool present_only) const {
  const ValueColumn* const value = ValueOf(col);
  if (value == nullptr || row < 0 || row >= GetPivotRowCount()) return {};
  if (end < 0) end = GetPivotColCount();
  Fold fold(what);
  for (kt_long at = std::max(start, 0); at < std::min(end, GetPivotColCount()); ++at) {
    if (GetPivotColLevel(at) > 0) continue;
    const kt_long cell = GetPivotRowPos(row, at);
    fold.Add(cell < 0 ? nullptr : &value->values[static_cast<std::size_t>(cell)]);
  }
  return fold.Result(present_only);
}
