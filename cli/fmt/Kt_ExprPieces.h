// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"
#include "cli/fmt/Kt_Flow.h"

class Kt_Expr;

namespace kt::cli {

// True when both are parsed to the same operations. Of expressions that are none, the same text is
// asked for.
bool SameExpr(const Kt_Expr& a, const Kt_Expr& b);

// Appends an expression, with blanks as the style has them, or as it was written where blanks
// would change what it means. `cost` is that of a new line outside of brackets.
void AppendExpr(const Kt_WString& text, int cost, std::vector<LinePart>& pieces);

// What a new line costs one bracket further inside.
inline constexpr int kCostOfDepth = 16;

}  // namespace kt::cli
