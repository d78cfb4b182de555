// SPDX-License-Identifier: MIT
// What a script pays for a cell: loops over 100,000 rows, as code and by the walk. Baseline: the
// same loop without the cell, and the same cells from C++. Times are per row.
#include <benchmark/benchmark.h>

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

// Knows one dataset by its name.
class Host : public Kt_ExprObject {
 public:
  Host() : Kt_ExprObject(nullptr), wrapper(&table, this) {
    (void)table.AddColumn(u"price", u"double");
    (void)table.AddColumn(u"name", u"string");
    Fill();
  }
  // Rows that are normal, so that writing keeps first values.
  void Fill() {
    table.ClearData();
    (void)table.AppendRow(kRows);
    for (kt_long row = 0; row < kRows; ++row) {
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

void CountRows(benchmark::State& state) {
  state.counters["row"] =
      benchmark::Counter(static_cast<double>(kRows), benchmark::Counter::kIsIterationInvariantRate |
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
  const Host host;
  for (auto _ : state) {
    double sum = 0;
    for (kt_long row = 0; row < kRows; ++row) sum += host.table.ReadColumn(row, 0).ToDouble();
    benchmark::DoNotOptimize(sum);
  }
  CountRows(state);
}
BENCHMARK(ReadFromCpp);

void ReadFromCpp_Plain(benchmark::State& state) {
  const std::vector<double> cells(kRows, 0.25);
  for (auto _ : state) {
    double sum = 0;
    for (const double cell : cells) sum += cell;
    benchmark::DoNotOptimize(sum);
  }
  CountRows(state);
}
BENCHMARK(ReadFromCpp_Plain);

// The first write of a cell, whose value it had is kept, and after it a later one.
void WriteFromCpp(benchmark::State& state) {
  const bool is_later = state.range(0) != 0;
  Host host;
  double add = 0;
  const auto write_all = [&] {
    ++add;
    for (kt_long row = 0; row < kRows; ++row)
      (void)host.table.SetColumn(row, 0, Kt_Variant(row + add));
  };
  for (auto _ : state) {
    state.PauseTiming();
    host.table.ApplyChange();
    if (is_later) write_all();
    state.ResumeTiming();
    write_all();
  }
  CountRows(state);
}
BENCHMARK(WriteFromCpp)->ArgName("later")->Arg(0)->Arg(1);

void WriteFromCpp_Plain(benchmark::State& state) {
  std::vector<double> cells(kRows);
  double add = 0;
  for (auto _ : state) {
    ++add;
    for (kt_long row = 0; row < kRows; ++row) cells[static_cast<std::size_t>(row)] = row + add;
    benchmark::ClobberMemory();
  }
  CountRows(state);
}
BENCHMARK(WriteFromCpp_Plain);

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
