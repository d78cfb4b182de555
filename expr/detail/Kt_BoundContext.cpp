// SPDX-License-Identifier: MIT
#include "expr/detail/Kt_BoundContext.h"

#include "object/Kt_RunError.h"

namespace kt::detail {

using Kind = Kt_Bindings::Kind;

bool BoundContext::IsAsked(const Kt_Bindings::Item* item) const {
  return GetParentCtx() != nullptr &&
         (item != nullptr ? item->kind == Kind::kAsked : form_.bindings.AsksAll());
}

Kt_WString BoundContext::GetID() const {
  const Kt_ExprObject* const host = GetParentCtx();
  return host != nullptr ? host->GetID() : Kt_WString();
}

// A place is a variable that is read by name, so that it is read when its value is needed.
int BoundContext::GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  const Kt_Bindings::Item* const item = form_.bindings.Find(name, false);
  if (item != nullptr && item->IsPlace()) return EXPR_OBJ_VAR;
  return IsAsked(item) ? GetParentCtx()->GetVarType(name, info) : EXPR_OBJ_UNKNOWN;
}

int BoundContext::GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  const Kt_Bindings::Item* const item = form_.bindings.Find(name, true);
  if (item != nullptr && item->kind != Kind::kAsked) {
    info.SetExtAPI(this, item->name, nullptr);  // through CallMethod
    return EXPR_OBJ_EXTAPI;
  }
  return IsAsked(item) ? GetParentCtx()->GetMethodType(name, info) : EXPR_OBJ_UNKNOWN;
}

// There is no variable that one could refer to.
kt_long BoundContext::GetCtxVar(const Kt_WString& name, Kt_Variable** variable, Kt_Variant* value) {
  const Kt_Bindings::Item* const item = form_.bindings.Find(name, false);
  if (item == nullptr || !item->IsPlace()) {
    return IsAsked(item) ? GetParentCtx()->GetCtxVar(name, variable, value) : kUnknownName;
  }
  return value != nullptr ? ReadPlace(*item, places_, *value) : kUnknownName;
}

kt_long BoundContext::CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                                 Kt_Variant& result) {
  const Kt_Bindings::Item* const item = form_.bindings.Find(name, true);
  if (item == nullptr || item->kind == Kind::kAsked) return kNoMember;
  // Texts that are evaluated inside have not been checked.
  const kt_long count = args->GetCount();
  if (const kt_long code = CheckArgCount(item->name, count, item->least_args, item->most_args)) {
    return code;
  }
  return CallBound(*item, {args->begin(), static_cast<std::size_t>(count)}, result);
}

void BoundContext::AddNames(Names which, std::vector<Kt_WString>& names) const {
  for (const Kt_Bindings::Item& item : form_.bindings.GetItems()) {
    const bool is_call = item.kind == Kind::kNumbersFunc || item.kind == Kind::kValuesFunc;
    if (item.kind == Kind::kAsked || is_call == (which == Names::kCalls)) {
      names.push_back(item.name);
    }
  }
}

kt_long CallBound(const Kt_Bindings::Item& function, std::span<const Kt_Variant> args,
                  Kt_Variant& result) {
  const FailureMark mark;
  kt_long code = kOk;
  if (function.kind == Kind::kNumbersFunc) {
    std::vector<double> numbers;
    for (const Kt_Variant& arg : args) numbers.push_back(arg.Target().ToDouble());
    result.Set(function.numbers(numbers.data(), function.user));
  } else {
    code = function.values(args, result);
    if (result.IsRef()) result = result.Dereference();
  }
  if (KT_UNLIKELY(code != kOk) && !mark.HasNoted(code)) (void)NoteSilentCall(function.name, code);
  return code;
}

kt_long CheckArgCount(const Kt_WString& name, kt_long count, kt_long least, kt_long most) {
  if (count >= least && (most < 0 || count <= most)) return kOk;
  const Kt_WString came = Kt_Variant(count).ToString();
  Kt_WString wanted = Kt_Variant(least).ToString();
  if (most < 0) return NoteCause(kErrBadArgument, Kt_Cause::kFewArguments, {name, wanted, came});
  if (most > least) wanted = wanted + u" to " + Kt_Variant(most).ToString();
  return NoteCause(kErrBadArgument, Kt_Cause::kArgumentCount, {name, wanted, came});
}

}  // namespace kt::detail
