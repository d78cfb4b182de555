// SPDX-License-Identifier: MIT
//
// Programs that many scripts share: what each gives is what it would give with the text for itself,
// whoever came before, runs beside it or has gone.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "common/compiled_compare.h"
#include "common/program_maker.h"
#include "script/Kt_ScriptLoadHandler.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

using kt::test::ProgramHost;
using kt::test::ProgramMaker;
using kt::test::RunToText;
using kt::test::Show;
using kt::test::TestHost;

using ProgramHold = std::shared_ptr<const Kt_Program>;

ProgramHold Make(const char16_t* text) {
  ProgramHold program = Kt_Program::Make(u"t", text, nullptr, nullptr);
  EXPECT_NE(program, nullptr) << Kt_WString(text).ToUtf8();
  return program;
}

std::string Call(Kt_Script& script, const char16_t* name = u"main") {
  Kt_Variant result;
  const kt_long code = script.ExecFunc(name, nullptr, result);
  return code == 0 ? Show(result) : "code " + std::to_string(code);
}

TEST(Program, ScriptsThatShareGiveWhatOthersGive) {
  for (unsigned seed = 0; seed < 300 && !HasFailure(); ++seed) {
    std::mt19937 random(seed + 20000);
    std::vector<std::uint8_t> bytes(400);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 8);
    const std::string text = ProgramMaker(bytes.data(), bytes.size()).Program();
    const int steps = seed % 3 == 0 ? 300 : 1 + static_cast<int>(seed * 7 % 90);
    const ProgramHold program =
        Kt_Program::Make(u"made", Kt_WString::FromUtf8(text), nullptr, nullptr);
    if (program == nullptr) continue;                     // it has a fault
    for (const bool is_compiled : {false, true, true}) {  // the last time with code that is there
      EXPECT_EQ(RunToText(text, is_compiled, steps, program), RunToText(text, is_compiled, steps))
          << text;
    }
  }
}

TEST(Program, GlobalsAndTheirOrder) {
  const ProgramHold program = Make(
      u"var n = 1, list[2] = n;\n"
      u"function next() { n += 1; return n; }\n"
      u"var m = next() + count_of_hosts;\n"
      u"function main() { list[0] += next(); return [n, m, list]; }\n");
  TestHost first_host;
  TestHost second_host;
  first_host.variables.AddVariable(u"count_of_hosts", kt_long{10});
  second_host.variables.AddVariable(u"count_of_hosts", kt_long{20});
  Kt_Script first(&first_host);
  Kt_Script second(&second_host);
  ASSERT_EQ(first.Load(program), 0);
  EXPECT_EQ(Call(first), "[3, 12, [4, -]]");
  ASSERT_EQ(second.Load(program), 0);
  EXPECT_EQ(Call(second), "[3, 22, [4, -]]");
  EXPECT_EQ(Call(first), "[4, 12, [8, -]]");
  EXPECT_EQ(Call(second), "[4, 22, [8, -]]");
  // Globals take their value again; what is there of a function is added to.
  ASSERT_EQ(first.Load(program), 0);
  EXPECT_EQ(Call(first), "[3, 12, [4, -]]");
  EXPECT_EQ(Call(second), "[5, 22, [13, -]]");
}

// What a name stands for decides what code fits.
TEST(Program, NamesThatEachScriptKnowsDifferently) {
  const char16_t* const text =
      u"function main() { return [twice(4), abs(-2), hook(1), x]; } function g() { return hook(2); "
      u"}";
  const char16_t* const own[] = {
      u"var x = 1; function twice(n) { return n * 2; } function hook(n) { return n; }",
      u"var x = 2; function twice(n) { return n + n; } function abs(n) { return 'own'; }",
      u"function twice(n) { return g() + n; }",
  };
  const ProgramHold program = Make(text);
  for (const int order : {0, 1}) {
    for (int at = 0; at < 6; ++at) {
      const char16_t* const names = own[order == 0 ? at % 3 : 2 - at % 3];
      std::string results[2];
      for (const bool is_shared : {false, true}) {
        TestHost host;
        host.variables.AddVariable(u"x", u"of the host");
        host.on_hook = [](auto*, const Kt_VariantList& args, Kt_Variant& result) {
          result = Kt_Variant(kt_long{100 + args.GetItemNN(0).ToInteger()});
          return kOk;
        };
        Kt_Script script(&host);
        ASSERT_EQ(script.Parse(u"own", names, nullptr, nullptr), 0);
        ASSERT_EQ(is_shared ? script.Load(program) : script.Parse(u"t", text, nullptr, nullptr), 0);
        results[is_shared ? 1 : 0] = Call(script) + host.TakeReports() + Call(script);
      }
      EXPECT_EQ(results[1], results[0]) << Kt_WString(names).ToUtf8();
    }
  }
}

TEST(Program, OnManyThreads) {
  const ProgramHold program = Make(
      u"var seen[1], sum = 0;\n"
      u"function fib(n) { if (n < 2) return n; return fib(n - 1) + fib(n - 2); }\n"
      u"function add(v) { seen[seen.length] = v; sum += v; return [v, hosted + 1, obj.size]; }\n"
      u"function main() {\n"
      u"  for (var i = 0; i < 20; i++) {\n"
      u"    var r = add(i + hosted);\n"
      u"    switch (r[0] % 3) { case 0: sum++; break; case 1: sum += 'ab'.length; default: "
      u"hook(i); }\n"
      u"    fresh = eval('sum + i'); if (i == 7) bad.call();\n"
      u"  }\n"
      u"  return [sum, seen.length, fib(10), obj.size + fresh];\n"
      u"}\n");
  const auto run = [&program](int number, bool is_compiled) {
    ProgramHost host;
    host.variables.AddVariable(u"hosted", kt_long{number});
    host.thing->properties.AddVariable(u"size", kt_long{number});
    host.variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, host.thing.get())));
    Kt_Script script(&host);
    script.SetCompiled(is_compiled);
    std::string out = std::to_string(script.Load(program));
    for (int round = 0; round < 3; ++round) out += Call(script) + host.TakeReports();
    return out;
  };
  constexpr int kThreads = 8;
  std::string found[kThreads];
  std::vector<std::thread> threads;
  for (int at = 0; at < kThreads; ++at) {
    threads.emplace_back([&, at] {
      for (int round = 0; round < 4; ++round) found[at] += run(at / 2, (at + round) % 4 != 0);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int at = 0; at < kThreads; ++at) {
    std::string wanted;
    for (int round = 0; round < 4; ++round) wanted += run(at / 2, (at + round) % 4 != 0);
    EXPECT_EQ(found[at], wanted);
  }
}

TEST(Program, FaultsGiveNoProgramAndFailuresHaveTheirPlace) {
  const char16_t* const faulty[] = {u"function f() { return 1 +; }", u"var a = 1 +;",
                                    u"function f() {", u"nonsense"};
  for (const char16_t* const text : faulty) {
    Kt_SyntaxErrorList of_program;
    Kt_SyntaxErrorList of_script;
    Kt_Script script;
    EXPECT_EQ(Kt_Program::Make(u"t", text, nullptr, &of_program), nullptr);
    (void)script.Parse(u"t", text, nullptr, &of_script);
    ASSERT_FALSE(of_script.GetErrors().empty());
    ASSERT_EQ(of_program.GetErrors().size(), of_script.GetErrors().size());
    EXPECT_EQ(of_program.GetErrors()[0].message, of_script.GetErrors()[0].message);
    EXPECT_EQ(of_program.GetErrors()[0].column, of_script.GetErrors()[0].column);
  }
  const ProgramHold program = Make(u"function f(x) {\n  return x + none.y;\n}\nvar g[999999999];");
  for (int at = 0; at < 2; ++at) {
    TestHost host;
    Kt_Script script(&host);
    Kt_SyntaxErrorList faults;
    EXPECT_EQ(script.Load(program, &faults), -1);  // a global that cannot be made
    ASSERT_EQ(faults.GetErrors().size(), 1u);
    EXPECT_EQ(faults.GetErrors()[0].line, 4);
    EXPECT_NE(Call(script, u"f"), "");
    const Kt_RunError& last = Kt_RunError::Last();
    EXPECT_EQ(last.function.ToUtf8() + ":" + std::to_string(last.line) + ":" +
                  std::to_string(last.column) + " " + last.source_name.ToUtf8(),
              "f:2:5 t");
  }
}

// Each text is loaded when the one that includes it has been.
TEST(Program, KeepsWhatItIncludes) {
  class Loader : public Kt_ScriptLoadHandler {
   public:
    kt_long LoadIncludes(Kt_Script* script, Kt_WStrList& includes) override {
      for (kt_long at = 0; at < includes.GetCount(); ++at) {
        const Kt_WString name = includes[at];
        const Kt_WString text = u"function " + name + u"() { return '" + name + u"'; } var v_" +
                                name + u" = " + name + u"();";
        const kt_long code = script->Parse(name, text, this, nullptr);
        if (code != 0) return code;
      }
      return 0;
    }
  } loader;
  const ProgramHold program = Kt_Program::Make(
      u"t", u"#include \"a\"\n#include \"b\"\nfunction main() { return a() + v_b; }", &loader,
      nullptr);
  ASSERT_NE(program, nullptr);
  ASSERT_EQ(program->GetTextCount(), 3);
  EXPECT_EQ(program->GetSourceName(2), u"b");
  Kt_Script script;
  ASSERT_EQ(script.Load(program), 0);
  EXPECT_EQ(Call(script), "'ab'");
}

// A callback loads more while the program runs: into the script that runs, which from then on has
// functions of its own, or into another one.
TEST(Program, LoadedInTheMiddleOfARun) {
  const char16_t* const text =
      u"var n = 0;\n"
      u"function f() { n += 1; if (n == 1) hook(); n += 10; }\n"
      u"function main() { f(); return f() + n; }\n";
  const char16_t* const more =
      u"function f() { n += 100; } function main() { n += 1000; return n; }";
  const ProgramHold program = Make(text);
  const ProgramHold added = Make(more);
  for (const bool is_compiled : {true, false}) {
    std::string results[2];
    for (const bool is_shared : {false, true}) {
      TestHost host;
      Kt_Script script(&host);
      Kt_Script other(&host);
      script.SetCompiled(is_compiled);
      ASSERT_EQ(is_shared ? script.Load(program) : script.Parse(u"t", text, nullptr, nullptr), 0);
      ASSERT_EQ(other.Load(program), 0);
      host.on_hook = [&](auto*, auto&, Kt_Variant&) {
        if (is_shared) return script.Load(added);
        return script.Parse(u"t", more, nullptr, nullptr);
      };
      std::string& out = results[is_shared ? 1 : 0];
      for (int run = 0; run < 3; ++run) out += Call(script) + " ";
      host.on_hook = [&](auto*, auto&, Kt_Variant&) {
        script.Clear();
        return other.Load(added);
      };
      out += Call(script) + " " + Call(other) + " " + Call(other);
      EXPECT_EQ(script.GetFuncs().GetCount(), 0);
    }
    EXPECT_EQ(results[1], results[0]) << is_compiled;
  }
}

TEST(Program, AnyoneMayGoFirst) {
  TestHost host;
  auto first = std::make_unique<Kt_Script>(&host);
  auto second = std::make_unique<Kt_Script>(&host);
  ProgramHold program =
      Make(u"function main() { return [thing.x, half(8)]; } function half(n) { return n / 2; }");
  host.thing->properties.AddVariable(u"x", kt_long{5});
  ASSERT_EQ(first->Load(program), 0);
  ASSERT_EQ(second->Load(program), 0);
  program.reset();
  EXPECT_EQ(Call(*first), "[5, 4.0]");
  // A change is one of the script that makes it.
  ASSERT_EQ(first->GetFunc(u"half")->SetBody(u"return n * 2;", 0, nullptr), 0);
  EXPECT_EQ(Call(*first), "[5, 16]");
  EXPECT_EQ(Call(*second), "[5, 4.0]");
  const Kt_ScriptFunc copy(*second->GetFunc(u"half"));
  first.reset();
  EXPECT_EQ(Call(*second), "[5, 4.0]");
  second.reset();
  EXPECT_EQ(copy.GetBody().GetCount(), 1);
}

}  // namespace
