// SPDX-License-Identifier: MIT
//
// Built-in functions that write numbers and dates in a wanted form.

#include <algorithm>
#include <string>

#include "classlib/text/Kt_Number.h"
#include "classlib/text/Kt_NumberFormat.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_DateArg.h"
#include "object/detail/Kt_DecimalText.h"
#include "object/detail/Kt_FuncAnswers.h"
#include "object/detail/Kt_PlainFuncs.h"

using kt::Kt_FuncArgs;
using kt::detail::TextTooLong;

namespace {

constexpr kt_long kMaxExponentDigits = 100;  // far beyond the 17 that a number has

// Exactly `decimals` digits after the point. False when that makes the text too long.
bool WithDecimals(const Kt_WString& number, kt_long decimals, Kt_WString& out) {
  decimals = std::max(decimals, 0);
  Kt_WString text = kt::detail::RoundDecimals(number, decimals);
  if (decimals > 0) {
    kt_long point = text.Find(u".");
    if (point < 0) {
      point = text.GetLength();
      text += u'.';
    }
    if (decimals >= kMaxStringLength - point) return false;
    text = kt_rpadW(text, u'0', point + 1 + decimals);
  }
  out = std::move(text);
  return true;
}

// A finite number as digits and a power of ten, "d.ddd" and exponent.
struct Scientific {
  Kt_WString mantissa;  // may have a sign
  int exponent = 0;
};

Scientific ToScientific(std::u16string_view plain) {
  const bool negative = plain.starts_with(u'-');
  if (negative) plain.remove_prefix(1);
  const auto point = static_cast<int>(std::min(plain.find(u'.'), plain.size()));
  std::u16string digits(plain);
  std::erase(digits, u'.');
  const std::size_t first = std::min(digits.find_first_not_of(u'0'), digits.size());
  if (first == digits.size()) return {Kt_WString(u"0"), 0};
  const std::size_t last = digits.find_last_not_of(u'0');
  Scientific out;
  if (negative) out.mantissa += u'-';
  out.mantissa += digits[first];
  if (last > first) out.mantissa += u'.';
  out.mantissa += std::u16string_view(digits).substr(first + 1, last - first);
  out.exponent = point - static_cast<int>(first) - 1;
  return out;
}

Kt_WString ExponentText(int exponent) {
  Kt_WString out(exponent < 0 ? u"e-" : u"e+");
  if (std::abs(exponent) < 10) out += u'0';
  return out + kt_longtextW(std::abs(exponent));
}

// Rounding 9.99 up gives 10.0, which is 1.00 and one more in the exponent.
Kt_WString ExponentFormat(Scientific number, kt_long decimals) {
  Kt_WString rounded = kt::detail::RoundDecimals(number.mantissa, decimals);
  const kt_long digit = rounded.GetAt(0) == u'-' ? 1 : 0;
  if (rounded.GetAt(digit + 1) == u'0') {
    rounded = rounded.Mid(0, digit + 1);
    ++number.exponent;
  }
  WithDecimals(rounded, decimals, rounded);
  return rounded + ExponentText(number.exponent);
}

// Reads a date pattern run by run: "yyyy" is one run of the letter y.
class DatePattern {
 public:
  explicit DatePattern(const Kt_DateParts& parts) : parts_(parts) {}

  Kt_WString Write(std::u16string_view pattern) {
    for (std::size_t at = 0; at < pattern.size();) {
      if (pattern[at] == u'\'') {
        at = Quoted(pattern, at + 1);
        continue;
      }
      const std::size_t end = std::min(pattern.find_first_not_of(pattern[at], at), pattern.size());
      Field(pattern.substr(at, end - at));
      at = end;
    }
    return out_;
  }

 private:
  // Copies up to the closing quote; two quotes in a row are one.
  std::size_t Quoted(std::u16string_view pattern, std::size_t at) {
    if (at < pattern.size() && pattern[at] == u'\'') {
      out_ += u'\'';
      return at + 1;
    }
    for (; at < pattern.size(); ++at) {
      if (pattern[at] != u'\'') {
        out_ += pattern[at];
      } else if (at + 1 < pattern.size() && pattern[at + 1] == u'\'') {
        out_ += pattern[at++];
      } else {
        return at + 1;
      }
    }
    return at;
  }

  void Field(std::u16string_view run) {
    switch (run[0]) {
      case u'y': return Number(run.size() == 2 ? parts_.year % 100 : parts_.year, run.size());
      case u'M': return Number(parts_.month, run.size());
      case u'd': return Number(parts_.day, run.size());
      case u'H': return Number(parts_.hour, run.size());
      case u'h': return Number((parts_.hour + 11) % 12 + 1, run.size());
      case u'm': return Number(parts_.minute, run.size());
      case u's': return Number(parts_.second, run.size());
      case u'f': return Number(parts_.millisecond, 3);
      case u't': out_ += parts_.hour < 12 ? u"AM" : u"PM"; return;
      default: out_ += run; return;
    }
  }

  void Number(kt_long value, std::size_t digits) {
    out_ +=
        kt_lpadW(kt_longtextW(value), u'0', static_cast<kt_long>(std::min<std::size_t>(digits, 4)));
  }

  Kt_DateParts parts_;
  Kt_WString out_;
};

bool FormatNumber(const Kt_Variant& value, const Kt_WString& pattern, Kt_WString& out) {
  double number = 0;
  if (value.IsString() && !kt_readnumberW(value.AsStringView(), number)) return false;
  const Kt_WString text = kt::detail::NumberText(value);
  return kt::detail::IsPlainNumber(text) && kt_formatpatternW(text, pattern, out);
}

bool FormatDate(const Kt_Variant& value, const Kt_WString& pattern, Kt_WString& out) {
  kt::detail::Kt_DateArg date;
  if (!date.ReadSolar(value)) return false;
  out = DatePattern(date.parts).Write(pattern);
  return true;
}

constexpr kt_long kMaxPatternLength = 256;

Kt_WString ToText(const Kt_Variant& value, const Kt_WString& pattern) {
  Kt_WString out;
  if (pattern.GetLength() > kMaxPatternLength) return value.ToString();
  const bool is_number = pattern.View().find_first_of(u"0#") != std::u16string_view::npos;
  const bool done = is_number ? value.GetTag() != kTagDateTime && FormatNumber(value, pattern, out)
                              : FormatDate(value, pattern, out);
  return done ? out : value.ToString();
}

Kt_WString LocaleName(const Kt_Variant& value) {
  return value.IsString() ? value.AsString() : kt_localenameW(value.ToInteger());
}

}  // namespace

void kt::detail::ToString(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (in.Count() == 1) {
    result = in.Text(0);
  } else if (in.Count() > 1) {
    const Kt_WString pattern = in.Text(1);
    const Kt_Variant& value = in.Value(0);
    result = pattern.IsEmpty() ? value.ToString() : ToText(value, pattern);
  }
}

kt_long Kt_ExprObject::_toString(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::ToString(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_NumFormat(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  Kt_WString text = kt::detail::NumberText(in.Value(0));
  if (kt::detail::IsPlainNumber(text)) {
    if (in.Has(1) && !WithDecimals(text, in.Integer(1), text)) {
      return TextTooLong(this, u"NumFormat()");
    }
    text = kt::detail::GroupDigits(text);
  }
  result = std::move(text);
  return kOk;
}

kt_long Kt_ExprObject::_NumFormatLoc(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  Kt_WString text = kt::detail::NumberText(in.Value(0));
  if (kt::detail::IsPlainNumber(text)) kt_formatlocaleW(text, LocaleName(in.Value(1)), text);
  result = std::move(text);
  return kOk;
}

kt_long Kt_ExprObject::_ExponentFormat(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  Kt_WString text = kt::detail::NumberText(in.Value(0));
  if (kt::detail::IsPlainNumber(text)) {
    const Scientific number = ToScientific(text);
    text = in.Has(1) ? ExponentFormat(number, std::clamp(in.Integer(1), 0, kMaxExponentDigits))
                     : number.mantissa + ExponentText(number.exponent);
  }
  result = std::move(text);
  return kOk;
}
