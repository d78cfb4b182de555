// SPDX-License-Identifier: MIT
//
// The text functions over 1 KB, 1 MB and 10 MB: bytes a second must stay about the same. Then what
// one call of the most used functions costs.
#include <benchmark/benchmark.h>

#include <iterator>
#include <string>
#include <vector>

#include "classlib/base/Kt_Codes.h"
#include "object/Kt_ExprObject.h"

namespace {

class Context : public Kt_ExprObject {
 public:
  Context() : Kt_ExprObject(nullptr) {}
};

kt_long Call(const char16_t* name, const Kt_VariantList& args, Kt_Variant& result) {
  static Context context;
  const Kt_Getter handler = Kt_ExprObject::GetIntFunc(name);
  result.Clear();
  return (static_cast<Kt_Object&>(context).*handler)(&args, result);
}

Kt_WString Repeat(std::u16string_view part, std::int64_t units) {
  Kt_WString text;
  while (text.GetLength() < units) text += part;
  return text;
}

struct TextCase {
  const char* label;
  const char16_t* function;
  std::u16string_view part;                   // what the text is made of
  std::vector<Kt_Variant> more;               // the arguments after the text
  kt_long (*wanted)(const Kt_WString& text);  // length of the result
};

kt_long SameLength(const Kt_WString& text) { return text.GetLength(); }
kt_long NotFound(const Kt_WString&) { return 0; }
constexpr std::u16string_view kWords = u"abc,def,ghi,jkl;";

const TextCase kCases[] = {
    {"replace",
     u"replace",
     kWords,
     {u",", u"--"},
     [](const Kt_WString& text) { return text.GetLength() / 16 * 19; }},
    {"split",
     u"split",
     kWords,
     {u","},
     [](const Kt_WString& text) { return text.GetLength() / 16 * 3 + 1; }},
    {"NToken", u"NToken", kWords, {u",", kt_long{2000000000}}, NotFound},
    {"pos", u"pos", kWords, {u"jkl,"}, NotFound},
    {"quote", u"quote", kWords, {}, [](const Kt_WString& text) { return text.GetLength() + 2; }},
    {"toUpper/ascii", u"toUpper", kWords, {}, SameLength},
    {"toUpper/unicode", u"toUpper", u"abc,d\u00E9f,ghi,jkl", {}, SameLength},
    {"trim", u"trim", kWords, {}, SameLength},
    {"full2half", u"full2half", u"abc,\uFF21\uFF22\uFF23def", {}, SameLength},
    {"urlEncode",
     u"urlEncode",
     kWords,
     {},
     [](const Kt_WString& text) { return text.GetLength() / 16 * 24; }},
};

void BM_Text(benchmark::State& state) {
  const TextCase& row = kCases[state.range(0)];
  const Kt_WString text = Repeat(row.part, state.range(1));
  Kt_VariantList args{Kt_Variant(text)};
  for (const Kt_Variant& value : row.more) args.Add(value);
  Kt_Variant result;
  for (auto _ : state) {
    if (Call(row.function, args, result) != kOk) state.SkipWithError("failed");
  }
  const kt_long length = result.IsList()   ? result.ListCount()
                         : result.IsLong() ? result.ToInteger() + 1
                                           : result.ToString().GetLength();
  if (length != row.wanted(text)) state.SkipWithError("wrong answer");
  state.SetLabel(row.label);
  state.SetBytesProcessed(state.iterations() * text.GetLength() * 2);
}
BENCHMARK(BM_Text)->ArgsProduct({benchmark::CreateDenseRange(0, std::size(kCases) - 1, 1),
                                 {1 << 9, 1 << 19, 5 << 20}});

struct CallCase {
  const char* label;
  const char16_t* function;
  std::vector<Kt_Variant> args;
  const char* wanted;
};

const CallCase kCalls[] = {
    {"toString", u"toString", {kt_long{123}}, "123"},
    {"toString/double", u"toString", {2.5}, "2.5"},
    {"mid", u"mid", {u"hello world", kt_long{6}, kt_long{3}}, "wor"},
    {"left", u"left", {u"hello world", kt_long{5}}, "hello"},
    {"asc", u"asc", {u"A"}, "65"},
    {"chr", u"chr", {kt_long{65}}, "A"},
    {"length", u"length", {u"hello"}, "5"},
    {"pos", u"pos", {u"hello world", u"wor"}, "6"},
    {"toUpper", u"toUpper", {u"hello world"}, "HELLO WORLD"},
    {"trim", u"trim", {u" hello "}, "hello"},
    {"lpad", u"lpad", {kt_long{7}, u"0", kt_long{3}}, "007"},
    {"iif", u"iif", {kt_long{1}, kt_long{2}, kt_long{3}}, "2"},
    {"decode", u"decode", {kt_long{3}, kt_long{1}, kt_long{2}, kt_long{3}, kt_long{4}}, "4"},
    {"abs", u"abs", {-2.5}, "2.5"},
    {"floor", u"floor", {2.5}, "2"},
    {"round", u"round", {2.675, kt_long{2}}, "2.68"},
    {"toInteger", u"toInteger", {u"12"}, "12"},
    {"NumFormat", u"NumFormat", {1234567.891, kt_long{2}}, "1,234,567.89"},
    {"addDate", u"addDate", {u"20240228", kt_long{2}}, "20240301"},
    {"random", u"random", {kt_long{5}, kt_long{5}}, "5"},
};

void BM_Call(benchmark::State& state) {
  const CallCase& row = kCalls[state.range(0)];
  Kt_VariantList args;
  for (const Kt_Variant& value : row.args) args.Add(value);
  Kt_Variant result;
  for (auto _ : state) benchmark::DoNotOptimize(Call(row.function, args, result));
  if (result.ToString().ToUtf8() != row.wanted) state.SkipWithError("wrong answer");
  state.SetLabel(row.label);
}
BENCHMARK(BM_Call)->DenseRange(0, std::size(kCalls) - 1);

}  // namespace
