// SPDX-License-Identifier: MIT
//
// Every dataset method with 0 to 6 arguments of every kind of value, against every kind of dataset:
// nothing crashes or hangs, the codes are those that are told, and the dataset stays sound.

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>

#include "dataset_test_util.h"

namespace {

using kt::test::DataHost;
using kt::test::MakeDataset;

std::string Text(const char16_t* text) { return Kt_WString(text).ToUtf8(); }

// ---- What the methods are ----------------------------------------------------------------------

enum class Family { kPlain, kTotal, kSearch, kLookup };

Family FamilyOf(const std::string& name) {
  static const std::set<std::string> kTotals = {"Count", "Sum", "Avg", "Max", "Min"};
  std::string base = name;
  for (const char* const prefix : {"Total", "Case", "Pivot"}) {
    if (base.rfind(prefix, 0) == 0) base = base.substr(std::string(prefix).size());
  }
  if (base.size() > 2 && base.substr(base.size() - 2) == "NF") base.resize(base.size() - 2);
  if (kTotals.count(base) != 0) return Family::kTotal;
  if (name.rfind("FindRow", 0) == 0 || name.rfind("SearchRow", 0) == 0) return Family::kSearch;
  return name == "Lookup" ? Family::kLookup : Family::kPlain;
}

// How many arguments a plain method needs, which is not always what its row shows.
int LeastArguments(const _EXPR_OBJMETHOD_INFO& row) {
  const std::string name = Text(row.name);
  if (name == "CopyRow" || name == "CopytoRow") return 3;
  return name == "Assign" ? 1 : row.count;
}

bool IsRefusedOnLogical(const std::string& name) {
  static const std::set<std::string> kNames = {
      "AddRow",         "AppendRow",        "InsertRow",      "DeleteRow",
      "DeleteAll",      "ClearData",        "DeleteSelected", "GetRowType",
      "GetRowTypeNF",   "GetTotalRowType",  "OrgBuffCount",   "GetOrgBuffCount",
      "GetOrgBuffType", "GetOrgBuffColumn", "GetDelRowCount", "GetDelColumn",
      "GetOrgColumn",   "GetOrgColumnNF",   "Sort",           "CopyRow",
      "CopyColumn",     "LoadXML",          "LoadCSV",        "SaveXML",
      "SaveCSV",        "SaveBIN"};
  return kNames.count(name) != 0;
}

// ---- The datasets ------------------------------------------------------------------------------

enum class World {
  kNone,
  kReleased,
  kEmpty,
  kOneRow,
  kPlain,
  kFiltered,
  kGrouped,
  kPivot,
  kLogical
};
constexpr World kWorlds[] = {World::kNone,    World::kReleased, World::kEmpty,
                             World::kOneRow,  World::kPlain,    World::kFiltered,
                             World::kGrouped, World::kPivot,    World::kLogical};
constexpr const char* kWorldNames[] = {"none",     "released", "empty", "one row", "plain",
                                       "filtered", "grouped",  "pivot", "logical"};

constexpr std::u16string_view kHead = u"item:string,city:string,qty:long,price:double\n";
constexpr std::u16string_view kRows =
    u"pen,Rome,10,1.5\nink,Oslo,3,8\npad,Rome,4,\n,,,2\npen,Oslo,6,1.5\n";

std::unique_ptr<Kt_Dataset> MakeSample(World world) {
  std::u16string text(kHead);
  if (world == World::kOneRow) text += u"pen,Rome,10,1.5\n";
  if (world != World::kEmpty && world != World::kOneRow) text += kRows;
  auto data = MakeDataset(u"data", text);
  (void)data->AddConstColumn(u"rate", 0.5);
  (void)data->AddLogicalColumn(u"alias", u"qty");
  const kt_long city = data->GetColIndex(u"city");
  const kt_long item = data->GetColIndex(u"item");
  const kt_long qty = data->GetColIndex(u"qty");
  if (world == World::kFiltered) {
    (void)data->Filter(1);
    (void)data->LocFilter(2);
  } else if (world == World::kGrouped) {
    (void)data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, qty, true,
                              Kt_Aggregate::kSum);
    (void)data->Sort(u"city,item", true, false, true);
    data->RecalcGroup();
  } else if (world == World::kPivot) {
    (void)data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, city);
    (void)data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, item);
    (void)data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, qty);
    (void)data->RecalcPivot();
  }
  return data;
}

// A dataset of one kind and another plain one, their wrappers, and a host that knows both.
struct Stage {
  explicit Stage(World kind)
      : data(MakeSample(kind)),
        other(MakeSample(World::kPlain)),
        wrapper(std::make_unique<Kt_ExprDataset>(data.get(), &host)),
        other_wrapper(other.get(), &host) {
    other->SetId(u"other");
    host.datasets = {wrapper.get(), &other_wrapper};
    wrapper->SetEvents(1);
    other_wrapper.SetEvents(1);
    if (kind == World::kNone) wrapper->SetDataset(nullptr);
    if (kind == World::kLogical) {
      (void)data->SetSource(other.get());
      wrapper->SetLogicalSource(&other_wrapper);
    }
    (void)wrapper->SetRowPosition(0);
    if (kind == World::kReleased) data.reset();
  }

  DataHost host;
  std::unique_ptr<Kt_Dataset> data;
  std::unique_ptr<Kt_Dataset> other;
  std::unique_ptr<Kt_ExprDataset> wrapper;
  Kt_ExprDataset other_wrapper;
};

// ---- The values --------------------------------------------------------------------------------

Kt_Variant ObjectValue(Kt_ExprObject* object) {
  return Kt_Variant(Kt_ObjectHolder(nullptr, object));
}

std::vector<Kt_Variant> ValuesFor(Stage& stage) {
  Kt_Variant bytes;
  bytes.SetBinary("\x01\x00\xFF", 3);
  auto lost_data = std::make_unique<Kt_Dataset>(u"lost");
  Kt_ExprDataset lost(lost_data.get(), &stage.host);
  const Kt_Variant gone = ObjectValue(&lost);
  return {{},
          kt_long{0},
          kt_long{1},
          kt_long{-1},
          std::numeric_limits<kt_long>::max(),
          std::numeric_limits<kt_long>::min(),
          1.5,
          -1e300,
          std::numeric_limits<double>::quiet_NaN(),
          u"",
          u"qty",
          u"qty > 3",
          u"(((",
          u"other",
          u"item=,qty,=price",
          Kt_Variant(Kt_DateTime{45000.5}),
          Kt_Variant(Kt_Currency{123456}),
          bytes,
          Kt_Variant(Kt_VariantList{Kt_Variant(kt_long{1}), Kt_Variant(u"qty")}),
          Kt_Variant(true),
          ObjectValue(stage.wrapper.get()),
          ObjectValue(&stage.other_wrapper),
          ObjectValue(stage.host.thing.get()),
          gone};
}

// ---- The checks --------------------------------------------------------------------------------

constexpr kt_long kUntouched = 4711;

// The code that a call must return whatever its arguments say; kOk when it depends on them.
kt_long CertainCode(const _EXPR_OBJMETHOD_INFO& row, const Stage& stage, int count) {
  const std::string name = Text(row.name);
  if (FamilyOf(name) != Family::kPlain) return kOk;
  const Kt_Dataset* const data = stage.wrapper->GetDataset();
  if (data == nullptr || count < LeastArguments(row)) return kErrBadArgument;
  return data->IsLogical() && IsRefusedOnLogical(name) ? kErrDataset : kOk;
}

// The last one is for rows of an unknown kind, which only the saving methods take.
bool IsAllowed(kt_long code) {
  return code == kOk || code == kErrBadArgument || code == kErrDataset || code == kErrNotAllowed;
}

// What totals and searches give without a dataset, and searches without arguments.
void ExpectResult(const std::string& name, const Stage& stage, int count,
                  const Kt_Variant& result) {
  const Family family = FamilyOf(name);
  const bool has_data = stage.wrapper->GetDataset() != nullptr;
  if (family == Family::kTotal && !has_data) {
    EXPECT_EQ(result.ToDouble(), 0.0);
  } else if (family == Family::kSearch && (!has_data || count == 0)) {
    EXPECT_EQ(result.ToInteger(), -1);
  } else if (family == Family::kLookup && (!has_data || count < 2)) {
    EXPECT_EQ(result.ToInteger(), kUntouched);
  }
}

// Everything can be read, and counts agree.
void ExpectSound(Stage& stage) {
  for (Kt_ExprDataset* const wrapper : {stage.wrapper.get(), &stage.other_wrapper}) {
    const Kt_Dataset* const data = wrapper->GetDataset();
    if (data == nullptr) continue;
    const kt_long rows = data->GetRowCount();
    // Subtotals of rows that have gone stay until groups are laid anew.
    if (data->GetGroupStr().IsEmpty()) {
      EXPECT_LE(rows, data->GetRowCountNF());
    }
    EXPECT_GE(wrapper->GetRowPosition(), -1);
    EXPECT_LT(wrapper->GetRowPosition(), std::max(rows, 1));
    EXPECT_EQ(data->GetColID(data->GetColCount()), u"");
    for (kt_long row = -1; row <= rows; ++row) {
      for (kt_long col = -1; col <= data->GetColCount(); ++col) {
        Kt_Variant value;
        const bool is_there = wrapper->GetColumn(row, col, value) != 0;
        if (row < 0 || row == rows || col < 0 || col == data->GetColCount()) {
          EXPECT_FALSE(is_there);
        }
      }
    }
  }
}

// Calls one method as the evaluator does.
class Caller {
 public:
  Caller(const _EXPR_OBJMETHOD_INFO& row, World world) : row_(row), world_(world) { StartAnew(); }

  int ValueCount() const { return static_cast<int>(values_.size()); }
  const Kt_Variant& Value(int value) const { return values_[static_cast<std::size_t>(value)]; }

  void Call(const Kt_VariantList& args) {
    const kt_long certain = CertainCode(row_, *stage_, args.GetCount());
    Kt_Variant result(kUntouched);
    Kt_Object& object = *stage_->wrapper;
    const kt_long code = (object.*row_.method)(&args, result);
    if (certain != kOk) {
      EXPECT_EQ(code, certain);
      EXPECT_EQ(result.ToInteger(), kUntouched);
    }
    EXPECT_TRUE(IsAllowed(code)) << code;
    ExpectResult(Text(row_.name), *stage_, args.GetCount(), result);
  }

  // The same stage serves several calls, until it has grown.
  void RenewWhenLarge() {
    if (stage_->other->GetRowCount() > 40 || stage_->other->GetColCount() > 20) return StartAnew();
    const Kt_Dataset* const data = stage_->data.get();
    if (data != nullptr && (data->GetRowCountNF() > 40 || data->GetColCount() > 20)) StartAnew();
  }
  void StartAnew() {
    stage_ = std::make_unique<Stage>(world_);
    values_ = ValuesFor(*stage_);
  }
  void ExpectSoundStage() { ExpectSound(*stage_); }

 private:
  const _EXPR_OBJMETHOD_INFO& row_;
  World world_;
  std::unique_ptr<Stage> stage_;
  std::vector<Kt_Variant> values_;
};

// No list, then 0 to 6 equal arguments of every kind, then mixed ones.
void CallWithEverything(const _EXPR_OBJMETHOD_INFO& row, World world, std::mt19937& random) {
  Caller caller(row, world);
  for (int value = 0; value < caller.ValueCount(); ++value) {
    Kt_VariantList args;
    for (int count = 0; count <= 6; ++count) {
      caller.Call(args);
      caller.RenewWhenLarge();
      (void)args.Add(caller.Value(value));
    }
  }
  caller.ExpectSoundStage();
  caller.StartAnew();
  for (int round = 0; round < 100; ++round) {
    Kt_VariantList args;
    for (int count = static_cast<int>(random() % 7); count > 0; --count) {
      (void)args.Add(caller.Value(static_cast<int>(random() % 24) % caller.ValueCount()));
    }
    caller.Call(args);
    caller.RenewWhenLarge();
    if (round % 25 == 24) caller.StartAnew();
  }
  caller.ExpectSoundStage();
}

class MethodGrid : public testing::TestWithParam<World> {};

TEST_P(MethodGrid, EveryMethodWithEveryKindOfArgument) {
  std::mt19937 random(20240229);
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    SCOPED_TRACE(Text(rows[row].name));
    CallWithEverything(rows[row], GetParam(), random);
  }
}

INSTANTIATE_TEST_SUITE_P(Worlds, MethodGrid, testing::ValuesIn(kWorlds), [](const auto& info) {
  std::string name = kWorldNames[static_cast<int>(info.param)];
  std::erase(name, ' ');
  return name;
});

// A null list is a list without arguments.
TEST(MethodGrid, WithoutAnArgumentList) {
  for (const World world : kWorlds) {
    const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
    for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
      SCOPED_TRACE(Text(rows[row].name) + " " + kWorldNames[static_cast<int>(world)]);
      Stage stage(world);
      Kt_Variant result(kUntouched);
      Kt_Object& object = *stage.wrapper;
      const kt_long certain = CertainCode(rows[row], stage, 0);
      const kt_long code = (object.*rows[row].method)(nullptr, result);
      EXPECT_TRUE(certain == kOk ? IsAllowed(code) : code == certain) << code;
      ExpectSound(stage);
    }
  }
}

// One method after another in random order on one dataset, which is released at some time.
TEST(MethodGrid, RandomCallsInARow) {
  std::mt19937 random(4);
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int round = 0; round < 300; ++round) {
    Stage stage(kWorlds[random() % std::size(kWorlds)]);
    const std::vector<Kt_Variant> values = ValuesFor(stage);
    for (int call = 0; call < 60; ++call) {
      if (call == 50) stage.data.reset();
      if (stage.data != nullptr && stage.data->GetRowCountNF() > 200) break;
      if (stage.other->GetRowCountNF() > 200) break;
      const auto& row =
          rows[random() % static_cast<unsigned>(Kt_ExprDataset::GetDSetMethodCount())];
      Kt_VariantList args;
      for (int count = static_cast<int>(random() % 5); count > 0; --count) {
        (void)args.Add(values[random() % values.size()]);
      }
      SCOPED_TRACE(std::to_string(round) + "/" + std::to_string(call) + " " + Text(row.name));
      const kt_long certain = CertainCode(row, stage, args.GetCount());
      Kt_Variant result;
      Kt_Object& object = *stage.wrapper;
      const kt_long code = (object.*row.method)(&args, result);
      EXPECT_TRUE(certain == kOk ? IsAllowed(code) : code == certain) << code;
      ExpectSound(stage);
      if (testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace
