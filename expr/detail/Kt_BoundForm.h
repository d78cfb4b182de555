// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "expr/Kt_BoundExpr.h"
#include "expr/Kt_ExprProgram.h"
#include "expr/detail/Kt_NumberCode.h"

namespace kt::detail {

// What Kt_BoundExpr::Bind makes: an expression in the best of three forms.
//
//   numbers    all is numbers (Kt_NumberCode.h)
//   compiled   operators and calls over values of any kind (expr/Kt_ExprProgram.h)
//   evaluator  everything else, in a context that answers the bound names (Kt_BoundContext.h)
//
// The first leaves what it cannot be sure of to the second, and that the values that are objects to
// the third; each from the beginning, before anything has run that could be noticed.
// Immutable once made.
struct BoundForm {
  using Places = Kt_BoundExpr::Places;
  using Binding = Kt_Bindings::Item;

  // Of one expression; what needs more is for the evaluator.
  static constexpr int kMaxTemps = NumberCode::kMaxSlots;
  static constexpr int kMaxNames = 64;

  struct Call {
    const Binding* bound = nullptr;  // or null: a built-in
    Kt_Getter builtin = nullptr;
    const DirectFunc* direct = nullptr;
  };

  // The parts in their order. REQUIRES: every name is bound.
  BoundForm(const Kt_Expr& parsed, const Kt_Bindings& names);

  Kt_BoundExpr::Entry GetEntry() const;
  // The places that an evaluation looks at.
  std::vector<std::size_t> GetUsedPlaces() const;
  // The work of one evaluation, for who charges many at once.
  std::int64_t GetUnits() const { return expr.GetOps().GetCount(); }

  // Many evaluations at once; see NumberBlocks.
  bool HasBlocks() const { return numbers != nullptr && !numbers->CallsHost(); }

  // The three forms, and what a host calls.
  kt_long RunNumbers(Places at, double& value) const;
  kt_long RunProgram(Places at, Kt_Variant& value) const;
  kt_long RunEvaluator(Places at, Kt_Variant& value) const;
  kt_long RunGeneral(Places at, Kt_Variant& value) const;

  Kt_Expr expr;
  Kt_Bindings bindings;
  std::vector<const void*> places;
  Kt_ExprObject* context;                     // never null
  ExprProgram program;                        // empty: only the evaluator can do it
  std::vector<const Binding*> names;          // of the program
  std::vector<Call> calls;                    // of the program
  std::shared_ptr<const NumberCode> numbers;  // or null
  NumberCode::Entry run_numbers = nullptr;
  bool converts = false;  // numbers: places that are no doubles are read in advance

 private:
  bool BindProgram();
  void MakeNumbers();
};

// Reads the number at the place of a name that is no text and has no reader. False when there is
// something else.
KT_ALWAYS_INLINE bool ReadNumber(const Kt_Bindings::Item& name, const void* place, double& number) {
  if (name.kind == Kt_Bindings::Kind::kDouble) {
    number = *static_cast<const double*>(place);
  } else if (name.kind == Kt_Bindings::Kind::kLong) {
    number = *static_cast<const kt_long*>(place);
  } else {
    const auto& any = *static_cast<const Kt_Variant*>(place);
    if (!any.IsDouble() && !any.IsLong()) return false;
    number = any.IsDouble() ? any.AsDouble() : any.AsLong();
  }
  return true;
}

// Reads the value at the place of a name. Returns 0 or a code.
kt_long ReadPlace(const Kt_Bindings::Item& name, Kt_BoundExpr::Places places, Kt_Variant& value);

}  // namespace kt::detail
