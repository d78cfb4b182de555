// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "common/text.h"
#include "script/Kt_ScriptDump.h"
#include "script/Kt_ScriptFunc.h"
#include "script/Kt_ScriptOpPayloads.h"

namespace {

// What a body becomes: the dump without its column of line numbers and codes, then the error lines.
struct Row {
  const char16_t* body;
  const char* tree;
  const char* errors = "";
};

// "    3  3020 name +=    s | i"  ->  "name += s | i"; nesting stays as two blanks per level.
std::string Shorten(const std::string& dump) {
  std::string out;
  for (std::size_t at = 0; at < dump.size();) {
    const std::size_t end = dump.find('\n', at);
    std::string line = dump.substr(at + 7, end - at - 7);
    const std::size_t indent = line.find_first_not_of(' ');
    const bool is_op = indent != std::string::npos && line.size() > indent + 4 &&
                       line[indent + 4] == ' ' &&
                       line.find_first_not_of("0123456789abcdef", indent) == indent + 4;
    if (is_op) {
      std::string name = line.substr(indent + 5, 9);
      name.erase(name.find_last_not_of(' ') + 1);
      const std::string rest = line.size() > indent + 16 ? " " + line.substr(indent + 16) : "";
      line = std::string(indent, ' ') + name + rest;
    }
    out += line + "\n";
    at = end + 1;
  }
  return out;
}

template <std::size_t kCount>
void RunRows(const Row (&rows)[kCount]) {
  for (const Row& row : rows) {
    Kt_ScriptFunc func(u"f");
    Kt_WStrList errors;
    const kt_long code = func.SetBody(row.body, 0, &errors);
    EXPECT_TRUE(code == 0 || code == -1) << code;
    EXPECT_EQ(Shorten(DumpScriptOps(func.GetBody()).ToUtf8()), row.tree) << Utf8(row.body);
    EXPECT_EQ(Lines(errors), row.errors) << Utf8(row.body);
  }
}

TEST(BodyParser, SimpleStatements) {
  const Row rows[] = {
      {u"", ""},
      {u";;", ""},
      {u"x++; ++ x; x--; --x;", "name++ x\nname++ x\nname-- x\nname-- x\n"},
      {u"a.b++; --a[1]; f(1);", "expr a.b++\nexpr --a[1]\nexpr f(1)\n"},
      {u"x = 1; x += 1; x -= 2; x *= 3; x /= 4; x %= 5;",
       "name = x | 1\nname += x | 1\nname -= x | 2\nname *= x | 3\nname /= x | 4\nname %= x | 5\n"},
      {u"a.b = 1; a[1] *= 2; a.b %= 3;", "path = a.b | 1\npath *= a[1] | 2\npath %= a.b | 3\n"},
      {u"x = '=;' + y; a[i=1] = 2;", "name = x | '=;' + y\npath = a[i=1] | 2\n"},
      {u"break; continue ; return; return a + 1; RETURN 2;",
       "break\ncontinue\nreturn\nreturn a + 1\nreturn 2\n"},
      {u"/* c */ x = 1 // end\n + 2; // last", "name = x | 1 + 2\n"},
      {u"x = a/*c*/bc;", "name = x | a c\n",
       "SYNTAX Error (line 1) : a c : in Function (f) : Invalid Expression\n"},
  };
  RunRows(rows);
}

TEST(BodyParser, Declarations) {
  const Row rows[] = {
      {u"var a = 1, b[2], c;", "var a | 1\nvar[] b | 2\nvar c\n"},
      {u"VAR a = f(1, 2);", "var a | f(1, 2)\n"},
      {u"var a, 1b, c;", "var a\n",
       "SYNTAX Error (line 1) : 1b : in Function (f) : Invalid Variable Declaration\n"},
      {u"var a[1;", "",
       "SYNTAX Error (line 1) : a[1 : in Function (f) : Invalid Variable Declaration\n"},
      {u"var a) = 1;", "", "SYNTAX Error (line 1) : var : in Function (f) : \n"},
      {u"x; var a = 1", "expr x\n", "SYNTAX Error (line 1) : var : in Function (f) : \n"},
      {u"var a = 'x;", "",
       "SYNTAX Error (line 1) : var : in Function (f) : Not Found Matching Quotation ''\n"},
  };
  RunRows(rows);
}

TEST(BodyParser, Loops) {
  const Row rows[] = {
      {u"for (var i = 0; i < 3; i++) s += i;",
       "for\n  init\n    var i | 0\n  condition i < 3\n  step\n    name++ i\n  body\n"
       "    name += s | i\n"},
      {u"for (i = 0, j = f(1, 2); ; i++, j--) { a; b; }",
       "for\n  init\n    name = i | 0\n    name = j | f(1, 2)\n  condition\n  step\n    name++ i\n"
       "    name-- j\n  body\n    expr a\n    expr b\n"},
      {u"for (;;) { }", "for\n  init\n  condition\n  step\n  body\n"},
      {u"For (variable = 1;;) ;",
       "for\n  init\n    name = variable | 1\n  condition\n  step\n  body\n"},
      {u"while (a) while (b) c;", "while a\n  while b\n    expr c\n"},
      {u"for (i = 0) x;", "for\n  init\n  condition\n  step\n  body\n",
       "SYNTAX Error (line 1) : for : in Function (f) : Not Found Lavel Mark ':'\n"},
      {u"for () x;", "for\n  init\n  condition\n  step\n  body\n",
       "SYNTAX Error (line 1) : for : in Function (f) : Invalid Null Expr\n"},
      {u"while () x; y;", "while\n",
       "SYNTAX Error (line 1) : while : in Function (f) : Invalid Null Expr\n"},
      {u"while x; y;", "",
       "SYNTAX Error (line 1) : while : in Function (f) : Not Found Block Start '('\n"},
      {u"while (a +) x; y;", "while a +\n  expr x\nexpr y\n",
       "SYNTAX Error (line 1) : a + : in Function (f) : Invalid Expression\n"},
  };
  RunRows(rows);
}

TEST(BodyParser, IfChains) {
  const Row rows[] = {
      {u"if (a) x; else if (b) y; else z; w;",
       "if\n  if a\n    expr x\n  else\n    if\n      if b\n        expr y\n      else\n"
       "        expr z\nexpr w\n"},
      {u"IF (a) { x; } ELSE { y; }", "if\n  if a\n    expr x\n  else\n    expr y\n"},
      {u"if (a) x; else y; else z;",
       "if\n  if a\n    expr x\n  else\n    expr y\n  else\n    expr z\n"},
      {u"if (a) x; else do (b) y;", "if\n  if a\n    expr x\n  if b\n    expr y\n"},
      {u"if (a) x; else do y;", "if\n  if a\n    expr x\n  if\n",
       "SYNTAX Error (line 1) : if : in Function (f) : Not Found Block Start '('\n"},
      {u"if () x; y;", "if\n  if\n    expr x\nexpr y\n",
       "SYNTAX Error (line 1) : if : in Function (f) : Invalid Null Expr\n"},
      {u"else x;", "", "SYNTAX Error (line 1) : else : in Function (f) : Invalid Keyword\n"},
      {u"if (a) x; else", "if\n  if a\n    expr x\n",
       "SYNTAX Error (line 1) : else : in Function (f) : Unexpected End of Block\n"},
      {u"{ a; { b; } }", "block\n  expr a\n  block\n    expr b\n"},
  };
  RunRows(rows);
}

TEST(BodyParser, Switches) {
  const Row rows[] = {
      {u"switch (k) { case 1: a; case 'x:y': b; break; default: c; }",
       "switch k\n  case 1\n    expr a\n  case 'x:y'\n    expr b\n    break\n  default\n    expr "
       "c\n"},
      {u"switch (k) { }", "switch k\n"},
      {u"switch (k) { default: case 1: }", "switch k\n  default\n  case 1\n"},
      {u"switch (k) { Case 1: a; }", "switch k\n  case 1\n    expr a\n"},
      {u"switch (k) { case 1: switch (j) { case 2: a; } case 3: b; }",
       "switch k\n  case 1\n    switch j\n      case 2\n        expr a\n  case 3\n    expr b\n"},
      {u"switch () { }", "switch\n",
       "SYNTAX Error (line 1) : switch : in Function (f) : Invalid Null Expr\n"},
      {u"switch (k) { x; }", "switch k\n",
       "SYNTAX Error (line 1) : switch : in Function (f) : Invalid Keyword\n"},
      {u"switch (k) { default: default: }", "switch k\n  default\n",
       "SYNTAX Error (line 1) : switch : in Function (f) : Invalid Keyword\n"},
      {u"switch (k) { case : a; }", "switch k\n  case\n",
       "SYNTAX Error (line 1) : switch : in Function (f) : Invalid Null Expr\n"},
      {u"switch (k) { default 1: a; }", "switch k\n  default\n",
       "SYNTAX Error (line 1) : 1 : in Function (f) : Invalid Expression\n"},
      {u"switch (k) { case 1 }", "switch k\n  case\n",
       "SYNTAX Error (line 1) : switch : in Function (f) : Not Found Lavel Mark ':'\n"},
  };
  RunRows(rows);
}

TEST(BodyParser, Faults) {
  const Row rows[] = {
      {u"break x; y;", "", "SYNTAX Error (line 1) : break : in Function (f) : Invalid Keyword\n"},
      {u"a;\nx = 1", "expr a\n",
       "SYNTAX Error (line 2) : x = 1 : in Function (f) : Not Found Line End ';'\n"},
      {u"a == b;", "name = a | = b\n",
       "SYNTAX Error (line 1) : = b : in Function (f) : Invalid Expression\n"},
      // Brackets that do not match are faults of the expression; the rest is parsed.
      {u"a) = b; c;", "expr a) = b\nexpr c\n",
       "SYNTAX Error (line 1) : a) = b : in Function (f) : Invalid Expression\n"},
      {u"a b; c;", "expr a b\nexpr c\n",
       "SYNTAX Error (line 1) : a b : in Function (f) : Invalid Expression\n"},
      {u"f(1; g(2)); { h]; } i;", "expr f(1\nexpr g(2))\nblock\n  expr h]\nexpr i\n",
       "SYNTAX Error (line 1) : f(1 : in Function (f) : Invalid Expression\n"
       "SYNTAX Error (line 1) : g(2)) : in Function (f) : Invalid Expression\n"
       "SYNTAX Error (line 1) : h] : in Function (f) : Invalid Expression\n"},
      // A fault of structure inside a body stops the bodies around it.
      {u"a;\n{ b;\n break x; c; }\nd;", "expr a\nblock\n  expr b\n",
       "SYNTAX Error (line 3) : break : in Function (f) : Invalid Keyword\n"},
      {u"a; /* b", "expr a\n",
       "SYNTAX Error (line 1) : in Function (f) : Not Found Matching Comment '*/'\n"},
  };
  RunRows(rows);
}

// Lines show the keywords as they are written here, whatever the case of the source.
TEST(BodyParser, KeywordsInFaults) {
  const struct {
    const char16_t* body;
    const char* errors;
  } rows[] = {
      {u"VAR a", "(line 1) : var : in Function (f) : "},
      {u"Var a), b;", "(line 1) : var : in Function (f) : "},
      {u"FOR x;", "(line 1) : for : in Function (f) : Not Found Block Start '('"},
      {u"For (;;;", "(line 1) : for : in Function (f) : Not Found Matching Brace ')'"},
      {u"WHILE ()  x;", "(line 1) : while : in Function (f) : Invalid Null Expr"},
      {u"BREAK x;", "(line 1) : break : in Function (f) : Invalid Keyword"},
      {u"Continue", "(line 1) : continue : in Function (f) : "},
      {u"SWITCH (a", "(line 1) : switch : in Function (f) : Not Found Matching Brace ')'"},
      {u"RETURN 1", "(line 1) : return : in Function (f) : "},
      {u"IF () x;", "(line 1) : if : in Function (f) : Invalid Null Expr"},
      {u"If x;", "(line 1) : if : in Function (f) : Not Found Block Start '('"},
      {u"ELSE x;", "(line 1) : else : in Function (f) : Invalid Keyword"},
      {u"if (a) x;\nELSE", "(line 2) : else : in Function (f) : Unexpected End of Block"},
      // A guarded else is a branch of its own, on a line of its own.
      {u"IF (a)\n x;\nELSE DO () y;", "(line 3) : if : in Function (f) : Invalid Null Expr"},
      {u"if (a)\n x;\nelse do (b c) y;", "(line 3) : b c : in Function (f) : Invalid Expression"},
  };
  for (const auto& row : rows) {
    Kt_ScriptFunc func(u"f");
    Kt_WStrList errors;
    (void)func.SetBody(row.body, 0, &errors);
    EXPECT_EQ(Lines(errors), "SYNTAX Error " + std::string(row.errors) + "\n") << Utf8(row.body);
  }
}

TEST(BodyParser, Prototypes) {
  const struct {
    const char16_t* proto;
    kt_long count, code;
    const char* error;
  } rows[] = {
      {u"", 0, 0, ""},
      {u" a , b", 2, 0, ""},
      {u"/* none */", 0, 0, ""},
      {u"a,,b", 1, -1, "SYNTAX Error (line 5) :  : in Function (f) : Invalid Argument\n"},
      {u"a, 1", 1, -1, "SYNTAX Error (line 5) : 1 : in Function (f) : Invalid Argument\n"},
      {u"a,", 1, -1, "SYNTAX Error (line 5) :  : in Function (f) : Invalid Argument\n"},
  };
  for (const auto& row : rows) {
    Kt_ScriptFunc func(u"f");
    Kt_WStrList errors;
    EXPECT_EQ(func.SetProto(row.proto, 4, &errors), row.code) << Utf8(row.proto);
    EXPECT_EQ(func.GetArgs().GetCount(), row.count) << Utf8(row.proto);
    EXPECT_EQ(Lines(errors), row.error) << Utf8(row.proto);
  }
}

TEST(BodyParser, SetInfoAppends) {
  Kt_ScriptFunc func(u"f");
  func.SetInfo(u"file", u"a", u"x;", 3, 4, nullptr);
  func.SetInfo(u"other", u"b", u"y;\r\n\r\nz;", 10, 11, nullptr);
  EXPECT_EQ(DumpScriptFunc(func).ToUtf8(),
            "function f(a, b)\n"
            "    5  4000 expr       x\n"
            "   12  4000 expr       y\n"
            "   14  4000 expr       z\n");
  EXPECT_EQ(func.GetSourceName(), u"other");
  EXPECT_EQ(func.GetProtoLine(), 10);
  EXPECT_EQ(func.SetBody(u"w;", 0, nullptr), 0);
  EXPECT_EQ(func.GetBody().GetCount(), 1);
}

TEST(BodyParser, OneConstructAtATime) {
  Kt_ScriptFunc func(u"f");
  Kt_WStrList errors;
  Kt_ScriptOpList ops;
  EXPECT_EQ(func.ParseFor(ops.AddOp(kScriptFor, 2), u"i = 0; i < 9; i++", 2, u"a;\nb;", 6, &errors),
            0);
  EXPECT_EQ(func.ParseSwitch(ops.AddOp(kScriptSwitch, 8), u"k", 8, u"case 1: a;", 9, &errors), 0);
  EXPECT_EQ(func.ParseWhile(ops.AddOp(kScriptWhile, 9), u"", 9, u"a;", 9, &errors), -1);
  EXPECT_EQ(Shorten(DumpScriptOps(ops).ToUtf8()),
            "for\n  init\n    name = i | 0\n  condition i < 9\n  step\n    name++ i\n  body\n"
            "    expr a\n    expr b\nswitch k\n  case 1\n    expr a\nwhile\n");
  EXPECT_EQ(ops[0].GetFor()->body[1].line, 7);
  EXPECT_EQ(ops[0].GetFor()->step[0].line, 2);
  EXPECT_EQ(Lines(errors),
            "SYNTAX Error (line 10) : while : in Function (f) : Invalid Null Expr\n");
}

TEST(BodyParser, Nesting) {
  const struct {
    std::u16string text;
    bool too_deep;
  } rows[] = {
      {Repeat(u"{", 990) + Repeat(u"}", 990), false},
      {Repeat(u"if (a) ", 990) + u"b;", false},
      {u"if (a) b; " + Repeat(u"else if (a) b; ", 990), false},
      {Repeat(u"switch (a) { case 1: ", 900) + Repeat(u"}", 900), false},
      {Repeat(u"for (;;) {", 990) + Repeat(u"}", 990), false},
      {Repeat(u"if (a) {", 1100) + Repeat(u"}", 1100), true},
      {Repeat(u"while (a) ", 200000) + u"b;", true},
      {u"if (a) b; " + Repeat(u"else if (a) b; ", 200000), true},
      {Repeat(u"{", 200000) + Repeat(u"}", 200000), true},
      {Repeat(u"switch (a) { case 1: ", 200000) + Repeat(u"}", 200000), true},
  };
  for (const auto& row : rows) {
    Kt_ScriptFunc func(u"f");
    Kt_WStrList errors;
    EXPECT_EQ(func.SetBody(Kt_WString(row.text), 0, &errors), row.too_deep ? -1 : 0);
    const std::string lines = Lines(errors);
    EXPECT_EQ(lines.find("Nested Too Deeply") != std::string::npos, row.too_deep)
        << Utf8(row.text.substr(0, 30)) << lines;
    Kt_ScriptFunc copy(func);
    EXPECT_EQ(copy.GetBody().GetCount(), func.GetBody().GetCount());
  }
}

}  // namespace
