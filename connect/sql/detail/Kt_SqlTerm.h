// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "classlib/value/Kt_Operators.h"
#include "connect/sql/Kt_SqlTable.h"

namespace kt::detail {

// A part of an expression in SQL: its text, and what is known of the values that it gives. A null
// of the statement is the empty value of the engine.
struct SqlTerm {
  enum class Kind : std::uint8_t { kTruth, kWhole, kReal, kCurrency, kDate, kText, kNothing };
  // What the engine has where the statement has a number: operators on longs give doubles when the
  // result needs one.
  enum class Tag : std::uint8_t { kLong, kDouble, kEither };

  Kind kind = Kind::kNothing;
  // Of kTruth a condition that is never null; `where` may be null where that one is false.
  std::string sql = "NULL";
  std::string where;
  bool may_be_null = true;

  // Numbers: see Kt_SqlColumn.
  Tag tag = Tag::kLong;
  double low = 0;
  double high = 0;
  double least = 1;
  bool may_be_nan = false;

  // Texts: see Kt_SqlColumn.
  bool is_plain = true;
  bool is_ascii = true;
  double longest = 0;
  bool is_bytewise = true;
  std::uint32_t collation = 0;

  std::optional<Kt_Variant> constant;

  bool IsNumber() const {
    return kind == Kind::kTruth || kind == Kind::kWhole || kind == Kind::kReal ||
           kind == Kind::kCurrency;
  }
  bool IsLiteral(std::int64_t at_least) const {
    return constant && constant->IsLong() && constant->AsLong() >= at_least;
  }
};

// Makes terms of terms. What has no text that gives the same for all values that are possible is
// refused: nothing, and the reason is kept.
class SqlTerms {
 public:
  using Term = std::optional<SqlTerm>;

  SqlTerms(const Kt_SqlTable& table, std::vector<Kt_Variant>& parameters)
      : table_(table), parameters_(parameters) {}

  bool IsSqlite() const { return table_.IsSqlite(); }
  const Kt_SqlTable& Table() const { return table_; }
  const std::string& Reason() const { return reason_; }
  // Keeps the first reason.
  std::nullopt_t Refuse(std::string reason) {
    if (reason_.empty()) reason_ = std::move(reason);
    return std::nullopt;
  }

  // The same where more knowledge of the columns might do.
  std::nullopt_t RefuseUnknown(std::string reason) {
    may_learn_ = true;
    return Refuse(std::move(reason));
  }
  bool MayLearn() const { return may_learn_; }

  // ---- Operands ---------------------------------------------------------------------------------

  Term Constant(const Kt_Variant& value);
  Term Column(const Kt_SqlColumn& column);
  static SqlTerm Truth(std::string sql, std::string where = {});
  static SqlTerm Text(std::string sql);
  // As a text that is never null; nothing for other kinds.
  Term AsText(const SqlTerm& term);
  // Gives a text that is made of two what it has of their collations. PostgreSQL compares by the
  // one that is not the database's; what is made of two such cannot be compared before one is
  // named.
  static void TakeCollations(SqlTerm& text, const SqlTerm& first, const SqlTerm& second);
  // As a condition; as a number that is never null, one that operators add and multiply.
  Term AsTruth(const SqlTerm& term);
  // Whether its whole number is not 0, as a condition.
  Term AsDecision(const SqlTerm& term);
  Term AsNumber(const SqlTerm& term);
  std::string AsReal(const SqlTerm& number) const;
  // The value, or another one in place of null; a condition that is never null, and holds where
  // `condition` does, or where that is not false.
  std::string IfNull(const std::string& value, const char* otherwise) const;
  std::string IsTrue(const std::string& condition) const;
  std::string IsNotFalse(const std::string& condition) const;
  // A whole number that does not overflow in arithmetic.
  std::string AsWhole(const SqlTerm& number) const;

  // ---- Operators --------------------------------------------------------------------------------

  Term Apply(Operator op, const SqlTerm& left, const SqlTerm& right);
  Term Not(const SqlTerm& operand);

  // ---- Choices ----------------------------------------------------------------------------------

  // The common form of two values of which one is given.
  Term Choose(const SqlTerm& condition, const SqlTerm& yes, const SqlTerm& no);

 private:
  Term RealConstant(double value);
  Term TextConstant(const Kt_Variant& value);
  std::string Parameter(const Kt_Variant& value);
  Term Compare(Operator op, const SqlTerm& left, const SqlTerm& right);
  Term CompareTexts(Operator op, const SqlTerm& left, const SqlTerm& right);
  Term CompareDates(Operator op, SqlTerm left, SqlTerm right);
  Term CompareNumbers(Operator op, SqlTerm left, SqlTerm right);
  SqlTerm Related(Operator op, const SqlTerm& left, const SqlTerm& right) const;
  Term DateLiteral(const SqlTerm& text);
  Term Arithmetic(Operator op, const SqlTerm& left, const SqlTerm& right);
  Term AddReals(Operator op, const SqlTerm& left, const SqlTerm& right, double low, double high,
                SqlTerm::Tag tag);
  Term Divide(const SqlTerm& left, const SqlTerm& right);
  Term Remainder(const SqlTerm& left, const SqlTerm& right);
  Term Join(const SqlTerm& left, const SqlTerm& right);
  Term AsJoined(const SqlTerm& term);
  // Whether other servers are sent what stands in a statement.
  bool IsSent() const { return !table_.Parts().empty(); }

  const Kt_SqlTable& table_;
  std::vector<Kt_Variant>& parameters_;
  std::string reason_;
  bool may_learn_ = false;
};

}  // namespace kt::detail
