// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "expr/Kt_ExprProgram.h"
#include "expr/detail/Kt_NumberCode.h"
#include "object/Kt_ExprObjInfo.h"

namespace kt::detail {

// The compiled form of an expression for any context: the evaluator's questions, in its order, with
// what lies between them in straight code.
//
// A context that says which version its names have (GetNameVersion) is asked once for each name of
// the expression while that stays the same; when all names are variables with numbers then, the
// expression runs as number code. Answers of one context at a time are kept, as long as it lives.
//
// Owned by its Kt_Expr, which may go while it runs. Threads: the expression's.
class HostCode {
 public:
  HostCode() = default;
  HostCode(const HostCode&) = delete;
  HostCode& operator=(const HostCode&) = delete;

  // Null when only the evaluator can do it.
  static HostCode* Make(Kt_Expr& expr);
  // The expression gives it up: deleted, at the end of the run if there is one.
  static void Drop(HostCode* code);

  // Evaluates `owner` in `context`. 0, or a code that was reported; then the value is empty.
  kt_long Run(Kt_ExprObject& context, Kt_Variant& value, const Kt_Expr& owner);

 private:
  template <int kTemps>
  friend class HostRun;

  struct Call {
    Kt_WString name;
    Kt_Getter builtin = nullptr;  // of that name; null: none
    const DirectFunc* direct = nullptr;
  };
  using Answers = Kt_ExprObjInfo*;  // those of names, then those of calls
  // Temps, and answers, of one expression.
  static constexpr int kMaxTemps = ExprProgram::kMaxTemps;
  static constexpr int kMaxAnswers = 64;

  class InUse;

  KT_NOINLINE kt_long RunAnyValues(Kt_ExprObject& context, std::uint64_t version, Kt_Variant& value,
                                   const Kt_Expr& owner);
  void Keep(Kt_ExprObject& context, std::uint64_t version);
  bool RunNumbers(Kt_Variant& value);
  void MakeNumbers(Kt_ExprObject& context);
  bool TakeNumber(const Kt_ExprObjInfo& answer, NumberCode::Name& name);
  kt_long RunProgram(Kt_ExprObject& context, Answers answers, Kt_Variant& value) const;
  kt_long RunAsking(Kt_ExprObject& context, Kt_Variant& value) const;

  ExprProgram program_;
  std::vector<Call> calls_;
  std::vector<std::int32_t> starts_;  // of each answer: the record where its operand begins
  Kt_WString text_;
  std::int64_t units_ = 0;  // work to be charged for one evaluation
  int running_ = 0;
  bool is_dropped_ = false;

  // What is kept.
  Kt_ObjectHolder context_;
  std::uint64_t version_ = 0;
  std::vector<Kt_ExprObjInfo> answers_;        // empty kinds have not been asked for
  bool tries_numbers_ = true;                  // after the next run
  std::shared_ptr<const NumberCode> numbers_;  // or null
  NumberCode::Entry run_numbers_ = nullptr;
  // What number code was made for: the value of each variable, and its kind.
  struct Number {
    const Kt_Variant* value;
    Kt_Tag tag;
  };
  std::vector<Number> values_;
};

}  // namespace kt::detail
