// SPDX-License-Identifier: MIT
//
// Aggregates of columns and of row expressions.
#include <gtest/gtest.h>

#include <atomic>

#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers

constexpr const char16_t* kFruit =
    u"name:string,price:double,qty:long\n"
    u"apple,1.5,2\n"
    u"pear,2.5,4\n"
    u"plum,,3\n"
    u"fig,4,1\n";

struct Row {
  const char16_t* call;
  const char* wanted;
};

class Aggregates : public testing::Test {
 protected:
  Aggregates() { host.datasets = {&wrapper}; }
  void Expect(std::initializer_list<Row> rows) {
    for (const Row& row : rows) {
      EXPECT_EQ(Eval(&host, row.call), row.wanted) << Kt_WString(row.call).ToUtf8();
    }
  }
  // Fruit of each kind with a subtotal of qty after it; apple twice.
  void Group() {
    data->AppendRow();
    data->SetColumn(4, 0, u"apple");
    data->SetColumn(4, 2, kt_long{5});
    data->Sort(u"name", true, false, true);
    data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
    data->RecalcGroup();
  }

  DataHost host;
  std::unique_ptr<Kt_Dataset> data = MakeDataset(u"fruit", kFruit);
  Kt_ExprDataset wrapper{data.get(), &host};
};

TEST_F(Aggregates, OfColumnsAndExpressions) {
  Expect({
      {u"fruit.Count()", "4"},
      {u"fruit.Count(1)", "3"},
      {u"fruit.Sum('qty')", "10"},
      {u"fruit.Sum('QTY')", "10"},
      {u"fruit.Sum('qty * 2')", "20"},
      {u"fruit.Sum('price')", "8.0"},
      {u"fruit.Sum('price * qty')", "17.0"},
      {u"fruit.Sum('qty / 2')", "5.0"},
      {u"fruit.Avg('price', 0, 2)", "2.0"},
      {u"fruit.Avg('price + 0')", "2.0"},
      {u"fruit.Avg('qty + 0')", "2.5"},
      {u"fruit.Max('qty + 0')", "4"},
      {u"fruit.Min('price * 2')", "0"},
      {u"fruit.Max(\"name + ''\")", "'plum'"},
      {u"fruit.Min('name')", "'apple'"},
      {u"fruit.Sum('rowidx')", "6"},
      {u"fruit.Sum('rowcount')", "16"},
      {u"fruit.Max(\"length(name)\")", "5"},
      {u"fruit.Sum('2000000000 + 0 * qty')", "8000000000.0"},
      {u"fruit.Sum('')", "0"},
  });
}

TEST_F(Aggregates, Ranges) {
  Expect({
      {u"fruit.Sum('qty', 1, 2)", "7"},
      {u"fruit.Sum('qty + 0', 1, 2)", "7"},
      {u"fruit.Sum('qty + 0', 1, 100)", "8"},
      {u"fruit.Sum('qty', -5, 2)", "6"},
      {u"fruit.Sum('qty + 0', -5, 2)", "6"},
      {u"fruit.Sum('qty', 4)", "0.0"},
      {u"fruit.Sum('qty + 0', 2147483647, 2147483647)", "0.0"},
      {u"fruit.Avg('qty + 0', 1, 0)", "0.0"},
      {u"fruit.Max('qty', 0, -1)", "0.0"},
      {u"fruit.CaseCount('1', 4)", "0.0"},
      {u"fruit.Count(4)", "0"},
      {u"fruit.Count(1, 0)", "0"},
      {u"fruit.Sum()", "0.0"},
      {u"fruit.PivotSum('qty')", "0.0"},
      {u"fruit.PivotCount('qty')", "0.0"},
      {u"fruit.PivotCount('qty + 1', 0)", "0.0"},
      {u"fruit.PivotSum('qty + 1', 0)", "0.0"},
  });
  wrapper.SetDataset(nullptr);
  Kt_Variant result = 5.0;
  EXPECT_EQ(RunMethod(wrapper, u"Sum", nullptr, result), kOk);
  EXPECT_EQ(Show(result), "0.0");
  EXPECT_EQ(RunMethod(wrapper, u"Count", nullptr, result), kOk);
  EXPECT_EQ(Show(result), "0");
  EXPECT_EQ(RunMethod(wrapper, u"PivotCount", nullptr, result), kOk);
  EXPECT_EQ(Show(result), "0.0");
}

TEST_F(Aggregates, UnderACondition) {
  Expect({
      {u"fruit.CaseCount('qty > 2')", "2"},
      {u"fruit.CaseCount('price')", "0"},  // doubles are no conditions
      {u"fruit.CaseCount('qty')", "4"},
      {u"fruit.CaseCount(\"iif(qty > 2, 'TRUE', 'yes')\")", "2"},
      {u"fruit.CaseSum('qty > 2', 'qty')", "7"},
      {u"fruit.CaseSum('qty > 2', 'qty', 2)", "3"},
      {u"fruit.CaseAvg('qty > 2', 'price')", "1.25"},
      {u"fruit.CaseMax('qty < 4', 'name')", "'plum'"},
      {u"fruit.CaseMin('qty < 4', 'price * qty')", "0"},
      {u"fruit.CaseSum('qty > 9', 'qty')", "0"},
      {u"fruit.CaseCount('qty > 9')", "0"},
      {u"fruit.CaseAvg('qty > 9', 'qty')", "0.0"},
      {u"fruit.CaseMax('qty > 9', 'qty')", "0.0"},
      {u"fruit.CaseSum('1')", "0.0"},
      {u"fruit.CaseCount()", "0.0"},
      {u"fruit.CaseCount(\"name = 'pear' || name = 'fig'\")", "2"},
  });
}

TEST_F(Aggregates, WithoutFiltersLeaveTheFiltersOn) {
  Expect({
      {u"fruit.Filter('qty > 1')", "-"},
      {u"fruit.Sum('qty')", "9"},
      {u"fruit.Sum('qty + 0')", "9"},
      {u"fruit.SumNF('qty')", "10"},
      {u"fruit.SumNF('qty + 0')", "10"},
      {u"fruit.TotalSum('qty + 0')", "10"},
      {u"fruit.AvgNF('qty + 0')", "2.5"},
      {u"fruit.MinNF('qty + 0')", "1"},
      {u"fruit.MaxNF('rowcount')", "4"},
      {u"fruit.CountNF()", "4"},
      {u"fruit.CaseCountNF('qty < 3')", "2"},
      {u"fruit.CaseCount('qty < 3')", "1"},
      {u"fruit.SearchRowNF('qty = 1')", "3"},
      {u"fruit.SearchRow('qty = 1')", "-1"},
      {u"fruit.Count()", "3"},
  });
  data->Filter(0);  // the other layer is on too
  EXPECT_EQ(Eval(&host, u"fruit.SumNF('qty + 0')"), "10");
  EXPECT_EQ(Eval(&host, u"fruit.Sum('qty + 0')"), "7");
  EXPECT_TRUE(data->GetFilterStat() && data->GetLocFilterStat());
}

// Columns are totalled over records; expressions see the subtotals too, conditions do not.
TEST_F(Aggregates, Subtotals) {
  Group();
  ASSERT_EQ(data->GetRowCount(), 9);
  Expect({
      {u"fruit.Sum('qty')", "15"},
      {u"fruit.Sum('qty + 0')", "30"},
      {u"fruit.Count()", "5"},
      {u"fruit.CaseCount('1')", "5"},
      {u"fruit.CaseSum('1', 'qty')", "15"},
      {u"fruit.CaseSum('qty > 5', 'qty')", "0"},
      {u"fruit.Max('rowlevel')", "1"},
      {u"fruit.CaseMax('1', 'rowidx')", "7"},
  });
}

// Rows A and B, positions 2020 and 2021; B has no cell in 2021.
TEST_F(Aggregates, OfPivots) {
  data = MakeDataset(u"p", u"city:string,year:long,n:long\nA,2020,1\nA,2021,2\nB,2020,4\n");
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
  ASSERT_EQ(data->RecalcPivot(), 1);
  wrapper.SetDataset(data.get());
  wrapper.SetRowPosition(0);
  Expect({
      {u"p.Count()", "2"},
      {u"p.Sum('n', 0)", "5.0"},  // of value columns: position, start, count
      {u"p.Sum('n', 1)", "2.0"},
      {u"p.Sum('n', 0, 1, 1)", "4.0"},
      {u"p.SumNF('n', 0, 1, 1)", "4.0"},
      {u"p.Max('n', 0)", "4"},
      {u"p.Count('n', 1)", "2"},
      {u"p.Sum('n + 0', 0, 2, 0)", "5"},  // of anything else: start, count, position
      {u"p.Sum('n * 10', 0, 2, 1)", "20"},
      {u"p.CaseCount('1', 0, 2, 1)", "1"},
      {u"p.CaseCount('1', 0, 2, 1, 1)", "2"},
      {u"p.CaseSum('n > 1', 'n', 0, 2, 0)", "4"},
      {u"p.CaseMax(\"city > ''\", 'city', 0, 2, 0)", "'B'"},
      {u"p.PivotSum('n', 0)", "3.0"},
      {u"p.PivotSum(2, 1)", "4.0"},
      {u"p.PivotSum('n', 0, 1)", "2.0"},
      {u"p.PivotSum('n', 0, 0, 1)", "1.0"},
      {u"p.PivotSum('n', 0, 7)", "0.0"},
      {u"p.PivotMax('n', 0)", "2.0"},
      {u"p.PivotAvg('n', 1)", "4.0"},
      {u"p.PivotCount('n', 1)", "1"},
      {u"p.PivotSum('n * 10', 0)", "30"},
      {u"p.PivotSum('n * 10', 0, 1, 99)", "20"},
      {u"p.PivotCount('iif(n > 1, n, null)', 0)", "1"},
      {u"p.PivotMin('n * 10', 0, 5)", "0.0"},
  });
}

// With two column keys a subtotal position stands behind 2020's: it is not counted twice.
TEST_F(Aggregates, OfPivotsWithSubtotalPositions) {
  data = MakeDataset(u"p",
                     u"city:string,year:long,half:long,n:long\n"
                     u"A,2020,1,1\nA,2020,2,2\nA,2021,1,4\n");
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 2);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 3, true, Kt_Aggregate::kSum);
  ASSERT_EQ(data->RecalcPivot(), 1);
  ASSERT_EQ(data->GetPivotColCount(), 5);
  wrapper.SetDataset(data.get());
  wrapper.SetRowPosition(0);
  Expect({
      {u"p.PivotSum('n', 0)", "7.0"},
      {u"p.PivotSum('n * 10', 0)", "70"},
      {u"p.PivotSum('n', 0, 1)", "6.0"},
      {u"p.PivotSum('n * 10', 0, 1)", "60"},
  });
}

TEST_F(Aggregates, FaultsAreReportedOncePerLoop) {
  const struct {
    const char16_t* call;
    const char* result;
    const char* reports;
  } rows[] = {
      {u"fruit.Sum('qty * * 2')", "0", "83B03210(Invalid Operator *, qty * * 2)"},
      {u"fruit.Sum('nosuch')", "0", "83B03110(nosuch)"},
      {u"fruit.CaseSum('nosuch', 'qty')", "0", "83B03110(nosuch)"},
      {u"fruit.Max('nosuch')", "-", "83B03110(nosuch)"},
      {u"fruit.Avg('qty + code(-5)')", "0.0", ""},
      {u"fruit.SearchRow('nosuch(1)')", "-1", "83B03130(, nosuch)"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Eval(&host, row.call), row.result) << Kt_WString(row.call).ToUtf8();
    EXPECT_EQ(host.TakeReports(), row.reports);
  }
}

// What a row expression sees: columns before the host's names, not the caller's variables.
TEST_F(Aggregates, Names) {
  host.variables.AddVariable(u"factor", kt_long{10});
  host.variables.AddVariable(u"qty", kt_long{1000});
  EXPECT_EQ(Eval(&host, u"fruit.Sum('qty * factor')"), "100");
  EXPECT_EQ(RunScript(&host, u"var mine = 5; return fruit.Sum('qty * mine');"), "0");
  EXPECT_EQ(host.TakeReports(), "83B03110(mine)");
  EXPECT_EQ(Eval(&host, u"fruit.Sum(\"qty * Max('qty')\")"), "40");  // the dataset's method
  EXPECT_EQ(Eval(&host, u"fruit.CaseCount(\"price >= Avg('price')\")"), "1");
}

// The last of equal values wins, with its kind. NaN neither replaces nor is replaced.
TEST_F(Aggregates, ExtremesOfEqualValues) {
  data = MakeDataset(u"t", u"n:long,d:double\n3,3\n1,1\n3,3\n1,1\n");
  wrapper.SetDataset(data.get());
  Expect({
      {u"t.Max('iif(rowidx < 2, n, d)')", "3.0"},
      {u"t.Max('iif(rowidx < 2, d, n)')", "3"},
      {u"t.Min('iif(rowidx < 2, n, d)')", "1.0"},
      {u"t.Min('iif(rowidx < 2, d, n)')", "1"},
      {u"t.MaxNF('iif(rowidx = 2, d, n)')", "3.0"},
      {u"t.MinNF('iif(rowidx = 3, d, n)')", "1.0"},
      {u"t.CaseMax('n > 2', 'iif(rowidx < 2, n, d)')", "3.0"},
      {u"t.CaseMin('n < 2', 'iif(rowidx < 2, n, d)')", "1.0"},
      {u"t.CaseMaxNF('1', 'iif(rowidx = 0, d, n)')", "3"},
      {u"t.CaseMinNF('1', 'iif(rowidx = 1, d, n)')", "1"},
      {u"t.Max(\"iif(rowidx < 2, n, '3')\")", "'3'"},
      {u"t.Min('0 * iif(rowidx = 3, -1.0, n)')", "0.0"},
      {u"t.Max('iif(rowidx = 0, 0 / 0, n)')", "nan"},
      {u"t.Min('iif(rowidx = 3, 0 / 0, n)')", "1"},
  });
}

// Rows cost steps: a long loop stops when the script has to.
TEST_F(Aggregates, StopWithTheScript) {
  std::atomic<bool> cancel = false;
  host.on_hook = [&](auto*, auto&, Kt_Variant& result) {
    cancel = true;
    result = kt_long{1};
    return kOk;
  };
  data->AppendRow(20000);
  Kt_Script script(&host);
  const char16_t* const text =
      u"function sum() { return fruit.Sum('qty * 2'); }\n"
      u"function slow() { return fruit.Sum('qty * hook()'); }\n"
      u"function filter() { fruit.Filter('qty * 2 < 0'); return 1; }\n"
      u"function few() { var i = 0; while (i < 100) { fruit.Sum('qty', 0, 3); i = i + 1; } "
      u"return i; }";
  ASSERT_EQ(script.Parse(u"test", text, nullptr, nullptr), kOk);
  Kt_RunBudget budget;
  budget.limit_steps = 5000;
  script.SetBudget(&budget);
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"sum", 0, nullptr, result), kErrStepBudget);
  EXPECT_EQ(script.ExecFunc(u"filter", 0, nullptr, result), kErrStepBudget);
  EXPECT_EQ(data->GetRowCount(), 20004);
  EXPECT_EQ(host.TakeReports(), "83B03240(sum) 83B03240(filter)");
  EXPECT_EQ(script.ExecFunc(u"few", 0, nullptr, result), kOk);
  budget.limit_steps = 0;
  EXPECT_EQ(script.ExecFunc(u"sum", 0, nullptr, result), kOk);
  budget.cancel = &cancel;
  EXPECT_EQ(script.ExecFunc(u"slow", 0, nullptr, result), kErrCancelled);
}

}  // namespace
