// SPDX-License-Identifier: MIT
//
// Groups of a table of PostgreSQL that lies on several servers: each makes those of its own rows,
// whatever the keys, and the answer is that of the same rows in one table.
#include <algorithm>

#include "connect/postgresql_cluster.h"
#include "connect/sql/Kt_SqlQuery.h"

namespace {

using Kind = Kt_DatabaseUrl::Kind;

// What was made of a request.
struct Grouped {
  std::string rows;  // in the order of the keys
  Kt_SqlAnswer answer;
};

Grouped GroupsOf(const Cluster& cluster, const std::string& name, const Kt_SqlRequest& request,
                 const std::string& user = "kt") {
  Grouped grouped;
  std::string error;
  const auto database = Kt_Database::Open(cluster.Url("", name, user), {}, error);
  EXPECT_NE(database, nullptr) << error;
  if (database == nullptr) return grouped;
  Kt_SqlTable table;
  Kt_Dataset rows;
  EXPECT_TRUE(table.Describe(*database, Kind::kPostgresql, name, error)) << error;
  const kt_long count = Kt_SqlLoad(*database, table, request, rows, grouped.answer, error);
  EXPECT_GE(count, 0) << error;
  Kt_WString keys;
  for (const Kt_WString& key : request.keys) keys += (keys.IsEmpty() ? u"" : u",") + key;
  rows.Sort(keys.View(), true);
  grouped.rows = Shown(rows);
  return grouped;
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

class ClusterGroups : public ::testing::TestWithParam<int> {
 protected:
  ClusterGroups() : cluster_(GetParam(), 40000) {}
  void SetUp() override {
    if (!cluster_.IsThere()) GTEST_SKIP() << cluster_.WhyNot();
  }

  std::string PlanOf(const std::string& statement) const {
    return cluster_.Asked("EXPLAIN (VERBOSE, COSTS off) " + statement);
  }
  // That all shards are sent a statement that ends so, and work at the same time.
  void ExpectSent(const std::string& statement, const std::string& end) const {
    const std::string plan = PlanOf(statement);
    const std::vector<std::string> sent = Cluster::SentOf(plan);
    EXPECT_EQ(std::ssize(sent), GetParam()) << plan;
    EXPECT_EQ(CountOf(plan, "Async Foreign Scan"), sent.size()) << plan;
    for (const std::string& one : sent) EXPECT_TRUE(one.ends_with(end)) << one << "\n" << end;
  }

  const Cluster cluster_;
};

INSTANTIATE_TEST_SUITE_P(Shards, ClusterGroups, ::testing::Values(2, 4),
                         [](const auto& info) { return std::to_string(info.param); });

using Totals = std::vector<std::pair<Kt_Aggregate, Kt_WString>>;

Kt_SqlRequest Request(const Kt_WString& filter, std::vector<Kt_WString> keys, Totals totals) {
  Kt_SqlRequest request;
  request.added = {{u"kind", Kt_ColumnType::kString, u"left(item, 6)"},
                   {u"dear", Kt_ColumnType::kDouble, u"iif(qty > 30, price * 2, null)"}};
  request.filter = filter;
  request.keys = std::move(keys);
  request.totals = std::move(totals);
  return request;
}

TEST_P(ClusterGroups, EveryShardMakesThoseOfItsRows) {
  ASSERT_EQ(cluster_.Run("asked", "CREATE TABLE whole AS SELECT * FROM orders; ANALYZE whole"), "");
  const struct {
    Kt_SqlRequest request;
    const char* sent;  // the end of what all shards are sent
  } kRowsOfTable[] = {
      {Request(u"qty > 5", {u"kind"}, {{Kt_Aggregate::kSum, u"qty"}, {Kt_Aggregate::kAvg, u"id"}}),
       "count(id), count(*) FROM public.orders WHERE ((qty > 5)) GROUP BY 1"},
      {Request(u"", {u"qty", u"kind"},
               {{Kt_Aggregate::kSum, u"dear"},
                {Kt_Aggregate::kMax, u"day"},
                {Kt_Aggregate::kMin, u"price"},
                {Kt_Aggregate::kCount, u"item"}}),
       "max(day), min(price), count(item), count(*) FROM public.orders GROUP BY 1, 2"},
      // By the column of the partitions too; what nulls are is told by CASE.
      {Request(u"(qty * 2 > 10 || item == '') && day > '2020-03-01'", {u"region", u"qty"},
               {{Kt_Aggregate::kSum, u"price"}}),
       "GROUP BY 1, 2"},
      {Request(u"price * 2 > 1000", {u"qty"}, {{Kt_Aggregate::kSum, u"price"}}), "GROUP BY 1"},
  };
  for (const auto& row : kRowsOfTable) {
    const Grouped whole = GroupsOf(cluster_, "whole", row.request);
    const Grouped shared = GroupsOf(cluster_, "orders", row.request);
    SCOPED_TRACE(shared.answer.statement);
    EXPECT_TRUE(whole.answer.is_grouped && shared.answer.is_grouped);
    EXPECT_EQ(whole.answer.part_count, 0U);
    EXPECT_TRUE(shared.answer.is_over_parts);
    EXPECT_EQ(shared.rows, whole.rows);
    ExpectSent(shared.answer.statement, row.sent);
    // What had to be known was asked in the same way.
    for (const std::string& question : shared.answer.questions) {
      ExpectSent(question, "FROM public.orders");
    }
  }
}

// A filter by the column of the partitions leaves out shards that have no such rows.
TEST_P(ClusterGroups, OthersAreNotAsked) {
  Kt_SqlRequest request = Request(u"region == 'r1'", {u"qty"}, {{Kt_Aggregate::kSum, u"price"}});
  const Grouped grouped = GroupsOf(cluster_, "orders", request);
  EXPECT_EQ(CountOf(grouped.rows, "|"), 5U) << grouped.rows;
  EXPECT_TRUE(grouped.answer.is_over_parts) << grouped.answer.statement;
  ASSERT_EQ(cluster_.Run("asked", "ALTER DATABASE shop SET constraint_exclusion = on"), "");
  EXPECT_EQ(Cluster::SentOf(PlanOf(grouped.answer.statement)),
            std::vector<std::string>(1,
                                     "SELECT qty, sum(price), count(*) FROM public.orders WHERE "
                                     "((region = 'r1')) GROUP BY 1"));
}

class ClusterRules : public ClusterGroups {};

INSTANTIATE_TEST_SUITE_P(Shards, ClusterRules, ::testing::Values(2));

// Partitions are read in place of the table where that gives the same and saves rows on the way.
TEST_P(ClusterRules, WhoMakesTheGroups) {
  const Kt_SqlRequest usual = Request(u"", {u"qty"}, {{Kt_Aggregate::kSum, u"price"}});
  const Kt_SqlRequest single = Request(u"", {u"id"}, {{Kt_Aggregate::kSum, u"price"}});
  const Kt_SqlRequest extremes = Request(u"", {u"qty"}, {{Kt_Aggregate::kMax, u"item"}});
  const struct {
    const char* before;
    const char* user;
    const Kt_SqlRequest& request;
    std::size_t part_count;
    bool is_over_parts;
  } kRowsOfTable[] = {
      {"CREATE ROLE other LOGIN", "kt", usual, 2, true},
      {"SELECT 1", "kt", single, 2, false},    // as many groups as rows
      {"SELECT 1", "kt", extremes, 2, false},  // in whose order of texts?
      {"CREATE TABLE here PARTITION OF orders FOR VALUES IN ('r9'); "
       "INSERT INTO orders VALUES (9999, 'r9', NULL, NULL, 5, 0.25)",
       "kt", usual, 3, true},
      {"GRANT SELECT ON orders, orders_0, here TO other; "
       "CREATE USER MAPPING FOR other SERVER shard0 OPTIONS (user 'kt', password_required "
       "'false'); "
       "CREATE USER MAPPING FOR other SERVER shard1 OPTIONS (user 'kt', password_required 'false')",
       "other", usual, 0, false},
      {"GRANT SELECT ON orders_1 TO other", "other", usual, 3, true},
      // Rows of the table that its user does not see.
      {"ALTER TABLE orders ENABLE ROW LEVEL SECURITY; "
       "CREATE POLICY few ON orders USING (qty < 20)",
       "other", usual, 0, false},
      {"SELECT 1", "kt", usual, 3, true},
      {"ALTER TABLE orders ALTER item TYPE text COLLATE \\\"C\\\"", "kt", extremes, 3, true},
  };
  for (const char* const shard : {"shard0", "shard1"}) {
    cluster_.Run(shard, "ALTER TABLE orders ALTER item TYPE text COLLATE \\\"C\\\"");
  }
  for (const auto& row : kRowsOfTable) {
    SCOPED_TRACE(row.before);
    cluster_.Run("asked", row.before);
    const Grouped grouped = GroupsOf(cluster_, "orders", row.request, row.user);
    EXPECT_EQ(grouped.answer.part_count, row.part_count);
    EXPECT_EQ(grouped.answer.is_over_parts, row.is_over_parts) << grouped.answer.statement;
    const std::string key = row.request.keys[0].ToUtf8();
    const std::string total =
        row.request.totals[0].second == u"price" ? "sum(price) AS price" : "max(item) AS item";
    EXPECT_EQ(grouped.rows, cluster_.Asked("SELECT " + key + ", " + total +
                                               ", count(*) AS rows FROM orders GROUP BY " + key +
                                               " ORDER BY " + key,
                                           row.user));
  }
}

}  // namespace
