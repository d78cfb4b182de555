// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_DateTime.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// A date as a script gave it, with the form that it came in, so that a function can answer in the
// same form:
//   text   yyyyMMdd, yyyyMMddHHmmss, or with '-', '/' or '.', and an optional time of day after
//   number of eight digits, yyyyMMdd
//   number of days, as date arithmetic gives it
//   date-time value
class Kt_DateArg {
 public:
  // Takes the value apart without asking whether that day is in a calendar. False for what has
  // none of the forms.
  bool Read(const Kt_Variant& value);
  // The same for a date of the Gregorian calendar.
  bool ReadSolar(const Kt_Variant& value);

  // Stores year, month and day of `date` in the form of what was read; the time of day stays.
  // `is_solar` false: the day need not be in the Gregorian calendar, so date-time values and day
  // numbers are answered by a text, yyyy-MM-dd.
  void Write(const Kt_DateParts& date, bool is_solar, Kt_Variant& result) const;

  Kt_DateParts parts;

 private:
  enum class Form : std::uint8_t { kText, kDigits, kDays, kMoment };

  bool ReadText(std::u16string_view text);
  bool ReadNumber(const Kt_Variant& value);
  bool ReadDays(double days, Form form);
  Kt_WString DateText(const Kt_DateParts& date) const;

  Form form_ = Form::kText;
  char16_t separator_ = u'\0';  // between year, month and day; 0: none
  Kt_WString time_;             // what follows the day in a text
};

}  // namespace kt::detail
