// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "common/text.h"
#include "script/Kt_ScriptUtil.h"

namespace {

using namespace Kt_ScriptUtil;

kt_long Size(std::u16string_view text) { return static_cast<kt_long>(text.size()); }

struct Row {
  std::u16string_view text;
  kt_long expected;
  kt_long error_pos = -99;  // -99: not written
};

// Runs rows through scan(text, len, error_pos).
template <class Scan, std::size_t kCount>
void RunRows(const Row (&rows)[kCount], Scan scan) {
  for (const Row& row : rows) {
    kt_long error_pos = -99;
    EXPECT_EQ(scan(row.text.data(), Size(row.text), error_pos), row.expected) << Utf8(row.text);
    EXPECT_EQ(error_pos, row.error_pos) << Utf8(row.text);
  }
}

TEST(ScriptScanners, LineBreaks) {
  const struct {
    std::u16string_view text;
    kt_long count, first_end;
  } rows[] = {
      {u"", 0, 0},        {u"abc", 0, 3},      {u"a\r\nb", 1, 3},
      {u"a\rb\nc", 2, 2}, {u"\n\r\n\r", 3, 1}, {std::u16string_view(u"a\0\n\n", 4), 0, 4},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CountCRLF(row.text.data(), Size(row.text)), row.count) << Utf8(row.text);
    EXPECT_EQ(FindCRLF(row.text.data(), Size(row.text)), row.first_end) << Utf8(row.text);
  }
  EXPECT_EQ(CountCRLF(u"\r\n\r\n", 3), 2) << "the pair is cut";
}

TEST(ScriptScanners, CommentEnd) {
  const struct {
    std::u16string_view text;
    kt_long expected;
  } rows[] = {{u"/*/", kSynCommentEnd},
              {u"/**/", 4},
              {u"/*x*/y", 5},
              {u"/*", kSynCommentEnd},
              {u"/* *", kSynCommentEnd}};
  for (const auto& row : rows) {
    EXPECT_EQ(FindCommentEnd(row.text.data(), Size(row.text)), row.expected) << Utf8(row.text);
  }
}

TEST(ScriptScanners, BraceEnd) {
  const struct {
    std::u16string_view text;
    char16_t close;
    kt_long expected, error_pos;
  } rows[] = {
      {u"(a(b)c)d", u')', 7, 10},
      {u"(')')", u')', 5, 10},
      {u"(/*)*/)", u')', 7, 10},
      {u"(//)\n)", u')', 6, 10},
      {u"([)", u')', 3, 10},
      {u"(a", u')', kSynParenEnd, 2},
      {u"[a", u']', kSynBracketEnd, 2},
      {u"{a", u'}', kSynBraceEnd, 2},
      {u"<a", u'>', kSynBraceEnd, 2},
      {u"(a'b)", u')', kSynSingleQuote, 2},
      {u"(ab\"", u')', kSynDoubleQuote, 3},
      // An unclosed comment adds its place to what stands there.
      {u"(a/*b)", u')', kSynCommentEnd, 12},
  };
  for (const auto& row : rows) {
    kt_long error_pos = 10;
    EXPECT_EQ(FindBraceEnd(row.text.data(), Size(row.text), row.close, error_pos), row.expected)
        << Utf8(row.text);
    EXPECT_EQ(error_pos, row.error_pos) << Utf8(row.text);
  }
}

TEST(ScriptScanners, NextToken) {
  const Row rows[] = {
      {u" \t\r\n x", 5}, {u"/*a*/ //b\r\n c", 12},       {u"/ x", 0}, {u"  ", 2},
      {u"// only", 7},   {u"  /* x", kSynCommentEnd, 2}, {u"", 0},
  };
  RunRows(rows, FindNextToken);
}

TEST(ScriptScanners, SetOperator) {
  const struct {
    std::u16string_view text;
    kt_long expected;
  } rows[] = {
      {u"a[i=1]", 0}, {u"a == b", 2},    {u"a)", kSynParenStart},  {u"a]", kSynBracketStart},
      {u"a <= b", 3}, {u"f(x) = (1", 5}, {u"(a", kSynParenStart},  {u"'=' = 1", 4},
      {u"a", 0},      {u"/*=*/ a", 2},   {u"'a", kSynSingleQuote}, {u"(a]= b", 3},
      {u"= 1", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FindSetOP(row.text.data(), Size(row.text)), row.expected) << Utf8(row.text);
  }
}

TEST(ScriptScanners, SplitLine) {
  const struct {
    std::u16string_view text;
    kt_long expected;
    const char* joined;
  } rows[] = {
      {u"f(a,b), 'x,y' ,c", 3, "f(a,b)|'x,y'|c"},
      {u"a,", 1, "a"},
      {u"a,,b", 3, "a||b"},
      {u"", 0, ""},
      {u" ", 1, ""},
      {u"a[1,2],b", 2, "a[1,2]|b"},
      {u"a)", -1, ""},
      {u"a]", -1, ""},
      {u"a,'b", kSynSingleQuote, "a"},
      {u"\u00a0a\u3000,b", 2, "a|b"},
  };
  for (const auto& row : rows) {
    Kt_WStrList out;
    EXPECT_EQ(SplitLine(row.text.data(), Size(row.text), out), row.expected) << Utf8(row.text);
    EXPECT_EQ(out.Join(u"|").ToUtf8(), row.joined) << Utf8(row.text);
  }
  Kt_WStrList out;
  out.Add(u"before");
  EXPECT_EQ(SplitLine(u"a", 1, out), 2);
}

TEST(ScriptScanners, LineEnd) {
  const Row rows[] = {
      {u"a = ';';", 8},
      {u"a = 1 // c;", -1, 11},
      {u"a /*;*/;", 8},
      {u"f(;", 3},
      {u"a 'b;", kSynSingleQuote, 2},
      {u"ab /* ;", kSynCommentEnd, 3},
      {u"a // ;\n;", 8},
      {u"a / b;", 6},
  };
  RunRows(rows, FindLineEnd);
  const Row colons[] = {{u"'a:b':", 5}, {u"a", -1, 1}};
  RunRows(colons, FindColonEnd);
}

struct BlockRow {
  std::u16string_view text;
  kt_long expected;
  const char* inner = "";
  kt_long error_pos = -99;
};

template <class Scan, std::size_t kCount>
void RunBlocks(const BlockRow (&rows)[kCount], Scan scan) {
  for (const BlockRow& row : rows) {
    kt_long error_pos = row.expected < 0 ? 0 : -99;
    kt_long start = 0;
    kt_long length = 0;
    EXPECT_EQ(scan(row.text.data(), Size(row.text), start, length, error_pos), row.expected)
        << Utf8(row.text);
    EXPECT_EQ(error_pos, row.error_pos) << Utf8(row.text);
    if (row.expected < 0) continue;
    EXPECT_EQ(
        Utf8(row.text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length))),
        row.inner);
  }
}

TEST(ScriptScanners, Groups) {
  const BlockRow parens[] = {
      {u" /*c*/ ( a, b ) x", 15, "a, b"}, {u"( )", 3, ""},
      {u" x", kSynParenStart, "", 1},     {u"  ", kSynBlockEnd, "", 2},
      {u" (a", kSynParenEnd, "", 3},      {u" (a/*", kSynCommentEnd, "", 3},
      {u" /*", kSynCommentEnd, "", 1},
  };
  RunBlocks(parens, FindLineBlock);
  const BlockRow braces[] = {
      {u" { a; } x", 7, "a;"}, {u"(", kSynBlockStart, "", 0}, {u"{'", kSynSingleQuote, "", 1}};
  RunBlocks(braces, FindBraceBlock);
}

TEST(ScriptScanners, Blocks) {
  const BlockRow rows[] = {
      {u" { a; b; } c;", 10, "a; b;"},
      {u" a = ';'; b;", 9, "a = ';';"},
      {u"IF (x) y; z;", 9, "IF (x) y;"},
      {u"if (x) y; else z; w;", 17, "if (x) y; else z;"},
      {u"if (x) if (y) a; else b; c;", 24, "if (x) if (y) a; else b;"},
      {u"if (x) y; elsewhere;", 9, "if (x) y;"},
      {u"for (;;) while (b) { c; } d;", 25, "for (;;) while (b) { c; }"},
      {u"switch (a) { case 1: } x;", 22, "switch (a) { case 1: }"},
      {u"iffy (x); y;", 9, "iffy (x);"},
      {u"a", -1, "", 1},
      {u" ", kSynBlockEnd, "", 1},
      {u"if x", kSynParenStart, "", 3},
      {u"if (x) ", kSynBlockEnd, "", 7},
      {u"if (x) { y", kSynBraceEnd, "", 10},
      {u"while (a) if (b) c = 'd;", kSynSingleQuote, "", 21},
  };
  RunBlocks(rows, FindBlock);
}

TEST(ScriptScanners, CaseTokens) {
  const Row rows[] = {
      {u"a; case 1:", 3},
      {u"a; default:", 3},
      {u"a; default :", 3},
      {u"{ case 1: } case 2:", 12},
      {u"switch (x) { case 1: a; } case 2:", 26},
      {u"if (a) { } else { case 3: } case 2:", 28},
      {u"'case 1' case 2:", 9},
      {u"/* case 1 */ case 2:", 13},
      {u"Case 1: a;", 10},
      {u"case: a;", 8},
      {u"IF (x) { case 1: }", -1, 18},
      {u"a; ' case 1:", kSynSingleQuote, 3},
      {u"a; { b", kSynBraceEnd, 6},
      {u"", 0},
  };
  for (const Row& row : rows) {
    kt_long error_pos = row.expected < 0 ? 0 : -99;
    EXPECT_EQ(FindCaseToken(row.text.data(), Size(row.text), error_pos), row.expected)
        << Utf8(row.text);
    EXPECT_EQ(error_pos, row.error_pos) << Utf8(row.text);
  }
}

TEST(ScriptScanners, RemoveComment) {
  const struct {
    const char16_t* text;
    const char* expected;
  } rows[] = {
      {u"", ""},
      {u"plain", "plain"},
      {u"a/*x*/bc", "a c"},
      {u"a//x\r\nbc", "ac"},
      {u"a//x\rbc", "ac"},
      {u"a//x", "a"},
      {u"a/*x*/", "a "},
      {u"a/*x", "a*x"},
      {u"'/*' // ' \n\n;", "'/*' ;"},
      {u"a'b /*c*/ d", "a'b  d"},
      {u"/*'*/ x", " x"},
      {u"a / b", "a / b"},
  };
  for (const auto& row : rows) {
    Kt_WString text(row.text);
    RemoveComment(text);
    EXPECT_EQ(text.ToUtf8(), row.expected) << Utf8(row.text);
  }
}

TEST(ScriptScanners, ErrorLines) {
  Kt_WStrList list;
  SetSyntexError(nullptr, kSynBlockEnd, nullptr, nullptr, 0);
  SetSyntexError(&list, kSynBlockEnd, nullptr, nullptr, 0);
  SetSyntexError(&list, kSynLabelMark, u"f", u"for", 9);
  SetSyntexError(&list, -1, u"f", nullptr, 1);
  SetSyntexError(&list, 17, nullptr, u"x", 2147483647);
  EXPECT_EQ(GetSyntexError(&list).ToUtf8(),
            "SYNTAX Error (line 1) : Unexpected End of Block\r\n"
            "SYNTAX Error (line 10) : for : in Function (f) : Not Found Lavel Mark ':'\r\n"
            "SYNTAX Error (line 2) : in Function (f) : \r\n"
            "SYNTAX Error (line 2147483648) : x : ");
  EXPECT_EQ(GetSyntexError(nullptr), u"");
}

// Texts that would take hours, or overflow the stack, if anything were searched again and again.
TEST(ScriptScanners, HostileTexts) {
  constexpr int kMany = 200000;
  const struct {
    std::u16string text;
    kt_long expected;
  } rows[] = {
      {Repeat(u"{", kMany), kSynTooDeep},
      {Repeat(u"if (a) ", kMany) + u";", kSynTooDeep},
      {u"if (a) b; " + Repeat(u"else if (a) b; ", kMany), kSynTooDeep},
      {Repeat(u"while (a) ", kMany), kSynTooDeep},
      {u"if " + Repeat(u"(", kMany), kSynParenEnd},
      {Repeat(u"if (a) ", kMaxBlockDepth) + u";", kMaxBlockDepth * 7 + 1},
      {Repeat(u"{", kMaxBlockDepth) + Repeat(u"}", kMaxBlockDepth), kMaxBlockDepth * 2},
  };
  for (const auto& row : rows) {
    kt_long start = 0;
    kt_long length = 0;
    kt_long error_pos = 0;
    EXPECT_EQ(FindBlock(row.text.data(), Size(row.text), start, length, error_pos), row.expected)
        << Utf8(row.text.substr(0, 40));
  }
  for (const char16_t* piece : {u"\\\"", u"\\'", u"/* "}) {
    Kt_WString text(Repeat(piece, kMany));
    RemoveComment(text);
    EXPECT_GT(text.GetLength(), kMany) << Utf8(piece);
  }
}

}  // namespace
