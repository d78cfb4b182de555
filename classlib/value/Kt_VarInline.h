// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <limits>

#include "classlib/base/Kt_Codes.h"
#include "classlib/value/Kt_Operators.h"
#include "classlib/value/Kt_TextWatch.h"
#include "classlib/value/Kt_Variant.h"

// The operators with pairs of long and double done on the spot; every other pair of kinds is left
// to Var_Add and its siblings. The results are the same. For loops that run operators by the
// million: the evaluator, sorting, compiled code.

namespace kt::detail {

inline constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

// Stays long while it fits.
KT_ALWAYS_INLINE void StoreWhole(std::int64_t value, Kt_Variant& result) {
  if (KT_LIKELY(value == static_cast<kt_long>(value))) {
    result.Set(static_cast<kt_long>(value));
  } else {
    result.Set(static_cast<double>(value));
  }
}

// What each operator does with two longs and with two doubles; the one place that says so.
struct AddOp {
  static void Longs(kt_long a, kt_long b, Kt_Variant& result) {
    StoreWhole(std::int64_t{a} + b, result);
  }
  static double Doubles(double a, double b) { return a + b; }
};
struct SubOp {
  static void Longs(kt_long a, kt_long b, Kt_Variant& result) {
    StoreWhole(std::int64_t{a} - b, result);
  }
  static double Doubles(double a, double b) { return a - b; }
};
struct MulOp {
  static void Longs(kt_long a, kt_long b, Kt_Variant& result) {
    StoreWhole(std::int64_t{a} * b, result);
  }
  static double Doubles(double a, double b) { return a * b; }
};
struct DivOp {
  static void Longs(kt_long a, kt_long b, Kt_Variant& result) { result.Set(Doubles(a, b)); }
  static double Doubles(double a, double b) { return a / b; }
};
struct ModOp {
  static void Longs(kt_long a, kt_long b, Kt_Variant& result) {
    if (KT_UNLIKELY(b == 0)) return result.Set(kNotANumber);
    // The lowest long by -1 traps on common processors.
    result.Set(KT_LIKELY(b != -1) ? a % b : kt_long{0});
  }
  static double Doubles(double a, double b) { return std::fmod(a, b); }
};

constexpr std::uint32_t KindPair(Kt_Tag left, Kt_Tag right) {
  return static_cast<std::uint32_t>(left) << 16 | right;
}

using SlowOperator = kt_long (*)(const Kt_Variant&, const Kt_Variant&, Kt_Variant&);

template <class Op, SlowOperator kSlow>
KT_ALWAYS_INLINE kt_long Arithmetic(const Kt_Variant& left, const Kt_Variant& right,
                                    Kt_Variant& result) {
  switch (KindPair(left.GetTag(), right.GetTag())) {
    case KindPair(kTagLong, kTagLong): Op::Longs(left.AsLong(), right.AsLong(), result); return 0;
    case KindPair(kTagDouble, kTagDouble):
      result.Set(Op::Doubles(left.AsDouble(), right.AsDouble()));
      return 0;
    case KindPair(kTagLong, kTagDouble):
      result.Set(Op::Doubles(left.AsLong(), right.AsDouble()));
      return 0;
    case KindPair(kTagDouble, kTagLong):
      result.Set(Op::Doubles(left.AsDouble(), right.AsLong()));
      return 0;
    default: return kSlow(left, right, result);
  }
}

template <class T>
KT_ALWAYS_INLINE int Relate(T a, T b, std::int16_t relation) {
  switch (relation) {
    case kCmpEqual: return a == b ? 1 : 0;
    case kCmpGreater: return a > b ? 1 : 0;
    case kCmpGreaterEqual: return a >= b ? 1 : 0;
    case kCmpLess: return a < b ? 1 : 0;
    case kCmpLessEqual: return a <= b ? 1 : 0;
    default: return 0;
  }
}

}  // namespace kt::detail

namespace kt {

KT_ALWAYS_INLINE kt_long VarAdd(const Kt_Variant& left, const Kt_Variant& right,
                                Kt_Variant& result) {
  return detail::Arithmetic<detail::AddOp, Var_Add>(left, right, result);
}
KT_ALWAYS_INLINE kt_long VarSub(const Kt_Variant& left, const Kt_Variant& right,
                                Kt_Variant& result) {
  return detail::Arithmetic<detail::SubOp, Var_Sub>(left, right, result);
}
KT_ALWAYS_INLINE kt_long VarMul(const Kt_Variant& left, const Kt_Variant& right,
                                Kt_Variant& result) {
  return detail::Arithmetic<detail::MulOp, Var_Mul>(left, right, result);
}
KT_ALWAYS_INLINE kt_long VarDiv(const Kt_Variant& left, const Kt_Variant& right,
                                Kt_Variant& result) {
  return detail::Arithmetic<detail::DivOp, Var_Div>(left, right, result);
}
KT_ALWAYS_INLINE kt_long VarMod(const Kt_Variant& left, const Kt_Variant& right,
                                Kt_Variant& result) {
  return detail::Arithmetic<detail::ModOp, Var_Mod>(left, right, result);
}

// A relation that is known where this stands leaves only the one comparison of it.
KT_ALWAYS_INLINE int VarCmp(const Kt_Variant& left, const Kt_Variant& right,
                            std::int16_t relation) {
  using detail::KindPair;
  switch (KindPair(left.GetTag(), right.GetTag())) {
    case KindPair(kTagLong, kTagLong):
      return detail::Relate(left.AsLong(), right.AsLong(), relation);
    case KindPair(kTagDouble, kTagDouble):
      return detail::Relate(left.AsDouble(), right.AsDouble(), relation);
    case KindPair(kTagLong, kTagDouble):
      return detail::Relate<double>(left.AsLong(), right.AsDouble(), relation);
    case KindPair(kTagDouble, kTagLong):
      return detail::Relate<double>(left.AsDouble(), right.AsLong(), relation);
    default: return Var_Cmp(left, right, relation);
  }
}

namespace detail {

KT_ALWAYS_INLINE kt_long Give(kt_long value, Kt_Variant& result) {
  result.Set(value);
  return kOk;
}

}  // namespace detail

// Applies an operator of the table; `result` may be an operand. 0, or the code of a result that
// could not be made, which the caller reports.
template <Operator kOperator>
kt_long Compute(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);

#define KT_OPERATOR_COMPUTE(record, code, token, name, compute)                                   \
  template <>                                                                                     \
  KT_ALWAYS_INLINE kt_long Compute<Operator::name>([[maybe_unused]] const Kt_Variant& left,       \
                                                   const Kt_Variant& right, Kt_Variant& result) { \
    using detail::Give;                                                                           \
    return compute;                                                                               \
  }
KT_OPERATORS(KT_OPERATOR_COMPUTE)
#undef KT_OPERATOR_COMPUTE

KT_ALWAYS_INLINE kt_long Compute(Operator op, const Kt_Variant& left, const Kt_Variant& right,
                                 Kt_Variant& result) {
  switch (op) {
#define KT_OPERATOR_CASE(record, code, token, name, compute) \
  case Operator::name: return Compute<Operator::name>(left, right, result);
    KT_OPERATORS(KT_OPERATOR_CASE)
#undef KT_OPERATOR_CASE
  }
  return kErrBadOperation;
}

// Whether a condition, or the left side of && or ||, holds: by the integer value, so 0.5 does not
// and "true" does not. The results of && || and ! go by Var_IsTrue, where both are true.
inline bool IsConditionTrue(const Kt_Variant& value) { return value.ToInteger() != 0; }

// Lists and binaries have no next or previous value.
inline bool CanStep(const Kt_Variant& value) {
  return value.GetTag() != kTagBinary && value.GetTag() != kTagList;
}

// What ++ and -- make of a value: its integer value plus or minus one.
inline Kt_Variant Stepped(const Kt_Variant& value, kt_long step) {
  Kt_Variant result;
  if (KT_UNLIKELY(value.IsString())) {
    TextWatch::TellUnlessNumber(value.AsStringView(), step > 0 ? u"++" : u"--");
  }
  detail::StoreWhole(std::int64_t{value.ToInteger()} + step, result);
  return result;
}

}  // namespace kt
