// SPDX-License-Identifier: MIT
#include <algorithm>
#include <new>

#include "script/Kt_Script.h"
#include "script/detail/Kt_Interpreter.h"

kt_long Kt_ScriptFunc::ExecFunc(const Kt_VariantList* args, Kt_Variant& result) {
  try {
    return CallWith(args, result);
  } catch (const std::bad_alloc&) {
    result.Clear();
    return kt::Report(script_, u"Kt_ScriptFunc", kErrNoMemory, name_);
  }
}

kt_long Kt_ScriptFunc::CallWith(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_VariantList held = args ? *args : Kt_VariantList();
  const int count = held.GetCount();
  // Few arguments are the rule; they are handed over from the native stack.
  constexpr int kFew = 8;
  if (count <= kFew) {
    Kt_Variant values[kFew];
    for (int arg = 0; arg < count; ++arg) values[arg] = held.GetItemNN(arg);
    return kt::detail::Interpreter::CallFunc(*this, values, count, result);
  }
  std::vector<Kt_Variant> values(held.begin(), held.end());
  return kt::detail::Interpreter::CallFunc(*this, values.data(), count, result);
}

kt_long Kt_ScriptFunc::ExecBody(const Kt_ScriptOpList& ops, Kt_ExprObject* ctx,
                                Kt_Variant& result) {
  result.Clear();
  if (script_ == nullptr || ctx == nullptr) return kFailed;
  kt::detail::RunState& run = kt::detail::RunState::Of(*script_);
  kt::detail::RunState::Frame frame{this, nullptr, nullptr};
  const kt::detail::RunState::Call call(run, frame);
  // A context that the host made is asked through its virtual operations.
  auto* scope = dynamic_cast<kt::detail::Scope*>(ctx);
  if (scope != nullptr && scope->GetScript() != script_) scope = nullptr;
  return kt::detail::Interpreter(run, frame).Body(ops, ctx, scope, result);
}

kt_long Kt_Script::ExecFunc(const Kt_WString& name, int argc, Kt_Variant* argv,
                            Kt_Variant& result) {
  Kt_ScriptFunc* const func = GetFunc(name);
  if (func == nullptr || (argc > 0 && argv == nullptr)) return kFailed;
  Kt_VariantList args;
  for (int arg = 0; arg < argc; ++arg) args.Add(argv[arg]);
  return func->ExecFunc(&args, result);
}

kt_long Kt_Script::ExecFunc(const Kt_WString& name, const Kt_VariantList* args,
                            Kt_Variant& result) {
  Kt_ScriptFunc* const func = GetFunc(name);
  return func ? func->ExecFunc(args, result) : kFailed;
}

void Kt_Script::SetBudget(const Kt_RunBudget* budget) {
  kt::detail::RunState::Of(*this).SetBudget(budget);
}

void Kt_Script::SetCompiled(bool is_compiled) {
  kt::detail::RunState::Of(*this).SetCompiled(is_compiled);
}

Kt_ScriptCallStack Kt_Script::GetCallStack() const {
  Kt_ScriptCallStack positions;
  const kt::detail::RunState::Frame* frame = run_state_ ? run_state_->GetFrame() : nullptr;
  for (; frame != nullptr; frame = frame->caller) {
    positions.push_back({frame->func->GetSourceName(), frame->func->GetName(),
                         frame->op ? frame->op->line32 : frame->func->GetProtoLine()});
  }
  return positions;
}

// Functions that may be running are kept until the run has ended.
void Kt_Script::Clear() {
  GetVariables().Clear();
  if (run_state_ != nullptr && run_state_->IsRunning()) {
    retired_.push_back(std::make_unique<Kt_ScriptFuncList>());
    retired_.back()->Swap(funcs_);
  } else {
    funcs_.Clear();
  }
}

bool Kt_Script::HasFunc(const Kt_WString& name, const Kt_ScriptFunc* func) const {
  const auto holds = [&](const Kt_ScriptFuncList& list) {
    const kt_long index = list.FindId(name);
    return index >= 0 && list.GetItem(index) == func;
  };
  return holds(funcs_) || std::any_of(retired_.begin(), retired_.end(),
                                      [&](const auto& list) { return holds(*list); });
}

void Kt_Script::FreeRetired() { retired_.clear(); }
