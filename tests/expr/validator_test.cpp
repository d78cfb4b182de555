// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <span>
#include <string>

#include "classlib/base/Kt_Codes.h"
#include "expr/Kt_ExprUtil.h"

namespace {

struct Row {
  const char16_t* text;
  kt_long code;
  kt_long offset = -1;  // not written on success
};

void RunRows(std::span<const Row> rows) {
  for (const Row& row : rows) {
    const Kt_WString text(row.text);
    kt_long offset = -1;
    EXPECT_EQ(Kt_ExprUtil::IsValidExpr(text.GetText(), text.GetLength(), &offset), row.code)
        << text.ToUtf8();
    EXPECT_EQ(offset, row.offset) << text.ToUtf8();
  }
}

TEST(Validator, AcceptsWellFormed) {
  const Row rows[] = {
      {u"", 0},
      {u"   ", 0},
      {u"[any + + thing]", 0},
      {u"f()", 0},
      {u"f(,)", 0},
      {u"f(a)(b)", kExprParenOpen, 4},
      {u"a[1][2].b", 0},
      {u"a.b(1).c[2]++", 0},
      {u"(a + b).c", 0},
      {u"'x'.len + .5", 0},
      {u"a - -+b", 0},
      {u"!!a && !b", 0},
      {u"++a * --b", 0},
      {u"and x", 0},
      {u"a and b OR c", 0},
      {u"a !", kExprNoOperand, 2},
      {u"!", 0},
      {u"true", 0},
      {u"a.9", 0},
  };
  RunRows(rows);
}

TEST(Validator, PointsAtTheFault) {
  const Row rows[] = {
      {u"* x", kExprNoOperand, 0},
      {u"a + * b", kExprNoOperand, 4},
      {u"a != = b", kExprNoOperand, 5},
      {u"a + !=b", kExprNoOperand, 4},
      {u"++ -a", kExprNoOperand, 3},
      {u"!-a", kExprNoOperand, 1},
      {u"5++", kExprNoOperand, 1},
      {u"a++++", kExprNoOperand, 3},
      {u"a && and b", kExprNoOperand, 5},
      {u"a b", kExprNoOperator, 2},
      {u"a.5", kExprNoOperator, 1},
      {u"1 'x'", kExprNoOperator, 2},
      {u"1 #x", kExprNoOperator, 2},
      {u"a + #x", kExprBadToken, 4},
      {u"1.2abc", kExprBadToken, 0},
      {u"1 (2)", kExprParenOpen, 2},
      {u"a.(b)", kExprParenOpen, 2},
      {u"a)", kExprParenClose, 1},
      {u"(a +)", kExprParenClose, 4},
      {u"a[(1])", kExprBracketClose, 4},
      {u"(a[1)", kExprParenClose, 4},
      {u"[1] + 2", kExprBracketOpen, 0},
      {u"f()[1]", kExprBracketOpen, 3},
      {u"a[]", kExprBracketClose, 2},
      {u"a[1,2]", kExprComma, 3},
      {u"a, b", kExprComma, 1},
      {u"f(a +, b)", kExprComma, 5},
      {u"1 + .9", kExprDot, 4},
      {u"a..b", kExprDot, 2},
      // Running out: the length.
      {u"(a", kExprUnfinished, 2},
      {u"a +  ", kExprUnfinished, 5},
      {u"a.", kExprUnfinished, 2},
      {u"--", kExprUnfinished, 2},
  };
  RunRows(rows);
}

TEST(Validator, EndsWhereTheScanEnds) {
  const Row rows[] = {
      {u"\"abc", 0},
      {u"a 'abc", 0},
      {u"a + 'abc", kExprUnfinished, 4},
      {u"5 & 2", 0},
      {u"5  & 2", kExprUnfinished, 3},
  };
  RunRows(rows);
  EXPECT_EQ(Kt_ExprUtil::IsValidExpr(nullptr, 5), 0);
  EXPECT_EQ(Kt_ExprUtil::IsValidExpr(u"a\0+", 3), 0);
}

TEST(Validator, LimitsNesting) {
  const auto nested = [](std::size_t depth) {
    return std::u16string(depth, u'(') + u"a" + std::u16string(depth, u')');
  };
  const auto check = [](const std::u16string& text, kt_long* offset) {
    return Kt_ExprUtil::IsValidExpr(text.data(), static_cast<kt_long>(text.size()), offset);
  };
  kt_long offset = -1;
  for (const std::size_t depth : {64, 65, 66, static_cast<int>(kMaxExprDepth)}) {
    EXPECT_EQ(check(nested(depth), &offset), 0) << depth;
  }
  // The brackets kept beyond the first 64 are compared too.
  EXPECT_EQ(check(std::u16string(70, u'(') + u"a]", &offset), kExprBracketClose);
  EXPECT_EQ(check(nested(kMaxExprDepth + 1), &offset), kExprTooDeep);
  EXPECT_EQ(offset, kMaxExprDepth);
  EXPECT_EQ(check(nested(200000), &offset), kExprTooDeep);
}

}  // namespace
