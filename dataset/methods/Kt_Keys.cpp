// SPDX-License-Identifier: MIT
//
// The methods about order: sort, keys, groups and pivots. All of them that arrange the rows anew
// put the position to the first row and announce a sort.

#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail::methods {

namespace {

// A code among the first `count` codes of a list; -1 for any other.
kt_long CodeArgument(const MethodCall& call, kt_long arg, kt_long count) {
  const kt_long code = call.Integer(arg);
  return code >= 0 && code < count ? code : -1;
}

}  // namespace

kt_long Sort(const MethodCall& call, Kt_Variant& result) {
  const Kt_WString list = call.Text(0);
  if (list.IsEmpty()) return kErrBadArgument;
  Kt_ExprDataset& wrapper = call.Wrapper();
  const StoreAnswer answer(call);
  const StillThere there(wrapper);
  Kt_Result failure;
  failure.AddMsg(kErrSort, u"Kt_ExprDataset", 0, wrapper.GetID(), list);
  const kt_long sorted =
      call.Data().Sort(list.View(), call.Flag(1, true), call.Flag(2, false), call.Flag(3, false));
  if (there.Data() != nullptr) there.Data()->RecalcGroup();
  if (const kt_long code = answer.Give(sorted, result)) return code;
  if (!there || !wrapper.AnnounceRows(Kt_LoadReason::kSorted) || sorted != -1) return kOk;
  NoteReport(&wrapper, failure);
  if (wrapper.IsSystemLogMode() != 0) wrapper.OnSystemError(failure);
  return kOk;
}

kt_long ModifyKeyStat(const MethodCall& call, Kt_Variant& result) {
  const kt_long what = CodeArgument(call, 0, 4);
  const kt_long type = CodeArgument(call, 1, 5);
  const kt_long total = CodeArgument(call, 4, 6);
  if (what < 0 || type < 0 || total < 0) return Yield(-1, result);
  const StoreAnswer answer(call);
  const kt_long changed = call.Data().ModifyKeyStat(
      static_cast<Kt_KeyCall>(what), static_cast<Kt_KeyType>(type), call.Column(2),
      call.Flag(3, true), static_cast<Kt_Aggregate>(total));
  return answer.Give(changed, result);
}

kt_long RecalcGroup(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  const StillThere there(wrapper);
  call.Data().RecalcGroup();
  if (there) wrapper.AnnounceRows(Kt_LoadReason::kSorted);
  return Yield(1, result);
}

kt_long RecalcPivot(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  const StoreAnswer answer(call);
  const StillThere there(wrapper);
  const kt_long made = call.Data().RecalcPivot();
  if (there) wrapper.AnnounceRows(Kt_LoadReason::kSorted);
  return answer.Give(made, result);
}

kt_long GetPivotIndex(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Wrapper().GetPivotColPosition(), result);
}

kt_long GetPivotCount(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Wrapper().GetPivotColCount(), result);
}

}  // namespace kt::detail::methods
