// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "classlib/text/Kt_WString.h"

// UTF-8 of a text, so that failures print it.
inline std::string Utf8(std::u16string_view text) { return Kt_WString(text).ToUtf8(); }

inline void PrintTo(const Kt_WString& text, std::ostream* out) {
  *out << '"' << text.ToUtf8() << '"';
}
