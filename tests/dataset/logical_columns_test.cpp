// SPDX-License-Identifier: MIT
//
// Logical columns whose cells are computed by an expression.
#include <gtest/gtest.h>

#include "classlib/base/Kt_Buffer.h"
#include "dataset_test_util.h"

namespace {

using kt::test::DataHost;
using kt::test::Eval;
using kt::test::MakeDataset;
using kt::test::ShowTable;

class LogicalColumns : public testing::Test {
 protected:
  LogicalColumns() { host.datasets = {&wrapper}; }
  std::string Rows() const { return ShowTable(*data); }

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

// A cell that an expression names is what it holds, also where the value is used after the
// expression has ended. Columns whose ids are no names are reached this way.
TEST_F(LogicalColumns, CellsOfTheirDataset) {
  data->AddLogicalColumn(u"unit price", u"b / 10", u"double");
  data->AddLogicalColumn(u"here", u"curdata[rowidx]['unit price']", u"double");
  data->AddLogicalColumn(u"first", u"iif(a > 1, curdata['b'][0], 7)", u"long");
  EXPECT_EQ(Rows(), "1,10,1,1,7|2,20,2,2,10|3,30,3,3,10");
  EXPECT_EQ(Eval(&host, u"t.Max('curdata[rowidx].b')"), "30");
  EXPECT_EQ(Eval(&host, u"t.CaseMin('a > 1', \"curdata[rowidx]['unit price']\")"), "2.0");
  EXPECT_EQ(Eval(&host, u"t.Sum(\"curdata[rowidx]['unit price']\")"), "6.0");
  EXPECT_EQ(Eval(&host, u"t.SearchRow('curdata[2 - rowidx].a')"), "0");
  data->SetColumn(1, 0, kt_long{0});
  (void)Eval(&host, u"t.Filter('curdata[rowidx].a')");
  EXPECT_EQ(data->GetRowCount(), 2);
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
    (void)ShowTable(*sample);
    (void)Eval(&host, u"t.Sum('bad')");
    (void)Eval(&host, u"t.Filter('bad > 0 || 1')");
    EXPECT_EQ(ShowTable(*sample).substr(0, 5), "1,10,") << Kt_WString(text).ToUtf8();
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
    EXPECT_EQ(ShowTable(*sample), "4,8");
  }
  EXPECT_EQ(ShowTable(*sample), "4,");
  host.variables.AddVariable(u"rate", kt_long{3});
  const Kt_ExprDataset over(sample.get(), &host);
  EXPECT_EQ(ShowTable(*sample), "4,12");
}

// A file with one row (a 3, name "Ab", any [1, 2]) and a column `m` with this map.
Kt_WString FileWith(const char16_t* map, const char16_t* id = u"m") {
  Kt_Dataset data(u"file");
  data.AddColumn(u"a", u"long");
  data.AddColumn(u"name", u"string");
  data.AddColumn(u"any", u"variant");
  data.AddLogicalColumn(id, map, u"variant");
  data.AppendRow();
  data.SetColumn(0, 0, kt_long{3});
  data.SetColumn(0, 1, u"Ab");
  data.SetColumn(0, 2, Kt_VariantList{kt_long{1}, kt_long{2}});
  Kt_WString text;
  EXPECT_EQ(data.SaveDataXml(text), 1);
  return text;
}

// Loads that file in XML or binary form.
void LoadFileWith(const char16_t* map, bool binary, Kt_Dataset& dataset) {
  if (!binary) {
    ASSERT_EQ(dataset.LoadDataXml(FileWith(map)), 1);
    return;
  }
  Kt_Dataset data;
  ASSERT_EQ(data.LoadDataXml(FileWith(map)), 1);
  Kt_Buffer bytes;
  ASSERT_EQ(data.Save2(bytes), 1);
  ASSERT_EQ(dataset.LoadDataBin({bytes.GetData(), bytes.GetSize()}), 1);
}

// Offers a function of its own, and one that is called like a built-in function.
class MapHost : public DataHost {
 public:
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (!name.EqualsNoCase(u"touch") && !name.EqualsNoCase(u"length")) {
      return DataHost::GetMethodType(name, info);
    }
    info.SetExtAPI(this, name, [](Kt_ExprObject*, const Kt_VariantList*, Kt_Variant& result) {
      result = ++calls;
      return kOk;
    });
    return EXPR_OBJ_EXTAPI;
  }
  static inline kt_long calls = 0;
};

class LoadedMaps : public testing::Test {
 protected:
  LoadedMaps() {
    host.variables.AddVariable(u"rate", kt_long{100});
    MapHost::calls = 0;
  }
  MapHost host;
};

// What a map of a file may use, in both forms; `refused` is what the report names.
TEST_F(LoadedMaps, OnlyCompute) {
  const struct {
    const char16_t* map;
    const char* value;
    const char* refused;
  } rows[] = {
      {u"a * 2 + 1", "7", ""},
      {u"A", "3", ""},
      {u"iif(a > 2 && name <> '', toUpper(name), null)", "AB", ""},
      {u"name.toUpper()", "AB", ""},
      {u"name.length", "2", ""},
      {u"length(name) + row + rowcount", "3", ""},
      {u"split('x,y', ',')[1]", "y", ""},
      {u"length(today())", "8", ""},
      {u"any", "1,2", ""},
      {u"length(any)", "2", ""},
      {u"[a, [name]]", "3,Ab", ""},
      {u"a[0] + 1", "4", ""},
      {u"a.sum + 0", "3", ""},
      {u"touch(1)", "", "touch()"},
      {u"a + (2 * touch(a))", "", "touch()"},
      {u"0 && touch(1)", "", "touch()"},
      {u"[a, [1, touch(2)]]", "", "touch()"},
      {u"name.touch()", "", "touch()"},
      {u"(name).touch", "", ".touch"},
      {u"rate", "", "rate"},
      {u"rate++", "", "rate"},
      {u"a++", "", "++"},
      {u"--a", "", "--"},
      {u"ref(a)", "", "ref()"},
      {u"length(ref(rate))", "", "ref()"},
      {u"eval('touch(1)')", "", "eval()"},
      {u"name.eval()", "", "eval()"},
      {u"object('t').DeleteAll()", "", "object()"},
      {u"dumpdatastatus()", "", "dumpdatastatus()"},
      {u"random()", "", "random()"},
      {u"curdata.DeleteRow(0)", "", "curdata"},
      {u"t.DeleteRow(0)", "", "t"},
      {u"Sum('touch(1)')", "", "Sum()"},
      {u"DeleteAll()", "", "DeleteAll()"},
      {u"trace(touch(1))", "", "trace()"},
      {u"any[0]", "", "[]"},
      {u"(any).length", "", ".length"},
      {u"nothing", "", "nothing"},
  };
  for (const auto& row : rows) {
    for (const bool binary : {false, true}) {
      Kt_Dataset loaded(u"file");
      LoadFileWith(row.map, binary, loaded);
      loaded.NameLoadedMaps(u"in.dat");
      const Kt_ExprDataset over(&loaded, &host);
      ASSERT_TRUE(loaded.IsLoadedMap(3) && !loaded.IsLoadedMap(0));
      const std::string at = Kt_WString(row.map).ToUtf8() + (binary ? " (binary)" : "");
      const std::string value = loaded.ReadColumn(0, 3).ToString().ToUtf8();
      EXPECT_EQ(value, row.value) << at;
      const std::string reason =
          std::string("its map uses ") + row.refused + ", which a map that comes with data may not";
      EXPECT_EQ(host.TakeReports(),
                *row.refused == 0 ? "" : "83B03210(column 'm' of in.dat, " + reason + ")")
          << at;
    }
  }
  EXPECT_EQ(MapHost::calls, 0);
}

// What is a copy of such a column, or saved and loaded again, is one; what a script sets is not.
TEST_F(LoadedMaps, AreKnownInCopies) {
  Kt_Dataset loaded(u"file");
  LoadFileWith(u"touch(1)", false, loaded);
  Kt_ExprDataset over(&loaded, &host);
  EXPECT_EQ(loaded.AddLogicalColumn(u"own", u"touch(1) + length(name)"), 4);
  EXPECT_FALSE(loaded.IsLoadedMap(4));
  EXPECT_EQ(loaded.ReadColumn(0, 4).ToString(), u"3");  // 1 and, as the host counts, 2
  EXPECT_TRUE(loaded.ReadColumn(0, 3).IsEmpty());
  EXPECT_NE(host.TakeReports(), "");
  const auto read = [&](Kt_Dataset& copy) {
    const Kt_ExprDataset wrapper(&copy, &host);
    const kt_long before = MapHost::calls;
    EXPECT_TRUE(copy.ReadColumn(0, copy.GetColIndex(u"m")).IsEmpty());
    EXPECT_EQ(MapHost::calls, before);
    return host.TakeReports() == "" ? "" : "reported again";
  };
  Kt_Dataset copy(loaded);
  EXPECT_STREQ(read(copy), "");
  Kt_Dataset filled(u"b");
  EXPECT_EQ(filled.CopyF(loaded), 1);
  EXPECT_STREQ(read(filled), "");
  EXPECT_EQ(filled.Copy(loaded), 1);
  EXPECT_STREQ(read(filled), "");
  EXPECT_EQ(filled.Assign(loaded), 1);
  EXPECT_STREQ(read(filled), "");
  Kt_Dataset view(u"v");
  view.SetSource(&loaded);
  EXPECT_STREQ(read(view), "");
  Kt_Dataset again(u"again");
  EXPECT_EQ(again.AddLogicalColumnOf(loaded, 3), 0);
  EXPECT_TRUE(again.IsLoadedMap(0));
  Kt_WString text;
  EXPECT_EQ(filled.SaveDataXml(text), 1);
  Kt_Dataset back(u"back");
  EXPECT_EQ(back.LoadDataXml(text), 1);
  EXPECT_STREQ(read(back), "reported again");
  EXPECT_TRUE(back.IsLoadedMap(back.GetColIndex(u"own")));
  // A column that was there before the load keeps its map.
  Kt_Dataset mine(u"mine");
  mine.AddLogicalColumn(u"m", u"touch(2)");
  const Kt_ExprDataset mine_over(&mine, &host);
  EXPECT_EQ(mine.LoadDataXml(FileWith(u"rate")), 1);
  const kt_long called = mine.ReadColumn(0, mine.GetColIndex(u"m")).ToInteger();
  EXPECT_EQ(called, MapHost::calls);
}

// Reported once, also by sorts, sums and filters over many rows; the host may trust the file.
TEST_F(LoadedMaps, HostsDecide) {
  Kt_Dataset loaded(u"file");
  LoadFileWith(u"touch(1) + rate", false, loaded);
  loaded.AppendRow(500);
  Kt_ExprDataset over(&loaded, &host);
  host.datasets = {&over};
  EXPECT_EQ(Eval(&host, u"file.Sort('m')"), "1");
  EXPECT_EQ(Eval(&host, u"file.Sum('m + 1')"), "501");
  EXPECT_EQ(host.TakeReports(),
            "83B03210(column 'm' of file, its map uses touch(), which a map that comes with data "
            "may not)");
  EXPECT_EQ(MapHost::calls, 0);
  ASSERT_NE(loaded.GetEvaluator(), nullptr);
  loaded.GetEvaluator()->TrustLoadedMaps(true);
  EXPECT_EQ(loaded.ReadColumn(0, 3).ToString(), u"101");
  loaded.GetEvaluator()->TrustLoadedMaps(false);
  EXPECT_TRUE(loaded.ReadColumn(0, 3).IsEmpty());
  // An object that a script put into a cell is not for the file.
  LoadFileWith(u"any + 'x'", false, loaded);
  loaded.SetColumn(0, 2, Kt_Variant(Kt_ObjectHolder(&host, &host)));
  EXPECT_TRUE(loaded.ReadColumn(0, loaded.GetColIndex(u"m")).IsEmpty());
}

}  // namespace
