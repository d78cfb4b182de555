// SPDX-License-Identifier: MIT
//
// Comparison with and without regard to case. Simple folding maps one unit to one unit, so texts
// of different lengths never compare equal, and it knows no language: I and i always fold together.

#include <unicode/uchar.h>

#include <algorithm>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_WString.h"

namespace {

// The scripts without case that fill most of the plane (CJK, Hangul) need no look-up, nor do
// surrogates and private use.
bool IsCaseless(char16_t unit) {
  return (unit >= 0x2E80 && unit < 0xA640) || (unit >= 0xAC00 && unit < 0xFB00);
}

KT_NOINLINE char16_t FoldWide(char16_t unit) {
  if (IsCaseless(unit)) return unit;
  return static_cast<char16_t>(u_foldCase(unit, U_FOLD_CASE_DEFAULT));
}

KT_ALWAYS_INLINE char16_t Fold(char16_t unit) {
  if (KT_LIKELY(unit < 0x80)) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
  }
  return FoldWide(unit);
}

// Both texts end at a zero unit or after `limit` units; null is the empty text. `Right` may be a
// narrow character type: its bytes count as the first 256 characters.
template <class Right>
int CompareNoCase(const char16_t* a, const Right* b, std::size_t limit) {
  for (std::size_t at = 0; at < limit; ++at) {
    const char16_t left = a ? Fold(a[at]) : u'\0';
    const char16_t right = b ? Fold(static_cast<char16_t>(b[at])) : u'\0';
    if (left != right || left == u'\0') return left - right;
  }
  return 0;
}

std::size_t Limit(kt_long n) { return n > 0 ? static_cast<std::size_t>(n) : 0; }

std::u16string_view ViewOf(const char16_t* text) {
  return text ? std::u16string_view(text) : std::u16string_view();
}

}  // namespace

char16_t kt_foldcaseW(char16_t unit) { return Fold(unit); }

int kt_stricmpW(const char16_t* a, const char16_t* b) {
  return CompareNoCase(a, b, std::numeric_limits<std::size_t>::max());
}

int kt_strnicmpW(const char16_t* a, const char16_t* b, kt_long n) {
  return CompareNoCase(a, b, Limit(n));
}

int kt_strnicmpWA(const char16_t* a, const char* b, kt_long n) {
  return CompareNoCase(a, reinterpret_cast<const unsigned char*>(b), Limit(n));
}

int kt_stricmpW(std::u16string_view a, std::u16string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t at = 0; at < common && kt::detail::GoesOnAt(at); ++at) {
    if (a[at] == b[at]) continue;
    const int difference = Fold(a[at]) - Fold(b[at]);
    if (difference != 0) return difference;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

int kt_strcmpW(const char16_t* a, const char16_t* b) { return ViewOf(a).compare(ViewOf(b)); }

bool Kt_WString::EqualsNoCase(std::u16string_view other) const {
  return View().size() == other.size() && kt_stricmpW(View(), other) == 0;
}
