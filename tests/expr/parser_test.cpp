// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprDump.h"

namespace {

// The records in one line: tokens as the names of their codes, operands as their text; a marker is
// shown as ~ .
std::string Line(const Kt_ExprOpList& ops) {
  std::string out;
  for (kt_long at = 0; at < ops.GetCount(); ++at) {
    const Kt_ExprOp& op = *ops.GetItem(at);
    if (at > 0) out += ' ';
    const bool named = GetOpClass(op.code) == 1 && !op.text.IsEmpty();
    out += op.code == kOpMarker ? "~" : op.code == kOpEnd ? "." : GetOpText(op.code);
    if (op.code == kOpInteger) out += ":" + std::to_string(op.GetInteger());
    if (op.code == kOpDecimal) out += ":" + std::to_string(op.GetDecimal());
    if (named) out += ":" + op.text.ToUtf8();
    EXPECT_EQ(op.arg, op.code == kOpMarker ? 1 : 0);
    EXPECT_TRUE(named || op.text.IsEmpty());
  }
  return out;
}

// The same with names alone for operands, which reads better where only the order matters.
std::string Short(const Kt_ExprOpList& ops) {
  std::string line = Line(ops);
  for (const char* const prefix : {"name:", "integer:", "call:"}) {
    for (std::size_t at; (at = line.find(prefix)) != line.npos;) {
      line.erase(at, std::string_view(prefix).size());
    }
  }
  return line;
}

TEST(Parser, WritesRecords) {
  const struct {
    const char16_t* text;
    const char* ops;
  } rows[] = {
      {u"a", "name:a ."},
      {u"TRUE", "word:TRUE ."},
      {u"'it\\'s'", "string:it\\'s ."},
      {u"''", "string ."},
      {u"2147483647", "integer:2147483647 ."},
      {u"99999999999", "decimal:99999999999.000000 ."},
      {u"1.5", "decimal:1.500000 ."},
      {u".5", "decimal:0.500000 ."},
      {u"f (2)", "call:f ( integer:2 ) ."},
      {u"Ref(a)", "ref:Ref ( name:a ) ."},
      {u"f(a)(b)", "call:f ( name:a ) ( name:b ) ."},
      {u"f(,)", "call:f ( , ) ."},
      {u"a.b.c(1)[2]", "name:a member:b method:c ( integer:1 ) [ integer:2 ] ."},
      {u"x.9", "name:x member:9 ."},
      {u"a <> b", "name:a <> name:b ."},
      {u"a == b", "name:a = name:b ."},
      {u"++a", "++x name:a ."},
      {u"a--", "name:a x-- ."},
      {u"f(a, ++b)", "call:f ( name:a , x++ name:b ) ."},
      {u"(-a)", "( - name:a ) ."},
      {u"5 & 2", "integer:5 ."},
      {u"5  & 2", "integer:5 & ."},
      {u"5  | 2", "integer:5 || ."},
      {u"a + 'abc", "name:a + ."},
  };
  Kt_Expr expr;
  for (const auto& row : rows) {
    Kt_WString error;
    ASSERT_GE(expr.Parse(Kt_WString(row.text), error), 0) << Kt_WString(row.text).ToUtf8();
    EXPECT_EQ(Line(expr.GetOps()), row.ops) << Kt_WString(row.text).ToUtf8();
  }
}

TEST(Parser, MarksPrecedence) {
  const struct {
    const char16_t* text;
    const char* ops;
  } rows[] = {
      {u"1 + 2 * 3", "1 + 2 * 3 ."},
      {u"1 * 2 + 3", "1 * 2 ~ + 3 ."},
      {u"a - b - c", "a - b ~ - c ."},
      {u"a = b + c * d", "a = b + c * d ."},
      {u"a || b && c = d + e * f || g", "a || b && c = d + e * f ~ ~ ~ ~ ~ || g ."},
      {u"a and b or c", "a && b ~ || c ."},
      {u"-a + b", "- a ~ + b ."},
      {u"a = -b", "a = - b ."},
      {u"!!a = b", "! ~ ! a ~ = b ."},
      {u"!-1", "! ~ - 1 ."},
      {u"a * b++ + c", "a * b x++ ~ + c ."},
      // Groups and the names before them are passed; a grouping '(' has an operator there.
      {u"a * (b + c) + d", "a * ( b + c ) ~ + d ."},
      {u"a * f(b + c, d) + e", "a * f ( b + c , d ) ~ + e ."},
      {u"a * b[c + d][e] + f", "a * b [ c + d ] [ e ] ~ + f ."},
      {u"f(a * b, c + d)", "f ( a * b , c + d ) ."},
      // An earlier marker ends the walk, so the first - stays pending.
      {u"a - b * c * d - e", "a - b * c ~ * d ~ - e ."},
      // After nested indexers the walk goes on inside, where it ends at the outer '['.
      {u"a * b[c[1]] + d", "a * b [ c [ 1 ] ] + d ."},
      {u"a * b[c * d[1]] + e", "a * b [ c * d [ 1 ] ] ~ + e ."},
  };
  Kt_Expr expr;
  for (const auto& row : rows) {
    Kt_WString error;
    ASSERT_GE(expr.Parse(Kt_WString(row.text), error), 0) << Kt_WString(row.text).ToUtf8();
    EXPECT_EQ(Short(expr.GetOps()), row.ops) << Kt_WString(row.text).ToUtf8();
  }
}

TEST(Parser, ReportsErrors) {
  const struct {
    const char16_t* text;
    const char* error;
    kt_long offset;
  } rows[] = {
      {u"  a * * b", "Invalid Operator *", 4},   {u"a + / b", "Invalid Operator /", 4},
      {u"(%a)", "Invalid Operator %", 1},        {u"a + + b", "Invalid Operator +", 4},
      {u"++ - b", "Invalid Operator -", 3},      {u"a < > b", "Invalid Operator >", 4},
      {u"a = <> b", "Invalid Operator <>", 4},   {u"a = <= b", "Invalid Operator <=", 4},
      {u"a = < b", "Invalid Operator <", 4},     {u"a = >= b", "Invalid Operator >=", 4},
      {u"a + == b", "Invalid Operator =", 4},    {u"a + != b", "Invalid Operator !=", 4},
      {u"a + !b", "Invalid Operator !", 4},      {u"x[!b]", "Invalid Operator !", 2},
      {u"a + && b", "Invalid Operator &&", 4},   {u"a +  & b", "Invalid Operator &", 5},
      {u"a + || b", "Invalid Operator ||", 4},   {u"a +  | b", "Invalid Operator |", 5},
      {u"a + AND b", "Invalid Operator and", 4}, {u"a + Or b", "Invalid Operator or", 4},
      {u"1 (2)", "Invalid token '(' : ", 2},     {u"a + [1] + b", "Invalid token '[' : ", 4},
      {u"a[]", "Invalid token ']' : ", 2},       {u"(a + )", "Invalid token ))", 5},
      {u"a. ", "Fail to Find Token .", 1},       {u"a.  & b", "Fail to Find Token .", 1},
      {u"a + #x", "Invalid Token #x", 4},        {u"1a", "Invalid Token 1a", 0},
  };
  for (const auto& row : rows) {
    Kt_Expr expr;
    Kt_WString error;
    EXPECT_EQ(expr.Parse(Kt_WString(row.text), error), -1) << Kt_WString(row.text).ToUtf8();
    EXPECT_EQ(expr.GetState(), -1);
    EXPECT_EQ(error.ToUtf8(), row.error);
    EXPECT_EQ(expr.GetErrorOffset(), row.offset) << Kt_WString(row.text).ToUtf8();
  }
}

TEST(Parser, GivesStates) {
  const struct {
    const char16_t* text;
    kt_long state;
  } rows[] = {
      {u"   ", kStateEmpty},
      {u"'abc", kStateEmpty},
      {u"a", kStateName},
      {u"1", kStateConstant},
      {u"1.5", kStateConstant},
      {u"'x'", kStateConstant},
      {u"nil", kStateConstant},
      {u"-1", kStateOrdinary},
      {u"!", kStateOrdinary},
      {u"Trace(1)", kStateTrace},
      {u"tracevar()", kStateTrace},
      {u"TRACEDATA(a)+1", kStateTrace},
      {u"traces(1)", kStateOrdinary},
      {u"a.trace(1)", kStateOrdinary},
      {u"[1,2]", kStateList},
      {u"[]", kStateList},
      {u"* a", kStateOrdinary},
  };
  for (const auto& row : rows) {
    Kt_Expr expr(u"before");
    Kt_WString error;
    EXPECT_EQ(expr.Parse(error, row.text), row.state) << Kt_WString(row.text).ToUtf8();
    EXPECT_EQ(expr.GetState(), row.state);
  }
}

TEST(Parser, KeepsTextAndState) {
  Kt_WString error;
  Kt_Expr expr(u" a + b ");
  EXPECT_EQ(expr.GetState(), kStateUnparsed);
  EXPECT_EQ(expr.GetFirstOp()->code, 0);
  EXPECT_EQ(expr.Parse(error, nullptr), kStateOrdinary);
  EXPECT_EQ(expr.GetText(), u"a + b");
  EXPECT_EQ(expr.GetFirstOp()->text, u"a");
  EXPECT_EQ(expr.Parse(Kt_WString(), error), kStateEmpty);
  EXPECT_EQ(expr.GetState(), kStateOrdinary) << "an empty text leaves the state";
  EXPECT_EQ(expr.Parse(Kt_WString(u"a +* b"), error), -1);
  EXPECT_EQ(expr.Parse(Kt_WString(u"a"), error), kStateName);
  EXPECT_EQ(expr.GetErrorOffset(), -1);

  expr.SetExpr(expr.GetText());
  EXPECT_EQ(expr.GetText(), u"a");
  EXPECT_EQ(expr.GetState(), kStateUnparsed);
  expr.Clear();
  EXPECT_TRUE(expr.GetText().IsEmpty());
  EXPECT_EQ(expr.GetOps().GetCount(), 0);
}

TEST(Parser, CopiesParseAgain) {
  Kt_WString error;
  Kt_Expr expr;
  EXPECT_EQ(expr.Parse(error, u"[1, [2]]"), kStateList);
  EXPECT_EQ(expr.GetText(), u"1, [2]");
  Kt_Expr copy(expr);
  EXPECT_EQ(copy.GetState(), kStateUnparsed);
  EXPECT_EQ(copy.Parse(error, nullptr), kStateList);
  EXPECT_EQ(copy.GetText(), u"1, [2]");
  EXPECT_EQ(copy.Parse(error, nullptr), kStateList) << "and again";

  EXPECT_EQ(expr.Parse(error, u"x * y"), kStateOrdinary);
  copy = expr;
  EXPECT_EQ(copy.GetState(), kStateUnparsed);
  EXPECT_EQ(copy.GetOps().GetCount(), 4);
  const Kt_Expr& self = copy;
  copy = self;
  EXPECT_EQ(copy.GetText(), u"x * y");
  copy = Kt_WString(u"z");
  EXPECT_EQ(copy.Parse(error, nullptr), kStateName);
}

TEST(Parser, DumpsRecords) {
  Kt_Expr expr;
  Kt_WString error;
  expr.Parse(Kt_WString(u"f(-7 * 0.1, 'a\tb\n') + x.y++"), error);
  EXPECT_EQ(DumpOps(expr.GetOps()).ToUtf8(),
            "   0  1110  call     f\n"
            "   1  3010  (\n"
            "   2  3326  -\n"
            "   3  1030  integer  7\n"
            "   4  3347  *\n"
            "   5  1031  decimal  0.1\n"
            "   6  7300  ,\n"
            "   7  1020  string   \"a\\tb\\n\"\n"
            "   8  7100  )\n"
            "   9  3316  +\n"
            "  10  1040  name     x\n"
            "  11  1339  member   y\n"
            "  12  4011  x++\n"
            "  13  7999  end\n");
}

std::u16string Repeat(std::u16string_view text, std::size_t count) {
  std::u16string out;
  for (std::size_t n = 0; n < count; ++n) out += text;
  return out;
}

kt_long ParseText(const std::u16string& text, Kt_WString& error) {
  Kt_Expr expr;
  return expr.Parse(Kt_WString(std::u16string_view(text)), error);
}

TEST(Parser, LimitsNesting) {
  const auto limit = static_cast<std::size_t>(kMaxExprDepth);
  const struct {
    const char16_t* open;
    const char16_t* middle;
    const char16_t* close;
  } rows[] = {{u"(", u"a", u")"}, {u"f(", u"", u")"}, {u"a[", u"1", u"]"}, {u"!", u"a", u""}};
  for (const auto& row : rows) {
    for (const std::size_t depth : {limit, limit + 1, std::size_t{200000}}) {
      Kt_WString error;
      const std::u16string text = Repeat(row.open, depth) + row.middle + Repeat(row.close, depth);
      EXPECT_EQ(ParseText(text, error), depth <= limit ? kStateOrdinary : -1) << depth;
      EXPECT_EQ(error.ToUtf8(), depth <= limit ? "" : "Expression Nested Too Deeply");
    }
  }
  // Each of these leaves one operator pending for good.
  Kt_WString error;
  EXPECT_EQ(ParseText(Repeat(u"a = b * c + ", limit + 1) + u"d", error), -1);
  // Long chains that are applied as they go are no nesting.
  for (const char16_t* const link : {u"a + ", u"a * b + ", u"(a) - ", u"f(a)[1] * ", u"a, "}) {
    EXPECT_GE(ParseText(Repeat(link, 50000) + u"z", error), 0) << Kt_WString(link).ToUtf8();
  }
}

// Every walk back over the records must be short: with one that is not this runs for minutes, into
// the time limit that tests have.
TEST(Parser, TakesLinearTime) {
  const struct {
    const char16_t* link;
    kt_long state;
  } rows[] = {
      {u"a+", kStateOrdinary},
      {u"(a)*", kStateOrdinary},
      {u"f(a)(b)", kStateOrdinary},
      {u"a[1][2]-", kStateOrdinary},
      {u")", kStateOrdinary},
      {u"a]", kStateOrdinary},
      {u"a+b)", -1},
      {u"a*b+c=d&&e||", -1},
  };
  for (const auto& row : rows) {
    Kt_WString error;
    EXPECT_EQ(ParseText(Repeat(row.link, 300000) + u"a", error), row.state)
        << Kt_WString(row.link).ToUtf8() << error.ToUtf8();
  }
}

}  // namespace
