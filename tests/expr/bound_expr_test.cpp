// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <thread>

#include "common/formula_compare.h"

namespace {

using kt::test::Bits;
using kt::test::FormulaHost;
using kt::test::FormulaPlaces;
using kt::test::Outcome;

std::string BindText(const char16_t* text, const Kt_Bindings& names) {
  Kt_BoundExpr expr;
  Kt_RunError::Forget();
  const kt_long code = expr.Bind(text, names);
  const Kt_RunError& last = Kt_RunError::Last();
  if (code == kOk) return "bound";
  if (code != last.code) return "another code";
  return std::to_string(last.column) + "+" + std::to_string(last.length) + " " + last.text.ToUtf8();
}

TEST(BoundExpr, Faults) {
  FormulaHost host({});
  Kt_Bindings names = kt::test::BindingsOf(host);
  names.AddFunction(u"sqrt", 2, FormulaHost::Half);
  names.Ask(u"asked");
  static constexpr struct {
    const char16_t* text;
    const char* wanted;
  } kRows[] = {
      {u"", "bound"},
      {u"d1 + D2", "bound"},
      {u"d1 + asked * asked(1)", "bound"},
      {u"v1.nosuch", "bound"},
      {u"n1 + d11", "6+3 unknown variable 'd11' (did you mean 'd1'?)"},
      {u"abs(abs(n1)) + halv(2)", "16+4 unknown function: halv (did you mean 'half'?)"},
      {u"flor(2)", "1+4 unknown function: flor (did you mean 'floor'?)"},
      {u"half()", "1+4 half takes 1 arguments; 0 came"},
      {u"1 + sum3(1, (2), half(3), 4)", "5+4 sum3 takes 3 arguments; 4 came"},
      {u"list(1,2,3,4,5,6,7,8,9,0)", "1+4 list takes 0 to 9 arguments; 10 came"},
      {u"pow(1)", "1+3 pow needs 2 arguments or more; 1 came"},
      {u"sqrt(4)", "1+4 sqrt takes 2 arguments; 1 came"},  // the host's, not the built-in
      {u"d1 + n1++", "0+0 '++' cannot be used in a bound expression"},
      {u"--n1", "0+0 '--' cannot be used in a bound expression"},
      {u"list(ref(n1))", "6+3 'ref' cannot be used in a bound expression"},
      {u"[1, 2]", "0+0 '[' cannot be used in a bound expression"},
      {u"trace(d1)", "1+5 'trace' cannot be used in a bound expression"},
  };
  for (const auto& row : kRows) EXPECT_EQ(BindText(row.text, names), row.wanted);
  EXPECT_EQ(BindText(u"asked", Kt_Bindings().Ask(u"asked")), "1+5 unknown variable 'asked'");
  EXPECT_NE(BindText(u"1 + * 2", names).find("5+1"), std::string::npos);
}

TEST(BoundExpr, KeepsWhatWasBoundWhenBindingFails) {
  double x = 4;
  Kt_Bindings names;
  names.Add(u"x", &x);
  Kt_BoundExpr expr;
  Kt_Variant value = u"before";
  EXPECT_EQ(expr.Evaluate(value), kOk);
  EXPECT_TRUE(value.IsEmpty());
  ASSERT_EQ(expr.Bind(u"x * 2", names), kOk);
  EXPECT_NE(expr.Bind(u"y", names), kOk);
  const Kt_BoundExpr copy = expr;
  x = 5;
  EXPECT_EQ(copy.EvaluateDouble(), 10);
}

// Kinds, overflow, signs of zero, and the order in which places are read.
TEST(BoundExpr, GivesWhatTheEvaluatorGives) {
  FormulaPlaces at;
  at.d1 = 2.5;
  at.d2 = -0.0;
  at.n1 = 2147483647;
  at.n2 = -5;
  at.v1 = kt_long{3};
  at.v2 = 0.5;
  at.t1 = u"12";
  for (const char* const text : {"n1 + 1",
                                 "n1 + 1 - 1",
                                 "(n1 + 1) * 0 * n2",
                                 "n2 * 0",
                                 "(n2 + n2) * 0",
                                 "0 / n2",
                                 "-d2",
                                 "d2",
                                 "(+d2)",
                                 "d2 * 1",
                                 "n1 * n1",
                                 "n1 % n2",
                                 "n2 % 5",
                                 "n2 % 0",
                                 "d1 % 0",
                                 "d1 % -2.5",
                                 "1 / 0",
                                 "0.5 && 1",
                                 "1 && 0.5",
                                 "0.5 || 0",
                                 "d2 || d1",
                                 "0 && 1 || 1",
                                 "(0 && 1) || 1",
                                 "!d2",
                                 "!!d1",
                                 "d1 <> d1",
                                 "v1 + n1",
                                 "v1 * v2",
                                 "v3 + 1",
                                 "v3 = 0",
                                 "t1 + 1",
                                 "t1 * 2",
                                 "iif(d1 > 2, n1, d1)",
                                 "iif(0, 1)",
                                 "least(n1, d1, n2)",
                                 "greatest(v3, d1)",
                                 "round(d1)",
                                 "round(1.005, 2)",
                                 "d1 + touch(d1)",
                                 "touch(1) + d1 + n1 * 2",
                                 "half(n1 + 1) * 2",
                                 "code(7) + 1",
                                 "1 + code(7)",
                                 "sum3(d1, n1, v2)",
                                 "t1[1]",
                                 "t1.length",
                                 "v1.nosuch",
                                 "v3.length",
                                 "list(1, 2) = list(1, 2)",
                                 "eval('d1 + v1')",
                                 "eval('nosuch')",
                                 "r1 = null"}) {
    EXPECT_EQ(kt::test::CompareFormula(text, at), "");
  }
}

TEST(BoundExpr, RandomFormulas) {
  std::mt19937 random(20);
  std::vector<std::uint8_t> bytes(120);
  for (int round = 0; round < 2000; ++round) {
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const std::string difference = kt::test::CompareFormula(bytes.data(), bytes.size());
    ASSERT_EQ(difference, "") << "round " << round;
  }
}

TEST(BoundExpr, LongFormulas) {
  FormulaPlaces at;
  at.d1 = 1.25;
  at.n1 = 3;
  std::string sum = "d1";
  std::string nested = "d1";
  for (int term = 0; term < 300; ++term) {
    sum += term % 3 == 0 ? " + d1 * n1" : " - (d1 + " + std::to_string(term) + ") / 2";
    nested = "(" + nested + (term % 2 == 0 ? " + d1)" : " < n1)");
  }
  EXPECT_EQ(kt::test::CompareFormula(sum, at), "");
  EXPECT_EQ(kt::test::CompareFormula(nested, at), "");
}

TEST(BoundExpr, PlacesOfTheCaller) {
  double x = 1;
  kt_long n = 2;
  Kt_Bindings names;
  names.Add(u"x", &x).Add(u"unused", &x).Add(u"n", &n);
  Kt_BoundExpr expr;
  ASSERT_EQ(expr.Bind(u"x * 10 + n", names), kOk);
  const double other_x = 5;
  const kt_long other_n = 7;
  const void* const places[] = {&other_x, nullptr, &other_n};
  Kt_Variant value;
  EXPECT_EQ(expr.Evaluate(places, value), kOk);
  EXPECT_EQ(Bits(value), Bits(57.0));
  EXPECT_EQ(expr.EvaluateDouble(), 12);
}

TEST(BoundExpr, ArraysByStride) {
  struct Row {
    double price;
    kt_long qty;
  };
  const Row rows[] = {{1.5, 2}, {2.5, 0}, {-1, 2147483647}};
  const double tax = 0.5;
  Kt_Bindings names;
  names.Add(u"price", &rows[0].price).Add(u"qty", &rows[0].qty).Add(u"tax", &tax);
  names.AddFunction(u"refuse", 1, 1, [](std::span<const Kt_Variant> args, Kt_Variant& result) {
    result = args[0];
    return args[0].ToInteger() == 0 ? kt_long{77} : kOk;
  });
  Kt_BoundExpr expr;
  const void* const places[] = {&rows[0].price, &rows[0].qty, &tax};
  const std::ptrdiff_t strides[] = {sizeof(Row), sizeof(Row), 0};
  double out[3] = {};
  ASSERT_EQ(expr.Bind(u"price * qty * (1 + tax)", names), kOk);
  EXPECT_EQ(expr.EvaluateMany(3, places, strides, out), kOk);
  EXPECT_EQ(out[0], 4.5);
  EXPECT_EQ(out[2], -1.5 * 2147483647);
  ASSERT_EQ(expr.Bind(u"refuse(qty) + 1", names), kOk);
  EXPECT_EQ(expr.EvaluateMany(3, places, strides, out), 77);
  EXPECT_EQ(out[0], 3);
  EXPECT_EQ(out[1], 0);
  EXPECT_EQ(out[2], 2147483648.0);
}

// Blocks and their ends: conditions that some rows decide early, values that a place has in some
// rows only, zeros with the wrong sign, and a stop in the middle.
TEST(BoundExpr, ArraysInBlocks) {
  constexpr std::size_t kRows = 700;
  std::vector<double> x(kRows);
  std::vector<kt_long> n(kRows);
  std::vector<Kt_Variant> v(kRows);
  for (std::size_t row = 0; row < kRows; ++row) {
    x[row] = static_cast<double>(row % 13) / 2 - 3;
    n[row] = static_cast<kt_long>(std::int64_t(row % 5) * 1'000'000'000 - 2'000'000'000);
    v[row] = row % 3 == 0 ? Kt_Variant(kt_long{0}) : Kt_Variant(x[row]);
    if (row == 300) v[row] = u"7";
  }
  const double tax = 0.25;
  Kt_Bindings names;
  names.Add(u"x", x.data()).Add(u"n", n.data()).Add(u"v", v.data()).Add(u"tax", &tax);
  const void* const places[] = {x.data(), n.data(), v.data(), &tax};
  const std::ptrdiff_t strides[] = {sizeof(double), sizeof(kt_long), sizeof(Kt_Variant), 0};
  for (const char16_t* const text :
       {u"x", u"tax", u"5", u"x + 1", u"x * tax - n", u"(n + n) * x * n * 0", u"v * n",
        u"v * x + 1", u"x > 1 && x < 2 || tax", u"x && (n > 0 && x > 1) || x = 2",
        u"(x || 0) + (0.5 || n)", u"least(x, n, tax) + greatest(tax, x / x)",
        u"iif(x > 0, sqrt(x), abs(x))",
        u"(x + 1) * (x - 1) - (x + tax) * (tax - x) / (x * x - (n - x) * (tax + x))",
        u"pow(x, 2) % 3 + floor(x) - (!x)", u"(x > 0 && v) + (v && x)"}) {
    Kt_BoundExpr expr;
    ASSERT_EQ(expr.Bind(text, names), kOk) << Kt_WString(text).ToUtf8();
    for (const std::size_t rows : {std::size_t{1}, std::size_t{256}, std::size_t{257}, kRows}) {
      std::vector<double> out(rows + 1, 5.0);
      EXPECT_EQ(expr.EvaluateMany(rows, places, strides, out.data()), kOk);
      EXPECT_EQ(out[rows], 5.0);
      for (std::size_t row = 0; row < rows; ++row) {
        const void* const one[] = {&x[row], &n[row], &v[row], &tax};
        ASSERT_EQ(Bits(out[row]), Bits(expr.EvaluateDouble(one).value))
            << Kt_WString(text).ToUtf8() << " row " << row;
      }
    }
  }
}

// Functions that have a form for blocks, where their results change: zeros of both signs, halves,
// numbers that have no room for a fraction, and what is no number.
TEST(BoundExpr, FunctionsInBlocksHaveTheBitsOfOneCall) {
  using Limits = std::numeric_limits<double>;
  std::vector<double> x{0.0,
                        Limits::denorm_min(),
                        0.3,
                        0.5,
                        0.7,
                        1.0,
                        1.5,
                        2.5,
                        41.99,
                        1e15 + 0.5,
                        0x1p51 + 0.5,
                        0x1p52 - 0.5,
                        0x1p52,
                        0x1p52 + 1,
                        0x1p53,
                        1e300,
                        Limits::max(),
                        Limits::infinity(),
                        Limits::quiet_NaN()};
  for (std::size_t at = 0, count = x.size(); at < count; ++at) x.push_back(-x[at]);
  Kt_Bindings names;
  names.Add(u"x", x.data());
  const std::ptrdiff_t stride = sizeof(double);
  for (const char16_t* const name : {u"floor", u"ceil", u"round", u"truncate", u"sin", u"cos",
                                     u"tan", u"exp", u"log", u"asin", u"acos", u"atan"}) {
    for (const char16_t* const form : {u"(x)", u"(x * 1) + 0 * x"}) {
      Kt_BoundExpr expr;
      ASSERT_EQ(expr.Bind(Kt_WString(name) + form, names), kOk);
      const void* const place = x.data();
      std::vector<double> out(x.size());
      ASSERT_EQ(expr.EvaluateMany(x.size(), &place, &stride, out.data()), kOk);
      for (std::size_t row = 0; row < x.size(); ++row) {
        const void* const one = &x[row];
        EXPECT_EQ(Bits(out[row]), Bits(expr.EvaluateDouble(&one).value))
            << Kt_WString(name).ToUtf8() << Kt_WString(form).ToUtf8() << " of " << x[row];
      }
    }
  }
}

TEST(BoundExpr, ManyThreadsWithPlacesOfTheirOwn) {
  const double nothing = 0;
  const Kt_Variant nobody;
  Kt_Bindings names;
  names.Add(u"x", &nothing).Add(u"v", &nobody);
  names.AddFunction(u"half", 1, FormulaHost::Half);
  Kt_BoundExpr exprs[4];
  ASSERT_EQ(exprs[0].Bind(u"sqrt(x * x) + 1", names), kOk);
  ASSERT_EQ(exprs[1].Bind(u"half(x) > 200 || v = 1", names), kOk);
  ASSERT_EQ(exprs[2].Bind(u"v + 'text' + x", names), kOk);
  ASSERT_EQ(exprs[3].Bind(u"v.length + x", names), kOk);
  const auto run = [&](int thread, std::string& out) {
    for (int round = 0; round < 200; ++round) {
      const double x = thread * 1000 + round;
      const Kt_Variant v(u"thread");
      const void* const places[] = {&x, &v};
      out.clear();
      for (const Kt_BoundExpr& expr : exprs) {
        Kt_Variant value;
        (void)expr.Evaluate(places, value);
        out += kt::test::Show(value) + " ";
      }
    }
  };
  std::string outs[4];
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back(run, thread, std::ref(outs[thread]));
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(outs[0], "200.0 0 'threadtext199' 205.0 ");
  EXPECT_EQ(outs[3], "3200.0 1 'threadtext3199' 3205.0 ");
}

TEST(BoundExpr, FunctionsThatThrow) {
  FormulaHost host({});
  Kt_Bindings names = kt::test::BindingsOf(host);
  names.AddFunction(u"greedy", 0, 0, [](auto, Kt_Variant&) -> kt_long { throw std::bad_alloc(); });
  names.AddFunction(u"odd", 0, 0, [](auto, Kt_Variant&) -> kt_long { throw 5; });
  names.AddFunction(u"greedier", 1, [](const double*, void*) -> double { throw std::bad_alloc(); });
  Kt_BoundExpr expr;
  Kt_Variant value = u"before";
  ASSERT_EQ(expr.Bind(u"1 + greedy()", names), kOk);
  EXPECT_EQ(expr.Evaluate(value), kErrNoMemory);
  EXPECT_TRUE(value.IsEmpty());
  EXPECT_EQ(host.errors.size(), 1u);
  ASSERT_EQ(expr.Bind(u"1 + greedier(1)", names), kOk);
  EXPECT_EQ(expr.Evaluate(value), kErrNoMemory);
  ASSERT_EQ(expr.Bind(u"1 + odd()", names), kOk);
  EXPECT_THROW((void)expr.Evaluate(value), int);
}

TEST(BoundExpr, StopsWithTheWork) {
  double x = 2;
  Kt_Bindings names;
  names.Add(u"x", &x);
  Kt_BoundExpr expr;
  ASSERT_EQ(expr.Bind(u"sin(x)", names), kOk);
  const std::atomic<bool> cancelled = true;
  Kt_RunBudget budget;
  budget.cancel = &cancelled;
  const Kt_BoundedWork bounds(budget);
  kt_long code = kOk;
  for (int round = 0; round < 1'000'000 && code == kOk; ++round) {
    Kt_Variant value;
    code = expr.Evaluate(value);
  }
  EXPECT_EQ(code, kErrCancelled);
  double out[2] = {5, 5};
  const void* const places[] = {&x};
  const std::ptrdiff_t strides[] = {0};
  EXPECT_EQ(expr.EvaluateMany(2, places, strides, out), kErrCancelled);
  EXPECT_EQ(out[1], 0);
}

TEST(BoundExpr, AsksTheContextEachTime) {
  kt::test::TestHost host;
  host.variables.AddVariable(u"asked", kt_long{1});
  host.variables.AddVariable(u"hidden", kt_long{1});
  double x = 10;
  Kt_Bindings names;
  names.Add(u"x", &x).SetContext(&host).Ask(u"asked").Ask(u"count");
  Kt_BoundExpr expr;
  Kt_Variant value;
  ASSERT_EQ(expr.Bind(u"x + asked", names), kOk);
  EXPECT_EQ(expr.EvaluateDouble(), 11);
  host.variables.AddVariable(u"asked", u"!");
  EXPECT_EQ(expr.Evaluate(value), kOk);
  EXPECT_EQ(Bits(value), "'10!'");
  host.variables.RemoveVariable(u"asked");
  EXPECT_EQ(expr.Evaluate(value), kErrNoVariable);
  EXPECT_EQ(host.TakeReports(), "83B03110(asked)");
  ASSERT_EQ(expr.Bind(u"count(x)[0]", names), kOk);
  EXPECT_EQ(expr.EvaluateDouble(), 10);
  EXPECT_EQ(expr.Bind(u"hidden", names), kErrNoVariable);
  ASSERT_EQ(expr.Bind(u"hidden + count(1)[0] + x", names.AskAll()), kOk);
  EXPECT_EQ(expr.EvaluateDouble(), 12);
}

// What a context with a version is asked, evaluation by evaluation.
class Versioned : public kt::test::TestHost {
 public:
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    asked += name.ToUtf8() + " ";
    if (name == u"kind") return EXPR_OBJ_VAR;  // read by name at every use
    return TestHost::GetVarType(name, info);
  }
  kt_long GetCtxVar(const Kt_WString& name, Kt_Variable**, Kt_Variant* value) override {
    if (name != u"kind" || value == nullptr) return kUnknownName;
    *value = ++reads % 2 == 0 ? Kt_Variant(reads) : Kt_Variant(u"odd");
    return kOk;
  }
  std::uint64_t GetNameVersion() override { return version; }

  std::uint64_t version = 1;
  kt_long reads = 0;
  std::string asked;
};

TEST(VersionedContext, IsAskedAgainWhenItsVersionChanges) {
  Versioned host;
  host.variables.AddVariable(u"x", kt_long{1});
  host.variables.AddVariable(u"y", 2.5);
  Kt_Expr expr(u"x + y * x");
  const auto run = [&] {
    Kt_Variant value;
    const kt_long code = expr.ExecExpr(&host, value);
    return code == kOk ? kt::test::Show(value) : host.TakeReports();
  };
  EXPECT_EQ(run(), "3.5");
  EXPECT_EQ(host.asked, "x y x ");
  host.variables.AddVariable(u"y", 10.5);  // another value of the same variable
  EXPECT_EQ(run(), "11.5");
  host.variables.AddVariable(u"x", u"2");  // another kind
  EXPECT_EQ(run(), "'221'");
  host.variables.AddVariable(u"x", 2.0);
  EXPECT_EQ(run(), "23.0");
  host.variables.AddVariable(u"x", Kt_Variant());
  EXPECT_EQ(run(), "0.0");
  EXPECT_EQ(host.asked, "x y x ");
  host.variables.RemoveVariable(u"x");
  ++host.version;
  EXPECT_EQ(run(), "83B03110(x)");
  EXPECT_EQ(run(), "83B03110(x)");
  EXPECT_EQ(host.asked, "x y x x y x ");
  host.variables.AddVariable(u"x", kt_long{7});
  ++host.version;
  EXPECT_EQ(run(), "80.5");
  host.version = 0;  // asked at every use
  EXPECT_EQ(run() + run(), "80.580.5");
  EXPECT_EQ(host.asked, "x y x x y x x y x x y x x y x ");
}

TEST(VersionedContext, KeepsNamesButNotWhatIsReadByName) {
  Versioned host;
  Kt_Expr expr(u"kind + 1");
  std::string out;
  for (int run = 0; run < 4; ++run) {
    Kt_Variant value;
    EXPECT_EQ(expr.ExecExpr(&host, value), kOk);
    out += kt::test::Show(value) + " ";
  }
  EXPECT_EQ(out, "'odd1' 3 'odd1' 5 ");
  EXPECT_EQ(host.asked, "kind ");
}

TEST(VersionedContext, ContextsInTurnAndAfterOneAnother) {
  Kt_Expr expr(u"x * 2 > 5 && z");
  Versioned other;
  other.variables.AddVariable(u"x", kt_long{100});
  other.variables.AddVariable(u"z", kt_long{0});
  alignas(Versioned) unsigned char memory[sizeof(Versioned)];
  for (const kt_long x : {1, 2, 3, 4}) {
    auto* const host = new (memory) Versioned();  // always at the same address
    host->variables.AddVariable(u"x", x);
    host->variables.AddVariable(u"z", kt_long{1});
    for (int run = 0; run < 4; ++run) {
      Kt_Variant value;
      EXPECT_EQ(expr.ExecExpr(host, value), kOk);
      EXPECT_EQ(kt::test::Show(value), x > 2 ? "1" : "0") << x << " run " << run;
      if (x % 2 == 1) continue;
      EXPECT_EQ(expr.ExecExpr(&other, value), kOk);
      EXPECT_EQ(kt::test::Show(value), "0");
    }
    host->~Versioned();
  }
}

TEST(VersionedContext, WhatTheExpressionCallsMayChangeOrFreeIt) {
  for (const std::uint64_t version : {0, 1}) {
    Versioned host;
    host.version = version;
    host.variables.AddVariable(u"x", kt_long{3});
    auto expr = std::make_unique<Kt_Expr>(u"x + hook(x) + x");
    int calls = 0;
    host.on_hook = [&](Kt_ExprObject* context, const Kt_VariantList&, Kt_Variant& result) {
      ++calls;
      if (calls == 3) {  // inside of itself
        Kt_Variant inner;
        EXPECT_EQ(expr->ExecExpr(context, inner), kOk);
        EXPECT_EQ(kt::test::Show(inner), "106");
      }
      if (calls == 5) expr->SetExpr(u"0");
      if (calls == 9) expr.reset();
      result = kt_long{100};
      return kOk;
    };
    for (int run = 0; run < 7; ++run) {
      Kt_Variant value;
      EXPECT_EQ(expr->ExecExpr(&host, value), kOk);
      EXPECT_EQ(kt::test::Show(value), "106");
      if (calls == 5) *expr = Kt_WString(u"x + hook(x) + x");
    }
    Kt_Variant value;
    EXPECT_EQ(expr->ExecExpr(&host, value), kOk);
    EXPECT_EQ(expr, nullptr);
  }
}

}  // namespace
