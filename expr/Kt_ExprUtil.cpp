// SPDX-License-Identifier: MIT
//
// The tokenizer. Every expression of every script goes through FindToken at least twice (check,
// then parse), so the character tests are one look-up in a table of 128 bytes.
#include "expr/Kt_ExprUtil.h"

#include <algorithm>
#include <array>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/value/Kt_Variant.h"

namespace {

// The length of a token is no step.
bool GoesOnAt(std::size_t at) {
  constexpr std::size_t kRounds = 4096;
  return KT_LIKELY(at % kRounds != kRounds - 1) || kt::ChargeTime(kRounds);
}

enum CharClass : std::uint8_t {
  kSpace = 1,
  kDigit = 2,
  kWord = 4,       // letters, digits, '_'
  kBreaker = 8,    // ends a plain token
  kOperator = 16,  // GetTokenType 1
  kPoint = 32
};

constexpr std::array<std::uint8_t, 128> MakeClasses() {
  std::array<std::uint8_t, 128> classes{};
  const auto add = [&classes](std::string_view chars, int bits) {
    for (const unsigned char c : chars) classes[c] |= bits;
  };
  add(" \t\r\n", kSpace | kBreaker);
  add("0123456789", kDigit | kWord);
  add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_", kWord);
  add("+-*|/&%<>=!()[],\"'", kBreaker);
  add("+-*|/&%<>=!,", kOperator);
  add(".", kPoint);
  classes[0] |= kBreaker;
  return classes;
}

constexpr std::array<std::uint8_t, 128> kClasses = MakeClasses();

KT_ALWAYS_INLINE bool Is(char16_t unit, int bits) { return unit < 128 && kClasses[unit] & bits; }

KT_ALWAYS_INLINE bool IsNameUnit(char16_t unit) { return unit >= 128 || kClasses[unit] & kWord; }

// `word` is in lower case and made of letters only; setting bit 5 of any other character never
// gives one of its letters.
bool IsWord(const char16_t* text, kt_long length, std::u16string_view word) {
  if (length != static_cast<kt_long>(word.size())) return false;
  for (std::size_t at = 0; at < word.size(); ++at) {
    if ((text[at] | 0x20) != word[at]) return false;
  }
  return true;
}

// A token that is no operator, bracket or string: up to a breaker, or to a point that does not
// stand behind an integer. text[0] always belongs to it.
int PlainTokenLength(const char16_t* text, kt_long length) {
  kt_long at = 0;
  while (at < length && Is(text[at], kDigit) && GoesOnAt(static_cast<std::size_t>(at))) ++at;
  if (at < length && text[at] == u'.' && GoesOnAt(static_cast<std::size_t>(at))) ++at;
  while (at < length && !Is(text[at], kBreaker | kPoint) &&
         GoesOnAt(static_cast<std::size_t>(at))) {
    ++at;
  }
  return at;
}

// Length of the token at text[0], which is neither white space nor zero; -1 for a lone & or |,
// a code of FindQuotEnd for a string without end.
int TokenLength(const char16_t* text, kt_long length) {
  const char16_t next = length > 1 ? text[1] : u'\0';
  const char16_t first = text[0];
  switch (first) {
    case u'=':
    case u'>':
    case u'!': return next == u'=' ? 2 : 1;
    case u'<': return next == u'=' || next == u'>' ? 2 : 1;
    case u'+':
    case u'-': return next == first ? 2 : 1;
    case u'&':
    case u'|': return next == first ? 2 : -1;
    case u'*':
    case u'/':
    case u'%':
    case u'(':
    case u')':
    case u'[':
    case u']':
    case u',': return 1;
    case u'.':
      if (next < u'0' || next > u'8') return 1;
      return 1 + Kt_ExprUtil::FindWordEnd(text + 1, length - 1);
    case u'"':
    case u'\'': return Kt_ExprUtil::FindQuotEnd(text, length, first);
    default: return PlainTokenLength(text, length);
  }
}

}  // namespace

int Kt_ExprUtil::FindWordEnd(const char16_t* text, kt_long length) {
  if (length < 1 || !text) return length;
  if (text[0] == u'#' || text[0] == u'{') return 1;
  for (kt_long at = 0; at < length && text[at] != 0; ++at) {
    if (!Is(text[at], kWord)) return at;
  }
  return length;
}

int Kt_ExprUtil::FindQuotEnd(const char16_t* text, kt_long length, char16_t quote) {
  for (kt_long at = 1; text && at < length && text[at] != 0; ++at) {
    if (!GoesOnAt(static_cast<std::size_t>(at))) break;
    if (text[at] == quote) return at + 1;
    if (text[at] == u'\\' && at + 1 < length && text[at + 1] != 0) ++at;
  }
  return quote == u'\'' ? kExprSingleQuote : kExprDoubleQuote;
}

int Kt_ExprUtil::ChkNumber(const char16_t* text, kt_long length) {
  if (length < 1 || !text) return 0;
  int kind = 1;
  for (kt_long at = 0; at < length && text[at] != 0; ++at) {
    const char16_t unit = text[at];
    if (!GoesOnAt(static_cast<std::size_t>(at))) return 0;
    if (Is(unit, kDigit)) continue;
    if (unit == u'.' && kind == 1) {
      kind = 2;
    } else if (at > 0 || (unit != u'+' && unit != u'-')) {
      return 0;
    }
  }
  return kind;
}

int Kt_ExprUtil::ChkName(const char16_t* text, kt_long length) {
  if (length < 1 || !text || Is(text[0], kDigit)) return 0;
  for (kt_long at = 0; at < length && (at == 0 || text[at] != 0); ++at) {
    if (!IsNameUnit(text[at]) || !GoesOnAt(static_cast<std::size_t>(at))) return 0;
  }
  return 1;
}

int Kt_ExprUtil::FindToken(const char16_t* text, kt_long length, int& start, int& token_length) {
  start = 0;
  token_length = 0;
  if (!text) return 0;
  kt_long at = 0;
  while (at < length && Is(text[at], kSpace) && GoesOnAt(static_cast<std::size_t>(at))) ++at;
  if (at >= length || text[at] == 0) {
    start = std::max(length, 0);
    return 0;
  }
  start = at;
  token_length = TokenLength(text + at, length - at);
  if (KT_LIKELY(token_length > 0)) return at + token_length;
  // A string without end must end the scan however far from the start it stands.
  return token_length == -1 ? at - 1 : std::min(at + token_length, 0);
}

kt_long Kt_ExprUtil::TokensEnd(const char16_t* text, kt_long length) {
  for (kt_long at = 0; at < length;) {
    int start = 0;
    int token_length = 0;
    const int next = FindToken(text + at, length - at, start, token_length);
    if (next < 1) return at + start;
    at += next;
  }
  return length;
}

int Kt_ExprUtil::GetTokenType(const char16_t* text, kt_long length) {
  if (!text) return -1;
  kt_long at = 0;
  while (at != length && (Is(text[at], kSpace) || text[at] == u'\\')) {
    if (!GoesOnAt(static_cast<std::size_t>(at++))) return -1;
  }
  if (at == length || text[at] == 0) return -1;
  if (Is(text[at], kOperator)) return 1;
  switch (text[at]) {
    case u'[': return 2;
    case u'(': return 3;
    case u'.': return 4;
    case u')':
    case u']': return 9;
    default: return 0;
  }
}

int Kt_ExprUtil::IsConstant(const char16_t* text, kt_long length) {
  if (!text || length < 3 || length > 5) return 0;
  switch (text[0] | 0x20) {
    case u'f': return IsWord(text, length, u"false");
    case u'n': return IsWord(text, length, u"null") || IsWord(text, length, u"nil");
    case u't': return IsWord(text, length, u"true");
    default: return 0;
  }
}

int Kt_ExprUtil::GetConstant(const Kt_WString& word, Kt_Variant& value) {
  const char16_t* const text = word.GetText();
  const kt_long length = word.GetLength();
  if (IsWord(text, length, u"true")) {
    value.Set(kt_long{1});
  } else if (IsWord(text, length, u"false")) {
    value.Set(kt_long{0});
  } else if (IsWord(text, length, u"null") || IsWord(text, length, u"nil")) {
    value.Clear();
  } else {
    return 0;
  }
  return 1;
}
