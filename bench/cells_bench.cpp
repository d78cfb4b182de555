// SPDX-License-Identifier: MIT
// What a script pays for a cell: loops over 100,000 rows, as code and by the walk. Baseline: the
// same loop without the cell, and the same cells from C++. Times are per row.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/Kt_Script.h"

namespace {

constexpr kt_long kRows = 100000;

// Rows of cells from C++: more than the caches next to the processor hold.
constexpr kt_long kManyRows = 1000000;

// Knows one dataset by its name.
class Host : public Kt_ExprObject {
 public:
  explicit Host(kt_long rows = kRows) : Kt_ExprObject(nullptr), wrapper(&table, this) {
    (void)table.AddColumn(u"price", u"double");
    (void)table.AddColumn(u"name", u"string");
    Fill(rows);
  }
  // Rows that are normal, so that writing keeps first values.
  void Fill(kt_long rows = kRows) {
    table.ClearData();
    (void)table.AppendRow(rows);
    for (kt_long row = 0; row < rows; ++row) {
      (void)table.SetColumn(row, 0, Kt_Variant(row * 0.25));
      (void)table.SetColumn(row, 1, Kt_Variant(row % 2 != 0 ? u"odd" : u"even"));
    }
    table.ApplyChange();
  }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (!name.EqualsNoCase(u"rows")) return EXPR_OBJ_UNKNOWN;
    info.SetDataset(&wrapper);
    return EXPR_OBJ_DATASET;
  }
  std::uint64_t GetNameVersion() override { return 1; }

  Kt_Dataset table;
  Kt_ExprDataset wrapper;
};

void Fail(const char* why) {
  std::fprintf(stderr, "cells_bench: %s\n", why);
  std::exit(1);
}

void CountRows(benchmark::State& state, kt_long rows = kRows) {
  state.counters["row"] =
      benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
}

// Runs `main` of the script with the dataset and the number of rows.
template <class Before>
void Run(benchmark::State& state, const std::string& loop, Before before) {
  Host host;
  Kt_Script script(&host);
  script.SetCompiled(state.range(0) != 0);
  const std::string text =
      "function main(t, n) { var s = 0; for (var i = 0; i < n; i++) { " + loop + " } return s; }";
  if (script.Parse(u"bench", Kt_WString::FromUtf8(text), nullptr, nullptr) != 0) Fail("parse");
  for (auto _ : state) {
    state.PauseTiming();
    before(host);
    (void)host.wrapper.SetRowPosition(0);
    state.ResumeTiming();
    Kt_Variant args[] = {Kt_Variant(Kt_ObjectHolder(&host, &host.wrapper)), Kt_Variant(kRows)};
    Kt_Variant result;
    if (script.ExecFunc(u"main", 2, args, result) != 0) Fail(loop.c_str());
    benchmark::DoNotOptimize(result);
  }
  CountRows(state);
}

void Reads(benchmark::State& state, const std::string& loop) {
  Run(state, loop, [](Host&) {});
}
void Writes(benchmark::State& state, const std::string& loop) {
  Run(state, loop, [](Host& host) { host.Fill(); });
}

void ReadFromCpp(benchmark::State& state) {
  const auto rows = static_cast<kt_long>(state.range(0));
  const Host host(rows);
  for (auto _ : state) {
    double sum = 0;
    for (kt_long row = 0; row < rows; ++row) sum += host.table.ReadColumn(row, 0).ToDouble();
    benchmark::DoNotOptimize(sum);
  }
  CountRows(state, rows);
}

void ReadFromCpp_Plain(benchmark::State& state) {
  const auto rows = static_cast<kt_long>(state.range(0));
  const std::vector<double> cells(static_cast<std::size_t>(rows), 0.25);
  for (auto _ : state) {
    double sum = 0;
    for (const double cell : cells) sum += cell;
    benchmark::DoNotOptimize(sum);
  }
  CountRows(state, rows);
}

// The first write of a cell, whose value it had is kept, and after it a later one.
void WriteFromCpp(benchmark::State& state) {
  const auto rows = static_cast<kt_long>(state.range(0));
  const bool is_later = state.range(1) != 0;
  Host host(rows);
  double add = 0;
  const auto write_all = [&] {
    ++add;
    for (kt_long row = 0; row < rows; ++row)
      (void)host.table.SetColumn(row, 0, Kt_Variant(row + add));
  };
  for (auto _ : state) {
    state.PauseTiming();
    host.table.ApplyChange();
    if (is_later) write_all();
    state.ResumeTiming();
    write_all();
  }
  CountRows(state, rows);
}

void WriteFromCpp_Plain(benchmark::State& state) {
  const auto rows = static_cast<kt_long>(state.range(0));
  std::vector<double> cells(static_cast<std::size_t>(rows));
  double add = 0;
  for (auto _ : state) {
    ++add;
    for (kt_long row = 0; row < rows; ++row) cells[static_cast<std::size_t>(row)] = row + add;
    benchmark::ClobberMemory();
  }
  CountRows(state, rows);
}

// The loop of somebody who wants to know which cells have changed, and what they were before.
void WriteFromCpp_PlainKept(benchmark::State& state) {
  const auto rows = static_cast<std::size_t>(state.range(0));
  const bool is_later = state.range(1) != 0;
  std::vector<double> cells(rows);
  std::vector<double> first;
  std::vector<std::uint8_t> changed;
  double add = 0;
  const auto write_all = [&] {
    ++add;
    for (std::size_t row = 0; row < rows; ++row) {
      const double value = static_cast<double>(row) + add;
      if (cells[row] == value) continue;
      if (changed[row] == 0) {
        if (first.size() <= row) first.resize(row + 1);
        first[row] = cells[row];
        changed[row] = 1;
      } else if (first[row] == value) {
        changed[row] = 0;
      }
      cells[row] = value;
    }
    benchmark::ClobberMemory();
  };
  for (auto _ : state) {
    state.PauseTiming();
    first = {};
    changed.assign(rows, 0);
    if (is_later) write_all();
    state.ResumeTiming();
    write_all();
  }
  CountRows(state, static_cast<kt_long>(rows));
}

void Reading(benchmark::internal::Benchmark* bench) {
  bench->ArgName("rows")->Arg(kRows)->Arg(kManyRows);
}
void Writing(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"rows", "later"})->ArgsProduct({{kRows, kManyRows}, {0, 1}});
}
BENCHMARK(ReadFromCpp)->Apply(Reading);
BENCHMARK(ReadFromCpp_Plain)->Apply(Reading);
BENCHMARK(WriteFromCpp)->Apply(Writing);
BENCHMARK(WriteFromCpp_Plain)->Apply(Reading);
BENCHMARK(WriteFromCpp_PlainKept)->Apply(Writing);

// 1: code, 0: walk.
#define KT_CELLS(kind, name, loop) \
  BENCHMARK_CAPTURE(kind, name, loop)->ArgName("code")->Arg(1)->Arg(0)
KT_CELLS(Reads, NoCell, "s += 0.25;");
KT_CELLS(Reads, GetColumn, "s += t.GetColumn(i, 'price');");
KT_CELLS(Reads, GetColumnOfHost, "s += rows.GetColumn(i, 'price');");
KT_CELLS(Reads, GetColumnText, "if (t.GetColumn(i, 'name') = 'odd') s += 1;");
KT_CELLS(Reads, GetColumnComputed, "s += t.GetColumn(n - 1 - i, 'price');");
KT_CELLS(Reads, ItemCell, "s += t[i].price;");
KT_CELLS(Reads, ItemCells, "s += t[i].price * t[i].price;");
KT_CELLS(Reads, ItemCellOfHost, "s += rows[i].price;");
KT_CELLS(Reads, CurrentCell, "s += t.price;");
KT_CELLS(Reads, RowCount, "s += t.rowcount;");
KT_CELLS(Writes, SetColumn, "t.SetColumn(i, 'price', i);");
KT_CELLS(Writes, SetColumnComputed, "t.SetColumn(i, 'price', i * 2 + 1);");
KT_CELLS(Writes, SetColumnTwice, "t.SetColumn(i, 'price', i); t.SetColumn(i, 'price', -1);");
KT_CELLS(Writes, SetText, "t.SetColumn(i, 'name', 'other');");
KT_CELLS(Writes, SetCurrent, "t.price = i;");
KT_CELLS(Writes, SetCurrentText, "t.name = 'other';");
KT_CELLS(Writes, AddToCurrent, "t.price += i;");
KT_CELLS(Writes, AppendRow, "t.AppendRow();");
KT_CELLS(Writes, AppendAndSet, "t.AppendRow(); t.price = i; t.name = 'new';");

}  // namespace
