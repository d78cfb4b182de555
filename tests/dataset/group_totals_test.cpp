// SPDX-License-Identifier: MIT
//
// Totals of groups over parts of rows: exact sums, parts cut anywhere, and their state as bytes.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <random>

#include "classlib/base/Kt_Helper.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/base/Kt_WorkThreads.h"
#include "dataset/Kt_GroupTotals.h"
#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers
using kt::detail::Helper;
using kt::kernels::ExactSum;

TEST(ExactSum, IsRoundedOnce) {
  constexpr double kMax = std::numeric_limits<double>::max();
  constexpr double kMin = std::numeric_limits<double>::denorm_min();
  constexpr double kInf = std::numeric_limits<double>::infinity();
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const double half = std::ldexp(1, -53);  // of the last digit of 1
  const struct {
    std::vector<double> values;
    double sum;
  } kRows[] = {
      {{}, 0},
      {{-0.0}, 0},
      {{0.1, 0.2, 0.3, -0.6}, 2.7755575615628914e-17},
      {{1, 1e100, 1, -1e100}, 2},
      {{kMax, kMax, -kMax}, kMax},
      {{kMax, kMax}, kInf},
      {{-kMax, -kMax}, -kInf},
      {{kMax, std::ldexp(1, 969)}, kMax},
      {{kMax, std::ldexp(1, 970)}, kInf},
      {{kMin, kMin, -3 * kMin}, -kMin},
      {{1, half}, 1},
      {{1, half, kMin}, std::nextafter(1, 2)},
      {{1, half, -kMin}, 1},
      {{std::nextafter(1, 2), half}, std::nextafter(std::nextafter(1, 2), 2)},
      {{-1, -half, -kMin}, std::nextafter(-1, -2)},
      {{kInf, 1, kInf}, kInf},
      {{kInf, -kInf, 1}, kNaN},
      {{1, kNaN, kInf}, kNaN},
  };
  for (const auto& row : kRows) {
    for (std::size_t cut = 0; cut <= row.values.size(); ++cut) {
      ExactSum first;
      ExactSum second;
      for (std::size_t at = 0; at < cut; ++at) first.AddOne(row.values[at]);
      for (std::size_t at = cut; at < row.values.size(); ++at) second.AddOne(row.values[at]);
      first.Merge(ExactSum::FromDigits(second.Digits(), second.Others()));
      const double sum = first.Total();
      EXPECT_TRUE(sum == row.sum || (std::isnan(sum) && std::isnan(row.sum)))
          << sum << " for " << row.sum << " of " << testing::PrintToString(row.values);
      EXPECT_EQ(std::signbit(sum), !std::isnan(sum) && std::signbit(row.sum));
    }
  }
}

// Numbers in the window, beside it and none, in the sum of a group and one after the other.
TEST(WindowSum, AddsWhatExactSumsAdd) {
  using kt::kernels::SumWindow;
  using kt::kernels::WindowSum;
  std::mt19937_64 random(93);
  const double likes[] = {1, 0.01, 1e300, 1e-300, 5e-324, std::numeric_limits<double>::max(), 0};
  for (int round = 0; round < 400; ++round) {
    const double like = likes[random() % std::size(likes)];
    const SumWindow window(like);
    WindowSum sum;
    ExactSum in_window;
    ExactSum all;
    int outside = 0;
    for (int at = 0; at < 200; ++at) {
      const int places = static_cast<int>(random() % (round % 2 == 0 ? 20 : 90)) - 45;
      double value = std::ldexp(1 + static_cast<double>(random() >> 12) * 0x1p-52, places);
      value = random() % 10 == 0 ? 0 : std::copysign(value, random() % 2 == 0 ? 1 : -1);
      value *= like == 0 ? 1 : like;
      const bool is_taken = sum.AddOne(value, window);
      const double times = std::fabs(value / like);
      EXPECT_TRUE(is_taken || !(times > 0x1p-32 && times < 1000) || std::fabs(value) < 1e-307 ||
                  std::isinf(value))
          << value << " beside " << like;
      outside += is_taken ? 0 : 1;
      if (!is_taken) in_window.AddOne(value);
      all.AddOne(value);
    }
    sum.AddTo(in_window, window);
    const double total = all.Total();
    ASSERT_TRUE(in_window.Total() == total || (std::isnan(total) && std::isnan(in_window.Total())))
        << "round " << round << ", " << outside << " outside";
    ASSERT_EQ(in_window.Digits(), all.Digits());
  }
  for (const double none : {HUGE_VAL, -HUGE_VAL, std::nan(""), 0.0, -0.0}) {
    EXPECT_FALSE(WindowSum().AddOne(none, SumWindow(1)));
  }
}

// ---- Groups -----------------------------------------------------------------------------------

using Rows = std::vector<std::vector<Kt_Variant>>;  // k, n, x, q, t

constexpr const char16_t* kIds[] = {u"k", u"n", u"x", u"q", u"t"};

Rows RandomRows(std::mt19937& random) {
  const auto one_of = [&random](std::initializer_list<Kt_Variant> values) {
    return values.begin()[random() % values.size()];
  };
  Rows rows(random() % 400);
  for (auto& row : rows) {
    const double number =
        std::ldexp(static_cast<double>(random()) - 2e9, static_cast<int>(random() % 120) - 60);
    row = {one_of({u"a", u"b", u"", {}, kt_long{7}, 7.0}),
           one_of({kt_long{1}, 1.0, kt_long{2}, {}, Kt_Currency::FromUnits(10000)}),
           one_of({number, number, number, {}, std::nan("")}),
           one_of({kt_long{2147483647}, kt_long{-5}, {}, Kt_Currency::FromUnits(333)}),
           one_of({u"x", u"y", {}, Kt_DateTime{45296.5}, kt_long{3}, 3.0})};
  }
  return rows;
}

std::unique_ptr<Kt_Dataset> PartOf(const Rows& rows, std::size_t first, std::size_t end) {
  auto dataset = std::make_unique<Kt_Dataset>(u"d");
  for (std::size_t col = 0; col < std::size(kIds); ++col) {
    dataset->AddColumn(kIds[col], u"variant");
  }
  dataset->AppendRow(static_cast<kt_long>(end - first));
  for (std::size_t row = first; row < end; ++row) {
    for (std::size_t col = 0; col < std::size(kIds); ++col) {
      dataset->SetColumn(static_cast<kt_long>(row - first), static_cast<kt_long>(col),
                         rows[row][col]);
    }
  }
  return dataset;
}

Kt_GroupTotals NewTotals() {
  return {{{u"k", u"k"}, {u"n", u"n"}},
          {{u"sx", Kt_Aggregate::kSum, u"x"},
           {u"ax", Kt_Aggregate::kAvg, u"x + 0"},
           {u"mx", Kt_Aggregate::kMax, u"x"},
           {u"sq", Kt_Aggregate::kSum, u"q"},
           {u"ct", Kt_Aggregate::kCount, u"t"},
           {u"lt", Kt_Aggregate::kMin, u"t"}},
          u"q != -5"};
}

// The totals of rows that are cut into parts, each of which goes through its state.
std::string TotalsOf(const Rows& rows, std::vector<std::size_t> cuts) {
  TestHost host;
  Kt_GroupTotals all = NewTotals();
  cuts.push_back(rows.size());
  std::size_t first = 0;
  for (const std::size_t end : cuts) {
    const auto part = PartOf(rows, first, end);
    Kt_ExprDataset wrapper(part.get(), &host);
    Kt_GroupTotals made = NewTotals();
    EXPECT_EQ(made.Add(wrapper), kOk);
    Kt_Buffer bytes;
    EXPECT_GE(made.Save(bytes), 0);
    Kt_GroupTotals loaded = NewTotals();
    EXPECT_TRUE(loaded.Load({bytes.GetData(), bytes.GetSize()}));
    EXPECT_TRUE(all.Merge(loaded));
    first = end;
  }
  Kt_Dataset answer(u"answer");
  EXPECT_GE(all.Finish(answer), 0);
  return ShowTable(answer);
}

TEST(GroupTotals, DoNotDependOnTheCuts) {
  std::mt19937 random(4711);
  for (int round = 0; round < 60; ++round) {
    const Rows rows = RandomRows(random);
    const std::string whole = TotalsOf(rows, {});
    for (int cutting = 0; cutting < 4; ++cutting) {
      std::vector<std::size_t> cuts;
      for (int cut = 0; cut < cutting * 3 + 1; ++cut) cuts.push_back(random() % (rows.size() + 1));
      std::ranges::sort(cuts);
      EXPECT_EQ(TotalsOf(rows, cuts), whole) << "round " << round;
    }
  }
}

// Every aggregate but sums of doubles is that of cells, in every group.
TEST(GroupTotals, AgreeWithTheFoldOfCells) {
  std::mt19937 random(815);
  TestHost host;
  for (int round = 0; round < 60; ++round) {
    const Rows rows = RandomRows(random);
    const auto part = PartOf(rows, 0, rows.size());
    Kt_ExprDataset wrapper(part.get(), &host);
    Kt_GroupTotals totals = NewTotals();
    ASSERT_EQ(totals.Add(wrapper), kOk);
    Kt_Dataset answer(u"answer");
    ASSERT_GE(totals.Finish(answer), 0);
    std::size_t rows_found = 0;
    for (kt_long group = 0; group < answer.GetRowCount(); ++group) {
      Kt_CellFold sum_x(Kt_Aggregate::kSum);
      Kt_CellFold sum_q(Kt_Aggregate::kSum);
      Kt_CellFold max_x(Kt_Aggregate::kMax);
      Kt_CellFold min_t(Kt_Aggregate::kMin);
      Kt_CellFold count_t(Kt_Aggregate::kCount);
      double size = 0;
      for (const auto& row : rows) {
        if (Var_Order(row[0], answer.ReadColumn(group, 0)) != 0 ||
            Var_Order(row[1], answer.ReadColumn(group, 1)) != 0 ||
            Var_Order(row[3], Kt_Variant(kt_long{-5})) == 0) {
          continue;
        }
        ++rows_found;
        sum_x.Step(row[2]);
        max_x.Step(row[2]);
        sum_q.Step(row[3]);
        count_t.Step(row[4]);
        min_t.Step(row[4]);
        if (!row[2].IsEmpty()) size += std::fabs(row[2].ToDouble());
      }
      const auto is_near = [&](const Kt_Variant& a, const Kt_Variant& b) {
        return (std::isnan(a.ToDouble()) && std::isnan(b.ToDouble())) ||
               std::fabs(a.ToDouble() - b.ToDouble()) <= size * 1e-12;
      };
      EXPECT_TRUE(is_near(answer.ReadColumn(group, 2), sum_x.Finish()));
      EXPECT_EQ(Var_Order(answer.ReadColumn(group, 4), max_x.Finish()), 0);
      EXPECT_EQ(answer.ReadColumn(group, 5).ToDouble(), sum_q.Finish().ToDouble());
      EXPECT_EQ(answer.ReadColumn(group, 6).ToInteger(), count_t.Finish().ToInteger());
      EXPECT_EQ(Var_Order(answer.ReadColumn(group, 7), min_t.Finish()), 0);
    }
    const auto is_wanted = [](const auto& row) {
      return Var_Order(row[3], Kt_Variant(kt_long{-5})) != 0;
    };
    EXPECT_EQ(rows_found, static_cast<std::size_t>(std::ranges::count_if(rows, is_wanted)));
  }
}

// Cells of columns of a type are read where they lie; those of columns of values one by one.
TEST(GroupTotals, ReadColumnsOfEveryType) {
  const char16_t* const types[] = {u"string", u"long", u"double", u"currency", u"date"};
  for (unsigned seed = 0; seed < 40; ++seed) {
    std::mt19937 random(seed);
    TestHost host;
    Kt_Dataset typed(u"d");
    Kt_Dataset values(u"d");
    const auto both = [&](auto change) {
      change(typed);
      change(values);
    };
    for (std::size_t col = 0; col < std::size(kIds); ++col) {
      typed.AddColumn(kIds[col], types[col]);
      values.AddColumn(kIds[col], u"variant");
    }
    const kt_long texts = seed % 2 == 0 ? 5 : 3000;  // few pairs, and more than have a table
    const kt_long rows = static_cast<kt_long>(random() % (seed % 4 == 0 ? 5000 : 50));
    if (rows > 0) both([&](Kt_Dataset& data) { data.AppendRow(rows); });
    for (kt_long row = 0; row < rows; ++row) {
      const auto below = [&](kt_long count) { return static_cast<kt_long>(random() % count); };
      const Kt_Variant cells[] = {Kt_Variant(below(texts)).ToString(), below(texts) - 2,
                                  below(1000) / 7.0 - 50, Kt_Currency::FromUnits(below(100000)),
                                  Kt_DateTime{45000.0 + below(9)}};
      for (kt_long col = 0; col < 5; ++col) {
        const Kt_Variant cell = below(9) == 0 ? Kt_Variant() : cells[col];
        both([&](Kt_Dataset& data) { data.SetColumn(row, col, cell); });
      }
    }
    for (kt_long row = rows - 1; row >= 0 && seed % 3 == 0; row -= 4) {
      both([&](Kt_Dataset& data) { data.Filter(row); });
    }
    if (seed % 5 == 0) both([](Kt_Dataset& data) { data.Sort(u"x"); });
    if (seed % 7 == 0) {
      both([](Kt_Dataset& data) {
        data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
        data.Sort(u"k", true, false, true);
        data.RecalcGroup();
      });
    }
    const auto totals_of = [&](Kt_Dataset& data) {
      Kt_ExprDataset wrapper(&data, &host);
      Kt_GroupTotals totals = NewTotals();
      EXPECT_EQ(totals.Add(wrapper), kOk);
      Kt_Dataset answer(u"answer");
      EXPECT_GE(totals.Finish(answer), 0);
      return ShowTable(answer);
    };
    EXPECT_EQ(totals_of(typed), totals_of(values)) << "seed " << seed;
  }
}

// ---- Two threads ------------------------------------------------------------------------------

// What the second thread is to do is done by it, however busy the machine is.
class SharedTotals : public testing::Test {
 protected:
  SharedTotals() { Helper::SetTakesBack(false); }
  ~SharedTotals() override { Helper::SetTakesBack(true); }
};

// Keys of every type: few values or many, equal ones that read differently, nulls.
std::unique_ptr<Kt_Dataset> ManyRows(std::mt19937& random, kt_long rows) {
  auto data = std::make_unique<Kt_Dataset>(u"d");
  const char16_t* const types[] = {u"string", u"long", u"double", u"currency", u"date"};
  for (std::size_t col = 0; col < std::size(types); ++col) data->AddColumn(kIds[col], types[col]);
  data->AppendRow(rows);
  const auto below = [&](kt_long count) {
    return static_cast<kt_long>(random() % static_cast<std::uint32_t>(count));
  };
  const kt_long texts = 1 + below(random() % 3 == 0 ? rows : 40);
  const kt_long longs = 1 + below(random() % 3 == 0 ? rows : 9);
  const kt_long doubles = random() % 2 == 0 ? 1000 : 20;
  const int places = random() % 3 == 0 ? 90 : 4;
  const double odd[] = {0.0, -0.0, std::nan(""), HUGE_VAL};
  for (kt_long row = 0; row < rows; ++row) {
    double number =
        std::ldexp(below(doubles) - doubles / 2, static_cast<int>(below(places)) - places / 2);
    if (below(4) == 0) number = odd[below(row * 4 < rows * 3 ? 2 : 4)];
    const Kt_Variant cells[] = {Kt_Variant(below(texts)).ToString(), below(longs) - 2, number,
                                Kt_Currency::FromUnits(below(1000)),
                                Kt_DateTime{45000.0 + below(9)}};
    for (kt_long col = 0; col < 5; ++col) {
      if (below(15) != 0) data->SetColumn(row, col, cells[col]);
    }
  }
  data->ApplyChange();
  return data;
}

// The answer, the state, and how much work was left of a budget.
std::string TotalsOn(int threads, Kt_Dataset& data, Kt_GroupTotals totals) {
  TestHost host;
  Kt_ExprDataset wrapper(&data, &host);
  const Kt_WorkThreads allowed(threads, 1);
  Kt_RunBudget budget;
  budget.limit_steps = 1000000000;
  Kt_WorkMeter meter;
  meter.Start(&budget);
  EXPECT_EQ(totals.Add(wrapper), kOk);
  (void)meter.LookNow();
  std::string out = "left " + std::to_string(meter.GetLeft()) + '\n';
  meter.Finish();
  Kt_Buffer state;
  EXPECT_GE(totals.Save(state), 0);
  Kt_Dataset answer(u"answer");
  EXPECT_GE(totals.Finish(answer), 0);
  return out + ShowTable(answer) + std::string(state.View());
}

TEST_F(SharedTotals, AreThoseOfOneThread) {
  constexpr Kt_Aggregate kWhat[] = {Kt_Aggregate::kSum, Kt_Aggregate::kAvg, Kt_Aggregate::kMax,
                                    Kt_Aggregate::kMin, Kt_Aggregate::kCount};
  const std::int64_t before = Helper::GetPiecesBegun();
  std::mt19937 random(4812);
  for (int round = 0; round < 20 && !HasFailure(); ++round) {
    const auto data = ManyRows(random, 3000 + static_cast<kt_long>(random() % 9000));
    const kt_long rows = data->GetRowCount();
    if (round % 4 == 1) data->Sort(u"x,q:d");
    for (kt_long row = rows - 1; row >= 0 && round % 4 == 2; row -= 3) data->Filter(row);
    if (round % 8 == 7) {
      data->Sort(u"k", true, false, true);
      data->RecalcGroup();
      (void)data->GetRowCount();  // lays the subtotals
    }
    const auto any_column = [&] { return kIds[random() % std::size(kIds)]; };
    std::vector<Kt_GroupTotals::Key> keys;
    for (std::size_t key = random() % 4; key > 0; --key)
      keys.push_back({any_column(), any_column()});
    if (random() % 6 == 0) keys.push_back({u"e", u"q + 0"});
    std::vector<Kt_GroupTotals::Total> totals;
    for (const Kt_Aggregate what : kWhat) totals.push_back({u"t", what, any_column()});
    totals.push_back({u"u", kWhat[random() % 5], u"x * 2"});
    const char16_t* const filters[] = {u"", u"", u"n", u"q > 3", u"q"};
    const Kt_GroupTotals made(keys, totals, filters[random() % std::size(filters)]);
    const std::string one = TotalsOn(1, *data, made);
    const std::string two = TotalsOn(2, *data, made);
    const auto differ = std::ranges::mismatch(one, two);
    const auto at = static_cast<std::size_t>(differ.in1 - one.begin());
    EXPECT_TRUE(one == two) << "round " << round << "\none ..." << one.substr(at, 100)
                            << "\ntwo ..." << two.substr(at, 100);
  }
  EXPECT_GT(Helper::GetPiecesBegun() - before, 40);
}

// Of a run that was stopped nothing is added; what is left of the budget does not matter then.
TEST_F(SharedTotals, StopAsThoseOfOneThread) {
  TestHost host;
  std::mt19937 random(4);
  const auto data = ManyRows(random, 20000);
  Kt_ExprDataset wrapper(data.get(), &host);
  const Kt_WorkThreads allowed(2, 1);
  int stopped = 0;
  for (std::int64_t steps = 1; steps < 400000; steps = steps * 3 / 2 + 1) {
    Kt_GroupTotals totals({{u"k", u"k"}, {u"n", u"n"}},
                          {{u"sx", Kt_Aggregate::kSum, u"x"}, {u"mq", Kt_Aggregate::kMax, u"q"}},
                          u"");
    kt_long codes[2];
    for (int threads = 1; threads <= 2; ++threads) {
      const Kt_WorkThreads these(threads, 1);
      Kt_RunBudget budget;
      budget.limit_steps = steps;
      const Kt_BoundedWork bounds(budget);
      codes[threads - 1] = totals.Add(wrapper);
      EXPECT_TRUE(codes[threads - 1] == kOk || codes[threads - 1] == kErrStepBudget);
    }
    EXPECT_EQ(codes[0], codes[1]) << steps;
    stopped += codes[0] == kOk ? 0 : 1;
    EXPECT_EQ(totals.GroupCount() > 0, codes[0] == kOk);
  }
  EXPECT_GT(stopped, 10);
  std::atomic<bool> cancel = true;
  Kt_RunBudget budget;
  budget.cancel = &cancel;
  const Kt_BoundedWork bounds(budget);
  Kt_GroupTotals totals({{u"k", u"k"}}, {{u"sx", Kt_Aggregate::kSum, u"x"}}, u"");
  EXPECT_NE(totals.Add(wrapper), kOk);
  EXPECT_EQ(totals.GroupCount(), 0U);
}

TEST_F(SharedTotals, KeepToTheBoundOfMemory) {
  TestHost host;
  std::mt19937 random(6);
  const auto data = ManyRows(random, 40000);
  Kt_ExprDataset wrapper(data.get(), &host);
  const Kt_WorkThreads allowed(2, 1);
  int refused = 0;
  int done = 0;
  for (std::int64_t limit = 1 << 14; limit <= 1 << 26; limit *= 2) {
    Kt_GroupTotals totals({{u"n", u"n"}, {u"t", u"t"}}, {{u"sx", Kt_Aggregate::kSum, u"x"}}, u"q");
    const Kt_CountedMemory bound(limit);
    try {
      EXPECT_EQ(totals.Add(wrapper), kOk);
      ++done;
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(totals.GroupCount(), 0U);
      ++refused;
    }
    EXPECT_LE(bound.GetUsedBytes(), limit);
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(done, 0);
}

TEST(GroupTotals, StatesThatAreNone) {
  TestHost host;
  auto rows = MakeDataset(u"d", u"k:string,n:long,x:double,q:long,t:string\na,1,2.5,3,x\n");
  Kt_ExprDataset wrapper(rows.get(), &host);
  Kt_GroupTotals totals = NewTotals();
  ASSERT_EQ(totals.Add(wrapper), kOk);
  Kt_Buffer bytes;
  ASSERT_GE(totals.Save(bytes), 0);
  for (std::size_t size = 0; size < bytes.GetSize(); ++size) {
    Kt_GroupTotals none = NewTotals();
    EXPECT_FALSE(none.Load({bytes.GetData(), size}));
    EXPECT_EQ(none.GroupCount(), 0U);
  }
  // Bytes that are others: no state, or one that can be merged and finished.
  std::mt19937 random(99);
  for (int round = 0; round < 3000; ++round) {
    std::vector<std::uint8_t> changed(bytes.GetData(), bytes.GetData() + bytes.GetSize());
    for (int change = 0; change < 2; ++change) {
      changed[random() % changed.size()] = static_cast<std::uint8_t>(random());
    }
    Kt_GroupTotals loaded = NewTotals();
    if (!loaded.Load(changed)) continue;
    EXPECT_TRUE(loaded.Merge(totals));
    Kt_Dataset answer;
    EXPECT_GE(loaded.Finish(answer), 1);
  }
  Kt_GroupTotals other({{u"k", u"k"}}, {{u"sx", Kt_Aggregate::kSum, u"x"}}, u"");
  EXPECT_FALSE(other.Load({bytes.GetData(), bytes.GetSize()}));
  EXPECT_FALSE(other.Merge(totals));
  Kt_ExprDataset gone(nullptr, &host);
  EXPECT_EQ(other.Add(gone), kFailed);
  EXPECT_EQ(other.GroupCount(), 0U);
}

}  // namespace
