// SPDX-License-Identifier: MIT
//
// The lunar calendar against dates that almanacs publish.

#include "builtin_test_util.h"
#include "classlib/value/Kt_LunarCalendar.h"

namespace {

struct NewYear {
  kt_long year;
  kt_long month;
  kt_long day;
};

constexpr NewYear kNewYears[] = {
    {1900, 1, 31}, {1901, 2, 19}, {1905, 2, 4},  {1910, 2, 10}, {1912, 2, 18}, {1920, 2, 20},
    {1925, 1, 24}, {1930, 1, 30}, {1935, 2, 4},  {1940, 2, 8},  {1945, 2, 13}, {1949, 1, 29},
    {1950, 2, 17}, {1955, 1, 24}, {1960, 1, 28}, {1965, 2, 2},  {1966, 1, 21}, {1970, 2, 6},
    {1975, 2, 11}, {1980, 2, 16}, {1985, 2, 20}, {1990, 1, 27}, {1995, 1, 31}, {2000, 2, 5},
    {2001, 1, 24}, {2005, 2, 9},  {2008, 2, 7},  {2010, 2, 14}, {2012, 1, 23}, {2015, 2, 19},
    {2019, 2, 5},  {2020, 1, 25}, {2021, 2, 12}, {2022, 2, 1},  {2023, 1, 22}, {2024, 2, 10},
    {2025, 1, 29}, {2026, 2, 17}, {2027, 2, 6},  {2028, 1, 26}, {2029, 2, 13}, {2030, 2, 3},
    {2033, 1, 31}, {2034, 2, 19}, {2040, 2, 12}, {2050, 1, 23},
};

TEST(Lunar, PublishedNewYears) {
  for (const NewYear& row : kNewYears) {
    Kt_DateParts solar;
    ASSERT_TRUE(kt_lunar2solarW({row.year, 1, 1, false}, solar));
    EXPECT_TRUE(solar.year == row.year && solar.month == row.month && solar.day == row.day)
        << row.year << ": " << solar.month << "/" << solar.day;
  }
}

TEST(Lunar, PublishedLeapMonths) {
  constexpr kt_long kLeapMonths[][2] = {
      {1900, 8},  {1903, 5},  {1906, 4}, {1909, 2}, {1919, 7}, {1922, 5}, {1925, 4}, {1938, 7},
      {1941, 6},  {1949, 7},  {1952, 5}, {1957, 8}, {1963, 4}, {1968, 7}, {1976, 8}, {1979, 6},
      {1984, 10}, {1987, 6},  {1990, 5}, {1995, 8}, {1998, 5}, {2001, 4}, {2004, 2}, {2006, 7},
      {2009, 5},  {2012, 4},  {2014, 9}, {2017, 6}, {2020, 4}, {2023, 2}, {2025, 6}, {2028, 5},
      {2031, 3},  {2033, 11}, {2036, 6}, {2039, 5}, {2042, 2}, {2044, 7}, {2047, 5}, {2050, 3},
  };
  for (const auto& [year, leap_month] : kLeapMonths) {
    for (kt_long month = 1; month <= 12; ++month) {
      Kt_DateParts solar;
      EXPECT_EQ(kt_lunar2solarW({year, month, 1, true}, solar), month == leap_month)
          << year << " month " << month;
    }
  }
  for (const kt_long year : {2000, 2002, 2018, 2019, 2021, 2022, 2024, 2026}) {
    for (kt_long month = 1; month <= 12; ++month) {
      Kt_DateParts solar;
      EXPECT_FALSE(kt_lunar2solarW({year, month, 1, true}, solar)) << year << " month " << month;
    }
  }
}

TEST(Lunar, RoundTripOverEveryDay) {
  Kt_DateTime first;
  Kt_DateTime last;
  Kt_DateTime::FromParts({1900, 1, 1}, first);
  Kt_DateTime::FromParts({2050, 12, 31}, last);
  Kt_LunarDate before;
  for (double day = first.days; day <= last.days; ++day) {
    Kt_DateParts solar;
    Kt_DateParts back;
    Kt_LunarDate lunar;
    ASSERT_TRUE(Kt_DateTime{day}.ToParts(solar));
    ASSERT_TRUE(kt_solar2lunarW(solar, lunar));
    ASSERT_TRUE(kt_lunar2solarW(lunar, back));
    ASSERT_EQ(back, solar);
    // Days follow one another, months have 29 or 30.
    if (before.day != 0 && lunar.day != before.day + 1) {
      ASSERT_TRUE(lunar.day == 1 && before.day >= 29 && before.day <= 30) << day;
    }
    before = lunar;
  }
}

TEST(Lunar, TheHostChoosesTheCalendar) {
  const auto new_year = [](kt_long year) {
    Kt_DateParts solar;
    EXPECT_TRUE(kt_lunar2solarW({year, 1, 1, false}, solar));
    return solar.day;
  };
  ASSERT_EQ(kt_lunarcalendar(), Kt_LunarCalendar::kChinese);
  EXPECT_EQ(new_year(1997), 7);
  kt_setlunarcalendar(Kt_LunarCalendar::kKorean);
  EXPECT_EQ(new_year(1997), 8);  // the new moon fell between the midnights of Beijing and Seoul
  EXPECT_EQ(new_year(2024), 10);
  kt_setlunarcalendar(Kt_LunarCalendar::kChinese);
}

TEST(Lunar, FunctionsKeepTheForm) {
  constexpr kt::test::ExprRow kRows[] = {
      {u"solar2lunar('20240210')", u"20240101"},
      {u"solar2lunar('2024/02/09')", u"2023/12/30"},
      {u"solar2lunar(20240210)", u"20240101"},
      {u"solar2lunar(datetime(2020, 3, 23))", u"2020-02-30"},
      {u"toString(solar2lunarEx('20200523'))", u"20200401,1"},
      {u"toString(solar2lunarEx('20200423'))", u"20200401,0"},
      {u"lunar2solar('20200401', 1)", u"20200523"},
      {u"lunar2solar('20200401', 0)", u"20200423"},
      {u"lunar2solar('2020-02-30')", u"2020-03-23"},
      {u"lunar2solar('20200501', 1)", u""},
      {u"lunar2solar('20241231')", u""},
      {u"lunar2solar('20241301')", u""},
      {u"lunar2solar('16991231')", u""},
      {u"lunar2solar('23000101')", u""},
      {u"solar2lunar('99990101')", u""},
      {u"lunar2solarEx(solar2lunarEx('20200601'))", u"20200601"},
      {u"lunar2solarEx('20200401', 1)", u"20200523"},
      {u"type(lunar2solarEx(array(2)))", u"empty"},
  };
  kt::test::RunRows(kRows);
}

}  // namespace
