// SPDX-License-Identifier: MIT
#include "cli/Kt_Expr.h"

#include <algorithm>
#include <vector>

#include "expr/Kt_ExprLint.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::cli {
namespace {

// The offset up to which the tokens of the text reach; its length when they reach the end. What
// stands behind it takes no part in the expression. `string_end` receives the code of a string
// without end, else 0.
kt_long TokensEnd(const Kt_WString& text, kt_long& string_end) {
  string_end = 0;
  const kt_long length = text.GetLength();
  for (kt_long at = 0; at < length;) {
    int start = 0;
    int token_length = 0;
    const int next = Kt_ExprUtil::FindToken(text.GetText() + at, length - at, start, token_length);
    if (next < 1) {
      if (token_length < -1) string_end = token_length;
      return at + start;
    }
    at += next;
  }
  return length;
}

void Complain(const Kt_WString& text, kt_long offset, const Diagnostic& what,
              Kt_CliReport& report) {
  report.AtPlace(kExpressionName, text, static_cast<std::size_t>(std::max(offset, kt_long{0})), 1,
                 what);
}

void Complain(const Kt_WString& text, kt_long offset, const Kt_WString& error,
              Kt_CliReport& report) {
  Complain(text, offset, Diagnostic::Error(error.ToUtf8()), report);
}

// A string without end and text after a lone & or | pass the check of the engine, because scripts
// may hold such text; on a command line the first is an error and the second worth a word.
bool CheckStrings(const Kt_WString& text, Kt_CliReport& report) {
  kt_long string_end = 0;
  const kt_long end = TokensEnd(text, string_end);
  if (string_end == 0) return true;
  Complain(text, end, Kt_WString(kt_exprtextW(string_end)), report);
  return false;
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
  kt_long string_end = 0;
  const kt_long end = TokensEnd(text, string_end);
  if (end >= text.GetLength()) return;
  Complain(text, end, Diagnostic::Warning("the text from here on is not read"), report);
}

bool ParseExpression(const Kt_WString& text, Kt_Expr& expression, Kt_CliReport& report) {
  Kt_WString trimmed(text);
  trimmed.Trim();
  const bool is_list = IsBracketList(trimmed);
  if (!is_list && !CheckStrings(trimmed, report)) return false;
  kt_long offset = 0;
  const kt_long code = Kt_ExprUtil::IsValidExpr(trimmed.GetText(), trimmed.GetLength(), &offset);
  if (code != 0) {
    Complain(trimmed, offset, Kt_WString(kt_exprtextW(code)), report);
    return false;
  }
  Kt_WString message;
  if (expression.Parse(message, trimmed.GetText()) < 0) {
    Complain(trimmed, expression.GetErrorOffset(), message, report);
    return false;
  }
  if (!is_list) WarnOfUnread(trimmed, report);
  Warn(trimmed, report);
  return true;
}

}  // namespace kt::cli
