// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "classlib/base/Kt_Codes.h"
#include "classlib/value/Kt_Variant.h"
#include "expr/Kt_ExprUtil.h"

namespace {

using namespace Kt_ExprUtil;
using Text = std::u16string_view;

std::string Show(Text text) { return Kt_WString(text).ToUtf8(); }
kt_long Length(Text text) { return static_cast<kt_long>(text.size()); }

// The tokens joined with blanks; what the scan stopped at, if it was not the end, after '!'.
std::string Tokens(Text text) {
  std::string out;
  for (kt_long at = 0; at < Length(text);) {
    int start = -7;
    int length = -7;
    const int next = FindToken(text.data() + at, Length(text) - at, start, length);
    if (next < 1) return length < 0 ? out + "!" + std::to_string(length) : out;
    const std::size_t shown = length > 0 ? static_cast<std::size_t>(length) : 1;
    out +=
        Show(text.substr(static_cast<std::size_t>(at + start), shown)) + (length < 0 ? "? " : " ");
    at += next;
  }
  return out;
}

TEST(Tokenizer, CutsText) {
  const struct {
    Text text;
    const char* tokens;
  } rows[] = {
      {u"", ""},
      {u" \t\r\n ", ""},
      {u"a==b=c<>d<=e>=f!=g", "a == b = c <> d <= e >= f != g "},
      {u"!a<b>c=>d", "! a < b > c = > d "},
      {u"a+++b---c", "a ++ + b -- - c "},
      {u"a&&b||c", "a && b || c "},
      {u"f( [1,2]*3/4%5 )", "f ( [ 1 , 2 ] * 3 / 4 % 5 ) "},
      // A point ends a plain token unless an integer stands before it.
      {u"12.5 a.b 1.2.3 1a.5", "12.5 a . b 1.2 .3 1a .5 "},
      {u".0 .8x .9 . ..5", ".0 .8x . 9 . . .5 "},
      {u"x.9.8", "x . 9.8 "},
      {u"'it''s' \"a\\\"b\" '\\\\'", "'it' 's' \"a\\\"b\" '\\\\' "},
      {u"#tag{x} \\y ?:;", "#tag{x} \\y ?:; "},
      {u"價格+ünit", "價格 + ünit "},
      // Strings without end.
      {u"a + 'abc", "a + !-5248"},
      {u"\"abc\\\"", "!-5232"},
      {u"'abc\\", "!-5248"},
      // A lone & or | ends the scan, unless two blanks stand before it.
      {u"5 & 2", "5 !-1"},
      {u"5&2", "5 !-1"},
      {u"5  & 2", "5 &? !-1"},
      {u"5   | 2", "5 |? !-1"},
      // A zero unit ends the text.
      {Text(u"a \0 b", 5), "a "},
      {Text(u"a\0b", 3), "a "},
      {Text(u"'a\0'", 4), "!-5248"},
      {Text(u"'a\\\0'", 5), "!-5248"},
  };
  for (const auto& row : rows) EXPECT_EQ(Tokens(row.text), row.tokens) << Show(row.text);
}

TEST(Tokenizer, ReportsPlaces) {
  int start = 5;
  int length = 5;
  EXPECT_EQ(FindToken(nullptr, 3, start, length), 0);
  EXPECT_EQ(start, 0);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(FindToken(u"   ", 3, start, length), 0);
  EXPECT_EQ(start, 3);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(FindToken(u"   abc d", 8, start, length), 6);
  EXPECT_EQ(start, 3);
  EXPECT_EQ(length, 3);
  // The result for a string without end is below 1 however far from the front it stands.
  const std::u16string far = std::u16string(9000, u' ') + u"'abc";
  EXPECT_LT(FindToken(far.data(), Length(far), start, length), 1);
  EXPECT_EQ(start, 9000);
  EXPECT_EQ(length, kExprSingleQuote);
}

TEST(Tokenizer, FindsWordEnds) {
  const struct {
    Text text;
    int end;
  } rows[] = {
      {u"ab_1 x", 4}, {u"ab", 2},  {u"#ab", 1},
      {u"{ab", 1},    {u"+ab", 0}, {u" ab", 0},
      {u"é", 0},      {u"a.b", 1}, {Text(u"ab\0cd", 5), 5},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FindWordEnd(row.text.data(), Length(row.text)), row.end) << Show(row.text);
  }
  EXPECT_EQ(FindWordEnd(u"ab", 0), 0);
  EXPECT_EQ(FindWordEnd(u"ab", -3), -3);
}

TEST(Tokenizer, ClassifiesText) {
  const struct {
    Text text;
    int number, name, constant;
  } rows[] = {
      {u"", 0, 0, 0},
      {u"12", 1, 0, 0},
      {u"-12", 1, 0, 0},
      {u"+1.5", 2, 0, 0},
      {u"1.2.3", 0, 0, 0},
      {u"1-2", 0, 0, 0},
      {u".5", 2, 0, 0},
      {u"5.", 2, 0, 0},
      {u"1 2", 0, 0, 0},
      {u"1\\", 0, 0, 0},
      {u"1e5", 0, 0, 0},
      {u"-", 1, 0, 0},
      {u".", 2, 0, 0},
      {u"abc_1", 0, 1, 0},
      {u"1abc", 0, 0, 0},
      {u"a b", 0, 0, 0},
      {u"價", 0, 1, 0},
      {u"a#", 0, 0, 0},
      {u"TRUE", 0, 1, 1},
      {u"nil", 0, 1, 1},
      {u"Null", 0, 1, 1},
      {u"faLse", 0, 1, 1},
      {u"truly", 0, 1, 0},
      {u"falſe", 0, 1, 0},
      {Text(u"1\0x", 3), 1, 0, 0},
  };
  for (const auto& row : rows) {
    const kt_long length = Length(row.text);
    EXPECT_EQ(ChkNumber(row.text.data(), length), row.number) << Show(row.text);
    EXPECT_EQ(ChkName(row.text.data(), length), row.name) << Show(row.text);
    EXPECT_EQ(IsConstant(row.text.data(), length), row.constant) << Show(row.text);
  }
}

TEST(Tokenizer, TellsWhatFollows) {
  const struct {
    const char16_t* text;
    int type;
  } rows[] = {
      {u"", -1}, {u" \\ ", -1}, {u" \\\n(", 3}, {u"[", 2}, {u")", 9},  {u"]", 9}, {u".5", 4},
      {u"a", 0}, {u"'", 0},     {u" ,", 1},     {u"!", 1}, {u"%x", 1}, {u"|", 1}, {u"<", 1},
  };
  for (const auto& row : rows) EXPECT_EQ(GetTokenType(row.text), row.type) << Show(row.text);
  EXPECT_EQ(GetTokenType(nullptr), -1);
  EXPECT_EQ(GetTokenType(u"  (", 2), -1);
}

TEST(Tokenizer, GivesConstants) {
  Kt_Variant value;
  EXPECT_EQ(GetConstant(u"True", value), 1);
  EXPECT_EQ(value.ToInteger(), 1);
  EXPECT_EQ(GetConstant(u"other", value), 0);
  EXPECT_EQ(value.GetTag(), kTagLong);
  EXPECT_EQ(GetConstant(u"FALSE", value), 1);
  EXPECT_EQ(value.GetTag(), kTagLong);
  EXPECT_EQ(value.ToInteger(), 0);
  for (const char16_t* const word : {u"null", u"NIL"}) {
    value.Set(kt_long{7});
    EXPECT_EQ(GetConstant(word, value), 1);
    EXPECT_TRUE(value.IsEmpty());
  }
}

}  // namespace
