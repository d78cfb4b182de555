// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_Number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/detail/Kt_Blank.h"
#include "classlib/text/detail/Kt_FromChars.h"
#include "classlib/text/detail/Kt_NumberChars.h"

namespace {

// Significant digits, the first not 0 and the last not 0, with the power of ten of the first.
struct Digits {
  char text[24];
  std::size_t count = 0;
  int exponent = 0;
};

// Takes apart what to_chars writes: d.ddde+xx.
Digits TakeApart(const char* at, const char* end) {
  Digits digits;
  for (; *at != 'e'; ++at) {
    if (*at != '.') digits.text[digits.count++] = *at;
  }
  while (digits.count > 1 && digits.text[digits.count - 1] == '0') --digits.count;
  ++at;
  const bool negative = *at == '-';
  std::from_chars(at + 1, end, digits.exponent);
  if (negative) digits.exponent = -digits.exponent;
  return digits;
}

// Numbers of at most 15 digits, nine of them after the point, several times as quickly. When the
// digits read back as the value they are its shortest ones: two numbers of at most 15 digits never
// round to the same double. Reading back is one division, because both sides of it are doubles
// without loss.
bool FindFewDigits(double value, Digits& digits) {
  struct Places {
    int count;
    double power;
  };
  constexpr double kMaxScaled = 1e15;
  constexpr double kHalf = 0.5;  // where it rounds to the wrong side the value is not found again
  for (const Places places : {Places{2, 1e2}, Places{5, 1e5}, Places{9, 1e9}}) {
    const double scaled = value * places.power;
    if (!(scaled < kMaxScaled)) return false;
    const auto whole = static_cast<std::int64_t>(scaled + kHalf);
    if (static_cast<double>(whole) / places.power != value || whole == 0) continue;
    const char* const end = std::to_chars(digits.text, digits.text + sizeof digits.text, whole).ptr;
    digits.count = static_cast<std::size_t>(end - digits.text);
    digits.exponent = static_cast<int>(digits.count) - 1 - places.count;
    while (digits.count > 1 && digits.text[digits.count - 1] == '0') --digits.count;
    return true;
  }
  return false;
}

// REQUIRES: a positive number.
Digits ShortestDigits(double value) {
  Digits digits;
  if (FindFewDigits(value, digits)) return digits;
  char text[40];
  return TakeApart(
      text, std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr);
}

// The shortest form is several times quicker to make than a rounded one, and where it has at most
// 15 digits the two are the same.
Digits RoundedDigits(double value) {
  const Digits shortest = ShortestDigits(value);
  if (shortest.count <= 15) return shortest;
  char text[40];
  return TakeApart(
      text, std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, 14).ptr);
}

// The text is made in ASCII or UTF-16.
template <class Unit>
Unit* Put(const char* from, std::size_t count, Unit* out) {
  return std::copy(from, from + count, out);
}

template <class Unit>
Unit* PutScientific(const Digits& digits, Unit* out) {
  *out++ = static_cast<Unit>(digits.text[0]);
  if (digits.count > 1) {
    *out++ = '.';
    out = Put(digits.text + 1, digits.count - 1, out);
  }
  *out++ = 'e';
  *out++ = digits.exponent < 0 ? '-' : '+';
  const int exponent = std::abs(digits.exponent);
  if (exponent < 10) *out++ = '0';
  char text[8];
  return Put(text, static_cast<std::size_t>(std::to_chars(text, text + 8, exponent).ptr - text),
             out);
}

template <class Unit>
Unit* PutPlain(const Digits& digits, Unit* out) {
  if (digits.exponent < 0) {
    *out++ = '0';
    *out++ = '.';
    out = std::fill_n(out, -digits.exponent - 1, '0');
    return Put(digits.text, digits.count, out);
  }
  const auto before_point = static_cast<std::size_t>(digits.exponent) + 1;
  if (digits.count <= before_point) {
    out = Put(digits.text, digits.count, out);
    return std::fill_n(out, before_point - digits.count, '0');
  }
  out = Put(digits.text, before_point, out);
  *out++ = '.';
  return Put(digits.text + before_point, digits.count - before_point, out);
}

template <class Unit>
std::size_t PutWord(std::string_view word, Unit* out) {
  std::copy(word.begin(), word.end(), out);
  return word.size();
}

template <class Unit>
std::size_t WriteLong(kt_long value, Unit* out) {
  char text[12];
  const std::size_t units =
      static_cast<std::size_t>(std::to_chars(text, text + 12, value).ptr - text);
  Put(text, units, out);
  return units;
}

template <class Unit, class GetDigits>
std::size_t WriteDouble(double value, Unit* const out, GetDigits get_digits) {
  if (std::isnan(value)) return PutWord("nan", out);
  if (std::isinf(value)) return PutWord(value < 0 ? "-inf" : "inf", out);
  if (value == 0) return PutWord("0", out);
  // Whole numbers of everyday size, minus 0 among them, need no digit search.
  if (std::fabs(value) <= std::numeric_limits<kt_long>::max()) {
    const auto whole = static_cast<kt_long>(value);
    if (whole == value) return WriteLong(whole, out);
  }
  Unit* end = out;
  if (value < 0) *end++ = '-';
  const Digits digits = get_digits(std::fabs(value));
  const bool plain = digits.exponent >= -5 && digits.exponent < 15;
  end = plain ? PutPlain(digits, end) : PutScientific(digits, end);
  return static_cast<std::size_t>(end - out);
}

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

std::size_t SkipDigits(std::u16string_view text, std::size_t at) {
  while (at < text.size() && IsDigit(text[at]) && kt::detail::GoesOnAt(at)) ++at;
  return at;
}

std::size_t SkipSign(std::u16string_view text, std::size_t at) {
  return at < text.size() && (text[at] == u'-' || text[at] == u'+') ? at + 1 : at;
}

// The whole of `text` is a number; blanks are gone already.
bool IsNumber(std::u16string_view text) {
  const std::size_t start = SkipSign(text, 0);
  std::size_t at = SkipDigits(text, start);
  std::size_t digit_count = at - start;
  if (at < text.size() && text[at] == u'.') {
    const std::size_t end = SkipDigits(text, at + 1);
    digit_count += end - (at + 1);
    at = end;
  }
  if (digit_count == 0) return false;
  if (at < text.size() && (text[at] == u'e' || text[at] == u'E')) {
    const std::size_t exponent = SkipSign(text, at + 1);
    at = SkipDigits(text, exponent);
    if (at == exponent) return false;
  }
  return at == text.size();
}

}  // namespace

std::size_t kt_writelongW(kt_long value, char16_t* out) { return WriteLong(value, out); }

std::size_t kt_writedoubleW(double value, char16_t* out) {
  return WriteDouble(value, out, RoundedDigits);
}

Kt_WString kt_longtextW(kt_long value) {
  char16_t text[kMaxNumberUnits];
  return std::u16string_view(text, kt_writelongW(value, text));
}

Kt_WString kt_doubletextW(double value) {
  char16_t text[kMaxNumberUnits];
  return std::u16string_view(text, kt_writedoubleW(value, text));
}

Kt_WString kt_shortestdoubleW(double value) {
  char16_t text[kMaxNumberUnits];
  return std::u16string_view(text, WriteDouble(value, text, ShortestDigits));
}

char* kt::detail::WriteShortestDouble(double value, char* out) {
  return out + WriteDouble(value, out, ShortestDigits);
}

bool kt_readnumberW(std::u16string_view text, double& value) {
  text = kt::detail::WithoutBlanks(text);
  // Most text that is no number is told from its first unit.
  if (text.empty() || text[0] > u'9' || !IsNumber(text)) return false;
  if (text[0] == u'+') text.remove_prefix(1);
  char narrow[64];
  if (text.size() <= sizeof narrow) {
    std::copy(text.begin(), text.end(), narrow);
    double read = 0.0;
    if (kt::detail::FromChars(narrow, narrow + text.size(), read).ec == std::errc()) {
      value = read;
      return true;
    }
  }
  // Long texts, and those out of range, which from_chars leaves undecided.
  value = Kt_WString(text).ToDouble();
  return true;
}
