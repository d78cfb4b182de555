// SPDX-License-Identifier: MIT
//
// Filters by expression, and finding rows.
#include <gtest/gtest.h>

#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers

constexpr const char16_t* kNumbers =
    u"n:long,name:string,x:double\n"
    u"1,one,0\n"
    u"2,two,0.5\n"
    u"3,three,\n"
    u"4,,2\n"
    u"5,five,0\n";

class Filters : public testing::Test {
 protected:
  Filters() { host.datasets = {&wrapper}; }
  // The values of n as shown.
  std::string Shown() const {
    std::string out;
    for (kt_long row = 0; row < data->GetRowCount(); ++row) {
      if (data->GetRowLevel(row) == 0) out += data->ReadColumn(row, 0).ToString().ToUtf8();
    }
    return out;
  }
  std::string Do(const char16_t* call) { return Eval(&host, call); }

  DataHost host;
  std::shared_ptr<EventRecord> record = std::make_shared<EventRecord>();
  std::unique_ptr<Kt_Dataset> data = MakeDataset(u"d", kNumbers);
  RecordingDataset wrapper{data.get(), &host, record};
};

// Hidden is only what is explicitly false; found only what is explicitly true.
TEST_F(Filters, WhatIsFalseAndWhatIsTrue) {
  const struct {
    const char16_t* expr;
    const char* shown;
    const char* found;
  } rows[] = {
      {u"n > 2", "345", "2"},
      {u"n", "12345", "0"},
      {u"n - 3", "1245", "0"},
      {u"x", "12345", "-1"},
      {u"x > 0", "24", "1"},
      {u"name", "12345", "-1"},
      {u"null", "12345", "-1"},
      {u"nosuch", "12345", "-1"},
      {u"n * * 2", "12345", "-1"},
      {u"iif(n = 2, 'False', 'true')", "1345", "0"},
      {u"iif(n = 2, 'TRUE', 'maybe')", "12345", "1"},
      {u"name = ''", "4", "3"},
      {u"n > Avg('n')", "45", "3"},
      {u"rowidx < rowcount - 2", "123", "0"},
      {u"0", "", "-1"},
  };
  for (const auto& row : rows) {
    host.variables.AddVariable(u"e", row.expr);
    EXPECT_EQ(Do(u"d.SearchRow(e)"), row.found) << Kt_WString(row.expr).ToUtf8();
    EXPECT_EQ(Do(u"d.Filter(e)"), "-");
    EXPECT_EQ(Shown(), row.shown) << Kt_WString(row.expr).ToUtf8();
    Do(u"d.UnFilter()");
    EXPECT_EQ(Shown(), "12345");
  }
}

TEST_F(Filters, ReplaceEachOther) {
  Do(u"d.Filter('n > 1')");
  EXPECT_EQ(Shown(), "2345");
  Do(u"d.Filter('n < 4')");
  EXPECT_EQ(Shown(), "123");
  Do(u"d.Filter('n < 5')");
  EXPECT_EQ(Shown(), "1234");
  EXPECT_EQ(Do(u"d.UnFilter()"), "1");
  EXPECT_EQ(Shown(), "12345");
  EXPECT_EQ(Do(u"d.UnFilter()"), "0");
  Do(u"d.Filter('n = 2')");
  Do(u"d.Filter('')");
  EXPECT_EQ(Shown(), "12345");
}

TEST_F(Filters, Events) {
  Do(u"d.Filter('n > 2')");
  EXPECT_EQ(record->Take(), "canpos -1>0 pos -1>0 load 6");
  wrapper.SetRowPosition(2);
  record->Take();
  record->refused = "canpos";
  Do(u"d.Filter('n > 1')");
  EXPECT_EQ(wrapper.GetRowPosition(), 0);
  EXPECT_EQ(record->Take(), "canpos 2>0 load 6");
  record->refused = "";
  EXPECT_EQ(Do(u"d.UnFilter()"), "1");
  EXPECT_EQ(record->Take(), "load 6");
  EXPECT_EQ(Do(u"d.UnFilter()"), "0");
  EXPECT_EQ(record->Take(), "");
  Do(u"d.Filter('0')");
  EXPECT_EQ(wrapper.GetRowPosition(), -1);
}

TEST_F(Filters, Groups) {
  data->SetColumn(3, 1, u"two");
  data->Sort(u"name", true, false, true);
  data->RecalcGroup();
  ASSERT_EQ(data->GetRowCount(), 9);  // five, one, three, two (2 and 4)
  Do(u"d.Filter('n > 2')");
  EXPECT_EQ(Shown(), "534");
  EXPECT_EQ(data->GetRowCount(), 6);  // their subtotals
  EXPECT_EQ(Do(u"d.UnFilter()"), "3");
  EXPECT_EQ(data->GetRowCount(), 9);
}

TEST_F(Filters, LogicalDatasets) {
  Kt_Dataset view(u"v");
  view.SetSource(data.get());
  Kt_ExprDataset shown(&view, &host);
  host.datasets.push_back(&shown);
  EXPECT_EQ(Do(u"v.Sum('n * 2')"), "30");
  Do(u"v.Filter('n > 2')");
  EXPECT_EQ(ShowTable(view), "3,three,|4,,2|5,five,0");
  EXPECT_EQ(Do(u"v.Sum('n * 2')"), "24");
  EXPECT_EQ(Do(u"v.SearchRow('n = 4')"), "1");
  EXPECT_EQ(Do(u"v.SearchRowNF('n = 2')"), "1");
  EXPECT_EQ(Do(u"v.UnFilter()"), "2");
  EXPECT_EQ(data->GetRowCount(), 5);
  // The filter of the definition comes back when another one goes.
  view.SetFilterStr(u"n < 5");
  EXPECT_EQ(Do(u"v.RecalcFilter()"), "-");
  EXPECT_EQ(view.GetRowCount(), 4);
  Do(u"v.Filter('n = 5')");
  EXPECT_EQ(view.GetRowCount(), 1);
  EXPECT_EQ(Do(u"v.UnFilter()"), "4");
  EXPECT_EQ(view.GetRowCount(), 4);
}

TEST_F(Filters, Pivots) {
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 1);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 2);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 0, true, Kt_Aggregate::kSum);
  ASSERT_EQ(data->RecalcPivot(), 1);
  const kt_long rows = data->GetRowCount();
  Do(u"d.Filter(\"name <> 'two'\")");
  EXPECT_EQ(data->GetRowCount(), rows - 1);
  Do(u"d.Filter(\"name = 'two'\")");
  EXPECT_EQ(data->GetRowCount(), 1);
  Do(u"d.Filter('')");
  EXPECT_EQ(data->GetRowCount(), rows);
  EXPECT_EQ(Do(u"d.UnFilter()"), "0");
}

TEST_F(Filters, Calls) {
  Kt_Variant result = 7.0;
  const Kt_VariantList text = {u"1"};
  EXPECT_EQ(RunMethod(wrapper, u"Filter", nullptr, result), kErrBadArgument);
  wrapper.SetDataset(nullptr);
  EXPECT_EQ(RunMethod(wrapper, u"Filter", &text, result), kErrBadArgument);
  EXPECT_EQ(RunMethod(wrapper, u"UnFilter", nullptr, result), kErrBadArgument);
  EXPECT_EQ(RunMethod(wrapper, u"RecalcFilter", nullptr, result), kErrBadArgument);
  EXPECT_EQ(RunMethod(wrapper, u"Lookup", &text, result), kOk);
  EXPECT_EQ(Show(result), "7.0");
  EXPECT_EQ(wrapper.ExprFilter(u"1", false), 0);
  EXPECT_EQ(RunMethod(wrapper, u"SearchRow", &text, result), kOk);
  EXPECT_EQ(Show(result), "-1");
}

TEST_F(Filters, Searches) {
  const struct {
    const char16_t* call;
    const char* wanted;
  } rows[] = {
      {u"d.SearchRow('n > 1', 2)", "2"},
      {u"d.SearchRow('n > 1', -2)", "1"},
      {u"d.SearchRow('n > 3', 0, 3)", "-1"},
      {u"d.SearchRow('n > 3', 0, 99)", "3"},
      {u"d.SearchRow('log(n)', 5)", "-1"},
      {u"d.SearchRow()", "-1"},
      {u"d.SearchRowNF('n = 5', 2)", "4"},
      {u"d.FindRow('name', 'three')", "2"},
      {u"d.FindRow('name', 'THREE')", "-1"},
      {u"d.FindRowAs('name', 'THREE')", "2"},
      {u"d.FindRow('n', 4)", "3"},
      {u"d.FindRow('name', null)", "3"},
      {u"d.FindRow('x', 0, 1)", "4"},
      {u"d.FindRow('x', 0, 1, 4)", "-1"},
      {u"d.FindRow('x')", "-1"},
      {u"d.FindRow('nosuch', 1)", "-1"},
      {u"d.Lookup('name', 'two', 'n')", "'2'"},
      {u"d.Lookup('name', 'six', 'n')", "''"},
  };
  for (const auto& row : rows) EXPECT_EQ(Do(row.call), row.wanted) << Kt_WString(row.call).ToUtf8();
  EXPECT_EQ(host.calls, "");
  Do(u"d.Filter('n > 2')");
  EXPECT_EQ(Do(u"d.FindRow('n', 1)"), "-1");
  EXPECT_EQ(Do(u"d.FindRowNF('n', 1)"), "0");
  EXPECT_EQ(Do(u"d.FindRowNFAs('name', 'FIVE')"), "4");
}

}  // namespace
