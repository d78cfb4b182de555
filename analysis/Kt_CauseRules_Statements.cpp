// SPDX-License-Identifier: MIT
//
// The shape of statements: comments and pragmas, heads, labels, what ends a statement.
#include <algorithm>

#include "analysis/Kt_CauseRules.h"
#include "classlib/base/Kt_Codes.h"

namespace kt::analysis {
namespace {

constexpr std::u16string_view kColon = u"':' is missing here, after the label";

}  // namespace

// The whole ---------------------------------------------------------------------------------------

CauseRules::Found CauseRules::Pragma() const {
  if (fault_.code != kSynAtPragma) return {};
  return Make(FindingCode::kBadInclude, at_,
              u"'#' begins '#include \"file\"' only; comments begin with '//'", {Hidden(at_)});
}

CauseRules::Found CauseRules::Comment() const {
  if (fault_.code != kSynCommentEnd) return {};
  const std::u16string_view source = tokens_.Source();
  std::size_t at = 0;
  while (at < tokens_.Count() && !tokens_.IsKind(at, Kind::kUnclosed)) ++at;
  const auto start = static_cast<std::size_t>(tokens_.StartOf(at));
  const std::size_t end = std::min(source.find_first_of(u"\r\n", start), source.size());
  return Make(FindingCode::kUnclosedComment, {tokens_.StartOf(at), 2},
              u"the comment that begins here has no '*/'",
              {Inserted(static_cast<kt_long>(end), u" */")});
}

// Heads -------------------------------------------------------------------------------------------

CauseRules::Found CauseRules::ForHead() const {
  const bool is_unbracketed = fault_.code == kSynParenStart && tokens_.IsWord(start_, u"for");
  const bool is_head = fault_.code == kSynLabelMark && at_ > 1 && tokens_.IsWord(at_ - 2, u"for");
  if (!is_unbracketed && !is_head) return {};
  const std::size_t from = is_head ? at_ : start_ + 1;
  const std::size_t to = is_head ? tokens_.BehindGroup(at_ - 1) - 1 : end_;
  const std::vector<Edit> edits = {Replaced(from, to, is_head ? u";0;" : u" (;0;) ")};
  for (std::size_t at = from; at < to; ++at) {
    const bool is_each = tokens_.IsWord(at, u"in") || tokens_.IsWord(at, u"of") ||
                         tokens_.IsWord(at, u"each") || Is(at, u":");
    if (is_each) return Make(kStatement, at, FindStatement(u"foreach")->hint, edits);
    if (tokens_.IsWord(at, u"to"))
      return Make(kStatement, at, FindWordOperator(u"to")->hint, edits);
  }
  return is_head ? ForParts(from, to, edits) : Found();
}

Repair CauseRules::ForParts(std::size_t from, std::size_t to, std::vector<Edit> edits) const {
  std::vector<std::size_t> commas;
  std::vector<std::size_t> gaps;
  std::size_t marks = 0;
  for (std::size_t at = from; at < to; at = tokens_.BehindGroup(at)) {
    if (Is(at, u",")) commas.push_back(at);
    if (Is(at, u";")) ++marks;
    const bool is_gap = at > from + 1 && tokens_.EndsValue(at - 1) && IsWord(at) && IsWord(at);
    if (is_gap && tokens_.BeginsValue(at)) gaps.push_back(at);
  }
  constexpr std::u16string_view kHint =
      u"a for has three parts with ';' between them: for (start; condition; step)";
  if (marks == 0 && commas.size() == 2) {
    return Make(
        FindingCode::kForHead, commas[0], kHint,
        {Replaced(commas[0], commas[0] + 1, u";"), Replaced(commas[1], commas[1] + 1, u";")}, true);
  }
  if (marks == 1 && gaps.size() == 1) {
    return Make(FindingCode::kForHead, {tokens_.EndBefore(gaps[0]), 0}, kHint,
                {Inserted(tokens_.EndBefore(gaps[0]), u";")}, true);
  }
  return Make(FindingCode::kForHead, Range(from, std::max(to, from + 1)), kHint, std::move(edits));
}

CauseRules::Found CauseRules::Head() const {
  const bool is_head = tokens_.IsWord(at_ - 1, u"if") || tokens_.IsWord(at_ - 1, u"while") ||
                       tokens_.IsWord(at_ - 1, u"switch") || tokens_.IsWord(at_ - 1, u"for");
  if (at_ == 0 || !is_head) return {};
  if (fault_.code != kSynParenStart) return {};
  std::size_t to = at_ + 1;
  while (to < end_ && !tokens_[to].begins_line && !tokens_.IsWord(to, u"then") && !Is(to, u":"))
    ++to;
  const bool has_word = tokens_.IsWord(to, u"then") || Is(to, u":");
  std::vector<Edit> edits = {Inserted(tokens_.StartOf(at_), u"("),
                             Inserted(tokens_.EndBefore(to), u")")};
  if (has_word) edits.push_back(Replaced(to, to + 1));
  const bool is_for = tokens_.IsWord(at_ - 1, u"for");
  return Make(FindingCode::kMissingParentheses, Range(at_, to),
              Joined({u"parentheses stand around this: ", Text(at_ - 1), u" (...)"}),
              std::move(edits), Is(to, u"{") && !is_for);
}

// Faults of structure -----------------------------------------------------------------------------

CauseRules::Found CauseRules::Structure() const {
  const bool has_head = Is(at_ + 1, u"(");
  switch (fault_.code) {
    case kSynLineEnd:
      return Make(FindingCode::kMissingSemicolon, {tokens_.EndBefore(end_), 0},
                  u"';' is missing here", {Inserted(tokens_.EndBefore(end_), u";")}, true);
    case kSynLabelMark: return Label();
    case kSynKeyword: return Word();
    case kSynNullExpr: return Empty();
    case kSynBlockEnd:
      return Make(FindingCode::kIncomplete, at_, u"a statement is missing after this",
                  {Inserted(tokens_.EndBefore(has_head ? tokens_.BehindGroup(at_ + 1) : at_ + 1),
                            has_head || tokens_.IsWord(at_, u"else") ? u" ;" : u" (0);")});
    case kSynTooDeep: return Make(FindingCode::kNestedTooDeeply, at_, u"");
    case kSynNul: return Make(FindingCode::kTextAfterNul, at_, u"");
    case kSynBraceEnd:
    case kSynParenEnd:
    case kSynBracketEnd:
    case kSynBlockStart:
    case kSynParenStart:
    case kSynBracketStart:
      return Make(FindingCode::kUnclosedBracket, at_, u"the brackets here do not match");
    case kSynDoubleQuote:
    case kSynSingleQuote:
      return Make(FindingCode::kUnclosedString, at_, u"a string from here on has no end");
    default: return {};
  }
}

CauseRules::Found CauseRules::CaseValue() const {
  const bool is_label = tokens_.IsWord(start_, u"case") && at_ > start_ + 1;
  if (!is_label || fault_.expression_code != kExprNoOperator) return {};
  return Make(FindingCode::kMissingColon, {tokens_.EndBefore(at_), 0}, kColon,
              {Inserted(tokens_.EndBefore(at_), u":")}, true);
}

CauseRules::Found CauseRules::Label() const {
  if (!IsInFunction()) {
    const bool is_whole = end_ > start_ + 1;  // more than a lone 'var'
    return Make(FindingCode::kMissingSemicolon, {tokens_.EndBefore(end_), 0},
                u"';' is missing here", {Inserted(tokens_.EndBefore(end_), u";")}, is_whole);
  }
  std::size_t at = at_ + 1;
  while (
      at < end_ && !tokens_[at].begins_line &&
      (at == at_ + 1 || !(tokens_.EndsValue(at - 1) && tokens_.BeginsValue(at)) || Is(at, u"("))) {
    ++at;
  }
  if (tokens_.IsWord(at_, u"default")) at = at_ + 1;
  return Make(FindingCode::kMissingColon, {tokens_.EndBefore(at), 0}, kColon,
              {Inserted(tokens_.EndBefore(at), u":")}, true);
}

CauseRules::Found CauseRules::Word() const {
  if (tokens_.IsWord(at_, u"else")) {
    const bool is_cut_off = Is(at_ - 1, u";") && Is(at_ - 2, u"}");
    if (is_cut_off) {
      return Make(FindingCode::kMisplacedWord, at_ - 1, u"this ';' ends the 'if' before its 'else'",
                  {Replaced(at_ - 1, at_)}, true);
    }
    return Make(FindingCode::kMisplacedWord, at_,
                u"'else' follows the one statement of an 'if', or its block in braces",
                {Replaced(at_, at_ + 1)});
  }
  if (tokens_.IsWord(start_, u"break") || tokens_.IsWord(start_, u"continue")) {
    return Make(
        FindingCode::kMisplacedWord, at_,
        Joined({u"nothing follows '", Text(start_), u"', which is about the innermost loop"}),
        {Replaced(start_ + 1, end_)});
  }
  return Make(FindingCode::kMisplacedWord, at_,
              u"in a switch, statements follow 'case value:' or 'default:'",
              {Inserted(tokens_.StartOf(at_), u"case 0: ")});
}

CauseRules::Found CauseRules::Empty() const {
  std::size_t at = at_;
  while (at > 0 && !IsKeyword(Text(at))) --at;
  const bool is_for = tokens_.IsWord(at, u"for");
  const std::size_t to = tokens_.IsWord(at, u"case") ? at + 1 : at + 2;
  return Make(FindingCode::kEmptyCondition, Range(at, std::max(to, at + 1)),
              is_for ? u"write 'for (start; condition; step)'"
                     : Joined({u"'", Text(at), u"' needs a value here"}).View(),
              {Inserted(tokens_.EndBefore(to), is_for ? u";0;" : u" 0")});
}

CauseRules::Found CauseRules::Compare() const {
  const bool is_split = at_ < tokens_.Count() && tokens_.IsKind(at_, Kind::kMark) &&
                        fault_.offset > tokens_[at_].start && fault_.code == kSynExpression;
  if (!is_split || !IsOneOf(Text(at_), {u"==", u"!=", u"<=", u">="})) return {};
  return Make(FindingCode::kMisplacedMark, at_,
              u"a comparison is no statement; '=' assigns a value", {Replaced(at_, at_ + 1, u"=")});
}

}  // namespace kt::analysis
