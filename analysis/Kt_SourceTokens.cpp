// SPDX-License-Identifier: MIT
//
// The scanners of the engine know what is legal. These tokens are for what is not: they include the
// operators of other languages, and what has no end goes to the end of the source.
#include "analysis/Kt_SourceTokens.h"

#include <algorithm>

#include "classlib/text/Kt_WString.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::analysis {
namespace {

// The longer ones first.
constexpr std::u16string_view kMarks[] = {
    u"===", u"!==", u"<=>", u"...", u"**", u"=>", u"=<", u"??", u"?.", u"->",
    u"::",  u":=",  u"<-",  u"++",  u"--", u"&&", u"||", u"+=", u"-=", u"*=",
    u"/=",  u"%=",  u"==",  u"!=",  u"<=", u">=", u"<>", u"<<", u">>"};

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }
bool IsPlainLetter(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || unit == u'_';
}
bool IsWordUnit(char16_t unit) {
  return IsPlainLetter(unit) || IsDigit(unit) || Kt_ExprUtil::ChkName(&unit, 1) == 1;
}

// Of the mark that a text begins with.
kt_long MarkLength(std::u16string_view text) {
  constexpr std::u16string_view kSecond = u"=>.*?:-+&|<";
  if (text.size() < 2 || kSecond.find(text[1]) == kSecond.npos) return 1;
  for (const std::u16string_view mark : kMarks) {
    if (text.starts_with(mark)) return static_cast<kt_long>(mark.size());
  }
  return 1;
}

}  // namespace

bool IsOneOf(std::u16string_view text, std::initializer_list<std::u16string_view> words) {
  return std::find(words.begin(), words.end(), text) != words.end();
}

SourceTokens::SourceTokens(std::u16string_view text) : text_(text) { Cut(); }

void SourceTokens::Cut() {
  const auto size = static_cast<kt_long>(text_.size());
  kt_long line_start = 0;
  bool begins_line = true;
  kt_long indent = 0;
  for (kt_long at = 0; at < size;) {
    const char16_t unit = text_[static_cast<std::size_t>(at)];
    if (unit == u'\n' || unit == u'\r') {
      line_start = at + 1;
      begins_line = true;
    }
    if (unit <= u' ') {
      ++at;
      continue;
    }
    if (begins_line) indent = at - line_start;
    if (const kt_long behind = SkipComment(at); behind > at) {
      at = behind;
      continue;
    }
    Kind kind = Kind::kMark;
    const kt_long length = Length(at, kind);
    tokens_.push_back({kind, begins_line, indent, at, length});
    begins_line = false;
    at += length;
  }
}

kt_long SourceTokens::SkipComment(kt_long at) const {
  const auto start = static_cast<std::size_t>(at);
  const std::u16string_view mark = text_.substr(start, 2);
  if (mark == u"//") {
    return static_cast<kt_long>(std::min(text_.find_first_of(u"\r\n", start), text_.size()));
  }
  if (mark != u"/*") return at;
  const std::size_t end = text_.find(u"*/", start + 2);
  return end == text_.npos ? at : static_cast<kt_long>(end) + 2;
}

kt_long SourceTokens::Length(kt_long at, Kind& kind) const {
  const std::u16string_view rest = text_.substr(static_cast<std::size_t>(at));
  const auto size = static_cast<kt_long>(rest.size());
  if (rest.starts_with(u"/*")) {
    kind = Kind::kUnclosed;
    return size;
  }
  if (rest[0] == u'"' || rest[0] == u'\'') {
    kind = Kind::kText;
    const kt_long length = Kt_ExprUtil::FindQuotEnd(rest.data(), size, rest[0]);
    return length < 0 ? size : length;
  }
  if (IsWordUnit(rest[0])) {
    const bool is_number = IsDigit(rest[0]);
    kind = is_number ? Kind::kNumber : Kind::kWord;
    std::size_t length = 1;
    while (length < rest.size() &&
           (IsWordUnit(rest[length]) || (is_number && rest[length] == u'.' &&
                                         IsDigit(rest[std::min(length + 1, rest.size() - 1)])))) {
      ++length;
    }
    return static_cast<kt_long>(length);
  }
  return MarkLength(rest);
}

std::u16string_view SourceTokens::Text(std::size_t index) const {
  if (index >= tokens_.size()) return {};
  const SourceToken& token = tokens_[index];
  return text_.substr(static_cast<std::size_t>(token.start),
                      static_cast<std::size_t>(token.length));
}

bool SourceTokens::IsWord(std::size_t index, std::u16string_view word) const {
  return IsKind(index, Kind::kWord) && Kt_WString(Text(index)).EqualsNoCase(word);
}

bool SourceTokens::IsOpening(std::size_t index) const {
  return IsOneOf(Text(index), {u"(", u"[", u"{"});
}

bool SourceTokens::IsClosing(std::size_t index) const {
  return IsOneOf(Text(index), {u")", u"]", u"}"});
}

bool SourceTokens::EndsValue(std::size_t index) const {
  if (index >= tokens_.size()) return false;
  if (tokens_[index].kind == Kind::kMark) return IsOneOf(Text(index), {u")", u"]", u"++", u"--"});
  return !IsWord(index, u"and") && !IsWord(index, u"or");
}

bool SourceTokens::BeginsValue(std::size_t index) const {
  if (index >= tokens_.size()) return false;
  if (tokens_[index].kind == Kind::kMark) return IsOneOf(Text(index), {u"(", u"[", u"++", u"--"});
  return !IsWord(index, u"and") && !IsWord(index, u"or");
}

bool SourceTokens::BeginsFunction(std::size_t index) const {
  return IsWord(index, u"function") && IsKind(index + 1, Kind::kWord) && Is(index + 2, u"(");
}

std::size_t SourceTokens::At(kt_long offset) const {
  const auto found =
      std::upper_bound(tokens_.begin(), tokens_.end(), offset,
                       [](kt_long at, const SourceToken& token) { return at < token.End(); });
  return static_cast<std::size_t>(found - tokens_.begin());
}

std::size_t SourceTokens::StatementStart(std::size_t index) const {
  std::size_t start = std::min(index, tokens_.size());
  while (start > 0 && !IsOneOf(Text(start - 1), {u";", u"{", u"}"})) --start;
  for (std::size_t next = BehindHead(start, index); next > start;) {
    start = next;
    next = BehindHead(start, index);
  }
  return start;
}

// Behind the head, the `else` or the label at `start`, when that is in front of `index`; else
// `start`.
std::size_t SourceTokens::BehindHead(std::size_t start, std::size_t index) const {
  std::size_t depth = 0;
  const bool is_label = IsWord(start, u"case") || IsWord(start, u"default");
  for (std::size_t at = start; at < index; ++at) {
    if (IsOpening(at)) ++depth;
    if (is_label && depth == 0 && Is(at, u":")) return at + 1;
    if (IsClosing(at) && depth-- == 0) return at + 1;  // of the head of a loop
  }
  const bool has_head = IsWord(start, u"if") || IsWord(start, u"while") || IsWord(start, u"for") ||
                        IsWord(start, u"switch");
  if (has_head && Is(start + 1, u"(")) {
    const std::size_t behind = BehindGroup(start + 1);
    return behind <= index && behind < tokens_.size() ? behind : start;
  }
  return IsWord(start, u"else") && start < index ? start + 1 : start;
}

std::size_t SourceTokens::BehindGroup(std::size_t index) const {
  std::size_t depth = 0;
  for (std::size_t at = index; at < tokens_.size(); ++at) {
    if (IsOpening(at)) ++depth;
    if (IsClosing(at) && depth > 0) --depth;
    if (depth == 0) return at + 1;
  }
  return tokens_.size();
}

std::size_t SourceTokens::ExpressionEnd(std::size_t index) const {
  std::size_t at = index;
  while (at < tokens_.size() && !IsClosing(at) && !Is(at, u";") && !Is(at, u",")) {
    at = IsOpening(at) ? BehindGroup(at) : at + 1;
  }
  return at;
}

kt_long SourceTokens::StartOf(std::size_t index) const {
  return index < tokens_.size() ? tokens_[index].start : static_cast<kt_long>(text_.size());
}

}  // namespace kt::analysis
