// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_LunarCalendar.h"

#include <unicode/ucal.h>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>

namespace {

constexpr kt_long kFirstYear = 1700;
constexpr kt_long kLastYear = 2299;
constexpr kt_long kMaxMonths = 13;
constexpr kt_long kUnixDay = 25569;  // 1970-01-01 as a day number

std::atomic<Kt_LunarCalendar> current{Kt_LunarCalendar::kChinese};

struct CloseCalendar {
  void operator()(UCalendar* calendar) const { ucal_close(calendar); }
};

// Where ICU 72 and the almanacs differ in the Chinese calendar from 1900 to 2050: its new moons are
// right to some minutes, which decides about the day when one falls that near to midnight, and so
// does the moment of a solar term about the month that is doubled. An ICU that gives the right days
// itself is left alone.
struct DayCorrection {
  kt_long year;
  kt_long month;
  kt_long day;  // the first day of a lunar month by ICU
  kt_long shift;
};
constexpr DayCorrection kDayCorrections[] = {
    {1954, 2, 4, -1}, {1955, 2, 23, -1}, {1999, 1, 18, -1}, {2012, 8, 18, -1},
    {2018, 11, 7, 1}, {2027, 2, 7, -1},  {2030, 2, 2, 1},
};

struct LeapCorrection {
  kt_long year;
  kt_long by_icu;
  kt_long leap_month;
};
constexpr LeapCorrection kLeapCorrections[] = {{1917, 3, 2}, {1922, 6, 5}, {1987, 7, 6}};

// ICU's view of one day.
struct LunarDay {
  kt_long month = 0;
  kt_long day = 0;
  bool is_leap_month = false;
  bool IsNewYear() const { return month == 1 && day == 1 && !is_leap_month; }
};

class IcuCalendar {
 public:
  explicit IcuCalendar(Kt_LunarCalendar which) {
    UErrorCode status = U_ZERO_ERROR;
    const char* const locale =
        which == Kt_LunarCalendar::kKorean ? "@calendar=dangi" : "@calendar=chinese";
    calendar_.reset(ucal_open(u"Etc/GMT", -1, locale, UCAL_DEFAULT, &status));
    if (U_FAILURE(status)) calendar_.reset();
  }

  bool Read(kt_long day_number, LunarDay& out) {
    if (!calendar_) return false;
    UErrorCode status = U_ZERO_ERROR;
    // At noon, so that no rounding moves it to another day.
    ucal_setMillis(calendar_.get(), (day_number - kUnixDay + 0.5) * 86'400'000.0, &status);
    out.month = ucal_get(calendar_.get(), UCAL_MONTH, &status) + 1;
    out.day = ucal_get(calendar_.get(), UCAL_DATE, &status);
    out.is_leap_month = ucal_get(calendar_.get(), UCAL_IS_LEAP_MONTH, &status) != 0;
    return U_SUCCESS(status);
  }

  // Moves from any day to the first day of the next month.
  bool NextMonth(kt_long& day_number, LunarDay& out) {
    if (!Read(day_number, out)) return false;
    day_number += 31 - out.day;  // the first day, or the second when the month has 29
    if (!Read(day_number, out)) return false;
    if (out.day == 1) return true;
    day_number -= 1;
    return Read(day_number, out) && out.day == 1;
  }

 private:
  std::unique_ptr<UCalendar, CloseCalendar> calendar_;
};

kt_long DayNumber(kt_long year, kt_long month, kt_long day) {
  Kt_DateTime moment;
  Kt_DateTime::FromParts({year, month, day}, moment);
  return static_cast<kt_long>(moment.days);
}

// The months of one year. Month `index` counts from 0 and includes the leap month.
struct LunarYear {
  kt_long month_count = 0;                       // 0: not computed yet
  kt_long leap_index = -1;                       // where the leap month stands, -1: none
  std::array<kt_long, kMaxMonths + 1> starts{};  // first days; the last is next new year's day

  kt_long Start() const { return starts[0]; }
  kt_long MonthNumber(kt_long index) const {
    return leap_index >= 0 && index >= leap_index ? index : index + 1;
  }
  // -1 when the year has no such month.
  kt_long IndexOf(kt_long month, bool is_leap) const {
    if (month < 1 || month > 12) return -1;
    if (is_leap) return leap_index >= 0 && MonthNumber(leap_index) == month ? leap_index : -1;
    return leap_index >= 0 && month > leap_index ? month : month - 1;
  }

  bool Compute(IcuCalendar& calendar, kt_long year) {
    kt_long day_number = DayNumber(year, 1, 19);  // new year falls on January 20 at the earliest
    LunarDay day;
    do {
      if (!calendar.NextMonth(day_number, day)) return false;
    } while (!day.IsNewYear());
    kt_long count = 0;
    do {
      if (count == kMaxMonths) return false;
      if (day.is_leap_month) leap_index = count;
      starts[static_cast<std::size_t>(count++)] = day_number;
      if (!calendar.NextMonth(day_number, day)) return false;
    } while (!day.IsNewYear());
    starts[static_cast<std::size_t>(count)] = day_number;
    month_count = count;
    return true;
  }

  void Correct(kt_long year) {
    for (const DayCorrection& row : kDayCorrections) {
      const kt_long by_icu = DayNumber(row.year, row.month, row.day);
      for (kt_long& start : starts) start += start == by_icu ? row.shift : 0;
    }
    // The leap month `m` stands behind m months.
    for (const LeapCorrection& row : kLeapCorrections) {
      if (year == row.year && leap_index == row.by_icu) leap_index = row.leap_month;
    }
  }
};

class YearTable {
 public:
  // By value: small, and the table may be asked on many threads.
  bool Find(Kt_LunarCalendar which, kt_long year, LunarYear& out) {
    if (year < kFirstYear || year > kLastYear) return false;
    const std::lock_guard lock(mutex_);
    LunarYear& entry =
        years_[static_cast<std::size_t>(which)][static_cast<std::size_t>(year - kFirstYear)];
    if (entry.month_count == 0) {
      IcuCalendar calendar(which);
      LunarYear computed;
      if (!computed.Compute(calendar, year)) return false;
      if (which == Kt_LunarCalendar::kChinese) computed.Correct(year);
      entry = computed;
    }
    out = entry;
    return true;
  }

 private:
  std::mutex mutex_;
  std::array<std::array<LunarYear, kLastYear - kFirstYear + 1>, 2> years_;
};

bool FindYear(kt_long year, LunarYear& out) {
  static YearTable table;
  return table.Find(current.load(std::memory_order_relaxed), year, out);
}

}  // namespace

void kt_setlunarcalendar(Kt_LunarCalendar calendar) { current = calendar; }
Kt_LunarCalendar kt_lunarcalendar() { return current; }

bool kt_solar2lunarW(const Kt_DateParts& solar, Kt_LunarDate& lunar) {
  Kt_DateTime moment;
  if (!Kt_DateTime::FromParts({solar.year, solar.month, solar.day}, moment)) return false;
  const auto day_number = static_cast<kt_long>(moment.days);
  kt_long year = solar.year;
  LunarYear months;
  if (!FindYear(year, months)) return false;
  if (day_number < months.Start() && !FindYear(--year, months)) return false;
  kt_long index = months.month_count - 1;
  while (day_number < months.starts[static_cast<std::size_t>(index)]) --index;
  lunar.year = year;
  lunar.month = months.MonthNumber(index);
  lunar.day = day_number - months.starts[static_cast<std::size_t>(index)] + 1;
  lunar.is_leap_month = index == months.leap_index;
  return true;
}

bool kt_lunar2solarW(const Kt_LunarDate& lunar, Kt_DateParts& solar) {
  LunarYear months;
  if (!FindYear(lunar.year, months)) return false;
  const kt_long index = months.IndexOf(lunar.month, lunar.is_leap_month);
  if (index < 0) return false;
  const kt_long start = months.starts[static_cast<std::size_t>(index)];
  const kt_long length = months.starts[static_cast<std::size_t>(index) + 1] - start;
  if (lunar.day < 1 || lunar.day > length) return false;
  return Kt_DateTime{static_cast<double>(start + lunar.day - 1)}.ToParts(solar);
}
