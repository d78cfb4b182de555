// SPDX-License-Identifier: MIT
//
// Random expressions over random tables: as SQL where the data is, and by the evaluator in memory.
// The evaluator decides. Many expressions go into one statement, a column each. And random
// selections: a filter, an order and a limit, against the whole table filtered by the evaluator,
// sorted by the store, and cut.
//
// KT_SQL_EXPRESSIONS says how many expressions are compared in each database, and for every ten of
// them a selection; KT_SQL_SEED with which numbers. A failure tells the seed, the table and the
// expression. Totals of expressions over groups, Case forms among them, are compared with
// Kt_GroupTotals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <random>

#include "connect/connect_test_util.h"
#include "connect/postgresql_server.h"
#include "connect/sql/Kt_SqlQuery.h"
#include "connect/sql/Kt_SqlSelect.h"
#include "connect/sql/Kt_SqlTranslate.h"
#include "connect/sqlite_file.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset/Kt_GroupTotals.h"
#include "expr/Kt_Expr.h"

namespace {

using Kind = Kt_DatabaseUrl::Kind;

std::int64_t Setting(const char* name, std::int64_t otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::atoll(text) : otherwise;
}

class Dice {
 public:
  explicit Dice(std::uint64_t seed) : random_(seed) {}
  int Below(int count) { return static_cast<int>(random_() % static_cast<std::uint64_t>(count)); }
  bool Chance(int percent) { return Below(100) < percent; }
  template <class T, std::size_t kCount>
  const T& Of(const T (&items)[kCount]) {
    return items[Below(static_cast<int>(kCount))];
  }

 private:
  std::mt19937_64 random_;
};

// ---- Tables -----------------------------------------------------------------------------------

struct Column {
  const char* name;
  const char* sqlite;              // declared
  const char* postgresql;          // declared
  std::vector<const char*> cells;  // of which a table has some
};

// What a column may hold: the usual and the odd, so that some tables have only the usual.
std::vector<Column> Columns(Kind kind, Dice& dice) {
  const bool is_pg = kind == Kind::kPostgresql;
  // Orders of their own, which count for nothing here.
  static const char* const kTexts[] = {"text", "text COLLATE \"C\"", "text COLLATE \"und-x-icu\""};
  static const char* const kShort[] = {"varchar(40)", "varchar(40) COLLATE \"C\"",
                                       "varchar(40) COLLATE \"de-x-icu\""};
  std::vector<Column> columns = {
      {"n", "INTEGER", "integer", {"0", "1", "-1", "5", "7", "-13", "100"}},
      {"m", "INTEGER", "bigint", {"1", "2", "3", "12", "-4"}},
      {"d", "REAL", "float8", {"0.5", "-2.25", "1.0", "3.125", "1e6", "0.1"}},
      {"e", "REAL", "float8", {"1.5", "2.0", "0.3", "-7.75", "42.0"}},
      {"t",
       "TEXT",
       is_pg ? dice.Of(kTexts) : "",
       {"'abc'", "'ABC'", "'b'", "''", "' x '", "'12'", "'a b'"}},
      {"u", "TEXT", is_pg ? dice.Of(kShort) : "", {"'abc'", "'q'", "'Zz'", "'true'", "'9'"}},
      {"c", "DECIMAL(10,2)", "numeric", {"1.25", "0.1", "-3.5", "100", "0"}},
      {"y", "DATE", "date", {"'2024-01-05'", "'1999-12-31'", "'2024-02-29'", "'1901-05-06'"}},
      {"z", "DATE", is_pg ? "timestamp" : "date", {"'2024-01-05'", "'2024-03-01'"}},
      {"b", "BOOLEAN", "boolean", {is_pg ? "true" : "1", is_pg ? "false" : "0"}}};
  const auto add = [&](std::size_t column, std::initializer_list<const char*> cells, int percent) {
    if (!dice.Chance(percent)) return;
    columns[column].cells.insert(columns[column].cells.end(), cells);
  };
  add(0, {"2147483647", "-2147483648", "123456789"}, 40);
  add(1, {"0"}, 30);
  add(1, {"3000000000", "-99999999999"}, 30);
  add(1, {"9007199254740993"}, 10);
  add(2, {"-0.0", "1e300", "1e-300", "123456789.123"}, 40);
  add(2, {is_pg ? "'Infinity'" : "9e999", is_pg ? "'-Infinity'" : "-9e999"}, 20);
  if (is_pg) add(2, {"'NaN'"}, 30);
  add(3, {"0.0", "-0.0"}, 30);
  add(3, {"1e200", "-1e-200"}, 20);
  add(4, {"'\xC3\xA4\xC3\xB6'", "'\xE2\x82\xAC'", "'\xEF\xBD\x9E'"}, 30);
  add(4, {"'\xF0\x9F\x98\x80x'", "'\xF0\x90\x80\x80'"}, 30);
  add(5, {"'it''s'", "'back\\slash'", "'%_'"}, 30);
  if (!is_pg) add(5, {"'a' || char(0) || 'b'"}, 10);
  add(6, {"275000000000.5", "0.0001"}, 20);
  if (is_pg) add(8, {"'2024-01-05 12:30:00.000001'", "'1969-07-20 20:17:40'"}, 40);
  if (!is_pg) add(8, {"'2024-01-05 12:30'", "'soon'"}, 15);
  if (!is_pg) add(3, {"7", "'text'"}, 10);
  return columns;
}

// Where the rows of a table lie: in one, or in partitions, of which the server has some of
// another's.
enum class Place : std::uint8_t { kOne, kParts };

// The rows have numbers then, as such a table has no order.
std::string MakeParts(const std::string& names) {
  return "DROP VIEW IF EXISTS v; DROP TABLE IF EXISTS r, there0, there1; CREATE TABLE there0(" +
         names + "); CREATE TABLE there1(" + names + "); CREATE TABLE r(" + names +
         ") PARTITION BY HASH (n); "
         "CREATE FOREIGN TABLE r0 PARTITION OF r FOR VALUES WITH (MODULUS 3, REMAINDER 0) "
         "SERVER loopback OPTIONS (table_name 'there0'); "
         "CREATE FOREIGN TABLE r1 PARTITION OF r FOR VALUES WITH (MODULUS 3, REMAINDER 1) "
         "SERVER loopback OPTIONS (table_name 'there1'); "
         "CREATE TABLE r2 PARTITION OF r FOR VALUES WITH (MODULUS 3, REMAINDER 2); "
         "CREATE VIEW v AS SELECT * FROM r;";
}

std::string MakeTable(const std::vector<Column>& columns, Kind kind, Place place, Dice& dice) {
  std::string names;
  for (const Column& column : columns) {
    names += (names.empty() ? "" : ", ") + std::string(column.name) + ' ' +
             (kind == Kind::kSqlite ? column.sqlite : column.postgresql);
  }
  const bool has_parts = place == Place::kParts;
  if (has_parts) names += ", id integer";
  std::string statements = "DROP VIEW IF EXISTS v; DROP TABLE IF EXISTS r; CREATE TABLE r(" +
                           names + "); CREATE VIEW v AS SELECT * FROM r;";
  if (has_parts) statements = MakeParts(names);
  std::vector<int> nulls;
  for (std::size_t col = 0; col < columns.size(); ++col) nulls.push_back(dice.Below(3) * 15);
  statements += "INSERT INTO r VALUES ";
  constexpr int kRows = 24;
  for (int row = 0; row < kRows; ++row) {
    statements += row > 0 ? ",(" : "(";
    for (std::size_t col = 0; col < columns.size(); ++col) {
      const auto& cells = columns[col].cells;
      if (col > 0) statements += ',';
      statements +=
          dice.Chance(nulls[col])
              ? "NULL"
              : cells[static_cast<std::size_t>(dice.Below(static_cast<int>(cells.size())))];
    }
    statements += has_parts ? "," + std::to_string(row) + ")" : ")";
  }
  return statements + ";";
}

// ---- Expressions ------------------------------------------------------------------------------

class Expressions {
 public:
  explicit Expressions(Dice& dice) : dice_(dice) {}

  std::string Any(int depth) {
    switch (dice_.Below(8)) {
      case 0: return Text(depth);
      case 1:
      case 2: return Number(depth);
      default: return Condition(depth);
    }
  }

  std::string Number(int depth) {
    static const char* const kLeaves[] = {"n",   "m",    "d",  "e",          "n",        "b",
                                          "1",   "2",    "0",  "5",          "3",        "2.5",
                                          "0.1", "(-7)", "10", "2147483647", "100000.0", "null"};
    static const char* const kSigns[] = {" + ", " - ", " * ", " / ", " % "};
    static const char* const kCalls[] = {"abs(", "floor(", "ceil(", "sqrt(", "(0 - "};
    if (depth <= 0) return dice_.Of(kLeaves);
    switch (dice_.Below(8)) {
      case 0: return dice_.Of(kCalls) + Number(depth - 1) + ')';
      case 1: return "length(" + Text(depth - 1) + ')';
      case 2:
        return "iif(" + Condition(depth - 1) + ", " + Number(depth - 1) + ", " + Number(depth - 1) +
               ')';
      case 3: return dice_.Chance(30) ? "pos(" + Text(depth - 1) + ", 'b')" : Condition(depth - 1);
      default: return '(' + Number(depth - 1) + dice_.Of(kSigns) + Number(depth - 1) + ')';
    }
  }

  std::string Text(int depth) {
    static const char* const kLeaves[] = {"t",   "u",     "t",          "u",    "'abc'",    "''",
                                          "'b'", "' x '", "'\xC3\xA4'", "'it'", "'a\\\\b'", "null"};
    static const char* const kCalls[] = {"toUpper(", "toLower(", "trim(", "ltrim(", "rtrim("};
    if (depth <= 0) return dice_.Of(kLeaves);
    switch (dice_.Below(7)) {
      case 0: return dice_.Of(kCalls) + Text(depth - 1) + ')';
      case 1: return "left(" + Text(depth - 1) + ", " + std::to_string(dice_.Below(4)) + ')';
      case 2: return "right(" + Text(depth - 1) + ", " + std::to_string(dice_.Below(4)) + ')';
      case 3: return "mid(" + Text(depth - 1) + ", " + std::to_string(dice_.Below(3)) + ", 2)";
      case 4:
        return "iif(" + Condition(depth - 1) + ", " + Text(depth - 1) + ", " + Text(depth - 1) +
               ')';
      case 5:
        return '(' + Text(depth - 1) + " + " +
               (dice_.Chance(70) ? Text(depth - 1) : Number(depth - 1)) + ')';
      default: return Text(0);
    }
  }

  std::string Condition(int depth) {
    static const char* const kRelations[] = {" == ", " != ", " < ", " <= ", " > ", " >= "};
    static const char* const kDates[] = {
        "y", "z", "y", "'2024-01-05'", "'20240229'", "'1999/12/31'", "null", "'2024-01-05 08:00'"};
    static const char* const kAmounts[] = {"c", "c", "1.25", "0.1", "100", "n", "d", "null"};
    const std::string relation = dice_.Of(kRelations);
    switch (depth <= 0 ? dice_.Below(4) : dice_.Below(10)) {
      case 0: return '(' + Number(depth - 1) + relation + Number(depth - 1) + ')';
      case 1: return '(' + Text(depth - 1) + relation + Text(depth - 1) + ')';
      case 2: return '(' + std::string(dice_.Of(kDates)) + relation + dice_.Of(kDates) + ')';
      case 3: return '(' + std::string(dice_.Of(kAmounts)) + relation + dice_.Of(kAmounts) + ')';
      case 4: return '!' + Condition(depth - 1);
      case 5:
        return '(' + Number(depth - 1) + (dice_.Chance(50) ? " && " : " || ") + Number(depth - 1) +
               ')';
      case 6:
        return Condition(depth - 1) + " && " + Condition(depth - 1) + " || " + Condition(depth - 1);
      case 7: return '(' + Condition(depth - 1) + " || " + Condition(depth - 1) + ')';
      default: return '(' + Condition(depth - 1) + " && " + Condition(depth - 1) + ')';
    }
  }

 private:
  Dice& dice_;
};

// ---- Comparing --------------------------------------------------------------------------------

struct Tried {
  std::string text;
  Kt_WString wide;
  std::string value_sql;
  std::string where_sql;
};

// What a filter hides.
bool IsExplicitlyFalse(const Kt_Variant& value) {
  return value.IsLong() ? value.AsLong() == 0
                        : value.IsString() && value.AsString().EqualsNoCase(u"false");
}

bool IsSame(const Kt_Variant& expected, const Kt_Variant& answered) {
  if (expected.IsEmpty() || answered.IsEmpty()) return expected.IsEmpty() && answered.IsEmpty();
  if (expected.IsString() || answered.IsString()) {
    return expected.IsString() && answered.IsString() && expected.AsString() == answered.AsString();
  }
  if (expected.GetTag() == kTagCurrency || answered.GetTag() == kTagCurrency) {
    return expected.ToCurrency().units == answered.ToCurrency().units;
  }
  const double a = expected.ToDouble();
  const double b = answered.ToDouble();
  return a == b || (std::isnan(a) && std::isnan(b));
}

class Comparison {
 public:
  Comparison(const std::string& url, Kt_Database& database, Kind kind, Place place, Dice& dice)
      : url_(url),
        database_(database),
        kind_(kind),
        has_parts_(place == Place::kParts),
        dice_(dice),
        expressions_(dice) {}

  // Over one table; how many expressions were compared.
  void Run(int batches) {
    const Kt_Dataset* const loaded = Load();
    if (loaded == nullptr) return;
    for (int batch = 0; batch < batches && !::testing::Test::HasFailure(); ++batch) RunBatch();
    for (int times = 6 * batches; times-- > 0 && !::testing::Test::HasFailure();) {
      CompareSelection();
      for (int total = 0; total < 4; ++total) CompareTotals();
    }
  }

  std::int64_t made = 0;
  std::int64_t compared = 0;
  std::int64_t cells = 0;
  std::int64_t selections = 0;
  std::int64_t pushed_selections = 0;
  std::int64_t totals = 0;
  std::int64_t totals_of_parts = 0;

 private:
  const Kt_Dataset* Load() {
    std::string error;
    const kt_long rows = has_parts_
                             ? database_.Query("SELECT * FROM r ORDER BY id", {}, dataset_, error)
                             : database_.LoadTable("r", dataset_, error);
    EXPECT_GE(rows, 0) << error;
    EXPECT_TRUE(table_.Describe(database_, kind_, "r", error)) << error;
    std::vector<Kt_SqlTable::Wanted> all;
    for (std::size_t column = 0; column < table_.Columns().size(); ++column) {
      if (dice_.Chance(95)) {
        all.push_back({column, dice_.Chance(75) ? Kt_SqlQuestion::kRange : Kt_SqlQuestion::kType});
      }
    }
    EXPECT_TRUE(table_.Ask(database_, all, error)) << error << table_.Questions().back();
    for (const Kt_SqlColumn& column : table_.Columns()) {
      if (!column.has_type) continue;
      EXPECT_EQ(column.type, dataset_.GetColType(dataset_.GetColIndex(column.id))) << column.name;
    }
    return ::testing::Test::HasFailure() ? nullptr : &dataset_;
  }

  void RunBatch() {
    constexpr std::size_t kColumns = 60;
    std::vector<Tried> tried;
    std::vector<Kt_Variant> parameters;
    for (int tries = 0; tries < 2000 && tried.size() < kColumns; ++tries) {
      Tried one;
      one.text = expressions_.Any(1 + dice_.Below(3));
      one.wide = Kt_WString::FromUtf8(one.text);
      ++made;
      std::string reason;
      Kt_SqlExpr expr(one.wide);
      if (!expr.Bind(table_, reason)) continue;
      if (dice_.Chance(50)) {
        one.value_sql = expr.ToValue(table_, parameters, reason);
        if (one.value_sql.empty()) continue;
      } else {
        const std::size_t known = parameters.size();
        const Kt_SqlExpr::Filter filter = expr.ToFilter(table_, parameters);
        if (!filter.is_whole) {
          parameters.resize(known);
          continue;
        }
        one.where_sql = filter.where.empty() ? "TRUE" : filter.where;
      }
      tried.push_back(std::move(one));
    }
    if (!tried.empty()) Compare(tried, parameters);
  }

  void Compare(const std::vector<Tried>& tried, std::vector<Kt_Variant>& parameters) {
    std::string list;
    for (const Tried& one : tried) {
      list += list.empty() ? "SELECT " : ", ";
      list += one.where_sql.empty() ? "(" + one.value_sql + ")"
                                    : "CASE WHEN " + one.where_sql + " THEN 1 ELSE 0 END";
    }
    list += " FROM r ORDER BY " + (has_parts_ ? "id" : table_.RowOrder());
    while (!parameters.empty() && list.find("?" + std::to_string(parameters.size())) == list.npos) {
      parameters.pop_back();
    }
    Kt_Dataset answer;
    std::string error;
    ASSERT_GE(database_.Query(list, parameters, answer, error), 0) << error << "\n" << list;
    ASSERT_EQ(answer.GetRowCount(), dataset_.GetRowCount());
    for (std::size_t at = 0; at < tried.size(); ++at) {
      CompareOne(tried[at], answer, static_cast<kt_long>(at));
    }
  }

  void CompareOne(const Tried& one, const Kt_Dataset& answer, kt_long col) {
    Kt_DatasetCtx context(nullptr, nullptr, &dataset_, nullptr, nullptr);
    Kt_Expr expr(one.wide.GetText());
    ++compared;
    for (kt_long row = 0; row < dataset_.GetRowCount(); ++row, ++cells) {
      context.SetRowPosition(row, row, 0, row);
      Kt_Variant expected;
      ASSERT_EQ(expr.ExecExpr(&context, expected), 0) << one.text;
      if (!one.where_sql.empty()) {
        expected = kt_long{IsExplicitlyFalse(expected) ? 0 : 1};
      }
      const Kt_Variant answered = answer.ReadColumn(row, col);
      const bool is_same = IsSame(expected, answered);
      ASSERT_TRUE(is_same) << one.text << "\n"
                           << one.where_sql << one.value_sql << "\nrow " << row << ": "
                           << Shown(expected) << " is expected, the database has "
                           << Shown(answered) << "\n"
                           << Shown(dataset_);
    }
  }

  // ---- Selections -----------------------------------------------------------------------------

  // Ids of some columns with commas between.
  std::string SomeColumns(int count, int percent_descending) {
    std::string list;
    for (int at = 0; at < count; ++at) {
      const kt_long col = dice_.Below(static_cast<int>(dataset_.GetColCount()));
      list += (list.empty() ? "" : ",") + dataset_.GetColID(col).ToUtf8();
      if (dice_.Chance(percent_descending)) list += ":d";
    }
    return list;
  }

  void CompareSelection() {
    Kt_DatabaseUrl url;
    std::string error;
    ASSERT_TRUE(Kt_DatabaseUrl::Parse(url_, url, error)) << error;
    url.table = dice_.Chance(20) ? "v" : "r";  // a view has no order of its own
    if (dice_.Chance(70)) url.filter = expressions_.Any(1 + dice_.Below(2));
    url.sort = SomeColumns(dice_.Below(4), 40);
    if (has_parts_) url.sort += url.sort.empty() ? "id" : ",id";
    if (dice_.Chance(80)) url.limit = 1 + dice_.Below(26);
    if (dice_.Chance(40)) url.columns = SomeColumns(1 + dice_.Below(3), 0);
    if (!url.HasSelection()) return;
    Kt_Dataset answer;
    std::vector<std::string> steps;
    std::string said = "filter " + url.filter + "\nsort " + url.sort + ", limit " +
                       std::to_string(url.limit) + ", columns " + url.columns + " of " + url.table;
    const kt_long rows = kt::LoadSelected(url, {}, answer, &steps, error);
    for (const std::string& step : steps) {
      said += "\n" + step;
      const bool is_pushed = url.limit > 0 && step.find("the first ") != step.npos;
      pushed_selections += is_pushed && step.starts_with("in the database: ") ? 1 : 0;
    }
    ASSERT_GE(rows, 0) << error << "\n" << said;
    ASSERT_EQ(Shown(answer), Expected(url)) << said << "\n" << Shown(dataset_);
    ++selections;
  }

  // The same of the whole table, by the evaluator and the store.
  std::string Expected(const Kt_DatabaseUrl& url) {
    Kt_Dataset sorted;
    sorted.Copy(dataset_);
    const kt_long number = sorted.AddColumn(u"row number", Kt_ColumnType::kLong);
    for (kt_long row = 0; row < sorted.GetRowCount(); ++row) sorted.SetColumn(row, number, row);
    if (!url.sort.empty()) sorted.Sort(Kt_WString::FromUtf8(url.sort).View(), true);
    Kt_DatasetCtx context(nullptr, nullptr, &dataset_, nullptr, nullptr);
    Kt_Expr expr(Kt_WString::FromUtf8(url.filter).GetText());
    std::vector<kt_long> rows;
    for (kt_long at = 0; at < sorted.GetRowCount(); ++at) {
      const kt_long row = sorted.ReadColumn(at, number).ToInteger();
      context.SetRowPosition(row, row, 0, row);
      Kt_Variant value;
      if (!url.filter.empty()) {
        EXPECT_EQ(expr.ExecExpr(&context, value), 0) << url.filter;
      }
      if (url.filter.empty() || !IsExplicitlyFalse(value)) rows.push_back(row);
    }
    if (url.limit > 0 && std::ssize(rows) > url.limit) {
      rows.resize(static_cast<std::size_t>(url.limit));
    }
    std::vector<kt_long> cols;
    for (kt_long col = 0; col < dataset_.GetColCount(); ++col) {
      const std::string id = "," + dataset_.GetColID(col).ToUtf8() + ",";
      const std::string wanted = "," + url.columns + ",";
      if (url.columns.empty() || wanted.find(id) != wanted.npos) cols.push_back(col);
    }
    return Shown(dataset_, cols, rows);
  }

  // ---- Totals ---------------------------------------------------------------------------------

  static constexpr Kt_Aggregate kWhats[] = {Kt_Aggregate::kSum, Kt_Aggregate::kAvg,
                                            Kt_Aggregate::kMax, Kt_Aggregate::kMin,
                                            Kt_Aggregate::kCount};

  // One total of an expression over the groups of another; a Case form takes the rows of a
  // condition.
  void CompareTotals() {
    const Kt_Aggregate what = dice_.Of(kWhats);
    std::string value = expressions_.Number(1 + dice_.Below(2));
    if (dice_.Chance(50)) value = "iif(" + expressions_.Condition(1) + ", " + value + ", null)";
    Kt_SqlRequest request;
    request.added = {{u"key", Kt_ColumnType::kString, Kt_WString::FromUtf8(expressions_.Text(1))},
                     {u"value", Kt_ColumnType::kDouble, Kt_WString::FromUtf8(value)}};
    request.keys = {u"key"};
    request.totals = {{what, u"value"}};
    if (dice_.Chance(30)) request.filter = Kt_WString::FromUtf8(expressions_.Condition(1));
    Kt_SqlTable table;
    Kt_Dataset answer;
    Kt_SqlAnswer done;
    std::string error;
    ASSERT_TRUE(table.Describe(database_, kind_, "r", error)) << error;
    const kt_long rows = Kt_SqlLoad(database_, table, request, answer, done, error);
    if (rows < 0) {
      ASSERT_NE(error.find("is infinite, NaN or too great"), error.npos) << error;
    }
    if (rows < 0 || !done.is_grouped) return;
    ++totals;
    totals_of_parts += done.is_over_parts ? 1 : 0;
    ExpectTotals(request, answer, done);
  }

  void ExpectTotals(const Kt_SqlRequest& request, Kt_Dataset& answer, const Kt_SqlAnswer& done) {
    const Kt_WString& value = request.added[1].expression;
    const Kt_WString magnitude = Kt_WString(u"abs(") + value + u")";
    Kt_GroupTotals reckoned({{u"key", request.added[0].expression}},
                            {{u"value", request.totals[0].first, value},
                             {u"count", Kt_Aggregate::kCount, value},
                             {u"magnitude", Kt_Aggregate::kSum, magnitude}},
                            request.filter);
    Kt_ExprDataset wrapper(&dataset_, nullptr);
    ASSERT_EQ(reckoned.Add(wrapper), kOk);
    Kt_Dataset expected;
    reckoned.Finish(expected);
    answer.Sort(u"key", true);
    const std::string said = value.ToUtf8() + " by " + request.added[0].expression.ToUtf8() +
                             " where " + request.filter.ToUtf8() + "\n" + done.statement + "\n" +
                             Shown(answer) + "\n" + Shown(expected) + "\n" + Shown(dataset_);
    ASSERT_EQ(answer.GetRowCount(), expected.GetRowCount()) << said;
    for (kt_long row = 0; row < answer.GetRowCount(); ++row) {
      ASSERT_TRUE(IsSame(expected.ReadColumn(row, 0), answer.ReadColumn(row, 0))) << said;
      ExpectTotal(request.totals[0].first, expected, answer, row, said);
    }
  }

  // Sums of doubles may differ in their last bits.
  static void ExpectTotal(Kt_Aggregate what, const Kt_Dataset& expected, const Kt_Dataset& answer,
                          kt_long row, const std::string& said) {
    const double count = expected.ReadColumn(row, 2).ToDouble();
    Kt_Variant value = answer.ReadColumn(row, 1);
    const bool adds = what == Kt_Aggregate::kSum || what == Kt_Aggregate::kAvg;
    if (what == Kt_Aggregate::kAvg) {
      ASSERT_EQ(answer.ReadColumn(row, 2).ToDouble(), count) << said;
      value = count == 0 ? Kt_Variant() : Kt_Variant(value.ToDouble() / count);
    }
    const Kt_Variant wanted = expected.ReadColumn(row, 1);
    if (!adds) {
      ASSERT_TRUE(IsSame(wanted, value)) << said;
    } else {
      const double bound = count * 0x1p-52 * expected.ReadColumn(row, 3).ToDouble();
      ASSERT_NEAR(wanted.ToDouble(), value.ToDouble(), bound) << said;
    }
  }

  const std::string url_;
  Kt_Database& database_;
  const Kind kind_;
  const bool has_parts_;
  Dice& dice_;
  Expressions expressions_;
  Kt_Dataset dataset_;
  Kt_SqlTable table_;
};

class EvaluatorOnly {
 public:
  EvaluatorOnly() { Kt_Expr::SetCompiled(false); }
  ~EvaluatorOnly() { Kt_Expr::SetCompiled(true); }
};

template <class MakeTableOf>
void CompareRandomly(const char* name, const std::string& url, Kind kind, Place place,
                     MakeTableOf make_table) {
  const EvaluatorOnly evaluator_only;
  const auto seed = static_cast<std::uint64_t>(Setting("KT_SQL_SEED", 1));
  // Statements over partitions take a plan on each server.
  const std::int64_t wanted = Setting("KT_SQL_EXPRESSIONS", place == Place::kParts ? 1200 : 3000);
  std::int64_t made = 0;
  std::int64_t compared = 0;
  std::int64_t cells = 0;
  std::int64_t selections = 0;
  std::int64_t pushed = 0;
  std::int64_t totals = 0;
  std::int64_t totals_of_parts = 0;
  int tables = 0;
  std::string error;
  for (; compared < wanted && !::testing::Test::HasFailure(); ++tables) {
    SCOPED_TRACE("KT_SQL_SEED=" + std::to_string(seed) + ", table " + std::to_string(tables));
    Dice dice(seed * 1000003 + static_cast<std::uint64_t>(tables));
    make_table(MakeTable(Columns(kind, dice), kind, place, dice));
    const std::unique_ptr<Kt_Database> database = OpenUrl(url, {}, error);
    ASSERT_NE(database, nullptr) << error;
    Comparison comparison(url, *database, kind, place, dice);
    comparison.Run(10);
    made += comparison.made;
    compared += comparison.compared;
    cells += comparison.cells;
    selections += comparison.selections;
    pushed += comparison.pushed_selections;
    totals += comparison.totals;
    totals_of_parts += comparison.totals_of_parts;
  }
  EXPECT_GT(pushed, selections / 4);
  std::cout << name << ": " << compared << " expressions compared in " << cells << " rows of "
            << tables << " tables, " << made << " were made; " << selections
            << " selections, of which " << pushed << " were cut in the database; " << totals
            << " totals of groups, " << totals_of_parts << " of those of partitions\n";
  if (place == Place::kParts) {
    EXPECT_GT(totals_of_parts, totals / 4);
  }
}

TEST(SqlRandom, Sqlite) {
  const SqliteFile file("CREATE TABLE r(a); CREATE VIEW v AS SELECT * FROM r;");
  CompareRandomly("SQLite", file.Url(), Kind::kSqlite, Place::kOne,
                  [&](const std::string& statements) { file.Run(statements); });
}

#if defined(KT_POSTGRESQL_SCRIPT)
void ComparePostgresql(const char* name, Place place) {
  const PostgresqlServer& server = PostgresqlServer::Get();
  if (!server.IsThere()) GTEST_SKIP() << server.WhyNot();
  const auto run = [&](const std::string& statements) {
    const std::string said = server.Run("SET client_min_messages TO error;" + statements);
    EXPECT_EQ(said, "") << statements;
  };
  run(std::string(kLoopbackServer) + "DROP TABLE IF EXISTS r CASCADE;");
  CompareRandomly(name, server.Url(), Kind::kPostgresql, place, run);
  run("DROP TABLE r CASCADE;");
}

TEST(SqlRandom, Postgresql) { ComparePostgresql("PostgreSQL", Place::kOne); }
TEST(SqlRandom, PostgresqlPartitions) { ComparePostgresql("Partitions", Place::kParts); }
#endif

}  // namespace
