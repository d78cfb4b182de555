// SPDX-License-Identifier: MIT
//
// Nothing that a script does may take the stack, the memory or the time of its host: every limit
// is reported once, and the next run works again.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "common/test_host.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;
using std::chrono::steady_clock;

struct Row {
  const char16_t* text;  // a script; main fails with the code, fine() gives 1
  kt_long code;
};

// The reports name the code alone: their arguments are texts that may be long.
void ExpectStops(const Row& row, const Kt_RunBudget* budget, bool is_compiled) {
  const std::string text = Kt_WString(row.text).ToUtf8().substr(0, 200);
  TestHost host;
  Kt_Script script(&host);
  script.SetCompiled(is_compiled);
  script.SetBudget(budget);
  Kt_WStrList faults;
  ASSERT_EQ(script.Parse(u"t", Kt_WString(row.text) + u" function fine() { return 1; }", nullptr,
                         &faults),
            0)
      << text;
  EXPECT_EQ(faults.GetCount(), 0) << text;
  for (int run = 0; run < 2; ++run) {
    Kt_Variant result;
    host.errors.clear();
    EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), row.code) << text;
    EXPECT_EQ(host.errors.size(), 1u) << text;
    EXPECT_EQ(host.TakeReports().substr(0, 8), kt::test::ShowCode(row.code)) << text;
    EXPECT_TRUE(script.GetCallStack().empty()) << text;
  }
  script.SetBudget(nullptr);
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"fine", nullptr, result), 0) << text;
  EXPECT_EQ(Show(result), "1") << text;
  EXPECT_TRUE(host.errors.empty()) << text;
}

TEST(Limits, EndlessRecursion) {
  const Row rows[] = {
      {u"function main() { main(); }", kErrTooDeep},
      {u"function main() { return main(); }", kErrTooDeep},
      // None of these may try the second call again and again.
      {u"function main() { return main() + main(); }", kErrTooDeep},
      {u"function main() { var a = main(); var b = main(); return a + b; }", kErrTooDeep},
      {u"function main() { return [main(), main()]; }", kErrTooDeep},
      {u"function main() { return eval('main() + main()'); }", kErrTooDeep},
      {u"function main() { { { while (1) { if (1) main(); } } } }", kErrTooDeep},
      {u"function main() { for (;main() < 1;) main(); }", kErrTooDeep},
      {u"function a(x) { return b(x + 1) * 2; } function b(x) { return a(x) - a(x); } function "
       u"main() { return a(1); }",
       kErrTooDeep},
      {u"function main() { return thing.size + main() + main(); }", kErrTooDeep},
      {u"function main(a) { return count(1, main(ref(a))) + main(); }", kErrTooDeep},
      {u"function main() { return iif(1, main()) + ++main(); }", kErrTooDeep},
  };
  for (const Row& row : rows) {
    for (const bool is_compiled : {true, false}) ExpectStops(row, nullptr, is_compiled);
  }
}

// The host comes between the calls, and makes nothing of the code.
TEST(Limits, RecursionThroughTheHost) {
  TestHost host;
  Kt_Script script(&host);
  ASSERT_EQ(script.Parse(u"t", u"function main() { hook(); return hook(); }", nullptr, nullptr), 0);
  host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant& result) {
    (void)script.ExecFunc(u"main", nullptr, result);
    return kOk;
  };
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kErrTooDeep);
  EXPECT_EQ(host.errors.size(), 1u);
}

TEST(Limits, Sizes) {
  const Row rows[] = {
      {u"function main() { var a[2000000000]; }", kErrListTooLong},
      {u"function main() { var a = [1]; a[2000000000] = 1; }", kErrListTooLong},
      {u"function main() { var a = [1]; a[2000000000] += 1; }", kErrListTooLong},
      {u"function main() { var a = [1]; var b = [ref(a[2000000000])]; }", kErrListTooLong},
  };
  for (const Row& row : rows) {
    for (const bool is_compiled : {true, false}) ExpectStops(row, nullptr, is_compiled);
  }
}

TEST(Limits, LongTexts) {
  ExpectStops({u"function main() { var s = space(70000000); s += s; }", kErrStringTooLong}, nullptr,
              true);
  ExpectStops({u"function main() { var s = space(70000000); s = s + s; }", kErrStringTooLong},
              nullptr, false);
}

TEST(Limits, GlobalThatIsTooLarge) {
  TestHost host;
  Kt_Script script(&host);
  Kt_WStrList faults;
  EXPECT_EQ(script.Parse(u"t", u"var a[2000000000];", nullptr, &faults), -1);
  EXPECT_EQ(faults.GetCount(), 1);
  EXPECT_EQ(host.errors.size(), 1u);
}

const char16_t* const kEndless[] = {
    u"function main() { while (1) {} }",
    u"function main() { for (var i = 0; 1; i++) i = 0; }",
    u"function f() { return 1; } function main() { while (f()) f(); }",
    u"function f() { while (1) {} } function main() { return f() + f(); }",
    u"function f() { while (1) {} } function main() { return [f(), f()]; }",
    u"function f() { while (1) {} } function main() { while (1) { var x = ++f(); } }",
};

TEST(Limits, Steps) {
  Kt_RunBudget budget;
  for (const std::int64_t limit : {1, 100, 512, 100000}) {
    budget.limit_steps = limit;
    for (const char16_t* const text : kEndless) {
      for (const bool is_compiled : {true, false}) {
        ExpectStops({text, kErrStepBudget}, &budget, is_compiled);
      }
    }
  }
}

// The call itself and its three statements.
TEST(Limits, StepsOnBothSides) {
  TestHost host;
  Kt_Script script(&host);
  ASSERT_EQ(script.Parse(u"t", u"function main() { var a = 1; a++; return a; }", nullptr, nullptr),
            0);
  Kt_RunBudget budget;
  script.SetBudget(&budget);
  for (const std::int64_t limit : {4, 3, 4, 1, 5, 0}) {
    budget.limit_steps = limit;
    Kt_Variant result;
    const bool is_enough = limit == 0 || limit >= 4;
    EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), is_enough ? 0 : kErrStepBudget) << limit;
  }
  EXPECT_EQ(host.errors.size(), 2u);
}

TEST(Limits, Deadline) {
  Kt_RunBudget budget;
  for (const int milliseconds : {-1000, 0, 20}) {
    for (const char16_t* const text : kEndless) {
      budget.deadline = steady_clock::now() + std::chrono::milliseconds(milliseconds);
      ExpectStops({text, kErrDeadline}, &budget, true);
    }
  }
}

// A call that begins too late does nothing.
TEST(Limits, DeadlinePassedBefore) {
  TestHost host;
  Kt_Script script(&host);
  ASSERT_EQ(script.Parse(u"t", u"function main() { log(1); }", nullptr, nullptr), 0);
  Kt_RunBudget budget;
  budget.deadline = steady_clock::now() - std::chrono::seconds(1);
  script.SetBudget(&budget);
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kErrDeadline);
  EXPECT_EQ(host.calls, "");
}

TEST(Limits, CancelledFromAnotherThread) {
  TestHost host;
  Kt_Script script(&host);
  ASSERT_EQ(script.Parse(u"t", u"function main() { hook(); while (1) {} }", nullptr, nullptr), 0);
  std::atomic<bool> cancel{false};
  Kt_RunBudget budget;
  budget.cancel = &cancel;
  script.SetBudget(&budget);
  std::atomic<bool> is_running{false};
  host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant&) {
    is_running = true;
    return kOk;
  };
  std::thread other([&] {
    while (!is_running) std::this_thread::yield();
    cancel = true;
  });
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kErrCancelled);
  other.join();
  EXPECT_EQ(host.TakeReports(), "83B03242(main)");
}

// Scripts run on threads with small stacks, too.
TEST(Limits, RecursionOnAnotherThread) {
  kt_long code = 0;
  std::thread([&code] {
    TestHost host;
    Kt_Script script(&host);
    ASSERT_EQ(script.Parse(u"t", u"function main() { return main() + main(); }", nullptr, nullptr),
              0);
    Kt_Variant result;
    code = script.ExecFunc(u"main", nullptr, result);
  }).join();
  EXPECT_EQ(code, kErrTooDeep);
}

}  // namespace
