// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "common/test_host.h"
#include "expr/Kt_Expr.h"
#include "object/Kt_ExprStackObj.h"

namespace {

using kt::test::Show;
using kt::test::ShowCode;
using kt::test::TestHost;

// What expressions see: a = 7, b = -2.5, s = 'abc', e empty, list = [1, 'two', [3, 4]], the object
// variable `obj`, and p = 5, which the host gives only by value.
struct Host : TestHost {
  Host() {
    variables.AddVariable(u"a", kt_long{7});
    variables.AddVariable(u"b", -2.5);
    variables.AddVariable(u"s", u"abc");
    variables.AddVariable(u"e", Kt_Variant());
    const Kt_VariantList inner{Kt_Variant(kt_long{3}), Kt_Variant(kt_long{4})};
    variables.AddVariable(u"list", Kt_VariantList{Kt_Variant(kt_long{1}), u"two", inner});
    variables.AddVariable(u"obj", Kt_Variant(Kt_ObjectHolder(nullptr, thing.get())));
    plain.AddVariable(u"p", kt_long{5});
  }
};

struct Row {
  const char16_t* text;
  const char* value;         // "!83B03110" or "!-1" for a code
  const char* reports = "";  // codes with arguments
  const char* calls = "";    // what log() noted, then what the component was asked
};

void Check(const Row& row, Host& host) {
  Kt_Expr expr(row.text);
  Kt_Variant value = u"old";
  const std::uint64_t failures = Kt_RunError::Last().serial;
  const kt_long code = expr.ExecExpr(&host, value);
  const std::string text = Kt_WString(row.text).ToUtf8();
  EXPECT_EQ(code == 0 ? Show(value) : "!" + ShowCode(code), row.value) << text;
  EXPECT_EQ(host.TakeReports(), row.reports) << text;
  EXPECT_EQ(std::exchange(host.calls, {}) + std::exchange(host.thing->log, {}), row.calls) << text;
  if (code != 0) {
    EXPECT_TRUE(value.IsEmpty()) << text;
    // Whatever fails says why.
    EXPECT_NE(Kt_RunError::Last().serial, failures) << text;
    EXPECT_EQ(Kt_RunError::Last().code, code) << text;
    EXPECT_FALSE(Kt_RunError::Last().text.IsEmpty()) << text;
    EXPECT_FALSE(Kt_RunError::Last().expression.IsEmpty()) << text;
  }
}

template <std::size_t kCount>
void RunRows(const Row (&rows)[kCount]) {
  for (const Row& row : rows) {
    Host host;
    Check(row, host);
  }
}

TEST(Evaluator, OperatorsAndPrecedence) {
  RunRows({
      {u"", "-"},
      {u"5", "5"},
      {u"'x'", "'x'"},
      {u"2.50", "2.5"},
      {u"2 + 3 * 4", "14"},
      {u"2 * 3 + 4", "10"},
      {u"(2 + 3) * 4", "20"},
      {u"20 - 3 - 4", "13"},
      {u"20 / 4 / 5", "1.0"},
      {u"7 % 4 * 2", "6"},
      {u"a * a + b * 2", "44.0"},
      {u"1 + 2 = 3", "1"},
      {u"1 + 2 == 3", "1"},
      {u"3 <> 3", "0"},
      {u"3 != 4", "1"},
      {u"2 < 3 && 3 <= 3", "1"},
      {u"4 > 5 || 5 >= 6", "0"},
      {u"2 and 0", "0"},
      {u"0 or 2", "1"},
      {u"-3", "-3"},
      {u"- 3 + 5", "2"},
      {u"-a", "-7"},
      {u"!0", "1"},
      {u"!a", "0"},
      {u"!!a", "1"},
      {u"!-1", "0"},
      {u"2 * (-3)", "-6"},
      {u"s + 1", "'abc1'"},
      {u"1 + s + 2", "'1abc2'"},
      {u"e + 1", "1"},
      {u"e + 'x'", "'x'"},
      {u"2147483647 + 1", "2147483648.0"},
      {u"1 / 0 > 5", "1"},
      {u"A + S", "'7abc'"},
      {u".5 + 1", "1.5"},
      // A lone & computes nothing and gives its right side; what stands behind may be cut off.
      {u"5 & 2", "5"},
      {u"p + 1", "6"},
  });
}

TEST(Evaluator, ShortCircuits) {
  RunRows({
      {u"0 && log(1)", "0"},
      {u"1 || log(1)", "1"},
      {u"1 && log(1)", "1", "", "1;"},
      {u"0 || log(0)", "0", "", "0;"},
      {u"log(0) && log(1)", "0", "", "0;"},
      {u"'abc' && 1", "0"},
      {u"1 && 'abc'", "0"},
      {u"1 && '2'", "1"},
      {u"0.5 || log(1)", "1", "", "1;"},
      // What is skipped ends at the bracket, the comma or the end: after a false &&, the || too.
      {u"0 && log(1) || log(2)", "0"},
      {u"(0 && log(1)) || log(2)", "1", "", "2;"},
      {u"1 || log(1) && log(0)", "1"},
      {u"count(0 && log(1), log(2))", "[0, 2]", "", "2;"},
      {u"list[0 && log(1)]", "1"},
      {u"0 && count(log(1), (log(2)))", "0"},
      {u"0 && list[log(1)] + 1", "0"},
      {u"1 + (0 && log(1))", "1"},
      {u"!(0 && log(1))", "1"},
      {u"0 && unknown", "0"},
      {u"1 && unknown", "!83B03110", "83B03110(unknown)"},
  });
}

TEST(Evaluator, Calls) {
  RunRows({
      {u"count()", "[]"},
      {u"count(1)", "[1]"},
      {u"count(1, 'b', a)", "[1, 'b', 7]"},
      {u"count(,)", "[-, -]"},
      {u"count(1,,2)", "[1, -, 2]"},
      {u"count((1 + 2) * 3)", "[9]"},
      {u"count(count(1), count())", "[[1], []]"},
      {u"length(s)", "3"},
      {u"LENGTH(s)", "3"},
      {u"thing.echo(1, 2)", "[1, 2]", "", "call echo[1, 2];"},
      {u"thing.echo()", "[]", "", "call echo;"},
      {u"thing.stored(3)", "11", "", "stored[3];"},
      {u"obj.echo(a)", "[7]", "", "call echo[7];"},
      {u"nosuch(1)", "!83B03130", "83B03130(host, nosuch)"},
      {u"thing.nosuch(1)", "!-2", "83B03130(thing, nosuch)"},
      // What is no method may be a property.
      {u"thing.size()", "4", "", "get size;"},
      {u"thing.size(1)", "4", "", "get size[1];"},
      {u"code(9998)", "!9998"},
      {u"1 + code(-7)", "!-7"},
      {u"log(1) + log(2) * log(3)", "7", "", "1;2;3;"},
      {u"log(1) + (log(2) - log(3) * log(4)) * log(5)", "-49", "", "1;2;3;4;5;"},
      {u"log(1) < log(2) * log(3) - log(4)", "1", "", "1;2;3;4;"},
      {u"thing.stored(1) + thing.size(2) * thing.stored(3)", "55", "",
       "stored[1];get size[2];stored[3];"},
      {u"s.mid(log(1)) + s.mid(log(2)).length * log(3)", "'bc3'", "", "1;2;3;"},
      {u"count(log(1), log(2) + log(3))[0] + log(4)", "5", "", "1;2;3;4;"},
      {u"log(1) - log(2) - log(3)", "-4", "", "1;2;3;"},
      // A variable is read when the operator is applied.
      {u"a + hook() * 0", "7"},
      {u"log(5)", "5", "", "5;"},
      {u"log(5).toString().length()", "1", "", "5;"},
      {u"ref(a)", "&7"},
      {u"count(ref(a), a)", "['&7', 7]"},
      {u"ref(a) + 1", "8"},
  });
}

TEST(Evaluator, Members) {
  RunRows({
      {u"s.length", "3"},
      {u"s.length()", "3"},
      {u"s.mid(1)", "'bc'"},
      {u"s.mid(1, 1)", "'b'"},
      {u"s.mid(1).length", "2"},
      {u"'abc'.toUpper", "'ABC'"},
      {u"s.nosuch", "!-1"},
      {u"s.nosuch(1)", "!83B03130", "83B03130(s.nosuch(1), )"},
      {u"unknown.length", "!83B03110", "83B03110(unknown)"},
      {u"thing.size", "4", "", "get size;"},
      {u"thing.size + thing.size", "8", "", "get size;get size;"},
      {u"thing.quick", "9", "", "quick;"},
      {u"thing.name.length", "2", "", "get name;"},
      {u"thing.nosuch", "!-2", "83B03130(thing, nosuch)"},
      {u"obj.size", "4", "", "get size;"},
      {u"thing", "<thing>"},
      {u"obj", "<thing>"},
      {u"thing + ''", "'text of thing'"},
  });
}

TEST(Evaluator, Indexers) {
  RunRows({
      {u"list[0]", "1"},
      {u"list[2][1]", "4"},
      {u"list[2][0] + list[0]", "4"},
      {u"list[9]", "-"},
      {u"list[1.9]", "'two'"},
      {u"list[-1]", "-", "83B01525(list, -1)"},
      {u"list['k']", "-", "83B01525(list, k)"},
      {u"s[1]", "'b'"},
      {u"s[3]", "''"},
      {u"s[-1]", "-", "83B01525(s, -1)"},
      {u"s['k']", "-", "83B01525(s, k)"},
      {u"'xyz'[1]", "'y'"},
      {u"list[1][0]", "'t'"},
      {u"a[0]", "!83B03210", "83B03210(a, [])"},
      {u"e[0]", "!83B03210", "83B03210(e, [])"},
      {u"list[0][0]", "!83B03210", "83B03210(list, [])"},
      {u"thing[1]", "20"},
      {u"thing['k']", "'k!'"},
      {u"obj[0]", "10"},
      {u"obj['k']", "'k!'"},
      {u"obj[-1]", "-", "83B01525(obj, )"},
      {u"p[0]", "!83B03210", "83B03210(p, [])"},
      {u"unknown[0]", "!83B03110", "83B03110(unknown)"},
      {u"count(1, 2)[1]", "2"},
      {u"thing.nosuch(1)[0]", "!-2", "83B03130(thing, nosuch)"},
      {u"list[list[0]]", "'two'"},
      {u"list[a - 5][0]", "3"},
  });
}

TEST(Evaluator, BracketLists) {
  RunRows({
      {u"[]", "[]"},
      {u"[ ]", "[]"},
      {u"[1, 'a', 2+3]", "[1, 'a', 5]"},
      {u"[[1, 2], [], 'x,]']", "[[1, 2], [], 'x,]']"},
      {u"[count(1, 2), (3)]", "[[1, 2], 3]"},
      {u"[1,,2]", "[1, -, 2]"},
      {u"[log(1), log(2)]", "[1, 2]", "", "1;2;"},
      {u"[log(1), unknown, log(2)]", "!83B03110", "83B03110(unknown)", "1;"},
  });
}

TEST(Evaluator, PrefixAndPostfix) {
  struct StepRow {
    Row row;
    const char* a_after;
  };
  const StepRow rows[] = {
      {{u"++a", "8"}, "8"},
      {{u"--a", "6"}, "6"},
      {{u"a++", "7"}, "8"},
      {{u"a--", "7"}, "6"},
      {{u"a++ + a", "15"}, "8"},
      // `a` on the left is read when the + is applied, after the step on the right.
      {{u"a + a++", "15"}, "8"},
      {{u"++a * 2", "16"}, "8"},
      {{u"2 * ++a", "16"}, "8"},
      {{u"-++a", "-8"}, "8"},
      {{u"(a)++", "7"}, "8"},
      {{u"list[0]++", "1"}, "7"},
      {{u"++list[2][0]", "!83B03120", "83B03120(++)"}, "7"},
      {{u"++s", "1"}, "7"},
      {{u"++list", "[1, 'two', [3, 4]]"}, "7"},
      {{u"list++", "[1, 'two', [3, 4]]"}, "7"},
      {{u"++e", "1"}, "7"},
      {{u"p++", "5"}, "7"},
      {{u"++unknown", "1", "83B03110(unknown)"}, "7"},
      {{u"++thing.size", "5", "", "get size;set size=5;"}, "7"},
      {{u"thing.size++", "4", "", "get size;set size=5;"}, "7"},
      {{u"++thing.nosuch", "!-2", "83B03130(thing, nosuch)"}, "7"},
      {{u"thing.nosuch--", "!-2", "83B03130(thing, nosuch)"}, "7"},
      // A method is called for the old value and assigned to.
      {{u"thing.size(1)++", "4", "", "get size[1];set size[1]=5;"}, "7"},
      {{u"2 * ++thing.size(1) + log(2)", "12", "", "2;get size[1];set size[1]=5;"}, "7"},
      {{u"++thing.size(1)[0]", "!83B03210", "83B03210(size, [])", "get size[1];"}, "7"},
      // A call runs once, and what it gave cannot be assigned to.
      {{u"log(1)++", "!83B03120", "83B03120(x++)", "1;"}, "7"},
      {{u"++log(1)", "!83B03120", "83B03120(++)", "1;"}, "7"},
      {{u"ref(a)++", "7"}, "8"},
      {{u"++ref(a)", "8"}, "8"},
  };
  for (const StepRow& step : rows) {
    Host host;
    Check(step.row, host);
    EXPECT_EQ(Show(host.variables.FindVariable(u"a")->GetValue()), step.a_after)
        << Kt_WString(step.row.text).ToUtf8();
  }
}

TEST(Evaluator, SteppedValuesAreStored) {
  Host host;
  Kt_Variant value;
  for (const char16_t* const text : {u"list[0]++", u"++s", u"e--", u"p++", u"++fresh"}) {
    EXPECT_EQ(Kt_Expr(text).ExecExpr(&host, value), 0) << Kt_WString(text).ToUtf8();
  }
  EXPECT_EQ(Show(host.variables),
            "a=7 b=-2.5 s=1 e=-1 list=[2, 'two', [3, 4]] obj=<thing> fresh=1 ");
  EXPECT_EQ(Show(host.plain), "p=6 ");
}

TEST(Evaluator, TraceCalls) {
  Host host;
  Check({u"trace(log(1))", "-"}, host);
  EXPECT_EQ(host.traces, "");
  host.trace_mode = 1;
  Check({u"trace(log(1), s)", "-", "", "1;"}, host);
  Check({u"tracevar(a, s)", "-"}, host);
  Check({u"tracedata(list)", "-"}, host);
  Check({u"tracedata(obj)", "-"}, host);
  EXPECT_EQ(host.traces, "1 abc|long 7 string abc|0: 1, 1: two, 2: 3,4|0: 10, 1: 20|");
}

TEST(Evaluator, MisplacedOperations) {
  RunRows({
      {u"a b", "!83B03103", "83B03103(b)"},
      {u"a(1)", "!83B03130", "83B03130(host, a)"},
      {u"(count(1))(2)", "!83B03120", "83B03120(()"},
      {u"count(1", "!83B03120", "83B03120(end)"},
      {u"(1", "!83B03120", "83B03120(end)"},
      {u"1)", "!83B03120", "83B03120())"},
      {u"1]", "!83B03120", "83B03120(])"},
      {u"1, 2", "!83B03120", "83B03120(,)"},
      {u"(1, 2)", "!83B03120", "83B03120(,)"},
  });
}

// A fault of the syntax is reported on first use, and later uses are as refused.
TEST(Evaluator, FaultOfSyntax) {
  Host host;
  Kt_Expr expr(u"1 + #");
  Kt_Variant value;
  EXPECT_EQ(expr.ExecExpr(&host, value), -1);
  EXPECT_EQ(host.errors.size(), 1u);
  const std::string report = host.TakeReports();
  EXPECT_EQ(report.substr(0, 8), "83B03210");
  EXPECT_NE(report.find(", 1 + #)"), std::string::npos) << report;
  EXPECT_EQ(expr.ExecExpr(&host, value), -1);
  EXPECT_TRUE(host.errors.empty());
  host.log_mode = 0;
  EXPECT_EQ(Kt_Expr(u"1 + #").ExecExpr(&host, value), -1);
  EXPECT_TRUE(host.errors.empty());
}

TEST(Evaluator, ReportsOnlyToThoseWhoListen) {
  Host host;
  host.log_mode = 0;
  for (const char16_t* const text : {u"unknown", u"list['k']", u"nosuch()", u"a[0]", u"1)"}) {
    Kt_Variant value;
    (void)Kt_Expr(text).ExecExpr(&host, value);
  }
  EXPECT_EQ(host.errors.size(), 0u);
}

TEST(Evaluator, WithoutContext) {
  const struct {
    const char16_t* text;
    kt_long code;
    const char* value;
  } rows[] = {
      {u"5", 0, "5"},        {u"'x'", 0, "'x'"},  {u"a + 1", 0, "-"},
      {u"trace(1)", 0, "-"}, {u"1 + #", -1, "-"}, {u"", 0, "-"},
  };
  for (const auto& row : rows) {
    Kt_Expr expr(row.text);
    Kt_Variant value;
    EXPECT_EQ(expr.ExecExpr(nullptr, value), row.code) << Kt_WString(row.text).ToUtf8();
    EXPECT_EQ(Show(value), row.value) << Kt_WString(row.text).ToUtf8();
  }
}

// A method of a component below the context's own container that answers 9998 stops quietly.
TEST(Evaluator, ComponentGone) {
  Host host;
  host.thing->on_call = [](Kt_Variant&) { return kObjectGone; };
  Kt_Variant value;
  EXPECT_EQ(Kt_Expr(u"thing.stored()").ExecExpr(&host, value), kObjectGone);
  host.SetContainer(&host);
  for (const char16_t* const text :
       {u"thing.stored()", u"1 + thing.stored()", u"thing.stored()[0]", u"thing.stored().length"}) {
    EXPECT_EQ(Kt_Expr(text).ExecExpr(&host, value), kAbort) << Kt_WString(text).ToUtf8();
  }
  EXPECT_EQ(host.errors.size(), 0u);
}

TEST(Evaluator, DeepNesting) {
  const auto nested = [](int count) {
    std::u16string text(static_cast<std::size_t>(count), u'(');
    text += u"a";
    return text.append(static_cast<std::size_t>(count), u')');
  };
  Host host;
  Kt_Variant value;
  for (const int count : {30, 31, 32, 33, 64, 1000, 9990}) {
    EXPECT_EQ(Kt_Expr(nested(count).c_str()).ExecExpr(&host, value), 0) << count;
    EXPECT_EQ(Show(value), "7") << count;
  }
  EXPECT_EQ(host.errors.size(), 0u);
  EXPECT_NE(Kt_Expr(nested(20000).c_str()).ExecExpr(&host, value), 0);
  EXPECT_EQ(host.errors.size(), 1u);
}

// More entries than a block has, with values on all of them.
TEST(Evaluator, ManyPendingOperators) {
  std::u16string calls;
  for (int depth = 0; depth < 200; ++depth) calls += u"1 + count(";
  calls += std::u16string(200, u')');
  Host host;
  Kt_Variant value;
  EXPECT_EQ(Kt_Expr(calls.c_str()).ExecExpr(&host, value), 0);
  EXPECT_EQ(Show(value), "1");
  std::u16string signs;
  for (int depth = 0; depth < 301; ++depth) signs += u"-(";
  signs += u"5" + std::u16string(301, u')');
  EXPECT_EQ(Kt_Expr(signs.c_str()).ExecExpr(&host, value), 0);
  EXPECT_EQ(Show(value), "-5");
}

TEST(Evaluator, NestedListsEnd) {
  const std::u16string text = std::u16string(50000, u'[') + std::u16string(50000, u']');
  Host host;
  Kt_Variant value;
  EXPECT_EQ(Kt_Expr(text.c_str()).ExecExpr(&host, value), kErrTooDeep);
  EXPECT_EQ(host.errors.size(), 1u);
}

// The result may still be assigned to.
TEST(Evaluator, ResultsThatStandForSomething) {
  const struct {
    const char16_t* text;
    std::int16_t kind;
    kt_long code;
    const char* reports = "";
  } rows[] = {
      {u"a", EXPR_OBJ_VAR, 0},
      {u"(a)", EXPR_OBJ_VAR, 0},
      {u"fresh", EXPR_OBJ_AUTOVAR, 0},
      {u"list[5]", EXPR_OBJ_VARITEM, 0},
      {u"thing.size", EXPR_OBJ_PROPERTY, 0},
      {u"thing.quick", EXPR_OBJ_PROPERTY, 0},
      {u"thing.size(1)", EXPR_OBJ_METHOD, 0},
      {u"thing", EXPR_OBJ_COMPONENT, -1},
      {u"5", EXPR_OBJ_VALUE, -1},
      {u"a + 1", EXPR_OBJ_VALUE, -1},
      {u"1 + thing.size(1)", EXPR_OBJ_VALUE, -1},
      {u"(thing.size(1))", EXPR_OBJ_VALUE, -1},
      {u"thing.echo(1)[0]", EXPR_OBJ_VALUE, -1},
      {u"count(1)", EXPR_OBJ_VALUE, -1},
      {u"ref(b)", EXPR_OBJ_ARGREF, 0},
      {u"thing[0]", EXPR_OBJ_ITEM, kErrInvalidObject, "83B03140(thing)"},
  };
  Host host;
  for (const auto& row : rows) {
    const std::string text = Kt_WString(row.text).ToUtf8();
    Kt_Expr expr(row.text);
    Kt_ExprStackObj entry;
    EXPECT_EQ(expr.ExecExprObj(&host, entry), 0) << text;
    EXPECT_EQ(entry.GetKind(), row.kind) << text;
    EXPECT_EQ(entry.GetOpCode(), kOpEnd) << text;
    Kt_Variant value = kt_long{1};
    EXPECT_EQ(entry.SetObjValue(&host, value), row.code) << text;
    EXPECT_EQ(host.TakeReports(), row.reports) << text;
  }
  EXPECT_EQ(Show(host.variables),
            "a=1 b=1 s='abc' e=- list=[1, 'two', [3, 4], -, -, 1] obj=<thing> fresh=1 ");
  EXPECT_EQ(host.thing->log,
            "set size=1;quick=1;set size[1]=1;get size[1];get size[1];call echo[1];");
}

// An object with a default property stands for its value in operators and conversions; one whose
// default property is an object again, or is not there, stands for itself.
TEST(Evaluator, ObjectsStandForTheirDefaultValue) {
  const std::pair<const char16_t*, const char*> rows[] = {
      {u"obj * 2", "8"},      {u"2 - obj", "-2"},       {u"obj + 'x'", "'4x'"},
      {u"'x' + obj", "'x4'"}, {u"obj == 4", "1"},       {u"obj > thing", "0"},
      {u"!obj", "0"},         {u"obj && 0", "0"},       {u"toString(obj)", "'4'"},
      {u"round(obj)", "4.0"}, {u"iif(obj, 1, 2)", "1"}, {u"obj == obj", "1"},
  };
  for (const auto& [text, expected] : rows) {
    Host host;
    host.thing->default_prop = u"size";
    Kt_Expr expr(text);
    Kt_Variant value;
    EXPECT_EQ(expr.ExecExpr(&host, value), 0);
    EXPECT_EQ(Show(value), expected) << Kt_WString(text).ToUtf8();
  }
  Host host;
  host.thing->default_prop = u"name";
  host.thing->properties.AddVariable(u"name", host.variables.FindVariable(u"obj")->GetValue());
  Check({u"obj * 2", "0", "", "get name;"}, host);
  Check({u"obj + ''", "'text of thing'", "", "get name;"}, host);
  // What the property does to the variables does not matter to the operator.
  host.thing->properties.AddVariable(u"name", kt_long{3});
  host.thing->on_access = [&] { host.variables.AddVariable(u"list", Kt_Variant()); };
  Check({u"obj * list[0]", "3", "", "get name;"}, host);
}

}  // namespace
