// SPDX-License-Identifier: MIT
//
// Aggregates across the positions of one row of a pivot.
#include "dataset/methods/Kt_MethodArgs.h"
#include "dataset/rows/Kt_RowLoop.h"
#include "dataset/rows/Kt_RowRange.h"
#include "dataset/rows/Kt_Tally.h"

namespace kt::detail::methods {

namespace {

// Positions [start, end), of which the plain ones count; both -1: all.
struct Positions {
  kt_long start = -1;
  kt_long end = -1;
};

Positions ReadPositions(const MethodCall& in) {
  const kt_long start = in.Integer(2, -1);
  const kt_long count = in.Integer(3, -1);
  if (start < 0) return {};
  const kt_long all = in.Data().GetPivotColCount();
  if (start >= all) return {start, start};
  return {start, count < 0 ? all : start + std::min(count, all - start)};
}

Kt_Variant TotalOfColumn(const Kt_Dataset& dataset, Kt_Aggregate what, kt_long col, kt_long row,
                         Positions at) {
  Kt_Variant total;
  dataset.GetPivotColAggregate(what, col, row, at.start, at.end, true, true, total);
  return what == Kt_Aggregate::kCount ? Kt_Variant(std::max(total.ToInteger(), 0))
                                      : Kt_Variant(total.ToDouble());
}

// Averages and counts leave out positions without a value.
bool IsLeftOut(Kt_Aggregate what, const Kt_Variant& value) {
  return value.IsEmpty() && (what == Kt_Aggregate::kAvg || what == Kt_Aggregate::kCount);
}

kt_long TotalOfExpression(const MethodCall& in, Kt_Aggregate what, Kt_Variant& result) {
  const kt_long all = in.Data().GetPivotColCount();
  const kt_long start = std::max(in.Integer(2, 0), 0);
  kt_long count = in.Integer(3, -1);
  if (count < 0 || count > all - start) count = all - start;
  if (count < 1) return kOk;
  RowCursor cursor(in.Wrapper(), RowCursor::kKeep);
  RowExpr expr(in.Text(0));
  Tally tally(what);
  Kt_Variant value;
  for (kt_long position = start; position < start + count; ++position) {
    if (cursor.GetDataset().GetPivotColLevel(position) > 0) continue;
    if (!cursor.EnterPosition(position)) break;
    const bool goes_on = expr.Evaluate(cursor, value);
    if (!IsLeftOut(what, value)) tally.Add(value);
    if (!goes_on) break;
  }
  result = tally.Result();
  return cursor.GetStopCode();
}

kt_long PivotTotal(const MethodCall& in, Kt_Aggregate what, Kt_Variant& result) {
  const kt_long col = in.Column(0);
  if (col >= 0) {
    result = TotalOfColumn(in.Data(), what, col, in.Integer(1), ReadPositions(in));
    return kOk;
  }
  return IsLogicalPivot(in.Data()) ? TotalOfExpression(in, what, result) : kOk;
}

}  // namespace

kt_long PivotSum(const MethodCall& call, Kt_Variant& result) {
  return PivotTotal(call, Kt_Aggregate::kSum, result);
}
kt_long PivotAvg(const MethodCall& call, Kt_Variant& result) {
  return PivotTotal(call, Kt_Aggregate::kAvg, result);
}
kt_long PivotMax(const MethodCall& call, Kt_Variant& result) {
  return PivotTotal(call, Kt_Aggregate::kMax, result);
}
kt_long PivotMin(const MethodCall& call, Kt_Variant& result) {
  return PivotTotal(call, Kt_Aggregate::kMin, result);
}
kt_long PivotCount(const MethodCall& call, Kt_Variant& result) {
  return PivotTotal(call, Kt_Aggregate::kCount, result);
}

}  // namespace kt::detail::methods
