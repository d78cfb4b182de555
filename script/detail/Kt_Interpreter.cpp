// SPDX-License-Identifier: MIT
//
// Walks the operation tree of a function; a C++ function per kind of statement. A statement ends
// with an Outcome: how it goes on (Flow) is one thing, why it failed (a code) another.
//
// This is the reference: functions run as code (script/code/) must give what it gives. It runs what
// that leaves to it, and functions that have no code.
//
// A failure has been reported by whoever found it, so codes only travel here. Stack and memory that
// run out are noted in the run (NoteStop), so that no statement turns them into anything else.
//
// Cost: a step of the meter per statement, a Scope on the native stack per call, block and loop;
// variables are found through the hint of their statement, mostly by one comparison.
#include "script/detail/Kt_Interpreter.h"

#include <algorithm>

#include "classlib/base/Kt_NativeStack.h"
#include "classlib/value/Kt_VarInline.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_MemoryDoor.h"
#include "script/Kt_ScriptOpPayloads.h"
#include "script/code/Kt_Machine.h"

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_ScriptFunc";

// Codes that no statement goes on after.
bool EndsRun(kt_long code) { return code == kErrTooDeep || code == kErrNoMemory; }

}  // namespace

// Calls -------------------------------------------------------------------------------------------

bool Interpreter::BindArgs(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count,
                           Kt_VariableList& variables) {
  const Kt_ScriptOpList& declared = func.GetArgs();
  bool has_items = false;
  for (int arg = 0; arg < declared.GetCount(); ++arg) {
    const Kt_WString& name = declared.GetItem(arg)->GetVar()->name;
    if (arg >= arg_count) {
      variables.AddVariable(name, Kt_Variant());
    } else if (args[arg].IsRef()) {
      variables.AddRefVariable(name, args[arg], true);
      has_items = has_items || args[arg].GetRefItem() >= 0;
    } else {
      variables.AddVariable(name, std::move(args[arg]));
    }
  }
  return has_items;
}

void Interpreter::WriteBack(const Kt_ScriptFunc& func, const Kt_Variant* args, int arg_count,
                            const Kt_VariableList& variables) {
  const int count = std::min<int>(func.GetArgs().GetCount(), arg_count);
  for (int arg = 0; arg < count; ++arg) {
    if (!args[arg].IsRef() || args[arg].GetRefItem() < 0) continue;
    const Kt_Variable* const variable =
        variables.FindVariable(func.GetArgs().GetItem(arg)->GetVar()->name);
    if (variable != nullptr) (void)args[arg].AssignThroughRef(variable->GetValue());
  }
}

// The code of a function that has none yet. Fails as the call itself would.
LinkedCode* Interpreter::CodeOf(RunState& run, const Kt_ScriptFunc& func, kt_long& code) {
  RunState::Frame frame{&func, nullptr, nullptr};
  const RunState::Call call(run, frame);
  try {
    return kt_hasstack() ? Machine::CodeOf(func, run.GetScript()) : nullptr;
  } catch (const WorkStopped&) {
    code = run.Check(&run.GetScript());
  } catch (const std::bad_alloc& failure) {
    (void)kt::NoteMemoryFailure(failure);
    code = kt::ReportNoMemory(&run.GetScript(), kSource, func.GetName());
    run.NoteStop(code);
  }
  return nullptr;
}

kt_long Interpreter::CallFunc(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count,
                              Kt_Variant& result) {
  result.Clear();
  if (func.GetScript() == nullptr) return kFailed;
  RunState& run = RunState::Of(*func.GetScript());
  const RunState::Working working(run);
  if (run.UsesCode()) {
    kt_long failed = kOk;
    LinkedCode* const code = CodeOf(run, func, failed);
    if (failed != kOk) return failed;
    if (code != nullptr) return run.GetMachine().CallFresh(func, args, arg_count, result);
  }
  return CallByWalk(func, args, arg_count, result);
}

kt_long Interpreter::CallByWalk(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count,
                                Kt_Variant& result) {
  Kt_Script& script = *func.GetScript();
  RunState& run = RunState::Of(script);
  RunState::Frame frame{&func, nullptr, nullptr};
  const RunState::Call call(run, frame);
  kt_long code = kt_hasstack() ? run.Tick(&script) : run.StopTooDeep(&script);
  if (KT_UNLIKELY(code != kOk)) return code;
  try {
    Scope scope(script);
    const bool has_items = BindArgs(func, args, arg_count, scope.GetVariables());
    code = Interpreter(run, frame).WholeBody(func, scope, result).code;
    if (KT_UNLIKELY(has_items)) WriteBack(func, args, arg_count, scope.GetVariables());
  } catch (const WorkStopped&) {
    code = run.GetStopCode();  // reported below
  } catch (const std::bad_alloc& failure) {
    // Here, and not at the outer door: the frame still knows the place.
    (void)kt::NoteMemoryFailure(failure);
    code = kt::ReportNoMemory(&script, kSource, func.GetName());
  }
  // From here on nothing is tried again: `f() + f()` would double the work with every level.
  if (KT_UNLIKELY(EndsRun(code))) run.NoteStop(code);
  if (KT_UNLIKELY(run.GetStopCode() != kOk)) return run.Check(&script);
  if (KT_LIKELY(code == kOk)) return kOk;
  PlaceFailure({}, -1, 0);  // it is not one of the expression that called
  return code;
}

// Statements --------------------------------------------------------------------------------------

// Inline, as EvalWith is: a call more for every statement shows in loops.
KT_ALWAYS_INLINE Outcome Interpreter::Statement(const Kt_ScriptOp& op, Kt_ExprObject* context,
                                                Scope* scope, Kt_Variant& result) {
  switch (op.opcode) {
    case kScriptInc:
    case kScriptDec: return StepName(op, context, scope);
    case kScriptExpr: {
      Kt_Variant ignored;
      return Eval(op.GetSet()->value, context, ignored);
    }
    case kScriptVar:
    case kScriptVarArray:
    case kScriptSet:
    case kScriptSetAdd:
    case kScriptSetSub:
    case kScriptSetMul:
    case kScriptSetDiv:
    case kScriptSetMod:
    case kScriptPathSet:
    case kScriptPathSetAdd:
    case kScriptPathSetSub:
    case kScriptPathSetMul:
    case kScriptPathSetDiv:
    case kScriptPathSetMod: {
      Kt_Variant value;
      Kt_Expr& expr = op.HasName() ? op.GetVar()->expression : op.GetSet()->value;
      if (const kt_long code = Eval(expr, context, value)) return code;
      return Finish(op, value, context, scope);
    }
    case kScriptBlock: {
      const Outcome outcome = ScopedBody(*op.GetBlock(), context, scope, result);
      // `continue` ends the block and nothing else.
      return outcome.flow == Flow::kContinue ? Flow::kNext : outcome;
    }
    case kScriptContinue: return Flow::kContinue;
    case kScriptBreak: return Flow::kBreak;
    case kScriptReturn: return Return(op, context, result);
    case kScriptIf: return If(op, context, scope, result);
    case kScriptSwitch: return Switch(op, context, scope, result);
    case kScriptWhile: return While(op, context, scope, result);
    case kScriptFor: return For(op, context, scope, result);
    default: return Flow::kNext;
  }
}

// What a declaration or an assignment does with its value.
kt_long Interpreter::Finish(const Kt_ScriptOp& op, Kt_Variant& value, Kt_ExprObject* context,
                            Scope* scope) {
  if (op.opcode == kScriptVar) return Declare(op, value, context, scope);
  if (op.opcode == kScriptVarArray) return DeclareArray(op, value, context);
  if (op.HasName()) return AssignName(op, value, context, scope);
  return AssignEntry(op.GetSet()->target, CompoundOperator(op.opcode), value, context);
}

Outcome Interpreter::Run(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope,
                         Kt_Variant& result) {
  return Statement(op, context, scope, result);
}

Outcome Interpreter::Body(const Kt_ScriptOpList& ops, Kt_ExprObject* context, Scope* scope,
                          Kt_Variant& result, kt_long first) {
  result.Clear();
  // The count is read anew: a statement may load more of the same script.
  for (kt_long index = first; index < ops.GetCount(); ++index) {
    const Kt_ScriptOp& op = *ops.GetItem(index);
    frame_.op = &op;
    if (const kt_long code = run_.Tick(context); KT_UNLIKELY(code != kOk)) return code;
    run_.TellStatement(frame_);
    const Outcome outcome = Statement(op, context, scope, result);
    if (KT_UNLIKELY(!outcome.IsNext())) return outcome;
  }
  return Flow::kNext;
}

Outcome Interpreter::WholeBody(const Kt_ScriptFunc& func, Scope& scope, Kt_Variant& result) {
  const Kt_ScriptOpList& body = func.GetBody();
  const Outcome outcome = Body(body, &scope, &scope, result);
  // A shared function that was added to meanwhile has another tree now, with the same beginning.
  if (!outcome.IsNext() || &func.GetBody() == &body) return outcome;
  return Body(func.GetBody(), &scope, &scope, result, body.GetCount());
}

Outcome Interpreter::ScopedBody(const Kt_ScriptOpList& ops, Kt_ExprObject* context, Scope* scope,
                                Kt_Variant& result) {
  if (KT_UNLIKELY(!kt_hasstack())) return run_.StopTooDeep(context);
  Scope inner(context, scope, run_.GetScript());
  return Body(ops, &inner, Inside(scope, inner), result);
}

// Expressions -------------------------------------------------------------------------------------

kt_long Interpreter::Eval(Kt_Expr& expr, Kt_ExprObject* context, Kt_Variant& value) {
  const kt_long code = frame_.func->Own(expr).ExecExpr(context, value);
  if (KT_LIKELY(code == kOk)) return run_.Check(context);
  return KT_UNLIKELY(code == kObjectGone) ? AfterObjectGone() : code;
}

kt_long Interpreter::EvalTruth(Kt_Expr& expr, Kt_ExprObject* context, bool& is_true) {
  Kt_Variant value;
  if (const kt_long code = Eval(expr, context, value)) return code;
  is_true = IsConditionTrue(value);
  return kOk;
}

kt_long Interpreter::Ask(const Kt_WString& name, Kt_Variable*& variable, Kt_Variant& value,
                         Kt_ExprObject* context) {
  const kt_long code = context->GetCtxVar(name, &variable, &value);
  if (KT_LIKELY(code == kOk)) return kOk;
  (void)kt::Report(context, kSource, kErrNoVariable, name);
  ReturnFailureAs(code);
  return code;
}

kt_long Interpreter::Store(const Kt_WString& name, const Kt_Variant& value, int flag,
                           Kt_ExprObject* context) {
  const FailureMark mark;
  const kt_long code = context->SetCtxVar(name, value, flag);
  return KT_LIKELY(code == kOk) ? kOk : AfterStore(name, code, mark);
}

kt_long Interpreter::AddVariable(const Kt_WString& name, const Kt_Variant& value,
                                 Kt_ExprObject* context) {
  const FailureMark mark;
  const kt_long code = context->AddCtxVar(name, value);
  return KT_LIKELY(code == kOk) ? kOk : AfterStore(name, code, mark);
}

kt_long Interpreter::AfterStore(const Kt_WString& name, kt_long code, const FailureMark& mark) {
  return mark.HasNoted(code) ? code : NoteCause(code, Kt_Cause::kNotStored, {name});
}

// Declarations ------------------------------------------------------------------------------------

kt_long Interpreter::Declare(const Kt_ScriptOp& op, Kt_Variant& value, Kt_ExprObject* context,
                             Scope* scope) {
  const Kt_WString& name = op.GetVar()->name;
  if (scope != context) return AddVariable(name, value, context);
  if (value.IsRef()) value = value.Dereference();
  scope->GetVariables().AddVariable(name, std::move(value));
  return kOk;
}

kt_long Interpreter::DeclareArray(const Kt_ScriptOp& op, Kt_Variant& value,
                                  Kt_ExprObject* context) {
  const Kt_WString& name = op.GetVar()->name;
  const kt_long count = value.ToInteger();
  value.Clear();
  if (count > 0) {
    Kt_VariantList list;
    if (!list.Resize(count)) return kt::Report(context, kSource, kErrListTooLong, name);
    value.Set(std::move(list));
  }
  return AddVariable(name, value, context);
}

// Assignments -------------------------------------------------------------------------------------

kt_long Interpreter::StepName(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope) {
  const Kt_ScriptOpVar& var = *op.GetVar();
  const kt_long step = op.opcode == kScriptInc ? 1 : -1;
  Kt_Variable* variable = run_.FindVariable(scope, kt_symbolW(var.name), HintOf(var));
  Kt_Variant value;
  if (variable == nullptr) {
    if (const kt_long code = Ask(var.name, variable, value, context)) return code;
  }
  if (variable == nullptr) return Store(var.name, Stepped(value, step), 0, context);
  variable->GetValueW() = Stepped(variable->GetValue(), step);
  return kOk;
}

kt_long Interpreter::AssignName(const Kt_ScriptOp& op, Kt_Variant& value, Kt_ExprObject* context,
                                Scope* scope) {
  const Kt_ScriptOpVar& var = *op.GetVar();
  if (const Compound operation = CompoundOperator(op.opcode)) {
    return CombineName(var.name, HintOf(var), *operation, value, context, scope);
  }
  Kt_Variable* const variable = run_.FindVariable(scope, kt_symbolW(var.name), HintOf(var));
  return SetName(var.name, variable, value, context);
}

kt_long Interpreter::SetName(const Kt_WString& name, Kt_Variable* variable, Kt_Variant& value,
                             Kt_ExprObject* context) {
  if (variable == nullptr) return Store(name, value, 1, context);
  variable->SetValue(std::move(value));
  return kOk;
}

kt_long Interpreter::CombineName(const Kt_WString& name, std::uint16_t& hint, Operator operation,
                                 const Kt_Variant& value, Kt_ExprObject* context, Scope* scope) {
  Kt_Variable* variable = run_.FindVariable(scope, kt_symbolW(name), hint);
  Kt_Variant current;
  if (variable == nullptr) {
    if (const kt_long code = Ask(name, variable, current, context)) return code;
  }
  if (variable != nullptr && !value.IsObject() && !variable->GetValue().IsObject()) {
    return Combine(operation, value, variable->GetValueW(), context);
  }
  if (variable != nullptr) {
    const Kt_VariableHold hold(variable);  // an object is asked for its value
    return Combine(operation, value, variable->GetValueW(), context);
  }
  if (const kt_long code = Combine(operation, value, current, context)) return code;
  return Store(name, current, 0, context);
}

// target = target (operation) value; in place, so that appending to a text does not copy it.
kt_long Interpreter::Combine(Operator operation, const Kt_Variant& value, Kt_Variant& target,
                             Kt_ExprObject* context) {
  const kt_long code = Compute(operation, target, value, target);
  if (KT_LIKELY(code == kOk)) return kOk;
  return kt::Report(context, kSource, code, Kt_WString(OperatorText(operation)) + u"=");
}

// A function that was named as a member (x.f) runs once: when it has been read, what it gave takes
// its place in the entry.
kt_long Interpreter::SettleCall(Kt_ExprStackObj& entry, const Kt_Variant& value,
                                Kt_ExprObject* context) {
  const std::int16_t kind = entry.GetKind();
  const bool is_call =
      kind == EXPR_OBJ_SCRIPTFUNC || kind == EXPR_OBJ_INTFUNC || kind == EXPR_OBJ_EXTAPI;
  if (!is_call) return kOk;
  if (!value.IsObject()) {
    entry.SetValueType(context, value);
    return kOk;
  }
  const Kt_ObjectHolder hold(value.GetHolder());
  return entry.FromObject(context, &hold);
}

// The old value of a compound assignment; empty when its object was destroyed and the run goes on.
kt_long Interpreter::ReadOldValue(const Kt_Expr& target, Kt_ExprStackObj& entry, Kt_Variant& value,
                                  Kt_ExprObject* context) {
  const FailureMark mark;
  const kt_long code = entry.GetObjValue(context, value, 0);
  if (KT_LIKELY(code == kOk)) return kOk;
  if (!mark.HasNoted(code)) (void)NoteSilentCall(target.GetText(), code);
  target.PlaceFailure();
  if (code != kObjectGone) return code;
  value.Clear();
  return AfterObjectGone();
}

kt_long Interpreter::AssignEntry(Kt_Expr& target, Compound operation, Kt_Variant& value,
                                 Kt_ExprObject* context) {
  const std::uint32_t failures = kt::MemoryFailures();
  const kt_long code = AssignThrough(frame_.func->Own(target), operation, value, context);
  kt::PassMemoryFailure(failures);
  return code;
}

kt_long Interpreter::AssignThrough(Kt_Expr& target, Compound operation, Kt_Variant& value,
                                   Kt_ExprObject* context) {
  Kt_ExprStackObj entry;
  kt_long code = target.ExecExprObj(context, entry);
  if (code == kOk) code = run_.Check(context);
  if (code == kObjectGone) return AfterObjectGone();  // nothing to assign to is left
  if (code != kOk) return code;
  if (target.GetState() == kStateName) {
    const Kt_WString name = target.GetFirstOp()->text;
    std::uint16_t hint = 0;
    if (!operation) return Store(name, value, 1, context);
    return CombineName(name, hint, *operation, value, context, nullptr);
  }
  Kt_Variant current;
  if (!operation) {
    if (entry.GetKind() == EXPR_OBJ_VALUE) current = entry.GetValue();  // what a call gave
  } else {
    if (const kt_long failed = ReadOldValue(target, entry, current, context)) return failed;
    if (const kt_long failed = SettleCall(entry, current, context)) return failed;
    Kt_Variant combined = current.Dereference();
    if (const kt_long failed = Combine(*operation, value, combined, context)) return failed;
    value = std::move(combined);
  }
  if (current.AssignThroughRef(value)) return kOk;
  const FailureMark mark;
  code = entry.SetObjValue(context, value);
  if (KT_LIKELY(code == kOk)) return kOk;
  code = ReportStore(entry.GetObjID(), target, code, mark, context);
  return code == kObjectGone ? AfterObjectGone() : code;
}

kt_long Interpreter::ReportStore(const Kt_WString& id, const Kt_Expr& target, kt_long code,
                                 const FailureMark& mark, Kt_ExprObject* context) {
  code = AfterStore(target.GetText(), code, mark);
  Kt_Result result;
  if (code == kFailed) result.AddMsg(kErrBadOperation, kSource, 0, u"=");
  if (code == kNoMember) {
    result.AddMsg(kErrNoMethod, kSource, 0, id, target.GetText());
  }
  if (result.GetCount() > 0) {
    (void)ReportResult(context, result, Kt_WString(Kt_RunError::Last().text));
    ReturnFailureAs(code);
  }
  target.PlaceFailure();
  return code;
}

Outcome Interpreter::Return(const Kt_ScriptOp& op, Kt_ExprObject* context, Kt_Variant& result) {
  const kt_long code = Eval(op.GetSet()->value, context, result);
  if (KT_LIKELY(code == kOk)) return Flow::kReturn;
  // A failure has been reported; the function still returns.
  const bool ends_run = code == kAbort || EndsRun(code) || run_.GetStopCode() != kOk;
  if (!ends_run) return Flow::kReturn;
  result.Clear();
  return code;
}

// Control -----------------------------------------------------------------------------------------

Outcome Interpreter::If(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope,
                        Kt_Variant& result) {
  const Kt_ScriptOpIf& branches = *op.GetIf();
  for (kt_long index = 0; index < branches.GetCount(); ++index) {
    const Kt_ScriptOpItem& branch = *branches.GetItem(index);
    bool is_taken = branch.flag == 1;
    if (!is_taken) {
      if (const kt_long code = EvalTruth(branch.expression, context, is_taken)) return code;
    }
    if (!is_taken) continue;
    run_.TellBranch(frame_, index);
    return ScopedBody(branch.body, context, scope, result);
  }
  run_.TellBranch(frame_, branches.GetCount());
  return Flow::kNext;
}

Outcome Interpreter::Switch(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope,
                            Kt_Variant& result) {
  const Kt_ScriptOpSwitch& labels = *op.GetSwitch();
  Kt_Variant chosen;
  if (const kt_long code = Eval(labels.expression, context, chosen)) return code;
  bool is_matched = false;
  for (kt_long index = 0; index < labels.GetCount(); ++index) {
    const Kt_ScriptOpItem& label = *labels.GetItem(index);
    const bool was_matched = is_matched;
    if (label.flag == 1) {
      is_matched = true;
    } else if (!is_matched) {
      Kt_Variant value;
      if (const kt_long code = Eval(label.expression, context, value)) return code;
      is_matched = kt::VarCmp(chosen, value, kCmpEqual) != 0;
    }
    if (!is_matched) continue;
    if (!was_matched) run_.TellBranch(frame_, index);
    chosen.Clear();  // what it holds goes before the body runs
    const Outcome outcome = ScopedBody(label.body, context, scope, result);
    if (outcome.flow == Flow::kBreak) return Flow::kNext;
    if (!outcome.IsNext()) return outcome;
  }
  if (!is_matched) run_.TellBranch(frame_, labels.GetCount());
  return Flow::kNext;
}

Outcome Interpreter::While(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope,
                           Kt_Variant& result) {
  const Kt_ScriptOpWhile& loop = *op.GetWhile();
  return Loop(op, loop.condition, loop.body, nullptr, context, scope, result);
}

Outcome Interpreter::For(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope,
                         Kt_Variant& result) {
  const Kt_ScriptOpFor& loop = *op.GetFor();
  const Outcome outcome = Body(loop.init, context, scope, result);
  if (!outcome.IsNext()) return outcome;
  return Loop(op, loop.condition, loop.body, &loop.step, context, scope, result);
}

Outcome Interpreter::Loop(const Kt_ScriptOp& op, Kt_Expr& condition, const Kt_ScriptOpList& body,
                          const Kt_ScriptOpList* step, Kt_ExprObject* context, Scope* scope,
                          Kt_Variant& result) {
  if (KT_UNLIKELY(!kt_hasstack())) return run_.StopTooDeep(context);
  // One scope for all rounds: what the body declares stays from one round to the next.
  Scope inner(context, scope, run_.GetScript());
  for (;;) {
    frame_.op = &op;
    bool goes_on = false;
    if (const kt_long code = EvalTruth(condition, context, goes_on)) return code;
    run_.TellBranch(frame_, goes_on ? 1 : 0);
    if (!goes_on) return Flow::kNext;
    if (const kt_long code = run_.Tick(context); KT_UNLIKELY(code != kOk)) return code;
    Outcome outcome = Body(body, &inner, Inside(scope, inner), result);
    if (outcome.flow == Flow::kBreak) return Flow::kNext;
    if (!outcome.IsNext() && outcome.flow != Flow::kContinue) return outcome;
    if (step == nullptr) continue;
    outcome = Body(*step, context, scope, result);
    if (!outcome.IsNext()) return outcome;
  }
}

}  // namespace kt::detail
