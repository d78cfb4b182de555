// SPDX-License-Identifier: MIT
#include "object/detail/Kt_DecimalText.h"

#include <algorithm>
#include <string>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/text/Kt_Unicode.h"

namespace kt::detail {

namespace {

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

// The exponent of the engine's own number texts: at most three digits.
int ExponentOf(std::u16string_view digits) {
  const bool negative = digits.starts_with(u'-');
  if (negative || digits.starts_with(u'+')) digits.remove_prefix(1);
  int exponent = 0;
  for (const char16_t unit : digits.substr(0, 3)) exponent = exponent * 10 + (unit - u'0');
  return negative ? -exponent : exponent;
}

// Digits without a point that stand for 0.ddd times ten to `point`, written out.
Kt_WString WriteOut(std::u16string_view sign, std::u16string_view digits, int point) {
  Kt_WString out(sign);
  if (point <= 0) {
    out += u"0.";
    for (int zeros = point; zeros < 0; ++zeros) out += u'0';
    out += digits;
    return out;
  }
  const auto before_point = static_cast<std::size_t>(point);
  out += digits.substr(0, before_point);
  for (std::size_t place = digits.size(); place < before_point; ++place) out += u'0';
  if (digits.size() > before_point) {
    out += u'.';
    out += digits.substr(before_point);
  }
  return out;
}

// Adds one to the last digit of a number without sign; the caller has made room for a carry by a
// leading zero.
void Increment(std::u16string& digits) {
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    if (*digit == u'.') continue;
    if (*digit != u'9') {
      ++*digit;
      return;
    }
    *digit = u'0';
  }
}

bool IsZero(std::u16string_view number) {
  return std::all_of(number.begin(), number.end(),
                     [](char16_t unit) { return unit == u'0' || unit == u'.' || unit == u'-'; });
}

}  // namespace

Kt_WString PlainDecimal(const Kt_WString& text) {
  const std::u16string_view number = text.View();
  const std::size_t mark = number.find_first_of(u"eE");
  if (mark == number.npos || !IsPlainNumber(number)) return text;
  std::u16string_view mantissa = number.substr(0, mark);
  const std::size_t sign = mantissa.starts_with(u'-') ? 1 : 0;
  std::u16string_view digits = mantissa.substr(sign);
  const std::size_t point = std::min(digits.find(u'.'), digits.size());
  Kt_WString joined(digits.substr(0, point));
  if (point < digits.size()) joined += digits.substr(point + 1);
  return WriteOut(mantissa.substr(0, sign), joined,
                  static_cast<int>(point) + ExponentOf(number.substr(mark + 1)));
}

Kt_WString PlainText(const Kt_Variant& value) {
  double number = 0;
  if (value.IsString()) {
    if (!kt_readnumberW(value.AsStringView(), number)) return value.AsString();
    return PlainDecimal(kt_doubletextW(number));
  }
  return PlainDecimal(value.ToString());
}

Kt_WString NumberText(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagLong:
    case kTagCurrency: return value.ToString();
    default: return PlainDecimal(kt_doubletextW(value.ToDouble()));
  }
}

bool IsPlainNumber(std::u16string_view text) {
  if (text.starts_with(u'-')) text.remove_prefix(1);
  return !text.empty() && IsDigit(text[0]);
}

std::u16string_view CutDecimals(std::u16string_view text, kt_long decimals) {
  const std::size_t point = text.find(u'.');
  if (point == text.npos) return text;
  return text.substr(0, decimals > 0 ? point + 1 + static_cast<std::size_t>(decimals) : point);
}

Kt_WString RoundDecimals(std::u16string_view text, kt_long decimals) {
  const std::u16string_view kept = CutDecimals(text, std::max(decimals, 0));
  const std::size_t next =
      kept.size() < text.size() && text[kept.size()] == u'.' ? kept.size() + 1 : kept.size();
  const bool up = next < text.size() && text[next] >= u'5';
  const bool negative = kept.starts_with(u'-');
  // A zero in front takes the carry out of 99.9.
  std::u16string digits = u"0";
  digits += kept.substr(negative ? 1 : 0);
  if (up) Increment(digits);
  const std::u16string_view number = std::u16string_view(digits).substr(digits[0] == u'0' ? 1 : 0);
  return negative && !IsZero(number) ? Kt_WString(u"-") + number : Kt_WString(number);
}

Kt_WString GroupDigits(std::u16string_view text) {
  const std::size_t sign = text.starts_with(u'-') ? 1 : 0;
  const std::size_t point = std::min(text.find(u'.'), text.size());
  Kt_WString out(text.substr(0, sign));
  for (std::size_t at = sign; at < point; ++at) {
    if (at > sign && (point - at) % 3 == 0) out += u',';
    out += text[at];
  }
  out += text.substr(point);
  return out;
}

Kt_WString StripToNumber(const Kt_WString& text) {
  const std::u16string_view units = text.View();
  Kt_WString out;
  bool has_digit = false;
  bool has_point = false;
  bool minus = false;
  bool pending_point = false;
  RoundCharge charge;
  for (std::size_t at = 0; at < units.size() && charge.Add(8);) {
    const Kt_CodePoint next = kt_codepointW(units, at);
    at += static_cast<std::size_t>(next.units);
    const int digit = kt_digitvalueW(next.value);
    if (digit >= 0) {
      if (!has_digit && minus) out += u'-';
      if (pending_point) out += u'.';
      has_point = has_point || pending_point;
      has_digit = true;
      out += static_cast<char16_t>(u'0' + digit);
    } else if (!has_digit) {
      // A letter between sign and number parts them: "A-B 12" is no negative number.
      minus = next.value == u'-' || (minus && !kt_isalphaW(next.value));
    }
    pending_point = digit < 0 && has_digit && !has_point && next.value == u'.';
  }
  return out;
}

}  // namespace kt::detail
