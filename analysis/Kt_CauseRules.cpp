// SPDX-License-Identifier: MIT
#include "analysis/Kt_CauseRules.h"

#include <iterator>

namespace kt::analysis {

std::span<const std::u16string_view> CauseRules::Keywords() {
  static constexpr std::u16string_view kKeywords[] = {
      u"if",     u"for",    u"var",      u"else", u"while",   u"break",
      u"switch", u"return", u"continue", u"case", u"default", u"function"};
  return kKeywords;
}

bool CauseRules::IsKeyword(std::u16string_view word) {
  const Kt_WString wanted(word);
  return std::ranges::any_of(
      Keywords(), [&](std::u16string_view keyword) { return wanted.EqualsNoCase(keyword); });
}

Repair CauseRules::Run() const {
  using Rule = std::optional<Repair> (CauseRules::*)() const;
  constexpr Rule kRules[] = {
      &CauseRules::Comment,  &CauseRules::Pragma,      &CauseRules::CaseValue,
      &CauseRules::ForHead,  &CauseRules::FirstWord,   &CauseRules::Misspelt,
      &CauseRules::Outside,  &CauseRules::Declaration, &CauseRules::Argument,
      &CauseRules::Function, &CauseRules::Head,        &CauseRules::ForeignMark,
      &CauseRules::Compare,  &CauseRules::ForeignWord, &CauseRules::Structure};
  for (const Rule rule : kRules) {
    if (std::optional<Repair> repair = (this->*rule)()) return *std::move(repair);
  }
  return Expression();
}

std::size_t CauseRules::StatementEnd() const {
  std::size_t end = at_;
  while (end < tokens_.Count() && !Is(end, u";") && !Is(end, u"}") &&
         !(Is(end, u"{") && !IsValueBrace(end))) {
    ++end;
  }
  return end;
}

bool CauseRules::IsValueBrace(std::size_t at) const {
  return Is(at, u"{") &&
         (at == 0 || IsOneOf(Text(at - 1), {u"=", u"(", u",", u"[", u":", u"+", u"=>"}) ||
          tokens_.IsWord(at - 1, u"return"));
}

Edit CauseRules::WithoutHead() const { return Replaced(start_, end_); }

Kt_WString Joined(std::initializer_list<std::u16string_view> pieces) {
  Kt_WString text;
  for (const std::u16string_view piece : pieces) text += piece;
  return text;
}

Repair RepairByRule(const SourceTokens& tokens, const Fault& fault) {
  return CauseRules(tokens, fault).Run();
}

}  // namespace kt::analysis
