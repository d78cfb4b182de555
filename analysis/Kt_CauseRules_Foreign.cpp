// SPDX-License-Identifier: MIT
//
// Operators and values of other languages, anywhere in a statement.
#include <algorithm>

#include "analysis/Kt_CauseRules.h"
#include "classlib/base/Kt_Codes.h"

namespace kt::analysis {

CauseRules::Found CauseRules::ForeignMark() const {
  for (std::size_t at = start_; at < std::min(end_ + 1, tokens_.Count()); ++at) {
    if (Found found = ForeignMarkAt(at)) return found;
  }
  return {};
}

CauseRules::Found CauseRules::ForeignMarkAt(std::size_t at) const {
  if (IsValueBrace(at)) {
    return Make(kValue, at,
                u"there are no values with named parts; use variables, lists or a dataset",
                {Replaced(at, tokens_.BehindGroup(at), u"0")});
  }
  if (Is(at, u"`")) return Backquoted(at);
  if (tokens_.IsKind(at, Kind::kNumber)) return Number(at);
  if (tokens_.IsKind(at, Kind::kText) && IsWord(at - 1) &&
      tokens_.EndBefore(at) == tokens_.StartOf(at)) {
    return Make(kValue, at - 1, u"a string has no prefix; values are joined with '+'",
                {Replaced(at - 1, at)});
  }
  if (tokens_.IsWord(at, u"function") && at > start_) {
    return Make(FindingCode::kNestedFunction, at,
                u"functions have names and stand outside of others", {WithoutRest(at)});
  }
  if (!tokens_.IsKind(at, Kind::kMark)) return {};
  const Foreign* const row = FindMark(Text(at));
  if (row == nullptr) return {};
  if (row->text == u"=>") return Arrow(*row, at);
  if (!row->cure.empty()) return Replace(*row, at);
  if (row->text == u"#") return Make(row->cause, at, row->hint, {Hidden(at)});
  if (!tokens_.EndsValue(at - 1) && IsOneOf(row->text, {u"$", u"@", u"~", u"..."})) {
    return Make(row->cause, at, row->hint, {Replaced(at, at + 1)});
  }
  return Make(row->cause, at, row->hint, {WithoutRest(at)});
}

Edit CauseRules::Hidden(std::size_t from) const {
  std::size_t to = from + 1;
  while (to < tokens_.Count() && !tokens_[to].begins_line) ++to;
  return Replaced(from, to);
}

Repair CauseRules::Arrow(const Foreign& row, std::size_t at) const {
  const bool is_condition = tokens_.IsWord(start_, u"if") || tokens_.IsWord(start_, u"while");
  if (is_condition) {
    return Make(row.cause, at, u"write '>='", {Replaced(at, at + 1, u">=")}, true);
  }
  return Make(row.cause, at, row.hint, {WithoutRest(at)});
}

Repair CauseRules::Backquoted(std::size_t at) const {
  std::size_t end = at + 1;
  while (end < tokens_.Count() && !Is(end, u"`") && !tokens_[end].begins_line) ++end;
  const SourcePart whole = Range(at, std::min(end + 1, tokens_.Count()));
  const std::u16string_view text =
      tokens_.Source().substr(static_cast<std::size_t>(whole.offset) + 1,
                              static_cast<std::size_t>(std::max(whole.length - 2, 0)));
  const bool is_plain = Is(end, u"`") && text.find_first_of(u"\"$\\") == text.npos;
  return Make(kValue, at,
              is_plain ? u"write \"...\"" : u"write \"...\"; values are joined with '+': \"a\" + b",
              {{whole, is_plain ? Joined({u"\"", text, u"\""}) : Kt_WString(u"\"\"")}}, is_plain);
}

CauseRules::Found CauseRules::Number(std::size_t at) const {
  const std::u16string_view text = Text(at);
  const std::size_t odd = text.find_first_not_of(u"0123456789.");
  const bool has_two_points = text.find(u'.') != text.rfind(u'.');
  if (odd == text.npos && !has_two_points) return {};
  std::u16string digits(text);
  std::erase(digits, u'_');
  const bool is_grouped =
      digits.find_first_not_of(u"0123456789.") == digits.npos && !has_two_points;
  return Make(kValue, at, u"numbers consist of digits and a point, such as 1000 or 0.5",
              {Replaced(at, at + 1, is_grouped ? digits : u"0")}, is_grouped);
}

CauseRules::Found CauseRules::ForeignWord() const {
  if (fault_.code != kSynExpression) return {};
  // The word, or what follows it, is what the engine does not understand.
  for (const std::size_t at : {at_, at_ - 1}) {
    if (at >= tokens_.Count() || at < start_ || !IsWord(at)) continue;
    const Foreign* const row = FindWordOperator(Text(at));
    if (row == nullptr) continue;
    if (row->text == u"not" || row->text == u"is") return Not(*row, at);
    if (!row->cure.empty()) return Replace(*row, at);
    if (row->cause == kValue) return Make(row->cause, at, row->hint, {WithoutRest(at)});
    const bool follows = tokens_.IsWord(at - 1, u"and") || row->text == u"then";
    return Make(row->cause, at, tokens_.IsWord(at - 1, u"and") ? u"write 'and' alone" : row->hint,
                {follows ? Replaced(at, at + 1) : WithoutRest(at)}, tokens_.IsWord(at - 1, u"and"));
  }
  if (tokens_.IsWord(at_ - 1, u"else") && tokens_.IsWord(at_ - 2, u"or")) {
    return Make(kOperator, at_ - 1, u"write 'or' alone", {Replaced(at_ - 1, at_)}, true);
  }
  return {};
}

Repair CauseRules::Not(const Foreign& row, std::size_t at) const {
  const bool is_not_equal = row.text == u"is" && tokens_.IsWord(at + 1, u"not");
  if (is_not_equal) {
    return Make(row.cause, at, u"write '!='", {Replaced(at, at + 2, u"!=")}, true);
  }
  const bool is_between = row.text == u"not" && tokens_.EndsValue(at - 1) && !Is(at + 1, u"in");
  if (is_between && tokens_.BeginsValue(at + 1)) {
    return Make(row.cause, at, u"write '!='", {Replaced(at, at + 1, u"!=")}, true);
  }
  const bool is_simple = row.text == u"is" || Is(at + 1, u"(");
  return Make(row.cause, at, row.hint, {Replaced(at, at + 1, row.cure)}, is_simple);
}

}  // namespace kt::analysis
