// SPDX-License-Identifier: MIT
//
// A dataset whose rows are those of a cross table.
#include <algorithm>
#include <stdexcept>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Fold.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/Kt_UniqueIds.h"
#include "classlib/store/detail/Kt_Edit.h"
#include "classlib/store/detail/Kt_Whole.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

// ---- Becoming a pivot, and a table again ------------------------------------------------------

Kt_Dataset::PlainRows::PlainRows(Kt_Dataset& dataset) : dataset_(dataset), pivot_(dataset.pivot_) {
  if (pivot_ == nullptr) return;
  std::swap(dataset_.rows_, *dataset_.plain_rows_);
  dataset_.pivot_.reset();
}

Kt_Dataset::PlainRows::~PlainRows() {
  if (pivot_ == nullptr) return;
  std::swap(dataset_.rows_, *dataset_.plain_rows_);
  dataset_.pivot_ = std::move(pivot_);
}

void Kt_Dataset::LeavePivot() {
  if (!IsPivot()) return;
  rows_ = std::move(*plain_rows_);
  plain_rows_.reset();
  pivot_.reset();
  ++structure_version_;
}

void Kt_Dataset::EnterPivot(std::shared_ptr<const Kt_Pivot> pivot) {
  RowLayer layer;
  layer.slot_count = static_cast<Slot>(pivot->GetPivotRowCount());
  layer.index.Write().Append(0, layer.slot_count);
  std::swap(rows_, layer);
  plain_rows_ = std::move(layer);
  pivot_ = std::move(pivot);
  RecalcGroup();
}

kt_long Kt_Dataset::RecalcPivot() {
  const auto recalc = [&]() -> kt_long {
    LeavePivot();
    if (ShowsSource()) TakeSourceRows(false);
    if (!keys_.HasPivotKeys()) return 1;
    auto pivot = std::make_shared<Kt_Pivot>();
    if (!pivot->Build(*this)) return -1;
    ChargeOrLeave(0);
    EnterPivot(std::move(pivot));
    ChargeOrLeave(0);
    return 1;
  };
  return Edit([&] { return Whole([&] { return OrRestore(recalc); }, -1); });
}

void Kt_Dataset::PivotLocSubSum_Reset() {
  if (IsPivot()) RecalcGroup();
}

// ---- Rows and positions -----------------------------------------------------------------------

kt_long Kt_Dataset::GetPivotRowCount() const { return IsPivot() ? GetRowCount() : 0; }

kt_long Kt_Dataset::GetPivotColCount() const { return IsPivot() ? pivot_->GetPivotColCount() : 0; }

kt_long Kt_Dataset::GetPivotTableColCount() const {
  return IsPivot() ? pivot_->GetPivotTableColCount() : 0;
}

kt_long Kt_Dataset::GetPivotColType(kt_long col) const {
  const auto type = IsPivot() ? pivot_->GetPivotColType(col) : Kt_Pivot::ColumnType::kOther;
  return static_cast<kt_long>(type);
}

kt_long Kt_Dataset::GetPivotColLevel(kt_long position) const {
  return IsPivot() ? pivot_->GetPivotColLevel(position) : 0;
}

kt_long Kt_Dataset::GetPivotRowLevel(kt_long row) const { return IsPivot() ? GetRowLevel(row) : 0; }

kt_long Kt_Dataset::GetPivotRowPos(kt_long row, kt_long position, kt_long) const {
  const auto slot = IsPivot() ? RecordAt(ActiveView(), row) : std::nullopt;
  return slot ? pivot_->GetPivotRowPos(static_cast<kt_long>(*slot), position) : -1;
}

Kt_WString Kt_Dataset::GetPivotColText(kt_long position) const {
  return IsPivot() ? pivot_->GetPivotColText(position) : Kt_WString();
}

// ---- Aggregates -------------------------------------------------------------------------------

// The pivot rows behind the rows [start, end); subtotals are left out.
kt::CountedVector<Slot> Kt_Dataset::PivotRows(View view, kt_long start, kt_long end) const {
  start = std::clamp(start, 0, ViewCount(view));
  end = std::clamp(end, start, ViewCount(view));
  kt::CountedVector<Slot> rows;
  rows_.index->ForEachRun(
      view, RecordsBefore(view, start), RecordsBefore(view, end),
      [&](std::size_t first, std::size_t count) {
        for (std::size_t row = first; row < first + count; ++row) {
          rows.push_back(static_cast<Slot>(row));
        }
      },
      [&](const Slot* listed, std::size_t count) {
        rows.insert(rows.end(), listed, listed + count);
      });
  return rows;
}

kt_long Kt_Dataset::PivotDown(Kt_Aggregate what, kt_long col, kt_long position, kt_long start,
                              kt_long end, View view, Kt_Variant& result) const {
  result.Clear();
  if (GetPivotColType(col) != 0) return -1;
  return RefuseOnFailure([&] {
    Kt_CellFold fold(what);
    RoundCharge charge;
    for (const Slot row : PivotRows(view, start, end)) {
      charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
      fold.Step(pivot_->GetColumn(static_cast<kt_long>(row), col, position));
    }
    result = fold.Finish(true);
    return fold.HasValue() ? 1 : 0;
  });
}

kt_long Kt_Dataset::PivotAcross(Kt_Aggregate what, kt_long col, kt_long row, kt_long start,
                                kt_long end, View view, bool present_only,
                                Kt_Variant& result) const {
  result.Clear();
  if (GetPivotColType(col) != 0 || !HasRow(view, row)) return -1;
  end = end < 0 ? GetPivotColCount() : std::min(end, GetPivotColCount());
  Kt_CellFold fold(what);
  RoundCharge charge;
  for (kt_long position = std::max(start, 0); position < end; ++position) {
    if (!charge.Add(8 * Kt_WorkMeter::kUnitsPerCell)) break;
    if (GetPivotColLevel(position) == 0) fold.Step(ReadCell(view, row, col, position));
  }
  result = fold.Finish(!present_only);
  return fold.HasValue() ? 1 : 0;
}

// ---- A pivot as a table -----------------------------------------------------------------------

namespace {

// The narrowest type that holds the values of a cross table as they are.
Kt_ColumnType TypeFor(const kt::CountedVector<Kt_Variant>& values) {
  std::optional<Kt_ColumnType> type;
  for (const Kt_Variant& value : values) {
    if (value.IsEmpty()) continue;
    Kt_ColumnType own = Kt_ColumnType::kVariant;
    if (value.IsLong()) own = Kt_ColumnType::kLong;
    if (value.GetTag() == kTagDouble) own = Kt_ColumnType::kDouble;
    if (value.GetTag() == kTagCurrency) own = Kt_ColumnType::kCurrency;
    if (value.GetTag() == kTagDateTime) own = Kt_ColumnType::kDateTime;
    if (value.IsString()) own = Kt_ColumnType::kString;
    const bool numbers = own == Kt_ColumnType::kLong || own == Kt_ColumnType::kDouble;
    const bool were_numbers = type == Kt_ColumnType::kLong || type == Kt_ColumnType::kDouble;
    if (!type) {
      type = own;
    } else if (*type != own) {
      type = numbers && were_numbers ? Kt_ColumnType::kDouble : Kt_ColumnType::kVariant;
    }
  }
  return type.value_or(Kt_ColumnType::kVariant);
}

kt_long AddTableColumn(Kt_Dataset& table, const Kt_WString& id, Kt_ColumnType type) {
  const kt_long col = table.AddColumn(id, type);
  if (col == kErrNoMemory) throw std::bad_alloc();
  if (col < 0) throw std::length_error("too many positions for a table");
  return col;
}

}  // namespace

// Row keys, then for every plain position and value key a column. It is called as the position, or
// as position/value when there are several value keys, or as the value when there are no column
// keys.
Kt_Dataset Kt_Dataset::PivotTable(View view) const {
  Kt_Dataset table(id_);
  table.constants_ = constants_;
  Kt_UniqueIds ids;  // positions may have the same text
  const kt::CountedVector<Slot> rows = PivotRows(view, 0, ViewCount(view));
  if (!rows.empty()) table.AppendRow(static_cast<kt_long>(rows.size()));
  for (const Kt_Pivot::KeyColumn& key : pivot_->row_keys_) {
    const kt_long col = AddTableColumn(table, ids.Make(GetColID(key.col)), key.cells->Type());
    table.columns_[col].cells = std::make_shared<Kt_Column>(key.cells->Gather(rows));
  }
  RoundCharge charge;
  for (kt_long position = 0; position < GetPivotColCount(); ++position) {
    if (GetPivotColLevel(position) > 0) continue;
    for (const Kt_Pivot::ValueColumn& value : pivot_->values_) {
      const Kt_WString text = GetPivotColText(position);
      Kt_WString id = text.IsEmpty() ? GetColID(value.col) : text;
      if (!text.IsEmpty() && pivot_->values_.size() > 1) id += u"/" + GetColID(value.col);
      const kt_long col = AddTableColumn(table, ids.Make(id), TypeFor(value.values));
      for (std::size_t row = 0; row < rows.size(); ++row) {
        charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
        table.SetColumn(static_cast<kt_long>(row), col,
                        pivot_->GetColumn(static_cast<kt_long>(rows[row]), value.col, position));
      }
    }
  }
  table.ApplyChange();
  return table;
}
