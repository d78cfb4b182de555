// SPDX-License-Identifier: MIT
#pragma once

#include "expr/Kt_ExprOp.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::detail {

// The value of a constant record.
inline Kt_Variant ReadConstant(const Kt_ExprOp& op) {
  switch (op.code) {
    case kOpString: return Kt_Variant(op.text);
    case kOpInteger: return Kt_Variant(op.GetInteger());
    case kOpDecimal: return Kt_Variant(op.GetDecimal());
    default: break;
  }
  Kt_Variant value;
  (void)Kt_ExprUtil::GetConstant(op.text, value);
  return value;
}

// What evaluator and compiler share: which record does what, and when a pending operator is
// applied. So compiled code cannot come to another grouping than the evaluator.
//
// `Self` derives from this and has a function for each kind of record. `Result` is what those
// return; Self::kGoesOn lets the walk go on. An operator is pending in the entry below the top one
// until it is applied.
template <class Self, class Result>
class ExprWalk {
 protected:
  explicit ExprWalk(const Kt_ExprOpList& ops) : ops_(ops) {}

  Result Step(const Kt_ExprOp& op) {
    switch (op.code) {
      case kOpWord:
      case kOpString:
      case kOpInteger:
      case kOpDecimal: return self().Constant(ReadConstant(op));
      case kOpName: return self().Name(op);
      case kOpCall: return self().Call(op);
      case kOpRef: return self().Ref(op);
      case kOpMember:
      case kOpMethod: return self().Member(op);
      case kOpPostInc:
      case kOpPostDec: return self().Postfix(op);
      case kOpMarker: return Marker(op);
      case kOpParenEnd:
      case kOpBracketEnd:
      case kOpComma:
      case kOpEnd: return Close(op);
      default: return GetOpClass(op.code) == 3 ? self().Operator(op) : self().Misplaced(op);
    }
  }

  const Kt_ExprOpList& ops_;
  kt_long at_ = 0;  // index of the record in hand

 private:
  Self& self() { return static_cast<Self&>(*this); }

  // Applies up to `arg` pending operators: those that bind as strongly as the operator that
  // follows.
  Result Marker(const Kt_ExprOp& op) {
    const Kt_ExprOp* const next = ops_.GetItem(at_ + 1);
    for (std::int16_t left = op.arg; left > 0 && self().HasBelow(); --left) {
      const std::int16_t pending = self().Pending();
      if (IsOpener(pending)) break;
      if (IsPrefix(pending) && !self().HasOperand()) break;  // it waits for its operand
      if (next != nullptr && GetOpClass(next->code) == 3 &&
          GetOpPrecedence(next->code) > GetOpPrecedence(pending)) {
        break;
      }
      if (const Result result = self().ApplyAtMarker(); result != Self::kGoesOn) return result;
    }
    return Self::kGoesOn;
  }

  // Applies what is pending inside the innermost open bracket.
  Result Close(const Kt_ExprOp& op) {
    for (;;) {
      if (const Result result = self().Settle(); result != Self::kGoesOn) return result;
      if (!self().HasBelow() || IsOpener(self().Pending())) break;
      if (const Result result = self().Apply(); result != Self::kGoesOn) return result;
    }
    switch (op.code) {
      case kOpParenEnd: return self().CloseParen(op);
      case kOpBracketEnd: return self().CloseBracket(op);
      case kOpComma: return self().Comma(op);
      default: return self().HasBelow() ? self().Misplaced(op) : Self::kGoesOn;  // an open bracket
    }
  }
};

}  // namespace kt::detail
