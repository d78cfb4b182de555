// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"

// Something in a correct expression that is likely to mean other than it looks.
struct Kt_ExprWarning {
  const char16_t* name;  // a literal; see FindExprWarnings
  kt_long offset;        // of the place, in the text that was examined
  Kt_WString text;       // one sentence for the author
};

// Appends the warnings for an expression, in the order of their offsets. Bracket lists are
// examined item by item.
//
//   mixed-and-or     && and || at one bracket level: the first operand that decides its operator
//                    ends the whole level, so `0 && x || y` is 0 whatever y is
//   marker-grouping  operators that are not grouped by precedence: `a - b * c * d - e` is computed
//                    as a - (b * c * d - e)
//   fails-at-run-time  the expression is accepted when the script loads and refused when it is
//                    parsed, such as `2 * -3`
//   dot-nine         `.9` is a point and a 9, while `.8` is a number
//
// The first three are looked for in expressions that are well formed; one warning of each
// kind per bracket level. Time and memory are linear in the text.
KT_SCRIPT_API void FindExprWarnings(const Kt_WString& text, std::vector<Kt_ExprWarning>& out);
