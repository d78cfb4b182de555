// SPDX-License-Identifier: MIT
//
// Rows and positions are found by sorting the records by their keys and cutting where keys differ.
// Then every record is one key of row and position, once more for each subtotal position above it;
// sorted, equal keys are the records of one cell. Without subtotal positions one sort does all of
// it: by the keys of rows and columns together, so that cells stand next to each other, row by row.
#include "classlib/store/Kt_Pivot.h"

#include <algorithm>
#include <bit>
#include <exception>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/store/detail/Kt_ColumnTotal.h"
#include "classlib/store/detail/Kt_DatasetBody.h"
#include "classlib/store/detail/Kt_KeyRuns.h"
#include "classlib/store/detail/Kt_RunTotals.h"
#include "classlib/store/kernels/Kt_SortKernels.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): slots and views

void Kt_Pivot::Clear() { *this = Kt_Pivot(); }

bool Kt_Pivot::Build(const Kt_Dataset& source) {
  Clear();
  try {
    if (BuildFrom(source)) return true;
  } catch (const std::exception&) {
    (void)kt::NoteMemoryFailure();  // as if nothing had been built
  }
  Clear();
  return false;
}

void Kt_Pivot::TakeKeys(const Kt_Dataset& source) {
  for (const Key& key : source.body().keys_) {
    if (key.type == Kt_KeyType::kPivotRow) {
      row_keys_.push_back({key.col, key.ascending, source.body().SlotCells(key.col)});
    } else if (key.type == Kt_KeyType::kPivotColumn) {
      column_keys_.push_back({key.col, key.ascending, source.body().SlotCells(key.col)});
    } else if (key.type == Kt_KeyType::kPivotValue) {
      const bool unset = key.subtotal == Kt_Aggregate::kNone;
      const Kt_Aggregate what = unset ? Kt_Aggregate::kSum : key.subtotal;
      values_.push_back({key.col, what, source.body().SlotCells(key.col), {}, {}});
    }
  }
}

namespace {

// Calls visit(first, last, same) for the runs of records whose keys are equal; `same` is how many
// of the keys are those of the run before.
template <class Keys, class Sorted, class Visit>
void ForEachRun(const Keys& keys, const Sorted& sorted, Visit visit) {
  std::size_t first = 0;
  std::size_t same = 0;
  const auto end_run = [&](std::size_t record, std::uint32_t key) {
    visit(first, record, same);
    first = record;
    same = key;
  };
  ForEachKeyChange(keys, sorted.slots, sorted.runs.get(), end_run);
  if (!sorted.slots.empty()) visit(first, sorted.slots.size(), same);
}

// Cells by where their records end, as FoldRuns takes them.
class CellRuns {
 public:
  explicit CellRuns(const kt::CountedVector<std::uint32_t>& ends) : ends_(ends) {}
  std::size_t LevelCount() const { return 1; }
  std::size_t Count() const { return ends_.size(); }
  std::size_t Level(std::size_t) const { return 0; }
  std::size_t End(std::size_t cell) const { return ends_[cell]; }

 private:
  const kt::CountedVector<std::uint32_t>& ends_;
};

// Whether a record comes before another one in some order.
class OrderOfSlots {
 public:
  explicit OrderOfSlots(const kt::CountedVector<Slot>& slots) {
    if (slots.empty() || std::ranges::is_sorted(slots)) return;
    places_.resize(std::size_t{std::ranges::max(slots)} + 1);
    for (std::size_t at = 0; at < slots.size(); ++at) {
      places_[slots[at]] = static_cast<std::uint32_t>(at);
    }
  }
  bool operator()(Slot a, Slot b) const {
    return places_.empty() ? a < b : places_[a] < places_[b];
  }

 private:
  kt::CountedVector<std::uint32_t> places_;  // by slot; empty: slots rise
};

}  // namespace

Kt_Pivot::Sorted Kt_Pivot::SortedBy(const Kt_Dataset& source, const std::vector<KeyColumn>& keys,
                                    const kt::CountedVector<Slot>& slots, std::size_t count) {
  std::vector<SortKey> sort;
  sort.reserve(keys.size());
  for (const KeyColumn& key : keys) sort.push_back({key.col, key.ascending});
  Sorted sorted{slots, nullptr};
  sorted.runs = source.body().SortSlots(sorted.slots, count, sort, false);
  return sorted;
}

bool Kt_Pivot::BuildFrom(const Kt_Dataset& source) {
  TakeKeys(source);
  if (row_keys_.empty() && column_keys_.empty()) return false;
  const auto& body = source.body();
  const bool is_run = body.rows_.index->IsIdentity(body.ActiveView());
  if (CanSetAll() && is_run) {
    SetAll(source, {}, body.rows_.index->EntryCount());
    LetGoOfSource();
    return true;
  }
  const kt::CountedVector<Slot> slots = body.RowsToSave(body.ActiveView(), false, false);
  if (CanSetAll()) {
    SetAll(source, slots, slots.size());
    LetGoOfSource();
    return true;
  }
  kt::CountedVector<std::uint32_t> row_of(body.rows_.slot_count);
  kt::CountedVector<std::uint32_t> plain_of(body.rows_.slot_count);
  kt::CountedVector<kt::CountedVector<std::uint32_t>> positions_of_plain;
  SetRows(SortedBy(source, row_keys_, slots, slots.size()), row_of);
  SetPositions(SortedBy(source, column_keys_, slots, slots.size()), positions_of_plain, plain_of);
  kt::CountedVector<std::uint64_t> keys;
  kt::CountedVector<Slot> records;
  keys.reserve(slots.size());
  records.reserve(slots.size());
  RoundCharge charge;
  for (const Slot slot : slots) {
    charge.AddOrLeave(2 * Kt_WorkMeter::kUnitsPerCell);
    for (const std::uint32_t position : positions_of_plain[plain_of[slot]]) {
      charge.AddOrLeave(Kt_WorkMeter::kUnitsPerCell);
      keys.push_back(std::uint64_t{row_of[slot]} * positions_.size() + position);
      records.push_back(slot);
    }
  }
  SetCells(keys, records);
  LetGoOfSource();
  return true;
}

// Values of any kind may be equal in a sort and differ all the same: then what stands between them
// matters.
bool Kt_Pivot::CanSetAll() const {
  const auto is_of_values = [](const KeyColumn& key) {
    return key.cells->Type() == Kt_ColumnType::kVariant ||
           key.cells->Type() == Kt_ColumnType::kBinary;
  };
  return column_keys_.size() < 2 && std::ranges::none_of(row_keys_, is_of_values) &&
         std::ranges::none_of(column_keys_, is_of_values);
}

// Rows and positions show the keys of the record among theirs that comes first, as equal keys may
// read differently: 0 and -0.
void Kt_Pivot::SetAll(const Kt_Dataset& source, const kt::CountedVector<Slot>& slots,
                      std::size_t count) {
  const auto& body = source.body();
  const OrderOfSlots comes_before(slots);
  std::vector<KeyColumn> keys = row_keys_;
  keys.insert(keys.end(), column_keys_.begin(), column_keys_.end());
  const Sorted cells = SortedBy(source, keys, slots, count);
  kt::CountedVector<Slot> first_records;  // by cell
  kt::CountedVector<std::uint32_t> ends;
  ForEachRun(keys, cells, [&](std::size_t first, std::size_t last, std::size_t same) {
    const Slot slot = cells.slots[first];
    if (rows_.empty() || same < row_keys_.size()) {
      row_starts_.push_back(static_cast<std::uint32_t>(ends.size()));
      rows_.push_back(slot);
    } else if (comes_before(slot, rows_.back())) {
      rows_.back() = slot;
    }
    first_records.push_back(slot);
    ends.push_back(static_cast<std::uint32_t>(last));
  });
  row_starts_.push_back(static_cast<std::uint32_t>(ends.size()));

  kt::CountedVector<Slot> in_order = first_records;
  ChargeOrLeave(static_cast<std::int64_t>(in_order.size()) * 8 * Kt_WorkMeter::kUnitsPerCell);
  std::ranges::sort(in_order, comes_before);
  kt::CountedVector<std::uint32_t> plain_of(body.rows_.slot_count);
  kt::CountedVector<kt::CountedVector<std::uint32_t>> positions_of_plain;
  SetPositions(SortedBy(source, column_keys_, in_order, in_order.size()), positions_of_plain,
               plain_of);
  cell_positions_.reserve(first_records.size());
  for (const Slot slot : first_records) cell_positions_.push_back(plain_of[slot]);
  AddCells(cells.slots, ends);
}

void Kt_Pivot::SetRows(const Sorted& sorted, kt::CountedVector<std::uint32_t>& row_of) {
  const kt::CountedVector<Slot>& slots = sorted.slots;
  ForEachRun(row_keys_, sorted, [&](std::size_t first, std::size_t last, std::size_t) {
    for (std::size_t at = first; at < last; ++at) {
      row_of[slots[at]] = static_cast<std::uint32_t>(rows_.size());
    }
    rows_.push_back(slots[first]);
  });
}

void Kt_Pivot::SetPositions(const Sorted& sorted,
                            kt::CountedVector<kt::CountedVector<std::uint32_t>>& positions_of_plain,
                            kt::CountedVector<std::uint32_t>& plain_of) {
  const kt::CountedVector<Slot>& slots = sorted.slots;
  const std::size_t key_count = column_keys_.size();
  std::vector<std::size_t> open(key_count, 0);  // first plain position of the open run, by key
  RoundCharge charge;
  const auto close = [&](std::size_t same) {
    for (std::size_t key = key_count; key-- > same + 1;) {
      const auto subtotal = static_cast<std::uint32_t>(positions_.size());
      const Slot slot = positions_.back().slot;
      positions_.push_back({slot, static_cast<kt_long>(key_count - key)});
      for (std::size_t plain = open[key - 1]; plain < positions_of_plain.size(); ++plain) {
        charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
        positions_of_plain[plain].push_back(subtotal);
      }
      open[key - 1] = positions_of_plain.size();
    }
  };
  ForEachRun(column_keys_, sorted, [&](std::size_t first, std::size_t last, std::size_t same) {
    if (first > 0) close(same);
    for (std::size_t at = first; at < last; ++at) {
      plain_of[slots[at]] = static_cast<std::uint32_t>(positions_of_plain.size());
    }
    positions_of_plain.push_back({static_cast<std::uint32_t>(positions_.size())});
    positions_.push_back({slots[first], 0});
  });
  if (!positions_.empty()) close(0);
  plain_count_ = static_cast<kt_long>(positions_of_plain.size());
}

void Kt_Pivot::SetCells(kt::CountedVector<std::uint64_t>& keys, kt::CountedVector<Slot>& records) {
  const auto charge_rows = [](std::size_t rows) {
    ChargeOrLeave(static_cast<std::int64_t>(rows) * Kt_WorkMeter::kUnitsPerCell);
  };
  const std::uint64_t cells = std::uint64_t{rows_.size()} * positions_.size();
  kt::kernels::SortRows(keys, records, static_cast<int>(std::bit_width(cells)), charge_rows);
  kt::CountedVector<std::uint32_t> ends;
  RoundCharge charge;
  for (std::size_t at = 0; at < keys.size();) {
    const std::uint64_t key = keys[at];
    const std::size_t first = at;
    while (at < keys.size() && keys[at] == key) ++at;
    charge.AddOrLeave(static_cast<std::int64_t>(at - first + 16) * Kt_WorkMeter::kUnitsPerCell);
    const auto row = static_cast<std::size_t>(key / positions_.size());
    row_starts_.resize(row + 1, static_cast<std::uint32_t>(cell_positions_.size()));
    cell_positions_.push_back(static_cast<std::uint32_t>(key % positions_.size()));
    ends.push_back(static_cast<std::uint32_t>(at));
  }
  row_starts_.resize(rows_.size() + 1, static_cast<std::uint32_t>(cell_positions_.size()));
  AddCells(records, ends);
}

void Kt_Pivot::AddCells(const kt::CountedVector<Slot>& slots,
                        const kt::CountedVector<std::uint32_t>& ends) {
  const auto can_fold = [](const ValueColumn& value) {
    return CanFoldRuns(value.what, *value.cells);
  };
  for (ValueColumn& value : values_) {
    if (!can_fold(value)) continue;
    value.values.resize(ends.size());
    if (value.what == Kt_Aggregate::kAvg) value.weights.resize(ends.size());
  }
  const CellRuns runs(ends);
  ShareRuns(runs, std::ranges::any_of(values_, can_fold), [&](RunRange range) {
    for (ValueColumn& value : values_) {
      if (!can_fold(value)) continue;
      const bool is_average = value.what == Kt_Aggregate::kAvg;
      FoldRuns(value.what, *value.cells, slots, runs, range,
               [&](std::size_t cell, const Kt_CellFold& fold) {
                 value.values[cell] = fold.Finish();
                 if (!is_average) return;
                 value.weights[cell] = {fold.GetSum(), static_cast<kt_long>(fold.GetValueCount())};
               });
    }
  });
  for (ValueColumn& value : values_) {
    if (!can_fold(value)) AddCellsOf(value, slots, ends);
  }
}

// One cell after the other.
void Kt_Pivot::AddCellsOf(ValueColumn& value, const kt::CountedVector<Slot>& slots,
                          const kt::CountedVector<std::uint32_t>& ends) {
  value.values.reserve(ends.size());
  kt::CountedVector<Slot> of_cell;
  std::size_t first = 0;
  RoundCharge charge;
  for (const std::uint32_t end : ends) {
    charge.AddOrLeave(static_cast<std::int64_t>(end - first + 16) * Kt_WorkMeter::kUnitsPerCell);
    of_cell.assign(slots.begin() + static_cast<std::ptrdiff_t>(first), slots.begin() + end);
    AddCell(value, of_cell);
    first = end;
  }
}

void Kt_Pivot::AddCell(ValueColumn& value, const kt::CountedVector<Slot>& slots) {
  Kt_Variant total;
  TotalOfSlots(value.what, *value.cells, slots, total);
  value.values.push_back(std::move(total));
  if (value.what != Kt_Aggregate::kAvg) return;
  Weight weight;
  Kt_Variant count;
  TotalOfSlots(Kt_Aggregate::kSum, *value.cells, slots, weight.sum);
  TotalOfSlots(Kt_Aggregate::kCount, *value.cells, slots, count);
  weight.count = count.ToInteger();
  value.weights.push_back(std::move(weight));
}

// The keys are copied out of the dataset's columns, so that it can write to them without parting
// from them first.
void Kt_Pivot::LetGoOfSource() {
  kt::CountedVector<Slot> places;
  for (const Position& position : positions_) places.push_back(position.slot);
  for (KeyColumn& key : row_keys_) {
    key.cells = std::make_shared<Kt_Column>(key.cells->Gather(rows_));
  }
  for (KeyColumn& key : column_keys_) {
    key.cells = std::make_shared<Kt_Column>(key.cells->Gather(places));
  }
  for (ValueColumn& value : values_) value.cells.reset();
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
    if (key.col == col) return key.cells->Read(static_cast<std::size_t>(row));
  }
  if (position < 0 || position >= GetPivotColCount()) return {};
  const auto place = static_cast<std::size_t>(position);
  const std::size_t shown = column_keys_.size() - static_cast<std::size_t>(positions_[place].level);
  for (std::size_t key = 0; key < shown; ++key) {
    if (column_keys_[key].col == col) return column_keys_[key].cells->Read(place);
  }
  return {};
}

Kt_WString Kt_Pivot::GetPivotColText(kt_long position) const {
  Kt_WString text;
  if (position < 0 || position >= GetPivotColCount()) return text;
  const auto place = static_cast<std::size_t>(position);
  const std::size_t shown = column_keys_.size() - static_cast<std::size_t>(positions_[place].level);
  for (std::size_t key = 0; key < shown; ++key) {
    if (key > 0) text += u'/';
    text += column_keys_[key].cells->Read(place).ToString();
  }
  return text;
}

const Kt_Pivot::Cells& Kt_Pivot::RowKeyCells(kt_long col) const {
  static const Cells kNoCells;
  for (const KeyColumn& key : row_keys_) {
    if (key.col == col && ValueOf(col) == nullptr) return key.cells;
  }
  return kNoCells;
}

Kt_VariantList Kt_Pivot::GetColumnSet(kt_long row, kt_long col) const {
  Kt_VariantList values;
  RoundCharge charge;
  for (kt_long position = 0; position < GetPivotColCount(); ++position) {
    if (!charge.Add(4 * Kt_WorkMeter::kUnitsPerCell)) break;
    values.Add(GetColumn(row, col, position));
  }
  return values;
}

// ---- Subtotals --------------------------------------------------------------------------------

void Kt_Pivot::TotalRows(const kt::CountedVector<Slot>& rows,
                         kt::CountedVector<SubtotalCell>& totals) const {
  std::vector<CellNumber> cells;
  RoundCharge charge;
  for (const Slot row : rows) {
    for (std::uint32_t cell = row_starts_[row]; cell < row_starts_[row + 1]; ++cell) {
      charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
      cells.emplace_back(cell_positions_[cell], cell);
    }
  }
  std::sort(cells.begin(), cells.end(), [&](const CellNumber& a, const CellNumber& b) {
    charge.AddOrLeave(Kt_WorkMeter::kUnitsPerCell);
    return a < b;
  });
  for (std::size_t first = 0, last = 0; first < cells.size(); first = last) {
    charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
    while (last < cells.size() && cells[last].first == cells[first].first) ++last;
    for (const ValueColumn& value : values_) {
      totals.push_back({value.col, static_cast<kt_long>(cells[first].first),
                        TotalOf(value, &cells[first], cells.data() + last)});
    }
  }
}

Kt_Variant Kt_Pivot::TotalOf(const ValueColumn& value, const CellNumber* first,
                             const CellNumber* last) {
  Kt_CellFold fold(value.what);
  for (const CellNumber* cell = first; cell != last; ++cell) {
    if (value.what == Kt_Aggregate::kAvg) {
      const Weight& weight = value.weights[cell->second];
      fold.Merge(weight.sum, weight.count);
    } else {
      fold.Merge(value.values[cell->second]);
    }
  }
  return fold.Finish();
}
