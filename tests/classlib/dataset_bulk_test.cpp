// SPDX-License-Identifier: MIT
//
// What works on many rows at once, or remembers what it found, against what goes row by row.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_Pivot.h"
#include "common/show.h"

namespace {

class Tables {
 public:
  explicit Tables(unsigned seed) : random_(seed) {}

  kt_long Pick(kt_long count) { return static_cast<kt_long>(random_() % unsigned(count)); }

  // Equal values, nulls and values that are equal but not the same in every column.
  Kt_Variant Value(kt_long col) {
    const kt_long number = Pick(40);
    if (number == 0) return {};
    switch (col) {
      case 0: return number / 4;
      case 1: return number == 1 ? -0.0 : (number - 2) / 4.0;
      case 2: return Kt_Currency::FromUnits(number * 2500);
      case 3: return Kt_DateTime{45000.0 + number / 2};
      default: return Kt_WString(u"t") + Kt_Variant(number).ToString();
    }
  }

  Kt_Dataset Make(kt_long rows) {
    Kt_Dataset data(u"d");
    for (const char16_t* const type : {u"long", u"double", u"currency", u"datetime", u"string"}) {
      data.AddColumn(type, type);
    }
    if (rows > 0) data.AppendRow(rows);
    for (kt_long row = 0; row < rows; ++row) {
      for (kt_long col = 0; col < 5; ++col) data.SetColumn(row, col, Value(col));
    }
    data.ApplyChange();
    return data;
  }

  void Arrange(Kt_Dataset& data) {
    const kt_long row = Pick(data.GetRowCount() + 1);
    switch (Pick(9)) {
      case 0: data.Sort(u"long, string:d", true, false, true); break;
      case 1: data.InsertRow(row, Pick(3) + 1); break;
      case 2: data.DeleteRow(row); break;
      case 3: data.Filter(row); break;
      case 4: data.LocFilter(row); break;
      case 5: data.SetReverseSubSumStat(Pick(2) == 0); break;
      case 6:
        data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 1, true, Kt_Aggregate::kSum);
        data.RecalcGroup();
        break;
      case 7: data.MoveRow(row, Pick(data.GetRowCount() + 1)); break;
      default: data.Reset(); break;
    }
  }

 private:
  std::mt19937 random_;
};

// Cells, states and levels in all views.
std::string Seen(Kt_Dataset& data) {
  std::string out;
  const bool main = data.GetFilterStat();
  const bool local = data.GetLocFilterStat();
  for (const int view : {0, 1, 2, 3}) {
    data.SetFilterStat((view & 1) != 0);
    data.SetLocFilterStat((view & 2) != 0);
    for (kt_long row = 0; row < data.GetRowCount(); ++row) {
      out += std::to_string(data.GetRowType(row)) + '/' + std::to_string(data.GetRowLevel(row)) +
             '/' + std::to_string(data.GetRangeStart(row)) + '/' +
             std::to_string(data.GetRowIndexNF(row)) + ' ';
    }
    out += kt::test::ShowTable(data) + '\n';
  }
  data.SetFilterStat(main);
  data.SetLocFilterStat(local);
  return out + (main ? "main" : "") + (local ? "local" : "");
}

TEST(DatasetFilter, ManyRowsAtOnceAreEachInTurn) {
  for (unsigned seed = 0; seed < 300 && !HasFailure(); ++seed) {
    Tables tables(seed);
    Kt_Dataset data = tables.Make(seed % 10 == 0 ? 1500 : tables.Pick(40));
    for (kt_long step = tables.Pick(6); step > 0; --step) tables.Arrange(data);
    const bool is_local = tables.Pick(2) == 0;
    // Filter counts rows without the local filter.
    if (!is_local) data.SetLocFilterStat(false);
    (void)data.GetRowCount();
    std::vector<std::uint8_t> hidden(static_cast<std::size_t>(data.GetRowCount()));
    const kt_long share = tables.Pick(4);
    for (std::uint8_t& mark : hidden) mark = share > 0 && tables.Pick(share) == 0 ? 1 : 0;
    Kt_Dataset each(data);
    kt_long wanted = 0;
    for (auto row = static_cast<kt_long>(hidden.size()) - 1; row >= 0; --row) {
      if (hidden[static_cast<std::size_t>(row)] == 0) continue;
      const kt_long answer = is_local ? each.LocFilter(row) : each.Filter(row);
      if (answer > 0) ++wanted;
    }
    hidden.push_back(1);  // outside
    EXPECT_EQ(is_local ? data.LocFilterRows(hidden) : data.FilterRows(hidden), wanted);
    EXPECT_EQ(Seen(data), Seen(each)) << "seed " << seed;
  }
}

// A copy knows nothing of the sort, so it finds its groups by comparing one record with the next.
TEST(DatasetGroups, WhatASortKnowsIsWhatTheRecordsSay) {
  const char16_t* const orders[] = {u"long",          u"long,currency:d", u"string:d",
                                    u"currency,long", u"double,long",     u"datetime:d,string"};
  for (unsigned seed = 0; seed < 120 && !HasFailure(); ++seed) {
    Tables tables(seed);
    Kt_Dataset data = tables.Make(seed % 6 == 0 ? 1500 : tables.Pick(100));
    for (kt_long col = 1; col < 5; ++col) {
      data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, col, true,
                         static_cast<Kt_Aggregate>(tables.Pick(5) + 1));
    }
    for (kt_long step = tables.Pick(8); step > 0; --step) {
      data.Sort(orders[tables.Pick(6)], true, tables.Pick(2) == 0, tables.Pick(4) > 0);
      const kt_long col = tables.Pick(5);
      if (tables.Pick(3) == 0) tables.Arrange(data);
      if (tables.Pick(3) == 0) {
        data.SetColumn(tables.Pick(data.GetRowCount() + 1), col, tables.Value(col));
      }
      data.RecalcGroup();
      Kt_Dataset plain(data);
      plain.RecalcGroup();
      EXPECT_EQ(Seen(data), Seen(plain)) << "seed " << seed;
    }
  }
}

// As the documentation of LookupDataRow has it.
kt_long FirstWith(const Kt_Dataset& data, kt_long col, const Kt_WString& text, kt_long start,
                  kt_long end) {
  const Kt_Column converter(data.GetColType(col));
  const Kt_Variant wanted = converter.Converted(Kt_Variant(text));
  for (kt_long row = start; row < std::min(end, data.GetRowCount()); ++row) {
    if (data.GetRowLevel(row) > 0) continue;
    const Kt_Variant cell = data.ReadColumn(row, col);
    if (cell.IsEmpty() ? text.IsEmpty() : !wanted.IsEmpty() && Var_Order(cell, wanted) == 0) {
      return row;
    }
  }
  return -1;
}

TEST(DatasetLookup, RepeatedSearchesSeeEveryEdit) {
  for (unsigned seed = 0; seed < 150 && !HasFailure(); ++seed) {
    Tables tables(seed);
    Kt_Dataset data = tables.Make(tables.Pick(100) + 1);
    for (int step = 0; step < 12; ++step) {
      const kt_long col = tables.Pick(5);
      if (tables.Pick(3) == 0) data.SetColumn(tables.Pick(100), col, tables.Value(col));
      if (tables.Pick(3) == 0) tables.Arrange(data);
      Kt_Dataset before(data);  // shares the cells
      for (int search = 0; search < 6; ++search) {
        const Kt_WString text = tables.Value(col).ToString();
        const kt_long start = tables.Pick(2) == 0 ? 0 : tables.Pick(data.GetRowCount() + 1);
        const kt_long end = tables.Pick(2) == 0 ? data.GetRowCount() : start + tables.Pick(30);
        EXPECT_EQ(data.LookupDataRow(data.GetColID(col), text, start, end),
                  FirstWith(data, col, text, start, end))
            << "seed " << seed << " step " << step << ' ' << text.ToUtf8();
      }
      if (tables.Pick(2) == 0) data = before;
    }
  }
}

// Rows that lie far behind others, among nulls and nearly equal ones.
TEST(DatasetLookup, FarRows) {
  const char16_t* const wanted[] = {u"4711", u"-0.125", u"12.3456", u"1999-05-06", u"far away"};
  const char16_t* const often[] = {u"0", u"0", u"0", u"2023-03-18", u"t3"};
  for (unsigned seed = 0; seed < 40 && !HasFailure(); ++seed) {
    Tables tables(seed);
    Kt_Dataset data = tables.Make(3000 + tables.Pick(7000));
    for (int step = 0; step < 3 && seed % 2 == 0; ++step) tables.Arrange(data);
    for (kt_long row = data.GetRowCount() - 1; row >= 0 && seed % 5 == 0; row -= 3) {
      data.Filter(row);
    }
    for (int search = 0; search < 15; ++search) {
      const kt_long col = search % 5;
      const kt_long row = tables.Pick(data.GetRowCount());
      const Kt_Variant before = data.ReadColumn(row, col);
      data.SetColumn(row, col, Kt_WString(wanted[col]));
      const Kt_WString id = data.GetColID(col);
      for (const kt_long start : {kt_long{0}, row, row + 1}) {
        for (const kt_long end : {data.GetRowCount(), row}) {
          for (const char16_t* const text : {wanted[col], often[col], u""}) {
            data.SetColumn(0, col, data.ReadColumn(0, col));  // no search finds a hash
            Kt_Dataset fresh(data);
            EXPECT_EQ(fresh.LookupDataRow(id, text, start, end),
                      FirstWith(data, col, text, start, end))
                << "seed " << seed << ' ' << id.ToUtf8() << ' ' << Kt_WString(text).ToUtf8();
          }
        }
      }
      data.SetColumn(row, col, before);
    }
  }
}

// Texts of their own in every row, of which the dictionary keeps no order.
TEST(DatasetLookup, ManyDifferentTexts) {
  constexpr kt_long kRows = 140000;
  Kt_Dataset data;
  data.AddColumn(u"id");
  data.AppendRow(kRows);
  const auto text = [](kt_long row) { return u"id" + Kt_Variant(row * 3 % kRows).ToString(); };
  for (kt_long row = 0; row < kRows; ++row) data.SetColumn(row, 0, text(row));
  for (kt_long row = 0; row < kRows; row += 997) {
    EXPECT_EQ(data.LookupDataRow(u"id", text(row)), row) << row;
  }
  EXPECT_EQ(data.LookupDataRow(u"id", u"id-1"), -1);
  data.SetColumn(5, 0, u"id-1");
  EXPECT_EQ(data.LookupDataRow(u"id", u"id-1"), 5);
}

// Keys that make one number and keys that do not, in tables that are short or long enough for
// either way of sorting.
struct Keys {
  Keys(Tables& tables, kt_long count) : ascending(5) {
    for (kt_long col = 0; col < 5; ++col) cols.push_back(col);
    for (kt_long at = 0; at < 5; ++at) std::swap(cols[std::size_t(at)], cols[tables.Pick(5)]);
    cols.resize(static_cast<std::size_t>(count));
    for (const kt_long col : cols) ascending[std::size_t(col)] = tables.Pick(2) == 0;
  }
  Kt_WString List(const Kt_Dataset& data) const {
    Kt_WString list;
    for (const kt_long col : cols) {
      list += (list.IsEmpty() ? u"" : u",") + data.GetColID(col);
      if (!ascending[std::size_t(col)]) list += u":d";
    }
    return list;
  }
  // Below 0 when `a` stands before `b`.
  int Compare(const Kt_VariantList* a, const Kt_VariantList* b, bool nulls_last) const {
    for (const kt_long col : cols) {
      const Kt_Variant& left = *a->GetItem(col);
      const Kt_Variant& right = *b->GetItem(col);
      if (left.IsEmpty() != right.IsEmpty()) return left.IsEmpty() == nulls_last ? 1 : -1;
      const int order = left.IsEmpty() ? 0 : Var_Order(left, right);
      if (order != 0) return ascending[std::size_t(col)] ? order : -order;
    }
    return 0;
  }

  std::vector<kt_long> cols;
  std::vector<bool> ascending;  // by column
};

std::vector<Kt_VariantList> RowsOf(const Kt_Dataset& data) {
  std::vector<Kt_VariantList> rows;
  for (kt_long row = 0; row < data.GetRowCount(); ++row) {
    if (data.GetRowLevel(row) > 0) continue;
    Kt_VariantList& cells = rows.emplace_back();
    for (kt_long col = 0; col < data.GetColCount(); ++col) cells.Add(data.ReadColumn(row, col));
  }
  return rows;
}

Kt_Dataset Numbered(Tables& tables, kt_long rows) {
  Kt_Dataset data = tables.Make(rows);
  data.AddColumn(u"n", u"long");
  for (kt_long row = 0; row < rows; ++row) {
    data.SetColumn(row, 5, row);
    if (tables.Pick(30) == 0) data.SetColumn(row, 1, std::nan(""));
    if (tables.Pick(30) == 0) data.SetColumn(row, 0, tables.Pick(2) == 0 ? INT32_MIN : INT32_MAX);
    if (tables.Pick(30) == 0) {
      data.SetColumn(row, 2, Kt_Currency::FromUnits(tables.Pick(2) == 0 ? INT64_MIN : INT64_MAX));
    }
  }
  return data;
}

TEST(DatasetSort, SeveralKeysAreEachInTurn) {
  for (unsigned seed = 0; seed < 120 && !HasFailure(); ++seed) {
    Tables tables(seed);
    Kt_Dataset data = Numbered(tables, seed % 8 == 0 ? 1300 : tables.Pick(50));
    const Keys keys(tables, tables.Pick(5) + 1);
    const bool nulls_last = tables.Pick(2) == 0;
    std::vector<Kt_VariantList> rows = RowsOf(data);
    std::stable_sort(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
      return keys.Compare(&a, &b, nulls_last) < 0;
    });
    data.Sort(keys.List(data), true, nulls_last);
    for (std::size_t row = 0; row < rows.size(); ++row) {
      ASSERT_EQ(data.ReadColumn(static_cast<kt_long>(row), 5).ToInteger(),
                rows[row].GetItem(5)->ToInteger())
          << "seed " << seed << " row " << row << ' ' << keys.List(data).ToUtf8();
    }
  }
}

// Doubles that only their last bits tell apart, beside ones of any size: more bits than a word has
// room for beside a row, in runs that are short, long, and of equal ones.
// Headings of files may have blanks at their ends, items of the list have none.
TEST(DatasetSort, IdsWithBlanks) {
  Kt_Dataset data(u"d");
  ASSERT_EQ(data.LoadCSV(u" a,b ,b\n1,5,2\n2,4,1\n3,5,3\n"), 3);
  const auto order = [&](const char16_t* keys) {
    EXPECT_EQ(data.Sort(keys), 1);
    std::string out;
    for (kt_long row = 0; row < 3; ++row) out += data.ReadColumn(row, 0).ToString().ToUtf8();
    return out;
  };
  EXPECT_EQ(order(u"a:d"), "321");
  EXPECT_EQ(order(u"b, a"), "213") << "the id that is exactly the item";
  EXPECT_EQ(data.Sort(u"c"), -1);
}

TEST(DatasetSort, DoublesThatDifferInTheirLastBits) {
  std::mt19937_64 random(12);
  for (const kt_long kinds : {3, 300, 5000}) {
    Kt_Dataset data(u"d");
    data.AddColumn(u"x", u"double");
    data.AddColumn(u"n", u"long");
    std::vector<std::pair<double, kt_long>> rows;
    for (kt_long row = 0; row < 20000; ++row) {
      const double near = std::ldexp(1.0, static_cast<int>(random() % 4));
      const auto steps = static_cast<double>(static_cast<kt_long>(random() % unsigned(kinds)));
      const double far = std::ldexp(random() % 2 == 0 ? 1.25 : -1.25, int(random() % 2000) - 1000);
      rows.emplace_back(random() % 10 == 0 ? far : near + steps * std::ldexp(near, -52), row);
    }
    data.AppendRow(static_cast<kt_long>(rows.size()));
    for (const auto& [number, row] : rows) {
      data.SetColumn(row, 0, number);
      data.SetColumn(row, 1, row);
    }
    std::ranges::stable_sort(rows, {}, &std::pair<double, kt_long>::first);
    data.Sort(u"x");
    for (std::size_t row = 0; row < rows.size(); ++row) {
      ASSERT_EQ(data.ReadColumn(static_cast<kt_long>(row), 1).ToInteger(), rows[row].second) << row;
    }
  }
}

// Every subtotal is what an aggregate over its rows gives, to the bit, and stands where keys
// change.
TEST(DatasetGroups, RandomSubtotalsAreAggregatesOfTheirRows) {
  for (unsigned seed = 0; seed < 120 && !HasFailure(); ++seed) {
    Tables tables(seed);
    Kt_Dataset data = Numbered(tables, seed % 8 == 0 ? 2500 : tables.Pick(60) + 1);
    const Keys keys(tables, tables.Pick(3) + 1);
    const auto what = static_cast<Kt_Aggregate>(seed % 5 + 1);
    for (kt_long col = 0; col < 6; ++col) {
      if (std::ranges::count(keys.cols, col) > 0) continue;
      data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, col, true, what);
    }
    if (tables.Pick(4) > 0) data.Sort(keys.List(data), true, false, true);
    for (kt_long row = data.GetRowCount() - 1; row >= 0 && seed % 3 == 0; row -= 5) {
      data.Filter(row);
    }
    data.SetReverseSubSumStat(seed % 7 == 0);
    data.RecalcGroup();
    std::vector<kt_long> counts(keys.cols.size() + 1);
    for (kt_long row = 0; row < data.GetRowCount(); ++row) {
      const kt_long level = data.GetRowLevel(row);
      if (level == 0) continue;
      ++counts[static_cast<std::size_t>(level)];
      const kt_long start = data.GetRangeStart(row);
      for (kt_long col = 0; col < 6; ++col) {
        if (std::ranges::count(keys.cols, col) > 0) continue;
        Kt_Variant wanted;
        data.GetAggregate(what, col, start, start + data.GetRangeCount(row), wanted);
        const Kt_Variant cell = data.ReadColumn(row, col);
        ASSERT_TRUE(cell.GetTag() == wanted.GetTag() && cell.ToString() == wanted.ToString())
            << "seed " << seed << " row " << row << " col " << col;
      }
    }
    if (data.GetGroupStr().IsEmpty()) continue;
    const std::vector<Kt_VariantList> rows = RowsOf(data);
    for (std::size_t level = 1; level < counts.size() && !rows.empty(); ++level) {
      Keys outer = keys;
      outer.cols.resize(keys.cols.size() + 1 - level);
      kt_long groups = 1;
      for (std::size_t row = 1; row < rows.size(); ++row) {
        if (outer.Compare(&rows[row - 1], &rows[row], false) != 0) ++groups;
      }
      EXPECT_EQ(counts[level], groups) << "seed " << seed << " level " << level;
    }
  }
}

// A cell of a cross table is, to the bit, the subtotal of the rows that fall into it.
TEST(DatasetGroups, SubtotalsAreCellsOfAPivot) {
  for (unsigned seed = 0; seed < 40 && !HasFailure(); ++seed) {
    Tables tables(seed);
    Kt_Dataset data = Numbered(tables, seed % 8 == 0 ? 2500 : tables.Pick(60) + 1);
    for (kt_long row = data.GetRowCount() - 1; row >= 0 && seed % 3 == 0; row -= 5) {
      data.Filter(row);
    }
    const auto what = static_cast<Kt_Aggregate>(seed % 5 + 1);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 4, false);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 0);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 1, true, what);
    Kt_Pivot pivot;
    ASSERT_TRUE(pivot.Build(data));
    std::vector<std::string> cells;
    for (kt_long row = 0; row < pivot.GetPivotRowCount(); ++row) {
      for (kt_long at = 0; at < pivot.GetPivotColCount(); ++at) {
        if (pivot.GetPivotRowPos(row, at) < 0) continue;
        cells.push_back(pivot.GetColumn(row, 4, at).ToString().ToUtf8() + '/' +
                        pivot.GetPivotColText(at).ToUtf8() + '/' +
                        pivot.GetColumn(row, 1, at).ToString().ToUtf8());
      }
    }
    data.Sort(u"string:d,long:a", true, false, true);
    data.RecalcGroup();
    std::vector<std::string> subtotals;
    for (kt_long row = 0; row < data.GetRowCount(); ++row) {
      if (data.GetRowLevel(row) != 1) continue;
      const auto text = [&](kt_long col) { return data.ReadColumn(row, col).ToString().ToUtf8(); };
      subtotals.push_back(text(4) + '/' + text(0) + '/' + text(1));
    }
    EXPECT_EQ(cells, subtotals) << "seed " << seed;
  }
}

}  // namespace
