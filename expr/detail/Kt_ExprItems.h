// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "expr/Kt_Expr.h"

namespace kt::detail {

// The pieces of a bracket list, each an expression of its own.
struct ExprItems {
  // Lists inside one another. Every level is split once for each level around it, so the limit
  // also bounds the time that a hostile text can take.
  static constexpr kt_long kMaxNesting = 200;

  std::vector<Kt_Expr> items;

  // Splits the inner text of a list at its top-level commas, with quotes and brackets respected,
  // and trims the pieces; nothing but white space gives no piece. False when brackets nest deeper
  // than kMaxNesting.
  bool Split(const Kt_WString& text);
};

}  // namespace kt::detail
