// SPDX-License-Identifier: MIT
//
// The methods about what was changed: row states, first values, deleted rows.

#include "dataset/methods/Kt_MethodArgs.h"

namespace {

using kt::detail::AnswerCall;
using kt::detail::ChangeCall;
using kt::detail::MethodCall;
using kt::detail::StillThere;

// A row type by number or by the text that GetRowType gives; 0 for any other text.
kt_long TypeArgument(const MethodCall& call, kt_long arg) {
  if (!call.Value(arg).IsString()) return call.Integer(arg);
  const Kt_WString text = call.Text(arg);
  for (const kt_long type : {kRowTypeNormal, kRowTypeInsert, kRowTypeUpdate, kRowTypeDelete}) {
    if (text.EqualsNoCase(kt_rowtypetextW(type))) return type;
  }
  return text.ToInteger();
}

}  // namespace

// ---- States -------------------------------------------------------------------------------------

kt_long Kt_ExprDataset::CallGetRowType(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 1, result,
      [](const MethodCall& call) {
        return kt_rowtypetextW(call.Data().GetRowType(call.Integer(0)));
      },
      u"GetRowType()");
}

kt_long Kt_ExprDataset::CallGetRowTypeNF(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 1, result,
      [](const MethodCall& call) {
        return kt_rowtypetextW(call.Data().GetRowTypeNF(call.Integer(0)));
      },
      u"GetRowTypeNF()");
}

kt_long Kt_ExprDataset::CallSetRowType(const Kt_VariantList* args, Kt_Variant& result) {
  return ChangeCall(*this, args, 2, result, [](const MethodCall& call) {
    return call.Data().SetRowType(call.Integer(0), TypeArgument(call, 1));
  });
}

kt_long Kt_ExprDataset::CallGetUpdate(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result,
                    [](const MethodCall& call) { return kt_long{call.Data().GetUpdate()}; });
}

kt_long Kt_ExprDataset::CallSetUpdate(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 1, result, [](const MethodCall& call) {
    call.Data().SetUpdate(call.Flag(0, false));
    return kt_long{1};
  });
}

kt_long Kt_ExprDataset::CallApplyChange(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result, [](const MethodCall& call) {
    call.Data().ApplyChange();
    return kt_long{1};
  });
}

// Rows go and come back, as when the data is loaded anew.
kt_long Kt_ExprDataset::CallReset(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(*this, args, 0, result, [this](const MethodCall& call) {
    const StillThere there(*this);
    call.Data().Reset();
    if (there) AnnounceRows(Kt_LoadReason::kLoaded);
    return kt_long{1};
  });
}

// ---- First values and deleted rows --------------------------------------------------------------

kt_long Kt_ExprDataset::CallGetOrgBuffCount(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 0, result, [](const MethodCall& call) { return call.Data().GetOrgBuffCount(); },
      u"GetOrgBuffCount()");
}

kt_long Kt_ExprDataset::CallGetOrgBuffType(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 1, result,
      [](const MethodCall& call) {
        return kt_rowtypetextW(call.Data().GetOrgBuffType(call.Integer(0)));
      },
      u"GetOrgBuffType()");
}

kt_long Kt_ExprDataset::CallGetOrgBuffColumn(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 2, result,
      [](const MethodCall& call) {
        return call.Data().GetOrgBuffColumn(call.Integer(0), call.Column(1));
      },
      u"GetOrgBuffColumn()");
}

kt_long Kt_ExprDataset::CallGetOrgColumn(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 2, result,
      [](const MethodCall& call) {
        return call.Data().GetOrgColumn(call.Integer(0), call.Column(1));
      },
      u"GetOrgColumn()");
}

kt_long Kt_ExprDataset::CallGetOrgColumnNF(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 2, result,
      [](const MethodCall& call) {
        return call.Data().GetOrgColumnNF(call.Integer(0), call.Column(1));
      },
      u"GetOrgColumnNF()");
}

kt_long Kt_ExprDataset::CallGetDelRowCount(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 0, result, [](const MethodCall& call) { return call.Data().GetDelRowCount(); },
      u"GetDelRowCount()");
}

kt_long Kt_ExprDataset::CallGetDelColumn(const Kt_VariantList* args, Kt_Variant& result) {
  return AnswerCall(
      *this, args, 2, result,
      [](const MethodCall& call) {
        return call.Data().GetDelColumn(call.Integer(0), call.Column(1));
      },
      u"GetDelColumn()");
}
