// SPDX-License-Identifier: MIT
//
// The methods about what was changed: row states, first values, deleted rows.

#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail::methods {

namespace {

// A row type by number or by the text that GetRowType gives; 0 for any other text.
kt_long TypeArgument(const MethodCall& call, kt_long arg) {
  if (!call.Given(arg).IsString()) return call.Integer(arg);
  const Kt_WString text = call.Text(arg);
  for (const kt_long type : {kRowTypeNormal, kRowTypeInsert, kRowTypeUpdate, kRowTypeDelete}) {
    if (text.EqualsNoCase(kt_rowtypetextW(type))) return type;
  }
  return text.ToInteger();
}

}  // namespace

// ---- States -------------------------------------------------------------------------------------

kt_long GetRowType(const MethodCall& call, Kt_Variant& result) {
  return Yield(kt_rowtypetextW(call.Data().GetRowType(call.Integer(0))), result);
}

kt_long GetRowTypeNF(const MethodCall& call, Kt_Variant& result) {
  return Yield(kt_rowtypetextW(call.Data().GetRowTypeNF(call.Integer(0))), result);
}

kt_long SetRowType(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Data().SetRowType(call.Integer(0), TypeArgument(call, 1)), result);
}

kt_long GetUpdate(const MethodCall& call, Kt_Variant& result) {
  return Yield(kt_long{call.Data().GetUpdate()}, result);
}

kt_long SetUpdate(const MethodCall& call, Kt_Variant& result) {
  call.Data().SetUpdate(call.Flag(0, false));
  return Yield(1, result);
}

kt_long ApplyChange(const MethodCall& call, Kt_Variant& result) {
  call.Data().ApplyChange();
  return Yield(1, result);
}

// Rows go and come back, as when the data is loaded anew.
kt_long Reset(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  const StillThere there(wrapper);
  call.Data().Reset();
  if (there) wrapper.AnnounceRows(Kt_LoadReason::kLoaded);
  return Yield(1, result);
}

// ---- First values and deleted rows --------------------------------------------------------------

kt_long GetOrgBuffCount(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetOrgBuffCount(), result);
}

kt_long GetOrgBuffType(const MethodCall& call, Kt_Variant& result) {
  return Yield(kt_rowtypetextW(call.Data().GetOrgBuffType(call.Integer(0))), result);
}

kt_long GetOrgBuffColumn(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetOrgBuffColumn(call.Integer(0), call.Column(1)), result);
}

kt_long GetOrgColumn(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetOrgColumn(call.Integer(0), call.Column(1)), result);
}

kt_long GetOrgColumnNF(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetOrgColumnNF(call.Integer(0), call.Column(1)), result);
}

kt_long GetDelRowCount(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetDelRowCount(), result);
}

kt_long GetDelColumn(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetDelColumn(call.Integer(0), call.Column(1)), result);
}

}  // namespace kt::detail::methods
