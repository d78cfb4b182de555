// SPDX-License-Identifier: MIT
//
// Built-in functions that turn a value into one of another kind.

#include "classlib/value/Kt_Clock.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_DateArg.h"
#include "object/detail/Kt_DecimalText.h"
#include "object/detail/Kt_FuncAnswers.h"
#include "object/detail/Kt_PlainFuncs.h"

using kt::Kt_FuncArgs;
using kt::detail::Plain;

namespace {

// An amount as people write it: "$1,234.50" and "1 234.50 EUR" too.
Kt_Currency AmountOf(const Kt_Variant& value) {
  if (!value.IsString()) return value.ToCurrency();
  return Kt_Variant(kt::detail::StripToNumber(value.AsString())).ToCurrency();
}

Kt_Variant Moment(const Kt_DateParts& parts) {
  Kt_DateTime moment;
  return Kt_DateTime::FromParts(parts, moment) ? Kt_Variant(moment) : Kt_Variant();
}

Kt_Variant MomentOf(const Kt_Variant& value) {
  kt::detail::Kt_DateArg date;
  return date.ReadSolar(value) ? Moment(date.parts) : Kt_Variant();
}

}  // namespace

void kt::detail::ToInteger(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (in.Has(0)) result.Set(in.Integer(0));
}
void kt::detail::ToNumber(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (in.Has(0)) result.Set(in.Number(0));
}

kt_long Kt_ExprObject::_toNumber(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::ToNumber(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_toInteger(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::ToInteger(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_currency(const Kt_VariantList* args, Kt_Variant& result) {
  result = Kt_FuncArgs(args).Value(0).ToCurrency();
  return kOk;
}

kt_long Kt_ExprObject::_toCurrency(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (in.Has(0)) result = AmountOf(in.Value(0));
  return kOk;
}

kt_long Kt_ExprObject::_toDate(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&MomentOf>(args, result);
}

kt_long Kt_ExprObject::_datetime(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (in.Count() < 2) return Plain<&MomentOf>(args, result);
  result = Moment({in.Integer(0), in.Integer(1), in.Integer(2), in.Integer(3), in.Integer(4),
                   in.Integer(5), 0});
  return kOk;
}
