// SPDX-License-Identifier: MIT
//
// Every operand is first read as one of four kinds of number; each operator then says what it does
// with two longs, with two amounts, with dates, and with doubles for all the rest.
#include <limits>

#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_TextWatch.h"
#include "classlib/value/Kt_VarInline.h"
#include "classlib/value/detail/Kt_VarOps.h"

namespace {

enum class Kind : std::uint8_t { kLong, kDouble, kCurrency, kDate };

struct Number {
  Kind kind = Kind::kLong;
  kt_long whole = 0;   // kLong
  double real = 0.0;   // kDouble, kDate
  Kt_Currency amount;  // kCurrency

  static Number FromLong(kt_long value) { return {Kind::kLong, value, 0.0, {}}; }
  static Number FromReal(Kind kind, double value) { return {kind, 0, value, {}}; }
  static Number FromAmount(Kt_Currency value) { return {Kind::kCurrency, 0, 0.0, value}; }

  double Real() const {
    switch (kind) {
      case Kind::kLong: return whole;
      case Kind::kCurrency: return amount.ToDouble();
      default: return real;
    }
  }
  // REQUIRES: a long or an amount.
  Kt_Currency Amount() const { return kind == Kind::kLong ? Kt_Currency::FromLong(whole) : amount; }
};

Number ReadText(std::u16string_view text, const char16_t* sign) {
  double value = 0.0;
  if (!kt_readnumberW(text, value)) kt::TextWatch::Tell(text, sign);
  const bool is_long = value >= std::numeric_limits<kt_long>::min() &&
                       value <= std::numeric_limits<kt_long>::max() &&
                       value == static_cast<kt_long>(value);
  return is_long ? Number::FromLong(static_cast<kt_long>(value))
                 : Number::FromReal(Kind::kDouble, value);
}

// `sign`: the operator that asks.
Number ReadNumber(const Kt_Variant& value, const char16_t* sign) {
  const Kt_Variant& target = value.Target();
  switch (target.GetTag()) {
    case kTagLong: return Number::FromLong(target.AsLong());
    case kTagBool: return Number::FromLong(target.AsInt64() != 0 ? 1 : 0);
    case kTagDouble: return Number::FromReal(Kind::kDouble, target.AsDouble());
    case kTagDateTime: return Number::FromReal(Kind::kDate, target.AsDouble());
    case kTagCurrency: return Number::FromAmount(Kt_Currency::FromUnits(target.AsInt64()));
    case kTagString: return ReadText(target.AsStringView(), sign);
    default: return {};
  }
}

// The general form: an operation on dates or amounts that has no exact answer is one on doubles.
template <class Op>
struct Plain : Op {
  static bool Dates(const Number&, const Number&, Kt_Variant&) { return false; }
  static bool Amounts(const Number&, const Number&, Kt_Variant&) { return false; }
};

struct Add : Plain<kt::detail::AddOp> {
  static constexpr const char16_t* kSign = u"+";
  static bool Dates(const Number& left, const Number& right, Kt_Variant& result) {
    if (left.kind == right.kind) return false;
    result = Kt_DateTime{left.Real() + right.Real()};
    return true;
  }
  static bool Amounts(const Number& left, const Number& right, Kt_Variant& result) {
    Kt_Currency sum;
    if (!left.Amount().Add(right.Amount(), sum)) return false;
    result = sum;
    return true;
  }
};

struct Sub : Plain<kt::detail::SubOp> {
  static constexpr const char16_t* kSign = u"-";
  static bool Dates(const Number& left, const Number& right, Kt_Variant& result) {
    if (right.kind == Kind::kDate) return false;
    result = Kt_DateTime{left.Real() - right.Real()};
    return true;
  }
  static bool Amounts(const Number& left, const Number& right, Kt_Variant& result) {
    Kt_Currency difference;
    if (!left.Amount().Sub(right.Amount(), difference)) return false;
    result = difference;
    return true;
  }
};

struct Mul : Plain<kt::detail::MulOp> {
  static constexpr const char16_t* kSign = u"*";
  static bool Amounts(const Number& left, const Number& right, Kt_Variant& result) {
    Kt_Currency product;
    if (!left.Amount().Mul(right.Amount(), product)) return false;
    result = product;
    return true;
  }
};

struct Div : Plain<kt::detail::DivOp> {
  static constexpr const char16_t* kSign = u"/";
  static bool Amounts(const Number& left, const Number& right, Kt_Variant& result) {
    Kt_Currency quotient;
    if (right.kind != Kind::kLong || !left.Amount().Div(right.whole, quotient)) return false;
    result = quotient;
    return true;
  }
};

struct Mod : Plain<kt::detail::ModOp> {
  static constexpr const char16_t* kSign = u"%";
  static bool Amounts(const Number& left, const Number& right, Kt_Variant& result) {
    const std::int64_t divisor = right.Amount().units;
    if (divisor == 0) return false;
    // Everything divides by one unit; the lowest amount by -1 would trap.
    const std::int64_t rest = divisor == -1 ? 0 : left.Amount().units % divisor;
    result = Kt_Currency::FromUnits(rest);
    return true;
  }
};

template <class Op>
kt_long Compute(const Kt_Variant& left_value, const Kt_Variant& right_value, Kt_Variant& result);

// Objects whose value is an object again count as 0, so this goes one step down at most.
template <class Op>
KT_COLD kt_long ComputeObjects(const Kt_Variant& left, const Kt_Variant& right,
                               Kt_Variant& result) {
  return kt::detail::WithValues(left, right,
                                [&](const Kt_Variant& first, const Kt_Variant& second) {
                                  const Kt_Variant zero(kt_long{0});
                                  return Compute<Op>(first.IsObject() ? zero : first,
                                                     second.IsObject() ? zero : second, result);
                                });
}

template <class Op>
kt_long Compute(const Kt_Variant& left_value, const Kt_Variant& right_value, Kt_Variant& result) {
  if (KT_UNLIKELY(kt::detail::IsAnyObject(left_value, right_value))) {
    return ComputeObjects<Op>(left_value, right_value, result);
  }
  const Number left = ReadNumber(left_value, Op::kSign);
  const Number right = ReadNumber(right_value, Op::kSign);
  const auto either = [&](Kind kind) { return left.kind == kind || right.kind == kind; };
  if (left.kind == Kind::kLong && right.kind == Kind::kLong) {
    Op::Longs(left.whole, right.whole, result);
    return 0;
  }
  const bool done = either(Kind::kDate)     ? Op::Dates(left, right, result)
                    : either(Kind::kDouble) ? false
                                            : Op::Amounts(left, right, result);
  if (!done) result.Set(Op::Doubles(left.Real(), right.Real()));
  return 0;
}

// An object may stand for a text, which joins.
KT_COLD kt_long AddObjects(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  return kt::detail::WithValues(left, right,
                                [&](const Kt_Variant& first, const Kt_Variant& second) {
                                  if (first.IsString() || second.IsString()) {
                                    return kt::detail::JoinTexts(first, second, result);
                                  }
                                  return Compute<Add>(first, second, result);
                                });
}

}  // namespace

kt_long Var_Add(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  const Kt_Variant& first = left.Target();
  const Kt_Variant& second = right.Target();
  if (first.IsString() || second.IsString()) return kt::detail::JoinTexts(first, second, result);
  if (KT_UNLIKELY(kt::detail::IsAnyObject(first, second))) return AddObjects(first, second, result);
  return Compute<Add>(first, second, result);
}

kt_long Var_Sub(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  return Compute<Sub>(left, right, result);
}

kt_long Var_Mul(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  return Compute<Mul>(left, right, result);
}

kt_long Var_Div(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  return Compute<Div>(left, right, result);
}

kt_long Var_Mod(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result) {
  return Compute<Mod>(left, right, result);
}
