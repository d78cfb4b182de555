// SPDX-License-Identifier: MIT
//
// A table of PostgreSQL that lies on several servers: what runs on them, what comes back and is
// saved, and servers that die on the way.
#include <algorithm>
#include <chrono>
#include <thread>

#include "connect/Kt_Changes.h"
#include "connect/postgresql_cluster.h"
#include "connect/sql/Kt_SqlSelect.h"

namespace {

class PostgresqlCluster : public ::testing::TestWithParam<int> {
 protected:
  PostgresqlCluster() : cluster_(GetParam()) {}
  void SetUp() override {
    if (!cluster_.IsThere()) GTEST_SKIP() << cluster_.WhyNot();
  }

  std::string Asked(const std::string& query) const { return cluster_.Asked(query); }
  Kt_Dataset Load(const std::string& where) {
    Kt_Dataset orders(u"orders");
    std::string error;
    EXPECT_GE(
        kt::LoadDatabase(cluster_.Url("SELECT * FROM orders WHERE " + where), {}, orders, error), 0)
        << error;
    return orders;
  }
  std::string Save(Kt_Dataset& orders) {
    Kt_ChangeReport report;
    const kt_long saved = kt::SaveChanges(cluster_.Url("", "orders"), {}, orders, report);
    std::string text = saved >= 0 ? std::to_string(saved) : report.error;
    for (const auto& conflict : report.conflicts) text += "|" + conflict.Text();
    return text;
  }

  const Cluster cluster_;
};

INSTANTIATE_TEST_SUITE_P(Shards, PostgresqlCluster, ::testing::Values(2, 4),
                         [](const auto& info) { return std::to_string(info.param); });

class PostgresqlClusterFaults : public PostgresqlCluster {};

INSTANTIATE_TEST_SUITE_P(Shards, PostgresqlClusterFaults, ::testing::Values(2));

// Such a table has no order of its own: an order that leaves no ties is cut there, another one
// here.
TEST_P(PostgresqlCluster, FirstRowsOfAnOrder) {
  const struct {
    const char* sort;
    bool is_cut_there;
  } kOrders[] = {{"price:d,id", true}, {"qty", false}};
  for (const auto& row : kOrders) {
    Kt_DatabaseUrl url = cluster_.Url("", "orders");
    url.filter = "qty > 30 && length(item) > 5";
    url.sort = row.sort;
    Kt_Dataset all;
    Kt_Dataset first;
    std::vector<std::string> steps;
    std::string error;
    ASSERT_GT(kt::LoadSelected(url, {}, all, nullptr, error), 7) << error;
    url.limit = 7;
    ASSERT_EQ(kt::LoadSelected(url, {}, first, &steps, error), 7) << error;
    EXPECT_EQ(Shown(all, {0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 4, 5, 6}), Shown(first));
    const bool is_cut_there = std::ranges::any_of(
        steps, [](const std::string& step) { return step.ends_with("; 7 rows were fetched"); });
    EXPECT_EQ(is_cut_there, row.is_cut_there) << row.sort;
  }
}

TEST_P(PostgresqlCluster, FiltersAndGroupsRunOnTheShards) {
  const struct {
    const char* query;
    const char* sent;  // to how many shards, if not to all: behind the '#'
  } kRowsOfTable[] = {
      {"SELECT region, count(*), sum(qty), sum(price) FROM orders WHERE qty > 5 GROUP BY region",
       "SELECT region, count(*), sum(qty), sum(price) FROM public.orders WHERE ((qty > 5)) "
       "GROUP BY 1"},
      {"SELECT sum(n), sum(s) FROM (SELECT region, count(*) AS n, sum(price) AS s FROM orders "
       "WHERE qty > 5 GROUP BY region) AS parts",
       "SELECT region, count(*), sum(price) FROM public.orders WHERE ((qty > 5)) GROUP BY 1"},
      {"SELECT id FROM orders WHERE item = 'item 7' AND qty < 10",
       "SELECT id FROM public.orders WHERE ((qty < 10)) AND ((item = 'item 7'))"},
      {"SELECT id FROM orders WHERE region = 'r3' AND qty < 10",
       "SELECT id FROM public.orders WHERE ((qty < 10)) AND ((region = 'r3'))#1"},
  };
  for (const auto& row : kRowsOfTable) {
    const std::string plan = Asked(std::string("EXPLAIN (VERBOSE, COSTS off) ") + row.query);
    std::string expected = row.sent;
    auto shards = static_cast<std::size_t>(GetParam());
    if (const std::size_t at = expected.find('#'); at != expected.npos) {
      shards = 1;
      expected.resize(at);
    }
    EXPECT_EQ(Cluster::SentOf(plan), std::vector<std::string>(shards, expected)) << plan;
    EXPECT_EQ(shards > 1, plan.find("Async Foreign Scan") != plan.npos) << plan;
  }
  // The same rows without a cluster.
  const std::string made =
      "(SELECT i AS id, 'r' || i % 8 AS region, i * 7 % 40 AS qty, (i * 37 % 10007) / 64.0::float8 "
      "AS price FROM generate_series(0, " +
      std::to_string(kRows - 1) + ") AS i) AS orders";
  const std::string totals =
      "SELECT region, count(*) AS n, sum(qty) AS q, sum(price) AS s, max(id) AS m FROM ";
  EXPECT_EQ(Asked(totals + "orders WHERE qty > 5 GROUP BY region ORDER BY region"),
            Asked(totals + made + " WHERE qty > 5 GROUP BY region ORDER BY region"));
}

TEST_P(PostgresqlCluster, ChangesReachTheirShards) {
  Kt_Dataset orders = Load("id < 16 ORDER BY id");
  ASSERT_EQ(orders.GetRowCount(), 16);
  const kt_long item = orders.GetColIndex(u"item");
  for (kt_long row = 0; row < 8; ++row) orders.SetColumn(row, item, u"changed");
  orders.DeleteRow(15);
  const kt_long added = orders.AppendRow();
  orders.SetColumn(added, orders.GetColIndex(u"id"), kt_long{100000});
  orders.SetColumn(added, orders.GetColIndex(u"region"), u"r5");
  EXPECT_EQ(Save(orders), "10");
  EXPECT_EQ(Asked("SELECT count(*) AS n FROM orders WHERE item = 'changed'"), "n:long|8");
  EXPECT_EQ(cluster_.Run("shard1", "SELECT region FROM orders WHERE id = 100000"), "r5");
  EXPECT_EQ(Asked("SELECT id FROM orders WHERE id = 15"), "id:long");

  // Somebody has changed a row of one shard: nothing is saved on the others either.
  Kt_Dataset again = Load("id < 4 ORDER BY id");
  cluster_.Run("shard1", "UPDATE orders SET qty = 99 WHERE id = 1");
  for (kt_long row = 0; row < 4; ++row) again.SetColumn(row, item, u"late");
  EXPECT_EQ(Save(again).substr(0, 68),
            "nothing was saved: 1 of 4 changes does not fit what the database has");
  EXPECT_EQ(Asked("SELECT id FROM orders WHERE item = 'late'"), "id:long");
  EXPECT_TRUE(again.GetUpdate());
}

TEST_P(PostgresqlClusterFaults, AShardThatDiesInALoad) {
  Kt_Dataset kept(u"kept");
  std::string error;
  ASSERT_EQ(kt::LoadDatabase(cluster_.Url("SELECT 5 AS five"), {}, kept, error), 1) << error;
  for (const char* const shard : {"shard0", "shard1"}) {
    cluster_.Run("asked", std::string("ALTER SERVER ") + shard + " OPTIONS (SET fetch_size '50')");
  }
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    cluster_.Kill("shard1");
  });
  // A row takes a millisecond here, and the shards are asked for a few at a time.
  const kt_long loaded =
      kt::LoadDatabase(cluster_.Url("SELECT id, pg_sleep(0.001) FROM orders"), {}, kept, error);
  other.join();
  EXPECT_LT(loaded, 0);
  EXPECT_NE(error, "");
  EXPECT_EQ(Shown(kept), "five:long|5") << "as it was";
  // While it is away, its rows are asked for in vain, and others are there.
  EXPECT_EQ(Asked("SELECT count(*) AS n FROM orders").substr(0, 39),
            "!could not connect to server \"shard1\" (");
  EXPECT_EQ(Asked("SELECT count(*) AS n FROM orders WHERE region = 'r0'"),
            "n:long|" + std::to_string(kRows / 8));
  cluster_.StartAgain("shard1");
  EXPECT_EQ(Asked("SELECT count(*) AS n FROM orders"), "n:long|" + std::to_string(kRows));
}

TEST_P(PostgresqlClusterFaults, AShardThatDiesInASave) {
  cluster_.Run("shard1",
               "CREATE FUNCTION dawdle() RETURNS trigger AS 'BEGIN PERFORM pg_sleep(0.05); "
               "RETURN NEW; END' LANGUAGE plpgsql; CREATE TRIGGER slowly BEFORE UPDATE ON orders "
               "FOR EACH ROW EXECUTE FUNCTION dawdle()");
  Kt_Dataset orders = Load("id < 80 ORDER BY region, id");
  for (kt_long row = 0; row < orders.GetRowCount(); ++row) {
    orders.SetColumn(row, orders.GetColIndex(u"item"), u"changed");
  }
  std::thread other([&] {
    // Until it is at work, and rows of other shards have been changed.
    for (int tries = 0; tries < 400; ++tries) {
      if (cluster_.Run("shard1",
                       "SELECT count(*) > 0 FROM pg_stat_activity WHERE state = 'active' AND "
                       "query LIKE 'UPDATE%'") == "t") {
        break;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    cluster_.Kill("shard1");
  });
  const std::string said = Save(orders);
  other.join();
  EXPECT_EQ(said.substr(0, 17), "nothing was saved") << said;
  EXPECT_TRUE(orders.GetUpdate());
  EXPECT_EQ(orders.GetRowType(0), kRowTypeUpdate);
  cluster_.StartAgain("shard1");
  EXPECT_EQ(Asked("SELECT count(*) AS n FROM orders WHERE item = 'changed'"), "n:long|0");
  cluster_.Run("shard1", "DROP TRIGGER slowly ON orders");
  EXPECT_EQ(Save(orders), "80") << "with the same dataset";
}

}  // namespace
