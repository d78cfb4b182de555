// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/base/Kt_Charge.h"

namespace kt::detail {

// White space: the ASCII blanks and control spaces, and the Unicode spaces and line separators.
inline bool IsBlank(char16_t unit) {
  if (unit <= 0x20) return unit == 0x20 || (unit >= 0x09 && unit <= 0x0D);
  if (unit < 0x85) return false;
  return unit == 0x85 || unit == 0xA0 || unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200A) ||
         unit == 0x2028 || unit == 0x2029 || unit == 0x202F || unit == 0x205F || unit == 0x3000;
}

inline std::u16string_view WithoutLeadingBlanks(std::u16string_view text) {
  std::size_t start = 0;
  while (start < text.size() && IsBlank(text[start])) {
    if (!GoesOnAt(start++)) return {};
  }
  return text.substr(start);
}

inline std::u16string_view WithoutTrailingBlanks(std::u16string_view text) {
  std::size_t length = text.size();
  while (length > 0 && IsBlank(text[length - 1])) {
    if (!GoesOnAt(--length)) return {};
  }
  return text.substr(0, length);
}

inline std::u16string_view WithoutBlanks(std::u16string_view text) {
  return WithoutTrailingBlanks(WithoutLeadingBlanks(text));
}

}  // namespace kt::detail
