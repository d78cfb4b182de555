// SPDX-License-Identifier: MIT
//
// What declares: functions and what stands outside of them, variables, arguments.
#include <algorithm>

#include "analysis/Kt_CauseRules.h"
#include "classlib/base/Kt_Codes.h"

namespace kt::analysis {

// Outside of functions ----------------------------------------------------------------------------

std::size_t CauseRules::RunEnd() const {
  std::size_t at = start_;
  do {
    at = Is(at, u"{") ? tokens_.BehindGroup(at) : at + 1;
  } while (at < tokens_.Count() &&
           !(tokens_[at].begins_line &&
             (tokens_.BeginsFunction(at) || tokens_.IsWord(at, u"var") || Is(at, u"#"))));
  return at;
}

CauseRules::Found CauseRules::Outside() const {
  if (fault_.code != kSynKeyword || IsInFunction()) return {};
  const bool is_function = IsWord(start_) && IsWord(start_ + 1) && Is(start_ + 2, u"(") &&
                           Is(tokens_.BehindGroup(start_ + 2), u"{");
  if (is_function) {
    return Make(kDeclares, start_, FindStatement(u"def")->hint,
                {Replaced(start_, start_ + 1, u"function")}, true);
  }
  if (IsWord(start_) && tokens_.IsWord(start_ + 1, u"function")) {
    return Make(kDeclares, start_, FindStatement(u"def")->hint, {Replaced(start_, start_ + 1)},
                true);
  }
  if (tokens_.IsWord(start_, u"function")) {
    return Make(FindingCode::kBadName, start_, u"a function needs a name: function name(...)",
                {Replaced(start_, RunEnd())});
  }
  if (IsWord(start_) && Is(start_ + 1, u"(") && Is(tokens_.BehindGroup(start_ + 1), u"{") &&
      !IsKeyword(Text(start_))) {
    return Make(kDeclares, start_, FindStatement(u"def")->hint,
                {Inserted(tokens_.StartOf(start_), u"function ")}, true);
  }
  return Make(FindingCode::kOutsideFunction, at_,
              u"statements stand in functions: function main() { ... }",
              {Replaced(start_, RunEnd())});
}

// Declarations ------------------------------------------------------------------------------------

CauseRules::Found CauseRules::Declaration() const {
  if (fault_.code != kSynVariable) return {};
  const std::size_t end = tokens_.ExpressionEnd(at_);
  std::size_t set = at_;
  while (set < end && !Is(set, u"=")) ++set;
  if (Is(at_ + 1, u":")) {
    return Make(kDeclares, at_ + 1, u"variables have no types", {Replaced(at_ + 1, set)}, true);
  }
  if (Is(at_ + 1, u":=")) return Replace(*FindMark(u":="), at_ + 1);
  if (FindType(Text(at_)) != nullptr && IsWord(at_ + 1)) {
    return Make(kDeclares, at_, u"variables have no types", {Replaced(at_, at_ + 1)}, true);
  }
  const std::vector<Edit> edits = {Replaced(at_, std::max(end, at_ + 1), u" x ")};
  if (Is(at_, u"{") || Is(at_, u"[")) {
    return Make(kDeclares, at_, u"declare each variable by itself", edits);
  }
  if (IsOneOf(Text(at_ + 1), {u"+=", u"-=", u"*=", u"/="})) {
    return Make(FindingCode::kBadName, at_ + 1, u"a new variable has no value yet; write '='",
                edits);
  }
  if (IsWord(at_) && tokens_.BeginsValue(at_ + 1)) {
    return Make(FindingCode::kTwoValues, at_ + 1,
                u"write '=' before its value, or ',' before another variable", edits);
  }
  return BadName(edits);
}

Repair CauseRules::BadName(std::vector<Edit> edits) const {
  return Make(FindingCode::kBadName, at_,
              u"a name consists of letters, digits and '_' and does not begin with a digit",
              std::move(edits));
}

CauseRules::Found CauseRules::Argument() const {
  if (fault_.code == kSynName) return BadName({Replaced(at_, NameEnd(), u" x")});
  if (fault_.code != kSynArgument) return {};
  const std::size_t end = tokens_.ExpressionEnd(at_);
  const std::vector<Edit> edits = {Replaced(at_, end, u" x ")};
  if (Is(at_ + 1, u"=")) {
    return Make(kDeclares, at_ + 1,
                u"arguments have no values of their own; those that are not passed are null",
                edits);
  }
  if (Is(at_ + 1, u":") || (IsWord(at_) && IsWord(at_ + 1))) {
    return Make(kDeclares, at_, u"arguments have no types: only their names, with ',' between",
                edits);
  }
  if (Is(at_, u"...") || Is(at_, u"*") || Is(at_, u"&") || Is(at_, u"$")) {
    return Make(kDeclares, at_, u"arguments are names only; pass a list, or ref(variable)", edits);
  }
  return BadName(edits);
}

std::size_t CauseRules::NameEnd() const {
  std::size_t at = at_;
  while (at < tokens_.Count() && !IsOneOf(Text(at), {u"(", u"{", u";", u"}"})) ++at;
  return at;
}

CauseRules::Found CauseRules::Function() const {
  const bool is_head = at_ > 0 && start_ < tokens_.Count() && tokens_.IsWord(start_, u"function");
  if (!is_head) return {};
  if (fault_.code == kSynParenStart && tokens_.IsClosing(end_ - 1)) {
    return Make(FindingCode::kStrayBracket, end_ - 1,
                u"this ')' closes nothing; the '(' after the name of the function is missing",
                {Replaced(at_, end_, u"()")});
  }
  if (fault_.code == kSynParenStart) {
    return Make(FindingCode::kMissingParentheses, {tokens_.EndBefore(at_), 0},
                u"a function has parentheses, also without arguments: '()'",
                {Inserted(tokens_.EndBefore(at_), u"()")}, true);
  }
  if (fault_.code != kSynBlockStart) return {};
  if (Is(end_, u"{")) {
    return Make(kDeclares, at_, u"functions have no types: '{' follows the arguments",
                {Replaced(at_, end_)}, true);
  }
  return Make(
      FindingCode::kUnclosedBracket, {tokens_.EndBefore(at_), 0},
      u"'{' is missing here: the statements of a function stand in braces",
      {Inserted(tokens_.EndBefore(at_), u" {"), Inserted(tokens_.EndBefore(end_ + 1), u" }")});
}

}  // namespace kt::analysis
