// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "expr/Kt_ExprProgram.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/detail/Kt_RunState.h"

namespace kt::detail {

// The compiled form of an expression of a script, whose names are the script's own variables.
//
// It gives what the evaluator gives, in the same order of reading, for the forms that loops are
// made of: operators, plain variables, elements of variables, calls. Everything else (members,
// objects, unknown names) is left to the evaluator: Run answers kUseEvaluator before it has done
// anything, and the caller evaluates the expression there.
//
// What a called name stands for is asked once and kept until the script changes.
// Owned by its Kt_Expr. Threads: the script's.
class ExprCode {
 public:
  // Answered by Run and RunTarget when the evaluator has to do it. Not a code anyone else uses.
  static constexpr kt_long kUseEvaluator = -0x7FFFFFFF;
  static constexpr int kMaxTemps = ExprProgram::kMaxTemps;
  // Long expressions cost by their length; others are paid for with the statement.
  static constexpr std::size_t kManyInstrs = 64;
  static constexpr std::int64_t kUnitsPerInstr = 16;
  static constexpr int kFewTemps = 12;  // most expressions; keeps deep recursion cheap in stack
  static constexpr int kMaxVars = ExprProgram::kMaxNames;

  // The code of `expr`, made on first use. Null when it is for the evaluator alone.
  static ExprCode* Of(Kt_Expr& expr) {
    std::shared_ptr<ExprCode>& slot = expr.CodeSlot();
    if (KT_UNLIKELY(slot == nullptr)) {
      slot = Make(expr);
      // What was made while the run was being stopped may lack something.
      if (Kt_WorkMeter::CurrentStop() != kOk) {
        slot.reset();
        return nullptr;
      }
    }
    return slot->program_.IsEmpty() ? nullptr : slot.get();
  }

  // Evaluates in `scope`. 0 with the result, a code that has been reported, or kUseEvaluator.
  kt_long Run(RunState& run, Scope& scope, Kt_Variant& result);
  // Evaluates up to the place that the expression stands for: an element of a variable.
  struct Target {
    Kt_VariableHold variable;
    const Kt_WString* name = nullptr;  // the code's own
    kt_long index = -1;
    Kt_WString key;
  };
  // kUseEvaluator also when it stands for anything else.
  kt_long RunTarget(RunState& run, Scope& scope, Target& target);
  // For the statement `name = expression`: whether that appends to the text of `name`, as in
  // `s = s + a + b`, and is worth a try.
  bool MayAppend(const Kt_WString& name) {
    if (KT_LIKELY(appends_ == Appends::kNo)) return false;
    if (appends_ == Appends::kUnknown) FindAppend(kt_symbolW(name));
    if (appends_ == Appends::kNo) return false;
    return tries_left_out_ == 0 || --tries_left_out_ == 0;
  }
  // `name` is no text, and will not be one the next times: sums are as common as texts.
  void PauseAppends() { tries_left_out_ = 64; }
  // As Run, but where `name` is a text when its operator reads it, `base` is that text and `result`
  // what is to follow it; otherwise `base` stays empty. REQUIRES: MayAppend.
  kt_long RunAppend(RunState& run, Scope& scope, Kt_Variant& result, Kt_Variant& base);
  // Stores into an item of a list when the expression is a variable indexed by a variable or a
  // constant. False, with nothing done, in every other case.
  bool StoreElement(RunState& run, Scope& scope, const Kt_Variant& value);

 private:
  template <int kTemps>
  friend class CodeFrame;

  struct Var {
    Kt_WString name;
    Kt_Symbol symbol = 0;
    std::uint16_t hint = 0;
  };
  struct Call {
    enum class Kind : std::uint8_t { kScript, kBuiltin, kExtApi };
    Kt_WString name;
    Kind kind = Kind::kScript;
    Kt_ScriptFunc* func = nullptr;
    Kt_Getter builtin = nullptr;
    Kt_ExtApi ext_api = nullptr;
    Kt_ExprObject* ext_context = nullptr;
  };

  enum class Appends : std::uint8_t { kUnknown, kNo, kYes };

  static std::shared_ptr<ExprCode> Make(Kt_Expr& expr);
  void FindAppend(Kt_Symbol name);
  bool IsAppendAt(std::size_t at) const;
  bool BindCalls(RunState& run, Scope& scope);
  kt_long Prepare(RunState& run, Scope& scope);
  // Single operands and plain elements need no frame. Null / false: run the code.
  const Kt_Variant* FindOperand(RunState& run, Scope& scope, std::uint16_t operand);
  bool RunSingle(RunState& run, Scope& scope, Kt_Variant& result);
  bool BindCall(Call& call, RunState& run, Scope& scope);
  template <int kTemps>
  kt_long RunIn(RunState& run, Scope& scope, Kt_Variant* result, Target* target,
                Kt_Variant* base = nullptr);
  static kt_long ReadElement(Scope& scope, const Kt_WString& name, const Kt_Variant& base,
                             const Kt_Variant& index, Kt_Variant& result);
  static kt_long RunCall(RunState& run, Scope& scope, const Call& call, Kt_Variant* args,
                         int arg_count, Kt_Variant& result);

  ExprProgram program_;              // empty: for the evaluator
  std::vector<Var> vars_;            // its names
  std::vector<Call> calls_;          // its calls
  std::uint64_t bound_version_ = 0;  // of the script, when the calls were bound
  bool is_bound_ = false;
  Appends appends_ = Appends::kUnknown;
  std::uint8_t tries_left_out_ = 0;
  std::unique_ptr<ExprCode> appending_;  // this code with a kAppend in it
};

}  // namespace kt::detail
