// SPDX-License-Identifier: MIT
#pragma once

#include "expr/Kt_Expr.h"

namespace kt::detail {

class RowLoop;

// An expression that a row loop evaluates row by row: parsed once.
class RowExpr {
 public:
  explicit RowExpr(const Kt_WString& text) { expr_.SetExpr(text); }

  // The value in the row that `loop` entered, empty when it fails.
  void Evaluate(RowLoop& loop, Kt_Variant& value);

 private:
  Kt_Expr expr_;
};

}  // namespace kt::detail
