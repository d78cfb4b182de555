// SPDX-License-Identifier: MIT
#include "connect/detail/Kt_Values.h"

#include <array>
#include <charconv>
#include <cmath>

#include "connect/detail/Kt_ColumnBuilder.h"

namespace kt::detail {

bool ToUtf8(std::u16string_view text, std::string& utf8) {
  const Kt_WString wide(text);
  utf8 = wide.ToUtf8();
  Kt_WString back;
  return ConvertUtf8(utf8, back) < 0 && back == wide;
}

bool IsStorable(const Kt_Variant& value, std::string& reason) {
  std::string ignored;
  switch (value.GetTag()) {
    case kTagList: reason = "a list"; return false;
    case kTagObject:
    case kTagRef: reason = "an object"; return false;
    case kTagString:
      reason = "half of a surrogate pair, which UTF-8 does not have";
      return ToUtf8(value.AsStringView(), ignored);
    case kTagDateTime:
      reason = "a date outside the years 1 to 9999";
      return !DateText(value.AsDouble(), false).empty();
    default: return true;
  }
}

std::string RealText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  constexpr double kPlain = 1e18;
  std::array<char, 64> text;
  char* const end = text.data() + text.size();
  const bool is_plain = value == std::trunc(value) && std::fabs(value) < kPlain;
  const auto written = is_plain ? std::to_chars(text.data(), end, value, std::chars_format::fixed)
                                : std::to_chars(text.data(), end, value);
  return {text.data(), written.ptr};
}

}  // namespace kt::detail
