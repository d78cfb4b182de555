// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "common/text.h"
#include "script/Kt_Script.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

// "line:column+length: text" for each record; the text of a warning is its name.
std::string Records(const Kt_SyntaxErrorList& list) {
  std::string out;
  for (const Kt_SyntaxError& error : list.GetErrors()) {
    out += std::to_string(error.line) + ":" + std::to_string(error.column) + "+" +
           std::to_string(error.length) + ": " +
           (error.is_warning ? error.warning_name : error.message).ToUtf8();
    if (!error.detail.IsEmpty()) out += " (" + error.detail.ToUtf8() + ")";
    out += "\n";
  }
  return out;
}

struct Row {
  std::u16string_view text;
  const char* records;
};

template <std::size_t kCount>
void RunRows(const Row (&rows)[kCount], bool warnings) {
  for (const Row& row : rows) {
    Kt_Script script;
    Kt_SyntaxErrorList errors(warnings);
    script.Parse(u"file", Kt_WString(row.text), nullptr, &errors);
    EXPECT_EQ(Records(errors), row.records) << Utf8(row.text);
    kt_long faults = 0;
    for (const Kt_SyntaxError& error : errors.GetErrors()) {
      EXPECT_EQ(error.source_name, u"file");
      EXPECT_FALSE(error.message.IsEmpty());
      if (!error.is_warning) ++faults;
    }
    EXPECT_EQ(errors.GetCount(), faults) << "a text line for each fault, none for warnings";
  }
}

TEST(SyntaxErrors, PlacesOutsideOfFunctions) {
  const Row rows[] = {
      {u"\n  x = 1;", "2:3+1: Invalid Keyword\n"},
      {u"var a = 1", "1:1+3: Not Found Lavel Mark ':'\n"},
      {u"var a = 'x;\n", "1:9+1: Not Found Matching Quotation ''\n"},
      {u"var a,\r\n    b = 1 +;", "2:5+7: Invalid Expression\n"},
      {u"var a,\r\n    b = 1 + * 2;", "2:13+1: Invalid Expression\n"},
      {u"var 1a;", "1:5+2: Invalid Variable Declaration\n"},
      {u"#define X 1 // c\n", "1:1+16: at Pragma\n"},
      {u"var a) = 1;", "1:1+3: Invalid Variable Declaration\n"},
      {u"var ;", "1:1+3: Invalid Variable Declaration\n"},
      {u"function ", "1:1+8: Invalid Keyword\n"},
      {u"function 1f() {}", "1:10+2: Invalid ID or Name\n"},
      {u"function f {}", "1:12+1: Not Found Block Start '('\n"},
      {u"function f() x", "1:14+1: Not Found Block Start '{'\n"},
      {u"function f() {", "1:10+1: Not Found Matching Brace '}'\n"},
      {u"function f(a, 2) {}", "1:15+1: Invalid Argument\n"},
      {u"a /* b", "1:1+1: Invalid Keyword\n"},
      {u"/* b", "1:1+2: Not Found Matching Comment '*/'\n"},
  };
  RunRows(rows, false);
}

TEST(SyntaxErrors, PlacesInFunctions) {
  const Row rows[] = {
      {u"function f() {\n  x = 1 +\n    * 2;\n}",
       "3:5+1: Invalid Expression (operand expected before this operator)\n"},
      {u"function f() {\n  if (a b) c;\n}",
       "2:9+1: Invalid Expression (operator expected between two values)\n"},
      // A comment before the fault does not move it.
      {u"function f() {\n  x = 1 /* one */  + /* two */  * 2;\n}",
       "2:33+1: Invalid Expression (operand expected before this operator)\n"},
      {u"function f() {\n  x = (1 +\n}", "2:10+1: Not Found Line End ';'\n"},
      {u"function f() {\n  return 1\n}", "2:10+1: Not Found Line End ';'\n"},
      {u"function f() {\n  while a;\n}", "2:9+1: Not Found Block Start '('\n"},
      {u"function f() {\n  while (a;\n}", "2:3+5: Not Found Matching Brace ')'\n"},
      {u"function f() {\n  x = 1;  else y;\n}", "2:11+4: Invalid Keyword\n"},
      {u"function f() {\n  switch (a) {\n    case 1: b;\n    case 2 c;\n  }\n}",
       "4:5+4: Not Found Lavel Mark ':'\n"},
      {u"function f() {\r\n\r\n  for (i = 0; i < ; i++) x;\r\n}",
       "3:18+1: Invalid Expression (expression ends too early)\n"},
      {u"function f() { var ä = 1, 2b; }", "1:27+2: Invalid Variable Declaration\n"},
      {u"function f() { var a) = 1; }", "1:20+6: Invalid Variable Declaration\n"},
      {u"function f() { break 2; }", "1:22+1: Invalid Keyword\n"},
      {u"function f() { x; } function g() { y) ; } function h() { z z; }",
       "1:37+1: Invalid Expression (')' without matching '(' or after an operator)\n"
       "1:60+1: Invalid Expression (operator expected between two values)\n"},
      // A bracket that does not match: the cause, its place, and what comes after.
      {u"function f() {\n  print(1, 2;\n  y z;\n}",
       "2:13+1: Invalid Expression (expression ends too early)\n"
       "3:5+1: Invalid Expression (operator expected between two values)\n"},
      {u"function f() {\n  print(1))[0] = 2;\n  print(a[1)];\n}",
       "2:11+1: Invalid Expression (')' without matching '(' or after an operator)\n"
       "3:12+1: Invalid Expression (')' without matching '(' or after an operator)\n"},
  };
  RunRows(rows, false);
}

TEST(SyntaxErrors, Warnings) {
  const Row rows[] = {
      {u"var x = a && b || c;", "1:16+1: mixed-and-or\n"},
      {u"function f() { x = a && b || c; }", "1:27+1: mixed-and-or\n"},
      {u"function f() { x = .9; }",
       "1:20+1: Invalid Expression ('.' must follow a name or a value)\n1:20+1: dot-nine\n"},
      {u"function f() { x = a/*c*/+ 1; }",
       "1:26+1: comment-eats-character\n"
       "1:28+1: Invalid Expression (operator expected between two values)\n"},
      {u"function f() { x = a /*c*/ + 1; // end\n}", ""},
      {u"function f() { f(a <= b); x = a == b; }", ""},
      {u"function f() { a <= b; }",
       "1:16+6: compare-statement\n1:19+1: Invalid Expression (expression ends too early)\n"},
      {u"function f() { if (a) b; else do (c) d; }", "1:31+2: else-two-letter-word\n"},
      {u"function f() { for (;;) { a; } }", "1:21+2: for-ever\n"},
      {u"function f() { for (i = 0; ; i++) a; }", "1:21+12: for-ever\n"},
      {u"function f() { switch (a) { Case 1: b; } }", "1:29+4: label-case\n"},
      {u"function f() { switch (a) { case 1: b; DEFAULT: c; } }",
       "1:40+7: label-case\n"
       "1:40+8: Invalid Expression (neither a number, a string nor a name)\n"},
      {u"function f() { switch (a) { default: b; case 1: c; case 2: d; } }",
       "1:29+7: default-before-last-label\n"},
      {u"function f() { } function F() { }", "1:27+1: second-definition\n"},
  };
  RunRows(rows, true);
}

TEST(SyntaxErrors, WarningsAreOptional) {
  Kt_Script script;
  Kt_SyntaxErrorList errors;
  EXPECT_EQ(script.Parse(u"", u"function f() { for (;;) a; } function f() {}", nullptr, &errors),
            0);
  EXPECT_TRUE(errors.GetErrors().empty());
}

TEST(SyntaxErrors, RecordFields) {
  Kt_Script script;
  Kt_SyntaxErrorList errors;
  script.Parse(u"a.kts", u"function f() {\n  x = 1 1;\n  y = 2\n}", nullptr, &errors);
  ASSERT_EQ(errors.GetErrors().size(), 2u);
  const Kt_SyntaxError& expression = errors.GetErrors()[0];
  EXPECT_EQ(expression.code, kSynExpression);
  EXPECT_EQ(expression.function_name, u"f");
  EXPECT_EQ(expression.near_text, u"1 1");
  EXPECT_EQ(errors.GetErrors()[1].code, kSynLineEnd);
  EXPECT_EQ(errors.GetErrors()[1].near_text, u"y = 2");
  EXPECT_EQ(Lines(errors),
            "SYNTAX Error (line 2) : 1 1 : in Function (f) : Invalid Expression\n"
            "SYNTAX Error (line 3) : y = 2 : in Function (f) : Not Found Line End ';'\n");
}

}  // namespace
