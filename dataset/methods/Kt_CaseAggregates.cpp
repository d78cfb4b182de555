// SPDX-License-Identifier: MIT
//
// Aggregates over the rows in which a condition holds.
#include "dataset/rows/Kt_RowLoop.h"
#include "dataset/rows/Kt_RowRange.h"
#include "dataset/rows/Kt_Tally.h"

namespace kt::detail::methods {

namespace {

// Subtotals never count; nor do, unless asked for, rows of a pivot without a cell in the position.
bool IsCounted(const RowCursor& cursor, kt_long row, kt_long pivot_index, bool count_nulls) {
  const Kt_Dataset& dataset = cursor.GetDataset();
  if (dataset.IsPivot()) {
    if (dataset.GetPivotRowLevel(row) >= 1) return false;
  } else if (dataset.GetRowLevel(row) >= 1) {
    return false;
  }
  return !cursor.IsLogicalPivot() || count_nulls ||
         dataset.GetPivotRowPos(row, pivot_index, 0) >= 0;
}

// How many conditions from `at` on do not hold: sixteen at a time, as mostly few do.
kt_long ZerosFrom(const RowNumbers& conditions, kt_long at) {
  constexpr kt_long kAtOnce = 16;
  kt_long end = at;
  for (; end + kAtOnce <= conditions.count; end += kAtOnce) {
    kt_long any = 0;
    for (kt_long next = end; next < end + kAtOnce; ++next) any |= conditions.longs[next];
    if (any != 0) break;
  }
  while (end < conditions.count && conditions.longs[end] == 0) ++end;
  return end - at;
}

// One walk over a range; `value_text` is not used for a count.
class CaseTaker {
 public:
  CaseTaker(RowCursor& cursor, Kt_Aggregate what, const Kt_WString& value_text, kt_long pivot_index,
            bool count_nulls)
      : cursor_(cursor),
        value_(value_text),
        has_value_(what != Kt_Aggregate::kCount),
        pivot_index_(pivot_index),
        count_nulls_(count_nulls),
        tally_(what) {}

  using Part = TallyPart;
  const RowExpr* GetSecond() const { return has_value_ ? &value_ : nullptr; }
  static int GetOwnCost() { return 0; }
  std::int64_t GetSecondSteps(const Part& part) const {
    return has_value_ ? part.Count() * value_.GetMapSteps() : 0;
  }
  bool MakePart(PartRows& rows, Part& part) const;
  void TakePart(const Part& part) { tally_.Add(part); }

  bool Wants(kt_long row) const { return IsCounted(cursor_, row, pivot_index_, count_nulls_); }
  // The rows up to one whose value took other code.
  kt_long TakeMany(kt_long first, const RowNumbers& conditions) {
    if (conditions.longs == nullptr) return conditions.count;  // doubles are no conditions
    const std::int64_t ran_before = cursor_.GetOthersRun();
    kt_long at = 0;
    while (at < conditions.count && ran_before == cursor_.GetOthersRun()) {
      if (conditions.longs[at] == 0) {
        at += ZerosFrom(conditions, at);
      } else if (const RowNumbers values = ValuesFrom(first, at, conditions); values.count > 0) {
        if (!PayFor(values, conditions.longs + at)) return -1;
        tally_.AddWhere(values, conditions.longs + at);
        at += values.count;
      } else {
        cursor_.GoTo(first + at++);
        if (!AddRow()) return -1;
      }
    }
    return at;
  }
  bool TakeOne(kt_long row, const Kt_Variant& condition, bool goes_on) {
    if (!goes_on || !IsTrueCondition(condition)) return goes_on;
    return row >= cursor_.RowCount() || AddRow();  // the condition may have taken it away
  }
  Kt_Variant Result() const { return tally_.Result(); }

 private:
  // The values of the rows from first + at on that were computed ahead; any will do for a count.
  RowNumbers ValuesFrom(kt_long first, kt_long at, const RowNumbers& conditions) {
    if (!has_value_) return {conditions.longs + at, nullptr, conditions.count - at};
    const kt_long row = first + at;
    const kt_long end = first + conditions.count;
    return tally_.HasAddends() ? value_.PaidAddendsFrom(cursor_, row, end)
                               : value_.PaidNumbersFrom(cursor_, row, end);
  }
  // Columns that are computed cost in the rows that want the value.
  bool PayFor(const RowNumbers& values, const kt_long* conditions) {
    const std::int64_t steps = has_value_ ? value_.GetMapSteps() : 0;
    if (KT_LIKELY(steps == 0)) return true;
    const auto wanted = values.count - std::count(conditions, conditions + values.count, 0);
    return cursor_.PayFor(wanted * steps);
  }
  bool AddWhere(PartRows& rows, kt_long row, const RowNumbers& conditions, Part& part) const;
  bool AddRow() {
    Kt_Variant value;
    const bool goes_on = !has_value_ || value_.Evaluate(cursor_, value);
    tally_.Add(value);
    return goes_on;
  }

  RowCursor& cursor_;
  RowExpr value_;
  bool has_value_;
  kt_long pivot_index_;
  bool count_nulls_;
  Tally tally_;
};

bool CaseTaker::MakePart(PartRows& rows, Part& part) const {
  const RowBlock* const conditions = rows.Of(0);
  if (conditions == nullptr || !conditions->IsWhole()) return false;
  part.Open(tally_);
  for (kt_long row = rows.First(); row < rows.End();) {
    const RowNumbers some = conditions->NumbersFrom(row);
    // Doubles and empty values are no conditions.
    if (some.longs != nullptr && !some.are_zeros && !AddWhere(rows, row, some, part)) return false;
    row += std::max(some.count, 1);
  }
  return true;
}

// The values of the rows from `row` on in which the conditions hold.
bool CaseTaker::AddWhere(PartRows& rows, kt_long row, const RowNumbers& conditions,
                         Part& part) const {
  for (kt_long at = 0; at < conditions.count;) {
    if (conditions.longs[at] == 0) {
      at += ZerosFrom(conditions, at);
      continue;
    }
    const kt_long* const from_here = conditions.longs + at;
    RowNumbers values{from_here, nullptr, conditions.count - at};
    if (has_value_) {
      const RowBlock* const block = rows.Of(1);
      Kt_Variant value;
      if (block == nullptr || !block->Read(row + at, value)) return false;
      values = tally_.HasAddends() ? block->AddendsFrom(row + at) : block->NumbersFrom(row + at);
      values.count = std::min(values.count, conditions.count - at);
    }
    if (values.count > 0) {
      part.AddWhere(values, from_here);
    } else if (!part.AddEmpty()) {
      return false;
    }
    at += std::max(values.count, 1);
  }
  return true;
}

kt_long CaseTotal(const MethodCall& in, Kt_Aggregate what, Rows rows, Kt_Variant& result) {
  const kt_long expressions = what == Kt_Aggregate::kCount ? 1 : 2;
  const RowRange range = ReadRange(rows, in, expressions, expressions + 1, expressions + 2);
  if (range.IsEmpty()) return kOk;
  const Kt_WString value_text = expressions > 1 ? in.Text(1) : Kt_WString();
  const FiltersOff filters(in.Wrapper(), rows == Rows::kAll);
  const bool count_nulls = in.Integer(expressions + 3) != 0;
  RowCursor cursor(in.Wrapper(), RowCursor::kKeep, range.pivot_index);
  RowExpr condition(in.Text(0));
  CaseTaker taker(cursor, what, value_text, range.pivot_index, count_nulls);
  ForEachValue<RowOrder::kUp>(cursor, condition, range.start, range.end, taker);
  result = taker.Result();
  return cursor.GetStopCode();
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
