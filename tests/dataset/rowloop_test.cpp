// SPDX-License-Identifier: MIT
//
// What row expressions may do to the rows they run over, and the forms of evaluation against each
// other.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <random>
#include <thread>
#include <utility>

#include "classlib/base/Kt_WorkThreads.h"
#include "dataset/rows/Kt_RowExpr.h"
#include "dataset/rows/Kt_RowTeam.h"
#include "dataset_test_util.h"

namespace {

using namespace kt::test;  // NOLINT(google-build-using-namespace): the helpers
using kt::detail::Helper;
using kt::detail::RowExpr;
using kt::detail::RowTeam;

// Rows that change under a loop
// --------------------------------------------------------------------

struct Stage {
  Stage() {
    host.datasets = {wrapper.get()};
    data->Filter(5);  // hides n = 6
    host.on_hook = [this](auto*, auto&, Kt_Variant& result) {
      result = kt_long{1};
      if (++hooks == 2 && action) action(*this);
      return kOk;
    };
  }

  DataHost host;
  std::unique_ptr<Kt_Dataset> data =
      MakeDataset(u"d", u"n:long,s:string\n1,a\n2,b\n3,c\n4,\n5,e\n6,f\n");
  std::unique_ptr<Kt_Dataset> other = MakeDataset(u"d", u"n:long\n7\n");
  std::unique_ptr<Kt_ExprDataset> wrapper = std::make_unique<Kt_ExprDataset>(data.get(), &host);
  std::function<void(Stage&)> action;
  int hooks = 0;
};

const struct {
  const char* name;
  void (*act)(Stage&);
} kActions[] = {
    {"delete the first row", [](Stage& stage) { stage.data->DeleteRow(0); }},
    {"delete all rows", [](Stage& stage) { stage.data->ClearData(); }},
    {"drop columns", [](Stage& stage) { stage.data->Clear(); }},
    {"add a column", [](Stage& stage) { stage.data->AddColumn(u"m", u"long"); }},
    {"append rows", [](Stage& stage) { stage.data->AppendRow(3000); }},
    {"sort", [](Stage& stage) { stage.data->Sort(u"n:d"); }},
    {"write", [](Stage& stage) { stage.data->SetColumn(0, 0, u"9"); }},
    {"hide", [](Stage& stage) { stage.data->LocFilter(0); }},
    {"show", [](Stage& stage) { stage.data->UnFilter(); }},
    {"filter inside", [](Stage& stage) { Eval(&stage.host, u"d.Filter('n > 2')"); }},
    {"total inside", [](Stage& stage) { Eval(&stage.host, u"d.SumNF('n + 0')"); }},
    {"load", [](Stage& stage) { stage.data->LoadCSV(u"s:long\n3\n"); }},
    {"destroy the dataset", [](Stage& stage) { stage.data.reset(); }},
    {"destroy the wrapper",
     [](Stage& stage) {
       stage.host.datasets.clear();
       stage.wrapper.reset();
     }},
    {"destroy both",
     [](Stage& stage) {
       stage.host.datasets.clear();
       stage.wrapper.reset();
       stage.data.reset();
     }},
    {"take the dataset away", [](Stage& stage) { stage.wrapper->SetDataset(nullptr); }},
    {"give another dataset", [](Stage& stage) { stage.wrapper->SetDataset(stage.other.get()); }},
};

// Every loop ends, and what is left of the datasets is whole.
TEST(RowLoop, RowsThatChangeUnderIt) {
  const char16_t* const calls[] = {
      u"d.Sum('hook() + n')",
      u"d.SumNF('hook() + n')",
      u"d.Avg('hook()')",
      u"d.Max('hook()')",
      u"d.CaseCount('hook()')",
      u"d.CaseSum('hook()', 'n')",
      u"d.CaseSumNF('n > 0', 'hook() + n')",
      u"d.CaseMaxNF('hook()', 's')",
      u"d.SearchRow('hook() = 2')",
      u"d.SearchRowNF('hook() = 2')",
      u"d.Filter('hook() = 2')",
      u"d.Filter('n > hook()')",
  };
  for (const auto& action : kActions) {
    for (const char16_t* const call : calls) {
      SCOPED_TRACE(std::string(action.name) + " in " + Kt_WString(call).ToUtf8());
      Stage stage;
      stage.action = action.act;
      Eval(&stage.host, call);
      EXPECT_GE(stage.hooks, 1) << "nothing happened";
      ExpectWhole(stage.data.get());
      ExpectWhole(stage.other.get());
    }
  }
}

TEST(RowLoop, GoesOnOverTheRowsThatAreLeft) {
  Stage stage;
  stage.action = [](Stage& inside) { inside.data->DeleteRow(4); };
  EXPECT_EQ(Eval(&stage.host, u"d.CaseCount('hook()')"), "4");
  Stage more;
  more.action = [](Stage& inside) { inside.data->AppendRow(10); };
  EXPECT_EQ(Eval(&more.host, u"d.CaseCount('hook()')"), "5");  // not beyond the range of the call
}

TEST(RowLoop, FiltersAreOnAgain) {
  Stage stage;
  stage.data->LocFilter(0);
  Eval(&stage.host, u"d.SumNF('hook() * nosuch')");
  EXPECT_TRUE(stage.data->GetFilterStat() && stage.data->GetLocFilterStat());
  EXPECT_EQ(stage.data->GetRowCount(), 4);
  // Rows that came or went make verdicts void; the filter then hides nothing.
  stage.hooks = 0;
  stage.action = [](Stage& inside) { inside.data->DeleteRow(0); };
  Eval(&stage.host, u"d.Filter('hook() = 2')");
  EXPECT_EQ(stage.data->GetRowCount(), 5);
}

// The forms of evaluation against each other
// ---------------------------------------------------------

// Expressions over the columns of Table and what stands around them.
class ExprMaker {
 public:
  // With `texts` more of it is about the column of texts.
  explicit ExprMaker(unsigned seed, bool texts = false) : random_(seed), texts_(texts) {}

  std::u16string Make(int depth = 4) {
    switch (Pick(depth > 0 ? 16 : 2)) {
      case 0: return Name();
      case 1: return Constant();
      case 2: return u"(" + Make(depth - 1) + u")";
      case 3: return u"(-" + Make(depth - 1) + u")";
      case 4: return u"(!(" + Make(depth - 1) + u"))";
      case 5: return Call(depth);
      default: return Make(depth - 1) + Operator() + Make(depth - 1);
    }
  }

 private:
  unsigned Pick(unsigned count) { return random_() % count; }
  template <std::size_t kCount>
  std::u16string Any(const char16_t* const (&choices)[kCount]) {
    return choices[Pick(kCount)];
  }
  std::u16string Name() {
    static const char16_t* const kNames[] = {
        u"a",       u"b",      u"l",     u"x",      u"s", u"m", u"t", u"a", u"b", u"A", u"rowidx",
        u"rowtype", u"currow", u"count", u"hosted", u"o", u"p", u"q", u"p", u"q", u"w", u"z"};
    static const char16_t* const kRare[] = {u"nosuch", u"v", u"bin", u"prevrow", u"rangecount"};
    if (texts_ && Pick(4) > 0) return u"s";
    return Pick(8) == 0 ? Any(kRare) : Any(kNames);
  }
  std::u16string Constant() {
    static const char16_t* const kConstants[] = {
        u"0",   u"1",   u"2",    u"3",  u"7",    u"2147483647", u"0.5", u"2.5",
        u"1.0", u"'3'", u"'ab'", u"''", u"null", u"true",       u"100", u"'B'"};
    return Any(kConstants);
  }
  std::u16string Operator() {
    static const char16_t* const kOperators[] = {
        u" + ",  u" - ", u" * ",  u" / ",  u" % ",  u" > ",   u" < ",  u" >= ",
        u" <= ", u" = ", u" <> ", u" && ", u" || ", u" and ", u" or ", u" == "};
    return Any(kOperators);
  }
  std::u16string Call(int depth) {
    static const char16_t* const kCalls[] = {u"abs(",   u"length(", u"toupper(", u"type(",
                                             u"floor(", u"trim(",   u"tolower(", u"tonumber("};
    static const char16_t* const kPairs[] = {u"left(", u"greatest(", u"round(",
                                             u"pos(",  u"right(",    u"indexof("};
    static const char16_t* const kRare[] = {u"eval('a + 1')", u"Sum('a')", u"s[0]",     u"b.abs",
                                            u"a++",           u"log(a)",   u"array(-1)"};
    if (Pick(10) == 0) return Any(kRare);
    if (Pick(3) == 0) {
      return u"iif(" + Make(depth - 1) + u", " + Make(depth - 1) + u", " + Make(depth - 2) + u")";
    }
    if (Pick(2) == 0) return Any(kCalls) + Make(depth - 1) + u")";
    return Any(kPairs) + Make(depth - 1) + u", " + Make(depth - 2) + u")";
  }

  std::mt19937 random_;
  bool texts_;
};

// Columns of every type, with and without nulls, edges among the values.
std::unique_ptr<Kt_Dataset> Table(unsigned seed, kt_long rows) {
  std::mt19937 random(seed);
  auto data = MakeDataset(u"d", u"");
  const char16_t* const columns[][2] = {{u"a", u"long"},   {u"b", u"double"},  {u"l", u"long"},
                                        {u"x", u"double"}, {u"s", u"string"},  {u"m", u"currency"},
                                        {u"t", u"date"},   {u"v", u"variant"}, {u"bin", u"binary"}};
  for (const auto& column : columns) data->AddColumn(column[0], column[1]);
  data->AppendRow(rows);
  const kt_long longs[] = {0, 1, -1, 3, 7, 2147483647, -2147483647 - 1, 100};
  const double doubles[] = {0, 1, -0.5, 2.5, 0.25, 1e300, std::nan(""), 3};
  const unsigned nulls = seed / 8 % 4 * 2;  // of eight cells of `a` and `b`
  const char16_t* const texts[] = {u"", u"a", u"B", u"ab", u"3", u"2.5", u"true", u"z"};
  for (kt_long row = 0; row < rows; ++row) {
    const auto pick = [&] { return random() % 8; };
    if (pick() >= nulls) data->SetColumn(row, 0, longs[pick() % (seed % 3 == 0 ? 8 : 5)]);
    if (pick() >= nulls) data->SetColumn(row, 1, doubles[pick()]);
    if (pick() < 6) data->SetColumn(row, 2, longs[pick()]);
    if (pick() < 6) data->SetColumn(row, 3, doubles[pick()]);
    if (pick() < 7) data->SetColumn(row, 4, texts[pick()]);
    data->SetColumn(row, 5, doubles[pick() % 5]);
    data->SetColumn(row, 6, Kt_DateTime{45000.0 + pick()});
    data->SetColumn(row, 7, pick() < 4 ? Kt_Variant(texts[pick()]) : Kt_Variant(longs[pick()]));
    if (pick() < 4) data->SetColumn(row, 8, texts[pick()]);
  }
  data->ApplyChange();
  return data;
}

void Arrange(Kt_Dataset& data, unsigned seed) {
  if (seed % 2 == 0) data.DeleteRow(1);
  if (seed % 3 == 0) data.InsertRow(2);
  if (seed % 5 == 0) data.Sort(u"s, a:d", true, false, true);
  for (kt_long row = data.GetRowCount() - 1; row >= 0 && seed % 4 == 0; row -= 3) data.Filter(row);
  if (seed % 10 == 0) {
    data.ModifyKeyStat(Kt_KeyCall::kAdd, Kt_KeyType::kPivotValue, 1, true, Kt_Aggregate::kSum);
    data.RecalcGroup();
  }
}

// The records of a table in a dataset of their own, from which some have gone since.
std::unique_ptr<Kt_Dataset> ShownBy(Kt_Dataset& table, unsigned seed) {
  if (seed % 4 == 1) Arrange(table, seed / 4);
  auto data = std::make_unique<Kt_Dataset>(u"d");
  data->SetSource(&table);
  for (kt_long row = table.GetRowCount() - 1; row >= 0 && seed % 3 != 2; row -= 5) {
    table.DeleteRow(row);
  }
  if (seed % 3 == 1) table.ApplyChange();
  if (seed % 6 == 1) table.AppendRow(2);  // in places of those that went
  return data;
}

// Columns that are computed, by each other too; what they are and of which type hangs on the seed.
void AddComputed(Kt_Dataset& data, unsigned seed) {
  static const char16_t* const kMaps[] = {u"b * l",      u"a + l",       u"x / 2",
                                          u"rowidx * 2", u"b",           u"-b",
                                          u"a % l",      u"length(s)",   u"s",
                                          u"p",          u"p + q",       u"q * q - x",
                                          u"p && l",     u"sqrt(x) - p", u"null",
                                          u"log(x) + 1", u"q / (l + p)", u"iif(a > 0, b, p)",
                                          u"1 / l > 0",  u"toNumber(s)", u"hosted + a",
                                          u"s + 'x'",    u"rowtype",     u"2147483647 * l"};
  std::mt19937 random(seed);
  for (const char16_t* const name : {u"p", u"q", u"w", u"z"}) {
    const unsigned pick = random();
    const Kt_WString map = pick % 4 == 0 ? Kt_WString(ExprMaker(random()).Make(2))
                                         : Kt_WString(kMaps[random() % std::size(kMaps)]);
    const char16_t* const types[] = {u"double", u"long", u"double", u"", u"currency", u"variant"};
    const unsigned most = pick / 4 % 5 == 0 ? 6 : 2;
    data.AddLogicalColumn(name, map, types[random() % most]);
  }
}

// Some have the records of `table`, some of these also its computed columns.
struct Setting {
  Setting(unsigned seed, kt_long rows) : Setting(seed, Table(seed, rows)) {}
  Setting(unsigned seed, std::unique_ptr<Kt_Dataset> table) : data(std::move(table)) {
    if (seed % 7 < 2) {
      source = std::move(data);
      if (HasComputingSource(seed)) AddComputed(*source, seed);
      source_wrapper.SetDataset(source.get());
      data = ShownBy(*source, seed);
    }
    wrapper.SetDataset(data.get());
    const kt_long own = data->AddColumn(u"o", u"double");
    for (kt_long row = 0; row < data->GetRowCount(); row += 2) data->SetColumn(row, own, row * 1.5);
    AddComputed(*data, seed);
    Arrange(*data, seed);
    host.datasets = {&wrapper};
    host.variables.AddVariable(u"hosted", kt_long{3});
  }
  DataHost host;
  std::unique_ptr<Kt_Dataset> source;  // null: `data` has its own records
  std::unique_ptr<Kt_Dataset> data;
  Kt_ExprDataset source_wrapper{nullptr, &host};
  Kt_ExprDataset wrapper{nullptr, &host};

  static bool HasComputingSource(unsigned seed) { return seed % 14 < 2; }
  std::string Call(const char16_t* method, const Kt_VariantList& args) {
    Kt_Variant result;
    const kt_long code = RunMethod(wrapper, method, &args, result);
    return std::to_string(code) + " " + Show(result) + " " + host.TakeReports();
  }
  // With the steps that it takes.
  std::string CountedCall(const char16_t* method, const Kt_VariantList& args) {
    Kt_RunBudget budget;
    budget.limit_steps = 1000000000;
    Kt_WorkMeter meter;
    meter.Start(&budget);
    std::string out = Call(method, args);
    (void)meter.LookNow();
    const std::int64_t left = meter.GetLeft() / Kt_WorkMeter::kUnitsPerStep;
    meter.Finish();
    return out + " " + std::to_string(budget.limit_steps - left);
  }
};

// Which rows are shown; of few rows the cells as well.
std::string ShowRows(const Kt_Dataset& data) {
  constexpr kt_long kFew = 100;
  if (data.GetRowCount() < kFew) return ShowTable(data);
  std::string out;
  for (kt_long row = 0; row < data.GetRowCount(); ++row) {
    out += std::to_string(data.GetRowIndexNF(row)) + " " +
           data.ReadColumn(row, 0).ToString().ToUtf8() + "|";
  }
  return out;
}

// All that can be seen of an expression: its value in every row, and what the loops make of it.
std::string Outcome(Setting&& setting, const Kt_WString& text, bool each_row, bool counts_steps) {
  std::string out;
  const auto call = [&](const char16_t* method, const Kt_VariantList& args) {
    out += Kt_WString(method).ToUtf8() + " ";
    out += counts_steps ? setting.CountedCall(method, args) : setting.Call(method, args);
    out += "\n";
  };
  for (kt_long row = 0; each_row && row < setting.data->GetRowCount(); ++row) {
    call(u"Max", {text, row, kt_long{1}});
  }
  call(u"Max", {text});
  call(u"MinNF", {text});
  call(u"CaseMin", {u"a > 0 || x < 1", text});
  call(u"SumNF", {text});
  call(u"CaseSum", {text, u"b + a"});
  call(u"CaseSum", {u"l > p", u"q - p"});
  call(u"CaseAvg", {text, u"(b)"});
  call(u"CaseSumNF", {u"a + x > l", u"(b)", kt_long{1}});
  call(u"CaseAvgNF", {u"a > 0 || x < 1", text});
  call(u"SearchRow", {text, kt_long{2}});
  call(u"Sum", {u"p"});
  call(u"Filter", {text});
  call(u"AvgNF", {u"q"});
  call(u"Max", {u"w"});
  call(u"Sort", {u"q, p:d"});
  return out + ShowRows(*setting.data) + setting.host.calls;
}

class Forms : public testing::Test {
 protected:
  ~Forms() override { RowExpr::SetBestForm(RowExpr::Form::kBlocks); }
  // Blocks round numbers in rows that nobody asks for, which counts where they have hundreds of
  // digits; and a cell that a source computes may have its subtotals laid.
  static std::string OutcomeOf(unsigned seed, kt_long rows, const Kt_WString& text, bool each_row) {
    Setting setting(seed, rows);
    bool counts_steps = text.Find(u"round") < 0 && !Setting::HasComputingSource(seed);
    for (kt_long col = 0; col < setting.data->GetColCount(); ++col) {
      counts_steps = counts_steps && setting.data->GetColMapValue(col).Find(u"round") < 0;
    }
    return Outcome(std::move(setting), text, each_row, counts_steps);
  }
  static void ExpectSame(unsigned seed, kt_long rows, const Kt_WString& text, bool each_row) {
    RowExpr::SetBestForm(RowExpr::Form::kEvaluator);
    const std::string wanted = OutcomeOf(seed, rows, text, each_row);
    RowExpr::SetBestForm(RowExpr::Form::kCompiled);
    EXPECT_EQ(OutcomeOf(seed, rows, text, each_row), wanted) << text.ToUtf8() << " seed " << seed;
    RowExpr::SetBestForm(RowExpr::Form::kBlocks);
    EXPECT_EQ(OutcomeOf(seed, rows, text, each_row), wanted) << text.ToUtf8() << " seed " << seed;
  }
};

class RandomForms : public Forms, public testing::WithParamInterface<unsigned> {};

// In portions, so that slow builds stay within the time of one test.
TEST_P(RandomForms, Agree) {
  constexpr unsigned kPortion = 2500;
  const unsigned first = GetParam() * kPortion;
  for (unsigned seed = first; seed < first + kPortion && !HasFailure(); ++seed) {
    ExpectSame(seed, 6, Kt_WString(ExprMaker(seed).Make()), true);
  }
}
INSTANTIATE_TEST_SUITE_P(Expressions, RandomForms, testing::Range(0U, 10U));

// Parts that depend on the column of texts are computed once for every text.
TEST_F(Forms, Texts) {
  for (unsigned seed = 0; seed < 3000 && !HasFailure(); ++seed) {
    ExpectSame(seed, 12, Kt_WString(ExprMaker(seed + 200000, true).Make()), seed % 8 == 0);
  }
}

// Expressions that go in blocks, whose left sides of && and || leave few rows open, or many, one in
// another: the right sides go over lists of rows then.
class NarrowingMaker {
 public:
  explicit NarrowingMaker(unsigned seed) : random_(seed) {}

  std::u16string Make(int depth = 4) {
    if (depth == 0) return Number(2) + Any({u" > ", u" <> ", u" < ", u" * "}) + Number(1);
    const std::u16string left = Pick(4) == 0 ? u"(" + Make(depth - 1) + u")" : Left();
    const std::u16string right = Make(depth - 1);
    const std::u16string both = left + Any({u" && ", u" && ", u" || "});
    return both + (Pick(2) == 0 ? right : u"(" + right + u")");
  }

 private:
  unsigned Pick(unsigned count) { return random_() % count; }
  std::u16string Any(std::initializer_list<const char16_t*> choices) {
    return choices.begin()[Pick(static_cast<unsigned>(choices.size()))];
  }
  std::u16string Left() {
    return Any({u"rowidx % 9 = 2", u"rowidx % 40 = 3", u"l = 7", u"x > 2.6", u"a > 3", u"l <> 1",
                u"rowidx > 250", u"rowidx % 9 <> 2", u"s = 'z'", u"b < -0.4", u"!(x > 2.6)", u"b"});
  }
  std::u16string Number(int depth) {
    if (depth == 0 || Pick(4) == 0) {
      return Any({u"a", u"b", u"l", u"x", u"rowidx", u"length(s)", u"2147483647", u"0.5", u"3"});
    }
    const std::u16string first = Number(depth - 1);
    const std::u16string second = Number(depth - 1);
    switch (Pick(8)) {
      case 0: return Any({u"sin(", u"abs(", u"round(", u"-("}) + first + u")";
      case 1: return Any({u"pow(", u"least(", u"greatest("}) + first + u", " + second + u")";
      case 2: return u"iif(" + Left() + u", " + first + u", " + second + u")";
      default: return u"(" + first + Any({u" + ", u" - ", u" * ", u" / ", u" % "}) + second + u")";
    }
  }

  std::mt19937 random_;
};
TEST_F(Forms, NarrowedRows) {
  for (unsigned seed = 0; seed < 160 && !HasFailure(); ++seed) {
    ExpectSame(seed, 300, Kt_WString(NarrowingMaker(seed).Make()), false);
  }
}

// Several blocks of rows, in every arrangement.
TEST_F(Forms, LongTables) {
  for (unsigned seed = 0; seed < 20 && !HasFailure(); ++seed) {
    ExpectSame(seed, 2500, Kt_WString(ExprMaker(seed + 100000).Make(3)), false);
  }
}

// Places where blocks and evaluation could part.
constexpr const char16_t* kKnownPlaces[] = {
    u"a && b || l",
    u"(a && b) && (l || x)",
    u"a || b && x || l",
    u"!(a && !b) || x > 1",
    u"a + b * l - x / a",
    u"a * a * a",
    u"a % l",
    u"-a",
    u"0 - a",
    u"s = 'B'",
    u"'B' < s",
    u"s > 2",
    u"s = null",
    u"left(s, 1) = 'a' && length(s) > 1 || x > 2",
    u"toupper(trim(s)) = 'AB'",
    u"length(s) * 2 > l",
    u"length(s) / 2",
    u"toNumber(s) > 2",
    u"toNumber(s)",
    u"s + s = 'aa'",
    u"indexof('zab', s)",
    u"replace(s, 'a', 'b') <> s || a > 0",
    u"left(s) = 'a'",
    u"lpad(s, 2000000000) = 'a'",
    u"time() > 0 && s = 'a'",
    u"log(length(s) - 1) > 0",
    u"a = null",
    u"x <> x",
    u"b",
    u"rowidx * 2 > l",
    u"b && x",
    u"a / l > 0.5",
    u"(a > 1) + (b > 1)",
    u"b * a",
    u"b * x",
    u"1 / (b * -3)",
    u"1 / (b * -l) + 1 / (x * -2.5)",
    u"x * l * (1 - b)",
    u"l - -x % b",
    u"b / l",
    u"l > x",
    u"b = null || l < 0",
    u"abs(a)",
    u"sqrt(abs(x)) * sin(b) + floor(b)",
    u"round(x, a) > round(b) || pow(b, 2) = 1",
    u"abs(abs(a) - abs(b))",
    u"iif(a > 1, a, l)",
    u"iif(b, b, x) * 2",
    u"iif(x, 1, 2) = a",
    u"iif(a, l, 0) && iif(b > x, b, x)",
    u"greatest(a, l)",
    u"least(b, x) + least(x, b)",
    u"greatest(a, 3) + greatest(null, l)",
    u"greatest(b, 1 / b) - floor(least(l, a))",
    u"iif(a > 1, a, b) + greatest(a, b)",
    u"abs(length(s) - 2) * greatest(length(s), a)",
    u"-abs(b) / (0 * -abs(a))",
    u"iif(l > 0, abs(-b), 1.5) = b",
    u"x <= 0 && l <> 0",
    u"b && x || !l",
    u"l > 1 && x < 2 && s <> 'B' && b < 1",
    u"a * 2147483647 - b",
    u"length(s) + b > x * a",
    // Longs among doubles, as null counts as one.
    u"1 / (b * x * -l)",
    u"b * x * (l - b) - b",
    u"(b - x) % (b * 3)",
    u"(b + 2147483647) * x + b",
    u"iif(a > 0, b * x, x - b)",
    u"greatest(b * l, x * b) + least(x - b, -b)",
    u"abs(b * x) + round(b * l)",
    u"b * x = 0 || b + x",
    u"x * -b",
    // What is settled in all rows.
    u"rowidx < 0 && length(s) > 1",
    u"rowidx >= 0 || toupper(s) = 'B' || a % l > 1",
    u"(rowidx < 0 && a > 1) || (rowidx < 50 && x > 1 && s < 'b')",
    u"a * 2147483647 > 1e9 * 1e9 && length(s) > 1",
    u"!(x * 0 && length(s)) && (b || rowidx < 9)",
    // What is open in few rows.
    u"rowidx % 9 = 2 && a * 2147483647 > b",
    u"rowidx % 9 = 2 && (b && x || l > 1) && iif(b, b, x)",
    u"iif(rowidx % 9 = 1 && greatest(b, x) > 1, b, x) + b",
    u"(l * l > 0 && iif(b, b, x) * sin(x) > 0.1) + greatest(b, x)",
    u"(rowidx % 9 = 1 && sin(-b) < x) + least(b, x) * rowidx",
    u"x > 2 && rowidx > 3 && sin(b) < 2 && l <> 0 || x < 0",
    u"rowidx % 9 <> 6 || toupper(left(s, 1)) = 'A' && sin(b) > rowidx",
    u"(a > 3 && toNumber(s) > 2) || length(s) * l > 3",
    u"rowidx % 5 = 1 && (rowidx % 3 = 2 && (x * a - b) / l > 0 || pow(x, 2) > 1) && b % x <> 1",
    u"b * x = 2.5 && (x - b) * pow(l, 2) - rowidx > b || x * 3",
};
TEST_F(Forms, KnownPlaces) {
  for (const char16_t* const text : kKnownPlaces) {
    for (unsigned seed = 0; seed < 12; ++seed) ExpectSame(seed, 40, text, true);
  }
}

// Two threads ------------------------------------------------------------------------------------

// Every other block of a round is made by the second thread, however busy the machine is.
class SharedRows : public testing::Test {
 protected:
  SharedRows() { Helper::SetTakesBack(false); }
  ~SharedRows() override { Helper::SetTakesBack(true); }

  static constexpr std::int64_t kManySteps = 1000000000;

  // With the units of work that it took.
  static std::string OutcomeOn(int threads, unsigned seed, const Kt_Dataset& table,
                               const Kt_WString& text) {
    const Kt_WorkThreads allowed(threads, 1);
    Kt_RunBudget budget;
    budget.limit_steps = kManySteps;
    Kt_WorkMeter meter;
    meter.Start(&budget);
    std::string out =
        Outcome(Setting(seed, std::make_unique<Kt_Dataset>(table)), text, false, false);
    (void)meter.LookNow();
    out += "\nleft " + std::to_string(meter.GetLeft());
    meter.Finish();
    return out;
  }
  static void ExpectSame(unsigned seed, const Kt_Dataset& table, const Kt_WString& text) {
    const std::string one = OutcomeOn(1, seed, table, text);
    const std::string two = OutcomeOn(2, seed, table, text);
    const auto differ = std::ranges::mismatch(one, two);
    const auto at = static_cast<std::size_t>(differ.in1 - one.begin());
    EXPECT_TRUE(one == two) << text.ToUtf8() << " seed " << seed << "\none ..."
                            << one.substr(at, 200) << "\ntwo ..." << two.substr(at, 200);
  }
};

TEST_F(SharedRows, RandomExpressions) {
  const std::int64_t before = RowTeam::blocks_there;
  for (unsigned seed = 0; seed < 6 && !HasFailure(); ++seed) {
    const auto table = Table(seed, 9000 + 997 * static_cast<kt_long>(seed));
    for (unsigned number = 0; number < 5 && !HasFailure(); ++number) {
      ExprMaker maker(seed * 100 + number + 400000, number == 0);
      ExpectSame(seed, *table, Kt_WString(maker.Make(1 + static_cast<int>(number) % 3)));
    }
  }
  EXPECT_GT(RowTeam::blocks_there - before, 100);
}

TEST_F(SharedRows, NarrowedRows) {
  const auto table = Table(23, 5000);
  for (unsigned seed = 0; seed < 12 && !HasFailure(); ++seed) {
    ExpectSame(23, *table, Kt_WString(NarrowingMaker(seed + 1000).Make()));
  }
}

TEST_F(SharedRows, KnownPlaces) {
  const std::int64_t before = RowTeam::blocks_there;
  constexpr unsigned kSeeds[] = {1, 12, 30, 23};
  const std::unique_ptr<Kt_Dataset> tables[] = {Table(1, 5000), Table(12, 5000), Table(30, 5000),
                                                Table(23, 9000)};
  for (std::size_t at = 0; at < std::size(kKnownPlaces); ++at) {
    ExpectSame(kSeeds[at % 4], *tables[at % 4], kKnownPlaces[at]);
  }
  EXPECT_GT(RowTeam::blocks_there - before, 100);
}

// The first row counts, whichever thread finds one; what lies after it is not charged. Budgets that
// end on the way there end the search.
TEST_F(SharedRows, FirstRowFound) {
  const std::int64_t before = RowTeam::blocks_there;
  const auto table = Table(11, 40000);
  constexpr kt_long kSome[] = {0, 1023, 1024, 9000, 9001, 20479, 33000, 39999, 40000};
  for (const kt_long row : kSome) {
    const std::string first = std::to_string(row);
    const std::string condition = "(rowidx = " + first + " || rowidx > " + first +
                                  " + 20 && x * 0 = 0) && rowidx * 2 - rowidx >= " + first;
    for (const std::int64_t steps : {std::int64_t{100000}, std::int64_t{row / 2 + 1},
                                     std::int64_t{row + 1}, std::int64_t{row + 5000}}) {
      std::string outcomes[2];
      for (int threads = 1; threads <= 2; ++threads) {
        const Kt_WorkThreads allowed(threads, 1);
        Setting setting(11, std::make_unique<Kt_Dataset>(*table));
        Kt_RunBudget budget;
        budget.limit_steps = steps;
        Kt_WorkMeter meter;
        meter.Start(&budget);
        std::string& outcome = outcomes[threads - 1];
        outcome = setting.Call(u"SearchRow", {Kt_WString::FromUtf8(condition)});
        if (meter.LookNow()) outcome += std::to_string(meter.GetLeft());
        meter.Finish();
      }
      EXPECT_EQ(outcomes[0], outcomes[1]) << row << ' ' << steps;
    }
  }
  EXPECT_GT(RowTeam::blocks_there - before, 100);
}

// Calls that stop show what one thread shows, whatever the second one was doing.
constexpr std::pair<const char16_t*, const char16_t*> kLongCalls[] = {
    {u"Sum", u"x * b + l"},
    {u"CaseMax", u"length(s) > 1 && l > 0"},
    {u"SearchRow", u"length(s) > 1000 || l * 0 > a * a"},
    {u"Filter", u"a > 0 && (l > 1 || s = 'z')"},
};

TEST_F(SharedRows, StopAsOneThreadDoes) {
  const auto table = Table(9, 40000);
  for (const auto& [method, text] : kLongCalls) {
    for (const kt_long part : {0, 1, 4, 9, 11}) {
      std::string outcomes[2];
      for (int threads = 1; threads <= 2; ++threads) {
        const Kt_WorkThreads allowed(threads, 1);
        Setting setting(9, std::make_unique<Kt_Dataset>(*table));
        Kt_RunBudget budget;
        budget.limit_steps = setting.data->GetRowCount() * part / (part < 10 ? 10 : 5) + 1;
        std::string& outcome = outcomes[threads - 1];
        {
          const Kt_BoundedWork bounds(budget);
          outcome = setting.Call(method, {Kt_WString(text), u"x"});
          outcome += std::to_string(bounds.GetStopCode());
          EXPECT_EQ(bounds.GetStopCode() == kErrStepBudget, part < 10) << part;
        }
        outcome += ShowTable(*setting.data);
      }
      EXPECT_EQ(outcomes[0], outcomes[1]) << Kt_WString(text).ToUtf8() << " " << part;
    }
  }
}

TEST_F(SharedRows, AreStoppedByFlagAndClock) {
  const Kt_WorkThreads allowed(2, 1);
  const auto table = Table(9, 40000);
  const std::string before = ShowTable(*Setting(9, std::make_unique<Kt_Dataset>(*table)).data);
  for (const auto& [method, text] : kLongCalls) {
    for (int round = 0; round < 6; ++round) {
      std::atomic<bool> cancel = false;
      Kt_RunBudget budget;
      const std::chrono::microseconds time(80 * round);
      if (round % 2 == 0) {
        budget.cancel = &cancel;
      } else {
        budget.deadline = std::chrono::steady_clock::now() + time;
      }
      Setting setting(9, std::make_unique<Kt_Dataset>(*table));
      std::thread canceller([&] {
        std::this_thread::sleep_for(time);
        cancel = true;
      });
      bool is_stopped = false;
      {
        const Kt_BoundedWork bounds(budget);
        const std::string out = setting.Call(method, {Kt_WString(text), u"x"});
        canceller.join();
        is_stopped = bounds.GetStopCode() != kOk;
        EXPECT_EQ(out.substr(0, 2) != "0 ", is_stopped) << out;
      }
      EXPECT_TRUE(!is_stopped || ShowTable(*setting.data) == before);
    }
  }
}

// A report in the middle of a walk is the host's turn: what was computed ahead of it is void.
TEST_F(SharedRows, RowsThatChangeUnderThem) {
  const std::function<void(Kt_Dataset&)> actions[] = {
      [](Kt_Dataset& data) { data.DeleteRow(20000); },
      [](Kt_Dataset& data) { data.ClearData(); },
      [](Kt_Dataset& data) { data.SetColumn(29999, 0, 5.0); },
      [](Kt_Dataset& data) { data.AddColumn(u"more", u"long"); },
      [](Kt_Dataset& data) { data.Sort(u"n:d"); },
      [](Kt_Dataset& data) { data.AppendRow(5000); },
  };
  for (const auto& action : actions) {
    std::string outcomes[2];
    for (int threads = 1; threads <= 2; ++threads) {
      const Kt_WorkThreads allowed(threads, 1);
      Kt_Dataset data(u"d");
      data.AddColumn(u"n", u"double");
      data.AddColumn(u"s", u"string");
      data.AppendRow(30000);
      for (kt_long row = 0; row < 30000; ++row) data.SetColumn(row, 0, row / 7.0);
      data.SetColumn(9000, 1, u"twenty-four letters or so");
      DataHost host;
      Kt_ExprDataset wrapper(&data, &host);
      host.datasets = {&wrapper};
      for (const char16_t* const method : {u"Sum", u"CaseCount", u"Filter"}) {
        Kt_Dataset kept(data);
        host.on_report = [&] { action(data); };
        Kt_Variant result;
        Kt_VariantList args;
        args.Add(Kt_WString(u"length(space(length(s) * 80000000)) + n * 2 > 5"));
        outcomes[threads - 1] += std::to_string(RunMethod(wrapper, method, &args, result));
        outcomes[threads - 1] += " " + Show(result) + " " + host.TakeReports() + " " +
                                 std::to_string(data.GetRowCount()) + "\n";
        host.on_report = nullptr;
        data = kept;
      }
    }
    EXPECT_EQ(outcomes[0], outcomes[1]);
    EXPECT_NE(outcomes[0].find("("), std::string::npos) << "nothing was reported: " << outcomes[0];
  }
}

}  // namespace
