// SPDX-License-Identifier: MIT
//
// The methods about rows: edits, selection, counts, the position, and what the rows of groups are.

#include <algorithm>

#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail::methods {

// ---- Edits --------------------------------------------------------------------------------------

kt_long AppendRow(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.AddRow(-1, false), result);
}

kt_long InsertRow(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.AddRow(call.Integer(0), true), result);
}

kt_long DeleteRow(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Wrapper().DeleteRow(call.Integer(0)), result);
}

kt_long DeleteAll(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Wrapper().DeleteAll(), result);
}

kt_long DeleteSelected(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Wrapper().DeleteSelected(), result);
}

// Rows with their states, and with Clear the columns too, leave without being deleted: nobody is
// asked, and the emptied dataset is announced.
kt_long ClearData(const MethodCall& call, Kt_Variant& result) {
  call.Data().ClearData();
  call.Wrapper().AnnounceRows(Kt_LoadReason::kEmptied);
  return Yield(1, result);
}

kt_long Clear(const MethodCall& call, Kt_Variant& result) {
  call.Data().Clear();
  call.Wrapper().AnnounceRows(Kt_LoadReason::kEmptied);
  return Yield(1, result);
}

// Moving leaves the position at its number, as a row is moved within a list that shows a cursor.
kt_long MoveRow(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Data().MoveRow(call.Integer(0), call.Integer(1)), result);
}

kt_long ExChangerow(const MethodCall& call, Kt_Variant& result) {
  const StoreAnswer answer(call);
  return answer.Give(call.Data().ExchangeRow(call.Integer(0), call.Integer(1)), result);
}

// ---- Selection ----------------------------------------------------------------------------------

kt_long SelectRow(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Wrapper().SelectRow(call.Integer(0), call.Flag(1, true)), result);
}

kt_long GetSelect(const MethodCall& call, Kt_Variant& result) {
  return Yield(kt_long{call.Data().GetSelect(call.Integer(0))}, result);
}

kt_long ClearSelect(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Wrapper().ClearSelect(), result);
}

// ---- Counts and the position --------------------------------------------------------------------

kt_long GetID(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetId(), result);
}

kt_long GetRowCount(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetRowCount(), result);
}

kt_long GetRowCountNF(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetRowCountNF(), result);
}

kt_long GetRowPosition(const MethodCall& call, Kt_Variant& result) {
  const Kt_ExprDataset& wrapper = call.Wrapper();
  const bool is_pivot = call.Data().IsPivot();
  return Yield(is_pivot ? wrapper.GetPivotRowPosition() : wrapper.GetRowPosition(), result);
}

kt_long GetFirstrow(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetRowCount() > 0 ? 0 : -1, result);
}

kt_long GetLastrow(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetRowCount() - 1, result);
}

kt_long GetNextrow(const MethodCall& call, Kt_Variant& result) {
  const kt_long last = call.Data().GetRowCount() - 1;
  return Yield(std::min(call.Wrapper().GetRowPosition() + 1, last), result);
}

kt_long GetPrevrow(const MethodCall& call, Kt_Variant& result) {
  return Yield(std::max(call.Wrapper().GetRowPosition() - 1, 0), result);
}

kt_long GetRowIndexNF(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetRowIndexNF(call.Integer(0)), result);
}

// ---- Groups -------------------------------------------------------------------------------------

kt_long GetRowLevel(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Wrapper().GetRowLevel(call.Integer(0)), result);
}

kt_long GetRangeStart(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetRangeStart(call.Integer(0)), result);
}

kt_long GetRangeCount(const MethodCall& call, Kt_Variant& result) {
  return Yield(call.Data().GetRangeCount(call.Integer(0)), result);
}

}  // namespace kt::detail::methods
