// SPDX-License-Identifier: MIT
// The dataset store against plain C++ over the same bytes. Names that end in _Plain are the
// baselines; the argument is the number of rows or edits. Edits must cost the same each, however
// many there are.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "classlib/base/Kt_WorkThreads.h"
#include "classlib/store/Kt_Dataset.h"

namespace {

std::vector<double> Numbers(std::size_t count) {
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> any(-1000, 1000);
  std::vector<double> numbers(count);
  for (double& number : numbers) number = any(random);
  return numbers;
}

// Two columns, "d" double and "n" long, rows in the order of their slots.
std::unique_ptr<Kt_Dataset> Table(kt_long rows) {
  auto data = std::make_unique<Kt_Dataset>();
  const kt_long d = data->AddColumn(u"d", u"double");
  const kt_long n = data->AddColumn(u"n", u"long");
  data->AppendRow(rows);
  const std::vector<double> numbers = Numbers(static_cast<std::size_t>(rows));
  for (kt_long row = 0; row < rows; ++row) {
    data->SetColumn(row, d, numbers[static_cast<std::size_t>(row)]);
    data->SetColumn(row, n, row % 1000);
  }
  data->ApplyChange();
  return data;
}

kt_long Rows(const benchmark::State& state) { return static_cast<kt_long>(state.range(0)); }

void Finish(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * Rows(state)); }

// ---- Aggregates -------------------------------------------------------------------------------

using Aggregate = kt_long (Kt_Dataset::*)(kt_long, kt_long, kt_long, Kt_Variant&, kt_long) const;

void Run(benchmark::State& state, const Kt_Dataset& data, Aggregate aggregate, kt_long col,
         double wanted) {
  Kt_Variant result;
  for ([[maybe_unused]] auto round : state) {
    (data.*aggregate)(col, 0, Rows(state), result, -1);
    benchmark::DoNotOptimize(result);
  }
  if (std::fabs(result.ToDouble() - wanted) > 1e-6) state.SkipWithError("wrong result");
  Finish(state);
}

void BM_SumDouble(benchmark::State& state) {
  const std::vector<double> numbers = Numbers(static_cast<std::size_t>(Rows(state)));
  Run(state, *Table(Rows(state)), &Kt_Dataset::GetSum, 0,
      std::accumulate(numbers.begin(), numbers.end(), 0.0));
}
void BM_SumDouble_Plain(benchmark::State& state) {
  const std::vector<double> numbers = Numbers(static_cast<std::size_t>(Rows(state)));
  for ([[maybe_unused]] auto round : state) {
    double sum = 0;
    for (const double number : numbers) sum += number;
    benchmark::DoNotOptimize(sum);
  }
  Finish(state);
}
void BM_MaxDouble(benchmark::State& state) {
  const std::vector<double> numbers = Numbers(static_cast<std::size_t>(Rows(state)));
  Run(state, *Table(Rows(state)), &Kt_Dataset::GetMax, 0,
      *std::max_element(numbers.begin(), numbers.end()));
}
void BM_MaxDouble_Plain(benchmark::State& state) {
  const std::vector<double> numbers = Numbers(static_cast<std::size_t>(Rows(state)));
  for ([[maybe_unused]] auto round : state) {
    double best = numbers[0];
    for (const double number : numbers) best = number > best ? number : best;
    benchmark::DoNotOptimize(best);
  }
  Finish(state);
}
void BM_AvgLong(benchmark::State& state) {
  Run(state, *Table(Rows(state)), &Kt_Dataset::GetAvg, 1, 499.5);
}
void BM_AvgLong_Plain(benchmark::State& state) {
  std::vector<kt_long> numbers(static_cast<std::size_t>(Rows(state)));
  for (std::size_t row = 0; row < numbers.size(); ++row) {
    numbers[row] = static_cast<kt_long>(row % 1000);
  }
  for ([[maybe_unused]] auto round : state) {
    std::int64_t sum = 0;
    for (const kt_long number : numbers) sum += number;
    benchmark::DoNotOptimize(static_cast<double>(sum) / static_cast<double>(numbers.size()));
  }
  Finish(state);
}
// Every other row hidden.
void BM_SumFiltered(benchmark::State& state) {
  const auto data = Table(Rows(state));
  for (kt_long row = Rows(state) - 1; row >= 0; row -= 2) data->Filter(row);
  Kt_Variant result;
  for ([[maybe_unused]] auto round : state) data->GetSum(0, 0, Rows(state), result);
  Finish(state);
}

BENCHMARK(BM_SumDouble)->Arg(1000000)->Arg(10000000);
BENCHMARK(BM_SumDouble_Plain)->Arg(1000000)->Arg(10000000);
BENCHMARK(BM_MaxDouble)->Arg(1000000)->Arg(10000000);
BENCHMARK(BM_MaxDouble_Plain)->Arg(1000000)->Arg(10000000);
BENCHMARK(BM_AvgLong)->Arg(1000000)->Arg(10000000);
BENCHMARK(BM_AvgLong_Plain)->Arg(1000000)->Arg(10000000);
// Hides every other row, one by one, as a filter expression does.
void BM_Filter(benchmark::State& state) {
  const auto data = Table(Rows(state));
  for ([[maybe_unused]] auto round : state) {
    data->ResetRecIndex();
    for (kt_long row = Rows(state) - 1; row >= 0; row -= 2) data->Filter(row);
  }
  if (data->GetRowCount() != Rows(state) / 2) state.SkipWithError("wrong count");
  Finish(state);
}
// The same at once.
void BM_FilterRows(benchmark::State& state) {
  const auto data = Table(Rows(state));
  std::vector<std::uint8_t> hidden(static_cast<std::size_t>(Rows(state)));
  for (std::size_t row = 1; row < hidden.size(); row += 2) hidden[row] = 1;
  for ([[maybe_unused]] auto round : state) {
    data->ResetRecIndex();
    data->FilterRows(hidden);
  }
  if (data->GetRowCount() != Rows(state) / 2) state.SkipWithError("wrong count");
  Finish(state);
}
BENCHMARK(BM_SumFiltered)->Arg(1000000);
BENCHMARK(BM_Filter)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FilterRows)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);

// ---- Logical datasets and pivots --------------------------------------------------------------

void BM_SumThroughSource(benchmark::State& state) {
  const auto data = Table(Rows(state));
  Kt_Dataset logical;
  logical.SetSource(data.get());
  Kt_Variant result;
  for ([[maybe_unused]] auto round : state) logical.GetSum(0, 0, Rows(state), result);
  Finish(state);
}
void BM_RecalcPivot(benchmark::State& state) {
  const auto data = Table(Rows(state));
  data->AddColumn(u"k", u"long");
  for (kt_long row = 0; row < Rows(state); ++row) data->SetColumn(row, 2, row * 7 % 31);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 1);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 2);
  data->ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 0);
  for ([[maybe_unused]] auto round : state) data->RecalcPivot();
  if (data->GetRowCount() != 1000) state.SkipWithError("wrong rows");
  Finish(state);
}
BENCHMARK(BM_SumThroughSource)->Arg(1000000);
BENCHMARK(BM_RecalcPivot)->Arg(1000000)->Unit(benchmark::kMillisecond);

// ---- Groups -----------------------------------------------------------------------------------

// 5,000 texts by 4, as the codes of a plain loop and as columns.
struct Sales {
  explicit Sales(kt_long rows) {
    for (const char16_t* const id : {u"product", u"region"}) data.AddColumn(id);
    data.AddColumn(u"price", u"double");
    data.AddColumn(u"disc", u"double");
    data.AddColumn(u"qty", u"long");
    data.AppendRow(rows);
    std::mt19937 random(7);
    for (kt_long row = 0; row < rows; ++row) {
      product.push_back(random() % 5000);
      region.push_back(random() % 4);
      price.push_back((random() % 100000) / 100.0);
      disc.push_back((random() % 100) / 128.0);
      data.SetColumn(row, 0, u"product " + Kt_Variant(kt_long(product.back())).ToString());
      data.SetColumn(row, 1, u"region " + Kt_Variant(kt_long(region.back())).ToString());
      data.SetColumn(row, 2, price.back());
      data.SetColumn(row, 3, disc.back());
      data.SetColumn(row, 4, row);
    }
    data.ApplyChange();
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 2, true, Kt_Aggregate::kSum);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 3, true, Kt_Aggregate::kAvg);
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 4, true, Kt_Aggregate::kCount);
  }
  Kt_Dataset data;
  std::vector<std::uint32_t> product;
  std::vector<std::uint32_t> region;
  std::vector<double> price;
  std::vector<double> disc;
};

const Sales& TheSales() {
  static const Sales sales(1000000);
  return sales;
}

// Sum, average and count for each of 20,000 groups, and for each of 5,000 of those.
void BM_GroupTwoTexts(benchmark::State& state) {
  const Sales& sales = TheSales();
  for ([[maybe_unused]] auto round : state) {
    Kt_Dataset data(sales.data);
    data.Sort(u"product,region", true, false, true);
    data.RecalcGroup();
    if (data.GetRowCount() != Rows(state) + 25000) state.SkipWithError("wrong groups");
  }
  Finish(state);
}
// A cross table of the same: the products by the regions.
void BM_PivotTwoTexts(benchmark::State& state) {
  Kt_Dataset data(TheSales().data);
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotRow, 0);
  data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotColumn, 1);
  for ([[maybe_unused]] auto round : state) data.RecalcPivot();
  if (data.GetRowCount() != 5000) state.SkipWithError("wrong rows");
  Finish(state);
}
void BM_GroupTwoTexts_Plain(benchmark::State& state) {
  const Sales& sales = TheSales();
  struct Group {
    double price = 0;
    double disc = 0;
    kt_long count = 0;
  };
  for ([[maybe_unused]] auto round : state) {
    std::vector<Group> groups(20000);
    for (std::size_t row = 0; row < sales.price.size(); ++row) {
      Group& group = groups[sales.product[row] * 4 + sales.region[row]];
      group.price += sales.price[row];
      group.disc += sales.disc[row];
      ++group.count;
    }
    for (Group& group : groups) group.disc /= group.count;
    benchmark::DoNotOptimize(groups.data());
  }
  Finish(state);
}
// The same with a second thread.
template <void (*step)(benchmark::State&)>
void OnTwoThreads(benchmark::State& state) {
  const Kt_WorkThreads threads(2);
  step(state);
}
#define KT_TWO(name)                                            \
  BENCHMARK(name)->Arg(1000000)->Unit(benchmark::kMillisecond); \
  BENCHMARK(OnTwoThreads<name>)->Name(#name "_Two")->Arg(1000000)->Unit(benchmark::kMillisecond)
KT_TWO(BM_GroupTwoTexts);
KT_TWO(BM_PivotTwoTexts);
#undef KT_TWO
BENCHMARK(BM_GroupTwoTexts_Plain)->Arg(1000000)->Unit(benchmark::kMillisecond);

// ---- Searches ---------------------------------------------------------------------------------

// A value that stands in one row; the first searches walk, the others have a hash.
// With a write between any two searches there is no hash to keep.
void LookUp(benchmark::State& state, bool written) {
  const auto data = Table(Rows(state));
  data->AddColumn(u"id", u"long");
  for (kt_long row = 0; row < Rows(state); ++row) data->SetColumn(row, 2, row);
  kt_long row = 0;
  for ([[maybe_unused]] auto round : state) {
    row = (row + 7919) % Rows(state);
    if (written) data->SetColumn(0, 2, -row);
    if (data->LookupDataRow(u"id", Kt_Variant(row).ToString()) != row) {
      state.SkipWithError("not found");
    }
  }
}
BENCHMARK_CAPTURE(LookUp, Unchanged, false)->Arg(1000000);
BENCHMARK_CAPTURE(LookUp, Written, true)->Arg(1000000);

// ---- Sorting ----------------------------------------------------------------------------------

void BM_SortDouble(benchmark::State& state) {
  const auto data = Table(Rows(state));
  for ([[maybe_unused]] auto round : state) {
    state.PauseTiming();
    Kt_Dataset unsorted(*data);
    state.ResumeTiming();
    if (unsorted.Sort(u"d") != 1) state.SkipWithError("not sorted");
  }
  Finish(state);
}
void BM_SortDouble_Plain(benchmark::State& state) {
  const std::vector<double> numbers = Numbers(static_cast<std::size_t>(Rows(state)));
  for ([[maybe_unused]] auto round : state) {
    std::vector<std::pair<double, std::uint32_t>> keys;
    keys.reserve(numbers.size());
    for (const double number : numbers) {
      keys.emplace_back(number, static_cast<std::uint32_t>(keys.size()));
    }
    std::stable_sort(keys.begin(), keys.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    benchmark::DoNotOptimize(keys.data());
  }
  Finish(state);
}
BENCHMARK(BM_SortDouble)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortDouble_Plain)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);

// ---- Edits ------------------------------------------------------------------------------------

template <class Edit>
void RunEdits(benchmark::State& state, kt_long rows, Edit edit) {
  const auto data = Table(rows);
  for ([[maybe_unused]] auto round : state) {
    state.PauseTiming();
    auto edited = std::make_unique<Kt_Dataset>(*data);
    edited->SetColumn(0, 0, 0.5);  // parts from the original before the clock starts
    edited->SelectRow(0);
    state.ResumeTiming();
    for (kt_long turn = 0; turn < Rows(state); ++turn) edit(*edited, turn);
    state.PauseTiming();
    edited.reset();
    state.ResumeTiming();
  }
  Finish(state);
}

void BM_DeleteFirstRow(benchmark::State& state) {
  RunEdits(state, 1000000, [](Kt_Dataset& data, kt_long) { data.DeleteRow(0); });
}
void BM_InsertFirstRow(benchmark::State& state) {
  RunEdits(state, 1000000, [](Kt_Dataset& data, kt_long) { data.InsertRow(0); });
}
void BM_AppendAndWrite(benchmark::State& state) {
  RunEdits(state, 1000,
           [](Kt_Dataset& data, kt_long turn) { data.SetColumn(data.AppendRow(), 1, turn); });
}
void BM_DeleteAll(benchmark::State& state) {
  const auto data = Table(Rows(state));
  for ([[maybe_unused]] auto round : state) {
    state.PauseTiming();
    auto edited = std::make_unique<Kt_Dataset>(*data);
    state.ResumeTiming();
    if (edited->DeleteAll() != Rows(state)) state.SkipWithError("rows left");
    state.PauseTiming();
    edited.reset();
    state.ResumeTiming();
  }
  Finish(state);
}
BENCHMARK(BM_DeleteAll)->Arg(500000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DeleteFirstRow)->Arg(50000)->Arg(100000)->Arg(200000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InsertFirstRow)->Arg(50000)->Arg(100000)->Arg(200000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AppendAndWrite)->Arg(50000)->Arg(100000)->Arg(200000)->Unit(benchmark::kMillisecond);

// Cells in random order: plain, filtered, sorted.
void ReadRandom(benchmark::State& state, const Kt_Dataset& data) {
  std::mt19937 random(3);
  const auto count = static_cast<unsigned>(data.GetRowCount());
  for ([[maybe_unused]] auto round : state) {
    benchmark::DoNotOptimize(data.ReadColumn(static_cast<kt_long>(random() % count), 0));
  }
}
void BM_ReadRandom(benchmark::State& state) { ReadRandom(state, *Table(1000000)); }
void BM_ReadRandomSorted(benchmark::State& state) {
  const auto data = Table(1000000);
  data->Sort(u"d");
  ReadRandom(state, *data);
}
void BM_ReadRandomFiltered(benchmark::State& state) {
  const auto data = Table(1000000);
  for (kt_long row = data->GetRowCount() - 1; row >= 0; row -= 2) data->Filter(row);
  ReadRandom(state, *data);
}
void BM_WriteRandom(benchmark::State& state) {
  const auto data = Table(1000000);
  std::mt19937 random(3);
  for ([[maybe_unused]] auto round : state) {
    data->SetColumn(static_cast<kt_long>(random() % 1000000), 1, static_cast<kt_long>(random()));
  }
}
BENCHMARK(BM_ReadRandom);
BENCHMARK(BM_ReadRandomSorted);
BENCHMARK(BM_ReadRandomFiltered);
BENCHMARK(BM_WriteRandom)->Iterations(500000);

// ---- CSV --------------------------------------------------------------------------------------

std::string SalesCsv(int rows) {
  std::mt19937 random(5);
  std::string text = "id,date,region,product,quantity,price,note\n";
  for (int row = 0; row < rows; ++row) {
    text += std::to_string(row) + ",2024-0" + std::to_string(random() % 9 + 1) + "-1" +
            std::to_string(random() % 10) + ",region " + std::to_string(random() % 20) +
            ",product number " + std::to_string(random() % 3000) + ',' +
            std::to_string(random() % 100) + ',' + std::to_string(random() % 1000) + '.' +
            std::to_string(random() % 90 + 10) + ",\"a note, with \"\"quotes\"\" in it\"\n";
  }
  return text;
}

void BM_LoadCsv(benchmark::State& state) {
  const std::string text = SalesCsv(static_cast<int>(state.range(0)));
  for ([[maybe_unused]] auto round : state) {
    Kt_Dataset data;
    Kt_LoadReport report;
    if (data.LoadCSVBytes(text, {}, report) != Rows(state)) state.SkipWithError("rows lost");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_LoadCsv)->Arg(1000000)->Unit(benchmark::kMillisecond);

// ---- Memory -----------------------------------------------------------------------------------

std::size_t LiveBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// The bytes that a dataset of longs and doubles takes, as a multiple of its cells' own 4 and 8.
template <class Fill>
void MeasureMemory(benchmark::State& state, Fill fill) {
  double ratio = 0;
  for ([[maybe_unused]] auto round : state) {
    const std::size_t before = LiveBytes();
    Kt_Dataset data;
    fill(data, Rows(state));
    if (data.GetRowCount() != Rows(state)) state.SkipWithError("rows lost");
    const double raw = (4.0 + 8.0) * static_cast<double>(Rows(state));
    ratio = static_cast<double>(LiveBytes() - before) / raw;
  }
  state.counters["of_raw"] = ratio;
}
void BM_MemoryLoaded(benchmark::State& state) {
  std::string text = "n,d\n";
  for (kt_long row = 0; row < Rows(state); ++row) {
    text += std::to_string(row) + ',' + std::to_string(row % 1000) + ".5\n";
  }
  MeasureMemory(state, [&](Kt_Dataset& data, kt_long) {
    Kt_LoadReport report;
    data.LoadCSVBytes(text, {}, report);
  });
}
// Row by row; the state of inserted rows is counted too.
void BM_MemoryAppended(benchmark::State& state) {
  MeasureMemory(state, [](Kt_Dataset& data, kt_long rows) {
    data.AddColumn(u"n", u"long");
    data.AddColumn(u"d", u"double");
    for (kt_long row = 0; row < rows; ++row) {
      data.AppendRow();
      data.SetColumn(row, 0, row);
      data.SetColumn(row, 1, row / 2.0);
    }
  });
}
BENCHMARK(BM_MemoryLoaded)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemoryAppended)->Arg(1000000)->Arg(1150000)->Unit(benchmark::kMillisecond);

}  // namespace
