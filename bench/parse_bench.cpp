// SPDX-License-Identifier: MIT
//
// Tokenizing and parsing of expression text, 10 KB to 10 MB in two shapes: many expressions as
// scripts have them, and one long one. The bytes per second should not depend on the size. One
// source character counts as one byte. And what the first call of a long function costs, which
// parses its expressions and makes its code.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <optional>
#include <vector>

#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_Script.h"

namespace {

constexpr const char16_t* kSamples[] = {
    u"price * qty * (1 + taxRate / 100)",
    u"customer.name + ' <' + customer.mail + '>'",
    u"orders[i].total >= limit && !orders[i].closed",
    u"round(sum / max(count, 1), 2)",
    u"i < length(text)",
    u"iif(state = 'open' or state = 'held', dueDate - today(), 0)",
    u"table[row + 1][column - offset] * 0.125 - base",
    u"index++",
    u"substr(line, pos, indexOf(line, \"\\\"\", pos) - pos)",
    u"a * x * x + b * x + c",
};

struct Source {
  std::vector<Kt_WString> expressions;
  std::int64_t length = 0;
};

Source ManyExpressions(std::int64_t length) {
  Source source;
  for (std::size_t n = 0; source.length < length; ++n) {
    source.expressions.emplace_back(kSamples[n % std::size(kSamples)]);
    source.length += source.expressions.back().GetLength();
  }
  return source;
}

Source OneExpression(std::int64_t length) {
  Kt_WString text(u"0");
  for (std::size_t n = 0; text.GetLength() < length; ++n) {
    text += u" + (";
    text += kSamples[n % std::size(kSamples)];
    text += u")";
  }
  return {{text}, text.GetLength()};
}

using MakeSource = Source (*)(std::int64_t length);

void SetBytes(benchmark::State& state, const Source& source) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * source.length);
}

kt_long CountTokens(const Kt_WString& text) {
  kt_long count = 0;
  for (kt_long at = 0; at < text.GetLength(); ++count) {
    int start = 0;
    int length = 0;
    const int next =
        Kt_ExprUtil::FindToken(text.GetText() + at, text.GetLength() - at, start, length);
    if (next < 1) break;
    at += next;
  }
  return count;
}

void BM_Tokenize(benchmark::State& state, MakeSource make) {
  const Source source = make(state.range(0));
  std::int64_t count = 0;
  for (auto _ : state) {
    count = 0;
    for (const Kt_WString& text : source.expressions) count += CountTokens(text);
    benchmark::DoNotOptimize(count);
  }
  if (count < source.length / 8) state.SkipWithError("tokens are missing");
  SetBytes(state, source);
}

void BM_Validate(benchmark::State& state, MakeSource make) {
  const Source source = make(state.range(0));
  for (auto _ : state) {
    for (const Kt_WString& text : source.expressions) {
      if (Kt_ExprUtil::IsValidExpr(text.GetText(), text.GetLength()) != 0) {
        state.SkipWithError("a sample is not well formed");
      }
    }
  }
  SetBytes(state, source);
}

// Every expression in a fresh object, as the script parser makes them.
void BM_Parse(benchmark::State& state, MakeSource make) {
  const Source source = make(state.range(0));
  Kt_WString error;
  for (auto _ : state) {
    for (const Kt_WString& text : source.expressions) {
      Kt_Expr expr;
      if (expr.Parse(text, error) != kStateOrdinary) state.SkipWithError("a sample does not parse");
      benchmark::DoNotOptimize(expr.GetFirstOp());
    }
  }
  SetBytes(state, source);
}

// A function of so many lines that does nothing when it is called with -1.
Kt_WString LongFunction(std::int64_t lines) {
  constexpr const char16_t* kLines[] = {
      u"  var total = 0;\n",
      u"  for (var i = 0; i < length(name); i++) total += i * 3 + count;\n",
      u"  if (total > limit && state == 'open') { total = round(total / 2, 2); }\n",
      u"  name = left(name, 3) + ' ' + mid(name, 5, 2) + total;\n",
      u"  rows[count % 7] = total * (1 + rate / 100);\n",
      u"  switch (state) { case 'open': count++; case 'held': count += 2; }\n",
      u"  count = count + indexOf(name, state) - rows[2];\n",
  };
  Kt_WString text(u"function f(count, name, limit, state, rate, rows) {\n");
  text += u"  if (count < 0) return 0;\n";
  for (std::int64_t line = 2; line < lines; ++line) {
    text += kLines[static_cast<std::size_t>(line) % std::size(kLines)];
  }
  return text + u"}\n";
}

// Time of the first call, and the heap that it leaves in use, as a multiple of the source's bytes.
void BM_FirstCall(benchmark::State& state) {
  const Kt_WString text = LongFunction(state.range(0));
  const Kt_VariantList args{Kt_Variant(kt_long{-1})};
  double heap_bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<Kt_Script> script(std::in_place, nullptr);
    if (script->Parse(u"f", text, nullptr, nullptr) != 0) state.SkipWithError("does not parse");
    const auto before = static_cast<double>(mallinfo2().uordblks);
    state.ResumeTiming();
    Kt_Variant result;
    if (script->ExecFunc(u"f", &args, result) != 0) state.SkipWithError("does not run");
    state.PauseTiming();
    heap_bytes = static_cast<double>(mallinfo2().uordblks) - before;
    script.reset();
    state.ResumeTiming();
  }
  state.counters["heap_per_source_byte"] = heap_bytes / (2.0 * text.GetLength());
}

void Sizes(benchmark::internal::Benchmark* bench) {
  for (const std::int64_t length : {10'000, 100'000, 1'000'000, 10'000'000}) bench->Arg(length);
}

BENCHMARK_CAPTURE(BM_Tokenize, many, ManyExpressions)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Tokenize, one, OneExpression)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Validate, many, ManyExpressions)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Validate, one, OneExpression)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Parse, many, ManyExpressions)->Apply(Sizes);
BENCHMARK_CAPTURE(BM_Parse, one, OneExpression)->Apply(Sizes);
BENCHMARK(BM_FirstCall)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
