// SPDX-License-Identifier: MIT
#pragma once

#include "expr/Kt_Expr.h"
#include "expr/detail/Kt_EvalStack.h"
#include "expr/detail/Kt_ExprWalk.h"

namespace kt::detail {

// Reads an entry for the evaluator: GetObjValue, with two rules on top. A method on a component
// below the context's own container that answers kObjectGone stops everything quietly (kAbort); a
// member that the object does not have (kNoMember) is reported, since nobody above would.
kt_long ReadEntry(Kt_ExprObject* context, Kt_ExprStackObj& entry, Kt_Variant& value, int by_ref);

// The name of the call whose argument list ends before record `at`; empty when none does.
Kt_WString NameOfCallBefore(const Kt_ExprOpList& ops, kt_long at);

// Asks `context` (null: nobody) what a name or a called name stands for, and fills the empty
// `entry` with that. `builtin` is the built-in function of that name, or null. A name that nobody
// knows fails when it is read; a call at once: 0, or a code that was reported.
void AskName(Kt_ExprObject* context, const Kt_WString& name, Kt_ExprObjInfo& entry);
kt_long AskCall(Kt_ExprObject* context, const Kt_WString& name, Kt_Getter builtin,
                Kt_ExprObjInfo& entry);

// One walk over the operations of an expression.
//
// Names, constants and calls fill the entry on top of the stack. An operator is noted in that entry
// and a new one is pushed; reduce markers and closing brackets apply what is pending. A call runs
// at its ')', so calls run from left to right. Nothing else is read before its value is needed, so
// an entry can still be assigned to at the end; that holds for a method too that is assigned to.
//
// House rules:
//  1. Anything that reads or writes an entry may run host code. Afterwards no reference into an
//     object is used again; entries themselves stay where they are.
//  2. A call that has run leaves its value in the entry: it never runs twice.
//  3. The operation list does not change during the walk.
//  4. Whoever detects a fault reports it; every other place passes the code on.
class Evaluator : private ExprWalk<Evaluator, kt_long> {
 public:
  Evaluator(const Kt_Expr& expr, Kt_ExprObject* context)
      : ExprWalk(expr.GetOps()), expr_(expr), context_(context) {}

  kt_long Run(Kt_ExprStackObj& result);

 private:
  friend class ExprWalk<Evaluator, kt_long>;
  static constexpr kt_long kGoesOn = kOk;

  // What the walk asks for.
  bool HasBelow() const { return stack_.Depth() > 0; }
  std::int16_t Pending() { return stack_.Below().GetOpCode(); }
  bool HasOperand() { return stack_.Top().GetKind() != EXPR_OBJ_NONE; }
  kt_long ApplyAtMarker() { return Apply(); }
  kt_long Settle() { return kOk; }
  kt_long Constant(const Kt_Variant& value);
  kt_long Ref(const Kt_ExprOp& op);
  kt_long Operator(const Kt_ExprOp& op);

  kt_long Name(const Kt_ExprOp& op);
  kt_long Call(const Kt_ExprOp& op);
  kt_long Member(const Kt_ExprOp& op);

  kt_long Apply();
  kt_long StepEntry(kt_long step, Kt_Variant& old_value, Kt_Variant& new_value);
  kt_long ApplyPrefixStep(kt_long step);
  kt_long Postfix(const Kt_ExprOp& op);
  kt_long Logical(const Kt_ExprOp& op, bool& skipped);
  void SkipRightOperand();
  kt_long CollectArg();
  kt_long CloseParen(const Kt_ExprOp& op);
  kt_long FinishCall();
  bool IsAssignedTo();
  kt_long CloseBracket(const Kt_ExprOp& op);
  kt_long Comma(const Kt_ExprOp& op);

  kt_long Misplaced(const Kt_ExprOp& op);

  const Kt_Expr& expr_;
  Kt_ExprObject* context_;
  EvalStack stack_;
};

}  // namespace kt::detail
