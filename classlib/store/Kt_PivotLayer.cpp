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

void Kt_Dataset::Body::LeavePivot() {
  if (!IsPivot()) return;
  pivot_.Leave(rows_);
  ++structure_version_;
}

void Kt_Dataset::Body::EnterPivot(std::shared_ptr<const Kt_Pivot> pivot) {
  pivot_.Enter(rows_, std::move(pivot));
  self_.RecalcGroup();
}

kt_long Kt_Dataset::RecalcPivot() {
  const auto recalc = [&]() -> kt_long {
    body().LeavePivot();
    if (body().ShowsSource()) body().TakeSourceRows(false);
    if (!body().keys_.HasPivotKeys()) return 1;
    auto pivot = std::make_shared<Kt_Pivot>();
    if (!pivot->Build(*this)) return -1;
    ChargeOrLeave(0);
    body().EnterPivot(std::move(pivot));
    ChargeOrLeave(0);
    return 1;
  };
  return body().Edit([&] { return body().Whole([&] { return body().OrRestore(recalc); }, -1); });
}

void Kt_Dataset::PivotLocSubSum_Reset() {
  if (IsPivot()) RecalcGroup();
}

// ---- Rows and positions -----------------------------------------------------------------------

kt_long Kt_Dataset::GetPivotRowCount() const { return IsPivot() ? GetRowCount() : 0; }

kt_long Kt_Dataset::GetPivotColCount() const {
  return IsPivot() ? body().pivot_->GetPivotColCount() : 0;
}

kt_long Kt_Dataset::GetPivotTableColCount() const {
  return IsPivot() ? body().pivot_->GetPivotTableColCount() : 0;
}

kt_long Kt_Dataset::GetPivotColType(kt_long col) const {
  const auto type = IsPivot() ? body().pivot_->GetPivotColType(col) : Kt_Pivot::ColumnType::kOther;
  return static_cast<kt_long>(type);
}

kt_long Kt_Dataset::GetPivotColLevel(kt_long position) const {
  return IsPivot() ? body().pivot_->GetPivotColLevel(position) : 0;
}

kt_long Kt_Dataset::GetPivotRowLevel(kt_long row) const { return IsPivot() ? GetRowLevel(row) : 0; }

kt_long Kt_Dataset::GetPivotRowPos(kt_long row, kt_long position, kt_long) const {
  const auto slot = IsPivot() ? body().RecordAt(body().ActiveView(), row) : std::nullopt;
  return slot ? body().pivot_->GetPivotRowPos(static_cast<kt_long>(*slot), position) : -1;
}

Kt_WString Kt_Dataset::GetPivotColText(kt_long position) const {
  return IsPivot() ? body().pivot_->GetPivotColText(position) : Kt_WString();
}

// ---- Aggregates -------------------------------------------------------------------------------

// The pivot rows behind the rows [start, end); subtotals are left out.
kt::CountedVector<Slot> Kt_Dataset::Body::PivotRows(View view, kt_long start, kt_long end) const {
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

kt_long Kt_Dataset::Body::PivotDown(Kt_Aggregate what, kt_long col, kt_long position, kt_long start,
                                    kt_long end, View view, Kt_Variant& result) const {
  result.Clear();
  if (self_.GetPivotColType(col) != 0) return -1;
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

kt_long Kt_Dataset::Body::PivotAcross(Kt_Aggregate what, kt_long col, kt_long row, kt_long start,
                                      kt_long end, View view, bool present_only,
                                      Kt_Variant& result) const {
  result.Clear();
  if (self_.GetPivotColType(col) != 0 || !HasRow(view, row)) return -1;
  end = end < 0 ? self_.GetPivotColCount() : std::min(end, self_.GetPivotColCount());
  Kt_CellFold fold(what);
  RoundCharge charge;
  for (kt_long position = std::max(start, 0); position < end; ++position) {
    if (!charge.Add(8 * Kt_WorkMeter::kUnitsPerCell)) break;
    if (self_.GetPivotColLevel(position) == 0) fold.Step(ReadCell(view, row, col, position));
  }
  result = fold.Finish(!present_only);
  return fold.HasValue() ? 1 : 0;
}

kt_long Kt_Dataset::GetPivotRowAggregate(Kt_Aggregate what, kt_long col, kt_long position,
                                         kt_long start, kt_long end, bool filtered,
                                         Kt_Variant& result) const {
  return body().PivotDown(what, col, position, start, end,
                          filtered ? body().ActiveView() : kAllRows, result);
}

kt_long Kt_Dataset::GetPivotColAggregate(Kt_Aggregate what, kt_long col, kt_long pivot_row,
                                         kt_long start, kt_long end, bool filtered,
                                         bool present_only, Kt_Variant& result) const {
  return body().PivotAcross(what, col, pivot_row, start, end,
                            filtered ? body().ActiveView() : kAllRows, present_only, result);
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
Kt_Dataset Kt_Dataset::Body::PivotTable(View view) const {
  Kt_Dataset table(id_);
  table.body().constants_ = constants_;
  Kt_UniqueIds ids;  // positions may have the same text
  const kt::CountedVector<Slot> rows = PivotRows(view, 0, ViewCount(view));
  if (!rows.empty()) table.AppendRow(static_cast<kt_long>(rows.size()));
  for (const Kt_Pivot::KeyColumn& key : pivot_->row_keys_) {
    const kt_long col = AddTableColumn(table, ids.Make(self_.GetColID(key.col)), key.cells->Type());
    table.body().columns_[col].cells = std::make_shared<Kt_Column>(key.cells->Gather(rows));
  }
  RoundCharge charge;
  for (kt_long position = 0; position < self_.GetPivotColCount(); ++position) {
    if (self_.GetPivotColLevel(position) > 0) continue;
    for (const Kt_Pivot::ValueColumn& value : pivot_->values_) {
      const Kt_WString text = self_.GetPivotColText(position);
      Kt_WString id = text.IsEmpty() ? self_.GetColID(value.col) : text;
      if (!text.IsEmpty() && pivot_->values_.size() > 1) id += u"/" + self_.GetColID(value.col);
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
