// SPDX-License-Identifier: MIT
#include "analysis/Kt_Checks.h"
#include "classlib/text/Kt_Number.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::analysis {
namespace {

// One token of an expression; empty before the first and after the last.
struct Token {
  std::u16string_view units;
  kt_long offset = 0;

  // + joins texts.
  bool IsArithmetic() const {
    return units == u"-" || units == u"*" || units == u"/" || units == u"%";
  }
};

Token NextToken(const Kt_WString& text, kt_long& at) {
  int start = 0;
  int length = 0;
  const int next =
      Kt_ExprUtil::FindToken(text.GetText() + at, text.GetLength() - at, start, length);
  if (next < 1 || length < 1) return {};
  const kt_long offset = at + start;
  at += next;
  return {text.View().substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(length)),
          offset};
}

// A text literal that is neither empty nor a number. REQUIRES: a token.
bool IsNoNumber(std::u16string_view units) {
  if (units.size() < 3 || (units[0] != u'"' && units[0] != u'\'')) return false;
  double ignored = 0;
  return !kt_readnumberW(units.substr(1, units.size() - 2), ignored);
}

// Arithmetic binds closer than all but a point.
void CheckExpression(const Kt_OutlineNode& node, std::size_t file, std::vector<Finding>& findings) {
  kt_long at = 0;
  Token before;
  Token token = NextToken(node.text, at);
  while (!token.units.empty()) {
    const Token after = NextToken(node.text, at);
    const Token& sign = after.IsArithmetic() ? after : before;
    if (sign.IsArithmetic() && after.units != u"." && IsNoNumber(token.units)) {
      findings.push_back(
          {FindingCode::kTextAsZero, file, node.SourceOf(token.offset),
           static_cast<kt_long>(token.units.size()),
           Kt_WString(token.units) + u" is no number and is read as 0 by '" + sign.units + u"'"});
    }
    before = token;
    token = after;
  }
}

}  // namespace

void CheckTexts(const Kt_ScriptOutline& outline, std::size_t file, std::vector<Finding>& findings) {
  for (const Kt_OutlineNode& node : outline.nodes) {
    if (node.kind == Kt_OutlineNode::Kind::kExpression) CheckExpression(node, file, findings);
  }
}

}  // namespace kt::analysis
