// SPDX-License-Identifier: MIT
//
// One set of random rows, and every place that makes an aggregate of them: they agree, or differ as
// docs/values.md says.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_Fold.h"
#include "classlib/text/Kt_Number.h"
#include "cli/cli_test_util.h"
#include "dataset/Kt_ExprDataset.h"

namespace {

constexpr Kt_Aggregate kAll[] = {Kt_Aggregate::kSum, Kt_Aggregate::kAvg, Kt_Aggregate::kMax,
                                 Kt_Aggregate::kMin, Kt_Aggregate::kCount};
// Columns of the rows: a key of groups, a key of positions that is always the same, then values.
constexpr kt_long kKey = 0;
constexpr kt_long kPosition = 1;
constexpr kt_long kFirstValue = 2;
constexpr kt_long kExact = 2;
constexpr kt_long kReal = 3;
constexpr kt_long kAmount = 4;
constexpr kt_long kMixed = 5;

Kt_Dataset RandomRows(unsigned seed) {
  std::mt19937 random(seed);
  const auto roll = [&](unsigned count) { return static_cast<kt_long>(random() % count); };
  Kt_Dataset rows(u"t");
  rows.LoadCSV(u"k:string,p:string,n:long,d:double,c:currency,v:variant\n");
  // Doubles without a rest, so that their sum does not depend on the sequence.
  constexpr double kReals[] = {0.5, -2, 3, 3, std::numeric_limits<double>::quiet_NaN()};
  const unsigned reals = seed % 2 == 0 ? 4 : 5;
  for (kt_long row = rows.AppendRow(1 + roll(12)); row >= 0 && row < rows.GetRowCount(); ++row) {
    rows.SetColumn(row, kKey, u"a");
    rows.SetColumn(row, kPosition, u"x");
    if (roll(4) != 0) rows.SetColumn(row, kExact, std::numeric_limits<kt_long>::max() - roll(3));
    if (roll(4) != 0) rows.SetColumn(row, kReal, kReals[random() % reals]);
    if (roll(4) != 0) rows.SetColumn(row, kAmount, Kt_Currency::FromUnits(roll(100000) - 50000));
    const Kt_Variant kinds[] = {roll(5), kReals[random() % reals], Kt_Variant(), u"12 kg"};
    rows.SetColumn(row, kMixed, kinds[random() % 4]);
  }
  return rows;
}

// Kind and value; NaN equals NaN.
std::string Show(const Kt_Variant& value) {
  return std::to_string(value.GetTag()) + ":" + value.ToString().ToUtf8();
}

std::string OfColumn(const Kt_Dataset& rows, Kt_Aggregate what, kt_long col) {
  Kt_Variant result;
  rows.GetAggregate(what, col, 0, rows.GetRowCount(), result);
  return Show(result);
}

std::string OfGroup(Kt_Dataset rows, Kt_Aggregate what, kt_long col) {
  rows.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kGroup, kKey);
  rows.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, col, true, what);
  rows.RecalcGroup();
  return Show(rows.ReadColumn(rows.GetRowCount() - 1, col));
}

Kt_Dataset Cross(Kt_Dataset rows, kt_long row_key, Kt_Aggregate what, kt_long col) {
  rows.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, row_key);
  rows.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, kPosition);
  rows.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, col, true, what);
  EXPECT_EQ(rows.RecalcPivot(), 1);
  return rows;
}

// One cell of all rows.
std::string OfCell(const Kt_Dataset& rows, Kt_Aggregate what, kt_long col) {
  return Show(Cross(rows, kKey, what, col).ReadColumn(0, col, 0));
}

// A cell for every row, and the aggregate down them.
Kt_Variant DownCells(Kt_Dataset rows, Kt_Aggregate what, kt_long col) {
  const kt_long number = rows.AddColumn(u"number", u"long");
  for (kt_long row = 0; row < rows.GetRowCount(); ++row) rows.SetColumn(row, number, row);
  const Kt_Dataset cross = Cross(rows, number, Kt_Aggregate::kMax, col);
  Kt_Variant result;
  cross.GetPivotRowAggregate(what, col, 0, 0, cross.GetRowCount(), true, result);
  return result;
}

kt_long CountOf(const Kt_Dataset& rows, kt_long col) {
  Kt_Variant count;
  rows.GetAggregate(Kt_Aggregate::kCount, col, 0, rows.GetRowCount(), count);
  return count.ToInteger();
}

TEST(Aggregates, FoldsOfKernelsGoOn) {
  for (const Kt_Aggregate what : {Kt_Aggregate::kMax, Kt_Aggregate::kMin}) {
    const bool greatest = what == Kt_Aggregate::kMax;
    const kt_long best = greatest ? 9 : 1;
    for (const bool merges : {false, true}) {
      Kt_CellFold fold(what, 2, {}, best);
      merges ? fold.Merge(5) : fold.Step(5);
      EXPECT_EQ(fold.Finish().ToInteger(), best) << greatest << merges;
      merges ? fold.Merge(10 * (best - 5)) : fold.Step(10 * (best - 5));
      EXPECT_EQ(fold.Finish().ToInteger(), 10 * (best - 5)) << greatest << merges;
    }
  }
}

TEST(Aggregates, ColumnsGroupsAndPivotsAgree) {
  for (unsigned seed = 1; seed <= 150; ++seed) {
    const Kt_Dataset rows = RandomRows(seed);
    for (kt_long col = kFirstValue; col < rows.GetColCount(); ++col) {
      const kt_long present = CountOf(rows, col);
      for (const Kt_Aggregate what : kAll) {
        const std::string wanted = OfColumn(rows, what, col);
        const std::string place = "seed " + std::to_string(seed) + ", column " +
                                  std::to_string(col) + ", " +
                                  Kt_WString(kt_aggregatenameW(what)).ToUtf8();
        EXPECT_EQ(OfGroup(rows, what, col), wanted) << place;
        EXPECT_EQ(OfCell(rows, what, col), wanted) << place;
        // Down the cells an average and a count are over all of them, whatever they hold.
        const Kt_Variant down = DownCells(rows, what, col);
        if (what == Kt_Aggregate::kCount) {
          EXPECT_EQ(down.ToInteger(), rows.GetRowCount()) << place;
        } else if (present == 0) {
          EXPECT_EQ(down.ToDouble(), 0) << place;  // a sum, whose kind no value tells
        } else if (what == Kt_Aggregate::kAvg) {
          Kt_Variant avg;
          rows.GetAvg(col, 0, rows.GetRowCount(), avg);
          EXPECT_EQ(
              Show(std::isnan(avg.ToDouble()) ? avg
                                              : Kt_Variant(down.ToDouble() * rows.GetRowCount())),
              Show(std::isnan(down.ToDouble()) ? down : Kt_Variant(avg.ToDouble() * present)))
              << place;
        } else {
          EXPECT_EQ(Show(down), wanted) << place;
        }
      }
    }
  }
}

// Every row is one value there, nulls are the number 0, and a first NaN stays the best.
TEST(Aggregates, ExpressionsTakeEveryRow) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    Kt_Dataset rows = RandomRows(seed);
    for (kt_long row = rows.GetRowCount() - 1; row >= 0; --row) {
      if (rows.ReadColumn(row, kReal).IsEmpty()) rows.SetColumn(row, kReal, 0.0);
    }
    Kt_Variant first;
    first = rows.ReadColumn(0, kReal);
    Kt_ExprDataset wrapper(&rows, nullptr);
    for (const char16_t* const name : {u"Sum", u"Avg", u"Max", u"Min"}) {
      const Kt_Aggregate what = kt_findaggregateW(name);
      Kt_VariantList args;
      args.Add(u"d");
      Kt_Variant column;
      ASSERT_EQ(wrapper.CallMethod(name, &args, column), 0);
      EXPECT_EQ(Show(column), OfColumn(rows, what, kReal));
      args.Clear();
      args.Add(u"d + 0");
      Kt_Variant expression;
      ASSERT_EQ(wrapper.CallMethod(name, &args, expression), 0);
      const bool is_extreme = what == Kt_Aggregate::kMax || what == Kt_Aggregate::kMin;
      const bool stays = is_extreme && std::isnan(first.ToDouble());
      EXPECT_EQ(Show(expression), Show(stays ? first : column)) << seed;
    }
  }
}

TEST(Aggregates, TablesShowWhatTheStoreSays) {
  const TestFolder folder;
  for (unsigned seed = 1; seed <= 12; ++seed) {
    const Kt_Dataset rows = RandomRows(seed);
    Kt_WString csv;
    ASSERT_GT(rows.SaveCSV(csv), 0);
    const std::string file = folder.Write("t.csv", csv.ToUtf8());
    for (const Kt_Aggregate what : kAll) {
      const std::string name = Kt_WString(kt_aggregatenameW(what)).ToUtf8();
      Kt_Variant total;
      rows.GetAggregate(what, kReal, 0, rows.GetRowCount(), total);
      const std::string cell =
          total.IsEmpty()
              ? ""
              : Kt_WString(std::isnan(total.ToDouble()) ? Kt_WString(u"nan")
                                                        : kt_shortestdoubleW(total.ToDouble()))
                    .ToUtf8();
      EXPECT_EQ(Kt({"show", file, "--group", "k", "--" + name, "d", "--totals-only", "--columns",
                    name + "(d)", "--csv"})
                    .out,
                name + "(d)\r\n" + cell + "\r\n")
          << seed;
      EXPECT_EQ(Kt({"show", file, "--pivot", "k:p:d:" + name, "--columns", "x", "--csv"}).out,
                "x\r\n" + cell + "\r\n")
          << seed;
    }
  }
}

}  // namespace
