// SPDX-License-Identifier: MIT
//
// What the code of the engine comes to, of a fault in an expression.
#include <algorithm>

#include "analysis/Kt_CauseRules.h"
#include "analysis/Kt_KnownNames.h"
#include "classlib/base/Kt_Codes.h"

namespace kt::analysis {
namespace {

// What may be called in an expression that stands alone, where columns are names, too.
bool IsFunctionName(std::u16string_view word) {
  const std::u16string folded = Folded(word);
  return folded == u"print" || KnownNames().FindFunction(folded) != nullptr;
}

}  // namespace

kt_long CauseRules::ExpressionCode() const {
  if (fault_.expression_code != 0) return fault_.expression_code;
  if (IsOneOf(Text(at_), {u"-", u"+", u"!"})) return kFailed;
  if (tokens_.EndsValue(at_ - 1) && tokens_.BeginsValue(at_)) return kExprNoOperator;
  if (at_ >= end_ || tokens_.IsClosing(at_)) return kExprUnfinished;
  return tokens_.IsKind(at_, Kind::kMark) ? kExprNoOperand : kExprBadToken;
}

Repair CauseRules::Expression() const {
  switch (ExpressionCode()) {
    case kExprNoOperator: return TwoValues();
    case kExprNoOperand:
      return Make(FindingCode::kNoOperand, at_,
                  Joined({u"a value is missing before '", Text(at_), u"'"}),
                  {Inserted(fault_.offset, u" 0 ")});
    case kExprUnfinished: return Unfinished();
    case kExprParenClose:
      return Make(FindingCode::kNoOperand, at_,
                  Is(at_ - 1, u".") ? u"a name is missing after this '.'"
                                    : u"a value is missing before this ')'",
                  {Inserted(fault_.offset, u" 0 ")});
    case kExprBracketClose:
      return Make(FindingCode::kNoOperand, at_, u"an index is missing: name[0]",
                  {Inserted(fault_.offset, u" 0 ")});
    case kExprParenOpen:
      return Make(FindingCode::kMisplacedMark, at_,
                  u"only names are called; an operator seems to be missing", {WithoutRest(at_)});
    case kExprBracketOpen:
      return Make(
          FindingCode::kMisplacedMark, at_,
          u"only variables have elements, and a list stands alone: put it into a variable first",
          {WithoutRest(at_)});
    case kExprComma: return Comma();
    case kExprDot: return Point();
    case kExprTooDeep: return Make(FindingCode::kNestedTooDeeply, at_, u"");
    case kExprDoubleQuote:
    case kExprSingleQuote:
      return Make(FindingCode::kUnclosedString, at_, u"the string that begins here has no end");
    case kFailed: return Sign();
    default:
      return Make(FindingCode::kBadToken, {fault_.offset, fault_.length},
                  u"this is neither a number, a string nor a name",
                  {{{fault_.offset, std::max(fault_.length, 1)}, u" 0 "}});
  }
}

Repair CauseRules::TwoValues() const {
  const bool is_call = at_ == start_ + 1 && IsWord(start_) && !IsKeyword(Text(start_)) &&
                       (!fault_.stands_alone || IsFunctionName(Text(start_)));
  if (is_call) {
    const kt_long end = tokens_.EndBefore(at_);
    const SourcePart gap{end, tokens_.StartOf(at_) - end};
    return Make(FindingCode::kMissingParentheses, Range(at_, std::max(end_, at_ + 1)),
                Joined({u"the arguments of a call stand in parentheses: ", Text(start_), u"(...)"}),
                {{gap, Kt_WString(u"(")}, Inserted(tokens_.EndBefore(end_), u")")},
                tokens_.IsWord(start_, u"print") && Is(end_, u";") && gap.length < 2);
  }
  const bool is_text = tokens_.IsKind(at_, Kind::kText) || tokens_.IsKind(at_ - 1, Kind::kText);
  return Make(FindingCode::kTwoValues, at_,
              Joined({fault_.stands_alone ? u"an operator is missing before this"
                                          : u"an operator, ',' or ';' is missing before this",
                      is_text ? u"; strings are joined with '+'" : u""}),
              {WithoutRest(at_)});
}

Repair CauseRules::Unfinished() const {
  std::u16string closing;
  std::vector<std::size_t> open;
  for (std::size_t at = start_; at < at_; ++at) {
    if (tokens_.IsOpening(at)) open.push_back(at);
    if (tokens_.IsClosing(at) && !open.empty()) open.pop_back();
  }
  if (fault_.code == kSynExpression && !open.empty() && !tokens_.IsClosing(at_)) {
    for (; !open.empty(); open.pop_back()) closing += Is(open.back(), u"[") ? u"]" : u")";
  }
  return Make(FindingCode::kNoOperand, {fault_.offset, fault_.length},
              Joined({u"a value is missing after '", Text(at_ - 1), u"'"}),
              {Inserted(fault_.offset, u" 0 " + closing)});
}

Repair CauseRules::Comma() const {
  const bool has_value = tokens_.EndsValue(at_ - 1);
  return Make(FindingCode::kMisplacedMark, at_,
              has_value ? u"commas stand in the parentheses of calls and in lists only"
                        : u"a value is missing before this ','",
              {has_value ? WithoutComma() : Inserted(fault_.offset, u" 0 ")});
}

Edit CauseRules::WithoutComma() const {
  return Replaced(at_, std::max(tokens_.ExpressionEnd(at_ + 1), at_ + 1));
}

Repair CauseRules::Point() const {
  if (tokens_.IsKind(at_ + 1, Kind::kNumber)) {
    return Make(FindingCode::kMisplacedMark, at_, Joined({u"write '0.", Text(at_ + 1), u"'"}),
                {Replaced(at_, at_ + 1, u"0.")}, true);
  }
  return Make(FindingCode::kMisplacedMark, at_, u"a '.' stands between a name and a member",
              {Replaced(at_, at_ + 1)}, Is(at_ - 1, u"."));
}

Repair CauseRules::Sign() const {
  const bool is_sign = Is(at_, u"-") || Is(at_, u"+") || Is(at_, u"!");
  if (!is_sign) {
    return Make(FindingCode::kMisplacedMark, at_, Joined({u"'", Text(at_), u"' cannot stand here"}),
                {WithoutRest(at_)});
  }
  std::size_t behind = at_ + 2;
  while (IsOneOf(Text(behind), {u"(", u"[", u"."})) {
    behind = Is(behind, u".") ? behind + 2 : tokens_.BehindGroup(behind);
  }
  return Make(FindingCode::kBadSign, at_,
              Joined({u"put parentheses around it: (", Text(at_), Text(at_ + 1), u")"}),
              {Inserted(fault_.offset, u"("), Inserted(tokens_.EndBefore(behind), u")")},
              tokens_.BeginsValue(at_ + 1));
}

}  // namespace kt::analysis
