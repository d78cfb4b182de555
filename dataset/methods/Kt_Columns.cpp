// SPDX-License-Identifier: MIT
//
// The methods about columns, constants and cells.

#include "dataset/methods/Kt_MethodArgs.h"

namespace {

using kt::detail::AnswerCall;
using kt::detail::ChangeCall;
using kt::detail::MethodCall;
using kt::detail::StoreAnswer;

Kt_WString TypeName(const Kt_Dataset& dataset, kt_long col) {
  return col < 0 ? Kt_WString() : Kt_WString(kt_columntypenameW(dataset.GetColType(col)));
}

}  // namespace

// ---- Columns ------------------------------------------------------------------------------------

kt_long Kt_ExprDataset::CallAddColumn(const Kt_VariantList* args, Kt_Variant& result) {
  const MethodCall call(*this, args, 1);
  if (call.Refused()) return call.Code();
  const Kt_WString id = call.Text(0);
  if (id.IsEmpty()) return kErrBadArgument;
  return StoreAnswer(*this).Give(call.Data().AddColumn(id, call.Text(1).View(), call.Integer(2)),
                                 result);
}

kt_long Kt_ExprDataset::CallAddLogicalColumn(const Kt_VariantList* args, Kt_Variant& result) {
  const MethodCall call(*this, args, 2);
  if (call.Refused()) return call.Code();
  const Kt_WString id = call.Text(0);
  const Kt_WString map = call.Text(1);
  if (id.IsEmpty() || map.IsEmpty()) return kErrBadArgument;
  return StoreAnswer(*this).Give(
      call.Data().AddLogicalColumn(id, map, call.Text(2).View(), call.Integer(3)), result);
}

kt_long Kt_ExprDataset::CallGetColCount(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return call.Data().GetColCount(); });
}

kt_long Kt_ExprDataset::CallGetColID(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result,
                    [](const MethodCall& call) { return call.Data().GetColID(call.Column(0)); });
}

kt_long Kt_ExprDataset::CallGetColIndex(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) { return call.Column(0); });
}

kt_long Kt_ExprDataset::CallGetColIDxbyorder(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return call.Data().GetColIDxByOrder(call.Integer(0));
  });
}

kt_long Kt_ExprDataset::CallGetColMapValue(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return call.Data().GetColMapValue(call.Column(0));
  });
}

kt_long Kt_ExprDataset::CallGetColSize(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result,
                    [](const MethodCall& call) { return call.Data().GetColSize(call.Column(0)); });
}

kt_long Kt_ExprDataset::CallGetColType(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result,
                    [](const MethodCall& call) { return TypeName(call.Data(), call.Column(0)); });
}

// ---- Constants ----------------------------------------------------------------------------------

kt_long Kt_ExprDataset::CallAddConstColumn(const Kt_VariantList* args, Kt_Variant& result) {
  const MethodCall call(*this, args, 1);
  if (call.Refused()) return call.Code();
  const Kt_WString id = call.Text(0);
  if (id.IsEmpty()) return kErrBadArgument;
  return StoreAnswer(*this).Give(call.Data().AddConstColumn(id, call.Value(1)), result);
}

kt_long Kt_ExprDataset::CallGetConstCount(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return call.Data().GetConstCount(); });
}

kt_long Kt_ExprDataset::CallGetConstColID(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return call.Data().GetConstColID(call.Constant(0));
  });
}

kt_long Kt_ExprDataset::CallGetConstColumn(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    return call.Data().GetConstColumn(call.Constant(0));
  });
}

kt_long Kt_ExprDataset::CallSetConstColumn(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 2, result, [this](const MethodCall& call) {
    const Kt_Variant value = call.Value(1);  // handlers may change the variable behind it
    return SetConstColumn(call.Constant(0), value);
  });
}

// ---- Cells --------------------------------------------------------------------------------------

kt_long Kt_ExprDataset::CallGetColumn(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 2, result, [this](const MethodCall& call) {
    Kt_Variant value;
    GetColumn(call.Integer(0), call.Column(1), value, call.Integer(2, -1));
    return value;
  });
}

kt_long Kt_ExprDataset::CallGetColumnNF(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 2, result, [](const MethodCall& call) {
    return call.Data().ReadColumnNF(call.Integer(0), call.Column(1));
  });
}

kt_long Kt_ExprDataset::CallGetColumnSet(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 2, result, [this](const MethodCall& call) {
    Kt_Variant values;
    GetColumnSet(call.Integer(0), call.Column(1), values);
    return values;
  });
}

kt_long Kt_ExprDataset::CallSetColumn(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(*this, args, 3, result, [this](const MethodCall& call) {
    const Kt_Variant value = call.Value(2);
    return SetColumn(call.Integer(0), call.Column(1), value);
  });
}

kt_long Kt_ExprDataset::CallSetColumnNF(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(*this, args, 3, result, [this](const MethodCall& call) {
    const Kt_Variant value = call.Value(2);
    return SetColumnNF(call.Integer(0), call.Column(1), value);
  });
}
