// SPDX-License-Identifier: MIT
#include "classlib/formats/detail/Kt_FileText.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/text/detail/Kt_NumberChars.h"

namespace kt::detail {

namespace {

constexpr char16_t kBase64[] = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Base64Digit(char16_t unit) {
  if (unit >= u'A' && unit <= u'Z') return unit - u'A';
  if (unit >= u'a' && unit <= u'z') return unit - u'a' + 26;
  if (unit >= u'0' && unit <= u'9') return unit - u'0' + 52;
  if (unit == u'+') return 62;
  return unit == u'/' ? 63 : -1;
}

// Writes the four digits of up to three bytes, and gives the place behind them.
char16_t* WriteGroup(std::span<const std::uint8_t> bytes, char16_t* out) {
  std::uint32_t group = 0;
  for (std::size_t byte = 0; byte < 3; ++byte) {
    group = group << 8 | (byte < bytes.size() ? bytes[byte] : 0u);
  }
  for (std::size_t digit = 0; digit < 4; ++digit) {
    *out++ = digit <= bytes.size() ? kBase64[group >> (18 - 6 * digit) & 63] : u'=';
  }
  return out;
}

Kt_WString Base64Text(std::span<const std::uint8_t> bytes) {
  const std::size_t groups = (bytes.size() + 2) / 3;
  if (groups > static_cast<std::size_t>(kMaxStringLength) / 4) return {};
  Kt_WString text;
  char16_t* out = text.GetBuffer(static_cast<kt_long>(groups * 4));
  const auto write = [&](std::size_t first, std::size_t count) {
    for (std::size_t at = first * 3; at < std::min((first + count) * 3, bytes.size()); at += 3) {
      out = WriteGroup(bytes.subspan(at, std::min<std::size_t>(3, bytes.size() - at)), out);
    }
    return true;
  };
  return InPieces(groups, 4, write) ? text : Kt_WString();
}

bool SameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// Eight or fourteen digits would be read as a date: such a day number shows that it is a number.
Kt_WString DayNumberText(double days) {
  Kt_WString text = FileText(days);
  Kt_DateTime date;
  if (Kt_DateTime::FromText(text, date)) text += u".0";
  return text;
}

Kt_WString DateText(Kt_DateTime moment) {
  char day[kMaxNumberUnits];
  if (const char* const end = WriteFileDay(moment, day); end != nullptr) {
    return Kt_WString::FromUtf8(std::string_view(day, static_cast<std::size_t>(end - day)));
  }
  Kt_WString text = moment.ToText(true);
  Kt_DateTime back;
  if (!text.IsEmpty() && Kt_DateTime::FromText(text, back) && SameBits(back.days, moment.days)) {
    return text;
  }
  return DayNumberText(moment.days);
}

Kt_WString DoubleText(double value) {
  char text[kMaxNumberUnits];
  const auto units = static_cast<std::size_t>(WriteFileDouble(value, text) - text);
  return Kt_WString::FromUtf8(std::string_view(text, units));
}

// A number with leading zeros.
char* PutDigits(kt_long number, int count, char* out) {
  for (int at = count - 1; at >= 0; --at, number /= 10) {
    out[at] = static_cast<char>('0' + number % 10);
  }
  return out + count;
}

}  // namespace

char* WriteFileDouble(double value, char* out) {
  constexpr std::string_view kMinusZero = "-0.0";  // the usual text never shows the sign of zero
  if (value == 0 && std::signbit(value))
    return std::copy(kMinusZero.begin(), kMinusZero.end(), out);
  return WriteShortestDouble(value, out);
}

char* WriteFileDay(Kt_DateTime moment, char* out) {
  Kt_DateParts parts;
  if (moment.days != std::trunc(moment.days) || SameBits(moment.days, -0.0)) return nullptr;
  if (!moment.ToParts(parts)) return nullptr;
  out = PutDigits(parts.year, 4, out);
  *out++ = '-';
  out = PutDigits(parts.month, 2, out);
  *out++ = '-';
  return PutDigits(parts.day, 2, out);
}

Kt_WString FileText(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagDouble: return DoubleText(value.AsDouble());
    case kTagDateTime: return DateText(Kt_DateTime{value.AsDouble()});
    case kTagBinary: return Base64Text(value.AsBinary());
    case kTagList:
    case kTagObject: return {};
    default: return value.ToString();
  }
}

bool ReadFileNumber(std::u16string_view text, double& value) {
  if (kt_readnumberW(text, value)) return true;
  const bool negative = text == u"-inf";
  if (negative || text == u"inf") {
    value = negative ? -std::numeric_limits<double>::infinity()
                     : std::numeric_limits<double>::infinity();
    return true;
  }
  if (text != u"nan") return false;
  value = std::numeric_limits<double>::quiet_NaN();
  return true;
}

bool ReadBase64(std::u16string_view text, Kt_Variant& value) {
  if (text.size() % 4 != 0) return false;
  while (!text.empty() && text.back() == u'=') text.remove_suffix(1);
  CountedVector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  std::uint32_t group = 0;
  int bits = 0;
  RoundCharge charge;
  for (const char16_t unit : text) {
    const int digit = Base64Digit(unit);
    if (digit < 0 || !charge.Add(4)) return false;
    group = group << 6 | static_cast<std::uint32_t>(digit);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes.push_back(static_cast<std::uint8_t>(group >> bits));
  }
  value.SetBinary(bytes.data(), bytes.size());
  return true;
}

bool ReadFileText(std::u16string_view text, Kt_Tag tag, Kt_Variant& value) {
  double number = 0.0;
  switch (tag) {
    case kTagString: value = Kt_WString(text); return true;
    case kTagBinary: return ReadBase64(text, value);
    case kTagCurrency:
      if (const auto amount = Kt_Currency::FromText(text)) {
        value = Kt_Variant(*amount);
        return true;
      }
      return false;
    case kTagDateTime: {
      Kt_DateTime moment;
      if (!Kt_DateTime::FromText(text, moment)) {
        if (!ReadFileNumber(text, number)) return false;
        moment.days = number;
      }
      value = Kt_Variant(moment);
      return true;
    }
    default: break;
  }
  if (!ReadFileNumber(text, number)) return false;
  if (tag == kTagDouble) value = number;
  if (tag == kTagLong) value = Kt_Variant(number).ToInteger();
  if (tag == kTagBool) value = Kt_Variant(number != 0);
  return (tag != kTagLong || value.ToDouble() == number) &&
         (tag == kTagDouble || tag == kTagLong || tag == kTagBool);
}

}  // namespace kt::detail
