// SPDX-License-Identifier: MIT
//
// What a callback may do to the engine that calls it: release the object in hand, take away
// variables and functions, run and load more. Meant to be run under the address sanitizer.
#include <gtest/gtest.h>

#include "common/test_host.h"
#include "expr/Kt_Expr.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;
using kt::test::TestThing;

// A script whose functions the host's hook(), methods and properties may interfere with.
class Reentry : public testing::TestWithParam<bool> {
 protected:
  Reentry() : script(&host) {
    script.SetCompiled(GetParam());
    host.variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, host.thing.get())));
  }

  void Load(const char16_t* text) { ASSERT_EQ(script.Parse(u"t", text, nullptr, nullptr), 0); }
  void OnHook(std::function<void()> action) {
    host.on_hook = [action](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant& result) {
      action();
      result = kt_long{1};
      return kOk;
    };
  }
  // The result of main, or the code.
  std::string RunMain() {
    Kt_Variant result;
    const kt_long code = script.ExecFunc(u"main", nullptr, result);
    return code == 0 ? Show(result) : "code " + std::to_string(code);
  }

  TestHost host;
  Kt_Script script;
};

INSTANTIATE_TEST_SUITE_P(Modes, Reentry, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Compiled" : "Evaluated"; });

TEST_P(Reentry, ObjectReleasedWhileItIsRead) {
  const char16_t* const bodies[] = {
      u"return thing.size;",
      u"return thing.size + thing.size;",
      u"return thing.hook(1, 2);",
      u"return thing.stored(1);",
      u"thing.size = 5;",
      u"thing.size += 5;",
      u"return thing.size++;",
      u"return obj.size + obj.size;",
      u"return obj[0];",
      u"return obj[0] + obj[1];",
      u"obj[0] = 1;",
      u"obj += 'x'; return obj;",
      u"return 'x' + obj + obj;",
      u"return [obj, obj.size, obj];",
      u"return count(obj, obj + '', obj);",
      u"obj++; return obj;",
      u"var o = obj; return o++ + o;",
      u"return obj.size[0];",
  };
  for (const char16_t* const body : bodies) {
    host.thing = std::make_unique<TestThing>(&host, u"thing");
    TestThing& thing = *host.thing;
    thing.properties.AddVariable(u"size", kt_long{4});
    thing.items = {Kt_Variant(kt_long{10})};
    thing.default_prop = u"size";
    host.variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, &thing)));
    // The object must not touch itself after this, and does not.
    thing.on_access = thing.on_text = [this] { host.thing.reset(); };
    thing.on_call = [this](Kt_Variant&) {
      host.thing.reset();
      return kOk;
    };
    Kt_Script own(&host);
    own.SetCompiled(GetParam());
    ASSERT_EQ(own.Parse(u"t", Kt_WString(u"function main() { ") + body + u" }", nullptr, nullptr),
              0);
    Kt_Variant result;
    (void)own.ExecFunc(u"main", nullptr, result);
    // A hold on what has gone reads as nothing; the next run finds that out.
    (void)own.ExecFunc(u"main", nullptr, result);
    EXPECT_NE(Show(host.variables.FindVariable(u"obj")->GetValue()), "<thing>")
        << Kt_WString(body).ToUtf8();
  }
}

TEST_P(Reentry, ObjectGoneBetweenStatements) {
  Load(u"function main() { var o = obj; hook(); return count(o, obj, obj[0], o + 'x'); }");
  OnHook([this] { host.thing.reset(); });
  EXPECT_EQ(RunMain(), "[-, -, -, 'x']");
  ASSERT_EQ(host.errors.size(), 4u);
  for (const Kt_Result& error : host.errors) EXPECT_EQ(Show(error), "83B03140(InvalidObject)");
}

// Reading an element of what has gone clears the variable: it is reported once.
TEST_P(Reentry, ElementsOfObjectsThatHaveGone) {
  const char16_t* const bodies[] = {
      u"var o = obj; hook(); var x = o[0]; return count(x, o);",
      u"var o = obj; hook(); var x = (o)['k'] + ''; return count(null, o);",
  };
  for (const char16_t* const body : bodies) {
    host.thing = std::make_unique<TestThing>(&host, u"thing");
    host.variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, host.thing.get())));
    Load((Kt_WString(u"function main() { ") + body + u" }").GetText());
    OnHook([this] { host.thing.reset(); });
    EXPECT_EQ(RunMain(), "[-, -]");
    EXPECT_EQ(host.TakeReports(), "83B03140(InvalidObject)") << Kt_WString(body).ToUtf8();
  }
}

// The old value of a compound assignment could not be read: the run goes on as if it were empty.
TEST_P(Reentry, OldValueOfAnObjectThatHasGone) {
  Load(u"function main() { obj.stored(1) += 2; return 7; }");
  host.thing->properties.AddVariable(u"stored", kt_long{5});
  host.thing->on_call = [](Kt_Variant&) { return kObjectGone; };
  EXPECT_EQ(RunMain(), "7");
  EXPECT_EQ(host.thing->log, "stored[1];set stored[1]=2;");
}

TEST_P(Reentry, ScriptCleared) {
  const struct {
    const char16_t* text;
    const char* result;
  } rows[] = {
      {u"function main() { var a = 2; hook(); a++; return a; }", "3"},
      {u"var g = 5; function main() { return g + hook() * g; }", nullptr},
      {u"var g = 5; function main() { return hook() + g; }", nullptr},
      {u"var g = 'text'; function main() { return g + hook() + g; }", nullptr},
      {u"var l = [1, 2]; function main() { l[hook()] = 7; return 1; }", nullptr},
      {u"var l = [1, 2]; function main() { l[0] = hook(); return 1; }", nullptr},
      {u"var l = [1, 2]; function main() { l[0] += hook() + l[0]; return 1; }", nullptr},
      {u"var l = [1, 2]; function main() { return l[hook()] + l[0]; }", nullptr},
      {u"function f() { return 4; } function main() { return hook() + f(); }", nullptr},
      {u"function f(a) { return hook() + a; } function main() { return f(2) + f(3); }", nullptr},
      {u"function f() { return 4; } function main() { hook(); return f(); }", nullptr},
      {u"function main() { for (var i = 0; i < 3; i++) hook(); while (i-- > 0) hook(); return i; }",
       "-1"},
      {u"function main() { switch (hook()) { case hook(): { if (hook()) return 'in'; } } }",
       "'in'"},
  };
  for (const auto& row : rows) {
    for (const bool loads_again : {false, true}) {
      Kt_Script own(&host);
      own.SetCompiled(GetParam());
      ASSERT_EQ(own.Parse(u"t", row.text, nullptr, nullptr), 0);
      OnHook([&] {
        own.Clear();
        if (loads_again) (void)own.Parse(u"t", row.text, nullptr, nullptr);
      });
      Kt_Variant result;
      const kt_long code = own.ExecFunc(u"main", nullptr, result);
      if (row.result != nullptr) {
        EXPECT_EQ(code, 0) << Kt_WString(row.text).ToUtf8();
        EXPECT_EQ(Show(result), row.result) << Kt_WString(row.text).ToUtf8();
      }
      EXPECT_EQ(own.GetFuncs().GetCount() > 0, loads_again);
      EXPECT_EQ(own.ExecFunc(u"main", nullptr, result) == -1, !loads_again);
    }
  }
}

// Names are resolved before the first call runs: the second must not be called where it was.
TEST_P(Reentry, ScriptClearedBelowAnExpressionOfTheHost) {
  Load(u"function f() { hook(); return 2; } function g(a) { return a; }");
  OnHook([this] { script.Clear(); });
  for (const char16_t* const text : {u"f() + f()", u"g(f()) + g(f())", u"f() + g(1)"}) {
    Kt_Variant result;
    EXPECT_NE(Kt_Expr(text).ExecExpr(&script, result), 0);
    Load(u"function f() { hook(); return 2; } function g(a) { return a; }");
  }
}

TEST_P(Reentry, ScriptLoadsMoreOfItself) {
  Load(u"function main() { hook(); return added(1); }");
  OnHook([this] {
    (void)script.Parse(u"more",
                       u"function added(x) { return x + 1; } "
                       u"function main() { return 99; }",
                       nullptr, nullptr);
  });
  EXPECT_EQ(RunMain(), "2");
}

TEST_P(Reentry, StatementsAppendedBehindTheRunningOne) {
  Load(u"function main() { hook(); }");
  OnHook([this] {
    for (int count = 0; count < 100; ++count) {
      (void)script.Parse(u"more", u"function main() { n = 1; }", nullptr, nullptr);
    }
    (void)script.Parse(u"more", u"function main() { return 'last'; }", nullptr, nullptr);
  });
  EXPECT_EQ(RunMain(), "'last'");
}

TEST_P(Reentry, ScriptCalledFromItsCallback) {
  Load(
      u"var depth = 0; function main() { depth++; if (depth < 20) { return hook() + main(); } "
      u"return depth; }");
  OnHook([this] {
    Kt_Variant result;
    (void)script.ExecFunc(u"main", nullptr, result);
  });
  EXPECT_NE(RunMain().substr(0, 4), "code");
  EXPECT_EQ(host.errors.size(), 0u);
}

TEST_P(Reentry, VariablesTakenAway) {
  const char16_t* const bodies[] = {
      u"return g + hook() + g;",      u"return g + hook();",
      u"return hook() && g;",         u"return g[hook()] + g[0];",
      u"g[0] = hook(); return 1;",    u"g[hook()] = 1; return 1;",
      u"g[hook()] += 1; return 1;",   u"g += hook(); return 1;",
      u"g = hook(); return g;",       u"return count(ref(g), hook(), g);",
      u"return f(ref(g)) + g;",       u"return f(ref(g[0]));",
      u"return g + obj + g;",         u"g += obj; return g;",
      u"g = g + obj; return g;",      u"return [g, hook(), g];",
      u"return hook() + g++;",        u"return ++g + hook() + g;",
      u"return obj[0] + g + obj[1];",
  };
  for (const char16_t* const body : bodies) {
    Kt_Script own(&host);
    own.SetCompiled(GetParam());
    ASSERT_EQ(
        own.Parse(u"t",
                  Kt_WString(u"var g = 'a long text of its own', h = [1, 2]; "
                             u"function f(a) { hook(); a = 2; return a; } function main() { ") +
                      body + u" }",
                  nullptr, nullptr),
        0);
    const auto take_away = [&own] {
      own.GetVariables().RemoveVariable(u"g");
      own.GetVariables().Clear();
    };
    OnHook(take_away);
    host.thing->on_text = host.thing->on_access = take_away;
    Kt_Variant result;
    (void)own.ExecFunc(u"main", nullptr, result);
    EXPECT_EQ(own.GetVariables().FindVariable(u"h"), nullptr) << Kt_WString(body).ToUtf8();
  }
}

// The report itself is a callback.
TEST_P(Reentry, ReportsThatInterfere) {
  Load(u"var g = 'text'; function main() { return count(g, gone, g['k'], gone + g, unknown); }");
  host.variables.AddVariable(u"gone", Kt_Variant(Kt_ObjectHolder(nullptr, host.thing.get())));
  host.thing.reset();
  host.on_report = [this] { script.Clear(); };
  (void)RunMain();
  EXPECT_FALSE(host.errors.empty());
}

// A callback that throws unwinds the script and leaves it fit for the next run.
TEST_P(Reentry, CallbackThrows) {
  Load(
      u"function f(x) { while (1) { hook(x); } } function main() { var x; return 1 + f(ref(x)); } "
      u"function fine() { return 1; }");
  OnHook([] { throw 42; });
  Kt_Variant result;
  EXPECT_THROW((void)script.ExecFunc(u"main", nullptr, result), int);
  EXPECT_TRUE(script.GetCallStack().empty());
  EXPECT_EQ(script.ExecFunc(u"fine", nullptr, result), 0);
  EXPECT_EQ(Show(result), "1");
}

// The host goes with the call that its script made: nothing of it is asked any more.
TEST(ReentryOfHost, HostReleased) {
  auto host = std::make_unique<TestHost>();
  Kt_Script script(host.get());
  ASSERT_EQ(script.Parse(u"t", u"function main() { { while (1) hook(); } return unknown; }",
                         nullptr, nullptr),
            0);
  host->on_hook = [&host](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant&) {
    host.reset();
    return kObjectGone;
  };
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kAbort);
  script.SetExternalContext(nullptr);
}

TEST(ReentryOfHost, HostReleasedByTheOldValue) {
  auto host = std::make_unique<TestHost>();
  host->variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, host->thing.get())));
  Kt_Script script(host.get());
  ASSERT_EQ(script.Parse(u"t", u"function main() { obj.stored(1) += 2; return unknown; }", nullptr,
                         nullptr),
            0);
  host->thing->on_call = [&host](Kt_Variant&) {
    host.reset();
    return kObjectGone;
  };
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kAbort);
  script.SetExternalContext(nullptr);
}

// Loading is evaluation, too.
TEST(ReentryOfHost, ScriptClearedWhileItLoads) {
  TestHost host;
  Kt_Script script(&host);
  host.on_hook = [&script](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant&) {
    script.Clear();
    (void)script.Parse(u"inner", u"function inner() { return 5; }", nullptr, nullptr);
    return kOk;
  };
  EXPECT_EQ(script.Parse(u"t",
                         u"function a() { return hook(); } var x = hook(), y = a(), z = a() + a(); "
                         u"function b() { return inner(); } var w = b();",
                         nullptr, nullptr),
            0);
  EXPECT_EQ(Show(script.GetVariables().FindVariable(u"w")->GetValue()), "5");
}

// A host that parses and drops scripts for ever does not fill the table of names.
TEST(Reentry, DroppedScriptsLeaveNoNames) {
  std::size_t before = 0;
  for (int round = 0; round < 50; ++round) {
    if (round == 2) before = kt_symbolcountW();
    Kt_WString text(
        u"var g@ = 1, s@ = '';\n"
        u"function f@(p@) { p@ = p@ + 'x'; }\n"
        u"function main() { var l@ = [1]; n@ = 2; f@(ref(s@)); s@ = s@ + n@;\n"
        u"  return s@ + eval('g@ + 1') + type(l@); }\n");
    text.Replace(u"@", u"fresh" + Kt_Variant(kt_long{round}).ToString());
    TestHost host;
    Kt_Script script(&host);
    ASSERT_EQ(script.Parse(u"t", text, nullptr, nullptr), 0);
    Kt_Variant result;
    EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), 0);
    EXPECT_EQ(Show(result), "'x22array'");
  }
  EXPECT_EQ(kt_symbolcountW(), before);
}

}  // namespace
