// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "classlib/value/Kt_DateTime.h"

// The cells of which most files are full, told and read in one go: what is so in every notation,
// has a form (see Kt_CellReader::FormsOf) and the value that Kt_CellReader gives it. False for all
// others, which may be numbers and dates as well.
namespace kt::detail {

template <class Unit>
bool IsQuickDigit(Unit unit) {
  return unit >= '0' && unit <= '9';
}

// A whole number of at most 15 digits: no zero before others, no zero with a sign.
template <class Unit>
bool QuickWhole(std::basic_string_view<Unit> text, std::int64_t& value) {
  constexpr std::ptrdiff_t kMaxDigits = 15;
  const Unit* at = text.data();
  const Unit* const end = at + text.size();
  const bool is_negative = at != end && *at == '-';
  if (is_negative) ++at;
  if (at == end || end - at > kMaxDigits) return false;
  if (*at == '0' && (is_negative || end - at > 1)) return false;
  std::int64_t number = 0;
  for (; at != end; ++at) {
    if (!IsQuickDigit(*at)) return false;
    number = number * 10 + (*at - '0');
  }
  value = is_negative ? -number : number;
  return true;
}

template <class Unit>
bool QuickLong(std::basic_string_view<Unit> text, kt_long& value) {
  std::int64_t number = 0;
  if (!QuickWhole(text, number) || number != static_cast<kt_long>(number)) return false;
  value = static_cast<kt_long>(number);
  return true;
}

// A number of at most 15 digits, with or without a point: the digits and the power of ten are
// doubles without loss, so one division rounds as it has to.
template <class Unit>
bool QuickDouble(std::basic_string_view<Unit> text, bool has_points, double& value) {
  constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  constexpr std::ptrdiff_t kMaxDigits = 15;
  const Unit* at = text.data();
  const Unit* const end = at + text.size();
  const bool is_negative = at != end && *at == '-';
  if (is_negative) ++at;
  if (end - at > kMaxDigits + 1) return false;
  const Unit* const start = at;
  std::int64_t digits = 0;
  for (; at != end && IsQuickDigit(*at); ++at) digits = digits * 10 + (*at - '0');
  if (at == end) {
    const bool is_whole = QuickWhole(text, digits);
    value = static_cast<double>(digits);
    return is_whole;
  }
  if (at == start || *at != '.' || !has_points) return false;
  const Unit* const fraction = ++at;
  for (; at != end && IsQuickDigit(*at); ++at) digits = digits * 10 + (*at - '0');
  if (at != end) return false;
  const double number = static_cast<double>(digits) / kPowers[end - fraction];
  value = is_negative ? -number : number;
  return true;
}

// "2024-01-31".
template <class Unit>
bool QuickDate(std::basic_string_view<Unit> text, Kt_DateTime& value) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  const auto number = [&](std::size_t first, std::size_t count, kt_long& out) {
    out = 0;
    for (std::size_t at = first; at < first + count; ++at) {
      if (!IsQuickDigit(text[at])) return false;
      out = out * 10 + static_cast<kt_long>(text[at] - '0');
    }
    return true;
  };
  Kt_DateParts parts;
  return number(0, 4, parts.year) && number(5, 2, parts.month) && number(8, 2, parts.day) &&
         Kt_DateTime::FromParts(parts, value);
}

}  // namespace kt::detail
