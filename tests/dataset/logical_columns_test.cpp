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

// Columns that need each other read empty there; many that build on each other stay cheap.
TEST_F(LogicalColumns, RingsAndTowers) {
  data->AddLogicalColumn(u"p", u"iif(q == null, 1, q + 1)", u"long");
  data->AddLogicalColumn(u"q", u"p + p + p + 1", u"long");
  data->AddLogicalColumn(u"self", u"Sum('self') + a", u"long");
  EXPECT_EQ(Eval(&host, u"t[0].self + 0"), "1");
  const std::string first = Eval(&host, u"t[0].q + 0");
  EXPECT_EQ(Eval(&host, u"t[0].q + 0"), first);
  data->AddLogicalColumn(u"c0", u"a", u"double");
  for (int level = 1; level < 14; ++level) {
    const Kt_WString below = u"c" + Kt_Variant(kt_long{level - 1}).ToString();
    Kt_WString sum = below;
    for (int term = 1; term < 8; ++term) sum += u" + " + below;
    data->AddLogicalColumn(u"c" + Kt_Variant(kt_long{level}).ToString(), sum, u"double");
  }
  EXPECT_EQ(Eval(&host, u"t[0].c13 / 8"), "68719476736.0");  // 8 to the power 12
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
