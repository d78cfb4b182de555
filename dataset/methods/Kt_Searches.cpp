// SPDX-License-Identifier: MIT
//
// Rows by a condition or by the value of a column.
#include "dataset/rows/Kt_RowLoop.h"
#include "dataset/rows/Kt_RowRange.h"

namespace {

using namespace kt::detail;  // NOLINT(google-build-using-namespace): loops and ranges

// The first true one of some conditions; their count when there is none.
kt_long FirstTrueOf(const RowNumbers& conditions) {
  kt_long at = 0;
  if (conditions.longs == nullptr) return conditions.count;  // doubles are no conditions
  while (at < conditions.count && conditions.longs[at] == 0) ++at;
  return at;
}

kt_long FirstTrue(RowLoop& loop, RowExpr& condition, kt_long start, kt_long end) {
  Kt_Variant value;
  for (kt_long row = start; row < std::min(end, loop.RowCount());) {
    const RowNumbers conditions = loop.EnterFrom(row, std::min(end, loop.RowCount()), condition);
    if (conditions.count > 0) {
      const kt_long at = FirstTrueOf(conditions);
      if (at < conditions.count) return row + at;
      row += conditions.count;
      continue;
    }
    if (!loop.Enter(row) || !loop.Evaluate(condition, value)) return -1;
    if (IsTrueCondition(value)) return row < loop.RowCount() ? row : -1;
    ++row;
  }
  return -1;
}

kt_long Search(Kt_ExprDataset& wrapper, Rows rows, const Kt_VariantList* args, Kt_Variant& result) {
  result = kt_long{-1};
  const MethodCall in(wrapper, args, 0);
  if (!in.HasData() || !in.Has(0)) return kOk;
  const FiltersOff filters(wrapper, rows == Rows::kAll);
  const kt_long all = in.Data().GetRowCount();
  const kt_long end = rows == Rows::kAll ? all : std::min(in.Integer(2, all), all);
  const kt_long start = std::max(in.Integer(1, 0), 0);
  if (start >= end) return kOk;
  RowLoop loop(wrapper, RowLoop::kFollow);
  RowExpr condition(in.Text(0));
  result = FirstTrue(loop, condition, start, end);
  return loop.GetStopCode();
}

using LookUpRow = kt_long (Kt_Dataset::*)(std::u16string_view id, std::u16string_view text,
                                          kt_long start, kt_long end) const;

kt_long Find(Kt_ExprDataset& wrapper, LookUpRow look_up, const Kt_VariantList* args,
             Kt_Variant& result) {
  result = kt_long{-1};
  const MethodCall in(wrapper, args, 0);
  if (!in.HasData() || in.Count() < 2) return kOk;
  const kt_long start = std::max(in.Integer(2, 0), 0);
  result = (in.Data().*look_up)(in.Text(0).View(), in.Text(1).View(), start, in.Integer(3, -1));
  return kOk;
}

}  // namespace

kt_long Kt_ExprDataset::CallSearchRow(const Kt_VariantList* args, Kt_Variant& result) {
  return Search(*this, Rows::kShown, args, result);
}
kt_long Kt_ExprDataset::CallSearchRowNF(const Kt_VariantList* args, Kt_Variant& result) {
  return Search(*this, Rows::kAll, args, result);
}
kt_long Kt_ExprDataset::CallFindRow(const Kt_VariantList* args, Kt_Variant& result) {
  return Find(*this, &Kt_Dataset::LookupDataRow, args, result);
}
kt_long Kt_ExprDataset::CallFindRowNF(const Kt_VariantList* args, Kt_Variant& result) {
  return Find(*this, &Kt_Dataset::LookupDataRowNF, args, result);
}
kt_long Kt_ExprDataset::CallFindRowAs(const Kt_VariantList* args, Kt_Variant& result) {
  return Find(*this, &Kt_Dataset::LookupDataRowAs, args, result);
}
kt_long Kt_ExprDataset::CallFindRowNFAs(const Kt_VariantList* args, Kt_Variant& result) {
  return Find(*this, &Kt_Dataset::LookupDataRowNFAs, args, result);
}

kt_long Kt_ExprDataset::CallLookup(const Kt_VariantList* args, Kt_Variant& result) {
  const MethodCall in(*this, args, 0);
  if (!in.HasData() || in.Count() < 2) return kOk;
  result = in.Data().LookupDataText(in.Text(0).View(), in.Text(1).View(), in.Text(2).View());
  return kOk;
}
