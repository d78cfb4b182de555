// SPDX-License-Identifier: MIT
//
// Count, Sum, Avg, Max and Min of a column or of a row expression.
#include "dataset/rows/Kt_RowLoop.h"
#include "dataset/rows/Kt_RowRange.h"
#include "dataset/rows/Kt_Tally.h"

namespace kt::detail {

RowRange ReadRange(Rows rows, const MethodCall& in, kt_long start_arg, kt_long count_arg,
                   kt_long pivot_arg) {
  const kt_long all = rows == Rows::kAll ? in.Data().GetRowCountNF() : in.Data().GetRowCount();
  RowRange range;
  range.pivot_index = in.Integer(pivot_arg, -1);
  range.start = std::max(in.Integer(start_arg, 0), 0);
  if (range.start < all) {
    const kt_long count = std::clamp(in.Integer(count_arg, all), 0, all - range.start);
    range.end = range.start + count;
  }
  return range;
}

namespace methods {

namespace {

// The first argument names a column of the values of a cross table: the pivot index then comes
// before start and count.
bool IsPivotValue(const Kt_Dataset& dataset, kt_long col) {
  return IsLogicalPivot(dataset) && col >= 0 && dataset.GetPivotColType(col) == 0;
}

Kt_Variant TotalOfColumn(const Kt_Dataset& dataset, Kt_Aggregate what, Rows rows, kt_long col,
                         const RowRange& range) {
  Kt_Variant result;
  if (IsPivotValue(dataset, col)) {
    dataset.GetPivotRowAggregate(what, col, range.pivot_index, range.start, range.end,
                                 rows == Rows::kShown, result);
    return what == Kt_Aggregate::kSum ? Kt_Variant(result.ToDouble()) : result;
  }
  if (rows == Rows::kAll) {
    dataset.GetAggregateNF(what, col, range.start, range.end, result);
  } else {
    dataset.GetAggregate(what, col, range.start, range.end, result);
  }
  return result;
}

struct AddAll {
  using Part = TallyPart;
  static const RowExpr* GetSecond() { return nullptr; }
  int GetOwnCost() const { return tally.HasAddends() ? 1 : 0; }
  bool MakePart(PartRows& rows, Part& part) const {
    const RowBlock* const values = rows.Of(0);
    if (values == nullptr || !values->IsWhole()) return false;
    part.Open(tally);
    for (kt_long row = rows.First(); row < rows.End();) {
      const RowNumbers numbers = values->NumbersFrom(row);
      if (numbers.count > 0) {
        part.Add(numbers);
      } else if (!part.AddEmpty()) {
        return false;
      }
      row += std::max(numbers.count, 1);
    }
    return true;
  }
  void TakePart(const Part& part) { tally.Add(part); }

  kt_long TakeMany(kt_long, const RowNumbers& numbers) {
    tally.Add(numbers);
    return numbers.count;
  }
  bool TakeOne(kt_long, const Kt_Variant& value, bool) {
    tally.Add(value);
    return true;
  }
  Tally tally;
};

kt_long TotalOfExpression(Kt_ExprDataset& wrapper, Kt_Aggregate what, Rows rows,
                          const Kt_WString& text, const RowRange& range, Kt_Variant& result) {
  const FiltersOff filters(wrapper, rows == Rows::kAll);
  RowCursor cursor(wrapper, RowCursor::kKeep, range.pivot_index);
  RowExpr expr(text);
  AddAll adder{Tally(what)};
  ForEachValue<RowOrder::kUp>(cursor, expr, range.start, range.end, adder);
  result = adder.tally.Result();
  return cursor.GetStopCode();
}

kt_long Total(const MethodCall& in, Kt_Aggregate what, Rows rows, Kt_Variant& result) {
  const Kt_WString text = in.Text(0);
  const kt_long col = in.Data().GetColIndex(text.View());
  const bool is_swapped = IsPivotValue(in.Data(), col);
  const RowRange range = is_swapped ? ReadRange(rows, in, 2, 3, 1) : ReadRange(rows, in, 1, 2, 3);
  if (range.IsEmpty()) return kOk;
  if (col < 0) return TotalOfExpression(in.Wrapper(), what, rows, text, range, result);
  result = TotalOfColumn(in.Data(), what, rows, col, range);
  return kOk;
}

kt_long CountRows(const MethodCall& in, Rows rows, Kt_Variant& result) {
  const Kt_Dataset& dataset = in.Data();
  const kt_long col = in.Has(0) ? dataset.GetColIndex(in.Text(0).View()) : -1;
  if (IsPivotValue(dataset, col)) {
    const RowRange range = ReadRange(rows, in, 2, 3, 1);
    if (range.IsEmpty()) return kOk;
    result = dataset.GetPivotRowCount(col, range.pivot_index, 0, range.start, range.end,
                                      rows == Rows::kShown ? 1 : 0);
    return kOk;
  }
  const RowRange range = ReadRange(rows, in, 0, 1, 2);
  if (range.IsEmpty()) return kOk;
  result = rows == Rows::kAll ? dataset.GetCountNF(range.start, range.end)
                              : dataset.GetCount(range.start, range.end);
  return kOk;
}

}  // namespace

kt_long Count(const MethodCall& call, Kt_Variant& result) {
  return CountRows(call, Rows::kShown, result);
}
kt_long CountNF(const MethodCall& call, Kt_Variant& result) {
  return CountRows(call, Rows::kAll, result);
}
kt_long Sum(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kSum, Rows::kShown, result);
}
kt_long SumNF(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kSum, Rows::kAll, result);
}
kt_long Avg(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kAvg, Rows::kShown, result);
}
kt_long AvgNF(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kAvg, Rows::kAll, result);
}
kt_long Max(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kMax, Rows::kShown, result);
}
kt_long MaxNF(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kMax, Rows::kAll, result);
}
kt_long Min(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kMin, Rows::kShown, result);
}
kt_long MinNF(const MethodCall& call, Kt_Variant& result) {
  return Total(call, Kt_Aggregate::kMin, Rows::kAll, result);
}

}  // namespace methods

}  // namespace kt::detail
