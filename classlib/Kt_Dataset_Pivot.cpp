// SPDX-License-Identifier: MIT
//
// A dataset whose rows are those of a cross table.
#include "classlib/Kt_Pivot.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

kt_long Kt_Dataset::RecalcPivot() {
  pivot_.reset();
  if (KeysOf(Kt_KeyType::kPivotRow).empty() && KeysOf(Kt_KeyType::kPivotColumn).empty()) return 1;
  const auto pivot = std::make_shared<Kt_Pivot>();
  if (!pivot->Build(*this)) return -1;
  pivot_ = pivot;
  return 1;
}

kt_long Kt_Dataset::GetPivotRowCount() const { return IsPivot() ? pivot_->GetPivotRowCount() : 0; }

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
  return IsPivot() ? pivot_->GetPivotRowPos(row, position) : -1;
}

Kt_WString Kt_Dataset::GetPivotColText(kt_long position) const {
  Kt_WString text;
  for (const Key& key : keys_) {
    if (key.type != Kt_KeyType::kPivotColumn) continue;
    if (!text.IsEmpty()) text += u'/';
    text += ReadColumn(0, key.col, position).ToString();
  }
  return text;
}

void Kt_Dataset::PivotLocSubSum_Reset() {}

kt_long Kt_Dataset::PivotDown(Kt_Aggregate what, kt_long col, kt_long position, kt_long start,
                              kt_long end, View, Kt_Variant& result) const {
  result.Clear();
  if (GetPivotColType(col) != 0) return -1;
  result = pivot_->AggregateDown(what, col, position, start, end);
  return pivot_->AggregateDown(Kt_Aggregate::kCount, col, position, start, end, true).ToInteger() >
                 0
             ? 1
             : 0;
}

kt_long Kt_Dataset::PivotAcross(Kt_Aggregate what, kt_long col, kt_long row, kt_long start,
                                kt_long end, View, bool present_only, Kt_Variant& result) const {
  result.Clear();
  if (GetPivotColType(col) != 0) return -1;
  result = pivot_->AggregateAcross(what, col, row, start, end, present_only);
  return pivot_->AggregateAcross(Kt_Aggregate::kCount, col, row, start, end, true).ToInteger() > 0
             ? 1
             : 0;
}

kt_long Kt_Dataset::GetPivotRowSum(kt_long col, kt_long position, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotDown(Kt_Aggregate::kSum, col, position, start, end,
                   filtered != 0 ? ActiveView() : kAllRows, result);
}

kt_long Kt_Dataset::GetPivotRowAvg(kt_long col, kt_long position, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotDown(Kt_Aggregate::kAvg, col, position, start, end,
                   filtered != 0 ? ActiveView() : kAllRows, result);
}

kt_long Kt_Dataset::GetPivotRowMax(kt_long col, kt_long position, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotDown(Kt_Aggregate::kMax, col, position, start, end,
                   filtered != 0 ? ActiveView() : kAllRows, result);
}

kt_long Kt_Dataset::GetPivotRowMin(kt_long col, kt_long position, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotDown(Kt_Aggregate::kMin, col, position, start, end,
                   filtered != 0 ? ActiveView() : kAllRows, result);
}

kt_long Kt_Dataset::GetPivotColSum(kt_long col, kt_long pivot_row, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotAcross(Kt_Aggregate::kSum, col, pivot_row, start, end,
                     filtered != 0 ? ActiveView() : kAllRows, false, result);
}

kt_long Kt_Dataset::GetPivotColAvg(kt_long col, kt_long pivot_row, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotAcross(Kt_Aggregate::kAvg, col, pivot_row, start, end,
                     filtered != 0 ? ActiveView() : kAllRows, false, result);
}

kt_long Kt_Dataset::GetPivotColAvgNN(kt_long col, kt_long pivot_row, kt_long, kt_long start,
                                     kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotAcross(Kt_Aggregate::kAvg, col, pivot_row, start, end,
                     filtered != 0 ? ActiveView() : kAllRows, true, result);
}

kt_long Kt_Dataset::GetPivotColMax(kt_long col, kt_long pivot_row, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotAcross(Kt_Aggregate::kMax, col, pivot_row, start, end,
                     filtered != 0 ? ActiveView() : kAllRows, false, result);
}

kt_long Kt_Dataset::GetPivotColMin(kt_long col, kt_long pivot_row, kt_long, kt_long start,
                                   kt_long end, kt_long filtered, Kt_Variant& result) const {
  return PivotAcross(Kt_Aggregate::kMin, col, pivot_row, start, end,
                     filtered != 0 ? ActiveView() : kAllRows, false, result);
}

kt_long Kt_Dataset::GetPivotRowCount(kt_long col, kt_long position, kt_long, kt_long start,
                                     kt_long end, kt_long filtered) const {
  Kt_Variant count;
  const View view = filtered != 0 ? ActiveView() : kAllRows;
  PivotDown(Kt_Aggregate::kCount, col, position, start, end, view, count);
  return count.ToInteger();
}

kt_long Kt_Dataset::GetPivotColCount(kt_long col, kt_long pivot_row, kt_long, kt_long start,
                                     kt_long end, kt_long filtered) const {
  Kt_Variant count;
  const View view = filtered != 0 ? ActiveView() : kAllRows;
  PivotAcross(Kt_Aggregate::kCount, col, pivot_row, start, end, view, false, count);
  return count.ToInteger();
}

kt_long Kt_Dataset::GetPivotColCountNN(kt_long col, kt_long pivot_row, kt_long, kt_long start,
                                       kt_long end, kt_long filtered) const {
  Kt_Variant count;
  const View view = filtered != 0 ? ActiveView() : kAllRows;
  PivotAcross(Kt_Aggregate::kCount, col, pivot_row, start, end, view, true, count);
  return count.ToInteger();
}
