// SPDX-License-Identifier: MIT
//
// Parts of a dataset by index, and what their properties tell.
#include <gtest/gtest.h>

#include "dataset/Kt_ExprDatasetObject.h"
#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers

using Object = Kt_ExprDatasetObject;

class References : public testing::Test {
 protected:
  References() { host.datasets = {wrapper.get()}; }
  // a, a, b with subtotals: rows 0 1 (2) 3 (4).
  void Group(bool reverse) {
    data->SetReverseSubSumStat(reverse);
    data->Sort(u"k", true, false, true);
    data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 1, true, Kt_Aggregate::kSum);
    data->RecalcGroup();
  }
  std::string Get(Object& object, const char16_t* name) {
    Kt_Variant value;
    const kt_long code = object.GetProperty(name, nullptr, value);
    return code == kOk ? Show(value) : "!" + std::to_string(code);
  }
  std::string Item(Object& object, int index) {
    Kt_Variant value = u"none";
    const kt_long code = object.GetItem(index, value);
    if (code != kOk) return "!" + std::to_string(code);
    Kt_WString text = value.ToString();
    return text.ToUtf8();
  }

  DataHost host;
  std::unique_ptr<Kt_Dataset> data = MakeDataset(u"d", u"k:string,n:long\na,1\na,2\nb,3\n");
  std::unique_ptr<Kt_ExprDataset> wrapper = std::make_unique<Kt_ExprDataset>(data.get(), &host);
};

TEST_F(References, InExpressions) {
  const struct {
    const char16_t* text;
    const char* wanted;
  } rows[] = {
      {u"d[1]['n'].sum", "2"},     {u"d[1].n.value", "2"},  {u"d[1].count", "2"},
      {u"d[1].level", "0"},        {u"d[1].rowlevel", "0"}, {u"d[1][1].max", "2"},
      {u"d['n'].sum", "6"},        {u"d['N'].COUNT", "3"},  {u"d['n'][2].min", "3"},
      {u"d['n'].avg", "2.0"},      {u"d['k'].max", "'b'"},  {u"d[2].k.count", "1"},
      {u"d[1].value", "['a', 2]"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Eval(&host, row.text), row.wanted) << Kt_WString(row.text).ToUtf8();
  }
  EXPECT_EQ(Eval(&host, u"d['n'].nosuch").substr(0, 1), "!");
}

// A cell stands for its value where a built-in wants a date.
TEST_F(References, CellsAsDates) {
  const auto dates = MakeDataset(
      u"t", u"day:datetime,number:long,text:string\n2024-02-29,20240301,2024-03-02 10:00\n");
  Kt_ExprDataset wrapped(dates.get(), &host);
  host.datasets.push_back(&wrapped);
  const struct {
    const char16_t* text;
    const char* wanted;
  } rows[] = {
      {u"toString(t[0].day, 'd.M.yyyy')", "'29.2.2024'"},
      {u"toString(addDate(t[0].day, 1))", "'2024-03-01'"},
      {u"addMonth(t[0].number, 1)", "20240401"},
      {u"toString(t[0].text, 'HH:mm')", "'10:00'"},
      {u"WorkDate(t[0].number) - WorkDate(t[0].text)", "1"},
      {u"solar2lunar(t[0].text)", "'2024-01-22 10:00'"},
      {u"type(getDay(t[0]))", "'empty'"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Eval(&host, row.text), row.wanted) << Kt_WString(row.text).ToUtf8();
  }
  host.datasets.pop_back();
}

TEST_F(References, SetsOfRows) {
  Object some(Object::kRowSet, wrapper.get(), 1, 5, {});
  EXPECT_EQ(some.GetItemCount(), 5);
  EXPECT_EQ(Get(some, u"count"), "2");
  EXPECT_EQ(Item(some, 1), "[Dataset:d:row:2]");
  EXPECT_EQ(Item(some, 2), "none");
  EXPECT_EQ(Item(some, -1), "none");
  Object rest(Object::kRowSet, wrapper.get(), 1, -1, {});
  EXPECT_EQ(Get(rest, u"count"), "2");
  EXPECT_EQ(Get(rest, u"N"), "<d.N>");
  EXPECT_EQ(Get(rest, u"sum"), "!-1");
  EXPECT_EQ(Get(rest, u"value"), "!-1");
  Object past(Object::kRowSet, wrapper.get(), 9, -1, {});
  EXPECT_EQ(Get(past, u"count"), "0");
  data->AddColumn(u"count", u"long");  // columns come first
  EXPECT_EQ(Get(rest, u"count"), "<d.count>");
}

TEST_F(References, Texts) {
  const struct {
    int kind;
    const char16_t* column;
    const char* text;
    const char* id;
  } rows[] = {
      {Object::kRowSet, u"", "[Dataset:d:rowset:1,2]", "d"},
      {Object::kRow, u"", "[Dataset:d:row:1]", "d"},
      {Object::kColumnSet, u"n", "[Dataset:d:colset:1,2]", "d.n"},
      {Object::kCell, u"n", "[Dataset:d:]", "d.n"},
  };
  for (const auto& row : rows) {
    Object object(row.kind, wrapper.get(), 1, 2, row.column);
    Kt_WString text;
    EXPECT_EQ(object.ConvToString(text), 1);
    EXPECT_EQ(text.ToUtf8(), row.text);
    EXPECT_EQ(object.GetID().ToUtf8(), row.id);
    Kt_Variant value;
    EXPECT_LT(object.SetProperty(u"value", nullptr, value), 0);
    EXPECT_LT(object.CallMethod(u"sum", nullptr, value), 0);
  }
}

TEST_F(References, Groups) {
  Group(false);
  Object column(Object::kColumnSet, wrapper.get(), 0, 5, u"n");
  EXPECT_EQ(Get(column, u"sum"), "6");
  EXPECT_EQ(Get(column, u"count"), "3");
  // The third plain row is row 3: the subtotal does not count.
  Kt_Variant item;
  ASSERT_EQ(column.GetItem(2, item), kOk);
  Kt_Variant value;
  ASSERT_EQ(item.GetHolder().GetProperty(u"value", nullptr, value), kOk);
  EXPECT_EQ(Show(value), "3");
  Object total(Object::kCell, wrapper.get(), 2, 1, u"n");
  EXPECT_EQ(Get(total, u"sum") + Get(total, u"count") + Get(total, u"max"), "322");
  EXPECT_EQ(Get(total, u"value"), "3");
  Object row(Object::kRow, wrapper.get(), 2, 1, {});
  EXPECT_EQ(Get(row, u"level"), "1");
}

TEST_F(References, ReversedGroups) {
  Group(true);
  Object total(Object::kCell, wrapper.get(), 0, 1, u"n");
  EXPECT_EQ(Get(total, u"sum") + Get(total, u"count") + Get(total, u"avg"), "321.5");
}

TEST_F(References, OutliveTheirDataset) {
  Object column(Object::kColumnSet, wrapper.get(), 0, 3, u"n");
  Object row(Object::kRow, wrapper.get(), 2, 1, {});
  data->DeleteRow(2);
  EXPECT_EQ(Get(row, u"value"), "[-, -]");
  host.variables.AddVariable(u"kept", kt_long{0});
  EXPECT_EQ(RunScript(&host, u"kept = d['n'][1]; return kept.sum;"), "2");
  for (int step = 0; step < 2; ++step) {
    if (step == 0) data.reset();
    if (step == 1) wrapper.reset();
    EXPECT_EQ(Get(column, u"sum"), "!-1");
    EXPECT_EQ(Get(row, u"count"), "!-1");
    EXPECT_EQ(Item(row, 0), "!-1");
    EXPECT_EQ(column.GetID().ToUtf8(), "");
    EXPECT_EQ(column.GetItemCount(), 0);
  }
}

}  // namespace
