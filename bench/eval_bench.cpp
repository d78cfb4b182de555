// SPDX-License-Identifier: MIT
// Evaluation of parsed expressions in a host's own context: time, and memory requests per
// evaluation (the counter "allocs"; 0 for plain arithmetic). Baseline: the same formula in C++.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "expr/Kt_Expr.h"
#include "object/Kt_ExprObjInfo.h"

namespace {

std::atomic<std::int64_t> requests{0};

}  // namespace

// Every request of the program and its libraries comes through here.
extern "C" {
void* __libc_malloc(std::size_t size_bytes);
void* malloc(std::size_t size_bytes) {
  requests.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size_bytes);
}
}

namespace {

// A host with four numbers that it answers by name.
class Numbers : public Kt_ExprObject {
 public:
  Numbers() : Kt_ExprObject(nullptr) {
    variables_.AddVariable(u"a", 1.5);
    variables_.AddVariable(u"b", 2.5);
    variables_.AddVariable(u"c", 3.5);
    variables_.AddVariable(u"x", 4.5);
  }

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_Variable* const found = variables_.FindVariable(name);
    if (found == nullptr) return Kt_ExprObject::GetVarType(name, info);
    info.SetVarType(this, name, found);
    return EXPR_OBJ_VAR;
  }

 private:
  Kt_VariableList variables_;
};

void Evaluate(benchmark::State& state, const char16_t* text, double wanted) {
  Numbers host;
  Kt_Expr expr(text);
  Kt_Variant value;
  if (expr.ExecExpr(&host, value) != 0 || value.ToDouble() != wanted) {
    state.SkipWithError("wrong result");
    return;
  }
  const std::int64_t before = requests.load();
  for ([[maybe_unused]] auto round : state) {
    benchmark::DoNotOptimize(expr.ExecExpr(&host, value));
  }
  state.counters["allocs"] = benchmark::Counter(static_cast<double>(requests.load() - before),
                                                benchmark::Counter::kAvgIterations);
}

void BM_Polynomial(benchmark::State& state) {
  Evaluate(state, u"a * x * x + b * x + c", 1.5 * 4.5 * 4.5 + 2.5 * 4.5 + 3.5);
}
BENCHMARK(BM_Polynomial);

void BM_Condition(benchmark::State& state) { Evaluate(state, u"a < b && (c > x || x >= b)", 1); }
BENCHMARK(BM_Condition);

void BM_BuiltinCall(benchmark::State& state) { Evaluate(state, u"round(a * x, 1)", 6.8); }
BENCHMARK(BM_BuiltinCall);

void BM_PolynomialInCpp(benchmark::State& state) {
  double a = 1.5;
  double b = 2.5;
  double c = 3.5;
  double x = 4.5;
  for ([[maybe_unused]] auto round : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(a * x * x + b * x + c);
  }
}
BENCHMARK(BM_PolynomialInCpp);

}  // namespace
