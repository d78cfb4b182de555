// SPDX-License-Identifier: MIT
#pragma once

#include "cli/Kt_Report.h"
#include "expr/Kt_Expr.h"

namespace kt::cli {

// What messages call an expression of the command line.
inline constexpr const char* kExpressionName = "expression";

// Checks and parses an expression from the command line. False when it has a fault; that and
// everything that is likely to surprise has been reported then.
bool ParseExpression(const Kt_WString& text, Kt_Expr& expression, Kt_CliReport& report);

// Warns of text at the end that the engine does not read, such as what follows a lone '&'.
void WarnOfUnread(const Kt_WString& text, Kt_CliReport& report);

}  // namespace kt::cli
