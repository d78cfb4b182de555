// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>

#include "classlib/store/Kt_Fold.h"
#include "classlib/store/Kt_Pivot.h"
#include "common/text.h"

namespace {

constexpr kt_long kRegion = 0;
constexpr kt_long kYear = 1;
constexpr kt_long kMonth = 2;
constexpr kt_long kAmount = 3;

Kt_Dataset Sales(bool months) {
  Kt_Dataset data;
  data.LoadCSV(
      u"region:string,year:long,month:long,amount:long,other:long\n"
      u"south,2024,1,1,9\nnorth,2023,2,2,9\nnorth,2024,1,3,9\nnorth,2024,1,4,9\n"
      u"south,2024,2,5,9\nwest,2023,1,,9\n");
  const auto add = [&](Kt_KeyType type, kt_long col, bool ascending = true) {
    data.ModifyKeyStat(Kt_KeyCall::kAdd, type, col, ascending, Kt_Aggregate::kSum);
  };
  add(Kt_KeyType::kPivotRow, kRegion);
  add(Kt_KeyType::kPivotColumn, kYear, false);
  if (months) add(Kt_KeyType::kPivotColumn, kMonth);
  add(Kt_KeyType::kPivotValue, kAmount);
  return data;
}

// "year/month+level ..." and a row each: "region: value ...", absent "." and null "-".
std::string Shown(const Kt_Pivot& pivot) {
  const auto text = [&](kt_long row, kt_long col, kt_long position) {
    const Kt_Variant value = pivot.GetColumn(row, col, position);
    return value.IsEmpty() ? std::string("-") : value.ToString().ToUtf8();
  };
  std::string out;
  for (kt_long at = 0; at < pivot.GetPivotColCount(); ++at) {
    out += " " + text(0, kYear, at) + "/" + text(0, kMonth, at);
    out += std::string(static_cast<std::size_t>(pivot.GetPivotColLevel(at)), '*');
  }
  for (kt_long row = 0; row < pivot.GetPivotRowCount(); ++row) {
    out += "|" + text(row, kRegion, -1) + ":";
    for (kt_long at = 0; at < pivot.GetPivotColCount(); ++at) {
      out += " " + (pivot.GetPivotRowPos(row, at) < 0 ? "." : text(row, kAmount, at));
    }
  }
  return out;
}

TEST(Pivot, RowsPositionsAndCells) {
  Kt_Pivot pivot;
  Kt_Dataset data = Sales(false);
  ASSERT_TRUE(pivot.Build(data));
  EXPECT_EQ(Shown(pivot), " 2024/- 2023/-|north: 7 2|south: 6 .|west: . 0");
  EXPECT_EQ(pivot.GetColumnSet(0, kAmount).GetCount(), 2);
  ASSERT_TRUE(pivot.Build(Sales(true)));
  EXPECT_EQ(Shown(pivot),
            " 2024/1 2024/2 2024/-* 2023/1 2023/2 2023/-*"
            "|north: 7 . 7 . 2 2|south: 1 5 6 . . .|west: . . . 0 . 0");
  EXPECT_EQ(pivot.GetPivotTableColCount(), 4);
  // Only rows that are shown count; the pivot itself does not follow later changes.
  data.Filter(0);
  ASSERT_TRUE(pivot.Build(data));
  data.SetColumn(0, kAmount, 1000);
  data.DeleteRow(1);
  EXPECT_EQ(Shown(pivot), " 2024/- 2023/-|north: 7 2|south: 5 .|west: . 0");
}

TEST(Pivot, ColumnTypesAndOutside) {
  Kt_Pivot pivot;
  ASSERT_TRUE(pivot.Build(Sales(true)));
  EXPECT_EQ(pivot.GetPivotColType(kAmount), Kt_Pivot::ColumnType::kValue);
  EXPECT_EQ(pivot.GetPivotColType(kRegion), Kt_Pivot::ColumnType::kRowKey);
  EXPECT_EQ(pivot.GetPivotColType(kMonth), Kt_Pivot::ColumnType::kColumnKey);
  EXPECT_EQ(pivot.GetPivotColType(4), Kt_Pivot::ColumnType::kOther);
  EXPECT_EQ(pivot.GetPivotColType(-1), Kt_Pivot::ColumnType::kOther);
  for (const kt_long outside : {-1, 99}) {
    EXPECT_TRUE(pivot.GetColumn(outside, kAmount, 0).IsEmpty());
    EXPECT_TRUE(pivot.GetColumn(0, kAmount, outside).IsEmpty());
    EXPECT_TRUE(pivot.GetColumn(0, outside, 0).IsEmpty());
    EXPECT_EQ(pivot.GetPivotRowPos(outside, 0), -1);
    EXPECT_EQ(pivot.GetPivotColLevel(outside), 0);
  }
  EXPECT_FALSE(pivot.Build(Kt_Dataset()));
  EXPECT_EQ(pivot.GetPivotRowCount(), 0);
  Kt_Dataset empty = Sales(true);
  empty.DeleteAll();
  EXPECT_TRUE(pivot.Build(empty));
  EXPECT_EQ(pivot.GetPivotColCount(), 0);
}

TEST(Pivot, RandomCellsAreTheSumsOfTheirRows) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    Kt_Dataset data = Sales(true);
    data.ClearData();
    std::map<std::tuple<kt_long, kt_long, kt_long>, kt_long> sums;
    for (int row = 0; row < 2000; ++row) {
      const kt_long keys[] = {static_cast<kt_long>(random() % 30),
                              static_cast<kt_long>(random() % 5),
                              static_cast<kt_long>(random() % 12)};
      const kt_long amount = static_cast<kt_long>(random() % 100);
      const kt_long at = data.AppendRow();
      for (kt_long col = 0; col < 3; ++col) data.SetColumn(at, col, keys[col]);
      data.SetColumn(at, kAmount, amount);
      sums[{keys[0], keys[1], keys[2]}] += amount;
      sums[{keys[0], keys[1], -1}] += amount;
    }
    Kt_Pivot pivot;
    ASSERT_TRUE(pivot.Build(data));
    std::size_t cells = 0;
    for (kt_long row = 0; row < pivot.GetPivotRowCount(); ++row) {
      for (kt_long at = 0; at < pivot.GetPivotColCount(); ++at) {
        if (pivot.GetPivotRowPos(row, at) < 0) continue;
        const Kt_Variant month = pivot.GetColumn(row, kMonth, at);
        const auto found = sums.find({pivot.GetColumn(row, kRegion, at).ToInteger(),
                                      pivot.GetColumn(row, kYear, at).ToInteger(),
                                      month.IsEmpty() ? -1 : month.ToInteger()});
        ASSERT_NE(found, sums.end()) << "seed " << seed;
        ASSERT_EQ(pivot.GetColumn(row, kAmount, at).ToInteger(), found->second) << "seed " << seed;
        ++cells;
      }
    }
    EXPECT_EQ(cells, sums.size()) << "seed " << seed;
  }
}

// Of keys that are equal and read differently, 0 and -0, those of the record that stands first,
// however the rows are ordered; hidden rows are none.
TEST(Pivot, ShowsTheKeysOfTheFirstRecord) {
  const Kt_Variant keys[] = {0.0, -0.0, 1.0, std::nan(""), {}};
  const auto is_same = [](const Kt_Variant& a, const Kt_Variant& b) {
    return a.IsEmpty() == b.IsEmpty() && (a.IsEmpty() || Var_Order(a, b) == 0);
  };
  const auto text = [](const Kt_Variant& key) {
    return (std::signbit(key.ToDouble()) ? "-" : "") + key.ToString().ToUtf8();
  };
  for (unsigned seed = 1; seed <= 60; ++seed) {
    std::mt19937 random(seed);
    Kt_Dataset data;
    for (const char16_t* const id : {u"a", u"b", u"v"}) data.AddColumn(id, u"double");
    data.AppendRow(static_cast<kt_long>(random() % (seed % 4 == 0 ? 1500 : 30)) + 1);
    for (kt_long row = 0; row < data.GetRowCount(); ++row) {
      data.SetColumn(row, 0, keys[random() % 5]);
      data.SetColumn(row, 1, keys[random() % 5]);
      data.SetColumn(row, 2, static_cast<double>(random() % 1000) / 7);
    }
    if (seed % 3 > 0) data.Sort(u"v");
    for (kt_long row = data.GetRowCount() - 1; row >= 0 && seed % 2 == 0; row -= 3) {
      data.Filter(row);
    }
    const auto first_with = [&](kt_long col, const Kt_Variant& key) {
      kt_long row = 0;
      while (!is_same(data.ReadColumn(row, col), key)) ++row;
      return data.ReadColumn(row, col);
    };
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1, false);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kAvg);
    Kt_Pivot pivot;
    if (data.GetRowCount() == 0 || !pivot.Build(data)) continue;
    for (kt_long row = 0; row < pivot.GetPivotRowCount(); ++row) {
      const Kt_Variant key = pivot.GetColumn(row, 0, 0);
      ASSERT_EQ(text(key), text(first_with(0, key))) << "seed " << seed;
      for (kt_long at = 0; at < pivot.GetPivotColCount(); ++at) {
        const Kt_Variant position = pivot.GetColumn(row, 1, at);
        ASSERT_EQ(text(position), text(first_with(1, position))) << "seed " << seed;
        Kt_CellFold fold(Kt_Aggregate::kAvg);
        for (kt_long from = 0; from < data.GetRowCount(); ++from) {
          if (is_same(data.ReadColumn(from, 0), key) &&
              is_same(data.ReadColumn(from, 1), position)) {
            fold.Step(data.ReadColumn(from, 2));
          }
        }
        ASSERT_EQ(pivot.GetPivotRowPos(row, at) >= 0, fold.HasRow()) << "seed " << seed;
        ASSERT_EQ(pivot.GetColumn(row, 2, at).ToDouble(), fold.Finish().ToDouble())
            << "seed " << seed;
      }
    }
  }
}

}  // namespace
