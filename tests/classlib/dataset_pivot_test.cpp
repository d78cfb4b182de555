// SPDX-License-Identifier: MIT
//
// Datasets as cross tables, against a map from keys to amounts.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/store/Kt_Dataset.h"
#include "common/text.h"

namespace {

constexpr kt_long kRegion = 0;
constexpr kt_long kShop = 1;
constexpr kt_long kYear = 2;
constexpr kt_long kMonth = 3;
constexpr kt_long kAmount = 4;

void AddKey(Kt_Dataset& data, Kt_KeyType type, kt_long col,
            Kt_Aggregate what = Kt_Aggregate::kNone) {
  ASSERT_EQ(data.ModifyKeyStat(Kt_KeyCall::kAdd, type, col, true, what), 1);
}

using RowKey = std::pair<kt_long, kt_long>;     // region, shop
using ColumnKey = std::pair<kt_long, kt_long>;  // year, month; month -1: subtotal
using Amounts = std::vector<std::optional<kt_long>>;

class PivotModel : public testing::TestWithParam<unsigned> {
 protected:
  PivotModel() : random_(GetParam()) {
    for (const char16_t* id : {u"region", u"shop", u"year", u"month", u"amount"}) {
      data_.AddColumn(id, u"long");
    }
    for (kt_long row = 0; row < 400; ++row) {
      data_.AppendRow();
      const kt_long limits[] = {4, 5, 3, 4, 20};
      for (kt_long col = 0; col < 5; ++col) data_.SetColumn(row, col, Roll(limits[col]));
      if (Roll(6) == 0) data_.SetColumn(row, kAmount, Kt_Variant());
      if (row == 200) data_.ApplyChange();
    }
    for (kt_long turn = 0; turn < 20; ++turn) {
      data_.DeleteRow(Roll(200));
      data_.SetColumn(Roll(100), kAmount, 50);
      data_.Filter(Roll(150));
    }
  }

  kt_long Roll(kt_long count) {
    return std::uniform_int_distribution<kt_long>(0, count - 1)(random_);
  }

  void LookAtRows() {
    cells_.clear();
    columns_.clear();
    for (kt_long row = 0; row < data_.GetRowCount(); ++row) {
      const auto at = [&](kt_long col) { return data_.ReadColumn(row, col).ToInteger(); };
      std::optional<kt_long> amount;
      if (!data_.ReadColumn(row, kAmount).IsEmpty()) amount = at(kAmount);
      const RowKey key{at(kRegion), at(kShop)};
      for (const kt_long month : {at(kMonth), kt_long{-1}}) {
        cells_[key][{at(kYear), month}].push_back(amount);
        columns_.insert({at(kYear), month < 0 ? 99 : month});
      }
    }
  }
  // A row for each key, and with `levels` group keys the subtotals after: region and shop, the
  // latter -1 in a subtotal over all shops.
  struct Row {
    kt_long level;
    std::vector<RowKey> keys;
  };
  std::vector<Row> RowsOf(const std::set<RowKey>& keys, kt_long levels) const {
    std::vector<Row> rows;
    std::vector<RowKey> region;
    for (auto key = keys.begin(); key != keys.end(); ++key) {
      rows.push_back({0, {*key}});
      region.push_back(*key);
      if (levels == 2) rows.push_back({1, {*key}});
      const auto next = std::next(key);
      if (next != keys.end() && next->first == key->first) continue;
      if (levels > 0) rows.push_back({levels, region});
      region.clear();
    }
    return rows;
  }
  Kt_Variant Total(const Row& row, const ColumnKey& column, Kt_Aggregate what) const {
    Amounts all;
    for (const RowKey& key : row.keys) {
      const auto found = cells_.at(key).find(column);
      if (found != cells_.at(key).end()) {
        all.insert(all.end(), found->second.begin(), found->second.end());
      }
    }
    if (all.empty()) return {};
    std::vector<kt_long> present;
    for (const auto& amount : all) {
      if (amount) present.push_back(*amount);
    }
    const auto count = static_cast<kt_long>(present.size());
    kt_long sum = 0;
    for (const kt_long amount : present) sum += amount;
    if (what == Kt_Aggregate::kCount) return count;
    if (what == Kt_Aggregate::kSum) return sum;
    if (present.empty()) return {};
    if (what == Kt_Aggregate::kMax) return *std::max_element(present.begin(), present.end());
    if (what == Kt_Aggregate::kMin) return *std::min_element(present.begin(), present.end());
    return static_cast<double>(sum) / count;
  }
  std::set<RowKey> AllKeys() const {
    std::set<RowKey> keys;
    for (const auto& [key, row] : cells_) keys.insert(key);
    return keys;
  }

  void ExpectTable(const std::vector<Row>& rows, Kt_Aggregate what);
  void ExpectAggregates(const std::vector<Row>& rows, Kt_Aggregate what);

  std::mt19937 random_;
  Kt_Dataset data_;
  std::map<RowKey, std::map<ColumnKey, Amounts>> cells_;
  std::set<ColumnKey> columns_;  // month 99: subtotal
};

bool Same(const Kt_Variant& a, const Kt_Variant& b) {
  if (a.IsEmpty() || b.IsEmpty()) return a.IsEmpty() == b.IsEmpty();
  return std::abs(a.ToDouble() - b.ToDouble()) < 1e-9;
}

void PivotModel::ExpectTable(const std::vector<Row>& rows, Kt_Aggregate what) {
  ASSERT_EQ(data_.GetRowCount(), static_cast<kt_long>(rows.size()));
  ASSERT_EQ(data_.GetPivotColCount(), static_cast<kt_long>(columns_.size()));
  for (kt_long at = 0; at < data_.GetRowCount(); ++at) {
    const Row& row = rows[static_cast<std::size_t>(at)];
    ASSERT_EQ(data_.GetPivotRowLevel(at), row.level) << at;
    ASSERT_EQ(data_.ReadColumn(at, kRegion).ToInteger(), row.keys[0].first);
    ASSERT_EQ(data_.GetRowType(at), kRowTypeLogical);
    kt_long position = 0;
    for (const auto& [year, month] : columns_) {
      const ColumnKey key{year, month == 99 ? -1 : month};
      ASSERT_EQ(data_.GetPivotColLevel(position), month == 99 ? 1 : 0);
      ASSERT_EQ(data_.ReadColumn(at, kYear, position).ToInteger(), year);
      ASSERT_EQ(data_.ReadColumn(at, kMonth, position).IsEmpty(), month == 99);
      const Kt_Variant wanted = Total(row, key, what);
      ASSERT_TRUE(Same(data_.ReadColumn(at, kAmount, position), wanted))
          << "row " << at << " position " << position << ": "
          << data_.ReadColumn(at, kAmount, position).ToString().ToUtf8() << " not "
          << wanted.ToString().ToUtf8();
      const bool is_there = row.level == 0 && cells_.at(row.keys[0]).contains(key);
      ASSERT_EQ(data_.GetPivotRowPos(at, position) >= 0, is_there);
      ++position;
    }
  }
}

void PivotModel::ExpectAggregates(const std::vector<Row>& rows, Kt_Aggregate what) {
  const kt_long position = Roll(data_.GetPivotColCount());
  ColumnKey key = *std::next(columns_.begin(), position);
  if (key.second == 99) key.second = -1;
  const kt_long start = Roll(data_.GetRowCount());
  const kt_long end = start + Roll(data_.GetRowCount());
  double sum = 0;
  kt_long count = 0;
  std::optional<double> greatest;
  for (kt_long row = start; row < std::min(end, data_.GetRowCount()); ++row) {
    if (rows[static_cast<std::size_t>(row)].level > 0) continue;
    ++count;
    const Kt_Variant value = Total(rows[static_cast<std::size_t>(row)], key, what);
    if (value.IsEmpty()) continue;
    sum += value.ToDouble();
    greatest = std::max(greatest.value_or(-1), value.ToDouble());
  }
  Kt_Variant result;
  ASSERT_EQ(data_.GetPivotRowSum(kAmount, position, 0, start, end, 1, result), greatest ? 1 : 0);
  ASSERT_TRUE(Same(result, sum));
  data_.GetMax(kAmount, start, end, result, position);
  ASSERT_TRUE(Same(result, greatest ? Kt_Variant(*greatest) : Kt_Variant()));
  data_.GetPivotRowAvg(kAmount, position, 0, start, end, 1, result);
  ASSERT_TRUE(Same(result, greatest ? Kt_Variant(sum / count) : Kt_Variant()));
  ASSERT_EQ(data_.GetPivotRowCount(kAmount, position, 0, start, end, 1), count);
  // Across a row, of which a subtotal's is one too.
  const kt_long row = Roll(data_.GetRowCount());
  sum = 0;
  kt_long present = 0;
  for (const ColumnKey& column : columns_) {
    const Kt_Variant value = Total(rows[static_cast<std::size_t>(row)], column, what);
    if (column.second == 99 || value.IsEmpty()) continue;
    sum += value.ToDouble();
    ++present;
  }
  data_.GetPivotColSum(kAmount, row, 1, -1, -1, 1, result);
  ASSERT_TRUE(Same(result, sum));
  ASSERT_EQ(data_.GetPivotColCountNN(kAmount, row, 1, -1, -1, 1), present);
  ASSERT_EQ(data_.GetPivotColCount(kAmount, row, 1, -1, -1, 1), data_.GetPivotTableColCount());
  data_.GetPivotColAvgNN(kAmount, row, 1, -1, -1, 1, result);
  ASSERT_TRUE(Same(result, present > 0 ? Kt_Variant(sum / present) : Kt_Variant()));
}

TEST_P(PivotModel, AgreesWithItsRows) {
  const auto what = static_cast<Kt_Aggregate>(1 + GetParam() % 5);
  const kt_long levels = Roll(3);
  LookAtRows();
  Kt_WString before;
  data_.SaveDataXml(before, u"nf");
  const kt_long shown_before = data_.GetRowCount();
  AddKey(data_, Kt_KeyType::kPivotRow, kRegion);
  AddKey(data_, Kt_KeyType::kPivotRow, kShop);
  AddKey(data_, Kt_KeyType::kPivotColumn, kYear);
  AddKey(data_, Kt_KeyType::kPivotColumn, kMonth);
  AddKey(data_, Kt_KeyType::kPivotValue, kAmount, what);
  if (levels > 0) AddKey(data_, Kt_KeyType::kGroup, kRegion);
  if (levels > 1) AddKey(data_, Kt_KeyType::kGroup, kShop);
  AddKey(data_, Kt_KeyType::kGroup, kMonth);  // no row key, so no level
  ASSERT_EQ(data_.RecalcPivot(), 1);
  ASSERT_TRUE(data_.IsPivot() && data_.IsLogical() && !data_.IsPhysical());
  ASSERT_TRUE(data_.GetUpdate());
  const std::vector<Row> all = RowsOf(AllKeys(), levels);
  ExpectTable(all, what);
  ExpectAggregates(all, what);
  // Hide some, as a filter expression does.
  std::set<RowKey> kept = AllKeys();
  data_.ResetFilIndex();
  for (kt_long row = data_.GetRowCountNF() - 1; row >= 0; --row) {
    if (Roll(3) > 0) continue;
    const bool is_record = all[static_cast<std::size_t>(row)].level == 0;
    ASSERT_EQ(data_.LocFilter(row), is_record ? 1 : -1);
    if (is_record) kept.erase(all[static_cast<std::size_t>(row)].keys[0]);
  }
  data_.PivotLocSubSum_Reset();
  const std::vector<Row> some = RowsOf(kept, levels);
  ExpectTable(some, what);
  if (!some.empty()) ExpectAggregates(some, what);
  Kt_Dataset copy(data_);
  data_.SetLocFilterStat(false);
  ExpectTable(all, what);
  // The plain rows are back as they were; the copy is a pivot still.
  ASSERT_EQ(data_.ModifyKeyStat(Kt_KeyCall::kClear, Kt_KeyType::kSort, 0), 1);
  ASSERT_EQ(data_.RecalcPivot(), 1);
  Kt_WString after;
  data_.SaveDataXml(after, u"nf");
  EXPECT_EQ(before, after);
  EXPECT_EQ(data_.GetRowCount(), shown_before);
  EXPECT_TRUE(data_.GetFilterStat() && data_.IsPhysical());
  std::swap(data_, copy);
  ExpectTable(some, what);
}

INSTANTIATE_TEST_SUITE_P(Seeds, PivotModel, testing::Range(1u, 41u));

// ---- Chosen cases -----------------------------------------------------------------------------

Kt_Dataset Sales() {
  Kt_Dataset data;
  data.LoadCSV(
      u"region:string,year:long,amount:long,note:string\n"
      u"south,2024,1,a\nnorth,2023,2,b\nnorth,2024,3,c\nsouth,2024,5,d\nwest,2023,,e\n");
  AddKey(data, Kt_KeyType::kPivotRow, 0);
  AddKey(data, Kt_KeyType::kPivotColumn, 1);
  AddKey(data, Kt_KeyType::kPivotValue, 2, Kt_Aggregate::kSum);
  EXPECT_EQ(data.RecalcPivot(), 1);
  return data;
}

TEST(PivotDataset, KeepsItsRowsFromEdits) {
  Kt_Dataset data = Sales();
  EXPECT_EQ(data.AppendRow(), -1);
  EXPECT_EQ(data.InsertRow(0), -1);
  EXPECT_EQ(data.DeleteRow(0), -1);
  EXPECT_EQ(data.DeleteAll(), -1);
  EXPECT_EQ(data.DeleteSelected(), -1);
  EXPECT_EQ(data.MoveRow(0, 1), -1);
  EXPECT_EQ(data.ExchangeRow(0, 1), -1);
  EXPECT_EQ(data.SetRowType(0, kRowTypeUpdate), -1);
  EXPECT_EQ(data.Sort(u"region"), -1);
  EXPECT_EQ(data.LoadCSV(u"region\nx\n", false), -1);
  EXPECT_EQ(data.AppendDataset(Sales()), -1);
  for (kt_long col = 0; col < 4; ++col) EXPECT_EQ(data.SetColumn(0, col, 1), -1);
  EXPECT_EQ(data.AddColumn(u"more", u"long"), 4);
  data.SetUpdate(true);  // of the plain rows
  EXPECT_TRUE(data.GetUpdate());
  EXPECT_EQ(data.GetRowCount(), 3);
  data.ModifyKeyStat(Kt_KeyCall::kClear, Kt_KeyType::kSort, 0);
  data.RecalcPivot();
  EXPECT_EQ(data.GetRowCount(), 5);
  EXPECT_EQ(data.GetRowType(4), kRowTypeUpdate);
  EXPECT_EQ(data.SetColumn(4, 4, 7), 1);
}

TEST(PivotDataset, ReadsOfEveryKindOutsideAndBeyond) {
  Kt_Dataset data = Sales();
  Kt_Variant result;
  for (const kt_long row : {-1, 3, 4, 99}) {
    for (kt_long col = -1; col <= 4; ++col) {
      EXPECT_TRUE(data.ReadColumn(row, col, 0).IsEmpty());
      EXPECT_TRUE(data.ReadColumnNF(row, col).IsEmpty());
      EXPECT_TRUE(data.GetOrgColumn(row, col).IsEmpty());
      EXPECT_EQ(data.GetPivotColSum(col, row, 1, -1, -1, 1, result), -1);
    }
    EXPECT_EQ(data.GetSourceRowNF(row), -1);
    EXPECT_EQ(data.GetPivotRowPos(row, 0), -1);
  }
  EXPECT_EQ(data.GetPivotColType(2), 0);
  EXPECT_EQ(data.GetPivotColType(0), 1);
  EXPECT_EQ(data.GetPivotColType(1), 2);
  EXPECT_EQ(data.GetPivotColType(3), 3);
  EXPECT_EQ(data.GetPivotColText(1), u"2024");
  EXPECT_EQ(data.GetColumnSet(0, 2).GetCount(), 2);
  EXPECT_EQ(data.LookupDataRow(u"region", u"west"), 2);
  EXPECT_EQ(data.GetMax(0, 0, 9, result), 1);
  EXPECT_EQ(result.ToString(), u"west");
  EXPECT_EQ(data.GetPivotRowSum(0, 0, 0, 0, 9, 1, result), -1);
  EXPECT_EQ(data.GetCount(0, 9), 3);
}

TEST(PivotDataset, IsATableInFilesAndCopies) {
  Kt_Dataset data = Sales();
  data.LocFilter(0);
  Kt_WString text;
  EXPECT_EQ(data.SaveCSV(text), 2);
  EXPECT_EQ(text, u"region:string,2023:long,2024:long\r\nsouth,,6\r\nwest,0,\r\n");
  EXPECT_EQ(data.SaveCSV(text, u"nf"), 3);
  Kt_Buffer bytes;
  EXPECT_EQ(data.Save2(bytes), 2);
  EXPECT_EQ(data.SaveDataXml(text), 2);
  Kt_Dataset table;
  EXPECT_EQ(table.Copy(data), 3);
  EXPECT_EQ(table.CopyF(data), 2);
  EXPECT_TRUE(table.IsPhysical() && !table.GetUpdate());
  EXPECT_EQ(table.ReadColumn(0, 2).ToInteger(), 6);
  EXPECT_EQ(table.AppendDataset(data), 2);
  EXPECT_EQ(table.Assign(data), 2);
  EXPECT_TRUE(table.IsPivot());
  // Several values, positions whose texts are alike, and a row key called as a position.
  Kt_Dataset odd;
  odd.LoadCSV(u"a:string,k:string,v:double\nr,A,1\nr,a,2\nr,,4\n");
  AddKey(odd, Kt_KeyType::kPivotRow, 0);
  AddKey(odd, Kt_KeyType::kPivotColumn, 1);
  AddKey(odd, Kt_KeyType::kPivotValue, 2, Kt_Aggregate::kMax);
  ASSERT_EQ(odd.RecalcPivot(), 1);
  EXPECT_EQ(odd.SaveCSV(text), 1);
  EXPECT_EQ(text, u"a:string,v:double,A_2:double,a_3:double\r\nr,4,1,2\r\n");
}

TEST(PivotDataset, OneKindOfKeyIsEnough) {
  Kt_Dataset data;
  data.LoadCSV(u"a:string,v:currency\nx,1.5\ny,2\nx,3\n");
  AddKey(data, Kt_KeyType::kPivotColumn, 0);
  ASSERT_EQ(data.RecalcPivot(), 1);  // no values
  EXPECT_EQ(data.GetRowCount(), 1);
  EXPECT_EQ(data.GetPivotColCount(), 2);
  AddKey(data, Kt_KeyType::kPivotValue, 1);
  ASSERT_EQ(data.RecalcPivot(), 1);
  EXPECT_EQ(data.ReadColumn(0, 1, 0).GetTag(), kTagCurrency);
  EXPECT_EQ(data.ReadColumn(0, 1, 0).ToDouble(), 4.5);
  data.ModifyKeyStat(Kt_KeyCall::kRemove, Kt_KeyType::kPivotColumn, 0);
  AddKey(data, Kt_KeyType::kPivotRow, 0);
  ASSERT_EQ(data.RecalcPivot(), 1);
  EXPECT_EQ(data.GetRowCount(), 2);
  EXPECT_EQ(data.ReadColumn(1, 1, 0).ToDouble(), 2);
  data.ClearData();
  EXPECT_TRUE(data.IsPhysical());
  ASSERT_EQ(data.RecalcPivot(), 1);
  EXPECT_TRUE(data.IsPivot());
  EXPECT_EQ(data.GetRowCount(), 0);
}

// A pivot of a source follows it when it is asked to, and the source may be a pivot itself: what is
// shown are its plain rows.
TEST(PivotDataset, OverASource) {
  Kt_Dataset source = Sales();
  Kt_Dataset pivot;
  ASSERT_EQ(pivot.SetSource(&source), 1);
  EXPECT_EQ(pivot.GetRowCount(), 5);
  EXPECT_EQ(pivot.SetColumn(0, 2, 10), 1);
  AddKey(pivot, Kt_KeyType::kPivotRow, 0);
  AddKey(pivot, Kt_KeyType::kPivotValue, 2);
  ASSERT_EQ(pivot.RecalcPivot(), 1);
  EXPECT_EQ(pivot.ReadColumn(1, 2, 0).ToInteger(), 15);
  source.ModifyKeyStat(Kt_KeyCall::kClear, Kt_KeyType::kSort, 0);
  source.RecalcPivot();
  EXPECT_EQ(source.GetRowType(0), kRowTypeUpdate);
  source.DeleteRow(3);
  source.SetColumn(source.AppendRow(), 0, u"east");
  EXPECT_EQ(pivot.ReadColumn(1, 2, 0).ToInteger(), 15);
  ASSERT_EQ(pivot.RecalcPivot(), 1);
  EXPECT_EQ(pivot.ReadColumn(2, 2, 0).ToInteger(), 10);
  EXPECT_EQ(pivot.GetRowCount(), 4);
}

}  // namespace
