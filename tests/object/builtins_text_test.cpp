// SPDX-License-Identifier: MIT

#include "builtin_test_util.h"
#include "classlib/text/Kt_Unicode.h"

namespace {

using kt::test::CallBuiltin;
using kt::test::Eval;
using kt::test::EvalIn;
using kt::test::ExprRow;
using kt::test::RunRows;
using kt::test::TestContext;

TEST(BuiltinText, Parts) {
  constexpr ExprRow kRows[] = {
      {u"left('hello')", u"hello"},
      {u"left('hello', 0)", u"hello"},
      {u"left('hello', 9)", u"hello"},
      {u"left('hello', -1)", u""},
      {u"left(12345, 2)", u"12"},
      {u"right('hello', 2)", u"lo"},
      {u"right('hello', 0)", u"hello"},
      {u"mid('hello', 2)", u"llo"},
      {u"mid('hello', -2, 2)", u"he"},
      {u"mid('hello', 4, 9)", u"o"},
      {u"mid('hello', 5, 1)", u""},
      {u"mid('hello', 1, -1)", u""},
      {u"mid('hello', 1, 2147483647)", u"ello"},
      {u"mid('hello')", u"hello"},
      {u"charat('abc', 0) + charat('abc', 3) + charat('abc', -1) + charat('abc', 9)", u"a"},
      {u"midb('\uD55C\uAE00', 1, 5)", u"\uAE00"},
      {u"midb('\uD55Ca\uAE00', 2, 3)", u"a"},
      {u"midb('\U0001F600', 1, 2)", u""},
      {u"'[' + trim(' \t\u3000 a b \u00A0') + ']'", u"[a b]"},
      {u"'[' + ltrim('  a ') + rtrim(' b  ') + ']'", u"[a  b]"},
  };
  RunRows(kRows);
}

TEST(BuiltinText, SearchAndReplace) {
  constexpr ExprRow kRows[] = {
      {u"pos('banana', 'an', 2)", u"3"},
      {u"pos('banana', 'an', 4)", u"-1"},
      {u"pos('banana', 'an', -1)", u"-1"},
      {u"pos('banana', '')", u"-1"},
      {u"pos('banana')", u"-1"},
      {u"pos(12345, 34)", u"2"},
      {u"replace('aaa', 'a', 'bb')", u"bbbbbb"},
      {u"replace('a-b', '-')", u"ab"},
      {u"replace('', 'a', 'b')", u""},
      {u"replace('abc', '', 'x')", u"abc"},
      {u"type(replace(5))", u"integer"},
      {u"NToken('a,,c', ',', 2)", u""},
      {u"NToken('a,,c', ',', 3)", u"c"},
      {u"NToken('a,,c', ',', 4)", u""},
      {u"NToken('a,b', ',', 0)", u""},
      {u"NToken('a::b::c', '::', 2)", u":b"},
      {u"NToken('a::b::c', '::', 3)", u":c"},
      {u"NToken('xaaay', 'aa', 2)", u""},
      {u"NToken('xaaay', 'aa', 3)", u"ay"},
      {u"type(NToken('', ',', 1))", u"empty"},
      {u"type(NToken('a', '', 1))", u"empty"},
      {u"type(NToken('a', ',', 0))", u"string"},
      {u"stripNum('tel. 02-123-4567')", u"021234567"},
      {u"stripNum('\u20A9-1,234.50.7')", u"-1234.507"},
      {u"stripNum('A-B 12')", u"12"},
      {u"stripNum('\uFF11\uFF12')", u"12"},
      {u"stripNum('...')", u""},
      {u"stripNum(pow(10, 20))", u"100000000000000000000"},
  };
  RunRows(kRows);
}

// Every token of a text by the rule itself: search, then go on one unit after the find.
TEST(BuiltinText, NTokenFollowsItsRuleForAnyDelimiter) {
  TestContext context;
  const std::u16string text = u"aabaaabaaaabaaaaaaaaaaaaaaaaaaaaaaaaaabaaab";
  for (std::size_t length = 1; length <= 24; ++length) {
    const std::u16string delimiter(length, u'a');
    std::size_t start = 0;
    for (kt_long index = 1; index < 50; ++index) {
      const std::size_t found = start > text.size() ? text.npos : text.find(delimiter, start);
      const std::u16string wanted =
          start > text.size() ? u""
                              : text.substr(start, found == text.npos ? found : found - start);
      Kt_Variant result;
      CallBuiltin(context, u"NToken",
                  {Kt_Variant(text.c_str()), Kt_Variant(delimiter.c_str()), Kt_Variant(index)},
                  result);
      ASSERT_EQ(result.ToString().ToUtf8(), Kt_WString(wanted).ToUtf8()) << length << " " << index;
      start = found == text.npos ? text.size() + 1 : found + 1;
    }
  }
}

TEST(BuiltinText, Split) {
  constexpr ExprRow kRows[] = {
      {u"toString(split('a;b;', ';'))", u"a,b,"},
      {u"length(split('a;;b', ';'))", u"3"},
      {u"length(split('a;;b', ';', 1))", u"2"},
      {u"toString(split('a;b,c', ';,'))", u"a,b,c"},
      {u"length(split('abc'))", u"1"},
      {u"length(split('a,b', ''))", u"1"},
      {u"toString(split('aXXbxxc', 'xx', 'whole'))", u"a,b,c"},
      {u"length(split('a--b--', '--', 'whole'))", u"3"},
      {u"toString(split(\"'a;b';c\", ';', 0, 0))", u"'a,b',c"},
      {u"toString(split(\"'a;b';c\", ';', 0, 1, 'false'))", u"'a;b',c"},
      {u"length(split('a^;b;c', ';', 0, 1, 1, '^'))", u"2"},
      {u"type(split())", u"empty"},
      {u"length(split2('a=1;b=2;c', ';', '='))", u"3"},
      {u"toString(split2(\"'a=1'=2;b\", ';', '='))", u"a=1,2,b"},
      {u"type(split2('a', ','))", u"empty"},
  };
  RunRows(kRows);
}

// One delimiter without quotes takes a way of its own; an escape that never occurs forces the
// other.
TEST(BuiltinText, SplitGivesTheSameOnBothWays) {
  for (const char16_t* text :
       {u"", u",", u"a", u" a , b ", u",,a,,", u"a,\u3000,b\u00A0", u" , "}) {
    for (const char16_t* single_dim : {u"0", u"1"}) {
      const Kt_WString call = Kt_WString(u"split('") + text + u"', ',', " + single_dim;
      const std::string items = Eval(call + u").toString()");
      EXPECT_EQ(items, Eval(call + u", 1, 1, '^').toString()")) << call.ToUtf8();
      EXPECT_EQ(Eval(call + u").length()"), Eval(call + u", 1, 1, '^').length()")) << call.ToUtf8();
    }
  }
}

TEST(BuiltinText, PaddingAndLengths) {
  constexpr ExprRow kRows[] = {
      {u"lpad('ab', 'xy', 5)", u"xxxab"},
      {u"rpad('', '.', 2)", u".."},
      {u"lpad('abc', '0', 3)", u"abc"},
      {u"lpad('abc', '0', -5)", u"abc"},
      {u"lpad('abc', '', 9)", u"abc"},
      {u"type(lpad(7))", u"integer"},
      {u"type(lpad(7, '0', 1))", u"string"},
      {u"lpad('a', '\U0001F600', 6)", u"\U0001F600\U0001F600a"},
      {u"length(12345)", u"0"},
      {u"length('')", u"0"},
      {u"length('\U0001F600')", u"2"},
      {u"length(array(4))", u"4"},
      {u"length(textToBin('\u00E9'))", u"2"},
      {u"lengthb('\uD55C\uAE00')", u"6"},
      {u"lengthb('\uD55C\uAE00', 'euc-kr')", u"4"},
      {u"lengthb('\uD55C\uAE00', 1200)", u"4"},
      {u"lengthb('abc', 'no such page')", u"3"},
      {u"lengthb(5)", u"0"},
      {u"length(space(3)) + length(space(-3))", u"3"},
      {u"space(134217729)", u"!text too long: space()"},
      {u"lpad('a', 'b', 2000000000)", u"!text too long: lpad()"},
      {u"rpad('a', 'b', 2000000000)", u"!text too long: rpad()"},
      {u"replace(space(100000), ' ', space(10000))", u"!text too long: replace()"},
      {u"array(2000000000)", u"!list too long: array()"},
      {u"NumFormat(1, 2000000000)", u"!text too long: NumFormat()"},
  };
  RunRows(kRows);
}

TEST(BuiltinText, CodesAndQuotes) {
  constexpr ExprRow kRows[] = {
      {u"asc('')", u"0"},
      {u"asc('\U0001F600')", u"128512"},
      {u"chr(128512)", u"\U0001F600"},
      {u"chr(55296) + chr(-1) + chr(1114112)", u""},
      {u"asc(chr(0))", u"0"},
      {u"length(chr(0))", u"1"},
      {u"quote('')", u"\"\""},
      {u"quote()", u"\"\""},
      {u"unquote(\"'ab'\")", u"ab"},
      {u"unquote(quote('x'))", u"x"},
      {u"type(unquote())", u"empty"},
      {u"urlEncode('\u20AC /')", u"%E2%82%AC%20%2F"},
      {u"urlDecode('%E2%82%AC+%2f%zz%4')", u"\u20AC /%zz%4"},
      {u"urlDecode('%FF')", u"\uFFFD"},
      {u"binToText(textToBin('\u3042\uD55C', 932), 932)", u"\u3042?"},
      {u"binToText('text')", u"text"},
  };
  RunRows(kRows);
}

TEST(BuiltinText, CaseAndClasses) {
  constexpr ExprRow kRows[] = {
      {u"toUpper('stra\u00DFe \u00E9 \u03C2')", u"STRASSE \u00C9 \u03A3"},
      {u"toLower('\u039F\u03A3 \u0130')", u"\u03BF\u03C2 i\u0307"},
      {u"toUpper('abc XYZ 1')", u"ABC XYZ 1"},
      {u"toLower('\uD55C\uAE00 A')", u"\uD55C\uAE00 a"},
      {u"toUpper('\uFB03')", u"FFI"},
      {u"isalpha('\uD55C\uAE00\u00E9')", u"1"},
      {u"isalpha('a b')", u"0"},
      {u"isalpha('\U00020000')", u"1"},
      {u"isdigit('\u0661\uFF12')", u"1"},
      {u"isdigit('')", u"0"},
      {u"isdigit(48)", u"1"},
      {u"isalpha(-5) + isalpha(2000000)", u"0"},
      {u"isalnum('a1_')", u"0"},
      {u"islower('\u00E9') + isupper('\u00C9')", u"2"},
      {u"isspace(' \t\u3000')", u"1"},
  };
  RunRows(kRows);
}

// Both directions over the whole block of half-width and full-width forms.
TEST(BuiltinText, WidthsAreInverse) {
  for (char16_t unit = 0xFF00; unit < 0xFFF0; ++unit) {
    const Kt_WString text(&unit, 1);
    Kt_WString half;
    Kt_WString full;
    ASSERT_TRUE(kt_full2halfW(text, half) && kt_half2fullW(text, full));
    Kt_WString back;
    if (!(half == text)) {
      ASSERT_TRUE(kt_half2fullW(half, back));
      EXPECT_TRUE(back == text) << static_cast<int>(unit);
    } else if (!(full == text)) {
      ASSERT_TRUE(kt_full2halfW(full, back));
      EXPECT_TRUE(back == text) << static_cast<int>(unit);
    }
  }
  constexpr ExprRow kRows[] = {
      {u"Half2Full('Aa1 ~\u00A3')", u"\uFF21\uFF41\uFF11\u3000\uFF5E\uFFE1"},
      {u"Half2Full('\uFF76\uFF9E\uFF8A\uFF9F\uFF77\uFF9F\uFF73\uFF9E')",
       u"\u30AC\u30D1\u30AD\u309C\u30F4"},
      {u"full2half('\u30AC\u30D1\u3002\u3131\uFF21\u3000')",
       u"\uFF76\uFF9E\uFF8A\uFF9F\uFF61\uFFA1A "},
      {u"full2half(Half2Full('\uFFC2\uFFDC\uFFE8'))", u"\uFFC2\uFFDC\uFFE8"},
      {u"Half2Full('\U0001F600\uAC00')", u"\U0001F600\uAC00"},
  };
  RunRows(kRows);
  EXPECT_EQ(kt_displaywidthW(u"a\u0301\uD55C\U0001F600\n"), 5);
}

// Arguments by reference and members of values reach the same handlers.
TEST(BuiltinText, ReferencesAndMembers) {
  TestContext context;
  context.variables.AddVariable(u"text", Kt_Variant(u"Hello"));
  context.variables.AddVariable(u"items", Kt_Variant(Kt_VariantList{kt_long{4}, kt_long{9}}));
  EXPECT_EQ(EvalIn(context, u"length(ref(text))"), "5");
  EXPECT_EQ(EvalIn(context, u"text.toUpper().left(2)"), "HE");
  EXPECT_EQ(EvalIn(context, u"items.length"), "2");
  EXPECT_EQ(EvalIn(context, u"greatest(items)"), "9");
}

// Texts on which a search that starts anew at every unit would work for an hour, not a blink; the
// time limit of the test run stands for the stop watch.
TEST(BuiltinText, HostileTextsTakeLinearTime) {
  TestContext context;
  constexpr kt_long kUnits = 1 << 20;
  const Kt_WString text = kt_rpadW(Kt_WString(), u'a', kUnits);
  const Kt_WString pattern = kt_rpadW(Kt_WString(), u'a', kUnits / 2);
  Kt_Variant result;
  CallBuiltin(context, u"NToken", {text, pattern, kt_long{kUnits / 2 + 2}}, result);
  EXPECT_EQ(result.ToString().GetLength(), kUnits / 2 - 1);
  CallBuiltin(context, u"pos", {text, pattern + u"b"}, result);
  EXPECT_EQ(result.ToInteger(), -1);
  CallBuiltin(context, u"replace", {text, u"a", u"b"}, result);
  EXPECT_EQ(result.ToString().GetLength(), kUnits);
  CallBuiltin(context, u"split", {text, u"a", u"whole"}, result);
  EXPECT_EQ(result.ListCount(), kUnits + 1);
  CallBuiltin(context, u"toUpper", {text + u"\u00DF"}, result);
  EXPECT_EQ(result.ToString().GetLength(), kUnits + 2);
}

}  // namespace
