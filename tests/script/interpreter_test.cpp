// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "common/test_host.h"
#include "expr/Kt_Expr.h"
#include "script/Kt_Script.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;

struct Row {
  const char* text;  // a script, or the body of main(x) called with 5
  const char* result;
  const char* reports = "";
  kt_long code = 0;
};

struct Host : TestHost {
  Host() {
    variables.AddVariable(u"hosted", kt_long{3});
    plain.AddVariable(u"plain", kt_long{8});
    variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, thing.get())));
  }
};

void RunRow(const Row& row, bool is_compiled) {
  const std::string_view text = row.text;
  const bool is_whole = text.find("function main") != std::string_view::npos;
  Host host;
  Kt_Script script(&host);
  script.SetCompiled(is_compiled);
  const std::string whole =
      is_whole ? std::string(text) : "function main(x) { " + std::string(text) + " }";
  Kt_WStrList faults;
  EXPECT_EQ(script.Parse(u"test", Kt_WString::FromUtf8(whole), nullptr, &faults), 0) << text;
  EXPECT_EQ(faults.GetCount(), 0) << text;
  Kt_Variant arg = kt_long{5};
  Kt_Variant result = u"old";
  EXPECT_EQ(script.ExecFunc(u"main", 1, &arg, result), row.code) << text;
  EXPECT_EQ(Show(result), row.result) << text;
  EXPECT_EQ(host.TakeReports(), row.reports) << text;
}

template <std::size_t kCount>
void RunRows(const Row (&rows)[kCount]) {
  for (const Row& row : rows) {
    for (const bool is_compiled : {true, false}) RunRow(row, is_compiled);
  }
}

TEST(Interpreter, Returns) {
  RunRows({
      {"", "-"},
      {"return;", "-"},
      {"return x + 1;", "6"},
      {"x = 7;", "-"},
      {"{ { return 1; } } return 2;", "1"},
      {"while (1) { if (x) return x; }", "5"},
      {"for (;;) return 1; return 2;", "2"},
      {"switch (1) { case 1: return 3; } return 4;", "3"},
      // A value that cannot be had is reported, and the function returns nothing.
      {"return unknown; x = 1;", "-", "83B03110(unknown)"},
      {"return code(9999);", "-", "", kAbort},
      {"break; return 1;", "-"},
      {"continue; return 1;", "-"},
  });
}

TEST(Interpreter, CodesArePassedUp) {
  RunRows({
      {"code(-77); return 1;", "-", "", -77},
      {"if (code(-77)) return 1; return 2;", "-", "", -77},
      {"while (code(-77)) {} return 2;", "-", "", -77},
      {"for (x = 0; code(-77); x++) {} return 2;", "-", "", -77},
      {"switch (code(-77)) { default: return 1; }", "-", "", -77},
      {"switch (1) { case code(-77): return 1; }", "-", "", -77},
      {"{ x = code(-77); }", "-", "", -77},
      {"var y = code(-77);", "-", "", -77},
      {"var y[code(-77)];", "-", "", -77},
      {"x += code(-77);", "-", "", -77},
      {"obj.size = code(-77);", "-", "", -77},
      {"function f() { code(-77); } function main() { f(); return 1; }", "-", "", -77},
      {"function f() { return code(-77); } function main() { f(); return 1; }", "1"},
      {"unknown++; return 1;", "-", "83B03110(unknown)", kUnknownName},
      {"unknown += 1; return 1;", "-", "83B03110(unknown)", kUnknownName},
      // The host is still there, so the statement counts as done.
      {"code(9998); return 1;", "1"},
      {"var l[2]; l[code(9998)] = 7; return l;", "[-, -]"},
  });
}

TEST(Interpreter, Scopes) {
  RunRows({
      {"var y = 1; { var y = 2; } return y;", "1"},
      {"var y = 1; { y = 2; } return y;", "2"},
      {"{ y = 2; } return y;", "-", "83B03110(y)"},
      {"if (1) { var y = 2; } return y;", "-", "83B03110(y)"},
      {"if (1) y = 2; return y;", "-", "83B03110(y)"},
      {"y = 2; return y;", "2"},
      {"var y = 1; var y = y + 1; return y;", "2"},
      {"var y = 1, z = y + 1; return z;", "2"},
      // One scope for all rounds of a loop.
      {"var n = 0; while (n < 3) { if (n == 0) { var q = 0; } var r; r += 1; n++; } return n;",
       "3"},
      {"var sum = 0; var n = 0; while (n++ < 3) { kept = n; sum += kept; } return sum;", "6"},
      {"var l = ''; for (var i = 0; i < 3; i++) { if (i == 0) once = 7; l += i; } return l + i;",
       "'0123'"},
      {"for (var i = 0; i < 3; i++) { var inner = i; } return inner;", "-", "83B03110(inner)"},
      {"switch (1) { case 1: var y = 1; case 2: y = 5; } return y;", "-", "83B03110(y)"},
      {"var g = 1; function f() { var g = 2; return g; } function main() { return f() * 10 + g; }",
       "21"},
      {"var g = 1; function f() { g = 2; } function main() { f(); return g; }", "2"},
      {"function f() { own = 2; } function main() { own = 1; f(); return own; }", "1"},
      {"function f() { return local; } function main() { var local = 1; return f(); }", "-",
       "83B03110(local)"},
      {"hosted = 9; plain += 1; return hosted + plain;", "18"},
      {"var hosted = 1; hosted++; return hosted;", "2"},
      {"plain++; return plain;", "9"},
  });
}

TEST(Interpreter, Arguments) {
  RunRows({
      {"function f(a, b) { return b; } function main() { return f(1); }", "-"},
      {"function f(a) { return a; } function main() { return f(1, 2, 3); }", "1"},
      {"function f(a) { a = 9; } function main(x) { f(x); return x; }", "5"},
      {"function f(a) { a = 9; } function main(x) { f(ref(x)); return x; }", "9"},
      {"function g(a) { a++; } function f(a) { g(ref(a)); } function main(x) { f(ref(x)); return "
       "x; "
       "}",
       "6"},
      {"function f(a, b) { a = a + 1; b = b + 1; } function main(x) { f(ref(x), ref(x)); return x; "
       "}",
       "7"},
      {"function f(l) { l[0] = 9; } function main() { var l[2]; f(l); return l; }", "[-, -]"},
      {"function f(l) { l[0] = 9; } function main() { var l[2]; f(ref(l)); return l; }", "[9, -]"},
      {"function f(n) { if (n < 2) return 1; return n * f(n - 1); } function main() { return "
       "f(10); }",
       "3628800"},
      {"function even(n) { if (n = 0) return 1; return odd(n - 1); } function odd(n) { if (n = 0) "
       "return 0; return even(n - 1); } function main() { return even(50); }",
       "1"},
      {"function a(b,c,d,e,f,g,h,i,j,k) { return k; } function main() { return "
       "a(1,2,3,4,5,6,7,8,9,10); }",
       "10"},
      {"function F(a) { return a; } function main() { return f(3); }", "3"},
  });
}

TEST(Interpreter, Branches) {
  RunRows({
      {"if (x = 5) return 1; else return 2;", "1"},
      {"if (x = 4) return 1; else if (x = 5) return 2; else return 3;", "2"},
      {"if (0) return 1; else if (0) return 2; else return 3;", "3"},
      {"if ('abc') return 1; return 2;", "2"},
      {"if (0.9) return 1; return 2;", "2"},
      {"if ('2') return 1; return 2;", "1"},
      {"while (0.5) return 1; return 2;", "2"},
      {"var s = ''; switch (2) { case 1: s += 1; case 2: s += 2; case 3: s += 3; break; default: "
       "s += 'd'; } return s;",
       "'23'"},
      {"var s = ''; switch (9) { case 1: s += 1; default: s += 'd'; case 3: s += 3; } return s;",
       "'d3'"},
      // A default catches everything from its place on, and hides the labels after it.
      {"var s = ''; switch (3) { default: s += 'd'; break; case 3: s += 3; } return s;", "'d'"},
      {"switch ('2') { case 2: return 'number'; } return 'none';", "'number'"},
      {"var n = 0; switch (1) { case log(1): n = 1; case log(2): n += 1; } return n;", "2"},
      {"for (var i = 0; i < 3; i++) { switch (i) { case 1: break; default: x += 10; } } return x;",
       "25"},
      {"for (var i = 0; i < 3; i++) { switch (i) { case 1: continue; } x += 10; } return x;", "25"},
  });
}

TEST(Interpreter, Loops) {
  RunRows({
      {"var n = 0; while (n < 5) n++; return n;", "5"},
      {"var n = 0; while (1) { if (n = 3) break; n++; } return n;", "3"},
      {"var s = 0; for (var i = 0; i < 10; i++) { if (i % 2) continue; s += i; } return s;", "20"},
      {"var s = 0; for (var i = 0; i < 3; i++) for (var j = 0; j < 3; j++) { if (j = 1) break; s "
       "+= "
       "1; } return s;",
       "3"},
      // A continue ends the bare block that it stands in, and nothing else.
      {"var s = 0; for (var i = 0; i < 3; i++) { { continue; } s += 1; } return s;", "3"},
      {"var s = 0; for (var i = 0; i < 3; i++) { { break; } s += 1; } return s * 10 + i;", "0"},
      {"var s = 0; for (var i = 0; i < 3; i++) { if (1) { continue; } s += 1; } return s;", "0"},
      {"for (var i = 0, j = 9; i < 3; i++, j--) {} return j;", "6"},
      {"for (; x < 9;) x++; return x;", "9"},
  });
}

TEST(Interpreter, Assignments) {
  RunRows({
      {"x += 2; x -= 1; x *= 3; x /= 2; return x;", "9.0"},
      {"x %= 3; return x;", "2"},
      {"var s = 'a'; s += 'b' + 1; return s;", "'ab1'"},
      {"x++; x++; x--; return x;", "6"},
      {"var s = '4x'; s++; return s;", "5"},
      {"var l[3]; l[0] = 1; l[0] += 4; l[0] *= 2; l[4] = 'e'; return l;", "[10, -, -, -, 'e']"},
      {"var l = [[1, 2], 3]; var inner = l[0]; inner[0] = 9; return l;", "[[1, 2], 3]"},
      {"var l = [1, 2]; var m = l; m[0] = 9; return l;", "[1, 2]"},
      {"var l = [1]; l[1] = l; return l;", "[1, [1]]"},
      {"var l = [1]; l['k'] = 2; return l;", "-", "83B01525(l, k)", kErrBadItemKey},
      {"var l = [1]; l[-1] = 2; return l;", "-", "83B01525(l, -1)", kErrBadItemKey},
      {"x[0] = 1; return x;", "-", "83B03210(x, [])", kErrNotAllowed},
      {"var s = 'abc'; s[1] = 'XY'; s[0] = 65; s[9] = 'z'; s[2] = ''; return s;", "'AXc'"},
      {"obj.size = 7; obj.size += 3; return obj.size;", "10"},
      // What a call gives: a reference can be assigned to, a value cannot.
      {"function same(a) { n += 1; return ref(a); } var n = 0;"
       "function main(x) { var y = 1; same(ref(y)) += 2; return y * 10 + n; }",
       "31"},
      {"var y = 1; abs(y) += 2; return y;", "-", "83B03120(=)", kFailed},
      {"thing.quick = 2; thing.quick *= 4; return thing.quick;", "8"},
      {"obj.nosuch = 1; return 1;", "-", "83B03130(thing, obj.nosuch)", kNoMember},
      {"thing[0] = 1; return 1;", "-", "83B03140(thing)", kErrInvalidObject},
      {"(x) = 3; (x) += 1; return x;", "4"},
      {"var hosted = 1; (hosted) += 1; return hosted;", "2"},
      {"plain[0] = 1; return 1;", "-", "83B03210(plain, [])", kErrNotAllowed},
      {"var y[-3]; return y;", "-"},
  });
}

// With the values of a list given as text, since their kinds are not the point.
TEST(Interpreter, SizesOfArrays) {
  RunRows({
      {"var l[0]; return l;", "-"},
      {"var l[2.9]; return l;", "[-, -]"},
      {"var l['3']; return length(l);", "3"},
  });
}

TEST(Interpreter, CallStack) {
  Host host;
  Kt_Script script(&host);
  ASSERT_EQ(script.Parse(u"file",
                         u"function inner() {\n\n  hook();\n}\n"
                         u"function main() {\n  if (1) {\n    inner(); }\n}\n",
                         nullptr, nullptr),
            0);
  std::string stack;
  host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant&) {
    for (const Kt_ScriptPosition& place : script.GetCallStack()) {
      stack += place.source_name.ToUtf8() + ":" + place.function.ToUtf8() + ":" +
               std::to_string(place.line) + " ";
    }
    return kOk;
  };
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), 0);
  EXPECT_EQ(stack, "file:inner:2 file:main:6 ");
  EXPECT_TRUE(script.GetCallStack().empty());
}

TEST(Interpreter, CallsFromOutside) {
  Host host;
  Kt_Script script(&host);
  ASSERT_EQ(script.Parse(u"t", u"function main(a, b) { return [a, b]; }", nullptr, nullptr), 0);
  Kt_Variant result = u"old";
  EXPECT_EQ(script.ExecFunc(u"nosuch", nullptr, result), -1);
  EXPECT_EQ(script.ExecFunc(u"main", 1, nullptr, result), -1);
  EXPECT_EQ(script.ExecFunc(u"main", 0, nullptr, result), 0);
  EXPECT_EQ(Show(result), "[-, -]");
  Kt_Variant args[] = {Kt_Variant(kt_long{1}), Kt_Variant(u"b")};
  EXPECT_EQ(script.ExecFunc(u"MAIN", 2, args, result), 0);
  EXPECT_EQ(Show(result), "[1, 'b']");
  EXPECT_EQ(Show(args[1]), "'b'");
  // An expression of the host sees globals and functions of the script.
  EXPECT_EQ(Kt_Expr(u"main(1 + 1, 2)[0]").ExecExpr(&script, result), 0);
  EXPECT_EQ(Show(result), "2");
}

// Statements that the host runs in a context of its own ask that context first.
TEST(Interpreter, BodyInContextOfHost) {
  Host outer;
  Kt_Script script(&outer);
  ASSERT_EQ(script.Parse(u"t",
                         u"var g = 1;\n"
                         u"function run() { g++; { g += 10; var l = g; h = l; } for (i = 0; i < 2;"
                         u" i++) { g = g + 100; } }",
                         nullptr, nullptr),
            0);
  Host context;
  context.variables.AddVariable(u"g", kt_long{1000});
  Kt_ScriptFunc& run = *script.GetFunc(u"run");
  Kt_Variant result;
  EXPECT_EQ(run.ExecBody(run.GetBody(), &context, result), 0);
  EXPECT_EQ(Show(script.GetVariables()), "g=1 ");
  EXPECT_EQ(Show(context.variables), "hosted=3 obj=<thing> g=1211 i=2 ");
  EXPECT_EQ(run.ExecBody(run.GetBody(), &script, result), 0);
  EXPECT_EQ(Show(script.GetVariables()), "g=212 i=2 ");
}

}  // namespace
