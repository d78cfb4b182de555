// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "classlib/value/Kt_Operators.h"
#include "expr/Kt_Expr.h"

namespace kt {

// Operations of the compiled form. Most take two operands and leave the result in `dst`.
enum class CodeOp : std::uint8_t {
#define KT_CODE_OPERATOR(record, code, token, name, compute) name,
  KT_OPERATORS(KT_CODE_OPERATOR)  // dst = a (operator) b
#undef KT_CODE_OPERATOR
  kMove,        // dst = a
  kTestAnd,     // a is false: dst = 0 and go to `extra`; else dst = a
  kTestOr,      // a is true: dst = 1 and go to `extra`; else dst = a
  kStepBefore,  // a += extra; dst = a
  kStepAfter,   // dst = a; a += extra
  kElement,     // dst = name a [b]
  kIndex,       // dst = value a [b]; the constant `extra` is the name for messages
  kRef,         // dst = reference to name a
  kReceive,     // dst = a, the first argument of calls[extra], which is a member of it. Fails when
                // there is no such member
  kCall,        // dst = calls[extra](temps a .. a + b)
  kReturn,      // the result is a
  kTarget,      // the expression stands for name a [b]
  kAppend,      // as kAdd; but of a text a keeps what was read, and dst = text of b
};

// Questions, in programs that are compiled with them (ExprProgram::Form). They are no enumerators:
// executors of other programs never meet them.
inline constexpr CodeOp kCodeAskName{
    0x40};  // what does name dst stand for? Begins at record `extra`
inline constexpr CodeOp kCodeAskCall{0x41};  // and calls[extra]? Begins at record a

struct CodeInstr {
  CodeOp op;
  std::uint16_t dst;  // a temp
  std::uint16_t a;    // operands: temp, constant or name, see CodeOperand
  std::uint16_t b;
  std::int32_t extra;
};
static_assert(sizeof(CodeInstr) == 12);

// The operators come first among the operations.
constexpr bool IsOperator(CodeOp op) { return op < CodeOp::kMove; }
constexpr CodeOp CodeOpOf(Operator op) { return static_cast<CodeOp>(op); }
// REQUIRES: IsOperator(op).
constexpr Operator OperatorOf(CodeOp op) { return static_cast<Operator>(op); }
constexpr bool IsRelation(CodeOp op) { return IsOperator(op) && IsRelation(OperatorOf(op)); }

// An operand is a temp, a constant or a name of the expression, by range.
namespace CodeOperand {
inline constexpr std::uint16_t kConstBase = 0x4000;
inline constexpr std::uint16_t kNameBase = 0x8000;
}  // namespace CodeOperand

// An expression as straight code over temps, constants and names, compiled from the operation list
// by symbolic execution of the evaluator's rules.
//
//   (s * 3 + i * j) % 7      t0 = s * 3;  t1 = i * j;  t2 = t0 + t1;  t3 = t2 % 7;  return t3
//
// Whoever runs it says what the names and called names stand for, and gets what the evaluator
// gives, in the same order of reading. Names are read where an operation uses them, so they must be
// things that reading does not change: variables of a script, columns of a row.
//
// A value type. Threads: const members may run in parallel.
struct KT_SCRIPT_API ExprProgram {
  // Temps and names of one expression; what needs more is for the evaluator.
  static constexpr int kMaxTemps = 48;
  static constexpr int kMaxNames = 24;

  struct Form {
    int max_temps = kMaxTemps;
    int max_names = kMaxNames;
    // Members have code: kReceive and kCall. Of an object they are what the object says, of any
    // other value the built-in function of that name: whoever runs it finds out which.
    bool has_members = false;
    // Names are noted that the evaluator looks for after a call, which may have changed what they
    // stand for (ExprProgram::Lookup).
    bool notes_lookups = false;
    // Every use of a name has a number of its own, and the questions what names and calls stand for
    // are instructions, where the evaluator asks them.
    bool asks = false;
  };

  // The code of `expr`, which is parsed if it was not. Empty code for what only the evaluator can
  // do: members, objects, lists, traces, and expressions with a fault, which stay unparsed so that
  // the evaluator finds and reports it.
  static ExprProgram Of(Kt_Expr& expr) { return Of(expr, Form()); }
  static ExprProgram Of(Kt_Expr& expr, const Form& form);

  bool IsEmpty() const { return instrs.empty(); }
  // The memory is kept.
  void Clear();
  friend void swap(ExprProgram& a, ExprProgram& b) noexcept {
    a.instrs.swap(b.instrs);
    a.consts.swap(b.consts);
    a.names.swap(b.names);
    a.calls.swap(b.calls);
    a.members.swap(b.members);
    a.lookups.swap(b.lookups);
    std::swap(a.early_names, b.early_names);
    std::swap(a.has_target, b.has_target);
    std::swap(a.temp_count, b.temp_count);
  }

  // A call that is a member: its record, and the one at which the value before it begins.
  struct Member {
    std::size_t call;
    kt_long record;
    kt_long start;
    bool is_end = false;  // the call is all there is: its result is not looked at here
  };

  // Before instruction `at` it is found what `name` stands for, anew when it was found before: a
  // call comes before it. A name that is found twice before the first is read has two numbers.
  struct Lookup {
    std::size_t at;
    std::uint16_t name;
  };

  std::vector<CodeInstr> instrs;  // ends with kReturn
  std::vector<Kt_Variant> consts;
  std::vector<Kt_WString> names;
  std::vector<Kt_WString> calls;
  std::vector<Member> members;
  std::vector<Lookup> lookups;  // in the order of instructions
  std::size_t early_names = 0;  // so many of the names are found before any call
  bool has_target = false;      // there is a kTarget
  std::uint16_t temp_count = 0;
};

// Compiles the expressions of a long text one after the other, in memory that is used again.
//
// An expression that nobody has parsed yet and that has a compiled form without members is left
// unparsed, so that its operations take no memory: who evaluates it all the same has it parsed
// then.
class KT_SCRIPT_API ExprProgramMaker {
 public:
  explicit ExprProgramMaker(const ExprProgram::Form& form = {});
  ExprProgramMaker(const ExprProgramMaker&) = delete;
  ExprProgramMaker& operator=(const ExprProgramMaker&) = delete;
  ~ExprProgramMaker();

  // `program` becomes what ExprProgram::Of gives, in the memory that it has.
  void Make(Kt_Expr& expr, ExprProgram& program);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

// The pieces of a bracket list (an expression in kStateList), each an expression of its own. False
// when brackets nest too deeply.
KT_SCRIPT_API bool SplitListExpr(const Kt_Expr& list, std::vector<Kt_Expr>& pieces);

// A member as the evaluator finds and reads it, in two steps: what lies between may change what the
// object is and has.
//
// `entry` (empty) becomes the member that `op` names, of the object in `value`, which is looked at
// and asked; or of what the context says that `name` stands for, at `index` unless that is null.
// 0, or a code that was reported.
KT_SCRIPT_API kt_long BindMemberOf(Kt_ExprObject* context, const ExprProgram::Member& member,
                                   const Kt_Expr& expr, const Kt_Variant& value,
                                   Kt_ExprStackObj& entry);
KT_SCRIPT_API kt_long BindMemberOfName(Kt_ExprObject* context, const ExprProgram::Member& member,
                                       const Kt_Expr& expr, const Kt_WString& name,
                                       const Kt_Variant* index, Kt_Variant& object,
                                       Kt_ExprStackObj& entry);
// Reads the member, called with `args` when it is a call.
KT_SCRIPT_API kt_long ReadMemberOf(Kt_ExprObject* context, const ExprProgram::Member& member,
                                   const Kt_Expr& expr, Kt_ExprStackObj& entry,
                                   std::span<const Kt_Variant> args, Kt_Variant& value);

}  // namespace kt
