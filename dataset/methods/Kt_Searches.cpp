// SPDX-License-Identifier: MIT
//
// Rows by a condition or by the value of a column.
#include "dataset/rows/Kt_RowLoop.h"
#include "dataset/rows/Kt_RowRange.h"

namespace kt::detail::methods {

namespace {

bool HasTrue(const kt_long* conditions, kt_long count) {
  kt_long any = 0;
  for (kt_long at = 0; at < count; ++at) any |= conditions[at];
  return any != 0;
}

// The first true one of some conditions; their count when there is none.
kt_long FirstTrueOf(const RowNumbers& conditions) {
  if (conditions.are_zeros) return conditions.count;
  constexpr kt_long kAtOnce = 256;
  kt_long at = 0;
  if (conditions.longs == nullptr) return conditions.count;  // doubles are no conditions
  while (at + kAtOnce <= conditions.count && !HasTrue(conditions.longs + at, kAtOnce)) {
    at += kAtOnce;
  }
  while (at < conditions.count && conditions.longs[at] == 0) ++at;
  return at;
}

// Ends the walk at the first row in which the condition is true.
class FirstTrue {
 public:
  struct Part {
    kt_long found;
    kt_long rows;  // that are paid for
    kt_long left;  // of these, behind the one that is found
  };

  FirstTrue(RowCursor& cursor, const RowExpr& condition) : cursor_(cursor), condition_(condition) {}

  static const RowExpr* GetSecond() { return nullptr; }
  // Most rows fail the first test of several, and the others cost nothing.
  static int GetOwnCost() { return 4; }
  bool MakePart(PartRows& rows, Part& part) const {
    const RowBlock* const conditions = rows.Of(0);
    if (conditions == nullptr || !conditions->IsWhole()) return false;
    part = {-1, 0, 0};
    while (part.rows < kRowsPerBlock && part.found < 0) {
      const kt_long row = rows.First() + part.rows;
      const RowNumbers some = conditions->NumbersFrom(row);
      const kt_long at = FirstTrueOf(some);
      if (at < some.count) {
        part.found = row + at;
        part.left = some.count - at - 1;
      }
      part.rows += std::max(some.count, 1);  // no numbers: an empty one
    }
    return true;
  }
  bool TakePart(const Part& part) {
    found_ = part.found;
    condition_.LeaveRows(cursor_, part.left);
    return found_ < 0;
  }

  kt_long TakeMany(kt_long first, const RowNumbers& conditions) {
    const kt_long at = FirstTrueOf(conditions);
    if (at == conditions.count) return at;
    found_ = first + at;
    condition_.LeaveRows(cursor_, conditions.count - at - 1);
    return -1;
  }
  bool TakeOne(kt_long row, const Kt_Variant& value, bool goes_on) {
    if (!goes_on || !IsTrueCondition(value)) return goes_on;
    if (row < cursor_.RowCount()) found_ = row;
    return false;
  }
  kt_long GetFound() const { return found_; }

 private:
  RowCursor& cursor_;
  const RowExpr& condition_;
  kt_long found_ = -1;
};

kt_long Search(const MethodCall& in, Rows rows, Kt_Variant& result) {
  const FiltersOff filters(in.Wrapper(), rows == Rows::kAll);
  const kt_long all = in.Data().GetRowCount();
  const kt_long end = rows == Rows::kAll ? all : std::min(in.Integer(2, all), all);
  const kt_long start = std::max(in.Integer(1, 0), 0);
  if (start >= end) return kOk;
  RowCursor cursor(in.Wrapper(), RowCursor::kFollow);
  RowExpr condition(in.Text(0));
  FirstTrue first(cursor, condition);
  ForEachValue<RowOrder::kUp>(cursor, condition, start, end, first);
  result = first.GetFound();
  return cursor.GetStopCode();
}

using LookUpRow = kt_long (Kt_Dataset::*)(std::u16string_view id, std::u16string_view text,
                                          kt_long start, kt_long end) const;

kt_long Find(const MethodCall& in, LookUpRow look_up, Kt_Variant& result) {
  const kt_long start = std::max(in.Integer(2, 0), 0);
  return Yield((in.Data().*look_up)(in.Text(0).View(), in.Text(1).View(), start, in.Integer(3, -1)),
               result);
}

}  // namespace

kt_long SearchRow(const MethodCall& call, Kt_Variant& result) {
  return Search(call, Rows::kShown, result);
}

kt_long SearchRowNF(const MethodCall& call, Kt_Variant& result) {
  return Search(call, Rows::kAll, result);
}

kt_long FindRow(const MethodCall& call, Kt_Variant& result) {
  return Find(call, &Kt_Dataset::LookupDataRow, result);
}

kt_long FindRowNF(const MethodCall& call, Kt_Variant& result) {
  return Find(call, &Kt_Dataset::LookupDataRowNF, result);
}

kt_long FindRowAs(const MethodCall& call, Kt_Variant& result) {
  return Find(call, &Kt_Dataset::LookupDataRowAs, result);
}

kt_long FindRowNFAs(const MethodCall& call, Kt_Variant& result) {
  return Find(call, &Kt_Dataset::LookupDataRowNFAs, result);
}

kt_long Lookup(const MethodCall& call, Kt_Variant& result) {
  const Kt_WString column = call.Text(0);
  const Kt_WString text = call.Text(1);
  const Kt_WString wanted = call.Text(2);
  return Yield(call.Data().LookupDataText(column.View(), text.View(), wanted.View()), result);
}

}  // namespace kt::detail::methods
