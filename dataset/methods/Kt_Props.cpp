// SPDX-License-Identifier: MIT
//
// The properties of a dataset, and members by name.
#include <algorithm>
#include <iterator>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "dataset/methods/Kt_MemberNames.h"
#include "object/Kt_MemoryDoor.h"

const _EXPR_SIMPLEPROP_INFO* Kt_ExprDataset::GetDSetPropMap() {
  using Self = Kt_ExprDataset;
  // clang-format off
  static constexpr _EXPR_SIMPLEPROP_INFO kProperties[] = {
      {u"colcount",        kHandler<&Self::PropColCount>,        nullptr,                         0, u""},
      {u"constcount",      kHandler<&Self::PropConstCount>,      nullptr,                         0, u""},
      {u"count",           kHandler<&Self::PropCount>,           nullptr,                         0, u""},
      {u"currow",          kHandler<&Self::PropCurRow>,          nullptr,                         0, u""},
      {u"firstrow",        kHandler<&Self::PropFirstRow>,        nullptr,                         0, u""},
      {u"id",              kHandler<&Self::PropID>,              nullptr,                         0, u""},
      {u"lastrow",         kHandler<&Self::PropLastRow>,         nullptr,                         0, u""},
      {u"nextrow",         kHandler<&Self::PropNextRow>,         nullptr,                         0, u""},
      {u"pivotindex",      kHandler<&Self::PropPivotIndex>,      nullptr,                         0, u""},
      {u"pivotindexcount", kHandler<&Self::PropPivotIndexCount>, nullptr,                         0, u""},
      {u"prevrow",         kHandler<&Self::PropPrevRow>,         nullptr,                         0, u""},
      {u"row",             kHandler<&Self::PropRow>,             kSetHandler<&Self::SetPropRow>,  0, u""},
      {u"rowcount",        kHandler<&Self::PropRowCount>,        nullptr,                         0, u""},
      {u"rowlevel",        kHandler<&Self::PropRowLevel>,        nullptr,                         0, u""},
      {u"rowpos",          kHandler<&Self::PropRow>,             kSetHandler<&Self::SetPropRow>,  0, u""},
      {u"rowposition",     kHandler<&Self::PropRow>,             kSetHandler<&Self::SetPropRow>,  0, u""},
  };
  // clang-format on
  static_assert(std::size(kProperties) == kPropertyCount);
  return kProperties;
}

int Kt_ExprDataset::GetDSetPropCount() { return kPropertyCount; }

const _EXPR_SIMPLEPROP_INFO* Kt_ExprDataset::GetDSetPropFuncInfo(const char16_t* name) {
  const int row = FindSimplePropFuncIdx(GetDSetPropMap(), kPropertyCount, name);
  return row < 0 ? nullptr : &GetDSetPropMap()[row];
}

Kt_Getter Kt_ExprDataset::GetDSetGetPropFunc(const char16_t* name) {
  const _EXPR_SIMPLEPROP_INFO* const property = GetDSetPropFuncInfo(name);
  return property ? property->get : nullptr;
}

Kt_Setter Kt_ExprDataset::GetDSetSetPropFunc(const char16_t* name) {
  const _EXPR_SIMPLEPROP_INFO* const property = GetDSetPropFuncInfo(name);
  return property ? property->set : nullptr;
}

// Members by name ---------------------------------------------------------------------------------

kt_long Kt_ExprDataset::GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                                    Kt_Variant& result) {
  const Kt_Getter get = HasData() ? GetDSetGetPropFunc(name.GetText()) : nullptr;
  if (get != nullptr) {
    return kt::AtMemoryDoorOf(*this, u"Kt_ExprDataset", [&] { return (this->*get)(args, result); });
  }
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? kt::detail::NoteNoColumn(*dataset, name, GetID())
                 : kt::detail::NoteNoDataset(name);
}

kt_long Kt_ExprDataset::SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                                    const Kt_Variant& value) {
  const Kt_Setter set = HasData() ? GetDSetSetPropFunc(name.GetText()) : nullptr;
  if (set != nullptr) {
    return kt::AtMemoryDoorOf(*this, u"Kt_ExprDataset", [&] { return (this->*set)(args, value); });
  }
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return kt::detail::NoteNoDataset(name);
  if (GetDSetPropFuncInfo(name.GetText()) == nullptr) {
    return kt::detail::NoteNoColumn(*dataset, name, GetID());
  }
  return kt::NoteCause(kFailed, Kt_Cause::kReadOnly, {name, GetID()});
}

kt_long Kt_ExprDataset::CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                                   Kt_Variant& result) {
  const Kt_Getter method = HasData() ? GetDSetMethodFunc(name.GetText()) : nullptr;
  if (method == nullptr) {
    return HasData() ? kt::detail::NoteNoMethod(name, GetID()) : kt::detail::NoteNoDataset(name);
  }
  const kt::detail::FailureMark mark;
  const kt_long code =
      kt::AtMemoryDoorOf(*this, u"Kt_ExprDataset", [&] { return (this->*method)(args, result); });
  if (KT_LIKELY(code == kOk) || mark.HasNoted(code)) return code;
  return kt::detail::NoteSilentCall(name, code);  // the wrapper may be no more
}

int Kt_ExprDataset::GetPropertyInfo(const Kt_WString& name, int& flags, Kt_Getter& get,
                                    Kt_Setter& set) {
  const _EXPR_SIMPLEPROP_INFO* const property = GetDSetPropFuncInfo(name.GetText());
  if (property == nullptr) return 0;
  flags = property->flags;
  get = property->get;
  set = property->set;
  return 1;
}

int Kt_ExprDataset::GetMethodInfo(const Kt_WString& name, Kt_Getter& call) {
  const Kt_Getter method = GetDSetMethodFunc(name.GetText());
  if (method == nullptr) return 0;
  call = method;
  return 1;
}

// The properties ----------------------------------------------------------------------------------

kt_long Kt_ExprDataset::PropColCount(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = GetDataset();
  result = dataset ? dataset->GetColCount() : kt_long{0};
  return kOk;
}

kt_long Kt_ExprDataset::PropConstCount(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = GetDataset();
  result = dataset ? dataset->GetConstCount() : kt_long{0};
  return kOk;
}

// The method without arguments, whatever the property was given.
kt_long Kt_ExprDataset::PropCount(const Kt_VariantList*, Kt_Variant& result) {
  return CallCount(nullptr, result);
}

kt_long Kt_ExprDataset::PropCurRow(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_Dataset* const dataset = GetDataset();
  const bool is_pivot = dataset != nullptr && dataset->IsPivot();
  result = kt_long{is_pivot ? pivot_row_position_ : row_position_};
  return kOk;
}

kt_long Kt_ExprDataset::PropFirstRow(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{GetRowCount() > 0 ? 0 : -1};
  return kOk;
}

kt_long Kt_ExprDataset::PropID(const Kt_VariantList*, Kt_Variant& result) {
  result = GetID();
  return kOk;
}

kt_long Kt_ExprDataset::PropLastRow(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{GetRowCount() - 1};
  return kOk;
}

kt_long Kt_ExprDataset::PropNextRow(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{std::min(row_position_ + 1, GetRowCount() - 1)};
  return kOk;
}

kt_long Kt_ExprDataset::PropPivotIndex(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{pivot_col_position_};
  return kOk;
}

kt_long Kt_ExprDataset::PropPivotIndexCount(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{GetPivotColCount()};
  return kOk;
}

kt_long Kt_ExprDataset::PropPrevRow(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{std::max(row_position_ - 1, 0)};
  return kOk;
}

kt_long Kt_ExprDataset::PropRow(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{row_position_};
  return kOk;
}

kt_long Kt_ExprDataset::PropRowCount(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_long{GetRowCount()};
  return kOk;
}

kt_long Kt_ExprDataset::PropRowLevel(const Kt_VariantList*, Kt_Variant& result) {
  result = original_row_ != 0 ? kt_long{0} : GetRowLevel(current_row_);
  return kOk;
}

kt_long Kt_ExprDataset::SetPropRow(const Kt_VariantList*, const Kt_Variant& value) {
  (void)SetRowPosition(value.Target().ToInteger());
  return kOk;
}
