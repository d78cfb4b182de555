// SPDX-License-Identifier: MIT
//
// round and truncate. Both work on the decimal text of 15 digits, so that 1.005, whose binary
// fraction lies below it, still rounds to 1.01 as people expect.

#include <algorithm>
#include <cmath>

#include "classlib/text/Kt_Number.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_DecimalText.h"
#include "object/detail/Kt_FuncAnswers.h"
#include "object/detail/Kt_PlainFuncs.h"

using kt::Kt_FuncArgs;

namespace {

// The number that the text of `value` is when it is cut after `decimals` digits. Infinities and
// NaN have no such text, and the text of the very greatest numbers rounds to an infinity.
double Cut(double value, kt_long decimals) {
  if (!std::isfinite(value)) return value;
  const Kt_WString text = kt::detail::PlainDecimal(kt_doubletextW(value));
  const double cut = Kt_WString(kt::detail::CutDecimals(text, decimals)).ToDouble();
  if (!std::isfinite(cut)) return value;
  return cut == 0 ? 0.0 : cut;  // no negative zero
}

double RoundTo(double value, kt_long decimals) {
  double half = 0.5;
  for (kt_long place = 0; place < decimals && half > 0; ++place) half *= 0.1;
  return Cut(value < 0 ? value - half : value + half, decimals);
}

kt_long Decimals(double decimals) { return std::max(Kt_Variant(decimals).ToInteger(), 0); }

template <auto Function>
kt_long Handler(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  const double value = in.Number(0);
  result.Set(in.Has(0) ? Function(value, std::max(in.Integer(1), 0)) : 0.0);
  return kOk;
}

}  // namespace

double kt::detail::Round(double value, double decimals) {
  return RoundTo(value, Decimals(decimals));
}
double kt::detail::Truncate(double value, double decimals) {
  return Cut(value, Decimals(decimals));
}

kt_long Kt_ExprObject::_round(const Kt_VariantList* args, Kt_Variant& result) {
  return Handler<&RoundTo>(args, result);
}

kt_long Kt_ExprObject::_truncate(const Kt_VariantList* args, Kt_Variant& result) {
  return Handler<&Cut>(args, result);
}
