// SPDX-License-Identifier: MIT
//
// Bounds of memory: what counts, where a run ends that passes one, and what is left behind.
#include <gtest/gtest.h>

#include <thread>

#include "classlib/base/Kt_Memory.h"
#include "dataset/dataset_test_util.h"

namespace kt::test {
namespace {

constexpr std::int64_t kMegabyte = std::int64_t{1} << 20;

// Notes where the script stood when an error was reported.
class BoundHost : public DataHost {
 public:
  void OnRunTimeError(const Kt_Result& result) override {
    DataHost::OnRunTimeError(result);
    if (script == nullptr) return;
    for (const Kt_ScriptPosition& at : script->GetCallStack()) {
      places += at.function.ToUtf8() + ":" + std::to_string(at.line) + " ";
    }
  }
  Kt_Script* script = nullptr;
  std::string places;
};

struct BoundRun {
  BoundHost host;
  Kt_Script script{&host};
  Kt_RunBudget budget;
  std::unique_ptr<Kt_Dataset> data = MakeDataset(u"ds", u"n:long,name:string\n1,apple\n");
  std::unique_ptr<Kt_ExprDataset> wrapper = std::make_unique<Kt_ExprDataset>(data.get(), &host);

  explicit BoundRun(const char16_t* text) {
    host.script = &script;
    host.datasets = {wrapper.get()};
    EXPECT_EQ(script.Parse(u"bound", text, nullptr, nullptr), kOk);
    script.SetBudget(&budget);
  }
  std::string Call(std::int64_t limit_bytes) {
    budget.limit_bytes = limit_bytes;
    Kt_Variant result;
    const kt_long code = script.ExecFunc(u"main", 0, nullptr, result);
    return code == kOk ? Show(result) : "!" + host.TakeReports();
  }
};

TEST(MemoryBound, EndsWhatGrowsForEver) {
  constexpr const char16_t* kScripts[] = {
      u"function main() { var s = 'text'; while (1) { s += s; } }",
      u"function main() { var s = space(100000), t = ''; while (1) { t = t + s; } }",
      u"function main() { var a = [0], i = 0; while (1) { a[i] = i; i++; } }",
      u"function main() { var a = [0], i = 0; while (1) { a[i] = 'an item of text ' + i; i++; } }",
      u"function main() { var a = 0; while (1) { a = [a, a, 'some text' + 1]; } }",
      u"function main() { while (1) { ds.AppendRow(); } }",
      u"function main() { var t = ds; while (1) { t.AppendRow(); t.name = 'text ' + t.rowcount; } "
      u"}",
      u"function main() { while (1) { var r = ds.AppendRow(); ds.name[r] = 'a new text ' + r; } }",
      (u"var a = [0], n = 0; function f(x) { a[n] = x; n++; f(x + ' and more of it'); }"
       u"function main() { f('text'); }"),
      u"function main() { return length(lpad('', 'x', 60000000)); }",
      u"function main() { return length(split(replace(space(4000000), ' ', 'x,'), ',')); }",
  };
  for (const char16_t* const text : kScripts) {
    BoundRun run(text);
    const Kt_CountedMemory around(0);
    const std::string reports = run.Call(2 * kMegabyte);
    EXPECT_EQ(reports.substr(0, 9), "!83B03231") << Kt_WString(text).ToUtf8();
    EXPECT_EQ(reports.find("83B", 2), std::string::npos) << reports;
    run.data->ClearData();
    run.script.GetVariables().Clear();
    EXPECT_LT(around.GetUsedBytes(), kMegabyte) << Kt_WString(text).ToUtf8();
  }
}

TEST(MemoryBound, IsNoOtherLimit) {
  BoundRun run(u"function main() { var s = space(1000000); while (1) { s = s + s; } }");
  EXPECT_EQ(run.Call(0).substr(0, 9), "!83B03220");
  EXPECT_EQ(run.Call(4000 * kMegabyte).substr(0, 9), "!83B03220");
  EXPECT_EQ(run.Call(8 * kMegabyte).substr(0, 9), "!83B03231");
}

TEST(MemoryBound, TellsThePlaceAndLeavesTheStatementUndone) {
  BoundRun run(
      u"var kept = 'before';\n"
      u"function fill(n) {\n"
      u"  return space(n);\n"
      u"}\n"
      u"function main() {\n"
      u"  var count = 1;\n"
      u"  kept = fill(20000000);\n"
      u"  kept = 'after';\n"
      u"}\n");
  EXPECT_EQ(run.Call(kMegabyte), "!83B03231(fill)");
  EXPECT_EQ(run.host.places, "fill:2 main:6 ");
  EXPECT_EQ(Show(run.script.GetVariables()), "kept='before' ");
  EXPECT_EQ(run.Call(0), "-");
  EXPECT_EQ(Show(run.script.GetVariables()), "kept='after' ");
}

TEST(MemoryBound, CountsTheGrowthOfTheThread) {
  const Kt_WString before(std::u16string(1 << 20, u'x'));
  Kt_WString kept;
  {
    const Kt_CountedMemory outer(8 * kMegabyte);
    {
      const Kt_CountedMemory inner(3 * kMegabyte);
      kept = before + u"y";  // outlives the bound
      EXPECT_GE(inner.GetUsedBytes(), 2 * kMegabyte);
      EXPECT_THROW((void)(before + u"z"), std::bad_alloc);
      const Kt_MemoryPause pause;
      EXPECT_NO_THROW((void)(before + u"z"));
    }
    EXPECT_NO_THROW((void)(before + u"z"));
    // Memory of before the bound that goes makes room; another thread has an account of its own.
    kept.Empty();
    EXPECT_LE(outer.GetUsedBytes(), 0);
    std::thread([&] { kept = Kt_WString(std::u16string(1 << 23, u'x')); }).join();
    EXPECT_LE(outer.GetUsedBytes(), 0);
    kept.Empty();
    EXPECT_LE(outer.GetUsedBytes(), -16 * kMegabyte);
  }
  const Kt_CountedMemory after(8 * kMegabyte);
  EXPECT_EQ(after.GetUsedBytes(), 0);
  EXPECT_THROW((void)Kt_WString(std::u16string(1 << 23, u'x')), std::bad_alloc);
}

TEST(MemoryBound, RefusesLoadsAsAWhole) {
  std::u16string text = u"n:long,name\n";
  for (int row = 0; row < 50000; ++row) text += u"1,a name\n";
  Kt_Dataset data(u"ds");
  ASSERT_EQ(data.LoadCSV(u"n:long,name\n1,apple\n"), 1);
  const Kt_CountedMemory bound(kMegabyte / 8);
  Kt_LoadReport report;
  EXPECT_EQ(data.LoadCSV(text, Kt_CsvOptions(), report), kErrNoMemory);
  EXPECT_EQ(report.error.ToUtf8(), "out of memory");
  EXPECT_EQ(ShowTable(data), "1,apple");
}

}  // namespace
}  // namespace kt::test
