// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "expr/Kt_ExprProgram.h"

namespace {

using kt::ExprProgram;

// All of a program as one text.
std::string Text(const ExprProgram& program) {
  std::string out;
  for (const kt::CodeInstr& in : program.instrs) {
    for (const int part : {static_cast<int>(in.op), +in.dst, +in.a, +in.b, in.extra}) {
      out += std::to_string(part) + ' ';
    }
    out += "; ";
  }
  for (const Kt_Variant& value : program.consts) {
    out += std::to_string(static_cast<int>(value.GetTag())) + value.ToString().ToUtf8() + ", ";
  }
  for (const Kt_WString& name : program.names) out += name.ToUtf8() + ", ";
  for (const Kt_WString& name : program.calls) out += name.ToUtf8() + "(), ";
  return out + std::to_string(program.temp_count) + (program.has_target ? " target" : "");
}

// One maker for all, so that nothing of one expression may show up in the next; the long ones make
// its memory grow. What has a compiled form stays unparsed, and can be evaluated all the same.
TEST(ExprProgramMaker, GivesWhatEachExpressionGives) {
  Kt_WString many(u"1");
  for (int n = 0; n < 300; ++n) many += u" + (2 * 3)";
  const struct {
    Kt_WString text;
    kt_long state;
  } rows[] = {
      {u"Total + total * 2", kStateUnparsed},
      {u"a && b || c", kStateUnparsed},
      {u"  x > 1 && (y = 2 || z) ", kStateUnparsed},
      {u"Round(total, 2) + round(Total)", kStateUnparsed},
      {u"g[i + 1][2]", kStateUnparsed},
      {u"g[i]", kStateUnparsed},
      {u"'text'", kStateUnparsed},
      {u"true", kStateUnparsed},
      {u"", kStateUnparsed},
      {many, kStateUnparsed},
      {u"a.trim() + 1", kStateOrdinary},
      {u"[1, a]", kStateList},
      {u"trace(a)", kStateTrace},
      {u"1 +* 2", kStateUnparsed},
      {u"++i + i++", kStateUnparsed},
      {u"f(f(1, 2), -3)", kStateUnparsed},
  };
  kt::ExprProgramMaker maker;
  ExprProgram program;
  for (const auto& row : rows) {
    Kt_Expr expr(row.text.GetText());
    Kt_Expr whole(row.text.GetText());
    maker.Make(expr, program);
    EXPECT_EQ(Text(program), Text(ExprProgram::Of(whole))) << row.text.ToUtf8();
    EXPECT_EQ(expr.GetState(), row.state) << row.text.ToUtf8();
    EXPECT_EQ(expr.GetText(), whole.GetText());
    Kt_WString error;
    (void)whole.Parse(error, nullptr);
    maker.Make(whole, program);
    EXPECT_EQ(Text(program), Text(ExprProgram::Of(whole))) << row.text.ToUtf8();
  }
  Kt_Expr sum(many.GetText());
  maker.Make(sum, program);
  Kt_Variant value;
  EXPECT_EQ(sum.ExecExpr(nullptr, value), kOk) << "it is parsed for that";
  Kt_Expr kept(u"a.trim()");
  maker.Make(kept, program);
  EXPECT_EQ(kept.GetOps().GetCount(), 5) << "name, method, brackets, end";
  EXPECT_EQ(kept.GetText(), u"a.trim()");
}

}  // namespace
