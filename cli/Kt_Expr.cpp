// SPDX-License-Identifier: MIT
#include "cli/Kt_Expr.h"

#include <algorithm>
#include <vector>

#include "expr/Kt_ExprLint.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::cli {
namespace {

void Complain(const Kt_WString& text, kt_long offset, const Diagnostic& what,
              Kt_CliReport& report) {
  report.AtPlace(kExpressionName, text, static_cast<std::size_t>(std::max(offset, kt_long{0})), 1,
                 what);
}

void Warn(const Kt_WString& text, Kt_CliReport& report) {
  std::vector<Kt_ExprWarning> warnings;
  FindExprWarnings(text, warnings);
  for (const Kt_ExprWarning& warning : warnings) {
    Complain(text, warning.offset,
             Diagnostic::Warning(warning.text.ToUtf8(), Kt_WString(warning.name).ToUtf8()), report);
  }
}

bool IsBracketList(const Kt_WString& text) {
  return text.GetAt(0) == u'[' && text.GetAt(text.GetLength() - 1) == u']';
}

}  // namespace

void WarnOfUnread(const Kt_WString& text, Kt_CliReport& report) {
  const kt_long end = Kt_ExprUtil::TokensEnd(text.GetText(), text.GetLength());
  if (end >= text.GetLength()) return;
  Complain(text, end, Diagnostic::Warning("the text from here on is not read"), report);
}

bool ParseExpression(const Kt_WString& text, Kt_Expr& expression, Kt_CliReport& report) {
  Kt_WString trimmed(text);
  trimmed.Trim();
  const bool is_list = IsBracketList(trimmed);
  const std::vector<analysis::Finding> causes =
      analysis::Diagnose(trimmed, analysis::SourceKind::kExpression);
  for (const analysis::Finding& cause : causes) report.Tell(kExpressionName, trimmed, cause);
  Kt_WString message;
  if (!causes.empty() || expression.Parse(message, trimmed.GetText()) < 0) return false;
  if (!is_list) WarnOfUnread(trimmed, report);
  Warn(trimmed, report);
  return true;
}

}  // namespace kt::cli
