// SPDX-License-Identifier: MIT
//
// The members that scripts use in loops over rows, without arguments in a list and names to be
// looked up. Each gives what its method, property or item gives, where that asks and tells nobody;
// everything else is left to those.
#include <algorithm>
#include <iterator>
#include <typeinfo>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "dataset/methods/Kt_MethodArgs.h"
#include "object/Kt_MemoryDoor.h"

namespace {

constexpr const char16_t* kSource = u"Kt_ExprDataset";

Kt_ExprDataset& WrapperOf(Kt_ExprObject& object) { return static_cast<Kt_ExprDataset&>(object); }

// Neither an object, which would be asked for its text, nor something that holds one.
bool IsPlain(const Kt_Variant& value) { return value.GetTag() < kTagList; }

}  // namespace

struct Kt_ExprDataset::Quick {
  // The dataset when it may be read / written without asking anybody, as far as the wrapper goes;
  // else null.
  static Kt_Dataset* Readable(Kt_ExprObject& object) { return WrapperOf(object).GetDataset(); }
  static Kt_Dataset* Writable(Kt_ExprObject& object) {
    return KT_LIKELY(WrapperOf(object).events_on_ == 0) ? Readable(object) : nullptr;
  }

  static bool GetColumn(Kt_ExprObject& object, const kt::QuickUse& use, Kt_Variant& result,
                        kt_long&) {
    const Kt_Dataset* const dataset = Readable(object);
    const Kt_Variant& row = *use.args[0];
    const Kt_Variant& id = *use.args[1];
    if (dataset == nullptr || !row.IsLong() || !id.IsString()) return false;
    return dataset->ReadOwnCell(row.AsLong(), id.AsStringView(), use.hint, result);
  }

  static bool SetColumn(Kt_ExprObject& object, const kt::QuickUse& use, Kt_Variant& result,
                        kt_long& code) {
    Kt_Dataset* const dataset = Writable(object);
    const Kt_Variant& row = *use.args[0];
    const Kt_Variant& id = *use.args[1];
    const Kt_Variant& value = *use.args[2];
    if (dataset == nullptr || !row.IsLong() || !id.IsString() || !IsPlain(value)) return false;
    kt_long answer = 0;
    if (!dataset->WriteOwnCell(row.AsLong(), id.AsStringView(), use.hint, value, answer)) {
      return false;
    }
    if (KT_LIKELY(answer > 0)) {
      result = kt_long{1};
    } else {
      code = Refused(WrapperOf(object), answer, result);
    }
    return true;
  }

  // The cell of the row that is the position; there may be none.
  static bool SetCurrent(Kt_ExprObject& object, const kt::QuickUse& use, Kt_Variant&,
                         kt_long& code) {
    Kt_Dataset* const dataset = Writable(object);
    const Kt_Variant& value = *use.args[0];
    Kt_ExprDataset& wrapper = WrapperOf(object);
    kt_long answer = 0;
    if (dataset == nullptr || !IsPlain(value) ||
        !dataset->WriteOwnCell(wrapper.row_position_, use.name.View(), use.hint, value, answer)) {
      return false;
    }
    if (KT_UNLIKELY(answer == kErrNoMemory)) {
      code = kt::ReportNoMemory(&wrapper, kSource, wrapper.GetID());
    }
    return true;
  }

  static bool AppendRow(Kt_ExprObject& object, const kt::QuickUse&, Kt_Variant& result,
                        kt_long& code) {
    Kt_Dataset* const dataset = Writable(object);
    if (dataset == nullptr || dataset->IsLogical() || dataset->IsEvaluating()) return false;
    Kt_ExprDataset& wrapper = WrapperOf(object);
    const kt_long added = dataset->AppendRow(1);
    if (KT_LIKELY(added >= 0)) {
      wrapper.StorePosition(std::min(added, dataset->GetRowCount() - 1));
      result = added;
    } else {
      Kt_Result failure;
      failure.AddMsg(kErrRowNotAdded, kSource, 0, dataset->GetId());
      wrapper.Fail(failure);
      code = Refused(wrapper, added, result);
    }
    return true;
  }

  // What the methods make of the negative answer of the store.
  KT_COLD static kt_long Refused(Kt_ExprDataset& wrapper, kt_long answer, Kt_Variant& result) {
    const kt::detail::StoreAnswer as_method(wrapper);
    if (answer == kErrNoMemory) (void)kt::ReportNoMemory(&wrapper, kSource, wrapper.GetID());
    return as_method.Give(answer, result);
  }

  static bool GetRowCount(Kt_ExprObject& object, const kt::QuickUse&, Kt_Variant& result,
                          kt_long&) {
    const Kt_Dataset* const dataset = Readable(object);
    if (dataset == nullptr) return false;
    result = dataset->GetRowCount();
    return true;
  }

  static bool Property(Kt_ExprObject& object, const kt::QuickUse& use, Kt_Variant& result,
                       kt_long& code) {
    if (use.hint < 0) {
      use.hint = static_cast<kt_long>(GetDSetPropFuncInfo(use.name.GetText()) - GetDSetPropMap());
    }
    code = (WrapperOf(object).*GetDSetPropMap()[use.hint].get)(nullptr, result);
    return true;
  }

  // The cell of the row that is current.
  static bool Column(Kt_ExprObject& object, const kt::QuickUse& use, Kt_Variant& result, kt_long&) {
    const Kt_ExprDataset& wrapper = WrapperOf(object);
    const Kt_Dataset* const dataset = wrapper.GetDataset();
    return dataset != nullptr && wrapper.original_row_ == 0 &&
           dataset->ReadOwnCell(wrapper.row_index_, use.name.View(), use.hint, result);
  }

  // The value of the cell object that the item would give.
  static bool ItemCell(Kt_ExprObject& object, const kt::QuickUse& use, Kt_Variant& result,
                       kt_long&) {
    const Kt_Dataset* const dataset = Readable(object);
    const Kt_Variant& row = *use.args[0];
    return dataset != nullptr && row.IsLong() && row.AsLong() >= 0 &&
           row.AsLong() < dataset->GetRowCount() &&
           dataset->ReadOwnCell(row.AsLong(), use.name.View(), use.hint, result);
  }
};

bool Kt_ExprDataset::AnswersAsDataset() const { return typeid(*this) == typeid(Kt_ExprDataset); }

kt::QuickMember Kt_ExprDataset::FindQuickMember(kt::MemberUse use, const Kt_WString& name,
                                                int arg_count) const {
  static constexpr struct {
    const char16_t* name;
    int arg_count;
    kt::QuickMember member;
  } kCalls[] = {
      {u"AddRow", 0, Quick::AppendRow},    {u"AppendRow", 0, Quick::AppendRow},
      {u"GetColumn", 2, Quick::GetColumn}, {u"GetRowCount", 0, Quick::GetRowCount},
      {u"SetColumn", 3, Quick::SetColumn},
  };
  if (!AnswersAsDataset()) return nullptr;
  switch (use) {
    case kt::MemberUse::kValue:
      return GetDSetPropFuncInfo(name.GetText()) != nullptr ? Quick::Property : Quick::Column;
    case kt::MemberUse::kItemValue: return Quick::ItemCell;
    case kt::MemberUse::kSet:
      return GetDSetPropFuncInfo(name.GetText()) != nullptr ? nullptr : Quick::SetCurrent;
    case kt::MemberUse::kCall: break;
  }
  const auto* const row = std::find_if(std::begin(kCalls), std::end(kCalls), [&](const auto& call) {
    return call.arg_count == arg_count && name.EqualsNoCase(call.name);
  });
  return row != std::end(kCalls) ? row->member : nullptr;
}
