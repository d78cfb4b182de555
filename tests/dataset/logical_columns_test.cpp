// SPDX-License-Identifier: MIT
//
// Logical columns whose cells are computed by an expression.
#include <gtest/gtest.h>

#include "dataset_test_util.h"

namespace {

using kt::test::DataHost;
using kt::test::Eval;
using kt::test::MakeDataset;
using kt::test::ShowRows;

class LogicalColumns : public testing::Test {
 protected:
  LogicalColumns() { host.datasets = {&wrapper}; }
  std::string Rows() const { return ShowRows(*data); }

  DataHost host;
  std::unique_ptr<Kt_Dataset> data = MakeDataset(u"t", u"a:long,b:long\n1,10\n2,20\n3,30\n");
  Kt_ExprDataset wrapper{data.get(), &host};
};

TEST_F(LogicalColumns, AreComputedWhereverCellsAreRead) {
  host.variables.AddVariable(u"rate", kt_long{100});
  EXPECT_EQ(Eval(&host, u"t.AddLogicalColumn('sum', 'a + b + rate', 'long')"), "2");
  EXPECT_EQ(Eval(&host, u"t.AddLogicalColumn('twice', 'sum * 2', 'long')"), "3");
  EXPECT_EQ(Rows(), "1,10,111,222|2,20,122,244|3,30,133,266");
  EXPECT_EQ(Eval(&host, u"t.Sum('twice')"), "732");
  EXPECT_EQ(Eval(&host, u"t.Sum('twice + 1')"), "735");
  EXPECT_EQ(Eval(&host, u"t.FindRow('sum', '122')"), "1");
  EXPECT_EQ(Eval(&host, u"t.SetColumn(0, 'sum', 5)"), "-1");
  EXPECT_EQ(Eval(&host, u"t.SetColumn(0, 'a', 5)"), "1");
  EXPECT_EQ(Eval(&host, u"t[0].twice + 0"), "230");
  (void)Eval(&host, u"t.Filter('sum > 120')");
  EXPECT_EQ(Rows(), "2,20,122,244|3,30,133,266");
  EXPECT_EQ(Eval(&host, u"t.GetColumnNF(0, 'twice')"), "230");
  EXPECT_EQ(Eval(&host, u"t.SumNF('sum')"), "370");
  EXPECT_EQ(Eval(&host, u"t.Sort('sum:d')"), "1");
  EXPECT_EQ(Rows(), "3,30,133,266|2,20,122,244");
  EXPECT_EQ(Eval(&host, u"t.SaveCSV()"), Eval(&host, u"t.SaveCSV('copy')"));
  EXPECT_EQ(host.TakeReports(), "");
}

TEST_F(LogicalColumns, BuildOnEachOther) {
  data->AddLogicalColumn(u"c0", u"a", u"double");
  data->AddLogicalColumn(u"d0", u"a + 1", u"long");
  for (int level = 1; level < 100; ++level) {
    const Kt_WString number = Kt_Variant(kt_long{level}).ToString();
    const Kt_WString below = Kt_Variant(kt_long{level - 1}).ToString();
    data->AddLogicalColumn(u"d" + number, u"d" + below + u" + 1", u"long");
    if (level > 13) continue;
    Kt_WString sum = u"c" + below;
    for (int term = 1; term < 8; ++term) sum += u" + c" + below;
    data->AddLogicalColumn(u"c" + number, sum, u"double");
  }
  EXPECT_EQ(Eval(&host, u"t[0].c13 / 8"), "68719476736.0");  // 8 to the power 12
  EXPECT_EQ(Eval(&host, u"t[1].d16 + 0"), "19");
  EXPECT_EQ(Eval(&host, u"t[1].d99 + 0"), "102");
  EXPECT_EQ(Eval(&host, u"t.Sum('d99')"), "306");
  EXPECT_EQ(host.TakeReports(), "");
}

// Aliases in a long chain are one column.
TEST_F(LogicalColumns, AliasesOfAliases) {
  data->AddLogicalColumn(u"x0", u"b");
  for (int level = 1; level < 40; ++level) {
    data->AddLogicalColumn(u"x" + Kt_Variant(kt_long{level}).ToString(),
                           u"x" + Kt_Variant(kt_long{level - 1}).ToString());
  }
  EXPECT_EQ(Eval(&host, u"t.SetColumn(1, 'x39', 7)"), "1");
  EXPECT_EQ(Eval(&host, u"t[1].b + 0"), "7");
  EXPECT_EQ(Eval(&host, u"t.Sum('x39')"), "47");
}

// A cell that needs itself, or more stack than there is, is empty; that is told once, by name.
TEST_F(LogicalColumns, RingsAndTowersAreErrors) {
  data->AddLogicalColumn(u"p", u"iif(q == null, 1, q + 1)", u"long");
  data->AddLogicalColumn(u"q", u"p + r + 1", u"long");
  data->AddLogicalColumn(u"r", u"p", u"long");
  data->AddLogicalColumn(u"self", u"Sum('self') + a", u"long");
  data->AddLogicalColumn(u"above", u"p + 1", u"long");
  data->AddLogicalColumn(u"m", u"n");
  data->AddLogicalColumn(u"n", u"m");
  const struct {
    const char16_t* column;
    const char* ring;
  } rings[] = {
      {u"p", "t.p -> t.q -> t.p"},     {u"q", "t.q -> t.p -> t.q"},   {u"r", "t.p -> t.q -> t.p"},
      {u"above", "t.p -> t.q -> t.p"}, {u"self", "t.self -> t.self"}, {u"m", "t.m -> t.n -> t.m"},
  };
  for (const auto& row : rings) {
    EXPECT_TRUE(data->ReadColumn(0, data->GetColIndex(row.column)).IsEmpty());
    const std::string reports = host.TakeReports();
    const std::string name = std::string(row.ring).substr(0, std::string(row.ring).find(' '));
    EXPECT_EQ(reports, "83B03210(" + name + ", columns that need each other: " + row.ring + ")");
  }
  data->AddLogicalColumn(u"t0", u"a + 1", u"long");
  for (kt_long level = 1; level < 8000; ++level) {
    data->AddLogicalColumn(u"t" + Kt_Variant(level).ToString(),
                           u"t" + Kt_Variant(level - 1).ToString() + u" + 1", u"long");
  }
  EXPECT_TRUE(data->ReadColumn(0, data->GetColIndex(u"t7999")).IsEmpty());
  EXPECT_EQ(host.TakeReports().find("83B03230("), 0u);
  EXPECT_EQ(Eval(&host, u"t[0].t50 + 0"), "52");
  EXPECT_EQ(host.TakeReports(), "");
}

// A ring may go through several datasets.
TEST_F(LogicalColumns, RingsAcrossDatasets) {
  auto other_data = MakeDataset(u"s", u"a:long\n4\n");
  Kt_ExprDataset other(other_data.get(), &host);
  host.datasets.push_back(&other);
  data->AddLogicalColumn(u"x", u"s[0].y + 1", u"long");
  other_data->AddLogicalColumn(u"y", u"t[0].x + 1", u"long");
  EXPECT_TRUE(data->ReadColumn(0, 2).IsEmpty());
  EXPECT_EQ(host.TakeReports(), "83B03210(t.x, columns that need each other: t.x -> s.y -> t.x)");
}

// The dataset stays as it is while one of its cells is computed, whatever the expression tries.
TEST_F(LogicalColumns, CannotChangeTheirDataset) {
  const char16_t* const hostile[] = {
      u"curdata.DeleteRow(0)",
      u"curdata.Clear()",
      u"curdata.AppendRow()",
      u"curdata.LoadCSV('x\n1')",
      u"curdata.Sort('a:d')",
      u"curdata.Filter('0')",
      u"curdata.SetColumn(0,'a',9)",
      u"curdata.AddColumn('z')",
      u"curdata.Copy(curdata)",
      u"curdata.RecalcGroup()",
      u"curdata.RecalcPivot()",
      u"curdata.DeleteAll()",
      u"curdata.AddLogicalColumn('y','a')",
      u"curdata.MoveRow(0, 1)",
      u"curdata.Reset()",
  };
  for (const char16_t* const text : hostile) {
    auto sample = MakeDataset(u"t", u"a:long,b:long\n1,10\n2,20\n3,30\n");
    Kt_ExprDataset over(sample.get(), &host);
    host.datasets = {&over};
    sample->AddLogicalColumn(u"bad", text);
    (void)ShowRows(*sample);
    (void)Eval(&host, u"t.Sum('bad')");
    (void)Eval(&host, u"t.Filter('bad > 0 || 1')");
    EXPECT_EQ(ShowRows(*sample).substr(0, 5), "1,10,") << Kt_WString(text).ToUtf8();
    EXPECT_EQ(sample->GetRowCount(), 3) << Kt_WString(text).ToUtf8();
    EXPECT_EQ(sample->GetColCount(), 3) << Kt_WString(text).ToUtf8();
  }
}

// The wrapper that came first may go; the next one takes its place.
TEST_F(LogicalColumns, OutliveTheirFirstWrapper) {
  auto sample = MakeDataset(u"s", u"a:long\n4\n");
  sample->AddLogicalColumn(u"x", u"a * rate", u"long");
  {
    DataHost first;
    first.variables.AddVariable(u"rate", kt_long{2});
    const Kt_ExprDataset over(sample.get(), &first);
    EXPECT_EQ(ShowRows(*sample), "4,8");
  }
  EXPECT_EQ(ShowRows(*sample), "4,");
  host.variables.AddVariable(u"rate", kt_long{3});
  const Kt_ExprDataset over(sample.get(), &host);
  EXPECT_EQ(ShowRows(*sample), "4,12");
}

}  // namespace
