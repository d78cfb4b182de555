// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_DateTime.h"

// The lunisolar calendar of East Asia. Months begin on the day of the new moon; a year has twelve,
// or thirteen when one of them is repeated as a leap month.
//
// The days are computed by ICU's astronomical calendars, for 1700 to 2299. Those of the Chinese
// calendar from 1900 to 2050 are checked against almanacs and set right where ICU differs; outside
// of that a month may begin a day off when its new moon falls within minutes of midnight.
// Threads: free to call from any; the first question about a year computes that year.

// Which of ICU's calendars: "chinese", whose months begin at Chinese time, or "dangi", the Korean
// one, which differs where a new moon falls between the two midnights.
enum class Kt_LunarCalendar : std::uint8_t { kChinese, kKorean };

// The calendar that the functions below use, for the whole process; kChinese until it is set.
KT_CLASS_API void kt_setlunarcalendar(Kt_LunarCalendar calendar);
KT_CLASS_API Kt_LunarCalendar kt_lunarcalendar();

struct Kt_LunarDate {
  kt_long year = 0;   // that of the Gregorian calendar in which it begins
  kt_long month = 0;  // 1 to 12; a leap month has the number of the month before it
  kt_long day = 0;    // 1 to 30
  bool is_leap_month = false;

  friend bool operator==(const Kt_LunarDate&, const Kt_LunarDate&) = default;
};

// Only the date of `solar` counts. Both return false, and leave the result as it was, for a date
// that does not exist or lies out of range.
KT_CLASS_API bool kt_solar2lunarW(const Kt_DateParts& solar, Kt_LunarDate& lunar);
KT_CLASS_API bool kt_lunar2solarW(const Kt_LunarDate& lunar, Kt_DateParts& solar);
