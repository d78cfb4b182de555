// SPDX-License-Identifier: MIT

#include "builtin_test_util.h"
#include "classlib/value/Kt_Clock.h"

namespace {

using kt::test::Eval;
using kt::test::ExprRow;
using kt::test::RunRows;

TEST(BuiltinDate, AnswersKeepTheForm) {
  constexpr ExprRow kRows[] = {
      {u"addDate('20240228', 2)", u"20240301"},
      {u"addDate('2024-02-28', 2)", u"2024-03-01"},
      {u"addDate('2024/2/28', 2)", u"2024/03/01"},
      {u"addDate('2024.02.28 10:20:30.5', 2)", u"2024.03.01 10:20:30.5"},
      {u"addDate('20240228103000', -1)", u"20240227103000"},
      {u"addDate(20240228, 2)", u"20240301"},
      {u"type(addDate(20240228, 2))", u"integer"},
      {u"addDate(datetime('2024-02-28 06:00'), 2)", u"2024-03-01 06:00:00"},
      {u"addDate(45350, 2)", u"45352"},
      {u"type(addDate(getDate(), 0))", u"datetime"},
      {u"addDate(' 20240228 ')", u"20240228"},
  };
  RunRows(kRows);
}

TEST(BuiltinDate, LeapDaysMonthEndsAndTheEndsOfTime) {
  constexpr ExprRow kRows[] = {
      {u"addDate('20231231', 1)", u"20240101"},
      {u"addDate('19000228', 1)", u"19000301"},
      {u"addDate('20000228', 1)", u"20000229"},
      {u"addDate('99991231', 0)", u"99991231"},
      {u"addDate('99991231', 1)", u""},
      {u"addDate('00010101', -1)", u""},
      {u"addDate('20240101', 2147483647)", u""},
      {u"addMonth('20240131', 1)", u"20240229"},
      {u"addMonth('20240131', -2)", u"20231130"},
      {u"addMonth('20240229', 12)", u"20250228"},
      {u"addMonth('2024-12-15 08:00', 1)", u"2025-01-15 08:00"},
      {u"addMonth('99991130', 1)", u"99991230"},
      {u"addMonth('99991231', 1)", u""},
      {u"addMonth('20240101', -2147483648)", u""},
  };
  RunRows(kRows);
}

TEST(BuiltinDate, InvalidDatesAreEmpty) {
  for (const char16_t* text :
       {u"'20230229'", u"'2024-13-01'", u"'2024-02-28 25:00'", u"'2024/02-28'", u"'x'", u"''",
        u"null", u"20241301", u"'2024022'", u"array(2)"}) {
    for (const char16_t* call : {u"addDate(", u"addMonth(", u"getDay(", u"WorkDate(", u"datetime(",
                                 u"parseDateTime(", u"solar2lunar(", u"solar2lunarEx("}) {
      const Kt_WString expression = Kt_WString(u"type(") + call + text + u"))";
      EXPECT_EQ(Eval(expression), "empty") << expression.ToUtf8();
    }
  }
}

TEST(BuiltinDate, ValuesAndWeekdays) {
  constexpr ExprRow kRows[] = {
      {u"datetime(2024, 2, 29)", u"2024-02-29"},
      {u"datetime(2024, 2, 29, 23, 59, 59)", u"2024-02-29 23:59:59"},
      {u"type(datetime(2024, 2, 29, 24))", u"empty"},
      {u"type(datetime(2024, 2))", u"empty"},
      {u"datetime(45000.5)", u"2023-03-15 12:00:00"},
      {u"parseDateTime(20240229)", u"2024-02-29"},
      {u"getDay('2024-03-03') + getDay('20240309') * 10", u"60"},
      {u"WorkDate('20240301') + WorkDate('20240302') + WorkDate('20240303')", u"1"},
      {u"toString('2024-02-09 15:04:05.6', 'yy/M/d HH:mm:ss.fff h tt')",
       u"24/2/9 15:04:05.600 3 PM"},
      {u"toString(datetime(2024, 1, 2), \"d 'of' M\")", u"2 of 1"},
      {u"toString('no date', 'yyyy')", u"no date"},
  };
  RunRows(kRows);
}

TEST(BuiltinDate, OneClockForAll) {
  const Kt_ClockSource before = kt_setclock([] {
    Kt_DateTime now;
    Kt_DateTime::FromParts({2024, 2, 29, 7, 5, 9, 42}, now);
    return now;
  });
  EXPECT_EQ(Eval(u"today() + ' ' + time() + ' ' + timem()"), "20240229 070509 070509042");
  EXPECT_EQ(Eval(u"getDate()"), "2024-02-29 07:05:09");
  kt_setclock(before);
}

}  // namespace
