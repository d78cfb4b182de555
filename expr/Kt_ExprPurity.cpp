// SPDX-License-Identifier: MIT
#include "expr/Kt_ExprPurity.h"

#include "expr/Kt_Expr.h"
#include "expr/detail/Kt_ExprItems.h"
#include "object/Kt_ExprObject.h"

namespace kt {

namespace {

using NameUses = std::function<NameUse(const Kt_WString& name)>;

bool IsPureBuiltin(const Kt_ExprOp& op) {
  const int row = op.GetBuiltinRow();
  return row >= 0 && Kt_ExprObject::GetIntFuncMap()[row].effect != Kt_FuncEffect::kOther;
}

// Walks the operations of one expression. Only the class of each is looked at: whether they fit
// together is for the evaluator to say.
class Walk {
 public:
  Walk(const Kt_ExprOpList& ops, const NameUses& name_use) : ops_(ops), name_use_(name_use) {}

  Kt_WString Find() {
    Kt_WString part;  // the first member or item
    bool has_any_value = false;
    for (kt_long at = 0; at < ops_.GetCount(); ++at) {
      const Kt_ExprOp& op = *ops_.GetItem(at);
      if (op.code == kOpEnd) break;
      if (op.code == kOpName) {
        const NameUse use = name_use_(op.text);
        if (use == NameUse::kOther) return op.text;
        has_any_value = has_any_value || use == NameUse::kAnyValue;
      } else if (!IsPlain(at)) {
        return NameOf(op);
      }
      const bool is_part = op.code == kOpMember || op.code == kOpMethod || op.code == kOpBracket;
      if (is_part && part.IsEmpty()) part = NameOf(op);
    }
    return has_any_value ? part : Kt_WString();
  }

 private:
  bool IsPlain(kt_long at) const {
    const Kt_ExprOp& op = *ops_.GetItem(at);
    switch (op.code) {
      case kOpCall:
      case kOpMethod: return IsPureBuiltin(op);
      // price.sum: what a column is in a subtotal row.
      case kOpMember: return IsPureBuiltin(op) || (at > 0 && ops_.GetItem(at - 1)->code == kOpName);
      case kOpRef:
      case kOpPreInc:
      case kOpPreDec:
      case kOpPostInc:
      case kOpPostDec: return false;
      default: return true;
    }
  }

  static Kt_WString NameOf(const Kt_ExprOp& op) {
    switch (op.code) {
      case kOpCall:
      case kOpMethod: return op.text + u"()";
      case kOpMember: return u"." + op.text;
      case kOpPreInc:
      case kOpPostInc: return u"++";
      case kOpPreDec:
      case kOpPostDec: return u"--";
      case kOpBracket: return u"[]";
      default: return u"ref()";
    }
  }

  const Kt_ExprOpList& ops_;
  const NameUses& name_use_;
};

}  // namespace

Kt_WString FindImpure(const Kt_WString& expression, const NameUses& name_use) {
  Kt_Expr expr;
  Kt_WString error;
  if (expr.Parse(expression, error) < 0) return {};
  if (expr.GetState() != kStateList) return Walk(expr.GetOps(), name_use).Find();
  // What is nested deeper than lists may be is refused by the evaluator.
  detail::ExprItems items;
  if (!items.Split(expr.GetText())) return {};
  for (const Kt_Expr& item : items.items) {
    if (Kt_WString found = FindImpure(item.GetText(), name_use); !found.IsEmpty()) return found;
  }
  return {};
}

}  // namespace kt
