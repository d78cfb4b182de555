// SPDX-License-Identifier: MIT
//
// Functions as code against the walk: equal results, variables, reports, calls, and equal steps, so
// that a budget ends both at the same statement.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <sstream>
#include <vector>

#include "common/compiled_compare.h"
#include "common/program_maker.h"
#include "script/Kt_ScriptDump.h"

namespace {

using kt::test::ProgramMaker;
using kt::test::RunToText;
using kt::test::TestHost;

void ExpectSame(const std::string& script, int limit_steps = 300) {
  EXPECT_EQ(RunToText(script, true, limit_steps), RunToText(script, false, limit_steps))
      << limit_steps << " steps\n"
      << script;
}

std::vector<std::uint8_t> RandomBytes(unsigned seed, std::size_t size) {
  std::mt19937 random(seed);
  std::vector<std::uint8_t> bytes(size);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 8);
  return bytes;
}

// A number of the environment.
unsigned Wanted(const char* name, unsigned otherwise) {
  const char* const wanted = std::getenv(name);
  return wanted != nullptr ? static_cast<unsigned>(std::strtoul(wanted, nullptr, 10)) : otherwise;
}

// Calls check(seed) for each random program: so many, or KT_RANDOM_PROGRAMS, from seed 0 or
// KT_RANDOM_SEED on, until one fails.
template <class Check>
void ForSeeds(unsigned count, const Check& check) {
  const unsigned first = Wanted("KT_RANDOM_SEED", 0);
  const unsigned last = first + Wanted("KT_RANDOM_PROGRAMS", count);
  for (unsigned seed = first; seed != last && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    check(seed);
  }
}

TEST(Compiled, RandomExpressions) {
  ForSeeds(600, [](unsigned seed) {
    const std::vector<std::uint8_t> bytes = RandomBytes(seed, 60);
    ProgramMaker maker(bytes.data(), bytes.size());
    ExpectSame(
        "var g = 2, list = [1, 'two', [3, 4]], s = 'text';\n"
        "function f(x, y) { x = x + 1; return y; }\n"
        "function change(v, w) { v[1] = w; return v; }\n"
        "function main(x, y) { return " +
        maker.Expression() + "; }\n");
  });
}

TEST(Compiled, RandomPrograms) {
  unsigned close = 0;
  ForSeeds(400, [&close](unsigned seed) {
    const std::vector<std::uint8_t> bytes = RandomBytes(seed + 10000, 400);
    const int limit_steps = seed % 3 == 0 ? 300 : 1 + static_cast<int>(seed * 7 % 90);
    const std::string script = ProgramMaker(bytes.data(), bytes.size()).Program();
    const kt::test::BothWays ways = kt::test::RunBothWays(script, limit_steps);
    if (ways.likeness == kt::test::BothWays::Likeness::kClose) ++close;
    if (ways.likeness != kt::test::BothWays::Likeness::kDifferent) return;
    EXPECT_EQ(ways.compiled, ways.walked) << limit_steps << " steps\n" << script;
  });
  EXPECT_LE(close, 2 + Wanted("KT_RANDOM_PROGRAMS", 0) / 2000) << "are close, but not the same";
}

TEST(Compiled, ABudgetEndsBothAtTheSameStatement) {
  const char* const script =
      "var g = 1, list = [3, 4];\n"
      "function f(a, b) { if (a < 2) { return a; } else g++; return f(a - 1) + f(a - 2); }\n"
      "function main(x, y) {\n"
      "  log(g); { var x = 2; { x += 3; } ; }\n"
      "  for (var i = 0, j = 5; i < j; i++, j--) { list[i] = i; if (i == 1) continue; g += i; }\n"
      "  while (x-- > 2) { switch (x) { case 4: g = 9; case 3: log(x); break; default: g--; } }\n"
      "  fresh = f(5, g) + probe(7, 'g', 1); eval('fresh++'); log(fresh);\n"
      "  while (1) { if (g++ > 30) break; y = y + 'a' + g; }\n"
      "  return y;\n"
      "}\n";
  for (int limit_steps = 1; limit_steps < 220 && !HasFailure(); ++limit_steps) {
    ExpectSame(script, limit_steps);
  }
}

// So much may be freed where a call ends that this ends the run, also when the call has failed.
TEST(Compiled, ABudgetEndsBothWhereMuchIsFreed) {
  const char* const script =
      "function f(v) { var l = [1]; l[99999] = 2; if (v[0]) return 1; return l; }\n"
      "function g(v) { var l = []; l[70000] = v; return f(2.5) + 1; }\n"
      "function main(x, y) { log(1); log(2); if (f(2.5)) log(2); log(3); log(g(1)); f([1]); log(4);"
      " }\n";
  for (int limit_steps = 1; limit_steps < 80 && !HasFailure(); ++limit_steps) {
    ExpectSame(script, limit_steps);
  }
}

// All that can be seen of a run that is cancelled, or runs out of time, in its call number `at` of
// hook().
std::string StoppedAt(const char16_t* text, int at, bool is_compiled) {
  kt::test::TestHost host;
  std::atomic<bool> cancel{false};
  Kt_RunBudget budget;
  budget.cancel = &cancel;
  budget.deadline = std::chrono::steady_clock::now() + std::chrono::hours(1);
  int calls = 0;
  host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant& result) {
    result = kt_long{++calls};
    if (calls != at) return kOk;
    if (at % 2 == 0) cancel = true;
    if (at % 2 == 1) budget.deadline -= std::chrono::hours(2);
    (void)Kt_WorkMeter::Current()->LookNow();
    return kOk;
  };
  Kt_Script script(&host);
  script.SetBudget(&budget);
  script.SetCompiled(is_compiled);
  EXPECT_EQ(script.Parse(u"t", text, nullptr, nullptr), 0);
  Kt_Variant result;
  Kt_RunError::Forget();
  const kt_long code = script.ExecFunc(u"main", nullptr, result);
  const Kt_RunError& last = Kt_RunError::Last();
  return std::to_string(code) + " at " + last.function.ToUtf8() + ":" + std::to_string(last.line) +
         " calls " + std::to_string(calls) + " " + host.calls + " result " +
         kt::test::Show(result) + " globals " + kt::test::Show(script.GetVariables()) +
         " reports " + host.TakeReports();
}

// A deadline may pass, and a flag be raised, at any instruction: of what stands around the call
// nothing more is done.
TEST(Compiled, ADeadlineEndsBothAtTheSamePlace) {
  const char16_t* const script =
      u"var g = 1, list = [1, 'two', [3, 4]], s = 'text';\n"
      u"function f(a, b) { if (hook() > 90) return a; g += hook(); return a + hook() * b; }\n"
      u"function main() {\n"
      u"  var x = hook() + 1, text = 'a' + hook() + 'b';\n"
      u"  s = s + hook() + 'c'; s += hook(); list[hook() % 3] = hook(); list[0] += hook();\n"
      u"  for (var i = hook(); i < hook() && i < 60; i += hook()) { log(i); x += f(i, hook()); }\n"
      u"  while (hook() % 5 > 0 || g < hook() - 60) { g++; if (hook() % 2) continue; log(g); }\n"
      u"  switch (hook() % 3) { case hook(): log(1); case 1: x = hook(); break; default: hook(); "
      u"}\n"
      u"  var l = [hook(), [hook()], list[2][hook() % 2]]; l[hook() % 2] = list; log(length(l));\n"
      u"  f(ref(l[0]), f(hook(), ref(x))); eval('g = hook() + g'); fresh = hook(); fresh += "
      u"hook();\n"
      u"  var row = list[2]; row[0] = hook(); list[2] = row; return [text.left(hook()), x, l, s];\n"
      u"}\n";
  int at = 1;
  for (; at < 200 && !HasFailure(); ++at) {
    const std::string compiled = StoppedAt(script, at, true);
    EXPECT_EQ(compiled, StoppedAt(script, at, false)) << at;
    if (compiled.starts_with("0 ")) break;  // the run ended before
  }
  EXPECT_GT(at, 40);
  EXPECT_LT(at, 200);
}

// What callbacks do to the variables of the function that called them.
TEST(Compiled, ContextsOnDemand) {
  const char* const bodies[] = {
      "var a = 1; probe(1, 'a', 5); return a;",
      "var a = 1; probe(2, 'b', 5); b += a; return b;",
      "var a = 1; { probe(2, 'a', 5); a = a + 1; log(a); } return a;",
      "{ probe(1, 'fresh', 5); fresh += 1; log(fresh); } return fresh;",
      "for (var i = 0; i < 4; i++) { if (i == 2) probe(2, 'i', 7); log(i); }",
      "for (var i = 0; i < 3; i++) { var t = i; probe(3, 't', 0); t = 'new'; } return i;",
      "var i = 3; while (probe(2, 'i', 1) && i-- > 0) { var t = i; log(t); } return i;",
      "var a = probe(2, 'a', 5); return a;",
      "var a[probe(2, 'a', 2)]; a[0] = 1; return a;",
      "list[x] = probe(2, 'x', 0); return list;",
      "x += probe(3, 'x', 0); return x;",
      "switch (probe(2, 'x', 1)) { case x: log(1); case 7: log(x); } return x;",
      "if (probe(2, 'z', 1)) { log(z); } else if (0) {} else { return 1; } return z;",
      "hosted = 4; hosted += 1; other = 2; return other + hosted;",
      "while (x-- > 0) { if (x < 3) log(seen); seen = x; }",
      "probe(5, '', 0); g = g + 1; return f(g, same(2));",
      "return f(ref(x), 1) + probe(6, 'h', 3) + h;",
      "var l = [1, 2]; f(ref(l[0]), 1); f(ref(l[5]), 1); return l;",
      "var r = 1; { var q = ref(r); } f(ref(r), ref(r)); return eval('r = 1') + r;",
      "return probe(4, 'a', 'b') + eval('same(x)');",
      "{ probe(7, '', 0); } { var b = 1; probe(7, '', 0); } var c = 2; probe(7, '', 0);",
  };
  for (const char* const body : bodies) {
    ExpectSame(std::string("var g = 2, list = [1, 'two', [3, 4]], s = 'text';\n"
                           "function f(x, y) { x = x + 1; probe(7, '', 0); return y; }\n"
                           "function same(v) { return v; }\n"
                           "function main(x, y) { ") +
               body + " }\n");
  }
}

// Calls between functions take no native stack, and end in the error that they always ended in.
TEST(Compiled, DeepRecursion) {
  Kt_Script script;
  ASSERT_EQ(script.Parse(u"t",
                         u"function down(n) { if (n == 0) return 0; return down(n - 1) + 1; }\n"
                         u"function main(n) { return down(n); } function ever() { ever(); }",
                         nullptr, nullptr),
            0);
  Kt_Variant depth(kt_long{50000});
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", 1, &depth, result), 0);
  EXPECT_EQ(kt::test::Show(result), "50000");
  EXPECT_EQ(script.ExecFunc(u"ever", nullptr, result), kErrTooDeep);
  EXPECT_EQ(Kt_RunError::Last().function, u"ever");
  EXPECT_EQ(script.ExecFunc(u"main", 1, &depth, result), 0);
}

// What the compiled form once did otherwise, and what it must leave to the evaluator.
TEST(Compiled, KnownPlaces) {
  const char* const bodies[] = {
      "return list[0][1];",
      "return log(1) + log(2) * log(3) - (log(4) + log(5) * 2);",
      "return g + bump() * g + list[0];",
      "return list[0] + bump() + list[0];",
      "return count(g, bump(), g) + (g && bump()) + g;",
      "return bump()[0];",
      "return (bump() + 1)[0];",
      "return count(1)[0]['k'];",
      "return (count(1))['k'];",
      "var r = 5; same(ref(r)) = 6; same(ref(r)) += 4; return r;",
      "return list[2][1][0];",
      "return count(1, 2)[0][0];",
      "return count(1)['k'];",
      "var o = obj; o++; return o;",
      "var o = obj; return o++ + 1;",
      "var o = obj; return ++o;",
      "var a = []; a[1] = 2; return a;",
      "return x + x++;",
      "return x + f(ref(x), 1);",
      "return f(ref(x), 1) * 2 + x;",
      "return list[x = 5] + x++;",
      "var i = 0; return count(list[i++], list[i++], i);",
      "var i = 0; list[i++] = i; return list;",
      "var i = 0; list[i++] += 5; return i;",
      "return 0 && unknown;",
      "return x && unknown;",
      "list[code(-7)] = 1; return list;",
      "list[code(9998)] = 1; return list;",
      "list['k'] = 1; return list;",
      "list[-1] = 1; return list;",
      "s[1] = 'X'; s[99] = 'Y'; return s;",
      "x[0] = 1; return x;",
      "(x) += 4; return x;",
      "var g = 10; (g) += 4; return g;",
      "{ var g = 10; { g++; } } return g;",
      "return ref(x);",
      "var r = ref(x); r = 9; return x;",
      "return code(-5);",
      "return obj.size + code(-5);",
      "f(1, 2) += 3; return 1;",
      "log(1) += 3; return 1;",
  };
  for (const char* const body : bodies) {
    ExpectSame(std::string("var g = 2, list = [1, 'two', [3, 4]], s = 'text';\n"
                           "function f(x, y) { x = x + 1; return y; }\n"
                           "function bump() { g = g * 3; list[0] = g; return g; }\n"
                           "function same(v) { return v; }\n"
                           "function main(x, y) { ") +
               body + " }\n");
  }
}

// `s = s + ...` appends in place. What reads s on the way, shares its text or fails must not
// notice.
TEST(Compiled, Appends) {
  const char* const bodies[] = {
      "s = s + 'x' + 1; s = s + s + x; return s;",
      "s = s + s; s = s + (s + 'y'); s = s + s[0]; return s;",
      "var t = s; s = s + 'x'; t = t + 'y'; s = s + t; return count(s, t);",
      "s = s + f(1, 'a') + f(2, s) + g; return s;",
      "s = s + grow() + grow() + s; return s;",
      "s = s + shrink() + 'a'; return s;",
      "s = s + 'a' + shrink(); return s;",
      "s = s + list[0] + list + null + obj; return s;",
      "s = s + 'a' && 1; s = 0 && s + 'x'; return s;",
      "s = s + (s && 'a') + (0 && s); return s;",
      "s = 'b' + s + 'a'; s = s + 'x' - 1; return s;",
      "s = s + 'a' = 'texta'; return s;",
      "s = 1; s = s + 2; s = s + 'x' + 3; s = s + 4; return s;",
      "s = s + 'x' + code(-7); return s;",
      "s = s + 'x' + code(9998); return s;",
      "s = s + 'x' + unknown(); return s;",
      "s = s + 'x' + list[0][1]; return s;",
      "s = s + null; s = s + ''; s = '' + s; s = null; s = s + 'a'; return s;",
      "var s = 'own'; s = s + 'x'; { var s = s + 'y'; s = s + 'z'; x = s; } return s + x;",
      "var r = 'r'; add(ref(r)); add(ref(r)); return r;",
      "var r = 'r'; add(ref(r), ref(r)); return r;",
      "hosted = 'h'; hosted = hosted + 'x'; plain = plain + 'x' + 2; return hosted + plain;",
      "list[0] = list[0] + 'x'; obj.name = obj.name + 'x'; return list;",
      "for (var i = 0; i < 20; i++) { s = s + i + ','; if (i % 3) s = s + s[2]; } return s;",
  };
  for (const char* const body : bodies) {
    ExpectSame(std::string("var g = 2, list = [1, 'two', [3, 4]], s = 'text';\n"
                           "function f(x, y) { x = x + 1; return y; }\n"
                           "function add(v, w) { v = v + 'x' + w; w = w + v; }\n"
                           "function grow() { s = s + '!'; return s; }\n"
                           "function shrink() { s = 3; return 'cut'; }\n"
                           "function main(x, y) { ") +
               body + " }\n");
  }
}

// A global is looked for where it is named and read where an operator needs it, and a call between
// or before may have loaded the script again.
TEST(Compiled, GlobalsBesideCallsThatLoadTheScript) {
  const char* const bodies[] = {
      "return f(1) + g;",
      "return g + f(1);",
      "return g + f(1) * g;",
      "return g - (f(1) - g) - g;",
      "return list[0] + f(1) + list[0];",
      "return list[0] - f(1) * list[0];",
      "return list[f(1)] - list[f(0)];",
      "return list[f(g)] - g * list[g];",
      "return count(g, f(1), g, list, s) + f(g, g);",
      "return f(f(g), g) + change(list, g)[0];",
      "return f(1) && g > 5 && (f(0) || g) || g;",
      "return (x > 9 && f(1)) + g * (g || f(1)) + g;",
      "if (f(1) && g = 10 && list[0] = f(g)) return 'yes'; return g;",
      "s = s + f(1) + s + 'b' + s; return s;",
      "s = f(1) + s; g = g + f(1) + g; return [g, s];",
      "g += f(1) + g; list[f(1)] = g + f(0) + g; list[f(1)] += g; return [g, list];",
      "return g.round(1) + f(1) + g.round(f(2)) + g;",
      "return [g, f(1), g, list];",
      "return iif(f(1), g, s) + g;",
      "return f(ref(g)) + g + f(ref(g)) + g;",
      "return g++ + f(1) + g++ + --g;",
      "var o = table; return f(1) + o.GetColumn(g, s) + o[g].n + o.n + g;",
      "return f(1) + list.length + s.left(g) + g;",
      "return fresh + f(1) + fresh;",
      "for (var i = f(1); i < f(3) + g && i < 30; i += f(1) + g) log(i + g); return g;",
      "switch (f(1) + g) { case g: return 1; case f(1) + g: return 2; case 11: return 3; }",
  };
  const char* const changes[] = {"probe(5, '', 0);", "probe(6, 'g', 7); probe(6, 'fresh', 8);",
                                 "if (g < 9) probe(5, '', 0); else probe(6, 'list', 5);"};
  for (const char* const body : bodies) {
    for (const char* const change : changes) {
      for (const int limit_steps : {300, 4, 7}) {
        ExpectSame(std::string("var g = 1, list = [1, 'two', [3, 4]], s = 'name';\n"
                               "function change(v, w) { v[0] = w; return v; }\n"
                               "function f(v, w) { g++; ") +
                       change +
                       " g = g * 5; list[0] = g; s = s + 'x'; return v; }\n"
                       "function main(x, y) { " +
                       body + " }\n",
                   limit_steps);
      }
    }
  }
}

// A callback adds arguments and statements to a function that runs, then loads another script; what
// runs may have to go on by names.
TEST(Compiled, FunctionsThatAreAddedTo) {
  const char* const bodies[] = {
      "probe(9, '', 0); return x;",
      "probe(9, '', 0);",
      "var v = probe(9, '', 0); return f(y, v);",
      "probe(9, '', 0); probe(2, 'x', 7); x++; { var w = y; log(w + x); } return f(x, y);",
      "probe(3, 'x', 0); probe(9, '', 0); x = y; log(x); return f(x, y, 1, 2);",
      "switch (y) { case 1: probe(9, '', 0); probe(2, 'z', 7); switch (x) { case 5: log(z); } }",
      "for (var i = 0; i < 3; i++) { probe(9, '', 0); probe(2, 'i', i); log(i + x); } return f(y);",
  };
  for (const char* const body : bodies) {
    for (const int limit_steps : {300, 5, 9, 13, 17}) {
      ExpectSame(std::string("var g = 2, list = [1, 2], s = 'text';\n"
                             "function same(v) { return v; }\n"
                             "function f(x, y) { ") +
                     body + " }\nfunction main(x, y) { log(f(x, 1)); log(f(1, 1)); return f(); }\n",
                 limit_steps);
    }
  }
}

// What cannot be computed is not assigned, also where others refer to the variable.
TEST(Compiled, FailuresAssignNothing) {
  const char* const values[] = {
      "g[2]",          "list[0][1]",        "code(7)",          "fail(1)",    "nosuch",
      "nosuch(1)",     "s.nosuch",          "fail(1) + 1",      "g[2] + 1",   "obj.nosuch()",
      "eval('1 * *')", "[1, g[2], fail()]", "list['k'] + g[0]", "same(g[2])", "iif(g[1], 1, 2)",
      "rows.nosuch",   "rows[9].nosuch",    "gone + 1",         "gone[1]",    "length(code(8))",
  };
  for (const char* const value : values) {
    for (const char* const target : {"v", "list[1]", "g2", "hosted", "fresh"}) {
      ExpectSame(std::string("var g = 2.5, g2 = 'kept', list = [1, 'two', [3, 4]], s = 'text',\n"
                             "  kept = 'kept', gone = thing;\n"
                             "function fail(v) { return g[0] + v; }\n"
                             "function same(v) { return v; }\n"
                             "function set(v) { ") +
                 target + " = " + value +
                 "; return 1; }\n"
                 "function main(x, y) { if (kept = 'kept') probe(11, '', 0); set(ref(kept)); }\n");
    }
  }
}

// A member of a value is a built-in; of an object it is the object's own.
TEST(Compiled, Members) {
  const char* const bodies[] = {
      "return s.mid(1).length + s.length + list.length + x.length + null.length;",
      "return list[0].round(1) + (x + 1.26).round(1) + 'abc'.left(2) + same(s).right(1);",
      "return s.left(log(2)).right(1).length;",
      "return [s.length, list[2].length, obj.length, obj.left(1)];",
      "if (s.length > 2 && s.left(1) = 't') return 1; return 0;",
      "s = s + s.left(1) + 'x' + s.length; return s;",
      "s.length; s.left(1); obj.echo(1); obj.mid(1); obj.length; return s.length();",
      "return s.nosuch() + unknown.length;",
      "return unknown.left(1);",
      "return s.left(probe(1, 's', 5)) + s;",
      "var v = s; return v.left(probe(1, 'v', obj)) + v.left(1);",
      "return s.left(probe(1, 's', obj)) + s.left(2) + s.length;",
      "return list[0].left(probe(5, '', 0));",
      "var o = obj; return o.echo(1).length + o.size.length + o.left(log(1));",
      "x.length = 5; return x;",
      "obj.length = 5; obj.length += 2; return obj.length;",
      "return s.length++;",
      "return ++s.length;",
      "return s.length[0] + x.left(1)[0] + obj.length[0];",
      "return ref(s).length;",
      "return f(ref(x), s.length) + f(s.left(2), ref(x).length);",
      "return s.left(unknown) + obj.left(unknown);",
      "return s.left() + s.left(1, 2, 3).left(code(9998));",
      "return g && s.length || obj.left(2);",
      "switch (s.length) { case list[1].length + 1: return 1; case 4: return s.left(1); }",
      "var t = s.eval().length; return s.random.length > 0;",
      "var a = obj.left(probe(2, 'a', 5)); return a;",
  };
  for (const char* const body : bodies) {
    for (const int limit_steps : {300, 2, 4}) {
      ExpectSame(std::string("var g = 2, list = [1, 'two', [3, 4]], s = 'text';\n"
                             "function f(x, y) { x = x + 1; return y; }\n"
                             "function left(v) { return 'own'; }\n"
                             "function same(v) { return v; }\n"
                             "function main(x, y) { ") +
                     body + " }\n",
                 limit_steps);
    }
  }
}

// Cells of datasets, whose members are used at once: what happens to object, names, columns and
// rows between two rounds of a loop, or while arguments are computed, counts as under the walk. The
// same text with a blank more has a host whose names have a version.
TEST(Compiled, MembersOfDatasets) {
  const char* const bodies[] = {
      "s += rows.GetColumn(i, 'price'); s += t[i].n; s += t.n; s = s + rows[i].name + t.name;",
      "t.SetColumn(i, 'name', s); s += t.SetColumn(i, 'n', i * 2) + t.AppendRow(); s += t.row;",
      "s += t.rowcount * t.GetRowCount() + rows.rowcount; log(t.id); log(t.colcount);",
      "s += t[i].n * t[i].price - rows[i].n; log(t[i].n > t[2].n); log(t[1 - i].n); log(t[-1].n);",
      "var cell = t[i].n; t.SetColumn(i, 'n', 9); log(cell); log(cell + 1); cell = t[i].name;",
      "log(t.GetColumn(i, 'nosuch')); log(t.GetColumn(99, 'n')); log(t.GetColumn('1', 'N'));",
      "log(t.GetColumn(i, 1)); log(t.GetColumn(ref(i), 'n')); log(t.GetColumn(i, list));",
      "log(t.SetColumn(i, 'nosuch', 1)); log(t.SetColumn(99, 'n', 1)); log(t.SetColumn(i, 'n', "
      "obj));",
      "t.SetColumn(i, 'price', t.GetColumn(i, 'price') + t.GetColumn(2 - i, 'n')); s += t.price;",
      // Assignments: to the row of the position, which may be none.
      "t.n = i; t.name = s + i; t.price = t.price + i; s += t.n + t.name + t.price;",
      "t.n += i; t.price *= 2; t.name += 'x'; t.n -= 0.5; t.n /= 2; t.price %= 1; log(t.n);",
      "t.name = 'a'; t.name = 'a'; t.name = null; t.n = null; t.n += 1; t.price = '7x'; t.n = '';",
      "t.n = t; t.name = obj; t.n = list; t.price = rows[i].price; t.name = t[0].name + t.name;",
      "t.nosuch = i;",
      "t.nosuch += i;",
      "t.rowposition = i; t.n = 40 + i; t.rowposition = -1; t.n = 50 + i; t.name += i; log(t.n);",
      "t.rowcount = 3;",
      "t.n = 1e300; t.n = -0.0; t.price = -0.0; t.price = 0; t.price = 1 / 3.0; t.n = true;",
      "t.AppendRow(); t.n = i; t.name = 'new' + i; t.price += i; log(t.n, t.name, t.price);",
      "rows.n = i; rows.price += rows.n; own.n = i; own.price += own.n; x.n = 1;",
      "table.n = i; table.price += table.n; if (i = 1) table = own; if (i = 2) table = 7;",
      "t.n = i; if (i = 1) t = own; t.n += 5; if (i = 2) t = obj; t.size = 4; t.size += 1;",
      "t.n = probe(8, '', 5); t.n = i;",
      "t.n = probe(8, '', 7) + i;",
      "t.n += probe(8, '', i); t.name = probe(8, '', 4);",
      "t.price = i; probe(8, '', 6 + i); t.price += 1; t.n = 60 + i;",
      "t.twice = i; probe(8, '', 9); t.twice += 1;",
      "t.n = i; probe(8, '', 10); t.n = 30 + i; t.price += 1;",
      "t.n = probe(1, 't', 5); t.n = probe(2, 't', own); t.n = 1;",
      "table.n = probe(5, '', 0); table.n += probe(3, 't', 0);",
      "t.n = code(-7);",
      "t.n += code(9998);",
      "kept = t[i]; kept.n = 1;",
      "t[i].n = 5;",
      "t.n = i; t.SetRowType(1, 1); t.n = 9; t.n = i; t.n = 9; t.price = 1; t.price = 2.5; t.n = "
      "i;",
      // The object, and what its name stands for.
      "s += t.n; t = iif(i = 1, obj, own);",
      "log(t.GetColumn(i, 'n')); if (i = 1) t = own; if (i = 2) t = 'text';",
      "log(rows.GetColumn(i, 'n')); if (i = 1) probe(8, '', 5); log(t.n);",
      "log(rows.n); if (i = 1) probe(2, 'rows', obj);",
      "log(rows.n); if (i = 1) probe(6, 'rows', 5);",
      "log(own.GetColumn(i, 'n')); log(own.GetRowCount()); own.SetColumn(i, 'n', 5); "
      "own.AppendRow();",
      "log(own[i].n + own.price); if (i = 1) probe(8, '', 11);",
      "log(rows.GetColumn(probe(8, '', 5), 'n')); log(t.GetColumn(probe(8, '', 7), 'n'));",
      "log(obj.size + obj.nosuch);",
      "log(x.price);",
      "log(x.GetColumn(i, 'n'));",
      "log(null.n);",
      "log(thing.size + thing.echo(i, 2).length + thing[i].size);",
      "log(nobody.n);",
      "log(nobody[i].n);",
      "log(plain.length + hosted.round(1) + plain.nosuch);",
      "var o = [rows, own, table]; log(o[i].n + 1); if (i = 1) o = rows; log(o[i].n + 1);",
      // Columns and rows.
      "log(t.n + t[0].name); probe(8, '', i);",
      "log(t.GetColumn(0, 'name')); probe(8, '', 4 - i);",
      "log(t.name + t.SetColumn(0, 'name', i) + t.AppendRow()); probe(8, '', 3 + i);",
      "log(t.GetColumn(0, 'n') + t[0].n + t.n); probe(8, '', 6 + i);",
      "log(t.SetColumn(0, 'n', 70 + i)); log(t[0].twice); probe(8, '', 8 + i);",
      "log(t.GetColumn(probe(8, '', i), 'name')); log(t.SetColumn(0, 'n', probe(8, '', 1)));",
      "log(t.n + probe(8, '', i)); log(probe(8, '', 3) + t.n);",
      "log(t[0].n * probe(8, '', 3)); log(t[0].n = t[0].price);",
      "t.ClearAll(); log(t.AppendRow()); log(t.n); log(t.GetColumn(0, 'n'));",
  };
  for (const char* const body : bodies) {
    for (const int limit_steps : {300, 7, 11}) {
      for (const char* const end : {"}\n", "} \n"}) {
        ExpectSame(std::string("var g = 2, list = [1, 'two', [3, 4]], s = 'text', kept;\n"
                               "function main(x, y) { var t = table; s = '';\n"
                               "  for (var i = 0; i < 3; i++) { ") +
                       body + " }\n  return [s, t]; " + end,
                   limit_steps);
      }
    }
  }
}

// Which uses of members the code tries at once.
TEST(Compiled, MembersAtOnce) {
  const struct {
    const char* body;
    const char* members;
  } rows[] = {
      {"s += t.GetColumn(i, 'price');", "t.GetColumn(i, \"price\") "},
      {"s += t[i].price * t[1].n;", "t[i].price t[1].n "},
      {"s += host[i].price + host.n;", "host[i].price host.n "},
      {"s = t.AppendRow(); t.SetColumn(s, 'n', i);", "t.AppendRow() t.SetColumn(s, \"n\", i) "},
      {"s = s + t[i].name;", "t[i].name "},
      {"if (t[i].n > 5) s = 1;", "t[i].n "},
      {"t.n = s; t.price += i;", "t.n t.price "},
      {"t.n = t.price;", "t.price t.n "},
      // The object is wanted, or something is computed first.
      {"s = t[i].price;", ""},
      {"log(t[i].price);", ""},
      {"s = t[i].price + log(1) * t.n;", "t.n "},
      {"t.SetColumn(i, 'n', i + 1);", ""},
      {"s = t.text.length + s.length;", ""},
  };
  for (const auto& row : rows) {
    TestHost host;
    Kt_Script script(&host);
    const std::string text = std::string("function f(t, i, s) { ") + row.body + " }";
    ASSERT_EQ(script.Parse(u"made", Kt_WString::FromUtf8(text), nullptr, nullptr), 0);
    const std::string code = DumpScriptCode(script, *script.GetFunc(u"f")).ToUtf8();
    std::string members;
    std::istringstream lines(code);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t at =
          std::min({line.find(" Member "), line.find(" SetMember "), line.find(" ChangeMember ")});
      if (at == std::string::npos) continue;
      const std::size_t from = line.find(", ", at) + 2;
      const std::string used = line.substr(from, line.find(';') - from);
      members += used.substr(0, used.find_last_not_of(' ') + 1) + " ";
    }
    EXPECT_EQ(members, row.members) << code;
  }
}

// A row that goes back to where it came from is not copied; nobody must notice.
TEST(Compiled, RowsThatGoBack) {
  const char* const bodies[] = {
      "row[0] = 9; grid[0] = row; return [grid, row];",
      "row[0] += 9; grid[0] = row; row[0] = 7; return [grid, row];",
      "row[0] = 9; grid[1] = row; return [grid, row];",
      "row[0] = 9; log(grid); grid[0] = row; return grid;",
      "row[0] = 'x'; row[0] += 'y'; row[1] = null; grid[0] = row; return [grid, row];",
      "var kept = row; row[0] = 9; grid[0] = row; return [grid, row, kept];",
      "var kept = grid; row[0] = 9; grid[0] = row; return [grid, row, kept];",
      "var kept = [grid]; row[0] += 9; grid[0] = row; return [grid, row, kept];",
      "row[0] = grid[0][1] + 1; grid[0] = row; return grid;",
      "row[0] = row; grid[0] = row; return grid;",
      "row[5] = 1; grid[0] = row; row[5] = 2; grid['k'] = row; return grid;",
      "for (var i = 0; i < 4; i++) { row = grid[i % 2]; row[0] *= 2; grid[i % 2] = row; } return "
      "grid;",
      "for (var i = 0; i < 2; i++) { row = grid[i]; row[i] -= 2; grid[i] = row; } return grid;",
      "row = list[2]; row[0] = 9; list[2] = row; row[1] = 8; list[2] = row; row[1] = 7; return "
      "row;",
      "put(ref(grid), 0); put(ref(list), 2); put(grid, 1); return [grid, list];",
      "var r = ref(row); row[0] = 9; grid[0] = row; return [grid, row];",
      "row[0] = 9; { var grid = [row]; grid[0] = row; } return grid;",
      "row[0] = 9; if (x) grid[0] = row; return grid;",
  };
  for (const char* const body : bodies) {
    for (int limit_steps = 30; limit_steps > 2; --limit_steps) {
      ExpectSame(std::string("var list = [1, 'two', [3, 4]], last;\n"
                             "function put(v, at) { var row = v[at]; row[0] += 5; v[at] = row; }\n"
                             "function main(x, y) { var grid = [[1, 2], [x, y]];\n"
                             "  last = grid; last = 0; var row = grid[0]; ") +
                     body + " }\n",
                 limit_steps);
    }
  }
}

// What an instruction does together with the test behind it, ends of loops and compared items; and
// what moves instead of being copied.
TEST(Compiled, TestsGoOnWithWhatIsBefore) {
  const char* const bodies[] = {
      "for (var i = 0; i < length(list); i++) r += i; return r;",
      "for (var i = 0; i < length(text); i++) { r += text[i]; text = 'ab'; } return r;",
      "for (var i = 0.5; i < length(list); i += 1) { list[3] = i; r += list[2] == 'two'; } return "
      "list;",
      "for (var i = 0; i < length(x); i++) r += i; return r + length(null);",
      "var n = ref(list), i = 0; while (i < length(n)) { if (n[i] == 'one') r += 1; i++; } return "
      "r;",
      "while (r < length(list)) { r++; if (r == 2) { list = 'text'; } } return r;",
      "if (list[0] == 'one') r += 1; if (list[1] != 'one') r += 2; if (list[0] == '') r += 4; "
      "return r;",
      "var one = list[0]; if (one == 'one') { r = one; } return [one, r, list];",
      "if (list[3] == 'one' || list[2] == '2' || list[2] == 2) r = 1; return r;",
      "list[0] = space(300); if (list[0] == 'one') r = 1; if (list[0] == list[0]) r += 2; return "
      "r;",
      "list[1] = list; if (list[1] == 'one') r = 1; if (list[1][0] == 'one') r += 2; return r;",
      "return iif(list[0] == 'one', list[0], list[1]) + (list[0] == 'one') + (list[1] == 'x');",
      "var made = [list[0] + 'a' + list[1] + x, [list], list]; made[3] = [made, list]; made[1] = "
      "[made[1], 'b' + 'c']; return made;",
      "list[3] = [list]; list[0] = [list, list[0] + list[1]]; list[3] = 'o' + list[1]; return "
      "list;",
      "r = 'a' + text; r = text + r + 'z' + text; text = r + text; return [r, text, 'a' + 'b'];",
      "var t = toString(x) + trim(' a ') + toInteger('12x') + toNumber('-1.5e1'); return t + "
      "toString(list) + toInteger(list) + trim(5) + toString(2.5, '0.00') + toInteger();",
  };
  for (const char* const body : bodies) {
    for (int limit_steps = 40; limit_steps > 2; --limit_steps) {
      ExpectSame(std::string("var list = ['one', 'two', 2], text = 'abcd';\n"
                             "function main(x, y) { var r = 0; ") +
                     body + " }\n",
                 limit_steps);
    }
  }
}

// Labels that go into a table, and those that may not; what stands in no table is compared.
TEST(Compiled, ConstantLabels) {
  const char* const labels[] = {
      "case 'a': r += 'a'; break; case 'b': case '1': r += 'b'; case 'c': r += 'c'; break;",
      "case 1: r += 'a'; case 2: r += 'b'; break; case -3: r += 'c'; break; case 100000: r += 'd';",
      "case 1: r += 'a'; case '1': r += 'b'; break; case 'x': r += 'c';",
      "case 'a': r += 'a'; break; case 'a': r += 'b'; break; case 'A': r += 'c'; break; case '':",
      "case 'a': r += 'a'; break; default: r += 'd'; case 'b': r += 'b'; case 'c': r += 'c';",
      "case '': r += 'e'; break; case 'abcd': r += 'f'; break; case 'abce': r += 'g';",
      "case 1: case 2: case 3: r += 'x'; if (x) { break; } r += 'y'; default: r += 'z';",
      "case 1.5: r += 'a'; break; case 2: r += 'b'; break; case 3: r += 'c';",
      "case 1: return 'out'; case 2: r += bump(); break; case 3: r += 'c';",
      "case 1: switch (x) { case 7: case 8: case 9: r += 'in'; } case 2: case 3: r += 'c';",
  };
  const char* const values[] = {"'a'",    "'b'",    "'1'", "1",        "2",      "-3",
                                "3.0",    "1.5",    "''",  "null",     "'abcd'", "list",
                                "true",   "100000", "obj", "x",        "'A'",    "'abce'",
                                "'zzzz'", "s",      "7",   "space(9)", "list[1]"};
  for (const char* const label : labels) {
    std::string body;
    for (const char* const value : values) {
      body += std::string("r += '|'; switch (") + value + ") { " + label + " }\n";
    }
    for (const int limit_steps : {10000, 13, 38}) {
      ExpectSame(
          "var g = 2, list = [1, 'two', [3, 4]], s = 'text';\n"
          "function bump() { g = g * 3; return g; }\n"
          "function main(x, y) { var r = ''; x = 7; " +
              body + "return r; }\n",
          limit_steps);
    }
  }
}

// Values that are handed over and back: each of them is its own, whoever held it last.
TEST(Compiled, ValuesGoInAndOut) {
  const char* const bodies[] = {
      "var l = [1, [2, 3], 4]; var m = put(l, 0, 'x'); return count(l, m, put(m, 5, l), m);",
      "var l = [[1], [2]]; var row = l[0]; row[0] = 'x'; l[1] = row; row[0] = l; return count(l, "
      "row);",
      "var l = list; var m = l; l[0] = m; m[1] = l; return count(l, m, list);",
      "put(ref(list), 1, list); put(list, 0, 9); return list;",
      "list = put(list, 1, put(list, 0, list)); return list;",
      "var l = own(x); l[2] = l; return count(l, own(l));",
      "var t = tail('a') + tail('b'); return t + tail(t) + length(tail(t));",
      "return length(own(1)) + length(list) + length(s) + length(x) + length(obj) + length(null);",
      "var r = ref(list); r[0] = length(r); return count(r, length(s), length(list));",
      "g += length(s); s += g; g++; g -= 1.5; list[0] += g; return count(g, s, list);",
      "return count(charat(s, 1), charat(s, 99), charat(s, -1), asc(s), asc(''), chr(65), "
      "chr(-1));",
      "return count(left(s, 2), left(s, 0), right(s, 1), mid(s, 1), mid(s, 1, 2), mid(s), pos(s, "
      "'x'));",
      "return count(charat(obj, 0), length(), charat(s), mid(list, 1), chr('66'), asc(x), pos(s));",
      "var c = chr(97); var d = charat('abc', 0); c += 'z'; d[0] = 'q'; return count(c, d, "
      "chr(97));",
      "return count(floor(2.5), floor('2.5'), abs(-3), sqrt(16), sqrt(obj), floor(), abs(list));",
      "var l = [own(1), own(2)]; for (var i = 0; i < length(l); i++) l[i] = put(l[i], i, l); "
      "return l;",
      "if (s = 'text' && own('a') <> 'b') x = 'same'; if (s <> tail('')) y = 2; return x + y;",
  };
  for (const char* const body : bodies) {
    for (const int limit_steps : {10000, 5, 9}) {
      ExpectSame(
          std::string("var g = 2, list = [1, 'two', [3, 4]], s = 'text';\n"
                      "function put(v, at, w) { v[at] = w; return v; }\n"
                      "function own(v) { var l = [v, [v]]; l[0] = v; return l; }\n"
                      "function tail(v) { var own = v + s; if (g > 2) return s; return own; }\n"
                      "function main(x, y) { ") +
              body + " }\n",
          limit_steps);
    }
  }
}

// Joined it would be too long; it stays as it is.
TEST(Compiled, AppendsThatDoNotFit) {
  Kt_Script script;
  ASSERT_EQ(script.Parse(u"t",
                         u"var s; function main() { s = space(70000000); s = s + 'x' + s; }\n"
                         u"function size() { return length(s); }",
                         nullptr, nullptr),
            0);
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), kErrStringTooLong);
  EXPECT_EQ(script.ExecFunc(u"size", nullptr, result), 0);
  EXPECT_EQ(kt::test::Show(result), "70000000");
}

// A switch in the middle of a script's life: what was parsed by one is used by the other.
TEST(Compiled, Switched) {
  Kt_Script script;
  ASSERT_EQ(script.Parse(u"t", u"function main() { var a = []; a[2] = 1; return a[2] + 1; }",
                         nullptr, nullptr),
            0);
  for (const bool is_compiled : {false, true, false, true}) {
    script.SetCompiled(is_compiled);
    Kt_Variant result;
    EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), 0);
    EXPECT_EQ(kt::test::Show(result), "2");
  }
}

}  // namespace
