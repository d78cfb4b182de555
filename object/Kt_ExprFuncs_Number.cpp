// SPDX-License-Identifier: MIT
//
// Built-in functions: mathematics and random numbers.

#include <cmath>

#include "classlib/base/Kt_Random.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_FuncAnswers.h"
#include "object/detail/Kt_PlainFuncs.h"

using kt::Kt_FuncArgs;

namespace {

using namespace kt::detail;  // the plain functions

bool IsInfinite(double value) { return std::isinf(value); }

}  // namespace

kt_long Kt_ExprObject::_abs(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Abs>(args, result);
}
kt_long Kt_ExprObject::_acos(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Acos>(args, result);
}
kt_long Kt_ExprObject::_asin(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Asin>(args, result);
}
kt_long Kt_ExprObject::_atan(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Atan>(args, result);
}
kt_long Kt_ExprObject::_atan2(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Atan2>(args, result);
}
kt_long Kt_ExprObject::_ceil(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Ceil>(args, result);
}
kt_long Kt_ExprObject::_cos(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Cos>(args, result);
}
kt_long Kt_ExprObject::_exp(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Exp>(args, result);
}
kt_long Kt_ExprObject::_floor(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Floor>(args, result);
}
kt_long Kt_ExprObject::_log(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Log>(args, result);
}
kt_long Kt_ExprObject::_pow(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Pow>(args, result);
}
kt_long Kt_ExprObject::_sin(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Sin>(args, result);
}
kt_long Kt_ExprObject::_sqrt(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Sqrt>(args, result);
}
kt_long Kt_ExprObject::_tan(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&Tan>(args, result);
}
kt_long Kt_ExprObject::_IsINF(const Kt_VariantList* args, Kt_Variant& result) {
  return Plain<&IsInfinite>(args, result);
}

kt_long Kt_ExprObject::_random(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  if (!in.Has(0)) {
    result.Set(kt_randomdouble());
    return kOk;
  }
  const kt_long first = in.Integer(0);
  result.Set(kt_random(first, in.Integer(1)));  // one limit: between it and 0
  return kOk;
}
