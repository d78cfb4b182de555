// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/text/Kt_WString.h"

// Case, classes and widths of characters by the Unicode character database. No locale: the same
// text gives the same answer on every machine. Threads: free to call from any.

// One character of UTF-16 text: a surrogate pair counts as one, a lone surrogate as itself.
struct Kt_CodePoint {
  char32_t value;
  kt_long units;  // 1 or 2
};
// REQUIRES: `at` is inside the text.
inline Kt_CodePoint kt_codepointW(std::u16string_view text, std::size_t at) {
  const char32_t unit = text[at];
  if (unit < 0xD800 || unit > 0xDBFF || at + 1 >= text.size()) return {unit, 1};
  const char32_t next = text[at + 1];
  if (next < 0xDC00 || next > 0xDFFF) return {unit, 1};
  return {0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00), 2};
}
// The text of one character; empty for a surrogate and for what is no code point.
KT_CLASS_API Kt_WString kt_characterW(char32_t code_point);

// The text in upper / lower case by the full mappings, which may change its length (U+00DF becomes
// "SS"). A text that has nothing to change is shared. False, and `out` empty, when the result
// would pass kMaxStringLength.
KT_CLASS_API bool kt_toupperW(const Kt_WString& text, Kt_WString& out);
KT_CLASS_API bool kt_tolowerW(const Kt_WString& text, Kt_WString& out);

// Classes: letters of any script; decimal digits of any script; either; with a lower / upper case
// property; white space and line ends.
KT_CLASS_API bool kt_isalphaW(char32_t code_point);
KT_CLASS_API bool kt_isdigitW(char32_t code_point);
KT_CLASS_API bool kt_isalnumW(char32_t code_point);
KT_CLASS_API bool kt_islowerW(char32_t code_point);
KT_CLASS_API bool kt_isupperW(char32_t code_point);
KT_CLASS_API bool kt_isspaceW(char32_t code_point);
// Characters that set or change the direction in which text is shown: marks, embeddings, overrides
// and isolates.
KT_CLASS_API bool kt_isbidicontrolW(char32_t code_point);
// Characters that show nothing, or nothing of their own, and are no blank: controls, lone
// surrogates, line and paragraph separators, format characters, tags and fillers. Joiners and
// variation selectors are left out, because emoji and many scripts cannot do without them.
KT_CLASS_API bool kt_ishiddenW(char32_t code_point);
// 0 to 9 for a decimal digit of any script, else -1.
KT_CLASS_API int kt_digitvalueW(char32_t code_point);

// Half-width forms as their full-width counterparts and back: ASCII, the Latin signs of the block
// U+FF00 to U+FFEF, katakana (a voiced kana is one full-width or two half-width characters),
// Hangul letters and the few box and arrow signs. Anything else stays. False, and `out` empty, when
// the result would pass kMaxStringLength.
KT_CLASS_API bool kt_half2fullW(const Kt_WString& text, Kt_WString& out);
KT_CLASS_API bool kt_full2halfW(const Kt_WString& text, Kt_WString& out);

// The line in which a byte / a unit stands, from 1; lines end with LF, CR LF or CR.
KT_CLASS_API std::int64_t kt_lineofW(std::string_view bytes, std::size_t offset);
KT_CLASS_API std::int64_t kt_lineofW(std::u16string_view text, std::size_t offset);

// Columns that the text takes on a terminal: 2 for wide and full-width characters and emoji, 0 for
// combining marks and controls, else 1.
KT_CLASS_API kt_long kt_displaywidthW(std::u16string_view text);
