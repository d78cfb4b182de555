// SPDX-License-Identifier: MIT
//
// The methods about order: sort, keys, groups and pivots. All of them that arrange the rows anew
// put the position to the first row and announce a sort.

#include "dataset/methods/Kt_MethodArgs.h"

namespace {

using kt::detail::AnswerCall;
using kt::detail::ChangeCall;
using kt::detail::MethodCall;
using kt::detail::StillThere;
using kt::detail::StoreAnswer;

// A code among the first `count` codes of a list; -1 for any other.
kt_long CodeArgument(const MethodCall& call, kt_long arg, kt_long count) {
  const kt_long code = call.Integer(arg);
  return code >= 0 && code < count ? code : -1;
}

}  // namespace

kt_long Kt_ExprDataset::CallSort(const Kt_VariantList* args, Kt_Variant& result) {
  const MethodCall call(*this, args, 1, u"Sort()");
  if (call.Refused()) return call.Code();
  const Kt_WString list = call.Text(0);
  if (list.IsEmpty()) return kErrBadArgument;
  const StoreAnswer answer(*this);
  const StillThere there(*this);
  Kt_Result failure;
  failure.AddMsg(kErrSort, u"Kt_ExprDataset", 0, GetID(), list);
  const kt_long sorted =
      call.Data().Sort(list.View(), call.Flag(1, true), call.Flag(2, false), call.Flag(3, false));
  if (there.Data() != nullptr) there.Data()->RecalcGroup();
  if (const kt_long code = answer.Give(sorted, result)) return code;
  if (!there || !AnnounceRows(Kt_LoadReason::kSorted) || sorted != -1) return kOk;
  kt::detail::NoteReport(this, failure);
  if (IsSystemLogMode() != 0) OnSystemError(failure);
  return kOk;
}

kt_long Kt_ExprDataset::CallModifyKeyStat(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(*this, args, 3, result, [](const MethodCall& call) {
    const kt_long what = CodeArgument(call, 0, 4);
    const kt_long type = CodeArgument(call, 1, 5);
    const kt_long total = CodeArgument(call, 4, 6);
    if (what < 0 || type < 0 || total < 0) return kt_long{-1};
    return call.Data().ModifyKeyStat(static_cast<Kt_KeyCall>(what), static_cast<Kt_KeyType>(type),
                                     call.Column(2), call.Flag(3, true),
                                     static_cast<Kt_Aggregate>(total));
  });
}

kt_long Kt_ExprDataset::CallRecalcGroup(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result, [this](const MethodCall& call) {
    const StillThere there(*this);
    call.Data().RecalcGroup();
    if (there) AnnounceRows(Kt_LoadReason::kSorted);
    return kt_long{1};
  });
}

kt_long Kt_ExprDataset::CallRecalcPivot(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(*this, args, 0, result, [this](const MethodCall& call) {
    const StillThere there(*this);
    const kt_long made = call.Data().RecalcPivot();
    if (there) AnnounceRows(Kt_LoadReason::kSorted);
    return made;
  });
}

kt_long Kt_ExprDataset::CallGetPivotIndex(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [this](const MethodCall&) { return GetPivotColPosition(); });
}

kt_long Kt_ExprDataset::CallGetPivotCount(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [this](const MethodCall&) { return GetPivotColCount(); });
}
