// SPDX-License-Identifier: MIT
//
// Relations and logic.
//
// The engine decides every relation: the empty value equals itself and the empty text, and is less
// than everything else. A statement has three truths, and null for every relation with a null. So
// a condition says apart what holds for nulls, in the shortest way that the operands allow:
//
//   a = 5, a > 5     (a = 5) IS TRUE            in a WHERE just a = 5, which an index finds
//   a < 5, a <= 5    (a < 5 OR a IS NULL)
//   a < b            CASE WHEN a IS NULL THEN b IS NOT NULL WHEN b IS NULL THEN FALSE ELSE a < b
//   END
//
// NaN, which PostgreSQL has above all numbers and equal to itself, is in no relation here.
#include <cmath>

#include "classlib/value/Kt_DateTime.h"
#include "connect/sql/detail/Kt_SqlTerm.h"
#include "connect/sql/detail/Kt_SqlWords.h"

namespace kt::detail {
namespace {

using Kind = SqlTerm::Kind;

// Up to here an amount compares as its nearest double.
constexpr double kMaxRounded = 274877906944.0;  // 2^38

Operator Mirrored(Operator op) {
  switch (op) {
    case Operator::kGreater: return Operator::kLess;
    case Operator::kGreaterEqual: return Operator::kLessEqual;
    case Operator::kLess: return Operator::kGreater;
    case Operator::kLessEqual: return Operator::kGreaterEqual;
    default: return op;
  }
}

const char* Sign(Operator op) {
  switch (op) {
    case Operator::kGreater: return " > ";
    case Operator::kGreaterEqual: return " >= ";
    case Operator::kLess: return " < ";
    case Operator::kLessEqual: return " <= ";
    default: return " = ";
  }
}

bool IsLess(Operator op) { return op == Operator::kLess || op == Operator::kLessEqual; }
bool HoldsForEqual(Operator op) { return op != Operator::kGreater && op != Operator::kLess; }

// Where both sides may be null.
std::string OfNulls(Operator op, const std::string& left, const std::string& right,
                    const std::string& relation) {
  const char* const both = HoldsForEqual(op) ? "TRUE" : "FALSE";
  const char* const left_only = IsLess(op) ? "TRUE" : "FALSE";
  const char* const right_only = IsLess(op) || op == Operator::kEqual ? "FALSE" : "TRUE";
  return "CASE WHEN " + left + " IS NULL THEN CASE WHEN " + right + " IS NULL THEN " + both +
         " ELSE " + left_only + " END WHEN " + right + " IS NULL THEN " + right_only + " ELSE " +
         relation + " END";
}

}  // namespace

SqlTerm SqlTerms::Related(Operator op, const SqlTerm& left, const SqlTerm& right) const {
  if (right.may_be_null && !left.may_be_null) return Related(Mirrored(op), right, left);
  const std::string relation = "(" + left.sql + Sign(op) + right.sql + ")";
  std::string sql = relation;
  std::string where = relation;
  if (right.may_be_null) {
    where = sql = "(" + OfNulls(op, left.sql, right.sql, relation) + ")";
  } else if (left.may_be_null && IsLess(op)) {
    where = sql = "(" + left.sql + Sign(op) + right.sql + " OR " + left.sql + " IS NULL)";
  } else if (left.may_be_null) {
    sql = IsTrue(relation);
  }
  for (const SqlTerm* const side : {&left, &right}) {
    if (!side->may_be_nan) continue;
    const std::string is_number = " AND " + IsNotFalse("(" + side->sql + " <> 'NaN')") + ")";
    sql.insert(0, "(").append(is_number);
    where.insert(0, "(").append(is_number);
  }
  return Truth(sql, where);
}

SqlTerms::Term SqlTerms::Compare(Operator op, const SqlTerm& left, const SqlTerm& right) {
  if (op == Operator::kNotEqual) {
    const Term equal = Compare(Operator::kEqual, left, right);
    return equal ? Not(*equal) : equal;
  }
  const auto is_nothing = [](const SqlTerm& term) { return term.kind == Kind::kNothing; };
  const auto may_be = [&](const SqlTerm& term, Kind kind) {
    return term.kind == kind || is_nothing(term);
  };
  if (is_nothing(left) && is_nothing(right)) return Truth(HoldsForEqual(op) ? "TRUE" : "FALSE");
  if (may_be(left, Kind::kText) && may_be(right, Kind::kText)) return CompareTexts(op, left, right);
  if (left.kind == Kind::kDate || right.kind == Kind::kDate) return CompareDates(op, left, right);
  if ((left.IsNumber() || is_nothing(left)) && (right.IsNumber() || is_nothing(right))) {
    return CompareNumbers(op, left, right);
  }
  return Refuse("a comparison of a text with a number");
}

SqlTerms::Term SqlTerms::CompareTexts(Operator op, const SqlTerm& left, const SqlTerm& right) {
  const bool is_order = op != Operator::kEqual;
  if (is_order && !(table_.IsUtf8() && left.is_plain && right.is_plain)) {
    return RefuseUnknown("an order of texts that may have characters beyond U+FFFF");
  }
  SqlTerm both;
  TakeCollations(both, left, right);
  const bool needs_name = !both.is_bytewise || (is_order && !pg::IsByteOrder(both.collation));
  const char* const collation = IsSqlite() ? " COLLATE BINARY" : needs_name ? " COLLATE \"C\"" : "";
  SqlTerm first = *AsText(left);
  const SqlTerm second = *AsText(right);
  // A text that is not empty is told from null by the relation itself, which an index finds.
  const bool has_text = right.constant && !right.constant->AsStringView().empty();
  if (left.may_be_null && left.kind == Kind::kText && has_text && !IsLess(op)) first = left;
  first.sql = "(" + first.sql + ")" + collation;
  return Related(op, first, second);
}

// The day that a text means, as the column has it.
SqlTerms::Term SqlTerms::DateLiteral(const SqlTerm& text) {
  Kt_DateTime moment;
  if (!text.constant || !Kt_DateTime::FromText(text.constant->AsStringView(), moment)) {
    return Refuse("a comparison of a date with a text");
  }
  constexpr std::size_t kDayOnly = 10;
  const std::string day = moment.ToText().ToUtf8();
  if (day.size() != kDayOnly) return Refuse("a comparison with a time of day");
  SqlTerm term;
  term.kind = Kind::kDate;
  term.sql = IsSqlite() ? "'" + day + "'" : "DATE '" + day + "'";
  term.may_be_null = false;
  return term;
}

SqlTerms::Term SqlTerms::CompareDates(Operator op, SqlTerm left, SqlTerm right) {
  for (SqlTerm* const side : {&left, &right}) {
    if (side->kind == Kind::kText) {
      const Term day = DateLiteral(*side);
      if (!day) return std::nullopt;
      *side = *day;
    } else if (side->kind != Kind::kDate && side->kind != Kind::kNothing) {
      return Refuse("a comparison of a date with a number");
    }
  }
  return Related(op, left, right);
}

SqlTerms::Term SqlTerms::CompareNumbers(Operator op, SqlTerm left, SqlTerm right) {
  const bool has_amount = left.kind == Kind::kCurrency || right.kind == Kind::kCurrency;
  for (SqlTerm* const side : {&left, &right}) {
    if (side->kind == Kind::kTruth) *side = *AsNumber(*side);
    const bool is_great =
        !(std::fabs(side->low) <= kMaxRounded && std::fabs(side->high) <= kMaxRounded);
    if (side->kind == Kind::kCurrency && is_great) {
      return RefuseUnknown("amounts of more than 2^38, which compare exactly");
    }
  }
  const bool has_real = left.kind == Kind::kReal || right.kind == Kind::kReal;
  if (has_amount && has_real && !IsSqlite()) {
    for (SqlTerm* const side : {&left, &right}) {
      if (side->kind == Kind::kCurrency) side->sql = "(" + side->sql + ")::float8";
    }
  }
  return Related(op, left, right);
}

SqlTerms::Term SqlTerms::Not(const SqlTerm& operand) {
  const Term truth = AsTruth(operand);
  return truth ? Term(Truth("(NOT " + truth->sql + ")")) : truth;
}

SqlTerms::Term SqlTerms::Apply(Operator op, const SqlTerm& left, const SqlTerm& right) {
  // Long before a database would refuse it: relations repeat their operands.
  constexpr std::size_t kMaxSize = 20000;
  if (left.sql.size() + right.sql.size() > kMaxSize) return Refuse("a statement that is too long");
  if (IsRelation(op)) return Compare(op, left, right);
  if (IsArithmetic(op)) return Arithmetic(op, left, right);
  if (op == Operator::kLoneAnd) return right;
  const Term first = AsTruth(left);
  const Term second = AsTruth(right);
  if (!first || !second) return std::nullopt;
  const char* const word = op == Operator::kAnd ? " AND " : " OR ";
  return Truth("(" + first->sql + word + second->sql + ")",
               "(" + first->where + word + second->where + ")");
}

}  // namespace kt::detail
