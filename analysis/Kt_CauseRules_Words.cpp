// SPDX-License-Identifier: MIT
//
// What begins a statement: words of other languages, keywords that are misspelt.
#include <algorithm>

#include "analysis/Kt_CauseRules.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/text/Kt_NearestName.h"

namespace kt::analysis {

CauseRules::Found CauseRules::FirstWord() const {
  if (!IsWord(start_) || IsOneOf(Text(start_ + 1), {u"=", u".", u"[", u",", u")"})) return {};
  if (tokens_.BeginsFunction(start_) && fault_.code == kSynExpression) return NestedFunction();
  if (IsWord(start_ + 1) && !Is(start_ + 2, u"(")) {
    if (const Foreign* const row = FindType(Text(start_))) return Replace(*row, start_);
  }
  const Foreign* const row = FindStatement(Text(start_));
  const bool is_call = Is(start_ + 1, u"(") && !Is(tokens_.BehindGroup(start_ + 1), u"{");
  if (row == nullptr || is_call) return {};
  if (row->cure == u"function") return ForeignFunction(*row);
  if (!row->cure.empty()) return Replace(*row, start_);
  if (row->shape == Foreign::Shape::kTry) return Try(*row);
  if (row->shape == Foreign::Shape::kWord)
    return Make(row->cause, start_, row->hint, {Replaced(start_, start_ + 1)});
  if (Is(end_, u";")) return Make(row->cause, start_, row->hint, {WithoutHead()});
  return Make(row->cause, start_, row->hint,
              {IsInFunction() ? WithoutHead() : Replaced(start_, RunEnd())});
}

Repair CauseRules::Replace(const Foreign& row, std::size_t at) const {
  return Make(row.cause, at, row.hint, {Replaced(at, at + 1, row.cure)}, true);
}

Repair CauseRules::Try(const Foreign& row) const {
  std::vector<Edit> edits = {WithoutHead()};
  for (std::size_t at = end_; Is(at, u"{");) {
    const std::size_t behind = tokens_.BehindGroup(at);
    const Foreign* const more = IsWord(behind) ? FindStatement(Text(behind)) : nullptr;
    if (more == nullptr || more->shape != Foreign::Shape::kTry) break;
    at = behind;
    while (at < tokens_.Count() && !IsOneOf(Text(at), {u"{", u";", u"}"})) ++at;
    edits.push_back(Replaced(behind, at));
  }
  return Make(row.cause, start_, row.hint, std::move(edits));
}

Repair CauseRules::ForeignFunction(const Foreign& row) const {
  const bool fits =
      IsWord(start_ + 1) && Is(start_ + 2, u"(") && Is(tokens_.BehindGroup(start_ + 2), u"{");
  if (IsInFunction()) return NestedFunction();
  if (fits) return Replace(row, start_);
  return Make(row.cause, start_, row.hint, {Replaced(start_, RunEnd())});
}

Repair CauseRules::NestedFunction() const {
  std::size_t open = start_;
  while (open < tokens_.Count() && !IsOneOf(Text(open), {u"{", u";", u"}"})) ++open;
  return Make(FindingCode::kNestedFunction, start_,
              u"functions stand outside of others, one after the other",
              {Replaced(start_, tokens_.BehindGroup(open))});
}

bool CauseRules::HasShapeOf(std::u16string_view keyword, std::size_t next) const {
  const std::size_t behind = tokens_.BehindGroup(next);
  if (IsOneOf(keyword, {u"if", u"while", u"switch"})) {
    return Is(next, u"(") && (Is(behind, u"{") || IsWord(behind));
  }
  if (keyword == u"for") {
    std::size_t at = next;
    while (at < behind && !Is(at, u";")) ++at;
    return Is(next, u"(") && at < behind;
  }
  if (keyword == u"else") return Is(next, u"{") || IsWord(next);
  if (keyword == u"default") return Is(next, u":");
  if (keyword == u"function") return IsWord(next) && Is(next + 1, u"(");
  if (keyword == u"var") return IsWord(next);
  return tokens_.BeginsValue(next) && !Is(next, u"(") && !Is(next, u"[");
}

CauseRules::Found CauseRules::Misspelt() const {
  if (!IsWord(start_) || start_ + 1 >= tokens_.Count()) return {};
  std::vector<Kt_WString> fitting;
  for (const std::u16string_view keyword : Keywords()) {
    const bool ends = keyword == u"break" || keyword == u"continue";
    if (!ends && HasShapeOf(keyword, start_ + 1)) fitting.emplace_back(keyword);
  }
  const Kt_WString word(Text(start_));
  const bool is_label = word.EqualsNoCase(u"case") || word.EqualsNoCase(u"default");
  const Kt_WString* const near = kt_nearestnameW(word.View(), fitting);
  if (near == nullptr || word == *near || (IsKeyword(word.View()) && !is_label)) return {};
  return Make(FindingCode::kMisspeltKeyword, start_, Joined({u"write '", near->View(), u"'"}),
              {Replaced(start_, start_ + 1, near->View())}, true);
}

}  // namespace kt::analysis
