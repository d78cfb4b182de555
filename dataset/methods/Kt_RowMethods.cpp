// SPDX-License-Identifier: MIT
//
// The methods about rows: edits, selection, counts, the position, and what the rows of groups are.

#include <algorithm>

#include "dataset/methods/Kt_MethodArgs.h"

using kt::detail::AnswerCall;
using kt::detail::ChangeCall;
using kt::detail::MethodCall;

// ---- Edits --------------------------------------------------------------------------------------

kt_long Kt_ExprDataset::CallAppendRow(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(
      *this, args, 0, result, [this](const MethodCall&) { return AddRow(-1, false); }, u"AddRow()");
}

kt_long Kt_ExprDataset::CallInsertRow(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(
      *this, args, 1, result,
      [this](const MethodCall& call) { return AddRow(call.Integer(0), true); }, u"InsertRow()");
}

kt_long Kt_ExprDataset::CallDeleteRow(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(
      *this, args, 1, result, [this](const MethodCall& call) { return DeleteRow(call.Integer(0)); },
      u"DeleteRow()");
}

kt_long Kt_ExprDataset::CallDeleteAll(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(
      *this, args, 0, result, [this](const MethodCall&) { return DeleteAll(); }, u"DeleteAll()");
}

kt_long Kt_ExprDataset::CallDeleteSelected(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(
      *this, args, 0, result, [this](const MethodCall&) { return DeleteSelected(); },
      u"DeleteSelected()");
}

// Rows with their states, and with Clear the columns too, leave without being deleted: nobody is
// asked, and the emptied dataset is announced.
kt_long Kt_ExprDataset::CallClearData(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 0, result,
      [this](const MethodCall& call) {
        call.Data().ClearData();
        AnnounceRows(Kt_LoadReason::kEmptied);
        return kt_long{1};
      },
      u"ClearData()");
}

kt_long Kt_ExprDataset::CallClear(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result, [this](const MethodCall& call) {
    call.Data().Clear();
    AnnounceRows(Kt_LoadReason::kEmptied);
    return kt_long{1};
  });
}

// Moving leaves the position at its number, as a row is moved within a list that shows a cursor.
kt_long Kt_ExprDataset::CallMoveRow(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(*this, args, 2, result, [](const MethodCall& call) {
    return call.Data().MoveRow(call.Integer(0), call.Integer(1));
  });
}

kt_long Kt_ExprDataset::CallExChangerow(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(*this, args, 2, result, [](const MethodCall& call) {
    return call.Data().ExchangeRow(call.Integer(0), call.Integer(1));
  });
}

// ---- Selection ----------------------------------------------------------------------------------

kt_long Kt_ExprDataset::CallSelectRow(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [this](const MethodCall& call) {
    return SelectRow(call.Integer(0), call.Flag(1, true));
  });
}

kt_long Kt_ExprDataset::CallGetSelect(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return kt_long{call.Data().GetSelect(call.Integer(0))};
  });
}

kt_long Kt_ExprDataset::CallClearSelect(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result, [this](const MethodCall&) { return ClearSelect(); });
}

// ---- Counts and the position --------------------------------------------------------------------

kt_long Kt_ExprDataset::CallGetID(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return call.Data().GetId(); });
}

kt_long Kt_ExprDataset::CallGetRowCount(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return call.Data().GetRowCount(); });
}

kt_long Kt_ExprDataset::CallGetRowCountNF(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return call.Data().GetRowCountNF(); });
}

kt_long Kt_ExprDataset::CallGetRowPosition(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result, [this](const MethodCall& call) {
    return call.Data().IsPivot() ? pivot_row_position_ : row_position_;
  });
}

kt_long Kt_ExprDataset::CallGetFirstrow(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return call.Data().GetRowCount() > 0 ? 0 : -1; });
}

kt_long Kt_ExprDataset::CallGetLastrow(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return call.Data().GetRowCount() - 1; });
}

kt_long Kt_ExprDataset::CallGetNextrow(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result, [this](const MethodCall& call) {
    const kt_long last = call.Data().GetRowCount() - 1;
    return row_position_ < last ? row_position_ + 1 : last;
  });
}

kt_long Kt_ExprDataset::CallGetPrevrow(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [this](const MethodCall&) { return std::max(row_position_ - 1, 0); });
}

kt_long Kt_ExprDataset::CallGetRowIndexNF(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return call.Data().GetRowIndexNF(call.Integer(0));
  });
}

// ---- Groups -------------------------------------------------------------------------------------

kt_long Kt_ExprDataset::CallGetRowLevel(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result,
                    [this](const MethodCall& call) { return GetRowLevel(call.Integer(0)); });
}

kt_long Kt_ExprDataset::CallGetRangeStart(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return call.Data().GetRangeStart(call.Integer(0));
  });
}

kt_long Kt_ExprDataset::CallGetRangeCount(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return call.Data().GetRangeCount(call.Integer(0));
  });
}
