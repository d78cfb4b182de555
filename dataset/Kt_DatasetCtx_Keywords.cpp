// SPDX-License-Identifier: MIT
//
// What row expressions may ask about the row that they run in. Handlers are reached by name and by
// handle, so each does without a dataset.
#include <iterator>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_DatasetCtx.h"

namespace {

using Self = Kt_DatasetCtx;

// clang-format off
constexpr _EXPR_SIMPLEPROP_INFO kKeywords[] = {
    {u"count",           kHandler<&Self::KeyCount>,         nullptr, 0, u""},
    {u"countNF",         kHandler<&Self::KeyCountNF>,       nullptr, 0, u""},
    {u"curdataid",       kHandler<&Self::KeyCurDataId>,     nullptr, 0, u""},
    {u"curpivotindex",   kHandler<&Self::KeyCurPivotIndex>, nullptr, 0, u""},
    {u"currow",          kHandler<&Self::KeyCurRow>,        nullptr, 0, u""},
    {u"currowtype",      kHandler<&Self::KeyRowType>,       nullptr, 0, u""},
    {u"firstrow",        kHandler<&Self::KeyFirstRow>,      nullptr, 0, u""},
    {u"lastrow",         kHandler<&Self::KeyLastRow>,       nullptr, 0, u""},
    {u"nextrow",         kHandler<&Self::KeyNextRow>,       nullptr, 0, u""},
    {u"pivotidx",        kHandler<&Self::KeyPivotIndex>,    nullptr, 0, u""},
    {u"pivotindex",      kHandler<&Self::KeyPivotIndex>,    nullptr, 0, u""},
    {u"pivotindexcount", kHandler<&Self::KeyPivotCount>,    nullptr, 0, u""},
    {u"pivotlevel",      kHandler<&Self::KeyPivotLevel>,    nullptr, 0, u""},
    {u"pivotpos",        kHandler<&Self::KeyPivotPos>,      nullptr, 0, u""},
    {u"pivotposition",   kHandler<&Self::KeyPivotPos>,      nullptr, 0, u""},
    {u"prevrow",         kHandler<&Self::KeyPrevRow>,       nullptr, 0, u""},
    {u"rangecount",      kHandler<&Self::KeyRangeCount>,    nullptr, 0, u""},
    {u"rangestart",      kHandler<&Self::KeyRangeStart>,    nullptr, 0, u""},
    {u"row",             kHandler<&Self::KeyRowIdx>,        nullptr, 0, u""},
    {u"rowcount",        kHandler<&Self::KeyCount>,         nullptr, 0, u""},
    {u"rowcountNF",      kHandler<&Self::KeyCountNF>,       nullptr, 0, u""},
    {u"rowidx",          kHandler<&Self::KeyRowIdx>,        nullptr, 0, u""},
    {u"rowindex",        kHandler<&Self::KeyRowIdx>,        nullptr, 0, u""},
    {u"rowlevel",        kHandler<&Self::KeyRowLevel>,      nullptr, 0, u""},
    {u"rowpos",          kHandler<&Self::KeyRowPos>,        nullptr, 0, u""},
    {u"rowposition",     kHandler<&Self::KeyRowPos>,        nullptr, 0, u""},
    {u"rowtype",         kHandler<&Self::KeyRowType>,       nullptr, 0, u""},
};
// clang-format on
static_assert(IsSortedByName(kKeywords));

kt_long Give(kt_long value, Kt_Variant& result) {
  result = value;
  return kOk;
}

}  // namespace

int Kt_DatasetCtx::GetKeywordCount() { return static_cast<int>(std::size(kKeywords)); }
const _EXPR_SIMPLEPROP_INFO* Kt_DatasetCtx::GetKeywordMap() { return kKeywords; }

kt_long Kt_DatasetCtx::KeyCount(const Kt_VariantList*, Kt_Variant& result) {
  return Give(default_dataset_.GetRowCount(), result);
}

kt_long Kt_DatasetCtx::KeyCountNF(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = default_dataset_.GetDataset();
  return Give(dataset ? dataset->GetRowCountNF() : 0, result);
}

kt_long Kt_DatasetCtx::KeyCurDataId(const Kt_VariantList*, Kt_Variant& result) {
  result = default_dataset_.GetID();
  return kOk;
}

kt_long Kt_DatasetCtx::KeyCurRow(const Kt_VariantList*, Kt_Variant& result) {
  return Give(GetCurRow(), result);
}

kt_long Kt_DatasetCtx::KeyRowIdx(const Kt_VariantList*, Kt_Variant& result) {
  return Give(GetRowIdx(), result);
}

kt_long Kt_DatasetCtx::KeyRowPos(const Kt_VariantList*, Kt_Variant& result) {
  return Give(HasData() ? default_dataset_.GetRowPosition() : -1, result);
}

kt_long Kt_DatasetCtx::KeyPrevRow(const Kt_VariantList*, Kt_Variant& result) {
  const int row = GetCurRow();
  return Give(row > 0 && row < default_dataset_.GetRowCount() ? row - 1 : 0, result);
}

kt_long Kt_DatasetCtx::KeyNextRow(const Kt_VariantList*, Kt_Variant& result) {
  const int last_row = default_dataset_.GetRowCount() - 1;
  const int row = GetCurRow();
  return Give(row < last_row ? row + 1 : last_row, result);
}

kt_long Kt_DatasetCtx::KeyFirstRow(const Kt_VariantList*, Kt_Variant& result) {
  return Give(HasData() ? 0 : -1, result);
}

kt_long Kt_DatasetCtx::KeyLastRow(const Kt_VariantList*, Kt_Variant& result) {
  return Give(default_dataset_.GetRowCount() - 1, result);
}

kt_long Kt_DatasetCtx::KeyRowType(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = default_dataset_.GetDataset();
  if (dataset == nullptr) {
    result.Clear();
    return kOk;
  }
  const int row = GetRowIdx();
  result = kt_rowtypetextW(IsOriginalRow() != 0 ? dataset->GetOrgBuffType(row)
                                                : dataset->GetRowType(row));
  return kOk;
}

kt_long Kt_DatasetCtx::KeyRowLevel(const Kt_VariantList*, Kt_Variant& result) {
  return Give(IsOriginalRow() != 0 ? 0 : default_dataset_.GetRowLevel(GetRowIdx()), result);
}

kt_long Kt_DatasetCtx::KeyRangeStart(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = default_dataset_.GetDataset();
  const int row = GetRowIdx();
  if (dataset == nullptr || IsOriginalRow() != 0) return Give(row, result);
  return Give(dataset->GetRangeStart(row), result);
}

kt_long Kt_DatasetCtx::KeyRangeCount(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = default_dataset_.GetDataset();
  if (dataset == nullptr) return Give(0, result);
  return Give(IsOriginalRow() != 0 ? 1 : dataset->GetRangeCount(GetRowIdx()), result);
}

kt_long Kt_DatasetCtx::KeyCurPivotIndex(const Kt_VariantList*, Kt_Variant& result) {
  return Give(GetCurPivotCol(), result);
}

kt_long Kt_DatasetCtx::KeyPivotIndex(const Kt_VariantList*, Kt_Variant& result) {
  return Give(GetPivotColIdx(), result);
}

kt_long Kt_DatasetCtx::KeyPivotCount(const Kt_VariantList*, Kt_Variant& result) {
  return Give(default_dataset_.GetPivotColCount(), result);
}

kt_long Kt_DatasetCtx::KeyPivotLevel(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = default_dataset_.GetDataset();
  return Give(dataset ? dataset->GetPivotColLevel(GetPivotColIdx()) : 0, result);
}

kt_long Kt_DatasetCtx::KeyPivotPos(const Kt_VariantList*, Kt_Variant& result) {
  return Give(HasData() ? default_dataset_.GetPivotColPosition() : -1, result);
}
