// SPDX-License-Identifier: MIT
//
// Blanks, enclosing pairs and padding.

#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_WString.h"
#include "classlib/text/detail/Kt_Blank.h"

namespace {

// White space between the tokens of a script: unlike Trim, without the Unicode blanks, which are
// name characters there.
bool IsSkipped(char16_t unit) {
  return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n';
}

bool IsQuote(char16_t unit) { return unit == u'"' || unit == u'\''; }

char16_t ClosingBracket(char16_t open) {
  switch (open) {
    case u'(': return u')';
    case u'[': return u']';
    case u'{': return u'}';
    case u'<': return u'>';
    default: return u'\0';
  }
}

// Makes `text` the part of itself that `part` shows; keeps the buffer when nothing goes.
void KeepPart(Kt_WString& text, std::u16string_view part) {
  if (part.size() != text.View().size()) text = Kt_WString(part);
}

bool Fill(char16_t* units, char16_t pad, kt_long length) {
  return kt::detail::InPieces(static_cast<std::size_t>(length), 1,
                              [&](std::size_t first, std::size_t count) {
                                std::fill_n(units + first, count, pad);
                                return true;
                              });
}

bool NeedsEscape(char16_t unit) { return unit == u'"' || unit == u'\\'; }

// Fills a fresh string of `length` units: `text` at `offset`, `pad` elsewhere.
Kt_WString Padded(const Kt_WString& text, char16_t pad, kt_long length, kt_long offset) {
  Kt_WString out;
  char16_t* const units = out.GetBuffer(length);
  if (units == nullptr) return text;
  const kt_long end = offset + text.GetLength();
  if (!Fill(units, pad, offset) || !Fill(units + end, pad, length - end)) return {};
  const char16_t* const from = text.GetText();
  const auto copy = [&](std::size_t first, std::size_t count) {
    std::copy_n(from + first, count, units + offset + first);
    return true;
  };
  if (!kt::detail::InPieces(text.View().size(), 1, copy)) return {};
  return out;
}

}  // namespace

void Kt_WString::Trim() { KeepPart(*this, kt::detail::WithoutBlanks(View())); }
void Kt_WString::LTrim() { KeepPart(*this, kt::detail::WithoutLeadingBlanks(View())); }
void Kt_WString::RTrim() { KeepPart(*this, kt::detail::WithoutTrailingBlanks(View())); }

void Kt_WString::TrimBrace(kt_long quotes_only) {
  const kt_long length = GetLength();
  if (length < 2) return;
  const char16_t first = GetAt(0);
  const char16_t last = GetAt(length - 1);
  const bool quoted = IsQuote(first) && first == last;
  const bool bracketed = quotes_only != 1 && last != u'\0' && ClosingBracket(first) == last;
  if (quoted || bracketed) KeepPart(*this, View().substr(1, static_cast<std::size_t>(length) - 2));
}

Kt_WString Kt_WString::QuoteStr() const {
  const std::u16string_view text = View();
  std::ptrdiff_t escapes = 0;
  const auto count_escapes = [&](std::size_t first, std::size_t count) {
    const std::u16string_view piece = text.substr(first, count);
    escapes += std::count_if(piece.begin(), piece.end(), NeedsEscape);
    return true;
  };
  Kt_WString out;
  if (!kt::detail::InPieces(text.size(), 1, count_escapes)) return out;
  // Both terms are at most 2^27, so the sum fits; GetBuffer refuses it when it is too long.
  char16_t* units = out.GetBuffer(static_cast<kt_long>(GetLength() + escapes + 2));
  if (units == nullptr) return out;
  *units++ = u'"';
  const auto write = [&](std::size_t first, std::size_t count) {
    for (const char16_t unit : text.substr(first, count)) {
      if (NeedsEscape(unit)) *units++ = u'\\';
      *units++ = unit;
    }
    return true;
  };
  if (!kt::detail::InPieces(text.size(), 2, write)) return {};
  *units = u'"';
  return out;
}

Kt_WString Kt_WString::UnQuoteStr() const {
  const std::u16string_view text = View();
  if (text.size() < 2 || !IsQuote(text.front()) || text.back() != text.front()) return *this;
  const std::u16string_view inner = text.substr(1, text.size() - 2);
  Kt_WString out;
  char16_t* const units = out.GetBuffer(static_cast<kt_long>(inner.size()));
  if (units == nullptr) return out;
  kt_long length = 0;
  for (std::size_t at = 0; at < inner.size(); ++at) {
    // A backslash as the last unit makes the closing quote plain text: nothing is enclosed.
    if (inner[at] == u'\\' && ++at == inner.size()) return *this;
    units[length++] = inner[at];
    if (!kt::detail::GoesOnAt(static_cast<std::size_t>(length), 2)) return {};
  }
  return length == out.GetLength() ? out : out.Mid(0, length);
}

kt_long kt_findskipW(const char16_t* text, kt_long length) {
  kt_long index = 0;
  while (index < length && IsSkipped(text[index])) ++index;
  return index;
}

kt_long kt_findrskipW(const char16_t* text, kt_long length) {
  while (length > 0 && IsSkipped(text[length - 1])) --length;
  return length;
}

Kt_WString kt_lpadW(const Kt_WString& text, char16_t pad, kt_long length) {
  if (length <= text.GetLength()) return text;
  return Padded(text, pad, length, length - text.GetLength());
}

Kt_WString kt_rpadW(const Kt_WString& text, char16_t pad, kt_long length) {
  if (length <= text.GetLength()) return text;
  return Padded(text, pad, length, 0);
}
