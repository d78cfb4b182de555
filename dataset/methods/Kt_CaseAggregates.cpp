// SPDX-License-Identifier: MIT
//
// Aggregates over the rows in which a condition holds.
#include "dataset/rows/Kt_RowLoop.h"
#include "dataset/rows/Kt_RowRange.h"
#include "dataset/rows/Kt_Tally.h"

namespace kt::detail::methods {

namespace {

// Subtotals never count; nor do, unless asked for, rows of a pivot without a cell in the position.
bool IsCounted(const RowLoop& loop, kt_long row, kt_long pivot_index, bool count_nulls) {
  const Kt_Dataset& dataset = loop.GetDataset();
  if (dataset.IsPivot()) {
    if (dataset.GetPivotRowLevel(row) >= 1) return false;
  } else if (dataset.GetRowLevel(row) >= 1) {
    return false;
  }
  return !loop.IsLogicalPivot() || count_nulls || dataset.GetPivotRowPos(row, pivot_index, 0) >= 0;
}

// One walk over a range; `value_text` is not used for a count.
class CaseLoop {
 public:
  CaseLoop(Kt_ExprDataset& wrapper, Kt_Aggregate what, const Kt_WString& condition,
           const Kt_WString& value_text, const RowRange& range, bool count_nulls)
      : loop_(wrapper, RowLoop::kKeep, range.pivot_index),
        condition_(condition),
        value_(value_text),
        has_value_(what != Kt_Aggregate::kCount),
        range_(range),
        count_nulls_(count_nulls),
        tally_(what) {}

  kt_long Run(Kt_Variant& result) {
    for (kt_long row = range_.start; row < End();) {
      const RowNumbers conditions = loop_.EnterFrom(row, End(), condition_);
      if (conditions.count > 0) {
        if (!AddRows(row, conditions)) break;
        continue;
      }
      if (!loop_.Enter(row)) break;
      if (IsCounted(loop_, row, range_.pivot_index, count_nulls_) && !AddRow(row)) break;
      ++row;
    }
    result = tally_.Result();
    return loop_.GetStopCode();
  }

 private:
  kt_long End() const { return std::min(range_.end, loop_.RowCount()); }

  // The rows of which the conditions are known, up to one whose value took other code; never
  // subtotals. Moves `row` behind them.
  bool AddRows(kt_long& row, const RowNumbers& conditions) {
    const std::int64_t epoch = loop_.GetEpoch();
    Kt_Variant value;
    for (kt_long at = 0; at < conditions.count && epoch == loop_.GetEpoch(); ++at, ++row) {
      if (conditions.longs == nullptr || conditions.longs[at] == 0) continue;
      loop_.GoTo(row);
      const bool goes_on = !has_value_ || loop_.Evaluate(value_, value);
      tally_.Add(value);
      if (!goes_on) return false;
    }
    return true;
  }
  bool AddRow(kt_long row) {
    Kt_Variant value;
    if (!loop_.Evaluate(condition_, value)) return false;
    if (!IsTrueCondition(value)) return true;
    if (row >= loop_.RowCount()) return true;  // the condition took it away
    const bool goes_on = !has_value_ || loop_.Evaluate(value_, value);
    tally_.Add(value);
    return goes_on;
  }

  RowLoop loop_;
  RowExpr condition_;
  RowExpr value_;
  bool has_value_;
  RowRange range_;
  bool count_nulls_;
  Tally tally_;
};

kt_long CaseTotal(const MethodCall& in, Kt_Aggregate what, Rows rows, Kt_Variant& result) {
  const kt_long expressions = what == Kt_Aggregate::kCount ? 1 : 2;
  const RowRange range = ReadRange(rows, in, expressions, expressions + 1, expressions + 2);
  if (range.IsEmpty()) return kOk;
  const Kt_WString value_text = expressions > 1 ? in.Text(1) : Kt_WString();
  const FiltersOff filters(in.Wrapper(), rows == Rows::kAll);
  const bool count_nulls = in.Integer(expressions + 3) != 0;
  return CaseLoop(in.Wrapper(), what, in.Text(0), value_text, range, count_nulls).Run(result);
}

}  // namespace

kt_long CaseCount(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kCount, Rows::kShown, result);
}
kt_long CaseCountNF(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kCount, Rows::kAll, result);
}
kt_long CaseSum(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kSum, Rows::kShown, result);
}
kt_long CaseSumNF(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kSum, Rows::kAll, result);
}
kt_long CaseAvg(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kAvg, Rows::kShown, result);
}
kt_long CaseAvgNF(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kAvg, Rows::kAll, result);
}
kt_long CaseMax(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kMax, Rows::kShown, result);
}
kt_long CaseMaxNF(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kMax, Rows::kAll, result);
}
kt_long CaseMin(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kMin, Rows::kShown, result);
}
kt_long CaseMinNF(const MethodCall& call, Kt_Variant& result) {
  return CaseTotal(call, Kt_Aggregate::kMin, Rows::kAll, result);
}

}  // namespace kt::detail::methods
