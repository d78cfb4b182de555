// SPDX-License-Identifier: MIT
//
// What `kt show` leaves to a database gives what it gives by itself: the same arrangements of the
// same tables, with and without --no-pushdown.
#include <gmock/gmock.h>

#include <random>

#include "cli/cli_test_util.h"
#include "connect/postgresql_server.h"
#include "connect/sqlite_file.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> With(std::vector<std::string> arguments, const std::string& option) {
  arguments.push_back(option);
  return arguments;
}

// Rows of a shop: sums of its reals are exact, so they do not hang on the order of the additions.
std::string Rows(bool is_pg) {
  static const char* const kItems[] = {"'tea'", "'Tea'", "''", "NULL", "'\xC3\xA4pfel'", "'milk'"};
  std::mt19937_64 random(7);
  const auto below = [&](int count) {
    return static_cast<int>(random() % static_cast<unsigned>(count));
  };
  std::string rows;
  for (int id = 1; id <= 200; ++id) {
    rows += (id > 1 ? ",(" : "(") + std::to_string(id) + ',' + kItems[below(6)];
    rows += below(5) == 0 ? ",NULL" : ",'R" + std::to_string(below(4)) + "'";
    rows += below(6) == 0 ? ",NULL" : "," + std::to_string(below(9) - 3);
    rows += below(6) == 0 ? ",NULL" : "," + std::to_string(below(400)) + ".25";
    rows += below(6) == 0 ? ",NULL" : "," + std::to_string(below(64)) + ".5";
    rows += below(6) == 0 ? ",NULL" : ",'2024-0" + std::to_string(1 + below(9)) + "-15'";
    rows += below(2) == 0 ? ",3000000000" : "," + std::to_string(below(5));
    rows +=
        std::string(",") + (below(2) == 0 ? (is_pg ? "true" : "1") : (is_pg ? "false" : "0")) + ")";
  }
  return rows;
}

std::string Shop(bool is_pg) {
  const std::string amount = is_pg ? "numeric(10,2)" : "DECIMAL(10,2)";
  const std::string real = is_pg ? "float8" : "REAL";
  return "CREATE TABLE orders(id int PRIMARY KEY, item text, region text, qty int, price " +
         amount + ", w " + real +
         ", day date, big bigint, paid boolean); INSERT INTO orders VALUES " + Rows(is_pg) + ";";
}

class Arrangements {
 public:
  std::vector<std::string> Make() {
    std::vector<std::string> arguments;
    if (Below(3) > 0) Add(arguments, "--filter", Of(kFilters));
    switch (Below(4)) {
      case 0: Rows(arguments); break;
      case 1: Pivot(arguments); break;
      default: Groups(arguments);
    }
    arguments.push_back(Of({"--json", "--csv", "--show-types", "--markdown"}));
    return arguments;
  }

 private:
  using Texts = std::initializer_list<const char*>;
  static constexpr Texts kFilters = {"qty > 1",
                                     "price >= 100 && qty < 3",
                                     "item == 'tea' || item == ''",
                                     "qty",
                                     "!paid",
                                     "day >= '2024-05-01' && round(w) > 10",
                                     "left(item, 1) == 't'",
                                     "w * 2 > price && region > 'R1'",
                                     "region + '!' == 'R1!'",
                                     "big > 4",
                                     "length(item) == 3 && qty / 2 >= 1",
                                     "w",
                                     "round(w) == 3"};
  static constexpr Texts kPivots = {"region:item:price",       "region,qty:paid:w:max",
                                    "item:region:day",         "region:paid:qty,price:sum",
                                    "region:qty:item",         "item:paid:w:avg",
                                    "region,item:paid:id:avg", "region:paid,qty:w:avg"};

  std::size_t Below(std::size_t count) { return random_() % count; }
  const char* Of(Texts texts) { return texts.begin()[Below(texts.size())]; }
  static void Add(std::vector<std::string>& arguments, const char* option,
                  const std::string& value) {
    arguments.insert(arguments.end(), {option, value});
  }

  void Rows(std::vector<std::string>& arguments) {
    if (Below(2) == 0) Add(arguments, "--columns", Of({"item,w", "big,id", "price,day,qty"}));
    if (Below(3) > 0) {
      Add(arguments, "--sort",
          Of({"w,id", "region:d,id", "big", "item:d,price", "day,qty:d", "paid,w:d"}));
    }
    if (Below(3) > 0) Add(arguments, "--rows", Of({"7", "1", "30", "500", "0"}));
    if (Below(6) == 0) Add(arguments, "--max", "price");
  }

  void Pivot(std::vector<std::string>& arguments) {
    const std::string pivot = Of(kPivots);
    Add(arguments, "--pivot", pivot);
    const bool has_region = pivot.starts_with("region,");
    if (has_region && Below(2) == 0) Add(arguments, "--group", "region");
  }

  void Groups(std::vector<std::string>& arguments) {
    Add(arguments, "--group",
        Of({"region", "region,item", "item,paid", "day", "qty,region", "big"}));
    if (Below(5) > 0) arguments.push_back("--totals-only");
    if (Below(3) == 0) return Computed(arguments);
    if (Below(2) == 0) Add(arguments, "--sum", Of({"w", "price,w"}));
    if (Below(3) == 0) Add(arguments, "--avg", "id");
    if (Below(4) == 0) Add(arguments, "--sort", "region");
  }

  void Computed(std::vector<std::string>& arguments) {
    Add(arguments, "--add",
        Of({"x=w * qty", "x=iif(qty > 1, w, null)", "x=round(w)", "x:long=qty"}));
    Add(arguments, "--add",
        Of({"y=x / 2 + qty", "y:long=qty > 1 || !paid", "y:long=length(item)"}));
    Add(arguments, "--sum", Of({"x", "x,y", "y"}));
    if (Below(2) == 0) Add(arguments, "--avg", "id");
  }

  std::mt19937_64 random_{20240105};
};

void CompareArrangements(const std::string& table) {
  Arrangements arrangements;
  int pushed = 0;
  for (int round = 0; round < 150 && !::testing::Test::HasFailure(); ++round) {
    std::vector<std::string> arguments = {"show", table};
    for (const std::string& argument : arrangements.Make()) arguments.push_back(argument);
    std::string line;
    for (const std::string& argument : arguments) line += argument + ' ';
    SCOPED_TRACE(line);
    const Outcome here = Kt(With(arguments, "--no-pushdown"));
    const Outcome there = Kt(With(arguments, "--explain"));
    EXPECT_EQ(there.out, here.out) << there.messages;
    EXPECT_EQ(there.status, here.status);
    pushed += there.messages.find("in the database: the ") != std::string::npos ? 1 : 0;
  }
  EXPECT_GT(pushed, 75);
}

TEST(Pushdown, SqliteGivesTheSame) {
  const SqliteFile shop(Shop(false));
  CompareArrangements(shop.Url() + "?table=orders");
}

TEST(Pushdown, PostgresqlGivesTheSame) {
  const PostgresqlServer& server = PostgresqlServer::Get();
  if (!server.IsThere()) GTEST_SKIP() << server.WhyNot();
  ASSERT_EQ(server.Run(Shop(true)), "");
  CompareArrangements(server.Url() + "&table=orders");
}

// Of a table that lies in three parts, two of them on what looks like another server.
TEST(Pushdown, PostgresqlPartitionsGiveTheSame) {
  const PostgresqlServer& server = PostgresqlServer::Get();
  if (!server.IsThere()) GTEST_SKIP() << server.WhyNot();
  ASSERT_EQ(server.Run(kLoopbackServer), "");
  ASSERT_EQ(
      server.Run("SET client_min_messages = warning; DROP TABLE IF EXISTS orders;" + Shop(true) +
                 "CREATE TABLE there0 AS SELECT * FROM orders WHERE id < 80;"
                 "CREATE TABLE there1 AS SELECT * FROM orders WHERE id BETWEEN 80 AND 139;"
                 "CREATE TABLE spread(LIKE orders) PARTITION BY RANGE (id);"
                 "CREATE FOREIGN TABLE part0 PARTITION OF spread FOR VALUES FROM (MINVALUE) TO (80)"
                 "  SERVER loopback OPTIONS (table_name 'there0');"
                 "CREATE FOREIGN TABLE part1 PARTITION OF spread FOR VALUES FROM (80) TO (140)"
                 "  SERVER loopback OPTIONS (table_name 'there1');"
                 "CREATE TABLE part2 PARTITION OF spread FOR VALUES FROM (140) TO (MAXVALUE);"
                 "INSERT INTO part2 SELECT * FROM orders WHERE id > 139;"),
      "");
  const std::string table = server.Url() + "&table=spread";
  CompareArrangements(table);
  // The first ones of groups that are sorted by their totals.
  const std::vector<std::string> first = {"show",          table,    "--group", "item",
                                          "--totals-only", "--sum",  "w,qty",   "--sort",
                                          "w:d",           "--rows", "2",       "--csv"};
  const Outcome there = Kt(With(first, "--explain"));
  EXPECT_EQ(there.out, Kt(With(first, "--no-pushdown")).out);
  EXPECT_THAT(there.messages, HasSubstr("merged of those of 3 partitions that are made where"));
  const Outcome extremes =
      Kt({"show", table, "--group", "qty", "--totals-only", "--max", "item", "--explain"});
  EXPECT_THAT(extremes.messages, HasSubstr("totals, of rows of 3 partitions that are fetched"));
}

TEST(Pushdown, IsExplained) {
  const SqliteFile shop(
      "CREATE TABLE orders(id INTEGER PRIMARY KEY, item TEXT, price REAL);"
      "INSERT INTO orders VALUES (1, 'tea', 2.5), (2, 'milk', NULL), (3, 'ink', 7);"
      "CREATE TABLE mixed(a, b DATE); INSERT INTO mixed VALUES (1, 'soon'), ('x', '2024-01-05');"
      "CREATE VIEW shown AS SELECT *, 'x' AS kind FROM orders;"
      "CREATE TABLE emoji(a TEXT); INSERT INTO emoji VALUES ('\xF0\x9F\x98\x80'), "
      "('\xEF\xBD\x9E');");
  const std::string table = shop.Url() + "?table=orders";
  const std::string mixed = shop.Url() + "?table=mixed";
  const std::string view = shop.Url() + "?table=shown";
  const std::string emoji = shop.Url() + "?table=emoji";
  const struct {
    std::vector<std::string> arguments;
    std::vector<std::string> lines;
  } kRows[] = {
      {{table, "--filter", "price > 2.25 && item != 'ink'"},
       {"WHERE (\"price\" > ?1) AND (NOT (((\"item\") COLLATE BINARY = ?2) IS TRUE)) ORDER BY "
        "_rowid_\n",
        "kt show: ?1 is 2.25\n", "kt show: ?2 is ink\n",
        "kt show: in the database: the filter; 1 row was fetched\n"}},
      {{table, "--filter", "id < 3 && round(price) == 3"},
       {"in the database: a part of the filter; 2 rows were fetched\n",
        "kt show: here: the filter\n",
        "here, because of the filter: round(): works on the decimal digits"}},
      // What may fail is not passed over.
      {{table, "--filter", "space(id) == '' && id < 3"},
       {"nothing but reading; 3 rows", "it stands after a condition that may fail"}},
      {{table, "--filter", "rowidx == 1"}, {"the filter: 'rowidx' is no column\n"}},
      {{table, "--filter", "price %"}, {"the options are at fault", "expression ends too early"}},
      {{table, "--filter", "id > 1 && id > 2 || id"}, {"the filter; 2 rows", "[mixed-and-or]"}},
      {{table, "--group", "item", "--totals-only", "--avg", "price"},
       {"total(\"price\") AS \"price\", count(\"price\") AS \"price_2\", count(*) AS \"rows\" FROM "
        "\"orders\" GROUP BY \"item\" COLLATE BINARY\n",
        "in the database: the groups and their totals; 3 rows were fetched\n"}},
      {{table, "--sort", "price:d,item", "--rows", "2"},
       {"FROM \"orders\" ORDER BY \"price\" DESC NULLS FIRST, \"item\" COLLATE BINARY, "
        "_rowid_ LIMIT 2\n",
        "asked first: SELECT count(*) FROM \"orders\"\n",
        "in the database: the first 2 rows in their order; 2 rows were fetched\n", "… 1 more row"}},
      {{table, "--rows", "1", "--csv", "--filter", "price > 3"},
       {"WHERE (\"price\" > 3) ORDER BY _rowid_ LIMIT 1\n"}},
      {{table, "--rows", "1", "--filter", "round(price) > 3"},
       {"here, because of the limit: the filter comes first\n"}},
      {{table, "--rows", "1", "--sum", "price"}, {"here: everything; all rows and columns are"}},
      {{view, "--rows", "1"},
       {"the limit: the rows of a view, or of a table made of others, have"}},
      {{view, "--rows", "2", "--sort", "id"},
       {"asked first: SELECT \"id\" FROM \"shown\" ORDER BY \"id\" LIMIT 3\n",
        "FROM \"shown\" ORDER BY \"id\" LIMIT 2\n"}},
      {{view, "--rows", "2", "--sort", "kind"},
       {"here: the order\n", "the limit: rows are equal in its order", "3 rows were fetched"}},
      {{emoji, "--rows", "1", "--sort", "a"},
       {"the limit: column 'a' may have texts with characters beyond U+FFFF\n"}},
      {{table + "&limit=1&filter=price > 3"},
       {"here: everything; the URL says itself what is loaded\n", "LIMIT 1\n",
        "in the database: the filter; the first 1 rows; 1 row was fetched\n"}},
      {{table, "--add", "worth=iif(id > 1, price * 2, null)", "--add", "kind:string=left(item, 1)",
        "--group", "kind", "--totals-only", "--sum", "worth"},
       {"SELECT (substr(\"item\", 1, 1)) COLLATE BINARY AS \"kind\", "
        "total((CASE WHEN (\"id\" > 1) THEN (coalesce(\"price\", 0) * CAST(2 AS REAL)) ELSE NULL "
        "END))",
        "in the database: the groups and their totals; 3 rows were fetched\n"}},
      {{table, "--add", "worth=round(price)", "--group", "item", "--totals-only", "--sum", "worth"},
       {"the choice of 2 of 3 columns; 3 rows", "column 'worth' is computed here: round(): works"}},
      {{table, "--add", "one:long=1", "--group", "one", "--totals-only"},
       {"SELECT \"id\" AS \"id\" FROM", "column 'one' is computed here: it reads no column\n"}},
      {{table, "--add", "price=id"}, {"--add: there is a column 'price' already\n"}},
      {{table, "--add", "worth"},
       {"--add: expected NAME=EXPR or NAME:TYPE=EXPR in place of 'worth'"}},
      {{table, "--add", "x:what=1"}, {"--add: 'what' is no type of a column\n"}},
      {{table, "--add", "x=id +"}, {"expression ends too early"}},
      {{table, "--group", "price", "--totals-only"}, {"column 'price' holds doubles"}},
      {{mixed, "--filter", "a = 1"}, {"column 'a' has values of several kinds"}},
      {{mixed, "--filter", "b = '2024-01-05'"}, {"column 'b' is declared as a date and has other"}},
      {{table}, {"kt show: here: everything; all rows and columns are shown\n"}},
      {{shop.Url() + "?query=SELECT 1 AS a", "--filter", "a > 0"}, {"a query is taken as it is"}},
      {{table, "--filter", "id > 1", "--no-pushdown"}, {"here: everything; --no-pushdown\n"}},
  };
  for (const auto& row : kRows) {
    std::vector<std::string> arguments = {"show", "--explain"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome outcome = Kt(arguments);
    for (const std::string& line : row.lines) {
      EXPECT_THAT(outcome.messages + outcome.out, HasSubstr(line));
    }
  }
  EXPECT_THAT(Kt({"show", table, "--filter", "id > 1"}).messages, Not(HasSubstr("database")));
  const Outcome none = Kt({"show", "sqlite:no.db?table=orders", "--filter", "id > 1"});
  EXPECT_EQ(none.status, 2);
  EXPECT_THAT(none.messages, HasSubstr("sqlite:no.db?table=orders: error: cannot open"));
}

// Sums that only the order of the additions makes differ, and those that are no numbers.
TEST(Pushdown, SumsOfReals) {
  const SqliteFile shop(
      "CREATE TABLE r(k TEXT, x REAL); WITH RECURSIVE g(i) AS (SELECT 1 UNION ALL SELECT i + 1 "
      "FROM g "
      "WHERE i < 5000) INSERT INTO r SELECT 'k' || (i % 3), 1.0 / i FROM g;"
      "CREATE TABLE odd(k TEXT, x REAL); INSERT INTO odd VALUES ('a', 9e999), ('a', -9e999), ('b', "
      "1);");
  const auto sums = [](const std::string& table, const std::string& option) {
    return Kt({"show", table, "--group", "k", "--totals-only", "--sum", "x", "--csv", option});
  };
  const std::string table = shop.Url() + "?table=r";
  const std::string here = sums(table, "--no-pushdown").out;
  const std::string there = sums(table, "--explain").out;
  std::istringstream a(here);
  std::istringstream b(there);
  std::string left;
  std::string right;
  int lines = 0;
  while (std::getline(a, left) && std::getline(b, right)) {
    if (lines++ == 0) continue;
    const double expected = std::stod(left.substr(left.rfind(',') + 1));
    EXPECT_NEAR(std::stod(right.substr(right.rfind(',') + 1)), expected, expected * 5000 * 0x1p-53);
  }
  EXPECT_EQ(lines, 4);
  const std::string odd = shop.Url() + "?table=odd";
  const Outcome outcome = sums(odd, "--explain");
  EXPECT_EQ(outcome.out, sums(odd, "--no-pushdown").out);
  EXPECT_THAT(outcome.messages, HasSubstr("here: everything; the total of column 'x' is infinite"));
}

}  // namespace
