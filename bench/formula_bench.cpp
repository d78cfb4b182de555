// SPDX-License-Identifier: MIT
//
// Six formulas evaluated by a host, over numbers in its memory: bound expressions, beside a
// function compiled by the C++ compiler, muParser and Lua 5.4 through its C interface; and the same
// by name in a host's context, with and without a version of its names.
//
//   build/release/bench/formula_bench
//
// Every engine has to give the native function's result before its time counts.
#include <benchmark/benchmark.h>
#include <muParser.h>

#include <array>
#include <cmath>
#include <lua.hpp>
#include <string>

#include "expr/Kt_BoundExpr.h"
#include "expr/Kt_Expr.h"
#include "object/Kt_ExprObjInfo.h"

namespace {

constexpr int kNames = 6;
constexpr const char* kNameTexts[kNames] = {"a", "b", "c", "x", "y", "z"};
using Numbers = std::array<double, kNames>;
constexpr Numbers kNumbers = {1.5, 2.5, 3.5, 4.5, 5.25, 6.75};

struct Formula {
  const char* name;
  const char* text;      // ours and muParser's
  const char* lua_text;  // where Lua writes it otherwise
  double (*native)(const Numbers& v);
};

#define KT_NATIVE(expression)                           \
  [](const Numbers& v) -> double {                      \
    [[maybe_unused]] const auto [a, b, c, x, y, z] = v; \
    return expression;                                  \
  }

const Formula kFormulas[] = {
    {"x+1", "x+1", "x+1", KT_NATIVE(x + 1)},
    {"(a+b)*(a-b)/2", "(a+b)*(a-b)/2", "(a+b)*(a-b)/2", KT_NATIVE((a + b) * (a - b) / 2)},
    {"a*x*x+b*x+c", "a*x*x+b*x+c", "a*x*x+b*x+c", KT_NATIVE(a* x* x + b * x + c)},
    {"functions", "sqrt(abs(x))*sin(y)+floor(z)", "sqrt(abs(x))*sin(y)+floor(z)",
     KT_NATIVE(std::sqrt(std::fabs(x)) * std::sin(y) + std::floor(z))},
    {"conditions", "(x>5 && y<10) || z==3", "((x>5 and y<10) or z==3) and 1 or 0",
     KT_NATIVE((x > 5 && y < 10) || z == 3 ? 1 : 0)},
    {"25 operators", "a*x+b*y+c*z-x*y-y*z+(a*b/2)-(b*c/3)+(a+x)*(b-y)+(c+z)*(x-y)-a*c",
     "a*x+b*y+c*z-x*y-y*z+(a*b/2)-(b*c/3)+(a+x)*(b-y)+(c+z)*(x-y)-a*c",
     KT_NATIVE(a* x + b * y + c * z - x * y - y * z + (a * b / 2) - (b * c / 3) +
               (a + x) * (b - y) + (c + z) * (x - y) - a * c)},
};

// Times `evaluate`, which gives the value for the numbers that `numbers` has then.
template <class Evaluate>
void Time(benchmark::State& state, const Formula& formula, Numbers& numbers, Evaluate evaluate) {
  if (std::fabs(evaluate() - formula.native(numbers)) > 1e-9) {
    state.SkipWithError("wrong result");
    return;
  }
  for ([[maybe_unused]] auto round : state) {
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(evaluate());
  }
}

void Native(benchmark::State& state, const Formula& formula) {
  Numbers numbers = kNumbers;
  benchmark::DoNotOptimize(&numbers);
  Time(state, formula, numbers, [&] { return formula.native(numbers); });
}

void MuParser(benchmark::State& state, const Formula& formula) {
  Numbers numbers = kNumbers;
  mu::Parser parser;
  for (int name = 0; name < kNames; ++name) parser.DefineVar(kNameTexts[name], &numbers[name]);
  parser.DefineFun(
      "floor", +[](double value) { return std::floor(value); });
  parser.SetExpr(formula.text);
  Time(state, formula, numbers, [&] { return parser.Eval(); });
}

void Lua(benchmark::State& state, const Formula& formula) {
  Numbers numbers = kNumbers;
  lua_State* const lua = luaL_newstate();
  luaL_openlibs(lua);
  const std::string chunk =
      std::string(
          "local sqrt, abs, sin, floor = math.sqrt, math.abs, math.sin, math.floor\n"
          "return function(a, b, c, x, y, z) return ") +
      formula.lua_text + " end";
  if (luaL_dostring(lua, chunk.c_str()) != LUA_OK) {
    state.SkipWithError(lua_tostring(lua, -1));
  } else {
    Time(state, formula, numbers, [&] {
      lua_pushvalue(lua, -1);
      for (const double number : numbers) lua_pushnumber(lua, number);
      lua_call(lua, kNames, 1);
      const double value = lua_tonumber(lua, -1);
      lua_pop(lua, 1);
      return value;
    });
  }
  lua_close(lua);
}

Kt_BoundExpr Bind(const Formula& formula, const Numbers& numbers) {
  Kt_Bindings names;
  for (int name = 0; name < kNames; ++name)
    names.Add(Kt_WString::FromUtf8(kNameTexts[name]), &numbers[name]);
  Kt_BoundExpr expr;
  (void)expr.Bind(Kt_WString::FromUtf8(formula.text), names);
  return expr;
}

void BoundDouble(benchmark::State& state, const Formula& formula) {
  Numbers numbers = kNumbers;
  const Kt_BoundExpr expr = Bind(formula, numbers);
  Time(state, formula, numbers, [&] { return expr.EvaluateDouble(); });
}

void BoundValue(benchmark::State& state, const Formula& formula) {
  Numbers numbers = kNumbers;
  const Kt_BoundExpr expr = Bind(formula, numbers);
  Kt_Variant value;
  Time(state, formula, numbers, [&] {
    (void)expr.Evaluate(value);
    return value.ToDouble();
  });
}

// The time of one evaluation among 1,000.
void BoundMany(benchmark::State& state, const Formula& formula) {
  constexpr std::size_t kRows = 1000;
  Numbers numbers = kNumbers;
  std::vector<Numbers> rows(kRows, numbers);
  std::vector<double> out(kRows);
  const Kt_BoundExpr expr = Bind(formula, rows[0]);
  const void* places[kNames];
  std::ptrdiff_t strides[kNames];
  for (int name = 0; name < kNames; ++name) {
    places[name] = &rows[0][name];
    strides[name] = sizeof(Numbers);
  }
  Time(state, formula, numbers, [&] {
    (void)expr.EvaluateMany(kRows, places, strides, out.data());
    return out[kRows - 1];
  });
  state.counters["row"] = benchmark::Counter(
      kRows, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// A host that answers names with variables.
class Host : public Kt_ExprObject {
 public:
  explicit Host(std::uint64_t version) : Kt_ExprObject(nullptr), version_(version) {
    for (int name = 0; name < kNames; ++name) {
      variables_.AddVariable(Kt_WString::FromUtf8(kNameTexts[name]), kNumbers[name]);
    }
  }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_Variable* const found = variables_.FindVariable(name);
    if (found == nullptr) return Kt_ExprObject::GetVarType(name, info);
    info.SetVarType(this, name, found);
    return EXPR_OBJ_VAR;
  }
  std::uint64_t GetNameVersion() override { return version_; }

 private:
  Kt_VariableList variables_;
  std::uint64_t version_;
};

void InContext(benchmark::State& state, const Formula& formula, std::uint64_t version) {
  Numbers numbers = kNumbers;
  Host host(version);
  Kt_Expr expr;
  expr.SetExpr(Kt_WString::FromUtf8(formula.text));
  Kt_Variant value;
  Time(state, formula, numbers, [&] {
    (void)expr.ExecExpr(&host, value);
    return value.ToDouble();
  });
}

}  // namespace

int main(int argc, char** argv) {
  using Run = void (*)(benchmark::State&, const Formula&);
  static constexpr struct {
    const char* name;
    Run run;
  } kEngines[] = {
      {"native", Native},
      {"muParser", MuParser},
      {"Lua", Lua},
      {"EvaluateDouble", BoundDouble},
      {"Evaluate", BoundValue},
      {"EvaluateMany, 1000", BoundMany},
      {"ExecExpr, version",
       [](benchmark::State& state, const Formula& formula) { InContext(state, formula, 1); }},
      {"ExecExpr",
       [](benchmark::State& state, const Formula& formula) { InContext(state, formula, 0); }},
      {"ExecExpr, evaluator",
       [](benchmark::State& state, const Formula& formula) {
         Kt_Expr::SetCompiled(false);
         InContext(state, formula, 0);
         Kt_Expr::SetCompiled(true);
       }},
  };
  for (const Formula& formula : kFormulas) {
    for (const auto& engine : kEngines) {
      benchmark::RegisterBenchmark((std::string(formula.name) + "/" + engine.name).c_str(),
                                   engine.run, formula);
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
