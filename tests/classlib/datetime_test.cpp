// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>

#include "classlib/value/Kt_DateTime.h"
#include "common/text.h"

namespace {

Kt_DateTime Moment(std::u16string_view text) {
  Kt_DateTime result;
  EXPECT_TRUE(Kt_DateTime::FromText(text, result)) << Utf8(text);
  return result;
}

std::string Shown(double days) { return Kt_DateTime{days}.ToText(true).ToUtf8(); }

TEST(DateTime, KnownDayNumbers) {
  const struct {
    double days;
    const char* text;
    kt_long weekday;
  } rows[] = {
      {0, "1899-12-30", 6},
      {1, "1899-12-31", 0},
      {25569, "1970-01-01", 4},
      {45351, "2024-02-29", 4},
      {-693593, "0001-01-01", 1},
      {2958465, "9999-12-31", 5},
      {0.5, "1899-12-30 12:00:00", 6},
      {-0.25, "1899-12-29 18:00:00", 5},
      {1.0 + 1.0 / 3 + 1.0 / 6, "1899-12-31 12:00:00", 0},
      {0.1 + 0.2, "1899-12-30 07:12:00", 6},
      {0.5 + 0.001 / 86400, "1899-12-30 12:00:00.001", 6},
      {0.9999999999, "1899-12-31", 0},
      {2958465.9999999999, "", -1},
      {-693593.1, "", -1},
      {1e300, "", -1},
      {-std::numeric_limits<double>::infinity(), "", -1},
      {std::numeric_limits<double>::quiet_NaN(), "", -1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Shown(row.days), row.text) << row.days;
    EXPECT_EQ(Kt_DateTime{row.days}.Weekday(), row.weekday) << row.days;
  }
}

// Every day of the calendar follows the one before it by the rules of months and leap years.
TEST(DateTime, EveryDayFromYear1To9999) {
  Kt_DateParts wanted{.year = 1, .month = 1, .day = 1};
  for (double days = -693593; days <= 2958465; ++days) {
    Kt_DateParts parts;
    Kt_DateTime back;
    const bool good = Kt_DateTime{days}.ToParts(parts) && parts == wanted &&
                      Kt_DateTime::FromParts(parts, back) && back.days == days;
    ASSERT_TRUE(good) << days;
    if (++wanted.day <= Kt_DateTime::DaysInMonth(wanted.year, wanted.month)) continue;
    wanted.day = 1;
    if (++wanted.month <= 12) continue;
    wanted.month = 1;
    ++wanted.year;
  }
  EXPECT_EQ(wanted.year, 10000);
}

TEST(DateTime, EveryMillisecondOfADaySurvives) {
  for (kt_long ms = 0; ms < 86'400'000; ms += 997) {
    const Kt_DateParts wanted{9999,           12,       31, ms / 3'600'000, ms / 60'000 % 60,
                              ms / 1000 % 60, ms % 1000};
    Kt_DateTime moment;
    Kt_DateParts parts;
    ASSERT_TRUE(Kt_DateTime::FromParts(wanted, moment) && moment.ToParts(parts));
    ASSERT_EQ(parts, wanted) << ms;
  }
}

TEST(DateTime, FromText) {
  const struct {
    std::u16string_view text;
    const char* wanted;  // null: no date
  } rows[] = {
      {u"20240229", "2024-02-29"},
      {u"2024-02-29", "2024-02-29"},
      {u" 2024/2/9 ", "2024-02-09"},
      {u"2024.12.31", "2024-12-31"},
      {u"20240229235958", "2024-02-29 23:59:58"},
      {u"2024-02-29 7:05", "2024-02-29 07:05:00"},
      {u"2024-02-29T07:05:09", "2024-02-29 07:05:09"},
      {u"20240229 07:05:09.5", "2024-02-29 07:05:09.500"},
      {u"2024-02-29 07:05:09.1239999", "2024-02-29 07:05:09.123"},
      {u"0001-01-01", "0001-01-01"},
      {u"9999-12-31 23:59:59.999", "9999-12-31 23:59:59.999"},
      {u"2000-02-29", "2000-02-29"},
      {u"1900-02-29", nullptr},
      {u"2023-02-29", nullptr},
      {u"20230431", nullptr},
      {u"0000-01-01", nullptr},
      {u"2024-13-01", nullptr},
      {u"2024-00-01", nullptr},
      {u"2024-01-00", nullptr},
      {u"2024-01/01", nullptr},
      {u"24-01-01", nullptr},
      {u"10000-01-01", nullptr},
      {u"2024-01-01 24:00", nullptr},
      {u"2024-01-01 12:60", nullptr},
      {u"2024-01-01 12:00:60", nullptr},
      {u"2024-01-01 12", nullptr},
      {u"2024-01-01 12:00:00.", nullptr},
      {u"2024-01-01 12:00x", nullptr},
      {u"2024-01-01T", nullptr},
      {u"2024-01-01  12:00", nullptr},
      {u"202402291", nullptr},
      {u"2024-99999999999999999999-1", nullptr},
      {u"today", nullptr},
      {u"", nullptr},
  };
  for (const auto& row : rows) {
    Kt_DateTime result{-7};
    EXPECT_EQ(Kt_DateTime::FromText(row.text, result), row.wanted != nullptr) << Utf8(row.text);
    if (row.wanted == nullptr) {
      EXPECT_EQ(result.days, -7) << Utf8(row.text);
    } else {
      EXPECT_EQ(Shown(result.days), row.wanted) << Utf8(row.text);
    }
  }
}

TEST(DateTime, TextLeavesMillisecondsOutUnlessAsked) {
  const Kt_DateTime moment = Moment(u"2024-01-01 00:00:00.7");
  EXPECT_EQ(Utf8(moment.ToText()), "2024-01-01");
  EXPECT_EQ(Utf8(moment.ToText(true)), "2024-01-01 00:00:00.700");
}

TEST(DateTime, AddMonths) {
  const struct {
    std::u16string_view from;
    kt_long months;
    const char* wanted;  // null: out of range
  } rows[] = {
      {u"2024-01-31", 1, "2024-02-29"},
      {u"2023-01-31", 1, "2023-02-28"},
      {u"2024-03-31", -1, "2024-02-29"},
      {u"2024-02-29", 12, "2025-02-28"},
      {u"2024-12-15 06:00", 1, "2025-01-15 06:00:00"},
      {u"1899-12-29 18:00", -1, "1899-11-29 18:00:00"},
      {u"0001-01-01", 9999 * 12 - 1, "9999-12-01"},
      {u"0001-01-01", 9999 * 12, nullptr},
      {u"0001-01-31", -1, nullptr},
      {u"2024-01-01", std::numeric_limits<kt_long>::max(), nullptr},
      {u"2024-01-01", std::numeric_limits<kt_long>::min(), nullptr},
  };
  for (const auto& row : rows) {
    Kt_DateTime result{-7};
    EXPECT_EQ(Moment(row.from).AddMonths(row.months, result), row.wanted != nullptr);
    EXPECT_EQ(Shown(result.days), row.wanted ? row.wanted : "1899-12-23") << Utf8(row.from);
  }
}

}  // namespace
