// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_Tokens.h"

#include <algorithm>
#include <array>

#include "expr/Kt_ExprUtil.h"

namespace kt::cli::lsp {
namespace {

using TokenKind = Token::Kind;

bool IsWordUnit(char16_t unit) {
  return unit >= 128 || unit == u'_' || (unit >= u'0' && unit <= u'9') ||
         (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}
bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

std::size_t EndOfWord(std::u16string_view text, std::size_t at) {
  while (at < text.size() && IsWordUnit(text[at])) ++at;
  return at;
}

std::size_t EndOfNumber(std::u16string_view text, std::size_t at) {
  at = EndOfWord(text, at);
  const bool has_fraction = at + 1 < text.size() && text[at] == u'.' && IsDigit(text[at + 1]);
  return has_fraction ? EndOfWord(text, at + 1) : at;
}

std::size_t EndOfLine(std::u16string_view text, std::size_t at) {
  return std::min(text.find_first_of(u"\r\n", at), text.size());
}

std::size_t EndOfLiteral(std::u16string_view text, std::size_t at) {
  const auto rest = static_cast<kt_long>(text.size() - at);
  const int size = Kt_ExprUtil::FindQuotEnd(text.data() + at, rest, text[at]);
  return size > 0 ? at + static_cast<std::size_t>(size) : EndOfLine(text, at);
}

std::size_t EndOfComment(std::u16string_view text, std::size_t at) {
  if (text[at + 1] == u'/') return EndOfLine(text, at);
  const std::size_t end = text.find(u"*/", at + 2);
  return end == text.npos ? text.size() : end + 2;
}

TokenKind KindAt(std::u16string_view text, std::size_t at) {
  const char16_t unit = text[at];
  const char16_t next = at + 1 < text.size() ? text[at + 1] : u'\0';
  if (unit == u'"' || unit == u'\'') return TokenKind::kLiteral;
  if (unit == u'/' && (next == u'/' || next == u'*')) return TokenKind::kComment;
  if (IsDigit(unit)) return TokenKind::kNumber;
  return IsWordUnit(unit) ? TokenKind::kWord : TokenKind::kMark;
}

std::size_t EndOf(TokenKind kind, std::u16string_view text, std::size_t at) {
  switch (kind) {
    case TokenKind::kLiteral: return EndOfLiteral(text, at);
    case TokenKind::kComment: return EndOfComment(text, at);
    case TokenKind::kNumber: return EndOfNumber(text, at);
    case TokenKind::kWord: return EndOfWord(text, at);
    default: return at + 1;
  }
}

bool IsOpening(char16_t mark) { return mark == u'(' || mark == u'[' || mark == u'{'; }
bool IsClosing(char16_t mark) { return mark == u')' || mark == u']' || mark == u'}'; }

}  // namespace

std::vector<Token> ScanTokens(std::u16string_view text) {
  std::vector<Token> tokens;
  for (std::size_t at = 0; at < text.size();) {
    at = std::min(text.find_first_not_of(std::u16string_view(u" \t\r\n\0", 5), at), text.size());
    if (at == text.size()) break;
    const TokenKind kind = KindAt(text, at);
    const std::size_t end = EndOf(kind, text, at);
    tokens.push_back({kind, {static_cast<kt_long>(at), static_cast<kt_long>(end)}});
    at = end;
  }
  return tokens;
}

bool IsKeyword(std::u16string_view word) {
  static constexpr std::u16string_view kWords[] = {
      u"and", u"break", u"case", u"continue", u"default", u"else",   u"false", u"for", u"function",
      u"if",  u"nil",   u"null", u"or",       u"return",  u"switch", u"true",  u"var", u"while"};
  return std::ranges::any_of(kWords, [&](std::u16string_view known) {
    return known.size() == word.size() && Kt_WString(known).EqualsNoCase(word);
  });
}

std::u16string_view TokenView::TextOf(std::size_t token) const {
  const Range& range = tokens_[token].range;
  return text_.substr(static_cast<std::size_t>(range.start),
                      static_cast<std::size_t>(range.end - range.start));
}

bool TokenView::IsMark(std::size_t token, char16_t mark) const {
  return token < tokens_.size() && tokens_[token].kind == TokenKind::kMark &&
         TextOf(token)[0] == mark;
}

bool TokenView::IsWord(std::size_t token) const {
  return token < tokens_.size() && tokens_[token].kind == TokenKind::kWord;
}

std::size_t TokenView::CountBefore(kt_long offset) const {
  const auto end = std::partition_point(tokens_.begin(), tokens_.end(), [&](const Token& token) {
    return token.range.start < offset;
  });
  return static_cast<std::size_t>(end - tokens_.begin());
}

std::size_t TokenView::WordAt(kt_long offset) const {
  const std::size_t behind = CountBefore(offset + 1);
  // Of a word that begins where another token ends it is meant.
  for (std::size_t token = behind; token-- > 0 && behind - token <= 2;) {
    const TokenKind kind = tokens_[token].kind;
    if (!tokens_[token].range.Touches(offset)) break;
    if (kind == TokenKind::kWord || kind == TokenKind::kNumber) return token;
  }
  return kNone;
}

std::size_t TokenView::TextAround(kt_long offset) const {
  const std::size_t count = CountBefore(offset);
  if (count == 0) return kNone;
  const std::size_t token = count - 1;
  const TokenKind kind = tokens_[token].kind;
  const kt_long end = tokens_[token].range.end;
  const std::u16string_view text = TextOf(token);
  // Behind the last unit one is still in what that does not close.
  const bool is_open = kind == TokenKind::kLiteral ? text.size() < 2 || text.back() != text.front()
                                                   : !text.ends_with(u"*/");
  if (kind != TokenKind::kLiteral && kind != TokenKind::kComment) return kNone;
  return offset < end || (offset == end && is_open) ? token : kNone;
}

std::size_t TokenView::Before(std::size_t token) const {
  if (token == kNone) return kNone;
  while (token-- > 0) {
    if (tokens_[token].kind != TokenKind::kComment) return token;
  }
  return kNone;
}

std::size_t TokenView::After(std::size_t token) const {
  for (++token; token < tokens_.size(); ++token) {
    if (tokens_[token].kind != TokenKind::kComment) return token;
  }
  return kNone;
}

std::optional<TokenView::Call> TokenView::FindCall(std::size_t token) const {
  int depth = 0;
  int argument = 0;
  while (token-- > 0) {
    if (tokens_[token].kind != TokenKind::kMark) continue;
    const char16_t mark = TextOf(token)[0];
    if (IsClosing(mark)) ++depth;
    if (depth == 0 && mark == u',') ++argument;
    if (depth == 0 && (mark == u'{' || mark == u';')) return std::nullopt;
    if (!IsOpening(mark) || depth-- > 0) continue;
    depth = 0;
    const std::size_t name = Before(token);
    if (mark == u'(' && IsWord(name) && !IsKeyword(TextOf(name))) {
      const bool is_declared =
          Before(name) != kNone && Kt_WString(TextOf(Before(name))).EqualsNoCase(u"function");
      if (is_declared) return std::nullopt;
      return Call{name, argument};
    }
    argument = 0;  // a group or a list in an argument
  }
  return std::nullopt;
}

std::size_t TokenView::FindOpening(std::size_t token) const {
  int depth = 0;
  for (++token; token-- > 0;) {
    if (tokens_[token].kind != TokenKind::kMark) continue;
    const char16_t mark = TextOf(token)[0];
    if (IsClosing(mark)) ++depth;
    if (mark == u';' || mark == u'{') return kNone;
    if (IsOpening(mark) && --depth == 0) return token;
  }
  return kNone;
}

std::optional<TokenView::Owner> TokenView::FindOwner(std::size_t token) const {
  const std::size_t point = Before(token);
  if (!IsMark(point, u'.')) return std::nullopt;
  Owner owner;
  std::size_t before = Before(point);
  while (IsMark(before, u']') || IsMark(before, u')')) {
    (IsMark(before, u']') ? owner.is_element : owner.is_result) = true;
    const std::size_t opening = FindOpening(before);
    if (opening == kNone) return owner;
    before = Before(opening);
  }
  if (!IsWord(before) || IsMark(Before(before), u'.')) return owner;
  owner.name = before;
  return owner;
}

}  // namespace kt::cli::lsp
