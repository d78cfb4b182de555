// SPDX-License-Identifier: MIT
#include <atomic>
#include <new>

#include "classlib/base/Kt_NativeStack.h"
#include "expr/Kt_Expr.h"
#include "expr/detail/Kt_Evaluator.h"
#include "expr/detail/Kt_ExprItems.h"
#include "expr/detail/Kt_HostCode.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_MemoryDoor.h"
#include "object/Kt_RunCharge.h"

namespace {

constexpr const char16_t* kSource = u"Kt_Expr";

std::atomic<bool> may_compile{true};

bool SkipsTrace(Kt_ExprObject* context) {
  return context == nullptr || context->IsDebugTraceMode() == 0;
}

}  // namespace

kt_long Kt_Expr::ParseOnce(Kt_ExprObject* context) {
  if (state_ != kStateUnparsed) return kOk;
  Kt_WString error;
  const Kt_WString text = text_;
  const std::uint8_t runs = runs_;
  const kt_long state = ParseText(error);
  runs_ = runs;
  if (state == kStateEmpty) state_ = kStateEmpty;
  if (state >= 0) return kOk;
  if (const kt_long stop_code = kt::CheckRun(context)) return stop_code;
  (void)kt::Report(context, kSource, kErrNotAllowed, error, text);
  kt::detail::ReturnFailureAs(state);
  kt::detail::PlaceFailure(text, error_offset_, 1);
  return state;
}

kt_long Kt_Expr::ExecExprObj(Kt_ExprObject* context, Kt_ExprStackObj& result) {
  const Kt_WString name(text_);  // held: what it calls may free this very expression
  return kt::AtMemoryDoor(context, kSource, name, [&] { return EvaluateEntry(context, result); });
}

kt_long Kt_Expr::EvaluateEntry(Kt_ExprObject* context, Kt_ExprStackObj& result) {
  const kt_long code = Evaluate(context, result);
  if (KT_UNLIKELY(code != kOk)) PlaceFailure();
  return code;
}

kt_long Kt_Expr::Evaluate(Kt_ExprObject* context, Kt_ExprStackObj& result) {
  if (const kt_long code = ParseOnce(context)) return code;
  switch (state_) {
    case kStateEmpty: return kOk;
    case kStateConstant:
      result.SetOpCode(kOpEnd);
      result.SetValueType(context, kt::detail::ReadConstant(*GetFirstOp()));
      return kOk;
    case kStateCtxVar:
      result.ClearValue();
      result.SetOpCode(kOpEnd);
      result.SetVarType(context, GetFirstOp()->text, nullptr);
      return kOk;
    case kStateTrace:
      if (SkipsTrace(context)) return kOk;
      break;
    default:
      if (state_ < 0) return state_;
      break;
  }
  // Values of calls and lists are evaluated inside this one: the nesting is the user's.
  if (!kt_hasstack()) return kt::Report(context, kSource, kErrTooDeep, text_);
  if (state_ == kStateList) return ExecList(context, result);
  return kt::detail::Evaluator(*this, context).Run(result);
}

// The values of the pieces as one list. The pieces are parsed once and kept.
kt_long Kt_Expr::ExecList(Kt_ExprObject* context, Kt_ExprStackObj& result) {
  if (items_ == nullptr) {
    auto items = std::make_shared<kt::detail::ExprItems>();
    if (!items->Split(text_)) {
      const kt_long stop_code = kt::CheckRun(context);
      return stop_code != kOk ? stop_code : kt::Report(context, kSource, kErrTooDeep, text_);
    }
    items_ = std::move(items);
  }
  // Held: what a piece calls may change or free this very expression.
  const std::shared_ptr<kt::detail::ExprItems> items = items_;
  Kt_VariantList list;
  for (Kt_Expr& item : items->items) {
    Kt_Variant value;
    if (const kt_long code = item.ExecExpr(context, value)) return code;
    if (list.Add(value.Dereference()) < 0) {
      return kt::Report(context, kSource, kErrListTooLong, text_);
    }
  }
  result.ClearValue();
  result.SetOpCode(kOpEnd);
  result.SetValueType(context, Kt_Variant(list));
  return kOk;
}

// Compiling costs more than evaluating once, so it is left to the second time; but a context whose
// answers may be kept is not to be asked twice.
bool Kt_Expr::MakeHostCode(Kt_ExprObject& context) try {
  if (!MayCompile()) return false;
  if (++runs_ < kRunsCompiled) {
    if (context.GetNameVersion() == 0) return false;
    if (ParseOnce(&context) != kOk) return false;  // reported
    runs_ = kRunsCompiled;
  }
  if (state_ != kStateOrdinary && state_ != kStateName) return false;
  host_code_.reset(kt::detail::HostCode::Make(*this));
  // What was made while the run was being stopped may lack something.
  if (Kt_WorkMeter::CurrentStop() != kOk) DropCode();
  return host_code_ != nullptr;
} catch (const std::bad_alloc&) {
  return false;  // the evaluator may need less
}

bool Kt_Expr::MayCompile() { return may_compile.load(std::memory_order_relaxed); }
void Kt_Expr::SetCompiled(bool is_compiled) { may_compile = is_compiled; }

void Kt_Expr::HostCodeDrop::operator()(kt::detail::HostCode* code) const {
  kt::detail::HostCode::Drop(code);
}

kt_long Kt_Expr::ExecExpr(Kt_ExprObject* context, Kt_Variant& value) {
  if (context != nullptr && HasHostCode(*context)) return host_code_->Run(*context, value, *this);
  return ExecAny(context, value);
}

kt_long Kt_Expr::ExecAny(Kt_ExprObject* context, Kt_Variant& value) {
  const Kt_WString name(text_);
  const kt_long code =
      kt::AtMemoryDoor(context, kSource, name, [&] { return EvaluateValue(context, value); });
  if (KT_UNLIKELY(code == kErrNoMemory)) value.Clear();
  return code;
}

kt_long Kt_Expr::EvaluateValue(Kt_ExprObject* context, Kt_Variant& value) {
  if (context == nullptr) {
    if (const kt_long code = ParseOnce(context)) return code;
  }
  if (state_ == kStateConstant) {
    value = kt::detail::ReadConstant(*GetFirstOp());
    return kOk;
  }
  if (state_ == kStateTrace && context != nullptr && SkipsTrace(context)) return kOk;
  if (state_ == kStateCtxVar) return ExecCtxVar(context, value);
  Kt_ExprStackObj entry;
  if (context != nullptr) {
    if (const kt_long code = EvaluateEntry(context, entry)) {
      value.Clear();
      return code;
    }
  }
  if (entry.GetKind() == EXPR_OBJ_NONE) {
    value.Clear();
    return kOk;
  }
  const kt_long code = kt::detail::ReadEntry(context, entry, value, 0);
  if (KT_UNLIKELY(code != kOk)) {
    value.Clear();
    PlaceFailure();
  }
  return code;
}

kt_long Kt_Expr::ExecCtxVar(Kt_ExprObject* context, Kt_Variant& value) {
  const Kt_WString& name = GetFirstOp()->text;
  Kt_Variable* variable = nullptr;
  if (context == nullptr || context->GetCtxVar(name, &variable, nullptr) != kOk) {
    (void)kt::Report(context, kSource, kErrNoVariable, name);
    PlaceFailure();
    return kErrNoVariable;
  }
  if (variable != nullptr) value = variable->GetValue();
  return kOk;
}
