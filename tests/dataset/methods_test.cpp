// SPDX-License-Identifier: MIT
//
// What the methods for columns, rows, states, order, copies and files do through a wrapper: what
// they give, what they announce and what they refuse. What every method does with odd arguments is
// in method_grid_test.cpp.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "dataset_test_util.h"

namespace {

using kt::test::EventRecord;
using kt::test::MakeDataset;
using kt::test::RecordingDataset;
using kt::test::Show;
using kt::test::ShowTable;

constexpr std::u16string_view kOrders = u"item:string,qty:long\npen,10\nink,3\npad,4\n";

// Two datasets that scripts know by id, whose wrappers write down their events.
class Methods : public testing::Test {
 protected:
  Methods() { StartAnew(); }

  void StartAnew() {
    host_.datasets.clear();
    wrappers_.clear();
    datasets_.clear();
    records_.clear();
    Add(u"orders", kOrders);
    Add(u"stock", u"item:string,left:long\nhat,40\ncup,0\n");
  }

  void Add(const char16_t* id, std::u16string_view csv) {
    datasets_.push_back(MakeDataset(id, csv));
    records_.push_back(std::make_shared<EventRecord>());
    wrappers_.push_back(
        std::make_unique<RecordingDataset>(datasets_.back().get(), &host_, records_.back()));
    host_.datasets.push_back(wrappers_.back().get());
  }

  // The first dataset has lost or gained rows and columns; whatever it has now can be edited, which
  // is asked about and told as ever. A position on a row that is gone reads empty.
  void ExpectEventsAgain() {
    const int position = wrappers_[0]->GetRowPosition();
    if (position >= Data().GetRowCount()) {
      EXPECT_EQ(Run(u"orders.GetColumn(orders.rowpos, 0)"), "-");
    }
    (void)Data().AddColumn(u"last");
    ASSERT_GE(Data().AppendRow(), 0);
    const int row = Data().GetRowCount() - 1;
    (void)Events();
    EXPECT_EQ(wrappers_[0]->SetColumn(row, u"last", u"x"), 1);
    const std::string change = "col last ->'x' @" + std::to_string(row);
    EXPECT_EQ(Events(), "can" + change + " " + change);
  }

  std::string Run(const char16_t* expression) { return kt::test::Eval(&host_, expression); }
  std::string Events(std::size_t dataset = 0) { return records_[dataset]->Take(); }
  Kt_Dataset& Data(std::size_t dataset = 0) { return *datasets_[dataset]; }
  std::string Rows(std::size_t dataset = 0) { return ShowTable(Data(dataset)); }

  kt::test::DataHost host_;
  std::vector<std::unique_ptr<Kt_Dataset>> datasets_;
  std::vector<std::shared_ptr<EventRecord>> records_;
  std::vector<std::unique_ptr<RecordingDataset>> wrappers_;
};

// ---- The table ----------------------------------------------------------------------------------

TEST(MethodTable, NamesThatShareAHandler) {
  const std::set<std::set<std::string>> wanted = {
      {"AddRow", "AppendRow"},
      {"ColCount", "GetColCount"},
      {"ConstCount", "GetConstCount"},
      {"GetCount", "GetRowCount", "RowCount"},
      {"GetCountNF", "GetRowCountNF", "GetTotalRowCount", "RowCountNF", "TotalRowCount"},
      {"GetCurrow", "GetRowPos", "GetRowPosition"},
      {"GetID", "ID"},
      {"GetOrgBuffCount", "OrgBuffCount"},
      {"GetRowTypeNF", "GetTotalRowType"},
      {"SetColumnNF", "SetTotalColumn"},
      {"CountNF", "TotalCount"},
      {"SumNF", "TotalSum"},
      {"AvgNF", "TotalAvg"},
      {"MaxNF", "TotalMax"},
      {"MinNF", "TotalMin"},
      {"CaseCountNF", "TotalCaseCount"},
      {"CaseSumNF", "TotalCaseSum"},
      {"CaseAvgNF", "TotalCaseAvg"},
      {"CaseMaxNF", "TotalCaseMax"},
      {"CaseMinNF", "TotalCaseMin"},
  };
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  std::set<std::set<std::string>> shared;
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    std::set<std::string> names;
    for (int other = 0; other < Kt_ExprDataset::GetDSetMethodCount(); ++other) {
      if (rows[other].method == rows[row].method) {
        names.insert(Kt_WString(rows[other].name).ToUtf8());
      }
    }
    if (names.size() > 1) shared.insert(names);
  }
  EXPECT_EQ(shared, wanted);
}

TEST(MethodTable, LeastCountsFlagsAndForms) {
  const std::map<std::string, int> least = {
      {"AddColumn", 1},    {"AddLogicalColumn", 2},
      {"Sum", 1},          {"CaseSum", 2},
      {"TotalCaseSum", 2}, {"Count", 0},
      {"CopyRow", 4},      {"CopyColumn", 5},
      {"CopytoRow", 4},    {"FindRow", 2},
      {"SearchRow", 1},    {"Lookup", 3},
      {"Filter", 1},       {"Sort", 1},
      {"LoadXML", 1},      {"SaveXML", 0},
      {"SetColumn", 3},    {"ModifyKeyStat", 3},
      {"Assign", 0},       {"Copy", 1},
  };
  const std::set<std::string> zero_flag = {"ApplyChange", "Assign",      "ClearData",
                                           "CopytoRow",   "Filter",      "RecalcFilter",
                                           "RecalcGroup", "RecalcPivot", "Reset"};
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  std::size_t checked = 0;
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    const std::string name = Kt_WString(rows[row].name).ToUtf8();
    if (const auto found = least.find(name); found != least.end()) {
      EXPECT_EQ(rows[row].count, found->second) << name;
      ++checked;
    }
    EXPECT_EQ(rows[row].flag, zero_flag.count(name) != 0 ? 0 : 1) << name;
    EXPECT_EQ(rows[row].extra, nullptr) << name;
    // The form shows the method.
    EXPECT_EQ(Kt_WString(rows[row].help).Findi(Kt_WString(rows[row].name) + u"("), 0) << name;
  }
  EXPECT_EQ(checked, least.size());
}

// ---- Columns and cells --------------------------------------------------------------------------

TEST_F(Methods, ColumnArguments) {
  const struct {
    const char16_t* expression;
    const char* wanted;
  } kRows[] = {
      {u"orders.GetColumn(1, 1)", "3"},
      {u"orders.GetColumn(1, 1.9)", "3"},    // a number is an index
      {u"orders.GetColumn(1, 'QTY')", "3"},  // text an id
      {u"orders.GetColumn(1, '1')", "-"},    // also a text of digits
      {u"orders.GetColumn(1, -1)", "-"},     // outside
      {u"orders.GetColumn(3, 1)", "-"},
      {u"orders.GetColIndex(1)", "1"},
      {u"orders.GetColIndex(2)", "-1"},
      {u"orders.GetColType('item')", "'string'"},
      {u"orders.GetColType('none')", "''"},
      {u"orders.GetColID(7)", "''"},
      {u"orders.AddColumn('qty')", "-1"},  // known
      {u"orders.AddColumn('x', 'nonsense')", "-1"},
      {u"orders.AddColumn('')", "!83B01008"},
      {u"orders.AddLogicalColumn('a', '')", "!83B01008"},
      {u"orders.AddConstColumn('')", "!83B01008"},
      {u"orders.SetColumn(0, 'none', 1)", "-1"},
      {u"orders.GetConstColumn('none')", "-"},
      {u"orders.SetConstColumn(0, 1)", "-1"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Run(row.expression), row.wanted) << Kt_WString(row.expression).ToUtf8();
  }
  EXPECT_EQ(Rows(), "pen,10|ink,3|pad,4");
  EXPECT_EQ(Events(), "");
}

TEST_F(Methods, CellsAreWrittenWithEvents) {
  EXPECT_EQ(Run(u"orders.SetColumn(1, 'qty', '8')"), "1");
  EXPECT_EQ(Events(), "cancol qty 3>'8' @1 col qty 3>'8' @1");
  records_[0]->refused = "cancol";
  EXPECT_EQ(Run(u"orders.SetColumn(1, 'qty', 9)"), "0");
  EXPECT_EQ(Rows(), "pen,10|ink,8|pad,4");
}

// ---- Rows ---------------------------------------------------------------------------------------

TEST_F(Methods, WholeRowChangesAreAnnounced) {
  const struct {
    const char16_t* expression;
    const char* result;
    const char* events;
    const char* rows;
  } kRows[] = {
      {u"orders.ClearData()", "1", "load 8", ""},
      {u"orders.Clear()", "1", "load 8", ""},
      {u"orders.DeleteAll()", "3", "deleting 0+3 load 8", ""},
      {u"orders.MoveRow(0, 2)", "1", "", "ink,3|pad,4|pen,10"},
      {u"orders.MoveRow(0, 3)", "-1", "", "pen,10|ink,3|pad,4"},
      {u"orders.ExChangeRow(0, 2)", "1", "", "pad,4|ink,3|pen,10"},
      {u"orders.Sort('qty')", "1", "canpos -1>0 pos -1>0 load 5", "ink,3|pad,4|pen,10"},
      {u"orders.Sort('qty', 0)", "1", "canpos -1>0 pos -1>0 load 5", "pen,10|pad,4|ink,3"},
      {u"orders.RecalcGroup()", "1", "canpos -1>0 pos -1>0 load 5", "pen,10|ink,3|pad,4"},
      {u"orders.RecalcPivot()", "1", "canpos -1>0 pos -1>0 load 5", "pen,10|ink,3|pad,4"},
      {u"orders.Reset()", "1", "canpos -1>0 pos -1>0 load 0", "pen,10|ink,3|pad,4"},
      {u"orders.Copy('stock')", "2", "canpos -1>0 pos -1>0 load 0", "hat,40|cup,0"},
      {u"orders.CopyF('stock')", "2", "canpos -1>0 pos -1>0 load 0", "hat,40|cup,0"},
      {u"orders.Assign('stock')", "2", "canpos -1>0 pos -1>0 load 0", "hat,40|cup,0"},
      {u"orders.AppendDataset('stock')", "2", "canpos -1>0 pos -1>0 load 4",
       "pen,10|ink,3|pad,4|hat,|cup,"},
      {u"orders.Merge('stock')", "2", "canpos -1>0 pos -1>0 load 4",
       "pen,10|ink,3|pad,4|hat,|cup,"},
      {u"orders.Copy('none')", "-1", "", "pen,10|ink,3|pad,4"},
      {u"orders.LoadCSV('item,qty\nbox,1')", "1", "canpos -1>0 pos -1>0 load 0", "box,1"},
      {u"orders.LoadCSV('item,qty\nbox,1', 0)", "1", "canpos -1>0 pos -1>0 load 4",
       "pen,10|ink,3|pad,4|box,1"},
      {u"orders.LoadXML('nonsense')", "-1", "canpos -1>0 pos -1>0 load 0", "pen,10|ink,3|pad,4"},
      {u"orders.LoadXML('nonsense', 0)", "-1", "canpos -1>0 pos -1>0 load 4", "pen,10|ink,3|pad,4"},
      {u"orders.LoadXML('text', 1, 1)", "-1", "canpos -1>0 pos -1>0 load 0", "pen,10|ink,3|pad,4"},
  };
  for (const auto& row : kRows) {
    StartAnew();
    const std::string text = Kt_WString(row.expression).ToUtf8();
    EXPECT_EQ(Run(row.expression), row.result) << text;
    EXPECT_EQ(Events(), row.events) << text;
    EXPECT_EQ(Rows(), row.rows) << text;
    EXPECT_EQ(Data().GetId(), u"orders") << text;
  }
}

// ---- States -------------------------------------------------------------------------------------

TEST_F(Methods, StatesByTextAndNumber) {
  EXPECT_EQ(Run(u"orders.SetRowType(0, 'Update')"), "1");
  EXPECT_EQ(Run(u"orders.SetRowType(1, 2)"), "1");
  EXPECT_EQ(Run(u"orders.SetRowType(2, 'logical')"), "-1");
  EXPECT_EQ(Run(u"orders.SetRowType(2, 'nonsense')"), "-1");
  EXPECT_EQ(Run(u"orders.GetRowType(0) + orders.GetRowType(1) + orders.GetRowType(2)"),
            "'updateinsertnormal'");
  EXPECT_EQ(Run(u"orders.SetRowType(0, orders.GetRowType(2))"), "1");
  EXPECT_EQ(Run(u"orders.GetRowType(0)"), "'normal'");
}

TEST_F(Methods, FirstValuesAndDeletedRows) {
  EXPECT_EQ(Run(u"orders.SetColumn(0, 'qty', 11)"), "1");
  EXPECT_EQ(Run(u"orders.DeleteRow(1)"), "1");
  EXPECT_EQ(Run(u"orders.AddRow()"), "2");
  EXPECT_EQ(Run(u"orders.GetOrgBuffCount()"), "2");
  EXPECT_EQ(Run(u"orders.GetOrgBuffType(0) + orders.GetOrgBuffType(1)"), "'updatedelete'");
  EXPECT_EQ(Run(u"orders.GetOrgBuffColumn(0, 'qty')"), "10");
  EXPECT_EQ(Run(u"orders.GetDelColumn(0, 'item')"), "'ink'");
  EXPECT_EQ(Run(u"orders.GetOrgColumn(2, 'qty')"), "-");
  EXPECT_EQ(Run(u"orders.Reset()"), "1");
  EXPECT_EQ(Rows(), "pen,10|ink,3|pad,4");
  EXPECT_EQ(Run(u"orders.GetUpdate()"), "0");
}

// ---- Sort ---------------------------------------------------------------------------------------

TEST_F(Methods, AFailedSortIsReportedWhenSomebodyListens) {
  EXPECT_EQ(Run(u"orders.Sort('none')"), "-1");
  EXPECT_EQ(host_.system_errors, "83B01109(orders, none) ");
  EXPECT_EQ(Events(), "canpos -1>0 pos -1>0 load 5");
  host_.log_mode = 0;
  host_.system_errors.clear();
  EXPECT_EQ(Run(u"orders.Sort('none')"), "-1");
  EXPECT_EQ(host_.system_errors, "");
  EXPECT_EQ(Run(u"orders.Sort('')"), "!83B01008");
}

TEST_F(Methods, KeysByCode) {
  EXPECT_EQ(Run(u"orders.ModifyKeyStat(0, 1, 0)"), "1");  // the column by index
  EXPECT_EQ(Run(u"orders.ModifyKeyStat(0, 1, 'item')"), "-1");
  EXPECT_EQ(Run(u"orders.ModifyKeyStat(0, 4, 'qty', 1, 1)"), "1");
  EXPECT_EQ(Run(u"orders.ModifyKeyStat(0, 4, 'qty', 1, 6)"), "-1");
  EXPECT_EQ(Run(u"orders.ModifyKeyStat(4, 1, 'qty')"), "-1");
  EXPECT_EQ(Run(u"orders.ModifyKeyStat(0, -1, 'qty')"), "-1");
  EXPECT_EQ(Run(u"orders.RecalcGroup()"), "1");
  EXPECT_EQ(Run(u"orders.GetRowLevel(1)"), "1");
  EXPECT_EQ(Run(u"orders.GetRangeStart(3)"), "2");
  EXPECT_EQ(Run(u"orders.GetColumn(1, 'qty')"), "10");
  EXPECT_EQ(Run(u"orders.ModifyKeyStat(3, 0, '')"), "1");
  EXPECT_EQ(Run(u"orders.RecalcGroup()"), "1");
  EXPECT_EQ(Run(u"orders.RowCount()"), "3");
}

// ---- Copies -------------------------------------------------------------------------------------

TEST_F(Methods, RowsAndCellsAreCopied) {
  const struct {
    const char16_t* expression;
    const char* result;
    const char* events;  // of the dataset that is written to
    const char* orders;
    const char* stock;
  } kRows[] = {
      {u"orders.CopyRow(0, 'stock', 1)", "1", "col  ->- @0", "cup,10|ink,3|pad,4", "hat,40|cup,0"},
      {u"orders.CopyRow(0, 'stock', 1, ' qty = left , ,item,none,=left')", "2", "col  ->- @0",
       "cup,0|ink,3|pad,4", "hat,40|cup,0"},
      {u"orders.CopyRow(0, 'stock', 1, 'item=')", "1", "col  ->- @0", "cup,10|ink,3|pad,4",
       "hat,40|cup,0"},
      {u"orders.CopyRow(0, stock, 0, 'qty=left')", "1", "col  ->- @0", "pen,40|ink,3|pad,4",
       "hat,40|cup,0"},
      {u"orders.CopyRow(0, orders, 1)", "2", "col  ->- @0", "ink,3|ink,3|pad,4", "hat,40|cup,0"},
      {u"orders.CopyRow(3, 'stock', 0)", "-", "", "pen,10|ink,3|pad,4", "hat,40|cup,0"},
      {u"orders.CopyRow(0, 'stock', 2)", "-", "", "pen,10|ink,3|pad,4", "hat,40|cup,0"},
      {u"orders.CopyRow(0, 'none', 0)", "-", "", "pen,10|ink,3|pad,4", "hat,40|cup,0"},
      {u"orders.CopyRow(0, 'stock')", "!83B01008", "", "pen,10|ink,3|pad,4", "hat,40|cup,0"},
      {u"stock.CopyToRow(0, 'orders', 1, 'qty=left')", "1", "col  ->- @1", "pen,10|ink,40|pad,4",
       "hat,40|cup,0"},
      {u"stock.CopyToRow(2, 'orders', 1)", "-", "", "pen,10|ink,3|pad,4", "hat,40|cup,0"},
      {u"orders.CopyColumn(2, 'qty', 'stock', 0, 'left')", "1", "col qty 4>40 @2",
       "pen,10|ink,3|pad,40", "hat,40|cup,0"},
      {u"orders.CopyColumn(2, 1, stock, 0, 0)", "1", "col qty 4>0 @2", "pen,10|ink,3|pad,0",
       "hat,40|cup,0"},
      {u"orders.CopyColumn(2, 'none', stock, 0, 0)", "-", "", "pen,10|ink,3|pad,4", "hat,40|cup,0"},
      {u"stock.CopyToColumn(0, 'left', 'orders', 2, 'qty')", "1", "col qty 4>40 @2",
       "pen,10|ink,3|pad,40", "hat,40|cup,0"},
  };
  for (const auto& row : kRows) {
    StartAnew();
    const std::string text = Kt_WString(row.expression).ToUtf8();
    EXPECT_EQ(Run(row.expression), row.result) << text;
    EXPECT_EQ(Events(0), row.events) << text;
    EXPECT_EQ(Events(1), "") << text;
    EXPECT_EQ(Rows(0), row.orders) << text;
    EXPECT_EQ(Rows(1), row.stock) << text;
  }
}

TEST_F(Methods, ADatasetCopiedIntoItself) {
  EXPECT_EQ(Run(u"orders.Copy(orders)"), "3");
  EXPECT_EQ(Run(u"orders.Assign('orders')"), "3");
  EXPECT_EQ(Run(u"orders.CopyF(orders)"), "3");
  EXPECT_EQ(Run(u"orders.AppendDataset(orders)"), "3");
  EXPECT_EQ(Rows(), "pen,10|ink,3|pad,4|pen,10|ink,3|pad,4");
}

// ---- Files --------------------------------------------------------------------------------------

TEST_F(Methods, SavedTextLoadsBackWithStates) {
  EXPECT_EQ(Run(u"orders.SetColumn(0, 'qty', 11)"), "1");
  EXPECT_EQ(Run(u"orders.DeleteRow(1)"), "1");
  for (const char16_t* const load :
       {u"stock.LoadXML(orders.SaveXML())", u"stock.LoadXML(orders.SaveBIN(), 1, 1)"}) {
    SCOPED_TRACE(Kt_WString(load).ToUtf8());
    EXPECT_EQ(Run(load), "2");
    EXPECT_EQ(Rows(1), "pen,11|pad,4");
    EXPECT_EQ(Data(1).GetId(), u"stock");
    EXPECT_EQ(Run(u"stock.GetRowType(0) + stock.GetOrgColumn(0, 'qty')"), "'update10'");
    EXPECT_EQ(Run(u"stock.GetDelColumn(0, 'item')"), "'ink'");
  }
}

TEST_F(Methods, SavesTakeAnIdARangeOfRowsAndAHeader) {
  EXPECT_EQ(Run(u"orders.SetColumn(0, 'qty', 11)"), "1");
  Data().LocFilter(0);
  const struct {
    const char16_t* expression;
    const char* wanted;
  } kRows[] = {
      {u"pos(orders.SaveXML('shop'), 'id=\"shop\"') > 0", "1"},
      {u"pos(orders.SaveXML(), 'id=\"orders\"') > 0", "1"},
      {u"pos(orders.SaveXML('', '', 0), 'type=\"long\"')", "-1"},
      {u"orders.SaveCSV('', 'all')", "'item:string,qty:long\r\nink,3\r\npad,4\r\n'"},
      {u"orders.SaveCSV('', 'nf')", "'item:string,qty:long\r\npen,11\r\nink,3\r\npad,4\r\n'"},
      {u"orders.SaveCSV('', 'nonsense')", "!83B03210"},
      {u"orders.SaveXML('', 'nonsense')", "!83B03210"},
      {u"orders.SaveBIN('x', 'nonsense')", "!83B03210"},
      {u"type(orders.SaveBIN('shop', 'update'))", "'binary'"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Run(row.expression), row.wanted) << Kt_WString(row.expression).ToUtf8();
  }
  EXPECT_EQ(Data().GetId(), u"orders");
}

// ---- Logical datasets ---------------------------------------------------------------------------

TEST_F(Methods, RefusedOnALogicalDataset) {
  ASSERT_EQ(Data(1).SetSource(&Data(0)), 1);
  const struct {
    const char16_t* expression;
    const char* signature;
  } kRows[] = {
      {u"stock.AddRow()", "AddRow()"},
      {u"stock.AppendRow()", "AddRow()"},
      {u"stock.InsertRow(0)", "InsertRow()"},
      {u"stock.DeleteRow(0)", "DeleteRow()"},
      {u"stock.DeleteAll()", "DeleteAll()"},
      {u"stock.ClearData()", "ClearData()"},
      {u"stock.DeleteSelected()", "DeleteSelected()"},
      {u"stock.GetRowType(0)", "GetRowType()"},
      {u"stock.GetRowTypeNF(0)", "GetRowTypeNF()"},
      {u"stock.GetTotalRowType(0)", "GetRowTypeNF()"},
      {u"stock.GetOrgBuffType(0)", "GetOrgBuffType()"},
      {u"stock.GetOrgBuffCount()", "GetOrgBuffCount()"},
      {u"stock.GetDelRowCount()", "GetDelRowCount()"},
      {u"stock.GetOrgColumn(0, 0)", "GetOrgColumn()"},
      {u"stock.GetOrgColumnNF(0, 0)", "GetOrgColumnNF()"},
      {u"stock.GetDelColumn(0, 0)", "GetDelColumn()"},
      {u"stock.GetOrgBuffColumn(0, 0)", "GetOrgBuffColumn()"},
      {u"stock.Sort('item')", "Sort()"},
      {u"stock.CopyRow(0, 'orders', 1)", "CopyRow()"},
      {u"stock.CopyColumn(0, 0, 'orders', 1, 0)", "CopyColumn()"},
      {u"orders.CopyToRow(0, 'stock', 1)", "CopytoRow()"},
      {u"orders.CopyToColumn(0, 0, 'stock', 1, 0)", "CopytoColumn()"},
      {u"stock.LoadXML('')", "LoadXML()"},
      {u"stock.LoadCSV('a')", "LoadCSV()"},
      {u"stock.SaveXML()", "SaveXML()"},
      {u"stock.SaveCSV()", "SaveCSV()"},
      {u"stock.SaveBIN()", "SaveBIN()"},
  };
  for (const auto& row : kRows) {
    const std::string text = Kt_WString(row.expression).ToUtf8();
    host_.system_errors.clear();
    EXPECT_EQ(Run(row.expression), "!83B01530") << text;
    EXPECT_EQ(host_.system_errors, std::string("83B01530(") + row.signature + ") ") << text;
  }
  // Too few arguments come first, and are not told.
  host_.system_errors.clear();
  EXPECT_EQ(Run(u"stock.InsertRow()"), "!83B01008");
  EXPECT_EQ(host_.system_errors, "");
  EXPECT_EQ(Rows(), "pen,10|ink,3|pad,4");
}

TEST_F(Methods, CopiesFromADatasetThatShowsTheTarget) {
  ASSERT_EQ(Data(1).SetSource(&Data(0)), 1);
  EXPECT_EQ(Run(u"orders.AppendDataset('stock')"), "3");
  EXPECT_EQ(Rows(), "pen,10|ink,3|pad,4|pen,10|ink,3|pad,4");
  EXPECT_EQ(Run(u"stock.CopyToRow(0, 'orders', 5)"), "2");
  EXPECT_EQ(Rows(), "pen,10|ink,3|pad,4|pen,10|ink,3|pen,10");
  EXPECT_EQ(Run(u"orders.Copy('stock')"), std::to_string(Data(1).GetRowCount()));
  EXPECT_EQ(Data().GetSource(), nullptr);
}

// ---- Handlers that intervene --------------------------------------------------------------------

// Every event of these calls, in turn, does something drastic.
TEST_F(Methods, HandlersChangeWhatIsWorkedOn) {
  const std::vector<std::pair<const char*, std::function<void()>>> deeds = {
      {"delete rows", [this] { (void)Data().DeleteAll(); }},
      {"add a column", [this] { (void)Data().AddColumn(u"more"); }},
      {"clear", [this] { Data().ClearAll(); }},
      {"load", [this] { (void)Data().LoadCSV(u"item\nx"); }},
      {"release the dataset", [this] { datasets_[0].reset(); }},
      {"release the wrapper",
       [this] {
         host_.datasets.erase(host_.datasets.begin());
         wrappers_[0].reset();
       }},
  };
  const char16_t* const kCalls[] = {
      u"orders.SetColumn(1, 'qty', 99)",
      u"orders.SetColumnNF(1, 'qty', 99)",
      u"orders.AddRow()",
      u"orders.InsertRow(1)",
      u"orders.DeleteRow(1)",
      u"orders.DeleteAll()",
      u"orders.DeleteSelected()",
      u"orders.Clear()",
      u"orders.ClearData()",
      u"orders.Sort('qty')",
      u"orders.Sort('none')",
      u"orders.RecalcGroup()",
      u"orders.RecalcPivot()",
      u"orders.Reset()",
      u"orders.Copy('stock')",
      u"orders.AppendDataset('stock')",
      u"orders.Merge('stock')",
      u"orders.CopyRow(1, 'stock', 0)",
      u"orders.CopyColumn(1, 0, 'stock', 0, 0)",
      u"stock.CopyToRow(0, 'orders', 1)",
      u"stock.CopyToColumn(0, 0, 'orders', 1, 0)",
      u"orders.LoadCSV('item,qty')",
      u"orders.LoadXML('')",
      u"orders.Filter('qty > 3')",
      u"orders.UnFilter()",
      u"orders.SetConstColumn('c', 2)",
  };
  for (const auto& row : deeds) {
    const auto& deed_name = row.first;
    const auto& deed = row.second;
    for (const char16_t* const call : kCalls) {
      // The n-th event of the call does it, until the call has no n-th event.
      for (int event = 0; event < 8; ++event) {
        StartAnew();
        (void)Data().AddConstColumn(u"c", kt_long{1});
        (void)Data().SelectRow(1);
        (void)Data().LocFilter(2);
        int seen = 0;
        bool done = false;
        records_[0]->on_event = [&](const std::string&) {
          if (seen++ != event) return;
          done = true;
          deed();
        };
        SCOPED_TRACE(Kt_WString(call).ToUtf8() + ": " + deed_name);
        (void)Run(call);
        records_[0]->on_event = nullptr;
        if (!done) break;
        kt::test::ExpectWhole(datasets_[0].get());
        kt::test::ExpectWhole(datasets_[1].get());
        if (datasets_[0] != nullptr && wrappers_[0] != nullptr) ExpectEventsAgain();
      }
    }
  }
}

// Objects are asked for their texts before anything is looked up, because the answer may end the
// dataset or its wrapper.
TEST_F(Methods, AnObjectThatEndsTheDatasetWhenItIsAsked) {
  for (const char16_t* const call :
       {u"orders.GetColumn(0, thing)", u"orders.GetColumn(thing, 'qty')",
        u"orders.AddColumn(thing)", u"orders.Copy(thing)", u"orders.Sort(thing)"}) {
    SCOPED_TRACE(Kt_WString(call).ToUtf8());
    StartAnew();
    host_.thing->on_text = [this] { datasets_[0].reset(); };
    EXPECT_EQ(Run(call), "!83B01008");
    StartAnew();
    host_.thing->on_text = [this] {
      host_.datasets.clear();
      wrappers_[0].reset();
    };
    EXPECT_EQ(Run(call), "!83B01008");
  }
}

}  // namespace
