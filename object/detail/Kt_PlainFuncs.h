// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>

#include "object/Kt_FuncArgs.h"

// What the built-in functions of numbers compute, the plainest ones of texts, and those that choose
// one of their arguments.
namespace kt::detail {

// The standard functions are overloaded and have no address of their own to hand on.
inline double Abs(double value) { return std::fabs(value); }
inline double Acos(double value) { return std::acos(value); }
inline double Asin(double value) { return std::asin(value); }
inline double Atan(double value) { return std::atan(value); }
inline double Atan2(double y, double x) { return std::atan2(y, x); }
inline double Ceil(double value) { return std::ceil(value); }
inline double Cos(double radian) { return std::cos(radian); }
inline double Exp(double value) { return std::exp(value); }
inline double Floor(double value) { return std::floor(value); }
inline double Log(double value) { return std::log(value); }
inline double Pow(double base, double exponent) { return std::pow(base, exponent); }
inline double Sin(double radian) { return std::sin(radian); }
inline double Sqrt(double value) { return std::sqrt(value); }
inline double Tan(double radian) { return std::tan(radian); }

// `decimals` as a script gives it: negative ones count as 0.
double Round(double value, double decimals);
double Truncate(double value, double decimals);

void Asc(const Kt_FuncArgs& in, Kt_Variant& result);
void CharAt(const Kt_FuncArgs& in, Kt_Variant& result);
void Chr(const Kt_FuncArgs& in, Kt_Variant& result);
void Left(const Kt_FuncArgs& in, Kt_Variant& result);
void Length(const Kt_FuncArgs& in, Kt_Variant& result);
void Mid(const Kt_FuncArgs& in, Kt_Variant& result);
void Pos(const Kt_FuncArgs& in, Kt_Variant& result);
void Right(const Kt_FuncArgs& in, Kt_Variant& result);
void ToInteger(const Kt_FuncArgs& in, Kt_Variant& result);
void ToNumber(const Kt_FuncArgs& in, Kt_Variant& result);
void ToString(const Kt_FuncArgs& in, Kt_Variant& result);
void Trim(const Kt_FuncArgs& in, Kt_Variant& result);

void Iif(const Kt_FuncArgs& in, Kt_Variant& result);
void Least(const Kt_FuncArgs& in, Kt_Variant& result);
void Greatest(const Kt_FuncArgs& in, Kt_Variant& result);

}  // namespace kt::detail
