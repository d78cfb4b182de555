// SPDX-License-Identifier: MIT
//
// The conversion between dates and day numbers is that of Howard Hinnant, "chrono-Compatible
// Low-Level Date Algorithms" (days_from_civil, civil_from_days): years begin in March, so that the
// leap day is the last of its year, and 400 years form an era of exactly 146097 days.

#include "classlib/value/Kt_DateTime.h"

#include <array>
#include <cmath>
#include <cstdint>

#include "classlib/text/detail/Kt_Blank.h"

namespace {

constexpr std::int64_t kMsPerDay = 86'400'000;
constexpr std::int64_t kDaysPerEra = 146'097;
constexpr std::int64_t kFirstDay = -693'593;  // 0001-01-01
constexpr std::int64_t kLastDay = 2'958'465;  // 9999-12-31
constexpr std::int64_t kDayOfMarch0000 = -693'899;

// The day number of a date in the years 1 to 9999.
constexpr std::int64_t DayFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
  if (month <= 2) --year;
  const std::int64_t era = year / 400;
  const std::int64_t year_of_era = year - era * 400;
  const std::int64_t month_from_march = month > 2 ? month - 3 : month + 9;
  const std::int64_t day_of_year = (153 * month_from_march + 2) / 5 + day - 1;
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * kDaysPerEra + day_of_era + kDayOfMarch0000;
}

static_assert(DayFromCivil(1899, 12, 30) == 0);
static_assert(DayFromCivil(1, 1, 1) == kFirstDay && DayFromCivil(9999, 12, 31) == kLastDay);

void CivilFromDay(std::int64_t day_number, Kt_DateParts& parts) {
  const std::int64_t since_march = day_number - kDayOfMarch0000;
  const std::int64_t era = since_march / kDaysPerEra;
  const std::int64_t day_of_era = since_march - era * kDaysPerEra;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t month_from_march = (5 * day_of_year + 2) / 153;
  const bool next_year = month_from_march >= 10;
  parts.day = static_cast<kt_long>(day_of_year - (153 * month_from_march + 2) / 5 + 1);
  parts.month = static_cast<kt_long>(next_year ? month_from_march - 9 : month_from_march + 3);
  parts.year = static_cast<kt_long>(year_of_era + era * 400 + (next_year ? 1 : 0));
}

struct DayAndTime {
  std::int64_t day;
  std::int64_t ms;  // of the day
};

// Rounded to milliseconds; false outside the years 1 to 9999.
bool Split(double days, DayAndTime& out) {
  if (!(days > kFirstDay - 1 && days < kLastDay + 1)) return false;
  const auto total = static_cast<std::int64_t>(std::llround(days * kMsPerDay));
  out.day = total / kMsPerDay;
  out.ms = total % kMsPerDay;
  if (out.ms < 0) {
    out.ms += kMsPerDay;
    --out.day;
  }
  return out.day >= kFirstDay && out.day <= kLastDay;
}

double Combine(DayAndTime moment) {
  return static_cast<double>(moment.day) +
         static_cast<double>(moment.ms) / static_cast<double>(kMsPerDay);
}

bool IsDate(const Kt_DateParts& parts) {
  return parts.year >= 1 && parts.year <= 9999 && parts.day >= 1 &&
         parts.day <= Kt_DateTime::DaysInMonth(parts.year, parts.month);
}

bool IsTime(const Kt_DateParts& parts) {
  return parts.hour >= 0 && parts.hour <= 23 && parts.minute >= 0 && parts.minute <= 59 &&
         parts.second >= 0 && parts.second <= 59 && parts.millisecond >= 0 &&
         parts.millisecond <= 999;
}

// Takes a text apart from the left. After a failure nothing more is taken.
class Reader {
 public:
  explicit Reader(std::u16string_view text) : rest_(text) {}

  bool AtEnd() const { return rest_.empty(); }
  bool Failed() const { return failed_; }

  bool TakeUnit(char16_t unit) {
    if (failed_ || !rest_.starts_with(unit)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // A number of `least` to `most` digits.
  kt_long Number(std::size_t least, std::size_t most) {
    const std::size_t digits = DigitRun();
    if (failed_ || digits < least || digits > most) return Fail();
    return TakeDigits(digits);
  }

  // The next `count` digits of a longer run.
  kt_long TakeDigits(std::size_t count) {
    kt_long value = 0;
    for (const char16_t unit : rest_.substr(0, count)) value = value * 10 + (unit - u'0');
    rest_.remove_prefix(count);
    return value;
  }

  // A fraction in thousandths; digits after the third are dropped.
  kt_long Thousandths() {
    const std::size_t digits = DigitRun();
    if (failed_ || digits == 0) return Fail();
    kt_long value = 0;
    for (std::size_t place = 0; place < 3; ++place) {
      value = value * 10 + (place < digits ? rest_[place] - u'0' : 0);
    }
    rest_.remove_prefix(digits);
    return value;
  }

  std::size_t DigitRun() const {
    std::size_t count = 0;
    while (count < rest_.size() && rest_[count] >= u'0' && rest_[count] <= u'9') ++count;
    return count;
  }

  kt_long Fail() {
    failed_ = true;
    return -1;
  }

 private:
  std::u16string_view rest_;
  bool failed_ = false;
};

void ReadSeparatedDate(Reader& in, Kt_DateParts& parts) {
  parts.year = in.Number(4, 4);
  for (const char16_t separator : {u'-', u'/', u'.'}) {
    if (!in.TakeUnit(separator)) continue;
    parts.month = in.Number(1, 2);
    if (!in.TakeUnit(separator)) in.Fail();
    parts.day = in.Number(1, 2);
    return;
  }
  in.Fail();
}

void ReadTime(Reader& in, Kt_DateParts& parts) {
  parts.hour = in.Number(1, 2);
  if (!in.TakeUnit(u':')) in.Fail();
  parts.minute = in.Number(2, 2);
  if (!in.TakeUnit(u':')) return;
  parts.second = in.Number(2, 2);
  if (in.TakeUnit(u'.')) parts.millisecond = in.Thousandths();
}

void ReadMoment(Reader& in, Kt_DateParts& parts) {
  const std::size_t digits = in.DigitRun();
  if (digits != 8 && digits != 14) {
    ReadSeparatedDate(in, parts);
  } else {
    parts.year = in.TakeDigits(4);
    parts.month = in.TakeDigits(2);
    parts.day = in.TakeDigits(2);
  }
  if (digits == 14) {
    parts.hour = in.TakeDigits(2);
    parts.minute = in.TakeDigits(2);
    parts.second = in.TakeDigits(2);
  } else if (in.TakeUnit(u'T') || in.TakeUnit(u' ')) {
    ReadTime(in, parts);
  }
}

// Writes numbers with leading zeros, and what stands between them.
class Writer {
 public:
  void Number(char16_t before, kt_long value, int digits) {
    if (before != u'\0') text_[length_++] = before;
    for (int place = digits - 1; place >= 0; --place, value /= 10) {
      text_[length_ + static_cast<std::size_t>(place)] = static_cast<char16_t>(u'0' + value % 10);
    }
    length_ += static_cast<std::size_t>(digits);
  }
  Kt_WString Text() const { return std::u16string_view(text_.data(), length_); }

 private:
  std::array<char16_t, 32> text_;
  std::size_t length_ = 0;
};

}  // namespace

bool Kt_DateTime::IsLeapYear(kt_long year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

kt_long Kt_DateTime::DaysInMonth(kt_long year, kt_long month) {
  constexpr kt_long kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12) return 0;
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

bool Kt_DateTime::FromParts(const Kt_DateParts& parts, Kt_DateTime& result) {
  if (!IsDate(parts) || !IsTime(parts)) return false;
  const std::int64_t minutes = parts.hour * 60 + parts.minute;
  result.days = Combine({DayFromCivil(parts.year, parts.month, parts.day),
                         (minutes * 60 + parts.second) * 1000 + parts.millisecond});
  return true;
}

bool Kt_DateTime::FromText(std::u16string_view text, Kt_DateTime& result) {
  Reader in(kt::detail::WithoutBlanks(text));
  Kt_DateParts parts;
  ReadMoment(in, parts);
  return !in.Failed() && in.AtEnd() && FromParts(parts, result);
}

bool Kt_DateTime::ToParts(Kt_DateParts& parts) const {
  DayAndTime moment;
  if (!Split(days, moment)) return false;
  CivilFromDay(moment.day, parts);
  parts.millisecond = static_cast<kt_long>(moment.ms % 1000);
  parts.second = static_cast<kt_long>(moment.ms / 1000 % 60);
  parts.minute = static_cast<kt_long>(moment.ms / 60'000 % 60);
  parts.hour = static_cast<kt_long>(moment.ms / 3'600'000);
  return true;
}

Kt_WString Kt_DateTime::ToText(bool with_milliseconds) const {
  Kt_DateParts parts;
  if (!ToParts(parts)) return {};
  Writer out;
  out.Number(u'\0', parts.year, 4);
  out.Number(u'-', parts.month, 2);
  out.Number(u'-', parts.day, 2);
  const bool show_ms = with_milliseconds && parts.millisecond != 0;
  if (show_ms || parts.hour != 0 || parts.minute != 0 || parts.second != 0) {
    out.Number(u' ', parts.hour, 2);
    out.Number(u':', parts.minute, 2);
    out.Number(u':', parts.second, 2);
  }
  if (show_ms) out.Number(u'.', parts.millisecond, 3);
  return out.Text();
}

kt_long Kt_DateTime::Weekday() const {
  DayAndTime moment;
  if (!Split(days, moment)) return -1;
  return static_cast<kt_long>((moment.day - (kFirstDay - 1)) % 7);  // 0001-01-01 was a Monday
}

bool Kt_DateTime::AddMonths(kt_long months, Kt_DateTime& result) const {
  DayAndTime moment;
  if (!Split(days, moment)) return false;
  Kt_DateParts parts;
  CivilFromDay(moment.day, parts);
  const std::int64_t month_count = std::int64_t{parts.year} * 12 + (parts.month - 1) + months;
  if (month_count < 12 || month_count >= 10'000 * 12) return false;
  const auto year = static_cast<kt_long>(month_count / 12);
  const auto month = static_cast<kt_long>(month_count % 12 + 1);
  const kt_long last_day = DaysInMonth(year, month);
  moment.day = DayFromCivil(year, month, parts.day < last_day ? parts.day : last_day);
  result.days = Combine(moment);
  return true;
}
