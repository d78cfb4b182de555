// SPDX-License-Identifier: MIT
//
// Warnings of what a reader of a source cannot see or takes for something else.
#include <gtest/gtest.h>

#include "classlib/text/Kt_LookAlike.h"
#include "classlib/text/Kt_Unicode.h"
#include "script/Kt_Script.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

// "name line:column+length detail" for each warning of these kinds.
std::string WarningsOf(const Kt_WString& text) {
  Kt_SyntaxErrorList errors(true);
  Kt_Script().Parse(u"a.kts", text, nullptr, &errors);
  std::string out;
  for (const Kt_SyntaxError& error : errors.GetErrors()) {
    if (!error.is_warning) continue;
    out += (out.empty() ? "" : "; ") + error.warning_name.ToUtf8() + " " +
           std::to_string(error.line) + ":" + std::to_string(error.column) + "+" +
           std::to_string(error.length);
    if (!error.detail.IsEmpty()) out += " " + error.detail.ToUtf8();
  }
  return out;
}

TEST(SourceLint, Warnings) {
  const struct {
    const char16_t* text;
    const char* warnings;
  } kRows[] = {
      {u"function f(total) { return total; }", ""},
      {u"// gr\u00FC\u00DFe \u05E2\u05D1\u05E8\u05D9\u05EA \u6F22\nvar s = "
       u"'\U0001F469\u200D\U0001F4BB \u2764\uFE0F';",
       ""},
      // Controls of the direction, everywhere.
      {u"// a \u202E b \u2066\nvar a;", "bidi-control 1:6+1 U+202E; bidi-control 1:10+1 U+2066"},
      {u"var s = '\u200F\u061C';", "bidi-control 1:10+1 U+200F; bidi-control 1:11+1 U+061C"},
      {u"/* \r\n \u2069\u2069\u2069 */ ;", "bidi-control 2:2+3 U+2069"},
      // What cannot be seen: not in comments, joiners not in strings.
      {u"// \u200B\u00AD\uFEFF\x01\nvar a;", ""},
      {u"var s = 'a\u200B\u00AD';",
       "invisible-character 1:11+1 U+200B; invisible-character 1:12+1 U+00AD"},
      {u"var s = '\x1b[2J\t';", "invisible-character 1:10+1 U+001B"},
      {u"var s = '\U000E0041\U000E0041';", "invisible-character 1:10+4 U+E0041"},
      {u"var ab, a\u200Db;",
       "invisible-character 1:10+1 U+200D; look-alike-name 1:9+3 line 1, column 5"},
      {u"var a\u00A0;", "invisible-character 1:6+1 U+00A0"},
      {u"var \u3164;", "invisible-character 1:5+1 U+3164"},
      // A name and one that looks alike: each is told once, case and repetition do not count.
      {u"var pay;\nfunction f() { p\u0430y = pay + p\u0430y + PAY; }",
       "mixed-scripts 2:16+3; look-alike-name 2:16+3 line 1, column 5"},
      {u"var \u0440\u0430\u0443, pay;", "look-alike-name 1:10+3 line 1, column 5"},
      {u"var total1, totall;", "look-alike-name 1:13+6 line 1, column 5"},
      {u"var a; // \u0430\nvar s = '\u0430';", ""},
      // Scripts of one word; '_' separates words.
      {u"var \u0446\u0435\u043D\u0430_usd, \u4FA1\u683C\u30C7\u30FC\u30BFmax, "
       u"\u0E23\u0E32\u0E04\u0E32vat;",
       ""},
      {u"var \u0446\u0435\u043D\u0430usd, \u03B1x, a_\u0431b;",
       "mixed-scripts 1:5+7; mixed-scripts 1:14+2; mixed-scripts 1:18+4"},
      {u"var 1\u0430;", ""},  // no name
      // A text that is no script is looked at to its end.
      {u"x = 'open \u202E", "bidi-control 1:11+1 U+202E"},
      {u"/* open \u202E", "bidi-control 1:9+1 U+202E"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(WarningsOf(row.text), row.warnings) << Kt_WString(row.text).ToUtf8();
  }
}

TEST(SourceLint, OnlyForListsThatWantWarnings) {
  Kt_SyntaxErrorList errors;
  EXPECT_EQ(Kt_Script().Parse(u"a", u"var s = '\u202E';", nullptr, &errors), 0);
  EXPECT_TRUE(errors.GetErrors().empty());
}

TEST(SourceLint, TheNumberOfWarningsIsLimited) {
  std::u16string text = u"// ";
  for (int at = 0; at < 5000; ++at) text += u"\u202E ";
  Kt_SyntaxErrorList errors(true);
  Kt_Script().Parse(u"a", Kt_WString(text), nullptr, &errors);
  EXPECT_EQ(errors.GetErrors().size(), 1000U);
}

TEST(LookAlike, Skeletons) {
  EXPECT_EQ(kt_skeletonW(u"p\u0430yp\u0430l"), kt_skeletonW(u"paypal"));
  EXPECT_EQ(kt_skeletonW(u"\uFF41b"), kt_skeletonW(u"ab"));
  EXPECT_FALSE(kt_skeletonW(u"price") == kt_skeletonW(u"prices"));
  EXPECT_EQ(kt_skeletonW(u"").GetLength(), 0);
  // The skeleton of an ligature is longer than it: the second try has the room.
  EXPECT_GT(kt_skeletonW(Kt_WString(std::u16string(50, u'\uFDFA'))).GetLength(), 50);
}

}  // namespace
