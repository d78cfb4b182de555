// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "connect/Kt_Database.h"
#include "connect/sql/Kt_SqlApi.h"

// What the cells of a column are to the operators of expressions.
enum class Kt_SqlKind : std::uint8_t {
  kWhole,     // whole numbers of up to 2^53; longs, or all doubles
  kReal,      // doubles
  kCurrency,  // exact amounts
  kDate,      // days, or moments, which the database has in their order
  kText,
  kNothing,  // all are null
  kOther,    // nothing that a statement computes with as the engine does
};

// A column of a table as the translation to SQL sees it: what the declaration says of every cell,
// and what was asked of the cells.
struct Kt_SqlColumn {
  std::string name;
  std::string sql;  // what stands for it in a statement
  Kt_WString id;    // of the column in the dataset
  Kt_DatabaseColumn declared;
  // Not of the table, but computed of these columns of it, or of such before it.
  bool is_computed = false;
  std::vector<std::size_t> inputs;

  Kt_SqlKind kind = Kt_SqlKind::kOther;
  // The type that the dataset's column has when all rows are loaded, which no part of them tells.
  Kt_ColumnType type = Kt_ColumnType::kString;
  bool has_type = false;  // `kind` and `type` are known
  std::string why_other;  // what kOther stands for, in messages
  bool is_long = false;   // of kWhole: every value is a long, not a double
  bool may_be_null = true;

  // Of numbers: the range, the least magnitude that is not 0, and whether some are NaN.
  bool has_range = false;
  bool has_exact_range =
      false;  // from the least and greatest value, not just from what is possible
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  double least = 0;
  bool may_be_nan = false;

  // Of texts: units are characters and none is 0; bytes are characters; the greatest length.
  bool has_text_range = false;
  bool is_plain = false;
  bool is_ascii = false;
  double longest = std::numeric_limits<double>::infinity();
  bool is_bytewise = true;  // equal when its bytes are equal, without a collation being named
  // Of PostgreSQL, the number of its collation; 0 is the one of the database.
  std::uint32_t collation = 0;
};

// What is to be asked of the cells of a column.
enum class Kt_SqlQuestion : std::uint8_t { kType, kRange };

// A table of a database with what is known of its cells. What was asked holds as long as the table
// does not change: ask and use the answers within one transaction.
// Fails: as the database does, with the reason; memory that runs out and bounds are failures too.
// Threads: those of the database.
class KT_SQL_API Kt_SqlTable {
 public:
  using Kind = Kt_DatabaseUrl::Kind;

  // Reads the columns and what their declarations tell. False, with the reason, when there is no
  // such table.
  bool Describe(Kt_Database& database, Kind kind, std::string_view table, std::string& error);
  // Asks for the types of some columns, or also for the ranges of their values, in statements over
  // all rows: one, as a rule. Nothing is asked that is known.
  struct Wanted {
    std::size_t column;
    Kt_SqlQuestion question;
  };
  bool Ask(Kt_Database& database, const std::vector<Wanted>& wanted, std::string& error);
  // Asks which partitions are on other servers: before other questions, and again in the
  // transaction that loads. False, with the reason, when the server fails.
  bool AskParts(Kt_Database& database, std::string& error);

  Kind DatabaseKind() const { return kind_; }
  bool IsSqlite() const { return kind_ == Kind::kSqlite; }
  const std::string& QuotedName() const { return quoted_name_; }
  const std::vector<Kt_SqlColumn>& Columns() const { return columns_; }
  // Without regard to case; null when there is none.
  const Kt_SqlColumn* Find(const Kt_WString& id) const;
  std::size_t IndexOf(const Kt_SqlColumn& column) const {
    return static_cast<std::size_t>(&column - columns_.data());
  }
  // Adds a column that is computed. Its text may have parameters, which every statement has then.
  void AddComputed(Kt_SqlColumn column) { columns_.push_back(std::move(column)); }
  std::vector<Kt_Variant>& Parameters() { return parameters_; }
  const std::vector<Kt_Variant>& Parameters() const { return parameters_; }

  // The order in which all rows are loaded, for ORDER BY; empty when it has no name.
  const std::string& RowOrder() const { return row_order_; }
  // Whether texts are kept as UTF-8, so that bytes and characters have one order.
  bool IsUtf8() const { return is_utf8_; }
  bool HasMathFunctions() const { return has_math_functions_; }
  // Of a table of PostgreSQL with partitions on other servers the names of all, as statements have
  // them. Together they have the rows of the table; those that are elsewhere make groups there.
  const std::vector<std::string>& Parts() const { return parts_; }
  // The statements that asked.
  const std::vector<std::string>& Questions() const { return questions_; }

 private:
  bool AskExpected(Kt_Database& database, std::vector<std::size_t> columns, std::string& error);
  bool AskDetails(Kt_Database& database, const std::vector<Wanted>& wanted, std::string& error);
  bool QuestionOf(Kt_Database& database, const std::vector<Wanted>& wanted, std::string& statement,
                  std::string& error) const;
  bool Question(Kt_Database& database, const std::string& statement, Kt_Dataset& answer,
                std::string& error);
  bool ReadDescription(Kt_Database& database, std::string_view table, std::string& error);
  bool DescribeSqlite(Kt_Database& database, std::string_view table, std::string& error);
  bool DescribePostgresql(Kt_Database& database, std::string& error);

  Kind kind_ = Kind::kSqlite;
  std::string quoted_name_;
  std::vector<Kt_SqlColumn> columns_;
  std::string row_order_;
  bool is_utf8_ = false;
  bool has_math_functions_ = false;
  bool has_affinities_ = false;  // of SQLite: values were converted as the columns are declared
  bool may_have_parts_ = false;
  bool has_asked_parts_ = false;
  std::vector<std::string> parts_;
  std::vector<std::string> questions_;
  std::vector<Kt_Variant> parameters_;  // of the computed columns
};
