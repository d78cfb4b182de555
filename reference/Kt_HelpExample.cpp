// SPDX-License-Identifier: MIT
#include "reference/Kt_HelpExample.h"

#include <algorithm>
#include <string_view>

Kt_WString LayOutExamples(std::span<const Kt_HelpExample> examples) {
  const auto is_long = [](const Kt_HelpExample& one) {
    return std::u16string_view(one.example).find(u'\n') != std::u16string_view::npos;
  };
  const bool apart = std::any_of(examples.begin(), examples.end(), is_long);
  kt_long width = 0;
  for (const Kt_HelpExample& one : examples) {
    if (!apart) width = std::max(width, Kt_WString(one.example).GetLength());
  }
  Kt_WString out;
  for (const Kt_HelpExample& one : examples) {
    if (apart && !out.IsEmpty()) out += u"\n";
    out += kt_rpadW(one.example, u' ', width);
    out += u"  => ";
    out += *one.result != 0 ? one.result : u"(empty)";
    out += u"\n";
  }
  return out;
}
