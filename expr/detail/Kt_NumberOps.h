// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>

#include "classlib/value/Kt_VarInline.h"

// What the instructions of number code compute, one row or many at a time. No function here
// computes two things that a compiler could fuse into one, as multiplication and addition, so every
// result has the bits that the evaluator gives it.
namespace kt::detail::number_ops {

KT_ALWAYS_INLINE double Add(double left, double right) { return AddOp::Doubles(left, right); }
KT_ALWAYS_INLINE double Sub(double left, double right) { return SubOp::Doubles(left, right); }
KT_ALWAYS_INLINE double Mul(double left, double right) { return MulOp::Doubles(left, right); }
KT_ALWAYS_INLINE double Div(double left, double right) { return DivOp::Doubles(left, right); }

template <std::int16_t kRelation>
KT_ALWAYS_INLINE double Related(double left, double right) {
  return Relate(left, right, kRelation) != 0 ? 1.0 : 0.0;
}
KT_ALWAYS_INLINE double Equal(double left, double right) { return Related<kCmpEqual>(left, right); }
KT_ALWAYS_INLINE double Greater(double left, double right) {
  return Related<kCmpGreater>(left, right);
}
KT_ALWAYS_INLINE double GreaterEqual(double left, double right) {
  return Related<kCmpGreaterEqual>(left, right);
}
KT_ALWAYS_INLINE double Less(double left, double right) { return Related<kCmpLess>(left, right); }
KT_ALWAYS_INLINE double LessEqual(double left, double right) {
  return Related<kCmpLessEqual>(left, right);
}
KT_ALWAYS_INLINE double NotEqual(double left, double right) { return 1 - Equal(left, right); }

// A condition goes by the integer value (kt::IsConditionTrue), truth by the number (Var_IsTrue).
KT_ALWAYS_INLINE bool Holds(double value) { return std::fabs(value) >= 1; }
KT_ALWAYS_INLINE double Truth(double value) { return value != 0 ? 1 : 0; }
KT_ALWAYS_INLINE double Not(double value) { return 1 - Truth(value); }
KT_ALWAYS_INLINE double Or(double left, double right) {
  return ((left != 0) | (right != 0)) ? 1 : 0;
}

KT_ALWAYS_INLINE double Abs(double value) { return std::fabs(value); }
KT_ALWAYS_INLINE double Sqrt(double value) { return std::sqrt(value); }
// The product of two longs is never -0.
KT_ALWAYS_INLINE double LongZero(double value) { return value + 0.0; }
KT_ALWAYS_INLINE bool IsMinusZero(double value) { return value == 0 && std::signbit(value); }

KT_ALWAYS_INLINE double Select(double condition, double yes, double no) {
  return condition != 0 ? yes : no;
}
KT_ALWAYS_INLINE double Least(double best, double value) {
  return (std::isnan(best) | (value < best)) ? value : best;
}
KT_ALWAYS_INLINE double Greatest(double best, double value) {
  return (std::isnan(best) | (value > best)) ? value : best;
}

}  // namespace kt::detail::number_ops
