// SPDX-License-Identifier: MIT
//
// Logical datasets. The random test keeps, for each of two chained logical datasets, the list of
// the rows that it took: every row of the source has a number that no other row ever had, so a row
// that shows up in place of another is noticed.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_DatasetList.h"
#include "common/text.h"

namespace {

constexpr kt_long kId = 0;
constexpr kt_long kValue = 1;

bool Same(const Kt_Variant& a, const Kt_Variant& b) {
  return a.GetTag() == b.GetTag() && Var_Order(a, b) == 0;
}

struct Taken {
  kt_long id;
  bool main_hidden = false;
  bool local_hidden = false;
  Kt_Variant note = {};
};

class SourceModel : public testing::TestWithParam<unsigned> {
 protected:
  struct Logical {
    Kt_Dataset data;
    Kt_Dataset* source = nullptr;
    std::vector<Taken> rows;
    bool main_on = false;
    bool local_on = false;
  };

  SourceModel() : random_(GetParam()) {
    source_.AddColumn(u"id", u"long");
    source_.AddColumn(u"value", u"long");
    AddRows(-1, 40);
    Kt_Dataset* below = &source_;
    for (Logical& logical : logicals_) {
      logical.source = below;
      EXPECT_EQ(logical.data.SetSource(below), 1);
      const kt_long notes = below == &source_ ? 2 : 3;
      EXPECT_EQ(logical.data.AddColumn(notes == 2 ? u"note" : u"other", u"long"), notes);
      Take(logical, true);
      below = &logical.data;
    }
  }

  kt_long Roll(kt_long count) {
    return std::uniform_int_distribution<kt_long>(0, count - 1)(random_);
  }
  kt_long NoteCol(const Logical& logical) const { return logical.data.GetColCount() - 1; }
  bool Lives(kt_long id) const { return values_.contains(id); }

  void AddRows(kt_long at, kt_long count) {
    const kt_long first = source_.InsertRow(at, count);
    for (kt_long row = first; row < first + count; ++row) {
      source_.SetColumn(row, kId, next_id_++);
      source_.SetColumn(row, kValue, Roll(50));
    }
  }
  // A row is the same as long as it lives, wherever it is shown, and no other row ever was.
  void ExpectIdentity(kt_long id, const Kt_RowIdentity& identity) {
    const auto [known, is_new] = identities_.try_emplace(id, identity);
    EXPECT_TRUE(identity != Kt_RowIdentity() && known->second == identity) << id;
    for (auto other = identities_.begin(); is_new && other != identities_.end(); ++other) {
      EXPECT_EQ(other->second == identity, other->first == id) << id << " " << other->first;
    }
  }
  // What the source holds, asked of itself.
  void LookAtSource() {
    values_.clear();
    order_.clear();
    for (kt_long row = 0; row < source_.GetRowCountNF(); ++row) {
      order_.push_back(source_.ReadColumnNF(row, kId).ToInteger());
      values_[order_.back()] = source_.ReadColumnNF(row, kValue);
      ExpectIdentity(order_.back(), source_.GetRowIdentityNF(row));
    }
  }
  void Take(Logical& logical, bool anew) {
    LookAtSource();
    std::vector<kt_long> below = order_;
    if (logical.source != &source_) {
      below.clear();
      for (const Taken& row : logicals_[0].rows) {
        if (Lives(row.id)) below.push_back(row.id);
      }
    }
    const std::vector<Taken> before = std::move(logical.rows);
    const auto find = [&](kt_long id) {
      return std::find_if(before.begin(), before.end(), [&](auto& row) { return row.id == id; });
    };
    logical.rows.clear();
    if (!anew) {
      for (const Taken& row : before) {
        if (std::find(below.begin(), below.end(), row.id) != below.end()) {
          logical.rows.push_back(row);
        }
      }
    }
    for (const kt_long id : below) {
      const auto known = find(id);
      if (known == before.end()) {
        logical.rows.push_back({id});
      } else if (anew) {
        logical.rows.push_back({id, false, known->local_hidden, known->note});
      }
    }
  }
  std::vector<Taken*> View(Logical& logical, bool main, bool local) {
    std::vector<Taken*> shown;
    for (Taken& row : logical.rows) {
      if ((main && row.main_hidden) || (local && row.local_hidden)) continue;
      shown.push_back(&row);
    }
    return shown;
  }

  void SourceStep();
  void LogicalStep(Logical& logical);
  void ExpectSame(Logical& logical);
  void ExpectSameRow(const Logical& logical, kt_long row, const Taken& wanted);

  std::mt19937 random_;
  kt_long next_id_ = 1;
  Kt_Dataset source_;
  Logical logicals_[2];
  std::map<kt_long, Kt_Variant> values_;
  std::map<kt_long, Kt_RowIdentity> identities_;
  std::vector<kt_long> order_;
};

void SourceModel::SourceStep() {
  const kt_long row = Roll(std::max(1, source_.GetRowCount()));
  switch (Roll(12)) {
    case 0: AddRows(-1, 1 + Roll(3)); break;
    case 1: AddRows(row, 1); break;
    case 2:
    case 3:
    case 4: source_.DeleteRow(row); break;
    case 5: source_.SetColumn(row, kValue, Roll(50)); break;
    case 6: source_.Sort(u"value"); break;
    case 7: source_.Filter(row); break;
    case 8: source_.UnFilter(); break;
    case 9: source_.MoveRow(row, Roll(std::max(1, source_.GetRowCount()))); break;
    case 10: Roll(2) == 0 ? source_.ApplyChange() : source_.Reset(); break;
    default:
      if (Roll(20) == 0) source_.ClearData();
      if (Roll(4) == 0) source_.LoadCSV(u"id,value\n", false);
      break;
  }
}

void SourceModel::LogicalStep(Logical& logical) {
  LookAtSource();
  const auto shown = View(logical, logical.main_on, logical.local_on);
  const kt_long row = Roll(static_cast<kt_long>(shown.size()) + 1);
  Taken* const wanted = row < static_cast<kt_long>(shown.size()) ? shown[row] : nullptr;
  switch (Roll(8)) {
    case 0: {
      const bool can = wanted != nullptr && Lives(wanted->id);
      ASSERT_EQ(logical.data.SetColumn(row, kValue, 1000 + row), can ? 1 : -1);
      ASSERT_EQ(logical.data.SetColumn(row, NoteCol(logical), row), can ? 1 : -1);
      if (can) wanted->note = row;
      break;
    }
    case 1:
      ASSERT_EQ(logical.data.LocFilter(0), View(logical, logical.main_on, true).empty() ? -1 : 1);
      for (Taken* hidden : View(logical, logical.main_on, true)) {
        hidden->local_hidden = logical.local_on = true;
        break;
      }
      break;
    case 2:
      ASSERT_EQ(logical.data.Filter(0), View(logical, true, false).empty() ? -1 : 1);
      for (Taken* hidden : View(logical, true, false)) {
        hidden->main_hidden = logical.main_on = true;
        break;
      }
      break;
    case 3:
      logical.data.ResetRecIndex();
      Take(logical, true);
      logical.main_on = true;
      break;
    case 4:
      logical.data.RecalcGroup();
      Take(logical, false);
      break;
    case 5:
      ASSERT_EQ(logical.data.Sort(u"value:d"), 1);
      std::stable_sort(logical.rows.begin(), logical.rows.end(), [&](auto& a, auto& b) {
        if (!Lives(a.id) || !Lives(b.id)) return !Lives(a.id) && Lives(b.id);
        return values_[a.id].ToInteger() > values_[b.id].ToInteger();
      });
      break;
    case 6:
      logical.data.LocUnFilter();
      for (Taken& taken : logical.rows) taken.local_hidden = false;
      logical.local_on = false;
      break;
    default:
      ASSERT_EQ(logical.data.DeleteRow(row), -1);
      ASSERT_EQ(logical.data.AppendRow(), -1);
      break;
  }
}

void SourceModel::ExpectSameRow(const Logical& logical, kt_long row, const Taken& wanted) {
  const bool lives = Lives(wanted.id);
  ASSERT_TRUE(Same(logical.data.ReadColumn(row, kId), lives ? wanted.id : Kt_Variant()));
  ASSERT_TRUE(
      Same(logical.data.ReadColumn(row, kValue), lives ? values_[wanted.id] : Kt_Variant()));
  ASSERT_TRUE(
      Same(logical.data.ReadColumn(row, NoteCol(logical)), lives ? wanted.note : Kt_Variant()));
  ASSERT_EQ(logical.data.GetRowType(row), kRowTypeLogical);
  const Kt_RowIdentity identity = logical.data.GetRowIdentity(row);
  ASSERT_TRUE(identity == (lives ? identities_[wanted.id] : Kt_RowIdentity()));
  if (logical.source != &source_) return;
  const auto place = std::find(order_.begin(), order_.end(), wanted.id);
  ASSERT_EQ(logical.data.GetSourceRowNF(row),
            lives ? static_cast<kt_long>(place - order_.begin()) : -1);
}

void SourceModel::ExpectSame(Logical& logical) {
  LookAtSource();
  const auto shown = View(logical, logical.main_on, logical.local_on);
  ASSERT_EQ(logical.data.GetRowCount(), static_cast<kt_long>(shown.size()));
  ASSERT_EQ(logical.data.GetRowCountNF(), static_cast<kt_long>(logical.rows.size()));
  kt_long sum = 0;
  for (std::size_t row = 0; row < shown.size(); ++row) {
    ExpectSameRow(logical, static_cast<kt_long>(row), *shown[row]);
    if (Lives(shown[row]->id)) sum += values_[shown[row]->id].ToInteger();
  }
  Kt_Variant result;
  logical.data.GetSum(kValue, 0, logical.data.GetRowCount(), result);
  ASSERT_EQ(result.ToInteger(), sum);
  if (shown.empty()) return;
  const std::size_t last = shown.size() - 1;
  ASSERT_EQ(logical.data.LookupDataRow(u"id", Kt_Variant(shown[last]->id).ToString().View()),
            Lives(shown[last]->id) ? static_cast<kt_long>(last) : -1);
  // A copy shows the same source; a table made of it has what is still there, once and for all.
  if (Roll(8) != 0) return;
  Kt_Dataset copy(logical.data);
  ASSERT_EQ(copy.GetSource(), logical.source);
  ASSERT_TRUE(Same(copy.ReadColumn(0, kId), logical.data.ReadColumn(0, kId)));
  Kt_Dataset table;
  const auto lives = [&](const Taken& row) { return Lives(row.id); };
  ASSERT_EQ(table.Copy(logical.data),
            std::count_if(logical.rows.begin(), logical.rows.end(), lives));
  ASSERT_TRUE(table.IsPhysical() && !table.IsLogical() && !table.GetUpdate());
}

TEST_P(SourceModel, AgreesAfterEveryOperation) {
  for (int step = 0; step < 6000; ++step) {
    SourceStep();
    LogicalStep(logicals_[Roll(2)]);
    for (Logical& logical : logicals_) ExpectSame(logical);
    ASSERT_FALSE(HasFailure()) << "seed " << GetParam() << ", step " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, SourceModel, testing::Values(1u, 2u, 3u, 20241u));

// ---- Chosen cases -----------------------------------------------------------------------------

constexpr char16_t kPeople[] = u"name:string,team:long\nann,2\nbob,1\ncid,2\n";

TEST(Source, KindAndColumns) {
  Kt_Dataset source;
  source.LoadCSV(kPeople);
  Kt_Dataset logical(u"logical");
  logical.AddColumn(u"old");
  logical.AddConstColumn(u"const", 7);
  EXPECT_EQ(logical.SetSource(&source), 1);
  EXPECT_TRUE(logical.IsLogical() && !logical.IsPhysical() && !logical.IsPivot());
  EXPECT_EQ(logical.GetColCount(), 2);
  EXPECT_EQ(logical.GetColMapValue(1), u"team");
  EXPECT_EQ(logical.GetColType(1), Kt_ColumnType::kLong);
  EXPECT_FALSE(logical.IsLogicalColumn(1));
  EXPECT_EQ(logical.GetConstColumn(u"const").ToInteger(), 7);
  // Logical columns find the source's columns, later ones too, and are written through.
  source.AddColumn(u"later", u"double");
  const kt_long late = logical.AddLogicalColumn(u"late", u"later");
  EXPECT_EQ(logical.GetSourceCol(late), 2);
  EXPECT_EQ(logical.SetColumn(1, late, 2.5), 1);
  EXPECT_EQ(source.ReadColumn(1, 2).ToDouble(), 2.5);
  EXPECT_EQ(source.GetRowType(1), kRowTypeUpdate);
  EXPECT_EQ(logical.GetSourceCol(99), -1);
  EXPECT_EQ(logical.SetSource(nullptr), 1);
  EXPECT_TRUE(logical.IsPhysical() && !logical.IsLogical());
  EXPECT_EQ(logical.GetColCount(), 0);
}

TEST(Source, RingsAndLongChains) {
  Kt_Dataset chain[20];
  chain[0].LoadCSV(kPeople);
  EXPECT_EQ(chain[0].SetSource(&chain[0]), -1);
  for (int at = 1; at < 20; ++at) {
    EXPECT_EQ(chain[at].SetSource(&chain[at - 1]), at <= 16 ? 1 : -1) << at;
    EXPECT_EQ(chain[0].SetSource(&chain[at]), at <= 16 ? -1 : 1) << at;
    if (at == 16) break;
  }
  EXPECT_EQ(chain[16].ReadColumn(2, 0).ToString(), u"cid");
  EXPECT_EQ(chain[0].Assign(chain[3]), -1);
  chain[0] = chain[3];  // a ring all the same: nothing is there
  EXPECT_EQ(chain[5].GetRowCount(), 0);
  EXPECT_TRUE(chain[0].ReadColumn(0, 0).IsEmpty());
  chain[2].RecalcGroup();
  EXPECT_EQ(chain[0].SetColumn(0, 0, u"x"), -1);
}

TEST(Source, EndsBeforeThoseThatShowIt) {
  auto source = std::make_unique<Kt_Dataset>();
  source->LoadCSV(kPeople);
  Kt_Dataset logical;
  Kt_Dataset outer;
  Kt_Dataset pivot;
  logical.SetSource(source.get());
  outer.SetSource(&logical);
  pivot.SetSource(source.get());
  pivot.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 1);
  pivot.RecalcPivot();
  Kt_DatasetList list;
  list.Add(logical);
  list.Add(*source);
  source.reset();
  EXPECT_EQ(list.GetCount(), 1);
  EXPECT_EQ(list.GetItem(1), nullptr);
  Kt_Variant result;
  for (Kt_Dataset* data : {&logical, &outer}) {
    EXPECT_EQ(data->GetRowCount(), 0);
    EXPECT_TRUE(data->ReadColumn(0, 0).IsEmpty());
    EXPECT_EQ(data->SetColumn(0, 0, u"x"), -1);
    EXPECT_EQ(data->Filter(0), -1);
    EXPECT_EQ(data->GetSum(1, 0, 3, result), 0);
    EXPECT_EQ(data->LookupDataRow(u"name", u"ann"), -1);
    EXPECT_EQ(data->Sort(u"name"), 1);
    Kt_Dataset table;
    EXPECT_EQ(table.Copy(*data), 0);
    data->ResetRecIndex();
    EXPECT_EQ(data->GetRowCount(), 0);
  }
  EXPECT_EQ(logical.GetSource(), nullptr);
  EXPECT_TRUE(logical.IsLogical());
  EXPECT_EQ(pivot.GetRowCount(), 2);  // a snapshot
  pivot.RecalcPivot();
  EXPECT_EQ(pivot.GetRowCount(), 0);
}

TEST(Source, GroupsOfItsOwnAndSubtotalsOfTheSource) {
  Kt_Dataset source;
  source.LoadCSV(kPeople);
  source.Sort(u"team", true, false, true);
  source.RecalcGroup();
  ASSERT_EQ(source.GetRowCount(), 5);
  Kt_Dataset logical;
  logical.SetSource(&source);
  EXPECT_EQ(logical.GetRowCount(), 3);  // subtotals are no records
  EXPECT_EQ(logical.GetSourceRowNF(1), 2);
  logical.Sort(u"name", true, false, true);
  logical.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 1, true, Kt_Aggregate::kSum);
  logical.RecalcGroup();
  EXPECT_EQ(logical.GetRowCount(), 6);
  EXPECT_EQ(logical.GetRowLevel(1), 1);
  EXPECT_EQ(logical.ReadColumn(1, 1).ToInteger(), 2);
  EXPECT_EQ(logical.GetSourceRowNF(1), -1);
}

// A copy into a logical dataset, or a clearing load, gives it rows of its own.
TEST(Source, Materialised) {
  Kt_Dataset source;
  source.LoadCSV(kPeople);
  Kt_Dataset other;
  other.LoadCSV(u"a:long\n1\n");
  for (int way = 0; way < 4; ++way) {
    Kt_Dataset logical;
    logical.SetSource(&source);
    Kt_Dataset outer;
    outer.SetSource(&logical);
    if (way == 0) logical.Copy(other);
    if (way == 1) logical.CopyF(other);
    if (way == 2) logical.LoadCSV(u"name:string,team:long\nzoe,9\n");
    if (way == 3) logical.LoadCSV(u"name,team\nzoe,9\n");
    EXPECT_TRUE(logical.IsLogical() && logical.IsPhysical()) << way;
    EXPECT_EQ(logical.GetSource(), &source) << way;
    EXPECT_EQ(logical.GetRowCount(), 1) << way;
    EXPECT_EQ(logical.AppendRow(), 1) << way;
    EXPECT_EQ(source.GetRowCount(), 3) << way;
    EXPECT_TRUE(outer.ReadColumn(0, 0).IsEmpty()) << way;
    outer.ResetRecIndex();
    EXPECT_EQ(outer.GetRowCount(), 2) << way;
  }
  Kt_Dataset logical;
  logical.SetSource(&source);
  EXPECT_EQ(logical.LoadCSV(u"name,team\nzoe,9\n", false), -1);
  EXPECT_EQ(logical.AppendDataset(other), -1);
  EXPECT_EQ(logical.Merge(other), -1);
  EXPECT_EQ(logical.Assign(other), 1);
}

class Doubler : public Kt_ColumnEvaluator {
 public:
  bool EvaluateColumn(const Kt_Dataset& data, kt_long row, bool filtered, const Kt_ColumnMap&,
                      Kt_Variant& result) override {
    result = 2 * (filtered ? data.ReadColumn(row, 1) : data.ReadColumnNF(row, 1)).ToInteger();
    return true;
  }
};

// Expression columns, of the source and of its own; what is saved is what is shown.
TEST(Source, ExpressionsAndFiles) {
  Kt_Dataset source;
  source.LoadCSV(kPeople);
  source.SetEvaluator(std::make_shared<Doubler>());
  source.AddLogicalColumn(u"twice", u"team * 2", u"long");
  source.Sort(u"name:d");
  Kt_Dataset logical;
  logical.SetSource(&source);
  logical.SetEvaluator(std::make_shared<Doubler>());
  logical.AddLogicalColumn(u"own", u"team * 2", u"long");
  logical.Sort(u"name");
  logical.Filter(0);
  EXPECT_EQ(logical.ReadColumn(1, 2).ToInteger(), 4);
  EXPECT_EQ(logical.ReadColumn(1, 3).ToInteger(), 4);
  EXPECT_EQ(logical.SetColumn(1, 2, 5), -1);
  Kt_WString text;
  EXPECT_EQ(logical.SaveCSV(text), 2);
  EXPECT_EQ(text, u"name:string,team:long,twice:long,own:long\r\nbob,1,2,2\r\ncid,2,4,4\r\n");
  Kt_Dataset loaded;
  EXPECT_EQ(logical.SaveDataXml(text, u"nf"), 3);
  EXPECT_EQ(loaded.LoadDataXml(text), 3);
  EXPECT_FALSE(loaded.GetUpdate());
  Kt_Buffer bytes;
  EXPECT_EQ(logical.Save2(bytes), 2);
}

}  // namespace
