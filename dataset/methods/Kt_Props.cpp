// SPDX-License-Identifier: MIT
//
// The properties of a dataset, and members by name.
#include <algorithm>
#include <iterator>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "dataset/methods/Kt_MemberNames.h"
#include "object/Kt_MemoryDoor.h"

namespace {

// What the properties that are numbers yield; without a dataset the same as for one without rows.

kt_long ColCount(const Kt_ExprDataset& wrapper) {
  const Kt_Dataset* const dataset = wrapper.GetDataset();
  return dataset ? dataset->GetColCount() : 0;
}

kt_long ConstCount(const Kt_ExprDataset& wrapper) {
  const Kt_Dataset* const dataset = wrapper.GetDataset();
  return dataset ? dataset->GetConstCount() : 0;
}

// As the method without arguments.
kt_long Count(const Kt_ExprDataset& wrapper) {
  const Kt_Dataset* const dataset = wrapper.GetDataset();
  return dataset ? dataset->GetCount(0, dataset->GetRowCount()) : 0;
}

kt_long CurRow(const Kt_ExprDataset& wrapper) {
  const Kt_Dataset* const dataset = wrapper.GetDataset();
  const bool is_pivot = dataset != nullptr && dataset->IsPivot();
  return is_pivot ? wrapper.GetPivotRowPosition() : wrapper.GetRowPosition();
}

kt_long FirstRow(const Kt_ExprDataset& wrapper) { return wrapper.GetRowCount() > 0 ? 0 : -1; }

kt_long LastRow(const Kt_ExprDataset& wrapper) { return wrapper.GetRowCount() - 1; }

kt_long NextRow(const Kt_ExprDataset& wrapper) {
  return std::min(wrapper.GetRowPosition() + 1, LastRow(wrapper));
}

kt_long PivotIndex(const Kt_ExprDataset& wrapper) { return wrapper.GetPivotColPosition(); }

kt_long PivotIndexCount(const Kt_ExprDataset& wrapper) { return wrapper.GetPivotColCount(); }

kt_long PrevRow(const Kt_ExprDataset& wrapper) { return std::max(wrapper.GetRowPosition() - 1, 0); }

kt_long Row(const Kt_ExprDataset& wrapper) { return wrapper.GetRowPosition(); }

kt_long RowCount(const Kt_ExprDataset& wrapper) { return wrapper.GetRowCount(); }

kt_long RowLevel(const Kt_ExprDataset& wrapper) {
  return wrapper.IsOriginalRow() != 0 ? 0 : wrapper.GetRowLevel(wrapper.GetCurRow());
}

}  // namespace

template <kt_long (*kRead)(const Kt_ExprDataset&)>
kt_long Kt_ExprDataset::PropNumber(const Kt_VariantList*, Kt_Variant& result) {
  result = kRead(*this);
  return kOk;
}

kt_long Kt_ExprDataset::PropID(const Kt_VariantList*, Kt_Variant& result) {
  result = GetID();
  return kOk;
}

kt_long Kt_ExprDataset::SetPropRow(const Kt_VariantList*, const Kt_Variant& value) {
  (void)SetRowPosition(value.Target().ToInteger());
  return kOk;
}

const _EXPR_SIMPLEPROP_INFO* Kt_ExprDataset::GetDSetPropMap() {
  using Self = Kt_ExprDataset;
  constexpr Kt_Setter kSetRow = kSetHandler<&Self::SetPropRow>;
  // clang-format off
  static constexpr _EXPR_SIMPLEPROP_INFO kProperties[] = {
      {u"colcount",       kHandler<&Self::PropNumber<ColCount>>,          nullptr, 0, u""},
      {u"constcount",     kHandler<&Self::PropNumber<ConstCount>>,        nullptr, 0, u""},
      {u"count",          kHandler<&Self::PropNumber<Count>>,             nullptr, 0, u""},
      {u"currow",         kHandler<&Self::PropNumber<CurRow>>,            nullptr, 0, u""},
      {u"firstrow",       kHandler<&Self::PropNumber<FirstRow>>,          nullptr, 0, u""},
      {u"id",             kHandler<&Self::PropID>,                        nullptr, 0, u""},
      {u"lastrow",        kHandler<&Self::PropNumber<LastRow>>,           nullptr, 0, u""},
      {u"nextrow",        kHandler<&Self::PropNumber<NextRow>>,           nullptr, 0, u""},
      {u"pivotindex",     kHandler<&Self::PropNumber<PivotIndex>>,        nullptr, 0, u""},
      {u"pivotindexcount",kHandler<&Self::PropNumber<PivotIndexCount>>,   nullptr, 0, u""},
      {u"prevrow",        kHandler<&Self::PropNumber<PrevRow>>,           nullptr, 0, u""},
      {u"row",            kHandler<&Self::PropNumber<Row>>,               kSetRow, 0, u""},
      {u"rowcount",       kHandler<&Self::PropNumber<RowCount>>,          nullptr, 0, u""},
      {u"rowlevel",       kHandler<&Self::PropNumber<RowLevel>>,          nullptr, 0, u""},
      {u"rowpos",         kHandler<&Self::PropNumber<Row>>,               kSetRow, 0, u""},
      {u"rowposition",    kHandler<&Self::PropNumber<Row>>,               kSetRow, 0, u""},
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
