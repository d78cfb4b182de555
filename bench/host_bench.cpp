// SPDX-License-Identifier: MIT
// What a host in C++ pays for one call: functions of a script by name, expressions as text, a
// formula that is bound once, and functions of the host that a script calls. Baseline: the same in
// C++.
#include <benchmark/benchmark.h>

#include <functional>
#include <span>

#include "host/Kt_Bind.h"

namespace {

constexpr const char* kScript =
    "function nothing() { return 0; }\n"
    "function total(price, qty) { return price * qty; }\n"
    "function rates(count) {\n"
    "  var sum = 0.0;\n"
    "  for (var i = 0; i < count; i++) sum += rate(i, 0.5);\n"
    "  return sum;\n"
    "}\n";

void CppFunction(benchmark::State& state) {
  std::function<double(double, double)> total = [](double price, double qty) {
    return price * qty;
  };
  benchmark::DoNotOptimize(total);
  for (auto _ : state) benchmark::DoNotOptimize(total(2.5, 4));
}
BENCHMARK(CppFunction);

void CallWithoutArguments(benchmark::State& state) {
  kt::Engine engine;
  engine.load("bench.kts", kScript);
  for (auto _ : state) benchmark::DoNotOptimize(engine.call<int>("nothing"));
}
BENCHMARK(CallWithoutArguments);

void CallWithTwoNumbers(benchmark::State& state) {
  kt::Engine engine;
  engine.load("bench.kts", kScript);
  for (auto _ : state) benchmark::DoNotOptimize(engine.call<double>("total", 2.5, 4));
}
BENCHMARK(CallWithTwoNumbers);

void EvalOfText(benchmark::State& state) {
  kt::Engine engine;
  engine.load("bench.kts", "var price = 2.5; var qty = 4;");
  for (auto _ : state) benchmark::DoNotOptimize(engine.eval<double>("price * qty"));
}
BENCHMARK(EvalOfText);

void BoundFormula(benchmark::State& state) {
  const kt::Formula total("price * qty", {"price", "qty"});
  const double values[] = {2.5, 4};
  for (auto _ : state) benchmark::DoNotOptimize(total.evaluate(std::span(values)));
}
BENCHMARK(BoundFormula);

// One call of a function of the host, of a thousand in a script.
void HostFunction(benchmark::State& state) {
  kt::Engine engine;
  engine.function("rate", [](int qty, double discount) { return qty * discount; });
  engine.load("bench.kts", kScript);
  constexpr int kCalls = 1000;
  for (auto _ : state) benchmark::DoNotOptimize(engine.call<double>("rates", kCalls));
  state.SetItemsProcessed(state.iterations() * kCalls);
}
BENCHMARK(HostFunction);

}  // namespace
