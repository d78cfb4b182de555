// SPDX-License-Identifier: MIT
//
// Built-in functions about dates. Accepted forms and how answers keep them: Kt_DateArg.

#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_Clock.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_DateArg.h"
#include "object/detail/Kt_FuncAnswers.h"

using kt::Kt_FuncArgs;
using kt::detail::Kt_DateArg;

namespace {

bool AddDays(const Kt_DateTime& moment, kt_long days, Kt_DateTime& result) {
  result.days = moment.days + days;
  return true;
}

bool AddMonths(const Kt_DateTime& moment, kt_long months, Kt_DateTime& result) {
  return moment.AddMonths(months, result);
}

// Moves a date and answers in its form; an empty value when it is none or leaves the calendar.
template <auto Add>
kt_long Move(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  result.Clear();
  Kt_DateArg date;
  Kt_DateTime moment;
  Kt_DateParts moved;
  if (date.ReadSolar(in.Value(0)) && Kt_DateTime::FromParts(date.parts, moment) &&
      Add(moment, in.Integer(1), moment) && moment.ToParts(moved)) {
    date.Write(moved, true, result);
  }
  return kOk;
}

// 0 Sunday to 6 Saturday; -1 for what is no date.
kt_long WeekdayOf(const Kt_Variant& value) {
  Kt_DateArg date;
  Kt_DateTime moment;
  if (!date.ReadSolar(value) || !Kt_DateTime::FromParts(date.parts, moment)) return -1;
  return moment.Weekday();
}

Kt_Variant GetDay(const Kt_Variant& value) {
  const kt_long weekday = WeekdayOf(value);
  return weekday < 0 ? Kt_Variant() : Kt_Variant(weekday);
}

Kt_Variant IsWorkDay(const Kt_Variant& value) {
  const kt_long weekday = WeekdayOf(value);
  return weekday < 0 ? Kt_Variant() : Kt_Variant(kt_long{weekday >= 1 && weekday <= 5 ? 1 : 0});
}

Kt_WString Digits(kt_long value, kt_long count) {
  return kt_lpadW(kt_longtextW(value), u'0', count);
}

Kt_DateParts Now() {
  Kt_DateParts parts;
  kt_nowW().ToParts(parts);
  return parts;
}

Kt_WString TimeText(const Kt_DateParts& now) {
  return Digits(now.hour, 2) + Digits(now.minute, 2) + Digits(now.second, 2);
}

}  // namespace

kt_long Kt_ExprObject::_addDate(const Kt_VariantList* args, Kt_Variant& result) {
  return Move<&AddDays>(args, result);
}

kt_long Kt_ExprObject::_addMonth(const Kt_VariantList* args, Kt_Variant& result) {
  return Move<&AddMonths>(args, result);
}

kt_long Kt_ExprObject::_getDay(const Kt_VariantList* args, Kt_Variant& result) {
  return kt::detail::Plain<&GetDay>(args, result);
}

kt_long Kt_ExprObject::_WorkDate(const Kt_VariantList* args, Kt_Variant& result) {
  return kt::detail::Plain<&IsWorkDay>(args, result);
}

kt_long Kt_ExprObject::_getDate(const Kt_VariantList*, Kt_Variant& result) {
  result = kt_nowW();
  return kOk;
}

kt_long Kt_ExprObject::_today(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_DateParts now = Now();
  result = Digits(now.year, 4) + Digits(now.month, 2) + Digits(now.day, 2);
  return kOk;
}

kt_long Kt_ExprObject::_time(const Kt_VariantList*, Kt_Variant& result) {
  result = TimeText(Now());
  return kOk;
}

kt_long Kt_ExprObject::_timem(const Kt_VariantList*, Kt_Variant& result) {
  const Kt_DateParts now = Now();
  result = TimeText(now) + Digits(now.millisecond, 3);
  return kOk;
}
