// SPDX-License-Identifier: MIT
//
// Subtotal rows: where they stand, what they hold, and what edits and filters do to them.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "classlib/store/Kt_Dataset.h"
#include "common/text.h"

namespace {

constexpr char16_t kSales[] =
    u"region:string,shop:string,amount:long\n"
    u"north,a,1\nnorth,a,2\nnorth,b,3\nsouth,a,4\nsouth,b,\nsouth,b,6\n";

Kt_Dataset Sales() {
  Kt_Dataset data(u"sales");
  data.LoadCSV(kSales);
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
  data.Sort(u"region,shop", true, false, true);
  data.RecalcGroup();
  return data;
}

// Rows as "amount" or "[level region shop amount first+count]".
std::string Shown(const Kt_Dataset& data) {
  std::string out;
  for (kt_long row = 0; row < data.GetRowCount(); ++row) {
    const auto cell = [&](kt_long col) {
      const Kt_Variant value = data.ReadColumn(row, col);
      return value.IsEmpty() ? std::string("-") : value.ToString().ToUtf8();
    };
    out += row > 0 ? " " : "";
    if (data.GetRowLevel(row) == 0) {
      out += cell(2);
      continue;
    }
    out += "[" + std::to_string(data.GetRowLevel(row)) + " " + cell(0) + " " + cell(1) + " " +
           cell(2) + " " + std::to_string(data.GetRangeStart(row)) + "+" +
           std::to_string(data.GetRangeCount(row)) + "]";
  }
  return out;
}

TEST(DatasetGroups, LevelsAndOrder) {
  Kt_Dataset data = Sales();
  EXPECT_EQ(data.GetGroupStr(), u"region,shop");
  EXPECT_EQ(Shown(data),
            "1 2 [1 north a 3 0+2] 3 [1 north b 3 3+1] [2 north - 6 0+5] "
            "4 [1 south a 4 6+1] - 6 [1 south b 6 8+2] [2 south - 10 6+5]");
  EXPECT_EQ(data.GetRowIndex(5), 0);
  EXPECT_EQ(data.GetRowType(2), kRowTypeLogical);
  data.SetReverseSubSumStat(true);
  EXPECT_EQ(Shown(data),
            "[2 north - 6 1+5] [1 north a 3 2+2] 1 2 [1 north b 3 5+1] 3 "
            "[2 south - 10 7+5] [1 south a 4 8+1] 4 [1 south b 6 10+2] - 6");
  EXPECT_EQ(data.GetRowIndex(0), 5);
}

TEST(DatasetGroups, AggregatesSkipSubtotals) {
  const Kt_Dataset data = Sales();
  Kt_Variant result;
  EXPECT_EQ(data.GetSum(2, 0, 99, result), 1);
  EXPECT_EQ(result.ToInteger(), 16);
  data.GetSum(2, 2, 5, result);
  EXPECT_EQ(result.ToInteger(), 3);
  EXPECT_EQ(data.GetSum(2, 4, 6, result), 0);
  EXPECT_EQ(data.GetCount(0, 99), 6);
  EXPECT_EQ(data.GetCount(2, 3), 0);
  data.GetMax(2, 0, 6, result);
  EXPECT_EQ(result.ToInteger(), 3);
}

TEST(DatasetGroups, SubtotalsCannotBeChanged) {
  Kt_Dataset data = Sales();
  for (const kt_long row : {2, 5, 11}) {
    EXPECT_EQ(data.SetColumn(row, 2, 1), -1);
    EXPECT_EQ(data.DeleteRow(row), -1);
    EXPECT_EQ(data.SelectRow(row), -1);
    EXPECT_EQ(data.LocFilter(row), -1);
    EXPECT_EQ(data.MoveRow(0, row), -1);
    EXPECT_EQ(data.SetRowType(row, kRowTypeUpdate), -1);
  }
  EXPECT_FALSE(data.GetUpdate());
  Kt_WString text;
  EXPECT_EQ(data.SaveCSV(text), 6);
}

TEST(DatasetGroups, EditsShiftThem) {
  Kt_Dataset data = Sales();
  EXPECT_EQ(data.DeleteRow(1), 1);
  EXPECT_EQ(Shown(data),
            "1 [1 north a 3 0+1] 3 [1 north b 3 2+1] [2 north - 6 0+4] "
            "4 [1 south a 4 5+1] - 6 [1 south b 6 7+2] [2 south - 10 5+5]");
  EXPECT_EQ(data.AppendRow(), 11);
  EXPECT_EQ(data.InsertRow(0), 0);
  EXPECT_EQ(data.ReadColumn(1, 2).ToInteger(), 1);
  EXPECT_EQ(data.GetRowLevel(2), 1);
  // A row before a subtotal joins the end of its group.
  EXPECT_EQ(data.InsertRow(2), 2);
  EXPECT_EQ(data.GetRowLevel(3), 1);
  EXPECT_EQ(data.GetRowCount(), 14);
  data.SetColumn(2, 2, 7);
  data.RecalcGroup();
  EXPECT_EQ(data.GetRowCountNF(), data.GetRowCount());
  data.Reset();
  EXPECT_EQ(Shown(data).substr(0, 21), "1 2 [1 north a 3 0+2]");
}

TEST(DatasetGroups, GoWithTheLastRow) {
  Kt_Dataset data = Sales();
  EXPECT_EQ(data.DeleteAll(), 6);
  EXPECT_EQ(data.GetRowCount(), 0);
  EXPECT_EQ(data.GetRowCountNF(), 0);
  data.Reset();
  EXPECT_EQ(Shown(data), Shown(Sales()));
}

TEST(DatasetGroups, FiltersHideFromTheLastRow) {
  Kt_Dataset data = Sales();
  data.ResetFilIndex();
  for (kt_long row = data.GetRowCount() - 1; row >= 0; --row) {
    const Kt_Variant amount = data.ReadColumn(row, 2);
    if (data.GetRowLevel(row) == 0 && amount.ToInteger() % 2 == 1) {
      EXPECT_EQ(data.LocFilter(row), 1);
    }
  }
  EXPECT_EQ(data.GetRowCount(), 10);
  EXPECT_EQ(data.GetRowCountNF(), 12);
  data.RecalcGroup();
  EXPECT_EQ(Shown(data),
            "2 [1 north a 2 0+1] [2 north - 2 0+2] 4 [1 south a 4 3+1] - 6 [1 south b 6 5+2] "
            "[2 south - 10 3+5]");
  EXPECT_EQ(data.GetRowIndexNF(0), 1);
  EXPECT_EQ(data.GetRowIndexNF(3), 6);
  data.SetLocFilterStat(false);
  EXPECT_EQ(data.GetRowCount(), data.GetRowCountNF());
}

TEST(DatasetGroups, Keys) {
  Kt_Dataset data = Sales();
  const auto modify = [&](Kt_KeyCall call, kt_long col, bool ascending = true) {
    return data.ModifyKeyStat(call, Kt_KeyType::kGroup, col, ascending);
  };
  EXPECT_EQ(modify(Kt_KeyCall::kAdd, 0), -1);
  EXPECT_EQ(modify(Kt_KeyCall::kRemove, 2), -1);
  EXPECT_EQ(modify(Kt_KeyCall::kAdd, 9), -1);
  EXPECT_EQ(modify(Kt_KeyCall::kChange, 0, false), 1);
  EXPECT_EQ(data.GetGroupStr(), u"region:d,shop");
  EXPECT_EQ(modify(Kt_KeyCall::kRemove, 1), 1);
  EXPECT_EQ(data.GetRowCount(), 12);
  data.RecalcGroup();
  EXPECT_EQ(Shown(data), "1 2 3 [1 north - 6 0+3] 4 - 6 [1 south - 10 4+3]");
  // Keys follow their columns through a load, or go.
  data.LoadCSV(u"amount:long,region:string\n1,x\n2,y\n");
  EXPECT_EQ(data.GetGroupStr(), u"region:d");
  EXPECT_EQ(data.GetRowCount(), 4);
  EXPECT_EQ(data.ModifyKeyStat(Kt_KeyCall::kClear, Kt_KeyType::kSort, 0), 1);
  data.RecalcGroup();
  EXPECT_EQ(data.GetRowCount(), 2);
}

// Inner totals of random data add up to outer ones, and every record is in one group per level.
TEST(DatasetGroups, RandomTotalsAddUp) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    Kt_Dataset data;
    data.AddColumn(u"a", u"long");
    data.AddColumn(u"b", u"double");
    data.AddColumn(u"v", u"long");
    data.AppendRow(1500);
    for (kt_long row = 0; row < 1500; ++row) {
      if (random() % 9 != 0) data.SetColumn(row, 0, static_cast<kt_long>(random() % 5));
      data.SetColumn(row, 1, static_cast<double>(random() % 4) / 2);
      data.SetColumn(row, 2, static_cast<kt_long>(random() % 100));
    }
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
    data.Sort(u"a,b:d", true, random() % 2 == 0, true);
    data.SetReverseSubSumStat(random() % 2 == 0);
    data.RecalcGroup();
    kt_long totals[3] = {0, 0, 0};
    for (kt_long row = 0; row < data.GetRowCount(); ++row) {
      const kt_long level = data.GetRowLevel(row);
      totals[level] += data.ReadColumn(row, 2).ToInteger();
      if (level == 0) continue;
      Kt_Variant sum;
      const kt_long start = data.GetRangeStart(row);
      data.GetSum(2, start, start + data.GetRangeCount(row), sum);
      ASSERT_EQ(sum.ToInteger(), data.ReadColumn(row, 2).ToInteger()) << "seed " << seed;
    }
    EXPECT_EQ(totals[0], totals[1]) << "seed " << seed;
    EXPECT_EQ(totals[0], totals[2]) << "seed " << seed;
    EXPECT_EQ(data.GetCount(0, data.GetRowCount()), 1500);
  }
}

}  // namespace
