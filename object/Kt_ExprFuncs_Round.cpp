// SPDX-License-Identifier: MIT
//
// round and truncate. Both work on the decimal text of 15 digits, so that 1.005, whose binary
// fraction lies below it, still rounds to 1.01 as people expect.

#include <algorithm>
#include <cmath>
#include <iterator>

#include "classlib/text/Kt_Number.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_DecimalText.h"
#include "object/detail/Kt_FuncAnswers.h"
#include "object/detail/Kt_PlainFuncs.h"

using kt::Kt_FuncArgs;

namespace {

// The same as Cut without a text, for numbers whose 15 digits reach so far behind the cut that
// they do not decide where it comes out. Dividing whole numbers gives the double that is nearest to
// the decimal number, as reading its text does.
bool CutNumber(double value, kt_long decimals, double& cut) {
  constexpr double kPowers[] = {1, 10, 100, 1000, 10000};
  constexpr double kNear = 1e-4;
  if (!(std::fabs(value) < 1e6) || decimals >= static_cast<kt_long>(std::size(kPowers))) {
    return false;
  }
  const double power = kPowers[decimals];
  const double whole = std::trunc(value * power);
  const double rest = std::fabs(value * power - whole);
  if (rest > 1 - kNear || (decimals > 0 && rest < kNear)) return false;
  cut = whole / power;
  return true;
}

// The number that the text of `value` is when it is cut after `decimals` digits. Infinities and
// NaN have no such text, and the text of the very greatest numbers rounds to an infinity.
double Cut(double value, kt_long decimals) {
  if (!std::isfinite(value)) return value;
  double cut = 0;
  if (!CutNumber(value, decimals, cut)) {
    const Kt_WString text = kt::detail::PlainDecimal(kt_doubletextW(value));
    cut = Kt_WString(kt::detail::CutDecimals(text, decimals)).ToDouble();
  }
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
