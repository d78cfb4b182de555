// SPDX-License-Identifier: MIT
//
// Expressions within a row: what the keywords give in each kind of dataset, and which of several
// things with one name is meant.
#include <gtest/gtest.h>

#include "classlib/store/Kt_DatasetList.h"
#include "classlib/text/Kt_Unicode.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset_test_util.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::DataHost;
using kt::test::Eval;
using kt::test::MakeDataset;
using kt::test::RunScript;
using kt::test::Show;
using kt::test::ShowTable;

// The value of one keyword in each row: "0 1 2".
std::string InEveryRow(Kt_DatasetCtx& context, const char16_t* expression, int row_count,
                       int original = 0) {
  std::string out;
  for (int row = 0; row < row_count; ++row) {
    context.SetRowPosition(0, row, original, row);
    out += (row > 0 ? " " : "") + Eval(&context, expression);
  }
  return out;
}

struct KeywordRow {
  const char16_t* names;  // all of these, with blanks between
  const char* values;     // in every row
};

template <std::size_t Count>
void CheckKeywords(Kt_Dataset& data, const KeywordRow (&rows)[Count], int original = 0) {
  Kt_DatasetCtx context(nullptr, nullptr, &data, nullptr, nullptr);
  const int row_count = original != 0 ? data.GetOrgBuffCount() : data.GetRowCount();
  for (const KeywordRow& row : rows) {
    Kt_WStrList names;
    names.Parse(row.names, u" ", 0, true, false);
    for (kt_long name = 0; name < names.GetCount(); ++name) {
      EXPECT_EQ(InEveryRow(context, names[name].GetText(), row_count, original), row.values)
          << names[name].ToUtf8();
    }
  }
}

TEST(RowKeywords, PlainRows) {
  const auto data = MakeDataset(u"fruit", u"n:long,name:string\n1,apple\n2,pear\n3,plum\n");
  data->SetColumn(1, 0, kt_long{20});
  data->AppendRow();
  data->Filter(2);
  constexpr KeywordRow kRows[] = {
      {u"count rowcount COUNT", "3 3 3"},
      {u"countNF rowcountnf", "4 4 4"},
      {u"curdataid", "'fruit' 'fruit' 'fruit'"},
      {u"currow row rowidx rowindex", "0 1 2"},
      {u"rowpos rowposition", "0 0 0"},
      {u"prevrow", "0 0 1"},
      {u"nextrow", "1 2 2"},
      {u"firstrow", "0 0 0"},
      {u"lastrow", "2 2 2"},
      {u"rowtype currowtype", "'normal' 'update' 'insert'"},
      {u"rowlevel", "0 0 0"},
      {u"rangestart", "0 1 2"},
      {u"rangecount", "1 1 1"},
      {u"pivotidx pivotindex curpivotindex pivotpos pivotposition", "-1 -1 -1"},
      {u"pivotindexcount pivotlevel", "0 0 0"},
  };
  CheckKeywords(*data, kRows);
}

TEST(RowKeywords, OriginalRows) {
  const auto data = MakeDataset(u"fruit", u"n:long\n1\n2\n3\n");
  data->SetColumn(1, 0, kt_long{20});
  data->DeleteRow(2);
  constexpr KeywordRow kRows[] = {
      {u"rowtype", "'update' 'delete'"},
      {u"rowlevel", "0 0"},
      {u"rangestart", "0 1"},
      {u"rangecount", "1 1"},
      {u"currow row", "0 1"},
      {u"n", "2 3"},
  };
  CheckKeywords(*data, kRows, 1);
}

// Subtotals after or before the rows a1 a2 | b3.
TEST(RowKeywords, GroupedRows) {
  const auto data = MakeDataset(u"fruit", u"g:string,n:long\na,1\na,2\nb,3\n");
  data->Sort(u"g", true, false, true);
  data->RecalcGroup();
  constexpr KeywordRow kBehind[] = {
      {u"rowlevel", "0 0 1 0 1"},   {u"rangestart", "0 1 0 3 3"},
      {u"rangecount", "1 1 2 1 1"}, {u"rowtype", "'normal' 'normal' 'logical' 'normal' 'logical'"},
      {u"n.sum", "1 2 3 3 3"},      {u"count", "5 5 5 5 5"},
  };
  CheckKeywords(*data, kBehind);
  data->SetReverseSubSumStat(true);
  data->RecalcGroup();
  constexpr KeywordRow kBefore[] = {
      {u"rowlevel", "1 0 0 1 0"},
      {u"rangestart", "1 1 2 4 4"},
      {u"rangecount", "2 1 1 1 1"},
      {u"n.count", "2 1 1 1 1"},
  };
  CheckKeywords(*data, kBefore);
}

TEST(RowKeywords, PivotRows) {
  const auto data = MakeDataset(u"p", u"r:string,c:string,v:long\nx,k,1\nx,m,2\ny,k,3\n");
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
  ASSERT_EQ(data->RecalcPivot(), 1);
  Kt_DatasetCtx context(nullptr, nullptr, data.get(), nullptr, nullptr);
  const auto at = [&](int row, int position, const char16_t* expression) {
    context.SetRowPosition(0, row, 0, row);
    context.SetPivotRowPosition(0, row, 0, -1);
    context.SetPivotColPosition(-1, position, 0, -1);
    return Eval(&context, expression);
  };
  EXPECT_EQ(at(0, 0, u"v"), "1");
  EXPECT_EQ(at(0, 1, u"v"), "2");
  EXPECT_EQ(at(1, 1, u"v"), "-");
  EXPECT_EQ(at(1, 0, u"r + pivotindex + curpivotindex + pivotindexcount"), "'y002'");
  EXPECT_EQ(at(1, 1, u"pivotpos"), "-1");
  EXPECT_EQ(at(1, 1, u"pivotlevel"), "0");
  EXPECT_EQ(at(1, 1, u"count"), "2");
  EXPECT_EQ(at(1, 9, u"pivotindex"), "-1") << "a position outside";
}

TEST(RowKeywords, LogicalRows) {
  const auto source = MakeDataset(u"s", u"n:long\n1\n2\n3\n");
  Kt_Dataset logical(u"view");
  ASSERT_EQ(logical.SetSource(source.get()), 1);
  logical.Filter(1);
  constexpr KeywordRow kRows[] = {
      {u"n", "1 3"},       {u"count", "2 2"},  {u"countNF", "3 3"}, {u"curdataid", "'view' 'view'"},
      {u"nextrow", "1 1"}, {u"currow", "0 1"},
  };
  CheckKeywords(logical, kRows);
}

TEST(RowKeywords, TableIsSortedAndReadOnly) {
  const _EXPR_SIMPLEPROP_INFO* const table = Kt_DatasetCtx::GetKeywordMap();
  ASSERT_EQ(Kt_DatasetCtx::GetKeywordCount(), 27);
  const auto data = MakeDataset(u"fruit", u"n:long\n1\n");
  Kt_DatasetCtx context(nullptr, nullptr, data.get(), nullptr, nullptr);
  Kt_Variant value;
  for (int row = 0; row < 27; ++row) {
    if (row > 0) {
      EXPECT_LT(kt_stricmpW(table[row - 1].name, table[row].name), 0);
    }
    EXPECT_EQ(table[row].set, nullptr);
    Kt_WString name;
    ASSERT_TRUE(kt_toupperW(table[row].name, name));
    EXPECT_EQ(context.GetProperty(name, nullptr, value), kOk) << name.ToUtf8();
    EXPECT_EQ(context.SetProperty(name, nullptr, value), kNoMember);
  }
  EXPECT_EQ(context.GetProperty(u"n", nullptr, value), kNoMember);
}

TEST(RowKeywords, WithoutDataset) {
  const auto data = MakeDataset(u"fruit", u"n:long\n1\n");
  Kt_DatasetCtx context(nullptr, nullptr, data.get(), nullptr, nullptr);
  context.SetDefaultDataset(nullptr);
  context.SetRowPosition(0, 0, 1, 0);
  context.SetPivotColPosition(0, 0, 0, 0);
  std::string values;
  const _EXPR_SIMPLEPROP_INFO* const table = Kt_DatasetCtx::GetKeywordMap();
  for (int row = 0; row < 27; ++row) {
    Kt_Variant value;
    EXPECT_EQ((context.*table[row].get)(nullptr, value), kOk);
    values += Show(value) + " ";
    EXPECT_EQ(context.GetProperty(table[row].name, nullptr, value), kFailed);
  }
  EXPECT_EQ(values, "0 0 '' -1 -1 - -1 -1 -1 -1 -1 0 0 -1 -1 0 0 -1 -1 0 0 -1 -1 0 -1 -1 - ");
  EXPECT_EQ(context.GetCurRow(), -1);
  EXPECT_EQ(context.IsOriginalRow(), 0);
  EXPECT_EQ(context.GetDefaultDataset(), &context.GetWrapper());
  Kt_ExprObjInfo info;
  EXPECT_EQ(context.GetVarType(u"count", info), EXPR_OBJ_UNKNOWN);
  EXPECT_EQ(context.GetMethodType(u"Sum", info), EXPR_OBJ_UNKNOWN);
}

// One of everything is called "both": the first in the order below is meant.
TEST(RowContext, ResolutionOrder) {
  DataHost host;
  host.variables.AddVariable(u"outer", kt_long{5});
  host.variables.AddVariable(u"both", kt_long{6});
  host.plain.AddVariable(u"quiet", kt_long{7});
  Kt_VariableList variables;
  variables.AddVariable(u"own", kt_long{3});
  variables.AddVariable(u"both", kt_long{4});
  const auto data = MakeDataset(u"d", u"both:long,row:long\n1,77\n");
  const auto listed = MakeDataset(u"both", u"z:long\n2\n");
  const auto orders = MakeDataset(u"orders", u"z:long\n8\n9\n");
  Kt_DatasetList list;
  list.Add(*listed);
  list.Add(*orders);
  Kt_DatasetCtx context(&host, nullptr, data.get(), &variables, &list);
  context.SetRowPosition(0, 0, 0, 0);
  struct Row {
    const char16_t* name;
    int kind;
    const char* value;
  };
  const Row kRows[] = {
      {u"CurData", EXPR_OBJ_DATASET, "<d>"}, {u"row", EXPR_OBJ_PROPERTY, "0"},
      {u"BOTH", EXPR_OBJ_COLUMN, "1"},       {u"Orders", EXPR_OBJ_DATASET, "<orders>"},
      {u"own", EXPR_OBJ_VAR, "3"},           {u"outer", EXPR_OBJ_VAR, "5"},
      {u"quiet", EXPR_OBJ_VAR, "7"},         {u"nobody", EXPR_OBJ_UNKNOWN, ""},
  };
  for (const Row& row : kRows) {
    Kt_ExprObjInfo info;
    EXPECT_EQ(context.GetVarType(row.name, info), row.kind) << Kt_WString(row.name).ToUtf8();
    if (*row.value != 0) {
      EXPECT_EQ(Eval(&context, row.name), row.value);
    }
  }
  data->ClearAll();
  EXPECT_EQ(Eval(&context, u"both"), "<both>");
  list.Clear();
  EXPECT_EQ(Eval(&context, u"both"), "4");
  variables.Clear();
  EXPECT_EQ(Eval(&context, u"both"), "6");
  EXPECT_EQ(host.TakeReports(), "");
}

TEST(RowContext, WritesGoToThePositionAndToVariables) {
  DataHost host;
  host.variables.AddVariable(u"outer", kt_long{5});
  Kt_VariableList variables;
  variables.AddVariable(u"own", kt_long{3});
  const auto data = MakeDataset(u"d", u"n:long\n1\n2\n3\n");
  Kt_DatasetCtx context(&host, nullptr, data.get(), &variables, nullptr);
  context.SetRowPosition(2, 0, 0, 1);
  EXPECT_EQ(RunScript(&context, u"curdata.n = n + 40; own = 30; outer = 50;"), "-");
  EXPECT_EQ(ShowTable(*data), "1|2|42") << "read at the row index, written at the position";
  EXPECT_EQ(Show(variables), "own=30 ");
  EXPECT_EQ(Show(host.variables), "outer=50 ");
  EXPECT_EQ(
      Eval(&context, u"dumpdatastatus()"),
      "'0\town\tinteger\t30\n1\touter\tinteger\t50\n-\tcurdata\tdataset\t[Dataset:d] 3 items\n'");
}

TEST(RowContext, Methods) {
  DataHost host;
  const auto data = MakeDataset(u"d", u"n:long\n1\n2\n");
  Kt_Script script(&host);
  ASSERT_EQ(script.Parse(u"s",
                         u"function twice(x) { return x * 2; }\n"
                         u"function count(x) { return 'script'; }\n",
                         nullptr, nullptr),
            0);
  Kt_DatasetCtx context(&host, &script, data.get(), nullptr, nullptr);
  context.SetRowPosition(0, 1, 0, 1);
  EXPECT_EQ(Eval(&context, u"twice(n)"), "4");
  EXPECT_EQ(Eval(&context, u"count(n)"), "'script'");
  EXPECT_EQ(Eval(&context, u"log(n)"), "2") << "the host's";
  EXPECT_EQ(Eval(&context, u"Sum('n')"), "3");
  EXPECT_EQ(Eval(&context, u"n - Min('n')"), "1");
  EXPECT_EQ(Eval(&context, u"curdata.GetColumn(0, 'n')"), "1");
  Kt_Variant value;
  EXPECT_EQ(context.CallMethod(u"rowcount", nullptr, value), kOk);
  EXPECT_EQ(Show(value), "2");
  EXPECT_EQ(context.CallMethod(u"nothing", nullptr, value), kNoMember) << "the parent's answer";
  Kt_DatasetCtx alone(nullptr, nullptr, data.get(), nullptr, nullptr);
  EXPECT_EQ(alone.CallMethod(u"nothing", nullptr, value), kFailed);
}

TEST(RowContext, ChildWrappersAreKeptAndNoticeTheEnd) {
  DataHost host;
  const auto outer = MakeDataset(u"outer", u"n:long\n1\n");
  Kt_ExprDataset outer_wrapper(outer.get(), &host);
  host.datasets = {&outer_wrapper};
  auto orders = MakeDataset(u"orders", u"n:long\n1\n2\n");
  Kt_DatasetList list;
  list.Add(*orders);
  Kt_DatasetCtx context(&host, nullptr, nullptr, nullptr, &list);
  Kt_ExprDataset* const child = context.GetChildDataset(u"ORDERS");
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(child->GetParentCtx(), &context);
  EXPECT_EQ(context.GetChildDataset(u"orders"), child);
  EXPECT_EQ(context.GetChildDataset(u"outer"), &outer_wrapper);
  EXPECT_EQ(context.GetChildDataset(u"curdata"), &outer_wrapper) << "no dataset of its own";
  EXPECT_EQ(context.GetChildDataset(u"nobody"), &context.GetWrapper());
  orders.reset();
  EXPECT_EQ(child->GetDataset(), nullptr);
  EXPECT_EQ(context.GetChildDataset(u"orders"), &context.GetWrapper());
  orders = MakeDataset(u"orders", u"n:long\n5\n");
  list.Add(*orders);
  EXPECT_EQ(context.GetChildDataset(u"orders")->GetRowCount(), 1);
  EXPECT_EQ(Eval(&context, u"orders.Sum('n')"), "5");
  EXPECT_EQ(context.IsValidComponent(nullptr), 1);
}

TEST(RowContext, ReportsGoToTheParent) {
  DataHost host;
  const auto data = MakeDataset(u"d", u"n:long\n1\n");
  Kt_DatasetCtx context(&host, nullptr, data.get(), nullptr, nullptr);
  (void)Eval(&context, u"nobody + 1");
  EXPECT_EQ(host.TakeReports(), "83B03110(nobody)");
  host.trace_mode = 1;
  (void)Eval(&context, u"trace('here')");
  EXPECT_NE(host.traces.find("here"), std::string::npos);
  Kt_Result result;
  result.AddMsg(kErrDataset, u"", 0, u"X()");
  context.GetWrapper().OnSystemError(result);
  EXPECT_EQ(host.system_errors, "83B01530(X()) ");
}

}  // namespace
