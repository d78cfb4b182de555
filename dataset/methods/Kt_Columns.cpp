// SPDX-License-Identifier: MIT
//
// The methods about columns, constants and cells.

#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail::methods {

// ---- Columns ------------------------------------------------------------------------------------

kt_long AddColumn(const MethodCall& call, Kt_Variant& result) {
  const Kt_WString id = call.Text(0);
  if (id.IsEmpty()) return kErrBadArgument;
  const StoreAnswer answer(call);
  return answer.Give(call.Data().AddColumn(id, call.Text(1).View(), call.Integer(2)), result);
}

kt_long AddLogicalColumn(const MethodCall& call, Kt_Variant& result) {
  const Kt_WString id = call.Text(0);
  const Kt_WString map = call.Text(1);
  if (id.IsEmpty() || map.IsEmpty()) return kErrBadArgument;
  const StoreAnswer answer(call);
  return answer.Give(call.Data().AddLogicalColumn(id, map, call.Text(2).View(), call.Integer(3)),
                     result);
}

kt_long GetColCount(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetColCount(), result);
}

kt_long GetColID(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetColID(call.Column(0)), result);
}

kt_long GetColIndex(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Column(0), result);
}

kt_long GetColIDxbyorder(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetColIDxByOrder(call.Integer(0)), result);
}

kt_long GetColMapValue(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetColMapValue(call.Column(0)), result);
}

kt_long GetColSize(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetColSize(call.Column(0)), result);
}

kt_long GetColType(const MethodCall& call, Kt_Variant& result) {
  const kt_long col = call.Column(0);
  if (col < 0) return Yield(Kt_WString(), result);
  return Yield(kt_columntypenameW(call.Data().GetColType(col)), result);
}

// ---- Constants ----------------------------------------------------------------------------------

kt_long AddConstColumn(const MethodCall& call, Kt_Variant& result) {
  const Kt_WString id = call.Text(0);
  if (id.IsEmpty()) return kErrBadArgument;
  const StoreAnswer answer(call);
  return answer.Give(call.Data().AddConstColumn(id, call.Given(1)), result);
}

kt_long GetConstCount(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetConstCount(), result);
}

kt_long GetConstColID(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetConstColID(call.Constant(0)), result);
}

kt_long GetConstColumn(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetConstColumn(call.Constant(0)), result);
}

kt_long SetConstColumn(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Wrapper().SetConstColumn(call.Constant(0), call.Given(1)), result);
}

// ---- Cells --------------------------------------------------------------------------------------

kt_long GetColumn(const MethodCall& call, Kt_Variant& result) {
  Kt_Variant value;
  call.Wrapper().GetColumn(call.Integer(0), call.Column(1), value, call.Integer(2, -1));
  return Yield(std::move(value), result);
}

kt_long GetColumnNF(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().ReadColumnNF(call.Integer(0), call.Column(1)), result);
}

kt_long GetColumnSet(const MethodCall& call, Kt_Variant& result) {
  Kt_Variant values;
  call.Wrapper().GetColumnSet(call.Integer(0), call.Column(1), values);
  return Yield(std::move(values), result);
}

kt_long SetColumn(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Wrapper().SetColumn(call.Integer(0), call.Column(1), call.Given(2)),
                     result);
}

kt_long SetColumnNF(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Wrapper().SetColumnNF(call.Integer(0), call.Column(1), call.Given(2)),
                     result);
}

}  // namespace kt::detail::methods
