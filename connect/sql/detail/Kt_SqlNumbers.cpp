// SPDX-License-Identifier: MIT
//
// Arithmetic and joining.
//
// Whole numbers are computed in 64 bits as long as no result can leave 2^53: then the number is the
// one that the engine has, as a long or as a double. All else is computed in doubles, which both
// databases and the engine round alike. A server of PostgreSQL ends the statement where a double
// overflows or underflows, and SQLite makes a null of a NaN: so the ranges of the operands, which
// were asked of the table, have to rule that out.
#include <algorithm>
#include <cmath>

#include "connect/sql/detail/Kt_SqlTerm.h"

namespace kt::detail {
namespace {

using Kind = SqlTerm::Kind;
using Tag = SqlTerm::Tag;

constexpr double kMaxExact = 9007199254740992.0;  // 2^53
constexpr double kGreatest = 1e300;
constexpr double kLeast = 1e-300;
constexpr double kDigits = 1e15;  // below, the text of a whole double is its digits

double Magnitude(const SqlTerm& number) {
  return std::max(std::fabs(number.low), std::fabs(number.high));
}
bool IsFinite(const SqlTerm& number) {
  return Magnitude(number) <= kGreatest && !number.may_be_nan;
}
bool MayBeZero(const SqlTerm& number) { return number.low <= 0 && number.high >= 0; }

Tag TagOf(const SqlTerm& left, const SqlTerm& right, double low, double high) {
  if (left.tag == Tag::kDouble || right.tag == Tag::kDouble) return Tag::kDouble;
  const bool fits = low >= -2147483648.0 && high <= 2147483647.0;
  return left.tag == Tag::kLong && right.tag == Tag::kLong && fits ? Tag::kLong : Tag::kEither;
}

SqlTerm Made(Kind kind, std::string sql, Tag tag, double low, double high) {
  SqlTerm term;
  term.kind = kind;
  term.sql = std::move(sql);
  term.may_be_null = false;
  term.tag = tag;
  term.low = low;
  term.high = high;
  return term;
}

void RangeOf(Operator op, const SqlTerm& left, const SqlTerm& right, double& low, double& high) {
  if (op == Operator::kAdd) {
    low = left.low + right.low;
    high = left.high + right.high;
  } else if (op == Operator::kSub) {
    low = left.low - right.high;
    high = left.high - right.low;
  } else {
    const auto [least, greatest] = std::minmax({left.low * right.low, left.low * right.high,
                                                left.high * right.low, left.high * right.high});
    low = least;
    high = greatest;
  }
}

const char* Sign(Operator op) {
  return op == Operator::kAdd ? " + " : op == Operator::kSub ? " - " : " * ";
}

}  // namespace

SqlTerms::Term SqlTerms::Arithmetic(Operator op, const SqlTerm& left_value,
                                    const SqlTerm& right_value) {
  const bool has_text = left_value.kind == Kind::kText || right_value.kind == Kind::kText;
  if (op == Operator::kAdd && has_text) return Join(left_value, right_value);
  const Term left = AsNumber(left_value);
  const Term right = left ? AsNumber(right_value) : std::nullopt;
  if (!left || !right) return std::nullopt;
  if (!IsFinite(*left) || !IsFinite(*right)) {
    return RefuseUnknown("arithmetic with numbers that may be infinite, NaN, or of unknown range");
  }
  if (op == Operator::kDiv) return Divide(*left, *right);
  if (op == Operator::kMod) return Remainder(*left, *right);
  double low = 0;
  double high = 0;
  RangeOf(op, *left, *right, low, high);
  const Tag tag = TagOf(*left, *right, low, high);
  const bool are_whole = left->kind == Kind::kWhole && right->kind == Kind::kWhole;
  if (are_whole && low >= -kMaxExact && high <= kMaxExact) {
    return Made(Kind::kWhole, "(" + AsWhole(*left) + Sign(op) + AsWhole(*right) + ")", tag, low,
                high);
  }
  return AddReals(op, *left, *right, low, high, tag);
}

// Sums, differences and products of doubles.
SqlTerms::Term SqlTerms::AddReals(Operator op, const SqlTerm& left, const SqlTerm& right,
                                  double low, double high, Tag tag) {
  if (std::max(-low, high) > kGreatest) return RefuseUnknown("a number that may overflow");
  SqlTerm made =
      Made(Kind::kReal, "(" + AsReal(left) + Sign(op) + AsReal(right) + ")", tag, low, high);
  // Where something is left of a sum, it is no less than the last bit of the smaller operand.
  constexpr double kLastBit = 0x1p-53;
  made.least = op == Operator::kMul ? left.least * right.least
                                    : std::min(left.least, right.least) * kLastBit;
  if (!IsSqlite() && op == Operator::kMul && made.least < kLeast) {
    return RefuseUnknown("a product that may underflow");
  }
  return made;
}

SqlTerms::Term SqlTerms::Divide(const SqlTerm& left, const SqlTerm& right) {
  const bool may_be_zero = MayBeZero(right);
  const std::string quotient = "(" + AsReal(left) + " / " + AsReal(right) + ")";
  const double least_divisor =
      may_be_zero ? right.least : std::min(std::fabs(right.low), std::fabs(right.high));
  const double most = Magnitude(left) / least_divisor;
  const double least = left.least / Magnitude(right);
  if (most > kGreatest || (!IsSqlite() && least < kLeast)) {
    return RefuseUnknown("a quotient that may overflow or underflow");
  }
  SqlTerm made = Made(Kind::kReal, quotient, Tag::kDouble, -most, most);
  made.least = least;
  if (!may_be_zero) return made;
  // A zero that is a double may be one below 0, which a whole number of the statement is not.
  if (IsSqlite() || right.kind != Kind::kWhole || right.tag != Tag::kLong) {
    return RefuseUnknown("a division by what may be 0");
  }
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  made.sql = "CASE WHEN " + right.sql + " = 0 THEN " + AsReal(left) +
             " * 'Infinity'::float8 ELSE (" + AsReal(left) + " / nullif(" + AsReal(right) +
             ", 0)) END";
  made.low = -kInfinity;
  made.high = kInfinity;
  made.may_be_nan = true;
  return made;
}

SqlTerms::Term SqlTerms::Remainder(const SqlTerm& left, const SqlTerm& right) {
  if (left.kind != Kind::kWhole || right.kind != Kind::kWhole) {
    return Refuse("a remainder of numbers with fractions");
  }
  if (MayBeZero(right)) return RefuseUnknown("a remainder by what may be 0");
  const double most = std::min(Magnitude(right), Magnitude(left));
  const double low = left.low < 0 ? -most : 0;
  const double high = left.high > 0 ? most : 0;
  return Made(Kind::kWhole, "(" + AsWhole(left) + " % " + AsWhole(right) + ")",
              TagOf(left, right, low, high), low, high);
}

// The text that joining makes of a value.
SqlTerms::Term SqlTerms::AsJoined(const SqlTerm& term) {
  if (term.kind == Kind::kText || term.kind == Kind::kNothing) return AsText(term);
  const SqlTerm value = term.kind == Kind::kTruth ? *AsNumber(term) : term;
  if (value.kind != Kind::kWhole || !(Magnitude(value) < kDigits)) {
    return RefuseUnknown("the text of a number that may have a fraction");
  }
  SqlTerm text = Text(IsSqlite() ? "CAST(" + value.sql + " AS TEXT)" : "(" + value.sql + ")::text");
  constexpr double kMostDigits = 16;
  text.longest = kMostDigits;
  if (value.may_be_null) text.sql = IfNull(text.sql, "''");
  return text;
}

// Where neither side is a text, + adds: null and a number are a number.
SqlTerms::Term SqlTerms::Join(const SqlTerm& left, const SqlTerm& right) {
  const auto is_text = [](const SqlTerm& term) {
    return term.kind == Kind::kText && !term.may_be_null;
  };
  if (!is_text(left) && !is_text(right))
    return RefuseUnknown("a + that joins or adds, as nulls decide");
  const Term first = AsJoined(left);
  const Term second = first ? AsJoined(right) : std::nullopt;
  if (!first || !second) return std::nullopt;
  const double longest = first->longest + second->longest;
  if (!(longest <= static_cast<double>(kMaxStringLength))) {
    return RefuseUnknown("a text that may become too long");
  }
  SqlTerm text = Text("(" + first->sql + " || " + second->sql + ")");
  text.is_plain = first->is_plain && second->is_plain;
  text.is_ascii = first->is_ascii && second->is_ascii;
  TakeCollations(text, *first, *second);
  text.longest = longest;
  return text;
}

}  // namespace kt::detail
