// SPDX-License-Identifier: MIT
//
// Sorts, groups, cross tables, totals and filters that are stopped at one check of their budget
// after another: they are refused and leave everything as it was, and done again they succeed.
#include <gtest/gtest.h>

#include <functional>

#include "classlib/base/Kt_WorkMeter.h"
#include "dataset/Kt_GroupTotals.h"
#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers

// Rows of several chunks, as a sort by few keys and one by many numbers take them.
struct Table {
  Table() : data(u"d"), wrapper(&data, &host) {
    data.AddColumn(u"name", u"string");
    data.AddColumn(u"n", u"long");
    data.AddColumn(u"x", u"double");
    data.AppendRow(1100);
    for (kt_long row = 0; row < 1100; ++row) {
      data.SetColumn(row, 0, u"key " + Kt_Variant(row * 7 % 9).ToString());
      data.SetColumn(row, 1, row * 5 % 4);
      if (row % 11 != 0) data.SetColumn(row, 2, (row * 7919 % 1100) / 8.0);
    }
    data.ApplyChange();
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
  }

  std::string Show() {
    Kt_Dataset answer(u"answer");
    EXPECT_GE(totals.Finish(answer), 0);
    return ShowTable(data) + ShowTable(answer);
  }

  TestHost host;
  Kt_Dataset data;
  Kt_ExprDataset wrapper;
  Kt_GroupTotals totals{
      {{u"name", u"name"}, {u"n", u"n + 0"}},
      {{u"sum", Kt_Aggregate::kSum, u"x"}, {u"count", Kt_Aggregate::kCount, u"x + 1"}},
      u"n > 0"};
};

struct Operation {
  const char* name;
  std::function<void(Table&)> prepare;
  std::function<void(Table&)> run;
};

void CallFilter(Table& table, const char16_t* text) {
  const Kt_VariantList args = {text};
  Kt_Variant result;
  (void)table.wrapper.CallMethod(u"Filter", &args, result);
}

const Operation kOperations[] = {
    {"sort by few keys", [](Table&) {}, [](Table& table) { table.data.Sort(u"name,n:d"); }},
    {"sort by a double", [](Table&) {}, [](Table& table) { table.data.Sort(u"name,x:d"); }},
    {"group", [](Table& table) { table.data.Sort(u"name,n", true, false, true); },
     [](Table& table) {
       table.data.RecalcGroup();
       (void)table.data.GetRowCount();
     }},
    {"cross table",
     [](Table& table) {
       table.data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
       table.data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1);
     },
     [](Table& table) { (void)table.data.RecalcPivot(); }},
    {"totals", [](Table& table) { (void)table.totals.Add(table.wrapper); },
     [](Table& table) { (void)table.totals.Add(table.wrapper); }},
    {"filter", [](Table&) {}, [](Table& table) { CallFilter(table, u"n > 1 && x < 100"); }},
};

TEST(StoppedGroups, LeaveEverythingAsItWas) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    Table whole;
    operation.prepare(whole);
    const std::string before = whole.Show();
    operation.run(whole);
    const std::string after = whole.Show();
    ASSERT_NE(before, after);
    int stops = 0;
    for (std::int64_t steps = 1;; steps += 1 + steps / 16) {
      Table table;
      operation.prepare(table);
      Kt_RunBudget budget;
      budget.limit_steps = steps;
      kt_long stop = 0;
      {
        const Kt_BoundedWork bounds(budget);
        operation.run(table);
        stop = bounds.GetStopCode();
      }
      if (stop == 0) {
        EXPECT_EQ(table.Show(), after) << steps << " steps";
        break;
      }
      ++stops;
      ASSERT_EQ(stop, kErrStepBudget);
      const bool lays_out = std::string_view(operation.name) == "group";  // when asked again
      ASSERT_EQ(table.Show(), lays_out ? after : before) << steps << " steps";
      operation.run(table);
      ASSERT_EQ(table.Show(), after) << "again after " << steps << " steps";
    }
    EXPECT_GT(stops, 5);
  }
}

}  // namespace
