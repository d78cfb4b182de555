// SPDX-License-Identifier: MIT
//
// What is known of a table before a statement is made of an expression.
//
// A column of a dataset takes its type from all of its values, and operators ask for kinds. So the
// translation has to know what loading the whole table would give. PostgreSQL's declarations tell
// that for most types. In SQLite every value has a kind of its own, and in both, whole numbers
// beyond 32 bits, exact numbers and dates may end in one of several types: these are asked for, in
// one pass over the table, by aggregates that say "all", "any", "least" and "greatest".
#include "connect/sql/Kt_SqlTable.h"

#include <algorithm>
#include <cmath>

#include "classlib/store/Kt_UniqueIds.h"
#include "connect/detail/Kt_Guarded.h"
#include "connect/sql/detail/Kt_SqlGrouping.h"
#include "connect/sql/detail/Kt_SqlWords.h"

namespace {

using kt::detail::SqlGrouping;
using kt::detail::SqlMerge;

constexpr double kMaxWhole = 9007199254740992.0;  // 2^53

bool IsLongRange(double low, double high) { return low >= -2147483648.0 && high <= 2147483647.0; }

void SetKind(Kt_SqlColumn& column, Kt_SqlKind kind, Kt_ColumnType type) {
  column.kind = kind;
  column.type = type;
  column.has_type = true;
}

void SetOther(Kt_SqlColumn& column, Kt_ColumnType type, const char* why) {
  SetKind(column, Kt_SqlKind::kOther, type);
  column.why_other = why;
}

void SetUnknown(Kt_SqlColumn& column, const char* why) {
  column.kind = Kt_SqlKind::kOther;
  column.has_type = false;
  column.why_other = why;
}

void SetRange(Kt_SqlColumn& column, const Kt_Variant& low, const Kt_Variant& high) {
  column.has_range = !low.IsString() && !high.IsString();
  if (!column.has_range) return;
  column.low = low.ToDouble();
  column.high = high.ToDouble();
}

// Whole numbers: longs; doubles when one needs more; texts when one is too great for those.
void SetWhole(Kt_SqlColumn& column) {
  if (!column.has_range || std::max(-column.low, column.high) > kMaxWhole) {
    return SetUnknown(column, "has whole numbers beyond 2^53");
  }
  column.is_long = IsLongRange(column.low, column.high);
  SetKind(column, Kt_SqlKind::kWhole,
          column.is_long ? Kt_ColumnType::kLong : Kt_ColumnType::kDouble);
  column.least = 1;
}

// ---- SQLite -----------------------------------------------------------------------------------
//
// What a column is declared as makes most kinds of values impossible: a number in a TEXT column
// becomes a text, a whole number in a REAL column a real. So it takes one comparison a cell to find
// out that all of them are what one expects, and columns with other values are asked in detail.

enum class Affinity : std::uint8_t { kInteger, kText, kReal, kBoolean, kNumeric, kNone };

// In the order in which the database itself looks for words.
Affinity AffinityOf(const std::string& declared) {
  const auto has = [&](const char* word) { return declared.find(word) != declared.npos; };
  if (has("INT")) return Affinity::kInteger;
  if (has("CHAR") || has("CLOB") || has("TEXT")) return Affinity::kText;
  if (has("BLOB") || declared.empty()) return Affinity::kNone;
  if (has("REAL") || has("FLOA") || has("DOUB")) return Affinity::kReal;
  return has("BOOL") ? Affinity::kBoolean : Affinity::kNumeric;
}

// A condition for values that one does not expect; empty where one expects nothing.
std::string Unexpected(const Kt_SqlColumn& column) {
  const std::string name = Kt_Database::Quoted(column.name);
  switch (AffinityOf(column.declared.declared)) {
    case Affinity::kBoolean:
    case Affinity::kInteger:
      return name + " NOT BETWEEN -2147483648 AND 2147483647 OR " + name + " <> CAST(" + name +
             " AS INTEGER)";
    case Affinity::kText: return name + " >= x''";
    case Affinity::kReal: return name + " NOT BETWEEN -1e100 AND 1e100";
    case Affinity::kNumeric: break;
    case Affinity::kNone: return {};
  }
  if (column.declared.type == Kt_ColumnType::kCurrency) {
    return name + " NOT BETWEEN -274877906944 AND 274877906944 OR " + name + " <> round(" + name +
           " * 10000.0) / 10000.0";
  }
  if (column.declared.type == Kt_ColumnType::kDateTime) {
    return name + " <> ifnull(date(" + name + "), '') OR " + name +
           " NOT BETWEEN '0001-01-01' AND '9999-12-31'";
  }
  return {};
}

void Bound(Kt_SqlColumn& column, double low, double high) {
  column.has_range = true;
  column.low = low;
  column.high = high;
}

// Takes over that no value is unexpected.
void TakeExpected(Kt_SqlColumn& column) {
  switch (AffinityOf(column.declared.declared)) {
    case Affinity::kBoolean:
    case Affinity::kInteger: Bound(column, -2147483648.0, 2147483647.0); return SetWhole(column);
    case Affinity::kText: return SetKind(column, Kt_SqlKind::kText, Kt_ColumnType::kString);
    case Affinity::kReal:
      Bound(column, -1e100, 1e100);
      return SetKind(column, Kt_SqlKind::kReal, Kt_ColumnType::kDouble);
    default: break;
  }
  if (column.declared.type == Kt_ColumnType::kDateTime) {
    return SetKind(column, Kt_SqlKind::kDate, Kt_ColumnType::kDateTime);
  }
  Bound(column, -274877906944.0, 274877906944.0);
  SetKind(column, Kt_SqlKind::kCurrency, Kt_ColumnType::kCurrency);
}

// The aggregates that SQLite is asked for in detail, in the order in which TakeSqlite reads them.
void AskSqlite(const Kt_SqlColumn& column, Kt_SqlQuestion question, std::string& list) {
  const std::string name = Kt_Database::Quoted(column.name);
  if (question == Kt_SqlQuestion::kRange) {
    list += ", count(" + name + ")";
    if (column.kind == Kt_SqlKind::kText) {
      list += ", max(length(" + name + ")), max(" + name +
              " GLOB '*[\xF0\x90\x80\x80-\xF4\x8F\xBF\xBF]*' OR instr(" + name +
              ", char(0)) > 0), max(" + name + " GLOB '*[^\x01-\x7F]*')";
    } else {
      list += ", min(" + name + "), max(" + name + ")";
    }
    return;
  }
  const std::string kind = "nullif(typeof(" + name + "),'null')";
  const std::string number = "CASE WHEN typeof(" + name + ") IN ('integer','real') THEN " + name;
  list += ", min(" + kind + "), max(" + kind + "), min(" + number + " END), max(" + number +
          " END), max(CASE WHEN typeof(" + name + ") = 'integer' THEN " + name +
          " NOT BETWEEN -9007199254740992 AND 9007199254740992 END)";
  if (column.declared.type == Kt_ColumnType::kDateTime) {
    list += ", min(CASE WHEN typeof(" + name + ") = 'text' THEN " + name + " IS date(" + name +
            ") AND " + name + " >= '0001-01-01' AND " + name + " < ':' END)";
  }
  if (column.declared.type == Kt_ColumnType::kCurrency) {
    list += ", min(" + number + " = round(" + name + " * 10000.0) / 10000.0 AND abs(" + name +
            " * 10000.0) <= 9007199254740992.0 END)";
  }
}

class Cells {
 public:
  explicit Cells(const Kt_Dataset& answer) : answer_(answer) {}
  Kt_Variant Next() { return answer_.ReadColumn(0, next_++); }
  // Of an aggregate over no value nothing is known to be so.
  bool NextIsTrue() { return Next().ToInteger() != 0; }

 private:
  const Kt_Dataset& answer_;
  kt_long next_ = 0;
};

void TakeTextRange(Kt_SqlColumn& column, Cells& cells) {
  column.has_text_range = true;
  column.longest = cells.Next().ToDouble();
  column.is_plain = !cells.NextIsTrue();
  column.is_ascii = !cells.NextIsTrue() && column.is_plain;
}

void SetSqliteNumbers(Kt_SqlColumn& column, bool has_reals, bool are_amounts) {
  if (are_amounts) {
    SetKind(column, Kt_SqlKind::kCurrency, Kt_ColumnType::kCurrency);
  } else if (!has_reals) {
    SetWhole(column);
  } else if (!column.has_range) {
    SetUnknown(column, "has whole numbers beyond 2^53");
  } else {
    SetKind(column, Kt_SqlKind::kReal, Kt_ColumnType::kDouble);
  }
}

void TakeSqliteRange(Kt_SqlColumn& column, double row_count, Cells& cells) {
  const double values = cells.Next().ToDouble();
  column.may_be_null = values < row_count;
  if (column.kind == Kt_SqlKind::kText) {
    TakeTextRange(column, cells);
  } else {
    const Kt_Variant low = cells.Next();
    const Kt_Variant high = cells.Next();
    column.has_exact_range = true;
    if (column.kind != Kt_SqlKind::kDate) SetRange(column, low, high);
  }
  if (values == 0) SetKind(column, Kt_SqlKind::kNothing, column.type);
}

void TakeSqliteKind(Kt_SqlColumn& column, Cells& cells) {
  const std::string least = cells.Next().ToString().ToUtf8();
  const std::string greatest = cells.Next().ToString().ToUtf8();
  const Kt_Variant low = cells.Next();
  const Kt_Variant high = cells.Next();
  SetRange(column, low, high);
  column.has_range = !cells.NextIsTrue() && column.has_range;
  const bool is_date = column.declared.type == Kt_ColumnType::kDateTime;
  const bool are_days = is_date && cells.NextIsTrue();
  const bool are_amounts =
      column.declared.type == Kt_ColumnType::kCurrency && cells.NextIsTrue() && column.has_range;
  const bool is_one = least == greatest;
  if (least.empty()) {
    SetKind(column, Kt_SqlKind::kNothing, column.declared.type);
  } else if ((is_one && least == "integer") || greatest == "real") {
    if (least == "blob") return SetUnknown(column, "has values of several kinds");
    SetSqliteNumbers(column, greatest == "real", are_amounts);
  } else if (!is_one) {
    SetUnknown(column, "has values of several kinds");
  } else if (least == "blob") {
    SetOther(column, Kt_ColumnType::kBinary, "holds bytes");
  } else if (are_days) {
    SetKind(column, Kt_SqlKind::kDate, Kt_ColumnType::kDateTime);
  } else if (is_date) {
    SetUnknown(column, "is declared as a date and has other texts than YYYY-MM-DD");
  } else {
    SetKind(column, Kt_SqlKind::kText, Kt_ColumnType::kString);
  }
}

// ---- PostgreSQL -------------------------------------------------------------------------------

namespace pg = kt::detail::pg;

void DeclarePostgresql(Kt_SqlColumn& column) {
  switch (column.declared.type_number) {
    case pg::kInt2:
    case pg::kInt4:
    case pg::kBool:
      SetKind(column, Kt_SqlKind::kWhole, Kt_ColumnType::kLong);
      column.is_long = true;
      column.low = column.declared.type_number == pg::kBool ? 0 : -2147483648.0;
      column.high = column.declared.type_number == pg::kBool ? 1 : 2147483647.0;
      column.least = 1;
      return;
    case pg::kFloat8:
      SetKind(column, Kt_SqlKind::kReal, Kt_ColumnType::kDouble);
      column.may_be_nan = true;
      return;
    case pg::kText:
    case pg::kVarchar: return SetKind(column, Kt_SqlKind::kText, Kt_ColumnType::kString);
    case pg::kFloat4:
      return SetOther(column, Kt_ColumnType::kDouble,
                      "is a real, which is read as the number that its shortest text means");
    case pg::kBpchar:
      return SetOther(column, Kt_ColumnType::kString, "is a char(n), whose blanks do not count");
    case pg::kInt8:
    case pg::kNumeric:
    case pg::kDate:
    case pg::kTimestamp:
    case pg::kTimestampTz: return SetUnknown(column, "was not asked for");
    default: break;
  }
  if (column.declared.type_number == pg::kOid) return SetUnknown(column, "is an oid");
  SetOther(column, column.declared.type, "is of a type that operators read as its text");
}

// The aggregates that PostgreSQL is asked for, in the order in which TakePostgresql reads them.
class PgQuestion {
 public:
  PgQuestion(const Kt_SqlColumn& column, SqlGrouping& asked)
      : column_(column), name_(Kt_Database::Quoted(column.name)), asked_(asked) {}

  void Ask(Kt_SqlQuestion question) {
    const bool wants_range = question == Kt_SqlQuestion::kRange;
    asked_.Add(SqlMerge::kCount, "count(" + name_ + ")");
    switch (column_.declared.type_number) {
      case pg::kNumeric: return AskNumeric();
      case pg::kDate: return All(name_ + " BETWEEN '0001-01-01' AND '9999-12-31'");
      case pg::kTimestamp:
      case pg::kTimestampTz:
        return All("(" + name_ + " >= '1721-01-01' AND " + name_ + " < '2079-01-01') OR (" + name_ +
                   " = date_trunc('day', " + name_ + ") AND " + name_ + " >= '0001-01-01' AND " +
                   name_ + " <= '9999-12-31')");
      case pg::kInt2:
      case pg::kInt4:
      case pg::kInt8: return Extremes(name_);
      case pg::kFloat8: return wants_range ? AskReal() : void();
      case pg::kText:
      case pg::kVarchar: return wants_range ? AskText() : void();
      default: return;
    }
  }

 private:
  void AskNumeric() {
    All(name_ + " = round(" + name_ + ", 4) AND abs(" + name_ + ") <= 922337203685477.5807");
    Extremes("(" + name_ + ")::float8", IsNumber());
  }
  void AskReal() {
    Extremes(name_, IsNumber());
    Any(name_ + " = 'NaN'");
    asked_.Add(SqlMerge::kMin, "min(abs(" + name_ + ")) FILTER (WHERE " + name_ + " <> 0 AND " +
                                   name_ + " <> 'NaN')");
  }
  // PostgreSQL refuses patterns under a collation by which other bytes are equal.
  void AskText() {
    const char* const collation = column_.is_bytewise ? "" : " COLLATE \"C\"";
    asked_.Add(SqlMerge::kMax, "max(length(" + name_ + "))");
    Any("(" + name_ + collation + ") ~ '[\\U00010000-\\U0010FFFF]'");
    Any("octet_length(" + name_ + ") <> length(" + name_ + ")");
  }

  std::string IsNumber() const { return " FILTER (WHERE " + name_ + " <> 'NaN')"; }
  void Extremes(const std::string& value, const std::string& of = {}) {
    asked_.Add(SqlMerge::kMin, "min(" + value + ")" + of);
    asked_.Add(SqlMerge::kMax, "max(" + value + ")" + of);
  }
  void All(const std::string& condition) {
    asked_.Add(SqlMerge::kAll, "bool_and(" + condition + ")");
  }
  void Any(const std::string& condition) {
    asked_.Add(SqlMerge::kAny, "bool_or(" + condition + ")");
  }

  const Kt_SqlColumn& column_;
  const std::string name_;
  SqlGrouping& asked_;
};

void TakeNumeric(Kt_SqlColumn& column, Cells& cells) {
  const bool are_amounts = cells.NextIsTrue();
  const Kt_Variant low = cells.Next();
  const Kt_Variant high = cells.Next();
  SetRange(column, low, high);
  if (are_amounts) return SetKind(column, Kt_SqlKind::kCurrency, Kt_ColumnType::kCurrency);
  SetUnknown(column, "has numbers that no currency holds");
}

void TakePostgresql(Kt_SqlColumn& column, Kt_SqlQuestion question, double row_count, bool is_utf8,
                    Cells& cells) {
  const double values = cells.Next().ToDouble();
  column.may_be_null = values < row_count;
  switch (column.declared.type_number) {
    case pg::kNumeric: TakeNumeric(column, cells); break;
    case pg::kDate:
    case pg::kTimestamp:
    case pg::kTimestampTz:
      if (cells.NextIsTrue()) {
        SetKind(column, Kt_SqlKind::kDate, Kt_ColumnType::kDateTime);
      } else {
        SetUnknown(column, "has dates that no day number holds");
      }
      break;
    case pg::kInt2:
    case pg::kInt4:
    case pg::kInt8: {
      const Kt_Variant low = cells.Next();
      SetRange(column, low, cells.Next());
      column.has_exact_range = true;
      SetWhole(column);
      break;
    }
    case pg::kFloat8:
      if (question != Kt_SqlQuestion::kRange) break;
      column.low = cells.Next().ToDouble();
      column.high = cells.Next().ToDouble();
      column.may_be_nan = cells.NextIsTrue();
      column.least = cells.Next().ToDouble();
      column.has_range = column.has_exact_range = true;
      break;
    case pg::kText:
    case pg::kVarchar:
      if (question == Kt_SqlQuestion::kRange) TakeTextRange(column, cells);
      column.is_plain = column.is_plain && is_utf8;
      column.is_ascii = column.is_ascii && is_utf8;
      break;
    default: break;
  }
  if (values == 0) SetKind(column, Kt_SqlKind::kNothing, column.declared.type);
}

bool IsKnown(const Kt_SqlColumn& column, Kt_SqlQuestion question) {
  if (question == Kt_SqlQuestion::kType) return column.has_type;
  return column.has_exact_range || column.has_text_range || column.kind == Kt_SqlKind::kNothing ||
         (column.has_type && column.kind == Kt_SqlKind::kOther);
}

}  // namespace

bool Kt_SqlTable::Describe(Kt_Database& database, Kind kind, std::string_view table,
                           std::string& error) {
  kind_ = kind;
  quoted_name_ = Kt_Database::QuotedTable(table);
  return kt::detail::Guarded(error, [&]() -> kt_long {
           return ReadDescription(database, table, error) ? kOk : kFailed;
         }) >= 0;
}

bool Kt_SqlTable::ReadDescription(Kt_Database& database, std::string_view table,
                                  std::string& error) {
  std::vector<Kt_DatabaseColumn> declared;
  if (!database.Describe(table, declared, error)) return false;
  Kt_UniqueIds ids;
  for (Kt_DatabaseColumn& column : declared) {
    Kt_SqlColumn made;
    made.name = column.name;
    made.sql = Kt_Database::Quoted(column.name);
    made.id = ids.MakeHeading(Kt_WString::FromUtf8(column.name));
    made.declared = std::move(column);
    made.why_other = "was not asked for";
    if (!IsSqlite()) DeclarePostgresql(made);
    columns_.push_back(std::move(made));
  }
  return IsSqlite() ? DescribeSqlite(database, table, error) : DescribePostgresql(database, error);
}

bool Kt_SqlTable::DescribeSqlite(Kt_Database& database, std::string_view table,
                                 std::string& error) {
  const std::vector<std::string> parts = Kt_Database::TableParts(table);
  const Kt_Variant names[] = {Kt_Variant(Kt_WString::FromUtf8(parts.back()))};
  Kt_Dataset answer;
  if (database.Query("SELECT hex(CAST('a' AS BLOB)) = '61', "
                     "sqlite_compileoption_used('ENABLE_MATH_FUNCTIONS'), t.type = 'table', "
                     "t.wr = 0 FROM (SELECT 1) LEFT JOIN pragma_table_list t "
                     "ON t.name = ?1 COLLATE NOCASE AND t.schema = 'main'",
                     names, answer, error) < 0) {
    return false;
  }
  Cells cells(answer);
  is_utf8_ = cells.NextIsTrue();
  has_math_functions_ = cells.NextIsTrue();
  has_affinities_ = cells.NextIsTrue() && parts.size() == 1;
  const bool has_rowid = cells.NextIsTrue() && has_affinities_;
  if (has_rowid && Find(u"_rowid_") == nullptr) row_order_ = "_rowid_";
  return true;
}

bool Kt_SqlTable::DescribePostgresql(Kt_Database& database, std::string& error) {
  const Kt_Variant names[] = {Kt_Variant(Kt_WString::FromUtf8(quoted_name_))};
  Kt_Dataset answer;
  // Versions before 14 do not ask several servers at the same time.
  if (database.Query("SELECT getdatabaseencoding() = 'UTF8', c.relkind = 'r' AND NOT "
                     "c.relhassubclass, c.relkind = 'p' AND "
                     "current_setting('server_version_num')::int4 >= 140000, a.attname::text, "
                     "o.oid::int8, o.collisdeterministic "
                     "FROM pg_catalog.pg_class c LEFT JOIN (pg_catalog.pg_attribute a "
                     "JOIN pg_catalog.pg_collation o ON o.oid = a.attcollation) "
                     "ON a.attrelid = c.oid WHERE c.oid = $1::pg_catalog.regclass",
                     names, answer, error) < 0) {
    return false;
  }
  Cells cells(answer);
  is_utf8_ = cells.NextIsTrue();
  has_math_functions_ = true;
  if (cells.NextIsTrue()) row_order_ = "ctid";
  may_have_parts_ = cells.NextIsTrue();
  for (kt_long row = 0; row < answer.GetRowCount(); ++row) {
    const std::string name = answer.ReadColumn(row, 3).ToString().ToUtf8();
    const auto collation = static_cast<std::uint32_t>(answer.ReadColumn(row, 4).ToDouble());
    for (Kt_SqlColumn& column : columns_) {
      if (column.name != name) continue;
      column.is_bytewise = answer.ReadColumn(row, 5).ToInteger() != 0;
      column.collation = collation == pg::kDefaultCollation ? 0 : collation;
    }
  }
  return true;
}

// Until no column has an unexpected value but those that are left out.
bool Kt_SqlTable::AskExpected(Kt_Database& database, std::vector<std::size_t> columns,
                              std::string& error) {
  std::erase_if(columns, [&](std::size_t column) { return Unexpected(columns_[column]).empty(); });
  while (!columns.empty()) {
    std::string list;
    std::string where;
    for (const std::size_t column : columns) {
      const std::string unexpected = "(" + Unexpected(columns_[column]) + ")";
      list += (list.empty() ? "" : ", ") + unexpected;
      where += (where.empty() ? "" : " OR ") + unexpected;
    }
    Kt_Dataset answer;
    list.insert(0, "SELECT ").append(" FROM ").append(quoted_name_);
    list.append(" WHERE ").append(where).append(" LIMIT 1");
    if (!Question(database, list, answer, error)) {
      return false;
    }
    if (answer.GetRowCount() == 0) {
      for (const std::size_t column : columns) TakeExpected(columns_[column]);
      return true;
    }
    Cells cells(answer);
    std::erase_if(columns, [&](std::size_t) { return cells.NextIsTrue(); });
  }
  return true;
}

bool Kt_SqlTable::Question(Kt_Database& database, const std::string& statement, Kt_Dataset& answer,
                           std::string& error) {
  questions_.push_back(statement);
  return database.Query(statement, {}, answer, error) >= 0;
}

bool Kt_SqlTable::AskParts(Kt_Database& database, std::string& error) {
  if (!may_have_parts_) return true;
  if (!kt::detail::FindParts(database, quoted_name_, parts_, error)) return false;
  has_asked_parts_ = true;
  // A filter by the column of the partitions passes over parts that can have no such rows.
  std::int64_t ignored = 0;
  return parts_.empty() || database.Execute("SET constraint_exclusion TO on", {}, ignored, error);
}

// One statement of aggregates.
bool Kt_SqlTable::QuestionOf(Kt_Database& database, const std::vector<Wanted>& wanted,
                             std::string& statement, std::string& error) const {
  if (IsSqlite()) {
    statement = "SELECT count(*)";
    for (const Wanted& one : wanted) AskSqlite(columns_[one.column], one.question, statement);
    statement += " FROM " + quoted_name_;
    return true;
  }
  SqlGrouping asked(quoted_name_, parts_);
  asked.Add(SqlMerge::kCount, "count(*)");
  for (const Wanted& one : wanted) {
    PgQuestion(columns_[one.column], asked).Ask(one.question);
  }
  bool is_over_parts = false;
  return asked.Choose(database, statement, is_over_parts, error);
}

bool Kt_SqlTable::AskDetails(Kt_Database& database, const std::vector<Wanted>& wanted,
                             std::string& error) {
  std::vector<Wanted> asked;
  for (const Wanted& one : wanted) {
    if (!IsKnown(columns_[one.column], one.question)) asked.push_back(one);
  }
  if (asked.empty()) return true;
  std::string statement;
  Kt_Dataset answer;
  if (!has_asked_parts_ && !AskParts(database, error)) return false;
  if (!QuestionOf(database, asked, statement, error) ||
      !Question(database, statement, answer, error)) {
    return false;
  }
  Cells cells(answer);
  const double row_count = cells.Next().ToDouble();
  for (const Wanted& one : asked) {
    Kt_SqlColumn& column = columns_[one.column];
    if (!IsSqlite()) {
      TakePostgresql(column, one.question, row_count, is_utf8_, cells);
    } else if (one.question == Kt_SqlQuestion::kType) {
      TakeSqliteKind(column, cells);
    } else {
      TakeSqliteRange(column, row_count, cells);
      column.is_plain = column.is_plain && is_utf8_;
      column.is_ascii = column.is_ascii && is_utf8_;
    }
  }
  return true;
}

bool Kt_SqlTable::Ask(Kt_Database& database, const std::vector<Wanted>& wanted,
                      std::string& error) {
  if (!IsSqlite()) return AskDetails(database, wanted, error);
  std::vector<std::size_t> expected;
  std::vector<Wanted> kinds;
  for (const Wanted& one : wanted) {
    if (columns_[one.column].has_type) continue;
    expected.push_back(one.column);
    kinds.push_back({one.column, Kt_SqlQuestion::kType});
  }
  if (!has_affinities_) expected.clear();
  if (!AskExpected(database, std::move(expected), error) || !AskDetails(database, kinds, error)) {
    return false;
  }
  std::vector<Wanted> ranges = wanted;
  std::erase_if(ranges, [&](const Wanted& one) {
    return one.question == Kt_SqlQuestion::kType || !columns_[one.column].has_type;
  });
  return AskDetails(database, ranges, error);
}

const Kt_SqlColumn* Kt_SqlTable::Find(const Kt_WString& id) const {
  const auto found = std::ranges::find_if(
      columns_, [&](const Kt_SqlColumn& column) { return column.id.EqualsNoCase(id); });
  return found == columns_.end() ? nullptr : &*found;
}
