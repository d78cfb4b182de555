// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <memory>
#include <span>

#include "classlib/value/Kt_VarInline.h"
#include "expr/Kt_ExprProgram.h"
#include "object/Kt_DirectFuncs.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_RunCharge.h"

namespace kt::detail {

// Whether a program is operators and calls over values: elements, references and what changes
// variables need more.
inline bool IsOfValues(const ExprProgram& program) {
  return std::all_of(program.instrs.begin(), program.instrs.end(), [](const CodeInstr& in) {
    return IsOperator(in.op) || in.op == CodeOp::kMove || in.op == CodeOp::kTestAnd ||
           in.op == CodeOp::kTestOr || in.op == CodeOp::kCall || in.op == CodeOp::kReturn ||
           in.op == kCodeAskName || in.op == kCodeAskCall;
  });
}

// One run of a program of values (IsOfValues). What its names and calls are says `Self`:
//
//   const Kt_Variant* ReadName(std::size_t name, Kt_Variant& made);  null: failed, see Fail
//   kt_long RunCall(const CodeInstr& in, std::span<const Kt_Variant> args, Kt_Variant& value);
//   kt_long Ask(const CodeInstr& in);
//
// kTemps is a bound of the temps of the program.
template <class Self, int kTemps>
class ProgramRun {
 public:
  ProgramRun(const ExprProgram& program, Kt_ExprObject* context)
      : program_(program), context_(context) {
    std::uninitialized_default_construct_n(Temps(), program_.temp_count);
  }
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;
  ~ProgramRun() { std::destroy_n(Temps(), program_.temp_count); }

  // 0, or a code that was reported.
  kt_long Run(Kt_Variant& value) {
    const CodeInstr* const first = program_.instrs.data();
    for (const CodeInstr* in = first;; ++in) {
      kt_long code = kOk;
      switch (in->op) {
        case CodeOp::kMove: {
          const Kt_Variant* const from = Get(in->a, left_);
          if (KT_UNLIKELY(from == nullptr)) return code_;
          Temps()[in->dst] = *from;
          break;
        }
        case CodeOp::kTestAnd:
        case CodeOp::kTestOr: {
          bool jumps = false;
          code = Test(*in, jumps);
          if (jumps) in = first + in->extra - 1;
          break;
        }
        case CodeOp::kCall: code = Call(*in); break;
        case CodeOp::kReturn: {
          const Kt_Variant* const from = Get(in->a, left_);
          if (KT_UNLIKELY(from == nullptr)) return code_;
          value = *from;
          return KT_LIKELY(Kt_WorkMeter::CurrentStop() == kOk) ? kOk : CheckRun(context_);
        }
        default: code = IsOperator(in->op) ? Operate(*in) : self().Ask(*in); break;
      }
      if (KT_UNLIKELY(code != kOk)) return code;
    }
  }

 protected:
  // For ReadName.
  const Kt_Variant* Fail(kt_long code) {
    code_ = code;
    return nullptr;
  }

  const ExprProgram& program_;
  Kt_ExprObject* context_;

 private:
  Self& self() { return static_cast<Self&>(*this); }
  Kt_Variant* Temps() { return reinterpret_cast<Kt_Variant*>(temps_); }

  // A value that has to be made is put into `made`. Null: it could not be read.
  KT_ALWAYS_INLINE const Kt_Variant* Get(std::uint16_t operand, Kt_Variant& made) {
    if (operand < CodeOperand::kConstBase) return Temps() + operand;
    if (operand < CodeOperand::kNameBase) {
      return &program_.consts[operand - CodeOperand::kConstBase];
    }
    return self().ReadName(operand - CodeOperand::kNameBase, made);
  }

  KT_ALWAYS_INLINE kt_long Operate(const CodeInstr& in) {
    const Kt_Variant* const left = Get(in.a, left_);
    if (KT_UNLIKELY(left == nullptr)) return code_;
    const Kt_Variant* const right = Get(in.b, right_);
    if (KT_UNLIKELY(right == nullptr)) return code_;
    const Operator op = OperatorOf(in.op);
    const kt_long code = Compute(op, *left, *right, Temps()[in.dst]);
    return KT_LIKELY(code == kOk) ? kOk : Report(context_, u"Kt_Expr", code, OperatorText(op));
  }

  kt_long Test(const CodeInstr& in, bool& jumps) {
    const Kt_Variant* const left = Get(in.a, left_);
    if (KT_UNLIKELY(left == nullptr)) return code_;
    const bool is_true = IsConditionTrue(*left);
    jumps = is_true == (in.op == CodeOp::kTestOr);
    if (jumps) {
      Temps()[in.dst].Set(kt_long{is_true});
      return kOk;
    }
    if (in.dst != in.a) Temps()[in.dst] = *left;
    return CheckCallResult(context_, Temps()[in.dst]);
  }

  kt_long Call(const CodeInstr& in) {
    Kt_Variant value;
    const kt_long code = self().RunCall(in, {Temps() + in.a, in.b}, value);
    if (KT_UNLIKELY(code != kOk)) return code;
    Temps()[in.dst] = std::move(value);
    return CheckCallResult(context_, Temps()[in.dst]);
  }

  kt_long code_ = kOk;  // of a name that could not be read
  Kt_Variant left_;
  Kt_Variant right_;
  alignas(Kt_Variant) unsigned char temps_[kTemps * sizeof(Kt_Variant)];
};

}  // namespace kt::detail
