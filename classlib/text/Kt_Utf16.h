// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

// Characters beyond U+FFFF take two units of UTF-16: a high surrogate, then a low one. A surrogate
// that stands alone is no character, but texts may hold one.
namespace kt {

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr bool IsSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

constexpr char32_t JoinSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// True when the units at `at` and `at` + 1 are one character.
constexpr bool IsPairAt(std::u16string_view text, std::size_t at) {
  return at + 1 < text.size() && IsHighSurrogate(text[at]) && IsLowSurrogate(text[at + 1]);
}

// The character at `at`, and `at` moved past it. A lone surrogate stands for itself.
constexpr char32_t NextCharacter(std::u16string_view text, std::size_t& at) {
  if (!IsPairAt(text, at)) return text[at++];
  at += 2;
  return JoinSurrogates(text[at - 2], text[at - 1]);
}

// Writes one or two units of `character`, at most U+10FFFF, to `out` and moves it past them.
template <class Iterator>
constexpr void WriteUtf16(char32_t character, Iterator& out) {
  if (character > 0xFFFF) {
    *out++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
    *out++ = static_cast<char16_t>(0xDC00 | (character & 0x3FF));
  } else {
    *out++ = static_cast<char16_t>(character);
  }
}

}  // namespace kt
