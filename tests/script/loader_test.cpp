// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "common/test_host.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptDump.h"
#include "script/Kt_ScriptLoadHandler.h"

namespace {

using kt::test::Show;
using kt::test::TestContext;

TEST(Loader, Globals) {
  const struct {
    const char16_t* text;
    const char* globals;
    const char* errors = "";
  } rows[] = {
      {u"var a = 1, b[3], c;", "a=1 b=[-, -, -] c=- "},
      {u"Var a = 'x' + 1;", "a='x1' "},
      {u"var b[0]; var c[-1];", ""},
      {u"var b[2] = 5; var c[0] = 7;", "b=[5, -] c=[7] "},
      {u"var b[3] = [1, 2]; var c[1] = [1, 2];", "b=[1, 2, -] c=[1, 2] "},
      {u"var a = 2; var b = a * 3; var a = 4;", "a=4 b=6 "},
      {u"var /* c */ a = 1 // one\n ;", "a=1 "},
      {u"function two() { return 2; } var a = two();", "a=2 "},
      {u"var x = 1", "", "SYNTAX Error (line 1) : Not Found Lavel Mark ':'\n"},
      {u"var a;\nvar b = 'x;\n", "a=- ", "SYNTAX Error (line 2) : \n"},
      {u"var ;", "", "SYNTAX Error (line 1) : \n"},
      {u"var a, 1b, c;", "a=- ", "SYNTAX Error (line 1) : Invalid Variable Declaration\n"},
      {u"var a = 1 +;", "", "SYNTAX Error (line 1) : Invalid Expression\n"},
      {u"var a[1 = 2;", "", "SYNTAX Error (line 1) : Not Found Block Start '('\n"},
      {u"var a) = 2;", "", "SYNTAX Error (line 1) : \n"},
      {u"var", "", "SYNTAX Error (line 1) : Not Found Lavel Mark ':'\n"},
  };
  for (const auto& row : rows) {
    Kt_Script script;
    Kt_WStrList errors;
    const kt_long code = script.Parse(u"", row.text, nullptr, &errors);
    EXPECT_EQ(code, *row.errors == '\0' ? 0 : -1) << Utf8(row.text);
    EXPECT_EQ(Show(script.GetVariables()), row.globals) << Utf8(row.text);
    EXPECT_EQ(Lines(errors), row.errors) << Utf8(row.text);
  }
}

TEST(Loader, FailedGlobals) {
  const struct {
    const char16_t* text;
    const char* globals;
    kt_long code;
    kt_long reported;
  } rows[] = {
      {u"var a[2000000000]; var b;", "", -1, kErrListTooLong},
      {u"var a = nobody; var b = 1;", "a=- b=1 ", 0, kErrNoVariable},
  };
  for (const auto& row : rows) {
    TestContext host;
    Kt_Script script(&host);
    EXPECT_EQ(script.Parse(u"", row.text, nullptr, nullptr), row.code) << Utf8(row.text);
    EXPECT_EQ(Show(script.GetVariables()), row.globals) << Utf8(row.text);
    ASSERT_EQ(host.errors.size(), 1u) << Utf8(row.text);
    EXPECT_EQ(host.errors[0].GetCode(), row.reported) << Utf8(row.text);
  }
}

TEST(Loader, Functions) {
  const struct {
    const char16_t* text;
    const char* functions;
    const char* errors = "";
  } rows[] = {
      {u"FUNCTION f() { }", "f()"},
      {u"function f(a, b /* c */) { } ; function g() { };", "f(a, b) g()"},
      {u"function f(a) { x; } function F(b) { y; }", "f(a, b)"},
      {u"function f() { } x = 1;", "f()", "SYNTAX Error (line 1) : x : Invalid Keyword\n"},
      {u"function f(1) { a b; }\nfunction g() { break x; }\nfunction h() { }", "f() g() h()",
       "SYNTAX Error (line 1) : 1 : in Function (f) : Invalid Argument\n"
       "SYNTAX Error (line 1) : a b : in Function (f) : Invalid Expression\n"
       "SYNTAX Error (line 2) : break : in Function (g) : Invalid Keyword\n"},
      {u"function", "", "SYNTAX Error (line 1) : Invalid Keyword\n"},
      {u"function {}", "", "SYNTAX Error (line 1) : in Function ({) : Invalid ID or Name\n"},
      {u"\nfunction f", "", "SYNTAX Error (line 2) : in Function (f) : Unexpected End of Block\n"},
      {u"function f() { '", "",
       "SYNTAX Error (line 1) : in Function (f) : Not Found Matching Quotation ''\n"},
      {u"; /* x", "", "SYNTAX Error (line 1) : Not Found Matching Comment '*/'\n"},
  };
  for (const auto& row : rows) {
    Kt_Script script;
    Kt_WStrList errors;
    script.Parse(u"", row.text, nullptr, &errors);
    std::string functions;
    for (kt_long index = 0; index < script.GetFuncs().GetCount(); ++index) {
      const std::string dump = DumpScriptFunc(*script.GetFuncs().GetItem(index)).ToUtf8();
      if (index > 0) functions += " ";
      functions += dump.substr(9, dump.find('\n') - 9);
    }
    EXPECT_EQ(functions, row.functions) << Utf8(row.text);
    EXPECT_EQ(Lines(errors), row.errors) << Utf8(row.text);
  }
}

TEST(Loader, SecondDefinitionAppends) {
  Kt_Script script;
  EXPECT_EQ(script.Parse(u"one", u"\nfunction f(a) { x; }", nullptr, nullptr), 0);
  Kt_ScriptFunc* const first = script.GetFunc(u"F");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->GetProtoLine(), 1);
  EXPECT_EQ(first->GetScript(), &script);
  EXPECT_EQ(script.Parse(u"two", u"function f(a) {\n\n y; }", nullptr, nullptr), 0);
  EXPECT_EQ(script.GetFunc(u"f"), first);
  EXPECT_EQ(DumpScriptFunc(*first).ToUtf8(),
            "function f(a, a)\n    2  4000 expr       x\n    3  4000 expr       y\n");
  EXPECT_EQ(first->GetSourceName(), u"two");
  script.Clear();
  EXPECT_EQ(script.GetFunc(u"f"), nullptr);
  EXPECT_EQ(script.GetFuncs().FindId(u"f"), -1);
}

class Includes : public Kt_ScriptLoadHandler {
 public:
  kt_long LoadIncludes(Kt_Script* script, Kt_WStrList& includes) override {
    names += includes.Join(u"|").ToUtf8() + ";";
    return script->Parse(u"inner", u"var inner;", this, nullptr) == 0 ? answer : -7;
  }
  kt_long answer = 0;
  std::string names;
};

TEST(Loader, Pragmas) {
  const struct {
    const char16_t* text;
    kt_long code;
    const char* names;
  } rows[] = {
      {u"#include \"lib\"", 5, "lib;"},
      {u"# Include <a b> // c\nvar x;\n#include 'c'", 5, "a b|c;"},
      {u"var x;", 0, ""},
      {u"#include lib\nx;", -1, ""},
      {u"#define X", -1, ""},
      {u"#", -1, ""},
      {u"#includes 'x'", -1, ""},
  };
  for (const auto& row : rows) {
    Kt_Script script;
    Includes loader;
    loader.answer = 5;
    EXPECT_EQ(script.Parse(u"", row.text, &loader, nullptr), row.code) << Utf8(row.text);
    EXPECT_EQ(loader.names, row.names) << Utf8(row.text);
  }
  // Without a loader the names are of no use, and no fault.
  Kt_Script script;
  EXPECT_EQ(script.Parse(u"", u"#include 'a'", nullptr, nullptr), 0);
}

TEST(Loader, AddVariables) {
  Kt_VariableList values;
  Kt_Script script;
  EXPECT_EQ(script.AddVariables(values, 1), -1);
  EXPECT_EQ(script.AddVariable(u""), -1);
  EXPECT_EQ(script.AddVariable(u"a = 1"), 0);
  values.AddVariable(u"A", Kt_Variant(2));
  values.AddVariable(u"b", Kt_Variant(3));
  EXPECT_EQ(script.AddVariables(values, 0), 2);
  EXPECT_EQ(Show(script.GetVariables()), "a=1 b=3 ");
  EXPECT_EQ(script.AddVariables(values, 1), 2);
  EXPECT_EQ(Show(script.GetVariables()), "a=2 b=3 ");
  EXPECT_EQ(script.GetCodePage(), 1252);
}

TEST(Loader, HostileTexts) {
  const std::u16string rows[] = {
      u"function f() {" + Repeat(u"{", 200000),
      u"function f() " + Repeat(u"{", 200000) + Repeat(u"}", 200000),
      u"function f() { x = " + Repeat(u"(", 200000) + Repeat(u")", 200000) + u"; }",
      u"function f(" + Repeat(u"(", 200000),
      u"#includes " + Repeat(u"\\\"", 200000),
      u"var a = " + Repeat(u"[", 200000),
      Repeat(u";", 200000) + u"x",
      u"var a" + Repeat(u"[", 200000) + u";",
  };
  for (const std::u16string& text : rows) {
    Kt_Script script;
    Kt_WStrList errors;
    script.Parse(u"", Kt_WString(text), nullptr, &errors);
    EXPECT_GT(errors.GetCount(), 0) << Utf8(text.substr(0, 30));
  }
}

}  // namespace
