// SPDX-License-Identifier: MIT
//
// Built-in functions between the solar and the lunar calendar. The plain forms work on the date
// alone; the Ex forms carry the mark of the leap month along as the second item of a list, so that
// lunar2solarEx(solar2lunarEx(d)) is d for every day.

#include "classlib/value/Kt_LunarCalendar.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_DateArg.h"
#include "object/detail/Kt_FuncAnswers.h"

using kt::Kt_FuncArgs;
using kt::detail::Kt_DateArg;
using kt::detail::Plain;

namespace {

Kt_DateParts DateOf(const Kt_LunarDate& lunar) { return {lunar.year, lunar.month, lunar.day}; }

bool ToLunar(const Kt_Variant& value, Kt_LunarDate& lunar, Kt_Variant& date_in_form) {
  Kt_DateArg date;
  if (!date.ReadSolar(value) || !kt_solar2lunarW(date.parts, lunar)) return false;
  date.Write(DateOf(lunar), false, date_in_form);
  return true;
}

Kt_Variant SolarToLunar(const Kt_Variant& value) {
  Kt_LunarDate lunar;
  Kt_Variant date;
  ToLunar(value, lunar, date);
  return date;
}

Kt_Variant SolarToLunarEx(const Kt_Variant& value) {
  Kt_LunarDate lunar;
  Kt_Variant date;
  if (!ToLunar(value, lunar, date)) return {};
  return Kt_VariantList{date, Kt_Variant(kt_long{lunar.is_leap_month ? 1 : 0})};
}

Kt_Variant LunarToSolar(const Kt_Variant& value, const Kt_Variant& is_leap) {
  Kt_Variant result;
  Kt_DateArg date;
  if (!date.Read(value)) return result;
  Kt_DateParts solar;
  if (kt_lunar2solarW({date.parts.year, date.parts.month, date.parts.day, Var_IsTrue(is_leap)},
                      solar)) {
    date.Write(solar, true, result);
  }
  return result;
}

}  // namespace

kt_long Kt_ExprObject::_solar2lunar(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&SolarToLunar>(args, result);
}

kt_long Kt_ExprObject::_solar2lunarEx(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&SolarToLunarEx>(args, result);
}

kt_long Kt_ExprObject::_lunar2solar(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (in.Has(0)) result = LunarToSolar(in.Value(0), in.Value(1));
  return kOk;
}

kt_long Kt_ExprObject::_lunar2solarEx(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) return kOk;
  const Kt_Variant value = in.Value(0);
  if (value.IsList() && !in.Has(1)) {
    const Kt_VariantList pair = value.GetList();
    result = LunarToSolar(pair.GetItemNN(0).Target(), pair.GetItemNN(1).Target());
  } else {
    result = LunarToSolar(value, in.Value(1));
  }
  return kOk;
}
