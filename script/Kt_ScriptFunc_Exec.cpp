// SPDX-License-Identifier: MIT
#include <algorithm>
#include <utility>

#include "object/Kt_MemoryDoor.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptOpPayloads.h"
#include "script/code/Kt_FuncCode.h"
#include "script/detail/Kt_Interpreter.h"

namespace {

// A jump on its way out shows itself to hosts as the code of its statement.
kt_long CodeOf(kt::detail::Outcome outcome) {
  using kt::detail::Flow;
  switch (outcome.flow) {
    case Flow::kBreak: return kScriptBreak;
    case Flow::kContinue: return kScriptContinue;
    case Flow::kReturn: return kScriptReturn;
    default: return outcome.code;
  }
}

}  // namespace

kt_long Kt_ScriptFunc::ExecFunc(const Kt_VariantList* args, Kt_Variant& result) {
  if (script_ == nullptr) return CallWith(args, result);
  KT_CHECK_THREAD(script_->one_thread_, "the script of function", name_);
  const kt_long code =
      kt::AtMemoryDoor(script_, u"Kt_ScriptFunc", name_, [&] { return CallWith(args, result); });
  if (code == kErrNoMemory) result.Clear();
  return code;
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
  return kt::AtMemoryDoor(script_, u"Kt_ScriptFunc", name_,
                          [&] { return RunBody(ops, ctx, result); });
}

kt_long Kt_ScriptFunc::RunBody(const Kt_ScriptOpList& ops, Kt_ExprObject* ctx, Kt_Variant& result) {
  result.Clear();
  if (script_ == nullptr || ctx == nullptr) return kFailed;
  kt::detail::RunState& run = kt::detail::RunState::Of(*script_);
  kt::detail::RunState::Frame frame{this, nullptr, nullptr};
  const kt::detail::RunState::Call call(run, frame);
  // A context that the host made is asked through its virtual operations.
  auto* scope = dynamic_cast<kt::detail::Scope*>(ctx);
  if (scope != nullptr && scope->GetScript() != script_) scope = nullptr;
  const auto outcome = kt::detail::Interpreter(run, frame).Body(ops, ctx, scope, result);
  return run.GetStopCode() != kOk ? run.Check(ctx) : CodeOf(outcome);
}

void Kt_ScriptFunc::DropCode() const {
  if (code_ == nullptr) return;
  const std::shared_ptr<kt::detail::LinkedCode> code = std::exchange(code_, nullptr);
  if (script_ == nullptr) return;
  script_->funcs_.NewVersion();
  if (script_->run_state_ != nullptr) script_->run_state_->Retire(code);
}

kt_long Kt_Script::ExecFunc(const Kt_WString& name, int argc, Kt_Variant* argv,
                            Kt_Variant& result) {
  return kt::AtMemoryDoor(this, u"Kt_Script", name, [&] {
    Kt_ScriptFunc* const func = GetFunc(name);
    if (func == nullptr) return NoteNoFunc(name);
    if (argc > 0 && argv == nullptr) {
      return kt::NoteCause(kFailed, Kt_Cause::kFewArguments,
                           {name, Kt_Variant(kt_long{argc}).ToString(), u"0"});
    }
    Kt_VariantList args;
    for (int arg = 0; arg < argc; ++arg) args.Add(argv[arg]);
    return func->ExecFunc(&args, result);
  });
}

kt_long Kt_Script::ExecFunc(const Kt_WString& name, const Kt_VariantList* args,
                            Kt_Variant& result) {
  return kt::AtMemoryDoor(this, u"Kt_Script", name, [&] {
    Kt_ScriptFunc* const func = GetFunc(name);
    return func ? func->ExecFunc(args, result) : NoteNoFunc(name);
  });
}

kt_long Kt_Script::NoteNoFunc(const Kt_WString& name) const {
  std::vector<Kt_WString> known;
  known.reserve(static_cast<std::size_t>(funcs_.GetCount()));
  for (kt_long at = 0; at < funcs_.GetCount(); ++at) known.push_back(funcs_.GetItem(at)->GetName());
  return kt::NoteCause(kFailed, Kt_Cause::kNoFunction, {name}, known);
}

void Kt_Script::SetBudget(const Kt_RunBudget* budget) {
  kt::detail::RunState::Of(*this).SetBudget(budget);
}

void Kt_Script::SetCompiled(bool is_compiled) {
  kt::detail::RunState::Of(*this).SetCompiled(is_compiled);
}

namespace {

Kt_ScriptPosition PositionOf(const kt::detail::RunState::Frame& frame) {
  const Kt_ScriptOp* const op = kt::detail::RunState::OpOf(frame);
  return {frame.func->GetSourceName(), frame.func->GetName(),
          op ? op->line32 : frame.func->GetProtoLine()};
}

template <class Branches>
void AddConditions(const Branches& branches, std::vector<const Kt_Expr*>& expressions) {
  for (kt_long at = 0; at < branches.GetCount(); ++at) {
    expressions.push_back(&branches.GetItem(at)->expression);
  }
}

}  // namespace

Kt_ScriptCallStack Kt_Script::GetCallStack() const {
  Kt_ScriptCallStack positions;
  const kt::detail::RunState::Frame* frame = run_state_ ? run_state_->GetFrame() : nullptr;
  for (; frame != nullptr; frame = frame->caller) positions.push_back(PositionOf(*frame));
  return positions;
}

void Kt_Script::GetThreadCalls(std::size_t inner, std::size_t outer, Kt_ScriptCallStack& calls,
                               std::size_t& left_out) {
  using kt::detail::RunState;
  std::vector<const RunState::Frame*> last;  // a ring of those behind the inner ones
  std::size_t count = 0;
  for (const RunState* run = RunState::OfThread(); run != nullptr; run = run->GetOuter()) {
    for (const auto* frame = run->GetFrame(); frame != nullptr; frame = frame->caller, ++count) {
      if (count < inner) {
        calls.push_back(PositionOf(*frame));
      } else if (last.size() < outer) {
        last.push_back(frame);
      } else if (outer > 0) {
        last[(count - inner) % outer] = frame;
      }
    }
  }
  left_out = count - calls.size() - last.size();
  for (std::size_t at = 0; at < last.size(); ++at) {
    calls.push_back(PositionOf(*last[(left_out + at) % last.size()]));
  }
}

void Kt_Script::GetThreadExpressions(std::vector<const Kt_Expr*>& expressions) {
  const kt::detail::RunState* const run = kt::detail::RunState::OfThread();
  const Kt_ScriptOp* const op =
      run && run->GetFrame() ? kt::detail::RunState::OpOf(*run->GetFrame()) : nullptr;
  if (op == nullptr || !op->HasPayload()) return;
  if (op->HasName()) {
    expressions.push_back(&op->GetVar()->expression);
    return;
  }
  switch (op->opcode) {
    case kScriptBlock: return;
    case kScriptFor: expressions.push_back(&op->GetFor()->condition); return;
    case kScriptWhile: expressions.push_back(&op->GetWhile()->condition); return;
    case kScriptSwitch:
      expressions.push_back(&op->GetSwitch()->expression);
      AddConditions(*op->GetSwitch(), expressions);
      return;
    case kScriptIf: AddConditions(*op->GetIf(), expressions); return;
    default:
      expressions.push_back(&op->GetSet()->value);
      expressions.push_back(&op->GetSet()->target);
  }
}

// Functions that may be running are kept until the run has ended.
void Kt_Script::Clear() {
  if (run_state_ != nullptr) run_state_->LetGlobalsGo();
  GetVariables().Clear();
  if (run_state_ != nullptr && run_state_->IsRunning()) {
    retired_.push_back(std::make_unique<Kt_ScriptFuncList>());
    retired_.back()->Swap(funcs_);
  } else {
    funcs_.Clear();
  }
}

bool Kt_Script::HasFunc(const Kt_WString& name, const Kt_ScriptFunc* func) const {
  const kt_long index = funcs_.FindId(name);
  return index >= 0 && funcs_.GetItem(index) == func;
}

void Kt_Script::FreeRetired() { retired_.clear(); }
