// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <string_view>

#include "classlib/base/Kt_Types.h"
#include "classlib/text/Kt_WString.h"

// A date and time of day in parts, in the Gregorian calendar carried back to year 1.
struct Kt_DateParts {
  kt_long year = 1899;  // 1 to 9999
  kt_long month = 12;   // 1 to 12
  kt_long day = 30;     // 1 to the month's length
  kt_long hour = 0;
  kt_long minute = 0;
  kt_long second = 0;  // to 59: there are no leap seconds
  kt_long millisecond = 0;

  friend auto operator<=>(const Kt_DateParts&, const Kt_DateParts&) = default;
};

// A moment as a spreadsheet day number: days since 1899-12-30 00:00, the fraction is the time of
// day. It runs evenly through zero: -0.25 is 18:00 of the day before day 0.
//
// No time zone. Whatever shows the moment rounds it to whole milliseconds first, so that sums of
// fractions do not show 11:59:59 for noon. Moments outside the years 1 to 9999 (and NaN) can be
// held, but have no parts and no text; operations on them return false.
struct KT_CLASS_API Kt_DateTime {
  double days = 0.0;

  // False, and `result` unchanged, when the parts are no real date or time.
  static bool FromParts(const Kt_DateParts& parts, Kt_DateTime& result);
  // Reads yyyyMMdd, yyyyMMddHHmmss, or year, month and day with '-', '/' or '.' between them
  // (month and day with one or two digits), then optionally a blank or 'T' and HH:mm[:ss[.fff]].
  // Blanks around it are allowed, nothing else. False, and `result` unchanged, for other text.
  static bool FromText(std::u16string_view text, Kt_DateTime& result);
  static bool IsLeapYear(kt_long year);
  static kt_long DaysInMonth(kt_long year, kt_long month);  // 0 for a month that is none

  bool ToParts(Kt_DateParts& parts) const;
  // "yyyy-MM-dd", with " HH:mm:ss" unless that is midnight; empty out of range. The milliseconds
  // (".fff", when there are any) on demand only.
  Kt_WString ToText(bool with_milliseconds = false) const;
  // 0 Sunday to 6 Saturday; -1 out of range.
  kt_long Weekday() const;

  // Moves by whole months and keeps the time of day; a day that the month lacks becomes its last.
  bool AddMonths(kt_long months, Kt_DateTime& result) const;

  friend auto operator<=>(const Kt_DateTime&, const Kt_DateTime&) = default;
};
