// SPDX-License-Identifier: MIT
//
// Operators do not know where they stand, and nothing is kept while texts are numbers. So the place
// is looked for: the statement that runs is known, and its operator when its expressions have only
// one of that sign. An expression over rows is a text in one of these.
#include "object/Kt_StrictReading.h"

#include <new>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_RowMark.h"
#include "script/Kt_Script.h"

namespace kt {
namespace {

constexpr std::size_t kMaxTextUnits = 60;

struct Token {
  const Kt_WString* expression;
  kt_long offset;
  kt_long length;
};

// Calls `visit` with each token of the expression.
template <class Visit>
void EachToken(const Kt_WString& expression, Visit visit) {
  const kt_long length = expression.GetLength();
  for (kt_long at = 0; at < length;) {
    int start = 0;
    int token_length = 0;
    const int next =
        Kt_ExprUtil::FindToken(expression.GetText() + at, length - at, start, token_length);
    if (next < 1 || token_length < 1) return;
    visit(Token{&expression, at + start, token_length});
    at += next;
  }
}

// The operators `sign` of the expressions, or the texts that have one when these are expressions
// over rows.
std::vector<Token> FindSign(const std::vector<Kt_WString>& expressions, std::u16string_view sign,
                            bool is_in_row) {
  std::vector<Token> found;
  for (const Kt_WString& expression : expressions) {
    EachToken(expression, [&](const Token& token) {
      const std::u16string_view units = expression.View().substr(
          static_cast<std::size_t>(token.offset), static_cast<std::size_t>(token.length));
      const bool is_text = units[0] == u'"' || units[0] == u'\'';
      const bool is_it = is_in_row ? is_text && units.find(sign) != units.npos : units == sign;
      if (is_it) found.push_back(token);
    });
  }
  return found;
}

std::vector<Kt_WString> ExpressionsOfStatement() {
  std::vector<const Kt_Expr*> expressions;
  Kt_Script::GetThreadExpressions(expressions);
  std::vector<Kt_WString> texts;
  texts.reserve(expressions.size());
  for (const Kt_Expr* const expression : expressions) texts.push_back(expression->GetText());
  return texts;
}

Kt_WString TextOf(std::u16string_view text, const Kt_WString& sign, kt_long row) {
  Kt_WString out = Kt_WString(u"'") + text.substr(0, kMaxTextUnits);
  if (text.size() > kMaxTextUnits) out += u"…";
  out += Kt_WString(u"' is no number and is read as 0 by '") + sign + u"'";
  if (row >= 0) out += Kt_WString(u" (row ") + Kt_Variant(row).ToString() + u")";
  return out;
}

Kt_RunError Record(std::u16string_view text, const char16_t* sign) {
  Kt_RunError warning;
  const kt_long row = detail::RowMark::Current();
  warning.subject = sign;
  warning.text = TextOf(text, warning.subject, row);
  Kt_Script::GetThreadCalls(Kt_RunError::kInnerCalls, Kt_RunError::kOuterCalls, warning.calls,
                            warning.calls_left_out);
  if (warning.calls.empty()) return warning;
  warning.source_name = warning.calls[0].source_name;
  warning.function = warning.calls[0].function;
  warning.line = warning.calls[0].line + 1;
  StrictReading::Place(warning, ExpressionsOfStatement());
  return warning;
}

std::u16string KeyOf(const Kt_RunError& warning, const char16_t* sign) {
  const Kt_WString key = warning.source_name + u":" + Kt_Variant(warning.line).ToString() + u":" +
                         Kt_Variant(warning.column).ToString() + u":" + warning.expression + sign;
  return std::u16string(key.View());
}

}  // namespace

void StrictReading::Place(Kt_RunError& warning, const std::vector<Kt_WString>& expressions) {
  const bool is_in_row = detail::RowMark::Current() >= 0;
  const std::vector<Token> found = FindSign(expressions, warning.subject, is_in_row);
  if (found.empty()) {
    // Of a compound assignment it is no part of an expression.
    if (is_in_row) warning.subject.Empty();
    return;
  }
  warning.expression = *found[0].expression;
  if (found.size() > 1) return;
  warning.column = found[0].offset + 1;
  warning.length = found[0].length;
}

void StrictReading::OnText(std::u16string_view text, const char16_t* sign) {
  if (told_.size() >= kMaxPlaces || Kt_WorkMeter::CurrentStop() != 0) return;
  const Kt_WorkPause pause;
  const Kt_MemoryPause memory_pause;
  try {
    const Kt_RunError warning = Record(text, sign);
    if (told_.insert(KeyOf(warning, sign)).second) listener_(warning);
  } catch (const std::bad_alloc&) {
    // A warning that takes more memory than there is is not worth the run.
  }
}

}  // namespace kt
