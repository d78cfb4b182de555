// SPDX-License-Identifier: MIT
//
// A budget holds inside of built-ins, operators and methods of datasets: they end soon after the
// bound, the stop is reported once, nobody sees what they left, and the next run works again.
// bench/bounds_sweep.cpp measures how soon; here two seconds are soon, for slow machines.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "classlib/store/Kt_Dataset.h"
#include "common/test_host.h"
#include "dataset/Kt_ExprDataset.h"
#include "expr/Kt_Expr.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kSoon{2};

// A host with a dataset `d` that scripts name.
class Host : public TestHost {
 public:
  Host() {
    data.AddColumn(u"num", u"long");
    data.AddColumn(u"name", u"string");
    data.AddColumn(u"any", u"variant");
    data.AppendRow(kRows);
    for (kt_long row = 0; row < kRows; ++row) {
      data.SetColumn(row, 0, (row * 7919) % kRows);
      data.SetColumn(row, 1, Kt_Variant(row * 31 % kRows).ToString());
      data.SetColumn(row, 2, Kt_Variant(row % 100));
    }
    data.ApplyChange();
  }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (!name.EqualsNoCase(u"d")) return TestHost::GetVarType(name, info);
    info.SetDataset(&wrapper);
    return info.GetKind();
  }
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override {
    return name.EqualsNoCase(u"d") ? &wrapper : nullptr;
  }

  static constexpr kt_long kRows = 20000;
  Kt_Dataset data{u"d"};
  Kt_ExprDataset wrapper{&data, this};
};

enum Bound { kBySteps, kByDeadline, kByFlag };
constexpr kt_long kCodes[] = {kErrStepBudget, kErrDeadline, kErrCancelled};

// Runs main() of `text` until the bound stops it.
void ExpectStops(Host& host, const Kt_WString& text, Bound bound, std::int64_t steps = 20000) {
  Kt_Script script(&host);
  ASSERT_EQ(
      script.Parse(u"t", text + u" function fine() { return length('abc'); }", nullptr, nullptr),
      0);
  std::atomic<bool> cancel{false};
  Kt_RunBudget budget;
  Clock::time_point due = Clock::now() + std::chrono::milliseconds(30);
  std::thread other;
  if (bound == kBySteps) budget.limit_steps = steps;
  if (bound == kByDeadline) budget.deadline = due;
  if (bound == kByFlag) {
    budget.cancel = &cancel;
    other = std::thread([&] {
      std::this_thread::sleep_until(due);
      cancel = true;
    });
  }
  script.SetBudget(&budget);
  host.errors.clear();
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kCodes[bound]);
  EXPECT_LT(Clock::now() - due, kSoon);
  if (other.joinable()) other.join();
  EXPECT_EQ(host.errors.size(), 1u) << host.TakeReports();
  (void)host.TakeReports();
  script.SetBudget(nullptr);
  EXPECT_EQ(script.ExecFunc(u"fine", nullptr, result), 0);
  EXPECT_EQ(Show(result), "3");
}

const char16_t* const kWork[] = {
    u"replace(t, 'b', 'cc')",
    u"replace(t, 'aaab', '')",
    u"t.indexOf(p)",
    u"split(t, ',')",
    u"split(t, 'a', 'x')",
    u"NToken(t, 'a', 1000000000)",
    u"toUpper(t)",
    u"toLower(chr(233) + t)",
    u"half2full(t)",
    u"quote(t)",
    u"trim(space(9000000) + 'x')",
    u"urlEncode(t)",
    u"lengthb(t, 949)",
    u"isalpha(t)",
    u"stripNum(t)",
    u"rpad('x', 'y', 100000000)",
    u"lpad('x', chr(128512), 100000000)",
    u"textToBin(t)",
    u"t + t",
    u"t = t + ''",
    u"t < p",
    u"greatest(items)",
    u"'' + items",
    u"items = copy",
    u"eval('1' + replace(space(2000000), ' ', '+1'))",
    u"d.SaveXML()",
    u"d.SaveCSV()",
    u"d.SaveBIN()",
    u"d.Sort('name:d, any')",
    u"d.Sum('length(name) * num')",
    u"d.FindRow('any', 'none')",
    u"d.FindRowAs('name', 'none')",
};

TEST(Bounds, HoldInsideOfWork) {
  const Kt_WString head =
      u"function main() { var t = replace(space(9000000), ' ', 'a'); var p = mid(t, 0, 4000000) + "
      u"'b'; var items = array(2000000); var copy = array(2000000); var x; while (1) x = ";
  Host host;
  int turn = 0;
  for (const char16_t* const work : kWork) {
    SCOPED_TRACE(Kt_WString(work).ToUtf8());
    // Each kind of bound for a third of the rows: the way out is the same.
    ExpectStops(host, head + work + u"; }", static_cast<Bound>(turn++ % 3));
  }
}

// What an operation has done when it is stopped is taken back.
TEST(Bounds, DatasetsStayAsTheyWere) {
  const char16_t* const works[] = {
      u"d.Sort('name:d')",
      u"d.Sort('any, num:d')",
      u"d.LoadXML(text)",
      u"d.LoadXML(text, 0)",
      u"d.DeleteAll()",
      u"d.AppendDataset(d)",
      u"d.Filter('length(name + num) > 3')",
      u"d.Filter('num < 10000')",
  };
  Host host;
  for (kt_long row = 0; row < Host::kRows; row += 2) host.data.SetColumn(row, 0, kt_long{-1});
  Kt_WString before;
  ASSERT_GT(host.data.SaveDataXml(before, u"all", true), 0);
  host.variables.AddVariable(u"text", Kt_Variant(before));
  for (const char16_t* const work : works) {
    SCOPED_TRACE(Kt_WString(work).ToUtf8());
    ExpectStops(host, Kt_WString(u"function main() { ") + work + u"; while (1) {} }", kBySteps,
                1000);
    Kt_WString after;
    EXPECT_GT(host.data.SaveDataXml(after, u"all", true), 0);
    EXPECT_TRUE(after == before);
  }
}

TEST(Bounds, NobodySeesWhatStoppedWorkLeft) {
  const char16_t* const rows[] = {
      u"log(replace(t, 'a', 'b'));",
      u"log(t < u);",
      u"log(length(t + u));",
      u"thing.size = length(split(t, 'a'));",
      u"log(d.Sum('length(replace(space(3000000), 32, 1)) + num'));",
      u"kept += replace(t, 'a', 'b');",
      u"kept += t;",
  };
  Host host;
  for (const char16_t* const row : rows) {
    SCOPED_TRACE(Kt_WString(row).ToUtf8());
    Kt_Script script(&host);
    const Kt_WString text =
        Kt_WString(u"var kept = 'kept'; var t = space(3000000); var u = t + 1;") +
        u"function main() { while (1) { " + row + u" } }";
    ASSERT_EQ(script.Parse(u"t", text, nullptr, nullptr), 0);
    Kt_RunBudget budget;
    budget.limit_steps = 100;
    script.SetBudget(&budget);
    host.calls.clear();
    Kt_Variant result;
    EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kErrStepBudget);
    EXPECT_EQ(host.calls, "");
    EXPECT_EQ(Show(script.GetVariables().FindVariable(u"kept")->GetValue()), "'kept'");
    (void)host.TakeReports();
  }
}

TEST(Bounds, HoldForGlobalsWhileAScriptLoads) {
  TestHost host;
  Kt_Script script(&host);
  Kt_RunBudget budget;
  budget.limit_steps = 1000;
  script.SetBudget(&budget);
  const char16_t* const text =
      u"var big = length(replace(space(60000000), ' ', 'xx')); var small = length(space(60000));"
      u"function f() { while (1) {} } var loop = f(), last = 7;";
  EXPECT_EQ(script.Parse(u"t", text, nullptr, nullptr), 0);
  EXPECT_EQ(host.TakeReports(), "83B03240(big) 83B03240(f)");
  EXPECT_EQ(Show(script.GetVariables()), "big=- small=60000 loop=- last=7 ");
}

// Scripts that call each other: the bound of the outer one holds for both, and each has its own.
TEST(Bounds, Nest) {
  TestHost outer_host;
  TestHost inner_host;
  Kt_Script outer(&outer_host);
  Kt_Script inner(&inner_host);
  ASSERT_EQ(outer.Parse(u"o", u"function main() { return hook(); }", nullptr, nullptr), 0);
  ASSERT_EQ(inner.Parse(u"i", u"function main(n) { var i = 0; while (i < n) i++; return i; }",
                        nullptr, nullptr),
            0);
  outer_host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant& result) {
    Kt_Variant rounds(kt_long{1000});
    return inner.ExecFunc(u"main", 1, &rounds, result);
  };
  struct Row {
    std::int64_t outer_steps;
    std::int64_t inner_steps;
    kt_long code;
    std::size_t report_count;
  };
  // What stops the inner script fails a call of the outer one, which goes on.
  for (const Row& row :
       {Row{100, 0, kErrStepBudget, 1}, Row{0, 100, kOk, 1}, Row{100000, 100000, kOk, 0},
        Row{0, 0, kOk, 0}, Row{2006, 0, kOk, 0}, Row{2000, 0, kErrStepBudget, 1}}) {
    Kt_RunBudget outer_budget;
    Kt_RunBudget inner_budget;
    outer_budget.limit_steps = row.outer_steps;
    inner_budget.limit_steps = row.inner_steps;
    outer.SetBudget(&outer_budget);
    inner.SetBudget(&inner_budget);
    Kt_Variant result;
    EXPECT_EQ(outer.ExecFunc(u"main", nullptr, result), row.code) << row.outer_steps;
    EXPECT_EQ(inner_host.errors.size() + outer_host.errors.size(), row.report_count);
    inner_host.errors.clear();
    outer_host.errors.clear();
  }
}

// A host bounds work of its own.
TEST(Bounds, BoundedWork) {
  const Kt_WString text(std::u16string(5000000, u'a'));
  Kt_RunBudget budget;
  budget.limit_steps = 100;
  {
    Kt_BoundedWork work(budget);
    Kt_WString copy(text.View());
    EXPECT_TRUE(copy.IsEmpty());
    EXPECT_EQ(work.GetStopCode(), kErrStepBudget);
    EXPECT_EQ(Kt_WString(u"short"), u"short");
    EXPECT_TRUE(work.TakeReport());
    EXPECT_FALSE(work.TakeReport());
    {
      const Kt_WorkPause pause;
      EXPECT_EQ(Kt_WString(text.View()).GetLength(), 5000000);
    }
    TestHost host;
    Kt_Variant value;
    EXPECT_NE(Kt_Expr(u"1 + 2").ExecExpr(&host, value), 0);
    EXPECT_EQ(host.TakeReports(), "");  // it has been taken
  }
  EXPECT_EQ(Kt_WString(text.View()).GetLength(), 5000000);
  EXPECT_EQ(Kt_WorkMeter::CurrentStop(), 0);
}

// A statement whose parsing was stopped is parsed anew.
TEST(Bounds, StoppedParsingIsForgotten) {
  TestHost host;
  std::u16string sum(u"1");
  for (int term = 0; term < 30000; ++term) sum += u"+1";
  Kt_Expr expr(sum.c_str());
  Kt_Variant value;
  Kt_RunBudget budget;
  budget.deadline = Clock::now();
  {
    const Kt_BoundedWork work(budget);
    EXPECT_EQ(expr.ExecExpr(&host, value), kErrDeadline);
  }
  EXPECT_EQ(host.TakeReports(), "83B03241(expression)");
  EXPECT_EQ(expr.ExecExpr(&host, value), 0);
  EXPECT_EQ(Show(value), "30001");
}

}  // namespace
