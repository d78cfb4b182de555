// SPDX-License-Identifier: MIT
//
// Aggregates, sorts, subtotals and pivots of random datasets against a database that holds the same
// rows. Sums are made of numbers that add up exactly in any order, and texts of characters whose
// order is the same in both, so every comparison is for equality.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_Pivot.h"
#include "common/text.h"

namespace {

using SqlRow = std::vector<Kt_Variant>;  // empty, double or text

class Database {
 public:
  Database() { EXPECT_EQ(sqlite3_open(":memory:", &db_), SQLITE_OK); }
  ~Database() { sqlite3_close(db_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  std::vector<SqlRow> Query(const std::string& sql, const SqlRow& args = {}) {
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sql << "\n"
        << sqlite3_errmsg(db_);
    for (std::size_t at = 0; at < args.size(); ++at)
      Bind(statement, static_cast<int>(at), args[at]);
    std::vector<SqlRow> rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      SqlRow& row = rows.emplace_back();
      for (int col = 0; col < sqlite3_column_count(statement); ++col) {
        row.push_back(Read(statement, col));
      }
    }
    EXPECT_EQ(sqlite3_finalize(statement), SQLITE_OK) << sqlite3_errmsg(db_);
    return rows;
  }

 private:
  static void Bind(sqlite3_stmt* statement, int arg, const Kt_Variant& value) {
    switch (value.GetTag()) {
      case kTagEmpty: sqlite3_bind_null(statement, arg + 1); break;
      case kTagLong: sqlite3_bind_int64(statement, arg + 1, value.AsLong()); break;
      case kTagString:
        sqlite3_bind_text(statement, arg + 1, Utf8(value.AsStringView()).c_str(), -1,
                          SQLITE_TRANSIENT);
        break;
      default: sqlite3_bind_double(statement, arg + 1, value.ToDouble()); break;
    }
  }
  static Kt_Variant Read(sqlite3_stmt* statement, int col) {
    switch (sqlite3_column_type(statement, col)) {
      case SQLITE_NULL: return {};
      case SQLITE_TEXT:
        return Kt_WString::FromUtf8(
            reinterpret_cast<const char*>(sqlite3_column_text(statement, col)));
      default: return sqlite3_column_double(statement, col);
    }
  }
  sqlite3* db_ = nullptr;
};

std::string Text(const Kt_Variant& value) {
  if (value.IsEmpty()) return "null";
  return value.IsString() ? "'" + value.ToString().ToUtf8() + "'"
                          : std::to_string(value.ToDouble());
}

std::string Text(const SqlRow& row) {
  std::string out;
  for (const Kt_Variant& value : row) out += (out.empty() ? "" : " ") + Text(value);
  return out;
}

std::string Text(const std::vector<SqlRow>& rows) {
  std::string out;
  for (const SqlRow& row : rows) out += Text(row) + "\n";
  return out;
}

// The columns, with their numbers in the dataset.
constexpr kt_long kId = 0;
constexpr kt_long kKeys[] = {1, 2, 3};
constexpr kt_long kValues[] = {4, 5, 6};
constexpr const char* kNames[] = {"id", "g", "h", "k", "n", "x", "c"};
constexpr const char16_t* kTypes[] = {u"long", u"string", u"long",    u"string",
                                      u"long", u"double", u"currency"};
constexpr Kt_Aggregate kAggregates[] = {Kt_Aggregate::kSum, Kt_Aggregate::kAvg, Kt_Aggregate::kMax,
                                        Kt_Aggregate::kMin, Kt_Aggregate::kCount};

std::string SqlOf(Kt_Aggregate what, kt_long col) {
  const std::string name = kNames[col];
  switch (what) {
    case Kt_Aggregate::kSum: return "ifnull(sum(" + name + "), 0)";
    case Kt_Aggregate::kAvg: return "avg(" + name + ")";
    case Kt_Aggregate::kMax: return "max(" + name + ")";
    case Kt_Aggregate::kMin: return "min(" + name + ")";
    default: return "count(" + name + ")";
  }
}

struct Key {
  kt_long col;
  bool ascending;
};

std::string SqlList(const std::vector<Key>& keys, std::size_t count) {
  std::string out;
  for (std::size_t at = 0; at < count; ++at)
    out += (at > 0 ? "," : "") + std::string(kNames[keys[at].col]);
  return out;
}

std::string SqlOrder(const std::vector<Key>& keys, std::size_t count, bool nulls_last) {
  std::string out;
  for (std::size_t at = 0; at < count; ++at) {
    out += (at > 0 ? "," : "") + std::string(kNames[keys[at].col]) +
           (keys[at].ascending ? " ASC" : " DESC") + (nulls_last ? " NULLS LAST" : " NULLS FIRST");
  }
  return out;
}

// A dataset and a table `t` with the same rows, and the rows that both show in `v`.
class Pair {
 public:
  explicit Pair(unsigned seed) : random_(seed) {
    db_.Query(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, g TEXT, h INT, k TEXT, n INT, x REAL, c REAL)");
    for (std::size_t col = 0; col < std::size(kNames); ++col) {
      data_.AddColumn(Kt_WString::FromUtf8(kNames[col]), kTypes[col]);
    }
    db_.Query("BEGIN");
    for (kt_long left = Roll(4) == 0 ? Roll(3) : Roll(150); left > 0; --left) AddRow();
    for (kt_long left = Roll(5); left > 0 && data_.GetRowCount() > 0; --left) {
      const kt_long row = Roll(data_.GetRowCount());
      db_.Query("DELETE FROM t WHERE id = ?", {data_.ReadColumn(row, kId)});
      data_.DeleteRow(row);
    }
    db_.Query("COMMIT");
    db_.Query("CREATE VIEW v AS SELECT * FROM t");
  }

  kt_long Roll(kt_long count) {
    return std::uniform_int_distribution<kt_long>(0, count - 1)(random_);
  }

  // Hides rows by one of several conditions, nulls included as SQL has it.
  void Filter() {
    static constexpr const char* kConditions[] = {"1", "n > 0", "h IS NOT NULL", "x < 50 OR g = ''",
                                                  "0"};
    const kt_long which = Roll(std::size(kConditions));
    db_.Query("DROP VIEW v");
    db_.Query(std::string("CREATE VIEW v AS SELECT * FROM t WHERE ") + kConditions[which]);
    const bool local = Roll(2) == 0;
    for (kt_long row = data_.GetRowCount() - 1; row >= 0; --row) {
      const auto cell = [&](kt_long col) { return data_.ReadColumn(row, col); };
      const bool shown[] = {true, cell(4).ToDouble() > 0, !cell(2).IsEmpty(),
                            (!cell(5).IsEmpty() && cell(5).ToDouble() < 50) ||
                                (cell(1).IsString() && cell(1).AsStringView().empty()),
                            false};
      if (shown[which]) continue;
      ASSERT_EQ(local ? data_.LocFilter(row) : data_.Filter(row), 1);
    }
  }

  std::vector<Key> AnyKeys(kt_long count) {
    std::vector<Key> keys;
    std::vector<kt_long> cols(std::begin(kKeys), std::end(kKeys));
    std::shuffle(cols.begin(), cols.end(), random_);
    for (kt_long at = 0; at < count; ++at) {
      keys.push_back({cols[static_cast<std::size_t>(at)], Roll(2) == 0});
    }
    return keys;
  }

  // Sorts by `keys`, half of the times by turning round what says the opposite.
  void Sort(const std::vector<Key>& keys, bool nulls_last, bool group_keys) {
    const bool turned = Roll(2) == 0;
    std::string list;
    for (const Key& key : keys) {
      list += (list.empty() ? "" : ", ") + std::string(kNames[key.col]) +
              (key.ascending != turned ? ":a" : ":d");
    }
    ASSERT_EQ(data_.Sort(Kt_WString::FromUtf8(list), !turned, nulls_last, group_keys), 1);
  }

  Kt_Dataset& Data() { return data_; }
  std::vector<SqlRow> Query(const std::string& sql) { return db_.Query(sql); }

 private:
  void AddRow() {
    static constexpr const char16_t* kTexts[] = {u"", u"a", u"B", u"b", u"\xE9", u"\xAC00"};
    const kt_long row = data_.AppendRow();
    SqlRow values;
    const auto null_or = [&](Kt_Variant value) { return Roll(8) == 0 ? Kt_Variant() : value; };
    values.push_back(++last_id_);
    values.push_back(null_or(kTexts[Roll(std::size(kTexts))]));
    values.push_back(null_or(Roll(4) - 1));
    values.push_back(null_or(kTexts[Roll(3)]));
    values.push_back(null_or(Roll(3) == 0 ? 2000000000 - Roll(9) : Roll(2001) - 1000));
    values.push_back(null_or((Roll(20001) - 10000) / 64.0));
    values.push_back(null_or((Roll(2000001) - 1000000) / 4.0));
    for (std::size_t col = 0; col < values.size(); ++col) {
      data_.SetColumn(row, static_cast<kt_long>(col), values[col]);
    }
    db_.Query("INSERT INTO t VALUES(?, ?, ?, ?, ?, ?, ?)", values);
  }

  std::mt19937 random_;
  Database db_;
  Kt_Dataset data_;
  kt_long last_id_ = 0;
};

// A number of any kind as the database has it.
Kt_Variant Plain(const Kt_Variant& value) {
  return value.IsEmpty() || value.IsString() ? value : Kt_Variant(value.ToDouble());
}

// All five over the rows [start, end) of one numbering.
SqlRow AggregatesOf(const Kt_Dataset& data, kt_long col, kt_long start, kt_long end,
                    bool filtered) {
  Kt_Variant sum;
  Kt_Variant avg;
  Kt_Variant max;
  Kt_Variant min;
  if (filtered) {
    data.GetSum(col, start, end, sum);
    data.GetAvg(col, start, end, avg);
    data.GetMax(col, start, end, max);
    data.GetMin(col, start, end, min);
  } else {
    data.GetSumNF(col, start, end, sum);
    data.GetAvgNF(col, start, end, avg);
    data.GetMaxNF(col, start, end, max);
    data.GetMinNF(col, start, end, min);
  }
  const kt_long count = filtered ? data.GetCount(start, end) : data.GetCountNF(start, end);
  return {Plain(sum), Plain(avg), Plain(max), Plain(min), Plain(count)};
}

std::string AggregatesSql(kt_long col, const std::string& rows) {
  std::string list;
  for (const Kt_Aggregate what : kAggregates) {
    list +=
        (list.empty() ? "" : ", ") + (what == Kt_Aggregate::kCount ? "count(*)" : SqlOf(what, col));
  }
  return "SELECT " + list + " FROM (" + rows + ")";
}

TEST(DatasetSqlite, SortsAndAggregates) {
  for (unsigned seed = 1; seed <= 250 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Pair pair(seed);
    pair.Filter();
    // Sorted twice: the earlier order shows where the later keys are equal.
    const bool nulls_last = pair.Roll(2) == 0;
    const std::vector<Key> first = pair.AnyKeys(1 + pair.Roll(3));
    const std::vector<Key> second = pair.AnyKeys(1 + pair.Roll(3));
    pair.Sort(first, nulls_last, false);
    pair.Sort(second, nulls_last, false);
    const std::string order = " ORDER BY " + SqlOrder(second, second.size(), nulls_last) + "," +
                              SqlOrder(first, first.size(), nulls_last) + ", id";
    const Kt_Dataset& data = pair.Data();
    std::vector<SqlRow> ids;
    for (kt_long row = 0; row < data.GetRowCount(); ++row) {
      ids.push_back({Plain(data.ReadColumn(row, kId))});
    }
    ASSERT_EQ(Text(ids), Text(pair.Query("SELECT id FROM v" + order)));

    for (const kt_long col : kValues) {
      const kt_long start = pair.Roll(20);
      const kt_long end = start + pair.Roll(100);
      const std::string part =
          " LIMIT " + std::to_string(end - start) + " OFFSET " + std::to_string(start);
      const auto expect = [&](bool filtered, kt_long from, kt_long to, const std::string& rows) {
        EXPECT_EQ(Text(AggregatesOf(data, col, from, to, filtered)),
                  Text(pair.Query(AggregatesSql(col, rows)).front()))
            << kNames[col] << " " << from << " " << to << " " << filtered;
      };
      expect(true, 0, data.GetRowCount(), "SELECT * FROM v");
      expect(false, 0, data.GetRowCountNF(), "SELECT * FROM t");
      expect(true, start, end, "SELECT * FROM v" + order + part);
      expect(false, start, end, "SELECT * FROM t" + order + part);
    }
  }
}

TEST(DatasetSqlite, Subtotals) {
  for (unsigned seed = 1; seed <= 250 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Pair pair(seed);
    if (pair.Roll(2) == 0) pair.Filter();
    const bool nulls_last = pair.Roll(2) == 0;
    const std::vector<Key> keys = pair.AnyKeys(1 + pair.Roll(3));
    pair.Sort(keys, nulls_last, true);
    Kt_Dataset& data = pair.Data();
    std::vector<Kt_Aggregate> what;
    for (const kt_long col : kValues) {
      what.push_back(kAggregates[pair.Roll(std::size(kAggregates))]);
      data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, col, true, what.back());
    }
    const bool reverse = pair.Roll(2) == 0;
    data.SetReverseSubSumStat(reverse);
    data.RecalcGroup();

    // The subtotals of a level in their order: keys, totals, and how many rows they cover.
    std::map<kt_long, std::vector<SqlRow>> levels;
    for (kt_long row = 0; row < data.GetRowCount(); ++row) {
      const kt_long level = data.GetRowLevel(row);
      if (level == 0) continue;
      SqlRow& total = levels[level].emplace_back();
      const std::size_t key_count = keys.size() + 1 - static_cast<std::size_t>(level);
      for (std::size_t key = 0; key < keys.size(); ++key) {
        const Kt_Variant cell = data.ReadColumn(row, keys[key].col);
        if (key < key_count) {
          total.push_back(Plain(cell));
        } else {
          EXPECT_TRUE(cell.IsEmpty());
        }
      }
      for (const kt_long col : kValues) total.push_back(Plain(data.ReadColumn(row, col)));
      const kt_long first = data.GetRangeStart(row);
      const kt_long covered = data.GetRangeCount(row);
      EXPECT_EQ(reverse ? first - 1 : first + covered, row) << "next to its rows";
      total.push_back(Plain(data.GetCount(first, first + covered)));
    }
    kt_long subtotals = 0;
    for (std::size_t key_count = keys.size(); key_count > 0; --key_count) {
      const std::string list = SqlList(keys, key_count);
      std::string sql = "SELECT " + list;
      for (std::size_t at = 0; at < what.size(); ++at) sql += "," + SqlOf(what[at], kValues[at]);
      sql += ", count(*) FROM v GROUP BY " + list + " ORDER BY " +
             SqlOrder(keys, key_count, nulls_last);
      const std::vector<SqlRow> wanted = pair.Query(sql);
      subtotals += static_cast<kt_long>(wanted.size());
      EXPECT_EQ(Text(levels[static_cast<kt_long>(keys.size() + 1 - key_count)]), Text(wanted))
          << sql;
    }
    EXPECT_EQ(data.GetRowCount() - data.GetCount(0, data.GetRowCount()), subtotals);
  }
}

TEST(DatasetSqlite, Pivots) {
  for (unsigned seed = 1; seed <= 250 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Pair pair(seed);
    if (pair.Roll(2) == 0) pair.Filter();
    Kt_Dataset& data = pair.Data();
    const std::vector<Key> keys = pair.AnyKeys(3);
    const std::size_t row_count = 1 + static_cast<std::size_t>(pair.Roll(2));
    const std::vector<Key> row_keys(keys.begin(), keys.begin() + static_cast<long>(row_count));
    const std::vector<Key> col_keys(keys.begin() + static_cast<long>(row_count), keys.end());
    const kt_long value = kValues[pair.Roll(std::size(kValues))];
    const Kt_Aggregate what = kAggregates[pair.Roll(std::size(kAggregates))];
    const auto add = [&](Kt_KeyType type, const Key& key) {
      data.ModifyKeyStat(Kt_KeyCall::kAdd, type, key.col, key.ascending);
    };
    for (const Key& key : row_keys) add(Kt_KeyType::kPivotRow, key);
    for (const Key& key : col_keys) add(Kt_KeyType::kPivotColumn, key);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, value, true, what);
    Kt_Pivot pivot;
    ASSERT_TRUE(pivot.Build(data));

    // Row keys, column keys and value of every cell that is there, row by row, and the same for
    // each level of subtotal positions.
    for (std::size_t level = 0; level < col_keys.size(); ++level) {
      const std::size_t col_count = col_keys.size() - level;
      std::vector<SqlRow> cells;
      for (kt_long row = 0; row < pivot.GetPivotRowCount(); ++row) {
        for (kt_long at = 0; at < pivot.GetPivotColCount(); ++at) {
          if (pivot.GetPivotColLevel(at) != static_cast<kt_long>(level)) continue;
          if (pivot.GetPivotRowPos(row, at) < 0) {
            EXPECT_TRUE(pivot.GetColumn(row, value, at).IsEmpty());
            continue;
          }
          SqlRow& cell = cells.emplace_back();
          for (const Key& key : row_keys) cell.push_back(Plain(pivot.GetColumn(row, key.col, at)));
          for (std::size_t key = 0; key < col_count; ++key) {
            cell.push_back(Plain(pivot.GetColumn(row, col_keys[key].col, at)));
          }
          cell.push_back(Plain(pivot.GetColumn(row, value, at)));
        }
      }
      std::vector<Key> all(row_keys);
      all.insert(all.end(), col_keys.begin(), col_keys.begin() + static_cast<long>(col_count));
      const std::string list = SqlList(all, all.size());
      EXPECT_EQ(Text(cells),
                Text(pair.Query("SELECT " + list + "," + SqlOf(what, value) + " FROM v GROUP BY " +
                                list + " ORDER BY " + SqlOrder(all, all.size(), false))));
    }
    // Across the rows, whatever fell into which position.
    const std::string list = SqlList(row_keys, row_keys.size());
    std::vector<SqlRow> totals;
    for (kt_long row = 0; row < pivot.GetPivotRowCount(); ++row) {
      SqlRow& total = totals.emplace_back();
      for (const Key& key : row_keys) total.push_back(Plain(pivot.GetColumn(row, key.col, -1)));
    }
    EXPECT_EQ(Text(totals),
              Text(pair.Query("SELECT " + list + " FROM v GROUP BY " + list + " ORDER BY " +
                              SqlOrder(row_keys, row_keys.size(), false))));
  }
}

}  // namespace
