// SPDX-License-Identifier: MIT
//
// Rows and columns that a URL selects: what a host sees of it, what is wrong with it, and changes
// of what was selected. The random proof compares what is selected.
#include <gmock/gmock.h>

#include "connect/connect_test_util.h"
#include "connect/sql/Kt_SqlSelect.h"
#include "connect/sqlite_file.h"
#include "host/Kt_Bind.h"
#include "host/Kt_Databases.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

constexpr const char* kShop =
    "CREATE TABLE orders(id INTEGER PRIMARY KEY, item TEXT, price REAL);"
    "INSERT INTO orders VALUES (1, 'tea', 2.5), (2, 'milk', NULL), (3, 'ink', 7), (4, 'oil', 30);";

TEST(SqlSelect, FromAHost) {
  const SqliteFile shop(kShop);
  const std::string table = shop.Url() + "?table=orders";
  kt::Engine engine;
  kt::Table orders = engine.dataset("orders");
  std::vector<std::string> steps;
  EXPECT_EQ(kt::load_database(orders,
                              table + "&sort=price:d&limit=2&columns=item,price"
                                      "&filter=round(price) > 0 && id < 4",
                              {}, &steps),
            2);
  EXPECT_EQ(Shown(orders.data()), "item:string price:double|ink 7|tea 2.5");
  EXPECT_THAT(steps, Contains(HasSubstr("in the database: a part of the filter")));
  EXPECT_THAT(steps, Contains("here: the filter"));
  EXPECT_THAT(steps, Contains("here: the order"));

  // Changes of a selection are found by the key and by what was loaded.
  EXPECT_EQ(kt::load_database(orders, table + "&columns=id,price&filter=price >= 7"), 2);
  orders.data().SetColumn(1, 1, 31.5);
  orders.data().DeleteRow(0);
  EXPECT_EQ(kt::save_changes(orders, table + "&filter=price > 100"), 2);
  EXPECT_EQ(shop.Run("SELECT * FROM orders WHERE id > 1"), "2,milk,-|4,oil,31.5");

  try {
    kt::load_database(orders, table + "&filter=prize > 1");
    ADD_FAILURE() << "there is no prize";
  } catch (const kt::RunError& error) {
    EXPECT_THAT(error.what(), HasSubstr("filter: unknown variable 'prize'"));
  }
  EXPECT_EQ(Shown(orders.data()), "id:long price:double|4 31.5");
}

TEST(SqlSelect, Faults) {
  const SqliteFile shop(kShop);
  const std::string table = shop.Url() + "?table=orders";
  const struct {
    std::string url;
    const char* error;
  } kRows[] = {
      {table + "&sort=id,prize:d", "sort: there is no column 'prize:d'; columns: id, item, price"},
      {table + "&columns=id,prize",
       "columns: there is no column 'prize'; columns: id, item, price"},
      {table + "&filter=id >", "filter: expression ends too early at character 5"},
      {table + "&filter=id > 'x", "filter: string without closing ' at character 6"},
      {table + "&filter=id + nothing(id)", "filter: "},
      {shop.Url() + "?limit=3&table=none", "no such table: none"},
  };
  for (const auto& row : kRows) {
    Kt_DatabaseUrl url;
    std::string error;
    ASSERT_TRUE(Kt_DatabaseUrl::Parse(row.url, url, error)) << error;
    Kt_Dataset rows;
    rows.AddColumn(u"before", Kt_ColumnType::kLong);
    EXPECT_LT(kt::LoadSelected(url, {}, rows, nullptr, error), 0) << row.url;
    EXPECT_THAT(error, HasSubstr(row.error));
    EXPECT_EQ(Shown(rows), "before:long");
  }
}

}  // namespace
