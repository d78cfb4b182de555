// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "classlib/text/Kt_WStrList.h"

inline std::string Utf8(std::u16string_view text) { return Kt_WString(text).ToUtf8(); }

inline void PrintTo(const Kt_WString& text, std::ostream* out) {
  *out << '"' << text.ToUtf8() << '"';
}

// `count` times `text`.
inline std::u16string Repeat(std::u16string_view text, int count) {
  std::u16string out;
  out.reserve(text.size() * static_cast<std::size_t>(count));
  while (count-- > 0) out += text;
  return out;
}

// The lines of a list, each with a line feed after it.
inline std::string Lines(const Kt_WStrList& list) {
  std::string out;
  for (kt_long index = 0; index < list.GetCount(); ++index) {
    out += list[index].ToUtf8() + "\n";
  }
  return out;
}
