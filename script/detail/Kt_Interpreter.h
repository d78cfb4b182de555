// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "script/Kt_ScriptOpItem.h"
#include "script/detail/Kt_RunState.h"

namespace kt::detail {

struct LinkedCode;

// How a statement ends: the next one follows, or it has failed, or a jump is on its way out.
enum class Flow : kt_long { kNext, kFailed, kBreak, kContinue, kReturn };

// The end of a statement, and its code when it has failed; in one register. A code converts: kOk
// means that the next statement follows.
struct Outcome {
  Outcome(Flow jump) : flow(jump), code(kOk) {}
  Outcome(kt_long result) : flow(result == kOk ? Flow::kNext : Flow::kFailed), code(result) {}
  bool IsNext() const { return flow == Flow::kNext; }

  Flow flow;
  kt_long code;  // kOk unless it has failed
};

// Runs the operation tree of one function call.
//
// House rules:
//  1. Every statement notes itself in the frame before it does anything, so that a report finds its
//     line, and is charged as one step.
//  2. Codes are passed up as they are, except where a statement gives one a meaning; a code that
//     stops the run (GetStopCode) is never given another.
//  3. Variables are found at each use: anything evaluated before may have made or removed some.
//  4. `scope` is null when the context in hand, or one around it in the same call, was not made by
//     the interpreter; then everything goes through the virtual operations of `context`.
class Interpreter {
 public:
  Interpreter(RunState& run, RunState::Frame& frame) : run_(run), frame_(frame) {}

  // Calls `func` with the `arg_count` values at `args`, which may be taken over.
  static kt_long CallFunc(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count,
                          Kt_Variant& result);
  // The same by the walk, whatever the run prefers.
  static kt_long CallByWalk(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count,
                            Kt_Variant& result);

  // The statements from `first` on.
  Outcome Body(const Kt_ScriptOpList& ops, Kt_ExprObject* context, Scope* scope, Kt_Variant& result,
               kt_long first = 0);
  // The second half of a declaration or an assignment, whose value has been computed.
  kt_long Finish(const Kt_ScriptOp& op, Kt_Variant& value, Kt_ExprObject* context, Scope* scope);
  // One statement, which has been charged.
  Outcome Run(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope, Kt_Variant& result);

  // What an assignment that has failed reports: nobody below says that there is nothing to assign
  // to. `id` is what the target belongs to. The code to go on with.
  KT_COLD static kt_long ReportStore(const Kt_WString& id, const Kt_Expr& target, kt_long code,
                                     const FailureMark& mark, Kt_ExprObject* context);

 private:
  using Compound = std::optional<Operator>;  // of an assignment: none for a plain one

  static LinkedCode* CodeOf(RunState& run, const Kt_ScriptFunc& func, kt_long& code);
  // True when an argument refers to an item of a list: its variable is a copy, which WriteBack
  // stores into the item after the call.
  static bool BindArgs(const Kt_ScriptFunc& func, Kt_Variant* args, int arg_count,
                       Kt_VariableList& variables);
  static void WriteBack(const Kt_ScriptFunc& func, const Kt_Variant* args, int arg_count,
                        const Kt_VariableList& variables);
  Outcome Statement(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope,
                    Kt_Variant& result);
  Outcome WholeBody(const Kt_ScriptFunc& func, Scope& scope, Kt_Variant& result);
  // Runs a body in a scope of its own inside `context`.
  Outcome ScopedBody(const Kt_ScriptOpList& ops, Kt_ExprObject* context, Scope* scope,
                     Kt_Variant& result);

  kt_long Declare(const Kt_ScriptOp& op, Kt_Variant& value, Kt_ExprObject* context, Scope* scope);
  kt_long DeclareArray(const Kt_ScriptOp& op, Kt_Variant& value, Kt_ExprObject* context);
  kt_long StepName(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope);
  kt_long AssignName(const Kt_ScriptOp& op, Kt_Variant& value, Kt_ExprObject* context,
                     Scope* scope);
  // Stores into the variable that was found for `name`, or has the context declare it.
  static kt_long SetName(const Kt_WString& name, Kt_Variable* variable, Kt_Variant& value,
                         Kt_ExprObject* context);
  kt_long CombineName(const Kt_WString& name, std::uint16_t& hint, Operator operation,
                      const Kt_Variant& value, Kt_ExprObject* context, Scope* scope);
  kt_long ReadOldValue(const Kt_Expr& target, Kt_ExprStackObj& entry, Kt_Variant& value,
                       Kt_ExprObject* context);
  static kt_long SettleCall(Kt_ExprStackObj& entry, const Kt_Variant& value,
                            Kt_ExprObject* context);
  kt_long AssignEntry(Kt_Expr& target, Compound operation, Kt_Variant& value,
                      Kt_ExprObject* context);
  kt_long AssignThrough(Kt_Expr& target, Compound operation, Kt_Variant& value,
                        Kt_ExprObject* context);
  kt_long Combine(Operator operation, const Kt_Variant& value, Kt_Variant& target,
                  Kt_ExprObject* context);
  Outcome Return(const Kt_ScriptOp& op, Kt_ExprObject* context, Kt_Variant& result);
  Outcome If(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope, Kt_Variant& result);
  Outcome Switch(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope, Kt_Variant& result);
  Outcome While(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope, Kt_Variant& result);
  Outcome For(const Kt_ScriptOp& op, Kt_ExprObject* context, Scope* scope, Kt_Variant& result);
  // The rounds of both; `step` may be null.
  Outcome Loop(const Kt_ScriptOp& op, Kt_Expr& condition, const Kt_ScriptOpList& body,
               const Kt_ScriptOpList* step, Kt_ExprObject* context, Scope* scope,
               Kt_Variant& result);

  // The scope to hand to what runs in `inner`: none when it lies in a context of the host, whose
  // names come before the globals.
  static Scope* Inside(Scope* scope, Scope& inner) { return scope ? &inner : nullptr; }
  // Evaluates; answers kAbort when the script's host was destroyed meanwhile.
  kt_long Eval(Kt_Expr& expr, Kt_ExprObject* context, Kt_Variant& value);
  kt_long EvalTruth(Kt_Expr& expr, Kt_ExprObject* context, bool& is_true);
  kt_long AfterObjectGone() const { return run_.IsHostValid() ? kOk : kAbort; }
  // Asks the context for `name`: the variable, or null and the value. Reports an unknown name.
  static kt_long Ask(const Kt_WString& name, Kt_Variable*& variable, Kt_Variant& value,
                     Kt_ExprObject* context);
  // SetCtxVar and AddCtxVar, which may fail without a word.
  static kt_long Store(const Kt_WString& name, const Kt_Variant& value, int flag,
                       Kt_ExprObject* context);
  static kt_long AddVariable(const Kt_WString& name, const Kt_Variant& value,
                             Kt_ExprObject* context);
  KT_COLD static kt_long AfterStore(const Kt_WString& name, kt_long code, const FailureMark& mark);

  // Where the variable of a statement was found last. Shared statements keep nothing.
  std::uint16_t& HintOf(const Kt_ScriptOpVar& var) {
    return KT_LIKELY(!frame_.func->IsShared()) ? var.hint : (no_hint_ = 0);
  }

  RunState& run_;
  RunState::Frame& frame_;
  std::uint16_t no_hint_ = 0;
};

}  // namespace kt::detail
