// SPDX-License-Identifier: MIT
//
// Changes of datasets that are saved to tables, on every kind of database that there is.
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <thread>

#include "classlib/base/Kt_Codes.h"
#include "connect/Kt_Changes.h"
#include "connect/connect_test_util.h"
#include "connect/postgresql_server.h"
#include "connect/sqlite_file.h"
#include "random_dataset.h"

namespace {

using Edit = std::function<void(Kt_Dataset&)>;

// A database as its own program sees it, and as a URL.
class Changes : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (IsSqlite()) {
      file_ = std::make_unique<SqliteFile>("");
    } else if (!PostgresqlServer::Get().IsThere()) {
      GTEST_SKIP() << PostgresqlServer::Get().WhyNot();
    }
  }

  bool IsSqlite() const { return std::string(GetParam()) == "SQLite"; }
  std::string Run(const std::string& statements) const {
    return IsSqlite() ? file_->Run(statements) : PostgresqlServer::Get().Run(statements);
  }
  // A new table with this definition and these rows.
  void Make(const std::string& table, const std::string& columns, const std::string& rows) const {
    Run("DROP TABLE IF EXISTS " + table + "; CREATE TABLE " + table + "(" + columns + ");" +
        (rows.empty() ? "" : "INSERT INTO " + table + " VALUES " + rows + ";"));
  }
  Kt_DatabaseUrl Url(const std::string& table) const {
    std::string text = IsSqlite() ? file_->Url() + "?" : PostgresqlServer::Get().Url() + "&";
    Kt_DatabaseUrl url;
    std::string reason;
    EXPECT_TRUE(Kt_DatabaseUrl::Parse(text + "timeout=1", url, reason)) << reason;
    url.table = table;
    return url;
  }
  Kt_Dataset Load(const std::string& table) const {
    Kt_Dataset dataset(u"t");
    std::string error;
    EXPECT_GE(kt::LoadDatabase(Url(table), {}, dataset, error), 0) << error;
    return dataset;
  }
  // What a save says: "2" for what was saved, or the error with its conflicts.
  std::string Save(const std::string& table, Kt_Dataset& dataset) const {
    Kt_ChangeReport report;
    const kt_long saved = kt::SaveChanges(Url(table), {}, dataset, report);
    if (saved >= 0) return std::to_string(saved);
    std::string text = report.error;
    for (const auto& conflict : report.conflicts) text += "|" + conflict.Text();
    return text;
  }

  std::unique_ptr<SqliteFile> file_;
};

INSTANTIATE_TEST_SUITE_P(Databases, Changes, ::testing::Values("SQLite", "PostgreSQL"),
                         [](const auto& info) { return std::string(info.param); });

constexpr const char* kColumns =
    "id INTEGER PRIMARY KEY, name VARCHAR(40) NOT NULL UNIQUE, price DECIMAL(10,2), qty INTEGER, "
    "day DATE";
constexpr const char* kRows =
    "(1, 'tea', 2.5, 3, '2024-01-05'), (2, 'milk', NULL, 1, NULL), (3, 'ink', 9.99, NULL, NULL), "
    "(4, 'pen', 1, 7, '2024-02-01')";
constexpr const char* kAll = "SELECT id, name, price * 100, qty, day FROM items ORDER BY id";

// What there is after editing and saving, in the database and, the same, in the dataset.
TEST_P(Changes, AreSaved) {
  const std::string untouched =
      "1,tea,250,3,2024-01-05|2,milk,-,1,-|3,ink,999,-,-|"
      "4,pen,100,7,2024-02-01";
  const struct {
    const char* what;
    Edit edit;
    const char* saved;
    std::string there;
  } kCases[] = {
      {"nothing", [](Kt_Dataset&) {}, "0", untouched},
      {"a state without a change", [](Kt_Dataset& t) { t.SetRowType(0, kRowTypeUpdate); }, "0",
       untouched},
      {"there and back",
       [](Kt_Dataset& t) {
         t.SetColumn(0, 1, u"x");
         t.SetColumn(0, 1, u"tea");
       },
       "0", untouched},
      {"to null, from null, to the empty text",
       [](Kt_Dataset& t) {
         t.SetColumn(0, 2, Kt_Variant());
         t.SetColumn(1, 2, Kt_Currency::FromUnits(12300));
         t.SetColumn(2, 1, u"");
         t.SetColumn(1, 4, Kt_DateTime{45296});
       },
       "3", "1,tea,-,3,2024-01-05|2,milk,123,1,2024-01-05|3,,999,-,-|4,pen,100,7,2024-02-01"},
      {"a name that goes, comes again",
       [](Kt_Dataset& t) {
         t.DeleteRow(0);
         t.SetColumn(0, 1, u"tea");
         const kt_long row = t.AppendRow();
         t.SetColumn(row, 0, kt_long{1});
         t.SetColumn(row, 1, u"milk");
       },
       "3", "1,milk,-,-,-|2,tea,-,1,-|3,ink,999,-,-|4,pen,100,7,2024-02-01"},
      {"a key that changes", [](Kt_Dataset& t) { t.SetColumn(3, 0, kt_long{40}); }, "1",
       "1,tea,250,3,2024-01-05|2,milk,-,1,-|3,ink,999,-,-|40,pen,100,7,2024-02-01"},
      {"sorted, filtered and hidden",
       [](Kt_Dataset& t) {
         t.Sort(u"name:d");
         t.SetColumn(t.LookupDataRow(u"id", u"1"), 3, kt_long{30});
         t.DeleteRow(t.LookupDataRow(u"id", u"4"));
         const kt_long row = t.AppendRow();
         t.SetColumn(row, 0, kt_long{9});
         t.SetColumn(row, 1, u"hidden");
         for (kt_long at = t.GetRowCount(); at-- > 0;) t.Filter(at);
       },
       "3", "1,tea,250,30,2024-01-05|2,milk,-,1,-|3,ink,999,-,-|9,hidden,-,-,-"},
  };
  for (const auto& row : kCases) {
    Make("items", kColumns, kRows);
    Kt_Dataset items = Load("items");
    row.edit(items);
    EXPECT_EQ(Save("items", items), row.saved) << row.what;
    // psql shows two decimals more than there are.
    std::string there = Run(kAll);
    for (std::size_t at = there.find(".00"); at != there.npos; at = there.find(".00")) {
      there.erase(at, 3);
    }
    for (std::size_t at = there.find(".0"); at != there.npos; at = there.find(".0")) {
      there.erase(at, 2);
    }
    EXPECT_EQ(there, row.there) << row.what;
    EXPECT_FALSE(items.GetUpdate()) << row.what;
    items.UnFilter();
    items.Sort(u"id");
    EXPECT_EQ(Shown(items), Shown([&] {
                Kt_Dataset again = Load("items");
                again.Sort(u"id");
                return again;
              }()))
        << row.what;
    EXPECT_EQ(Save("items", items), "0") << "once more: " << row.what;
  }
}

TEST_P(Changes, WhatTheDatabaseMakesOfARowIsReadBack) {
  Make("made",
       IsSqlite() ? "id INTEGER PRIMARY KEY, a TEXT DEFAULT 'none', n INTEGER CHECK (n > 0)"
                  : "id SERIAL PRIMARY KEY, a TEXT DEFAULT 'none', n INTEGER CHECK (n > 0)",
       "");
  Kt_Dataset made = Load("made");
  made.AppendRow(3);
  made.SetColumn(1, 1, u"own");
  made.SetColumn(1, 2, kt_long{5});
  EXPECT_EQ(Save("made", made), "3");
  EXPECT_EQ(Shown(made), "id:long a:string n:long|1 none -|2 own 5|3 none -");
  EXPECT_EQ(Run("SELECT * FROM made ORDER BY id"), "1,none,-|2,own,5|3,none,-");
  made.SetColumn(0, 1, u"mine");
  EXPECT_EQ(Save("made", made), "1") << "by the key that was read back";
  made.SetColumn(0, 2, kt_long{-1});
  made.SetColumn(1, 2, kt_long{6});
  EXPECT_EQ(Save("made", made).substr(0, 71),
            "nothing was saved: 1 of 2 changes does not fit what the database has|up");
  EXPECT_EQ(Run("SELECT * FROM made ORDER BY id"), "1,mine,-|2,own,5|3,none,-");
}

// Somebody else was there: all conflicts are told, nothing is saved, the dataset keeps its changes.
TEST_P(Changes, Conflicts) {
  Make("items", kColumns, kRows);
  Kt_Dataset items = Load("items");
  items.SetColumn(0, 3, kt_long{4});
  items.SetColumn(1, 3, kt_long{2});
  items.SetColumn(2, 3, kt_long{5});
  items.DeleteRow(3);
  items.AppendRow();
  items.SetColumn(3, 0, kt_long{5});
  items.SetColumn(3, 1, u"nib");
  items.AppendRow();
  items.SetColumn(4, 1, u"milk");
  items.SetColumn(4, 0, kt_long{6});
  Run("UPDATE items SET price = 3, qty = NULL WHERE id = 1; DELETE FROM items WHERE id = 2;"
      "UPDATE items SET qty = 8 WHERE id = 4; INSERT INTO items(id, name) VALUES (7, 'milk');");
  const std::string there = Run(kAll);
  const std::string before = Shown(items);
  const std::string twice = IsSqlite() ? "UNIQUE constraint failed: items.name"
                                       : "duplicate key value violates unique constraint "
                                         "\"items_name_key\" (Key (name)=(milk) already exists.)";
  const std::string told =
      "nothing was saved: 4 of 6 changes do not fit what the database has"
      "|delete of id 4: qty is 8 there and was 7"
      "|update of id 1: price is 3 there and was 2.5, qty is null there and was 3"
      "|update of id 2: it was deleted there"
      "|insert of id 6: " +
      twice;
  EXPECT_EQ(Save("items", items), told);
  EXPECT_EQ(Run(kAll), there);
  EXPECT_EQ(Shown(items), before);
  EXPECT_EQ(items.GetDelRowCount(), 1);
  EXPECT_EQ(items.GetRowType(0), kRowTypeUpdate);
  EXPECT_EQ(items.GetRowType(4), kRowTypeInsert);
  EXPECT_EQ(items.GetOrgColumn(0, 3).AsLong(), 3);
  EXPECT_EQ(Save("items", items), told) << "and again";
}

TEST_P(Changes, RowsWithoutAKey) {
  Make("bare", "a INTEGER, b VARCHAR(9)", "(1, 'x'), (1, 'x'), (2, NULL), (3, 'z')");
  Kt_Dataset bare = Load("bare");
  bare.SetColumn(2, 1, u"y");
  bare.DeleteRow(3);
  EXPECT_EQ(Save("bare", bare), "2");
  EXPECT_EQ(Run("SELECT * FROM bare ORDER BY a"), "1,x|1,x|2,y");
  bare.SetColumn(0, 1, u"other");
  EXPECT_EQ(Save("bare", bare),
            "nothing was saved: 1 of 1 changes does not fit what the database has"
            "|update of row 0: 2 rows are like it");
  EXPECT_EQ(Run("SELECT * FROM bare ORDER BY a"), "1,x|1,x|2,y");
}

TEST_P(Changes, HostileNamesAndValues) {
  const std::string table = "\"we\"\"ird; DROP TABLE items; --\"";
  Make("items", kColumns, kRows);
  Make(table, "\"a\"\"b\" INTEGER PRIMARY KEY, \"select\" TEXT, \"x'; DROP TABLE items; --\" TEXT",
       "(1, 'one', NULL)");
  Kt_Dataset odd = Load(table);
  const char16_t* const kTexts[] = {u"'; DROP TABLE items; --",
                                    u"\"",
                                    u"\\x00",
                                    u"\\",
                                    u"$1 ?1 :a @b %s {0}",
                                    u"B\u00E4r \xD83D\xDE00",
                                    u"\t\r\n\v",
                                    u"NULL",
                                    u"",
                                    u" ",
                                    u"\u202E\u200B",
                                    u"1e5",
                                    u"-- x",
                                    u"/*",
                                    u"\\N",
                                    u"{}"};
  kt_long key = 2;
  for (const char16_t* const text : kTexts) {
    const kt_long row = odd.AppendRow();
    odd.SetColumn(row, 0, key++);
    odd.SetColumn(row, 1, text);
    odd.SetColumn(row, 2, Kt_WString(text) + u"'");
  }
  EXPECT_EQ(Save(table, odd), std::to_string(std::size(kTexts)));
  Kt_Dataset again = Load(table);
  again.Sort(u"a\"b");
  EXPECT_EQ(Shown(again), Shown(odd));
  for (kt_long row = 1; row < odd.GetRowCount(); ++row) odd.SetColumn(row, 2, u"done");
  EXPECT_EQ(Save(table, odd), std::to_string(std::size(kTexts))) << "each found by its values";
  odd.DeleteAll();
  EXPECT_EQ(Save(table, odd), std::to_string(std::size(kTexts) + 1));
  EXPECT_EQ(Run("SELECT count(*) FROM items"), "4");
}

TEST_P(Changes, WhatCannotBeSaved) {
  const auto fails = [&](const char* what, const std::string& table, const std::string& reason,
                         const Edit& edit) {
    Make("items", kColumns, kRows);
    Kt_Dataset items = Load("items");
    edit(items);
    const std::string said = Save(table, items);
    EXPECT_NE(said.find(reason), said.npos) << what << ": " << said;
    EXPECT_EQ(Run("SELECT count(*) FROM items WHERE qty > 2"), "2") << what;
  };
  const auto change = [](Kt_Dataset& t) { t.SetColumn(1, 3, kt_long{9}); };
  fails("no table", "none", IsSqlite() ? "no such table: none" : "\"none\" does not exist", change);
  fails("no name", "a..b", "is no name of a table", change);
  fails("nothing named", "", "changes are saved to a table: ?table=NAME", change);
  fails("half a surrogate pair", "items", "update of id 2: name: half of a surrogate pair",
        [&](Kt_Dataset& t) {
          change(t);
          t.SetColumn(1, 1, Kt_WString(std::u16string_view(u"a\xD800", 2)));
        });
  fails("a column that the table lacks", "items", "update of id 2: the table has no column 'more'",
        [&](Kt_Dataset& t) {
          t.AddColumn(u"more");
          t.SetColumn(1, 5, u"x");
        });
  fails("no key", "items", "the dataset lacks the column 'id', a part of the key",
        [&](Kt_Dataset& t) {
          Kt_DatabaseUrl url = Url("");
          url.query = "SELECT name, qty FROM items";
          std::string error;
          EXPECT_EQ(kt::LoadDatabase(url, {}, t, error), 4) << error;
          t.SetColumn(0, 1, kt_long{9});
        });
  fails("a null where none may be", "items",
        IsSqlite() ? "NOT NULL constraint failed: items.name" : "violates not-null constraint",
        [&](Kt_Dataset& t) {
          change(t);
          t.SetColumn(2, 1, Kt_Variant());
        });
  // A column that has nothing to save is no reason, nor is one that is computed.
  Kt_Dataset items = Load("items");
  items.AddColumn(u"more");
  items.AddLogicalColumn(u"same", u"name");
  change(items);
  EXPECT_EQ(Save("items", items), "1");
  Kt_Dataset view;
  ASSERT_EQ(view.SetSource(&items), 1);
  EXPECT_EQ(Save("items", view), "a view has no changes; save the dataset that it shows");
}

// Somebody holds a lock; the save ends with the time that it was given, and with the deadline.
TEST_P(Changes, Locks) {
  Make("items", kColumns, kRows);
  Kt_Dataset items = Load("items");
  items.SetColumn(0, 3, kt_long{4});
  std::string error;
  Kt_Database::Options options;
  options.may_write = true;
  const auto other = Kt_Database::Open(Url("items"), options, error);
  ASSERT_NE(other, nullptr) << error;
  std::int64_t changed = 0;
  ASSERT_TRUE(other->Begin(error)) << error;
  ASSERT_TRUE(other->Execute("UPDATE items SET qty = 11 WHERE id = 1", {}, changed, error));
  const std::string waited =
      IsSqlite() ? "database is locked: waited 1 s"
                 : "nothing was saved: 1 of 1 changes does not fit what the database has|update "
                   "of id 1: canceling statement due to lock timeout";
  EXPECT_EQ(Save("items", items), waited);
  {
    Kt_RunBudget budget;
    budget.deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    const Kt_BoundedWork bounds(budget);
    Kt_ChangeReport report;
    EXPECT_EQ(kt::SaveChanges(Url("items"), {}, items, report), kErrDeadline) << report.error;
  }
  EXPECT_TRUE(items.GetUpdate());
  other->Rollback();
  EXPECT_EQ(Save("items", items), "1");
  EXPECT_EQ(Run("SELECT qty FROM items WHERE id = 1"), "4");
}

// To the bit; a moment to the microsecond, which is as fine as a database has it, and zero without
// its sign, which SQLite drops.
bool IsSameThere(const Kt_Variant& wanted, const Kt_Variant& found) {
  constexpr double kHalfMicrosecond = 0.5e-6 / 86400;
  if (wanted.GetTag() == kTagDouble && found.GetTag() == kTagDouble && wanted.AsDouble() == 0) {
    return found.AsDouble() == 0;
  }
  if (wanted.GetTag() == kTagDateTime && found.GetTag() == kTagDateTime) {
    return std::fabs(wanted.AsDouble() - found.AsDouble()) <= kHalfMicrosecond;
  }
  return IsSameValue(wanted, found);
}

// Each is inserted, loaded, and found again by the delete that has all first values.
TEST_P(Changes, AnyValueComesBackOrIsRefused) {
  Make("odd",
       IsSqlite() ? "id INTEGER PRIMARY KEY, s TEXT, l INTEGER, d DOUBLE, c DECIMAL(19,4), "
                    "t DATETIME, b BLOB"
                  : "id INTEGER PRIMARY KEY, s TEXT, l INTEGER, d DOUBLE PRECISION, "
                    "c NUMERIC(19,4), t TIMESTAMP, b BYTEA",
       "");
  constexpr Kt_Tag kTags[] = {kTagString,   kTagLong,     kTagDouble,
                              kTagCurrency, kTagDateTime, kTagBinary};
  RandomDataset maker(1);
  for (kt_long round = 0; round < (IsSqlite() ? 300 : 90); ++round) {
    const kt_long col = 1 + round % 6;
    Kt_Dataset rows = Load("odd");
    ASSERT_EQ(rows.GetRowCount(), 0);
    rows.AppendRow();
    rows.SetColumn(0, 0, round);
    rows.SetColumn(0, col, maker.OfTag(kTags[col - 1]));
    const Kt_Variant wanted = rows.ReadColumn(0, col);
    SCOPED_TRACE(Kt_WString(rows.GetColID(col) + u" " + wanted.ToString()).ToUtf8());
    const std::string saved = Save("odd", rows);
    if (saved != "1") {
      EXPECT_NE(saved.find("insert of id"), saved.npos) << saved;
      continue;
    }
    Kt_Dataset loaded = Load("odd");
    EXPECT_TRUE(IsSameThere(wanted, loaded.ReadColumn(0, col)))
        << loaded.ReadColumn(0, col).ToString().ToUtf8();
    EXPECT_TRUE(IsSameThere(rows.ReadColumn(0, col), loaded.ReadColumn(0, col)))
        << rows.ReadColumn(0, col).ToString().ToUtf8();
    loaded.DeleteRow(0);
    ASSERT_EQ(Save("odd", loaded), "1");
  }
}

TEST(SqliteChanges, ADiskThatIsFull) {
  const SqliteFile file(
      "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
      "INSERT INTO t VALUES (1, 'kept');");
  Kt_DatabaseUrl url;
  std::string error;
  ASSERT_TRUE(Kt_DatabaseUrl::Parse(file.Url() + "?table=t", url, error));
  Kt_Dataset dataset;
  ASSERT_EQ(kt::LoadDatabase(url, {}, dataset, error), 1) << error;
  dataset.SetColumn(0, 1, u"changed");
  for (int row = 0; row < 300; ++row) {
    const kt_long added = dataset.AppendRow();
    dataset.SetColumn(added, 1, Kt_WString::FromUtf8(std::string(4000, 'x')));
  }
  // Files may not grow, which is what a full disk does to them.
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const auto ignored = ::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{std::filesystem::file_size(file.Path()), before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  Kt_ChangeReport report;
  const kt_long saved = kt::SaveChanges(url, {}, dataset, report);
  ::setrlimit(RLIMIT_FSIZE, &before);
  ::signal(SIGXFSZ, ignored);
  EXPECT_LT(saved, 0);
  EXPECT_NE(report.error, "");
  EXPECT_TRUE(dataset.GetUpdate());
  EXPECT_EQ(file.Run("SELECT * FROM t"), "1,kept");
  EXPECT_EQ(kt::SaveChanges(url, {}, dataset, report), 301) << report.error;
  EXPECT_EQ(file.Run("SELECT count(*), max(id) FROM t"), "301,301");
}

TEST(SqliteChanges, CellsOfEveryKind) {
  const SqliteFile file(
      "CREATE TABLE t(id INTEGER PRIMARY KEY, a, d DATETIME, b BLOB, n INTEGER);"
      "INSERT INTO t VALUES (1, 1, '2024-01-05T08:30', x'00', 9007199254740993),"
      "(2, 'x', '2024-01-05 08:30:00.250', NULL, 1), (3, x'ff', NULL, x'', NULL);");
  Kt_DatabaseUrl url;
  std::string error;
  ASSERT_TRUE(Kt_DatabaseUrl::Parse(file.Url() + "?table=t", url, error));
  Kt_Dataset t;
  ASSERT_EQ(kt::LoadDatabase(url, {}, t, error), 3) << error;
  Kt_Variant bytes;
  bytes.SetBinary("\1\2", 2);
  t.SetColumn(0, 1, u"now a text");
  t.SetColumn(1, 1, 2.5);
  t.SetColumn(2, 1, bytes);
  t.SetColumn(0, 2, Kt_DateTime{45296.25});
  t.SetColumn(1, 3, bytes);
  t.SetColumn(2, 4, u"-9007199254740995");
  Kt_ChangeReport report;
  EXPECT_EQ(kt::SaveChanges(url, {}, t, report), 3) << report.error;
  EXPECT_EQ(file.Run("SELECT quote(a), quote(d), quote(b), quote(n) FROM t"),
            "'now a text','2024-01-05 06:00:00',X'00',9007199254740993|"
            "2.5,'2024-01-05 08:30:00.250',X'0102',1|X'0102',NULL,X'',-9007199254740995");
}

class PostgresqlChanges : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!server_.IsThere()) GTEST_SKIP() << server_.WhyNot();
  }
  Kt_DatabaseUrl Url(const std::string& table) const {
    Kt_DatabaseUrl url;
    std::string reason;
    EXPECT_TRUE(Kt_DatabaseUrl::Parse(server_.Url() + "&table=" + table, url, reason)) << reason;
    return url;
  }
  const PostgresqlServer& server_ = PostgresqlServer::Get();
  std::string error_;
};

TEST_F(PostgresqlChanges, CellsOfEveryType) {
  const struct {
    const char* type;
    const char* before;
    Kt_Variant value;
    const char* after;  // empty: refused
  } kRows[] = {
      {"smallint", "5", kt_long{-7}, "-7"},
      {"smallint", "5", kt_long{70000}, ""},
      {"bigint", "9007199254740993", u"-9007199254740995", "-9007199254740995"},
      {"bigint", "3000000000", 4000000000.0, "4000000000"},
      {"integer", "1", kt_long{2}, "2"},
      {"numeric(12,2)", "1.50", Kt_Currency::FromUnits(23456), "2.35"},
      {"numeric", "0.123456789", u"0.987654321", "0.987654321"},
      {"real", "0.1", 0.2, "0.2"},
      {"double precision", "0.1", 1e300, "1e+300"},
      {"double precision", "'NaN'", 2.5, "2.5"},
      {"boolean", "true", kt_long{0}, "f"},
      {"boolean", "NULL", kt_long{1}, "t"},
      {"boolean", "true", kt_long{2}, ""},
      {"date", "'2024-01-05'", Kt_DateTime{45297}, "2024-01-06"},
      {"date", "'2024-01-05'", Kt_DateTime{45297.5}, ""},
      {"date", "'infinity'", u"2024-01-06", "2024-01-06"},
      {"timestamp", "'2024-01-05 08:30:00.123456'", Kt_DateTime{45297.5}, "2024-01-06 12:00:00"},
      {"timestamp", "'2500-01-01 00:00:00.000001'", u"infinity", "infinity"},
      {"timestamptz", "'2024-01-05 08:30:00+02'", Kt_DateTime{45297.5}, "2024-01-06 12:00:00+00"},
      {"timestamptz", "'300-01-01 00:00:00+00 BC'", u"2024-01-06 12:00+02",
       "2024-01-06 10:00:00+00"},
      {"char(4)", "'a'", u"bc", "bc  "},
      {"uuid", "'3b241101-e2bb-4255-8caf-4136c566a962'", u"00000000-0000-0000-0000-000000000001",
       "00000000-0000-0000-0000-000000000001"},
      {"json", "'{\"a\": 1}'", u"[1]", "[1]"},
      {"jsonb", "'{\"a\": 1}'", u"{\"b\": 2}", "{\"b\": 2}"},
      {"bytea", "'\\x00ff'", u"A", "\\x41"},
      {"integer[]", "'{1,2}'", u"{3}", "{3}"},
      {"time", "'08:30'", u"09:00", "09:00:00"},
      {"point", "'(1,2)'", u"(3,4)", "(3,4)"},
      {"text", "'a'", u"b", "b"},
  };
  for (const auto& row : kRows) {
    server_.Run(std::string("SET TimeZone TO UTC; DROP TABLE IF EXISTS cell; "
                            "CREATE TABLE cell(id int PRIMARY KEY, v ") +
                row.type + "); INSERT INTO cell VALUES (1, " + row.before + ");");
    Kt_Dataset cell;
    ASSERT_EQ(kt::LoadDatabase(Url("cell"), {}, cell, error_), 1) << row.type << error_;
    cell.SetColumn(0, 1, row.value);
    Kt_ChangeReport report;
    const kt_long saved = kt::SaveChanges(Url("cell"), {}, cell, report);
    const std::string why =
        report.conflicts.empty() ? report.error : report.conflicts.front().Text();
    if (*row.after == 0) {
      EXPECT_LT(saved, 0) << row.type;
      continue;
    }
    EXPECT_EQ(saved, 1) << row.type << ": " << why;
    EXPECT_EQ(server_.Run("SET TimeZone TO UTC; SELECT v FROM cell"), row.after) << row.type;
  }
}

TEST_F(PostgresqlChanges, ConnectionsThatAreLost) {
  server_.Run(
      "DROP TABLE IF EXISTS slow; CREATE TABLE slow(id int PRIMARY KEY, a text); "
      "INSERT INTO slow SELECT i, 'a' FROM generate_series(1, 50) AS i; "
      "CREATE OR REPLACE FUNCTION dawdle() RETURNS trigger AS "
      "'BEGIN PERFORM pg_sleep(0.1); RETURN NEW; END' LANGUAGE plpgsql; "
      "CREATE TRIGGER slowly BEFORE UPDATE ON slow FOR EACH ROW EXECUTE FUNCTION dawdle();");
  Kt_Dataset slow;
  ASSERT_EQ(kt::LoadDatabase(Url("slow"), {}, slow, error_), 50) << error_;
  for (kt_long row = 0; row < slow.GetRowCount(); ++row) slow.SetColumn(row, 1, u"b");
  std::thread other([&] {
    // As soon as it saves. The statement that asks is among the activities, too.
    const char* const end =
        "SELECT count(pg_terminate_backend(pid)) FROM pg_stat_activity "
        "WHERE pid <> pg_backend_pid() AND query LIKE 'UPDATE%slow%'";
    for (int turn = 0; turn < 100 && server_.Run(end) == "0"; ++turn) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  Kt_ChangeReport report;
  EXPECT_LT(kt::SaveChanges(Url("slow"), {}, slow, report), 0);
  other.join();
  EXPECT_EQ(report.error, "the connection was lost; nothing was saved");
  EXPECT_EQ(slow.GetRowType(0), kRowTypeUpdate);
  EXPECT_EQ(server_.Run("SELECT count(*) FROM slow WHERE a = 'b'"), "0");
}

// Whoever holds a connection is told, nobody else notices.
TEST_F(PostgresqlChanges, AServerThatIsRestarted) {
  server_.Run(
      "DROP TABLE IF EXISTS r; CREATE TABLE r(id int PRIMARY KEY, a text); "
      "INSERT INTO r VALUES (1, 'x'), (2, 'y');");
  Kt_Dataset rows;
  Kt_Database::Options options;
  options.may_write = true;
  const auto open = Kt_Database::Open(Url("r"), options, error_);
  ASSERT_NE(open, nullptr) << error_;
  ASSERT_EQ(kt::LoadDatabase(Url("r"), {}, rows, error_), 2) << error_;
  std::int64_t changed = 0;
  ASSERT_TRUE(open->Begin(error_)) << error_;
  ASSERT_TRUE(open->Execute("UPDATE r SET a = 'half' WHERE id = 2", {}, changed, error_)) << error_;
  rows.SetColumn(0, 1, u"new");
  server_.Restart();
  Kt_ChangeReport report;
  EXPECT_LT(kt::SaveChanges(*open, "r", rows, report), 0);
  EXPECT_NE(report.error, "");
  EXPECT_TRUE(open->IsLost());
  EXPECT_TRUE(rows.GetUpdate());
  EXPECT_EQ(kt::SaveChanges(Url("r"), {}, rows, report), 1) << report.error;
  EXPECT_EQ(server_.Run("SELECT * FROM r ORDER BY id"), "1,new|2,y");
}

TEST(PostgresqlDisk, ThatIsFull) {
  constexpr int kFileKb = 20480;  // more than a file of the log of transactions
  const PostgresqlServer server(kFileKb);
  if (!server.IsThere()) GTEST_SKIP() << server.WhyNot();
  // A page for each row, and room for some 60 more.
  server.Run(
      "CREATE TABLE t(id serial PRIMARY KEY, a text); "
      "ALTER TABLE t ALTER COLUMN a SET STORAGE plain; "
      "INSERT INTO t(a) SELECT repeat('x', 7000) FROM generate_series(1, 2500);");
  Kt_DatabaseUrl url;
  std::string error;
  ASSERT_TRUE(Kt_DatabaseUrl::Parse(server.Url() + "&table=t", url, error)) << error;
  Kt_Dataset rows;
  ASSERT_EQ(kt::LoadDatabase(url, {}, rows, error), 2500) << error;
  const kt_long first = rows.AppendRow(100);
  for (kt_long row = first; row < rows.GetRowCount(); ++row) {
    rows.SetColumn(row, 1, Kt_WString::FromUtf8(std::string(7000, 'y')));
  }
  Kt_ChangeReport report;
  EXPECT_LT(kt::SaveChanges(url, {}, rows, report), 0);
  EXPECT_EQ(report.error.substr(0, 17), "nothing was saved") << report.error;
  ASSERT_FALSE(report.conflicts.empty());
  EXPECT_NE(report.conflicts[0].Text().find("could not extend file"), std::string::npos)
      << report.conflicts[0].Text();
  EXPECT_EQ(server.Run("SELECT count(*) FROM t WHERE a LIKE 'y%'"), "0");
  EXPECT_EQ(rows.GetRowType(first), kRowTypeInsert);
  server.Run("VACUUM t");
  for (kt_long row = rows.GetRowCount(); row-- > first + 10;) rows.DeleteRow(row);
  EXPECT_EQ(kt::SaveChanges(url, {}, rows, report), 10) << "what fits: " << report.error;
}

// A constraint that is looked at when the transaction ends.
TEST_F(PostgresqlChanges, AnEndThatFails) {
  server_.Run(
      "DROP TABLE IF EXISTS late; CREATE TABLE late(id int PRIMARY KEY, "
      "other int REFERENCES late DEFERRABLE INITIALLY DEFERRED); INSERT INTO late VALUES (1);");
  Kt_Dataset late;
  ASSERT_EQ(kt::LoadDatabase(Url("late"), {}, late, error_), 1) << error_;
  late.SetColumn(0, 1, kt_long{2});
  Kt_ChangeReport report;
  EXPECT_LT(kt::SaveChanges(Url("late"), {}, late, report), 0);
  EXPECT_NE(report.error.find("violates foreign key constraint"), report.error.npos);
  EXPECT_TRUE(late.GetUpdate());
  const kt_long row = late.AppendRow();
  late.SetColumn(row, 0, kt_long{2});
  EXPECT_EQ(kt::SaveChanges(Url("late"), {}, late, report), 2) << report.error;
}

}  // namespace
