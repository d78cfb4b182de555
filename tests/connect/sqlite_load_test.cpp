// SPDX-License-Identifier: MIT
//
// What a dataset has of a table of SQLite. Tables are made by the client library itself.
#include <chrono>

#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_Memory.h"
#include "connect/connect_test_util.h"
#include "connect/sqlite_file.h"

namespace {

class SqliteLoad : public ::testing::Test {
 protected:
  std::string Load(const std::string& statements, const std::string& query) {
    const SqliteFile file(statements);
    std::string error;
    const auto database = OpenUrl(file.Url(), {}, error);
    return database != nullptr ? Answered(*database, query) : "!" + error;
  }
};

TEST_F(SqliteLoad, TypesAndValues) {
  const struct {
    const char* columns;
    const char* values;  // of the rows
    const char* shown;
  } kRows[] = {
      {"a INTEGER", "(1), (NULL), (-2147483648)", "a:long|1|-|-2147483648"},
      // Past 32 bits: exact as a double, otherwise as text.
      {"a INTEGER", "(1), (2147483648), (-9007199254740992)",
       "a:double|1|2147483648|-9.00719925474099e+15"},
      {"a INTEGER", "(1), (NULL), (2147483648), (9007199254740993)",
       "a:string|1|-|2147483648|9007199254740993"},
      {"a INTEGER", "(9223372036854775807), (1)", "a:string|9223372036854775807|1"},
      {"a REAL", "(1), (NULL), (0.1)", "a:double|1|-|0.1"},
      {"a REAL", "(9e999), (-9e999)", "a:double|inf|-inf"},
      {"a", "(1), (2.5)", "a:double|1|2.5"},
      {"a TEXT", "(1), (''), (NULL), ('Bär')", "a:string|1||-|Bär"},
      {"a BLOB", "(x'00ff'), (x''), (NULL)", "a:binary|00ff||-"},
      {"a BOOLEAN", "(true), (false)", "a:long|1|0"},
      // Each cell has its own kind.
      {"a", "(1), ('x'), (2.5), (NULL), (x'ff'), (3000000000), (9007199254740993)",
       "a:variant|3=1|8=x|5=2.5|0=-|13=ff|5=3000000000|8=9007199254740993"},
      {"a", "('x'), (1)", "a:variant|8=x|3=1"},
      {"a", "(1.5), (9007199254740993)", "a:variant|5=1.5|8=9007199254740993"},
      // What is declared counts where all values can be meant so.
      {"a DECIMAL(10,2)", "(12.5), (NULL), (3), (-0.0001)", "a:currency|12.5|-|3|-0.0001"},
      {"a NUMERIC", "(12.5), (0.00001)", "a:double|12.5|0.00001"},
      {"a DECIMAL", "(900719925474.0992), (90071992547409.93)",
       "a:double|900719925474.099|90071992547409.9"},
      {"a DATE", "('2024-01-05'), (NULL)", "a:datetime|2024-01-05|-"},
      {"a DATETIME", "('2024-01-05 08:30:00'), ('2024-01-05T08:30')",
       "a:datetime|2024-01-05 08:30:00|2024-01-05 08:30:00"},
      {"a TIMESTAMP", "('2024-01-05 08:30:00Z')", "a:string|2024-01-05 08:30:00Z"},
      {"a DATE", "('2024-01-05'), ('soon')", "a:string|2024-01-05|soon"},
      {"a DATE", "('2024-02-30')", "a:string|2024-02-30"},
      {"a DATE", "(1700000000)", "a:long|1700000000"},
      {"a TIME", "('08:30')", "a:string|08:30"},
      // Without a value the declaration is all that there is.
      {"a INT, b FLOAT, c VARCHAR(3), d BLOB, e DATE, f MONEY, g, h bool",
       "(NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL)",
       "a:long b:double c:string d:binary e:datetime f:currency g:string h:long|- - - - - - - -"},
      // Names: equal ones, empty ones, odd ones.
      {"\"a b\", \"A B \", \"x\"\"y\"", "(1, 2, 3)", "a b:long A B :long x\"y:long|1 2 3"},
  };
  for (const auto& row : kRows) {
    const std::string made = std::string("CREATE TABLE t(") + row.columns +
                             "); INSERT INTO t VALUES " + row.values + ";";
    EXPECT_EQ(Load(made, "SELECT * FROM t"), row.shown) << row.columns << row.values;
  }
  EXPECT_EQ(Load("", "SELECT 1 AS a, 2 AS A, 3 AS \"\""), "a:long A_2:long column3:long|1 2 3");
  EXPECT_EQ(Load("CREATE TABLE t(a INT);", "SELECT * FROM t"), "a:long");
}

TEST_F(SqliteLoad, TextsThatAreNoUtf8) {
  const std::string bad =
      "CREATE TABLE t(n TEXT); INSERT INTO t VALUES ('a'), "
      "(CAST(x'41ff' AS TEXT));";
  EXPECT_EQ(Load(bad, "SELECT n FROM t"),
            "!row 2, column 'n': the text is no UTF-8; CAST(\"n\" AS BLOB) reads its bytes");
  EXPECT_EQ(Load(bad, "SELECT CAST(n AS BLOB) AS n FROM t"), "n:binary|61|41ff");
  const std::string wide =
      "PRAGMA encoding='UTF-16be'; CREATE TABLE t(n TEXT); "
      "INSERT INTO t VALUES ('B\u00E4r \U0001F600');";
  EXPECT_EQ(Load(wide, "SELECT n FROM t"), "n:string|B\u00E4r \U0001F600");
}

TEST_F(SqliteLoad, RefusesWhatIsNoQuestionToThisFile) {
  const SqliteFile other("CREATE TABLE secret(a);");
  const std::string path = "'" + other.Path() + "'";
  const struct {
    std::string query;
    const char* reason;
  } kRows[] = {
      {"SELECT * FROM none", "no such table: none"},
      {"SELEC 1", "near \"SELEC\": syntax error"},
      {"", "there is no statement"},
      {"-- nothing", "there is no statement"},
      {"SELECT 1; DELETE FROM t", "more than one statement"},
      {"DELETE FROM t", "a statement that loads may not write"},
      {"CREATE TABLE u(a)", "a statement that loads may not write"},
      {"PRAGMA user_version = 7", "not authorized: only the tables of this file can be reached"},
      {"PRAGMA temp_store_directory = '/tmp'",
       "not authorized: only the tables of this file can be reached"},
      {"ATTACH " + path + " AS o", "not authorized: only the tables of this file can be reached"},
      {"VACUUM INTO " + path, "authorization denied: only the tables of this file can be reached"},
      {"SELECT load_extension('x')", "not authorized"},
      {"BEGIN", "the statement has no rows as its answer"},
      {"SELECT zeroblob(300000000)", "string or blob too big"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Load("CREATE TABLE t(a); INSERT INTO t VALUES (1);", row.query),
              std::string("!") + row.reason);
  }
}

TEST_F(SqliteLoad, ParametersAreBound) {
  const SqliteFile file(
      "CREATE TABLE t(n TEXT, v);"
      "INSERT INTO t VALUES ('a''; DROP TABLE t; --', 1), ('b', 2.5);");
  std::string error;
  const auto database = OpenUrl(file.Url(), {}, error);
  ASSERT_NE(database, nullptr) << error;
  Kt_Variant binary;
  binary.SetBinary("\0\xff", 2);
  const Kt_Variant values[] = {kt_long{-7},
                               2.5,
                               Kt_Currency::FromUnits(12345),
                               u"a'; DROP TABLE t; --",
                               Kt_DateTime{45296.5},
                               binary,
                               Kt_Variant(true),
                               Kt_Variant()};
  EXPECT_EQ(Answered(*database, "SELECT ?1 a, ?2 b, ?3 c, ?4 d, ?5 e, ?6 f, ?7 g, ?8 h", values),
            "a:long b:double c:double d:string e:string f:binary g:long h:string|"
            "-7 2.5 1.2345 a'; DROP TABLE t; -- 2024-01-05 12:00:00 00ff 1 -");
  EXPECT_EQ(Answered(*database, "SELECT v FROM t WHERE n = ?1", std::span(values).subspan(3, 1)),
            "v:long|1");
  const Kt_Variant refused[] = {Kt_Variant(Kt_WString(std::u16string_view(u"\xD800", 1)))};
  EXPECT_EQ(Answered(*database, "SELECT ?1", refused),
            "!half of a surrogate pair, which UTF-8 does not have");
}

TEST_F(SqliteLoad, FilesThatCannotBeOpened) {
  const SqliteFile file("CREATE TABLE t(a);");
  std::string error;
  EXPECT_EQ(OpenUrl("sqlite:" + file.Path() + ".none", {}, error), nullptr);
  EXPECT_EQ(error, "cannot open: No such file or directory");
  EXPECT_EQ(OpenUrl("sqlite::memory:", {}, error), nullptr) << "a file of that name is meant";
  EXPECT_EQ(OpenUrl("sqlite:/etc/hostname", {}, error), nullptr);
  EXPECT_EQ(error, "file is not a database");
  std::filesystem::create_symlink(file.Path(), file.Path() + ".link");
  Kt_Database::Options options;
  EXPECT_NE(OpenUrl(file.Url() + ".link", options, error), nullptr);
  options.follow_links = false;
  EXPECT_EQ(OpenUrl(file.Url() + ".link", options, error), nullptr);
}

// A statement that would run for ever ends with each of the bounds, and leaves the dataset alone.
TEST_F(SqliteLoad, BoundsStopALoad) {
  const SqliteFile file("CREATE TABLE t(a);");
  const char* const kForEver =
      "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT x FROM c";
  std::string error;
  Kt_Database::Options options;
  options.progress = [](std::int64_t rows) { return rows < 200000; };
  const auto database = OpenUrl(file.Url(), options, error);
  Kt_Dataset dataset;
  EXPECT_EQ(database->Query("SELECT 5 AS five", {}, dataset, error), 1);
  EXPECT_LT(database->Query(kForEver, {}, dataset, error), 0);
  EXPECT_EQ(error, "cancelled");
  {
    Kt_RunBudget budget;
    budget.limit_steps = 1000;
    const Kt_BoundedWork bounds(budget);
    EXPECT_EQ(database->Query(kForEver, {}, dataset, error), kErrStepBudget);
  }
  {
    Kt_RunBudget budget;
    budget.deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    const Kt_BoundedWork bounds(budget);
    const std::string silent = std::string("SELECT count(*) FROM (") + kForEver + ")";
    EXPECT_EQ(database->Query(silent, {}, dataset, error), kErrDeadline);
  }
  {
    const Kt_CountedMemory bound(1 << 20);
    EXPECT_EQ(database->Query(kForEver, {}, dataset, error), kErrNoMemory);
  }
  EXPECT_EQ(Shown(dataset), "five:long|5");
}

}  // namespace
