// SPDX-License-Identifier: MIT
#include "object/detail/Kt_DateArg.h"

#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_ObjectValue.h"

namespace kt::detail {

namespace {

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

std::size_t DigitRun(std::u16string_view text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  return count;
}

// Takes `count` digits off the front.
kt_long TakeDigits(std::u16string_view& text, std::size_t count) {
  kt_long value = 0;
  for (const char16_t unit : text.substr(0, count)) value = value * 10 + (unit - u'0');
  text.remove_prefix(count);
  return value;
}

// Takes a separator and the one or two digits after it; -1 when they are not there.
kt_long TakePart(std::u16string_view& text, char16_t separator) {
  if (!text.starts_with(separator)) return -1;
  text.remove_prefix(1);
  const std::size_t digits = DigitRun(text);
  return digits == 1 || digits == 2 ? TakeDigits(text, digits) : -1;
}

bool IsSeparator(char16_t unit) { return unit == u'-' || unit == u'/' || unit == u'.'; }

Kt_WString Digits(kt_long value, kt_long count) {
  return kt_lpadW(kt_longtextW(value), u'0', count);
}

}  // namespace

bool Kt_DateArg::ReadText(std::u16string_view text) {
  constexpr std::size_t kLongestText = 64;
  if (text.size() > kLongestText) return false;
  const std::size_t digits = DigitRun(text);
  form_ = Form::kText;
  separator_ = u'\0';
  if (digits == 8 || digits == 14) {
    parts.year = TakeDigits(text, 4);
    parts.month = TakeDigits(text, 2);
    parts.day = TakeDigits(text, 2);
  } else {
    if (digits != 4 || text.size() == 4 || !IsSeparator(text[4])) return false;
    parts.year = TakeDigits(text, 4);
    separator_ = text[0];
    parts.month = TakePart(text, separator_);
    parts.day = TakePart(text, separator_);
    if (parts.month < 0 || parts.day < 0) return false;
  }
  // What follows must be a time of day: asked after a date that is in every calendar.
  time_ = text;
  Kt_DateTime moment;
  Kt_DateParts any_day;
  if (!Kt_DateTime::FromText(Kt_WString(digits == 4 ? u"2000-01-01" : u"20000101") + text,
                             moment) ||
      !moment.ToParts(any_day)) {
    return false;
  }
  any_day.year = parts.year;
  any_day.month = parts.month;
  any_day.day = parts.day;
  parts = any_day;
  return true;
}

bool Kt_DateArg::ReadDays(double days, Form form) {
  form_ = form;
  return Kt_DateTime{days}.ToParts(parts);
}

bool Kt_DateArg::ReadNumber(const Kt_Variant& value) {
  const double number = value.ToDouble();
  if (number >= 1e7 && number < 1e8) {
    const bool is_date = ReadText(kt_doubletextW(number));
    form_ = Form::kDigits;
    return is_date;
  }
  return ReadDays(number, Form::kDays);
}

bool Kt_DateArg::Read(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagString: {
      Kt_WString text = value.AsString();
      text.Trim();
      return ReadText(text);
    }
    case kTagDateTime: return ReadDays(value.AsDouble(), Form::kMoment);
    case kTagLong:
    case kTagDouble: return ReadNumber(value);
    case kTagObject: {  // a cell of a dataset
      const Kt_Variant plain = ValueOfObject(value);
      return !plain.IsObject() && Read(plain);
    }
    default: return false;
  }
}

bool Kt_DateArg::ReadSolar(const Kt_Variant& value) {
  Kt_DateTime moment;
  return Read(value) && Kt_DateTime::FromParts(parts, moment);
}

Kt_WString Kt_DateArg::DateText(const Kt_DateParts& date) const {
  const bool from_text = form_ == Form::kText || form_ == Form::kDigits;
  const char16_t separator = from_text ? separator_ : u'-';
  Kt_WString out = Digits(date.year, 4);
  if (separator != u'\0') out += separator;
  out += Digits(date.month, 2);
  if (separator != u'\0') out += separator;
  return out + Digits(date.day, 2);
}

void Kt_DateArg::Write(const Kt_DateParts& date, bool is_solar, Kt_Variant& result) const {
  if (form_ == Form::kDigits) {
    result.Set(DateText(date).ToInteger());
  } else if (form_ == Form::kText) {
    result = DateText(date) + time_;
  } else if (!is_solar) {
    result = DateText(date);
  } else {
    Kt_DateParts moved = parts;
    moved.year = date.year;
    moved.month = date.month;
    moved.day = date.day;
    Kt_DateTime moment;
    if (!Kt_DateTime::FromParts(moved, moment)) return;
    result = form_ == Form::kDays ? Kt_Variant(moment.days) : Kt_Variant(moment);
  }
}

}  // namespace kt::detail
