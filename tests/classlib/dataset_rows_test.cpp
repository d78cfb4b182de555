// SPDX-License-Identifier: MIT
//
// Columns, conversions, row states and filters, where the model test does not look.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "classlib/store/Kt_Dataset.h"
#include "common/text.h"

namespace {

std::string Cells(const Kt_Dataset& data, kt_long col = 0) {
  std::string out;
  for (kt_long row = 0; row < data.GetRowCount(); ++row) {
    out += (row > 0 ? "," : "") + data.ReadColumn(row, col).ToString().ToUtf8();
  }
  return out;
}

TEST(DatasetColumns, IdsAndTypes) {
  Kt_Dataset data(u"d");
  EXPECT_EQ(data.AddColumn(u"Name"), 0);
  EXPECT_EQ(data.AddColumn(u"NAME", u"long"), -1);
  EXPECT_EQ(data.AddColumn(u"", u"long"), -1);
  EXPECT_EQ(data.AddColumn(u"x", u"strange"), -1);
  EXPECT_EQ(data.AddColumn(u"n", u"Integer", 7), 1);
  EXPECT_EQ(data.GetColIndex(u"N"), 1);
  EXPECT_EQ(data.GetColIndex(u"none"), -1);
  EXPECT_EQ(data.GetColType(1), Kt_ColumnType::kLong);
  EXPECT_EQ(data.GetColSize(1), 7);
  EXPECT_EQ(data.GetColIDxByOrder(1), 1);
  EXPECT_EQ(data.GetColIDxByOrder(2), -1);
  EXPECT_TRUE(data.GetColID(-1).IsEmpty());
  EXPECT_EQ(data.AddConstColumn(u"rate", 2.5), 0);
  EXPECT_EQ(data.AddConstColumn(u"RATE", 2.5), -1);
  EXPECT_EQ(data.SetConstColumn(u"Rate", 3.5), 1);
  EXPECT_EQ(data.SetConstColumn(1, 3.5), -1);
  EXPECT_EQ(data.GetConstColumn(u"rate").ToDouble(), 3.5);
  EXPECT_TRUE(data.GetConstColumn(5).IsEmpty());
}

TEST(DatasetColumns, Conversions) {
  struct {
    const char16_t* type;
    Kt_Variant written;
    Kt_Variant read;
  } const rows[] = {
      {u"long", u"12 kg", 12},
      {u"long", u"kg", 0},
      {u"long", u"", {}},
      {u"long", 2.9, 2},
      {u"long", 1e20, std::numeric_limits<kt_long>::max()},
      {u"double", u"2.5x", 2.5},
      {u"double", Kt_Variant(true), 1.0},
      {u"currency", u"1.23456", Kt_Currency::FromUnits(12346)},
      {u"datetime", u"2024-01-31", Kt_DateTime{45322}},
      {u"datetime", u"45322.5", Kt_DateTime{45322.5}},
      {u"datetime", u"2024-02-30", {}},
      {u"string", 1.5, u"1.5"},
      {u"string", u"", u""},
      {u"string", {}, {}},
      {u"variant", Kt_VariantList{1, u"x"}, Kt_VariantList{1, u"x"}},
  };
  for (const auto& row : rows) {
    Kt_Dataset data;
    data.AddColumn(u"a", row.type);
    data.AppendRow();
    EXPECT_EQ(data.SetColumn(0, 0, row.written), 1);
    const Kt_Variant read = data.ReadColumn(0, 0);
    EXPECT_EQ(read.GetTag(), row.read.GetTag()) << Utf8(row.type);
    EXPECT_EQ(Var_Order(read, row.read), 0) << Utf8(row.type) << " " << read.ToString().ToUtf8();
    EXPECT_FALSE(data.WouldChange(0, 0, row.written));
  }
}

// Counts what it is asked, and reads another cell of the same row.
class Doubler : public Kt_ColumnEvaluator {
 public:
  bool EvaluateColumn(const Kt_Dataset& dataset, kt_long row, bool filtered,
                      const Kt_ColumnMap& map, Kt_Variant& result) override {
    const kt_long col = dataset.GetColIndex(map.expression.Mid(2, 10));
    const Kt_Variant value =
        filtered ? dataset.ReadColumn(row, col) : dataset.ReadColumnNF(row, col);
    result = 2 * value.ToInteger();
    return !value.IsEmpty();
  }
};

TEST(DatasetColumns, LogicalColumns) {
  Kt_Dataset data;
  data.AddLogicalColumn(u"early", u"n");  // stands for a column that comes later
  data.AddColumn(u"n", u"long");
  data.AddLogicalColumn(u"alias", u"EARLY");
  data.AddLogicalColumn(u"twice", u"2*n", u"long");
  data.AddLogicalColumn(u"ring", u"2*ring", u"long");
  data.AddLogicalColumn(u"p", u"q");
  data.AddLogicalColumn(u"q", u"p");
  data.AppendRow(4);
  for (kt_long row = 0; row < 4; ++row) EXPECT_EQ(data.SetColumn(row, 2, 40 - 10 * row), 1);
  EXPECT_EQ(Cells(data, 0), "40,30,20,10");
  EXPECT_EQ(Cells(data, 3), ",,,");  // nobody evaluates yet
  EXPECT_EQ(data.SetColumn(0, 3, 1), -1);
  data.SetEvaluator(std::make_shared<Doubler>());
  EXPECT_EQ(Cells(data, 3), "80,60,40,20");
  EXPECT_EQ(Cells(data, 4), ",,,");
  EXPECT_EQ(Cells(data, 5), ",,,");
  data.Filter(1);
  EXPECT_EQ(Cells(data, 3), "80,40,20");
  Kt_Variant sum;
  EXPECT_EQ(data.GetSum(3, 1, 99, sum), 1);
  EXPECT_EQ(sum.ToInteger(), 60);
  EXPECT_EQ(data.LookupDataRow(u"twice", u"40"), 1);
  EXPECT_EQ(data.Sort(u"twice"), 1);
  data.UnFilter();
  EXPECT_EQ(Cells(data, 3), "20,40,60,80");
}

TEST(DatasetRows, OutsideIsRefused) {
  Kt_Dataset data;
  data.AddColumn(u"a", u"long");
  data.AppendRow(2);
  for (const kt_long row : {-1, 2, 1 << 30}) {
    EXPECT_EQ(data.DeleteRow(row), -1);
    EXPECT_EQ(data.SetColumn(row, 0, 1), -1);
    EXPECT_EQ(data.GetRowType(row), 0);
    EXPECT_EQ(data.MoveRow(0, row), -1);
    EXPECT_EQ(data.ExchangeRow(row, 0), -1);
    EXPECT_EQ(data.SelectRow(row), -1);
    EXPECT_EQ(data.Filter(row), -1);
    EXPECT_EQ(data.GetRowIndexNF(row), -1);
    EXPECT_TRUE(data.GetColumn(row, 0)->IsEmpty());
    EXPECT_TRUE(data.GetColumn(0, row)->IsEmpty());
    EXPECT_TRUE(data.GetOrgBuffColumn(row, 0).IsEmpty());
    EXPECT_TRUE(data.GetDelColumn(row, 0).IsEmpty());
  }
  EXPECT_EQ(data.SetRowType(0, kRowTypeDelete), -1);
  EXPECT_EQ(data.AppendRow(0), -1);
  EXPECT_EQ(data.AppendRow(kMaxDatasetRows), kErrRowNotAdded);
  EXPECT_EQ(data.GetRowCount(), 2);
}

// A row deleted while the filter is suspended stands before the place at which the filtered rows
// were last read.
TEST(DatasetRows, SuspendedFilterSeesDeletedRows) {
  Kt_Dataset data;
  data.AddColumn(u"a", u"long");
  data.AppendRow(10);
  for (kt_long row = 0; row < 10; ++row) data.SetColumn(row, 0, row);
  data.ApplyChange();
  data.Filter(9);
  EXPECT_EQ(data.ReadColumn(5, 0).ToInteger(), 5);
  data.SetFilterStat(false);
  data.DeleteRow(0);
  data.SetFilterStat(true);
  EXPECT_EQ(data.ReadColumn(6, 0).ToInteger(), 7);
  EXPECT_EQ(data.ReadColumn(0, 0).ToInteger(), 1);
  EXPECT_EQ(data.ReadColumn(7, 0).ToInteger(), 8);
}

TEST(DatasetRows, ManyEditsAtTheFront) {
  Kt_Dataset data;
  data.AddColumn(u"a", u"long");
  constexpr kt_long kRows = 20000;
  data.AppendRow(kRows);
  data.ApplyChange();
  for (kt_long turn = 0; turn < kRows / 2; ++turn) ASSERT_EQ(data.DeleteRow(0), 1);
  for (kt_long turn = 0; turn < kRows; ++turn) {
    ASSERT_EQ(data.InsertRow(0), 0);
    data.SetColumn(0, 0, turn);
  }
  EXPECT_EQ(data.GetRowCount(), kRows + kRows / 2);
  EXPECT_EQ(data.ReadColumn(0, 0).ToInteger(), kRows - 1);
  EXPECT_EQ(data.ReadColumn(kRows - 1, 0).ToInteger(), 0);
  data.Reset();
  EXPECT_EQ(data.GetRowCount(), kRows);
}

// Texts that nothing uses any more must go, or a script that writes for ever fills the memory.
TEST(DatasetRows, RewrittenTextsStaySmall) {
  Kt_Dataset data;
  data.AddColumn(u"a");
  data.AppendRow(2);
  for (kt_long turn = 0; turn < 100000; ++turn) data.SetColumn(turn % 2, 0, turn);
  EXPECT_EQ(Cells(data), "99998,99999");
  data.SetColumn(1, 0, u"99998");
  EXPECT_EQ(data.LookupDataRow(u"a", u"99998", 1), 1);
}

TEST(DatasetAggregates, KindsAndEdges) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct {
    const char16_t* type;
    Kt_VariantList cells;
    Kt_Variant sum, avg, max, min;
  } const rows[] = {
      {u"long", {1, {}, 3}, 4, 2.0, 3, 1},
      {u"long", {2147483647, 2147483647}, 4294967294.0, 2147483647.0, 2147483647, 2147483647},
      {u"long", {{}, {}}, 0, {}, {}, {}},
      {u"long", {-5, -7}, -12, -6.0, -5, -7},
      {u"double", {0.5, {}, nan}, nan, nan, 0.5, 0.5},
      {u"double", {nan}, nan, nan, nan, nan},
      {u"currency",
       {u"0.1", u"0.2"},
       Kt_Currency::FromUnits(3000),
       0.15,
       Kt_Currency::FromUnits(2000),
       Kt_Currency::FromUnits(1000)},
      {u"currency",
       {u"900000000000000", u"900000000000000"},
       1.8e15,
       9e14,
       Kt_Currency::FromUnits(9000000000000000000),
       Kt_Currency::FromUnits(9000000000000000000)},
      {u"currency",
       {u"-1", u"-2"},
       Kt_Currency::FromUnits(-30000),
       -1.5,
       Kt_Currency::FromUnits(-10000),
       Kt_Currency::FromUnits(-20000)},
      {u"string", {u"10", u"9 kg", u""}, 19.0, 19.0 / 3, u"9 kg", u""},
      {u"variant", {1, u"x", 2.5}, 3.5, 3.5 / 3, u"x", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(Utf8(row.type) + " of " + row.cells.GetItemNN(0).ToString().ToUtf8());
    Kt_Dataset data;
    data.AddColumn(u"a", row.type);
    data.AppendRow(row.cells.GetCount());
    for (kt_long at = 0; at < row.cells.GetCount(); ++at) {
      data.SetColumn(at, 0, row.cells.GetItemNN(at));
    }
    Kt_Variant sum, avg, max, min;
    const kt_long found = data.GetSum(0, 0, 99, sum);
    EXPECT_EQ(data.GetAvg(0, -3, 99, avg), found);
    data.GetMax(0, 0, 99, max);
    data.GetMin(0, 0, 99, min);
    EXPECT_EQ(Var_Order(sum, row.sum), 0) << sum.ToString().ToUtf8();
    EXPECT_EQ(Var_Order(avg, row.avg), 0) << avg.ToString().ToUtf8();
    EXPECT_EQ(Var_Order(max, row.max), 0) << max.ToString().ToUtf8();
    EXPECT_EQ(Var_Order(min, row.min), 0) << min.ToString().ToUtf8();
    EXPECT_EQ(sum.GetTag(), row.sum.GetTag());
    EXPECT_EQ(max.GetTag(), row.max.GetTag());
  }
}

// The sum depends on the sequence of the values alone, not on how the rows are stored.
TEST(DatasetAggregates, SumDoesNotDependOnStorage) {
  Kt_Dataset data;
  data.AddColumn(u"a", u"double");
  data.AddColumn(u"order", u"long");
  constexpr kt_long kRows = 5000;
  data.AppendRow(kRows);
  for (kt_long row = 0; row < kRows; ++row) {
    data.SetColumn(row, 0, std::sin(row) * std::pow(10, row % 20));
    data.SetColumn(row, 1, row * 7 % kRows);
  }
  Kt_Variant dense, filtered;
  data.Sort(u"order");
  Kt_Dataset copy;
  copy.AddColumn(u"a", u"double");
  copy.AppendRow(kRows);
  for (kt_long row = 0; row < kRows; ++row) copy.SetColumn(row, 0, data.ReadColumn(row, 0));
  copy.GetSum(0, 0, kRows, dense);
  data.InsertRow(100);
  data.Filter(100);
  data.GetSum(0, 0, kRows, filtered);
  EXPECT_EQ(dense.ToDouble(), filtered.ToDouble());
}

TEST(DatasetSort, KeysDirectionsAndNulls) {
  struct {
    const char16_t* list;
    bool ascending;
    bool nulls_last;
    const char* wanted;  // ids; "" refused
  } const rows[] = {
      {u"n", true, false, "d,a,c,b,e"},
      {u"n", true, true, "a,c,b,e,d"},
      {u"n:d", true, false, "d,b,e,a,c"},
      {u"n", false, false, "d,b,e,a,c"},
      {u"n:d", false, true, "a,c,b,e,d"},
      {u"t,n:d", true, false, "c,e,d,a,b"},
      {u" T : d , N ", true, true, "b,a,d,e,c"},
      {u"none", true, false, ""},
      {u"n:x", true, false, ""},
      {u"", true, false, ""},
      {u"n,none", true, false, ""},
      {u"r", true, false, "b,a,d,c,e"},
  };
  for (const auto& row : rows) {
    Kt_Dataset data;
    data.LoadCSV(
        u"id:string,n:long,t:string,r:double\n"
        u"a,1,x,-0\nb,2,z,-inf\nc,1,,nan\nd,,x,0\ne,2,\"\",nan\n");
    const bool refused = *row.wanted == '\0';
    EXPECT_EQ(data.Sort(row.list, row.ascending, row.nulls_last), refused ? -1 : 1)
        << Utf8(row.list);
    EXPECT_EQ(Cells(data), refused ? "a,b,c,d,e" : row.wanted) << Utf8(row.list);
  }
}

TEST(DatasetLookup, ByTypeAndByText) {
  Kt_Dataset data;
  data.LoadCSV(
      u"t:string,n:long,d:double,w:datetime\n"
      u"Ab,1,1.5,2024-01-31\n,,,\n\"\",12,0,\nab,12,-1,2024-02-01\n");
  struct {
    const char16_t* id;
    const char16_t* text;
    kt_long exact, as;
  } const rows[] = {
      {u"t", u"ab", 3, 0},        {u"t", u"", 1, 1},      {u"t", u"zz", -1, -1},
      {u"N", u"12", 2, 2},        {u"n", u"12.0", 2, -1}, {u"n", u"12 kg", -1, -1},
      {u"n", u"12.5", -1, -1},    {u"n", u"", 1, 1},      {u"d", u"0", 2, 2},
      {u"w", u"2024/2/1", 3, -1}, {u"x", u"1", -1, -1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(data.LookupDataRow(row.id, row.text), row.exact) << Utf8(row.id) << Utf8(row.text);
    EXPECT_EQ(data.LookupDataRowAs(row.id, row.text), row.as) << Utf8(row.id) << Utf8(row.text);
  }
  EXPECT_EQ(data.LookupDataRow(u"n", u"12", 3), 3);
  EXPECT_EQ(data.LookupDataRow(u"n", u"12", 0, 2), -1);
  data.Filter(2);
  EXPECT_EQ(data.LookupDataRow(u"n", u"12"), 2);
  EXPECT_EQ(data.LookupDataRowNF(u"n", u"12"), 2);
  EXPECT_EQ(data.LookupDataText(u"n", u"12", u"t"), u"ab");
}

}  // namespace
