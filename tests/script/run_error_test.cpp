// SPDX-License-Identifier: MIT
//
// The last failure of a thread: what it says, where it places it, and that it belongs to the call
// that failed.
#include <gtest/gtest.h>

#include <thread>

#include "classlib/text/Kt_NearestName.h"
#include "common/test_host.h"
#include "common/text.h"
#include "expr/Kt_Expr.h"
#include "object/Kt_ExprNameSource.h"
#include "object/Kt_RunError.h"
#include "script/Kt_Script.h"

namespace {

// Lists the names of its variables.
class TestHost : public kt::test::TestHost, public Kt_ExprNameSource {
 public:
  void AddNames(Names which, std::vector<Kt_WString>& names) const override {
    if (which == Names::kCalls) return names.push_back(u"count");
    for (kt_long at = 0; at < variables.GetCount(); ++at) {
      names.push_back(variables.GetItemName(at));
    }
  }
};

// "code/report text" and what of the expression is underlined, in <>.
std::string Show(const Kt_RunError& error) {
  std::string out = kt::test::ShowCode(error.code) + "/" + kt::test::ShowCode(error.report) + " " +
                    error.text.ToUtf8();
  if (error.expression.IsEmpty()) return out;
  const Kt_WString part = error.expression.Mid(error.column - 1, error.length);
  return out +
         (error.column > 0 ? " <" + part.ToUtf8() + ">@" + std::to_string(error.column) : " <>");
}

TEST(RunError, Expressions) {
  const struct {
    const char16_t* expression;
    const char* error;
  } kRows[] = {
      // Faults without a report.
      {u"'abc'.nofn", "-1/0 'abc' is a text and has no member 'nofn' <nofn>@7"},
      {u"1 + (2).nofn", "-1/0 2 is a number and has no member 'nofn' <nofn>@9"},
      {u"count().nofn", "-1/0 the value is a list and has no member 'nofn' <nofn>@9"},
      {u"thing[5].nofn", "-1/0 null has no member 'nofn' <nofn>@10"},
      {u"code(-7)", "-7/0 'code' failed with code -7 <code>@1"},
      {u"1 + code(1000) * 2", "1000/0 'code' failed with code 1000 <code>@5"},
      {u"code(9999)", "9999/0 'code' stopped the run <code>@1"},
      // Faults with one: the same text, or more.
      {u"2 * nofn", "83B03110/83B03110 unknown variable 'nofn' <nofn>@5"},
      {u"1 + amuont",
       "83B03110/83B03110 unknown variable 'amuont' (did you mean 'amount'?) <amuont>@5"},
      {u"amount + Amuont",
       "83B03110/83B03110 unknown variable 'Amuont' (did you mean 'amount'?) <Amuont>@10"},
      {u"lenght('a')",
       "83B03130/83B03130 unknown function: lenght host (did you mean 'length'?) <lenght>@1"},
      {u"'abc'.nofn(1)", "83B03130/83B03130 'abc' is a text and has no member 'nofn' <nofn>@7"},
      {u"cuont(1)",
       "83B03130/83B03130 unknown function: cuont host (did you mean 'count'?) <cuont>@1"},
      {u"thing.size + thing.nofn", "-2/83B03130 no member 'nofn' in thing <nofn>@20"},
      {u"thing.nofn(1) + thing.nofn", "-2/83B03130 no member 'nofn' in thing <nofn>@7"},
      {u"2 * -3", "-1/83B03210 Invalid Operator -: 2 * -3 <->@5"},
      {u"log(amount)[1]", "83B03210/83B03210 log: [] <log>@1"},
  };
  TestHost host;
  host.variables.AddVariable(u"amount", kt_long{3});
  for (const int log_mode : {1, 0}) {  // nobody has to listen
    host.log_mode = log_mode;
    for (const auto& row : kRows) {
      Kt_Variant value;
      const kt_long code = Kt_Expr(row.expression).ExecExpr(&host, value);
      EXPECT_EQ(Show(Kt_RunError::Last()), row.error) << Utf8(row.expression);
      EXPECT_EQ(Kt_RunError::Last().code, code) << Utf8(row.expression);
      EXPECT_EQ(Kt_RunError::Last().line, 0);
    }
  }
}

// The code and the reports of what fails without one.
TEST(RunError, ChangesNoCodeAndNoReport) {
  TestHost host;
  Kt_Variant value;
  EXPECT_EQ(Kt_Expr(u"'abc'.nofn").ExecExpr(&host, value), -1);
  EXPECT_EQ(host.TakeReports(), "");
  const Kt_RunError before = Kt_RunError::Last();
  EXPECT_EQ(Kt_Expr(u"1 + 2").ExecExpr(&host, value), 0);
  EXPECT_EQ(Kt_RunError::Last().serial, before.serial);
  EXPECT_EQ(Kt_RunError::Last().text, before.text);
  std::thread([] { EXPECT_EQ(Kt_RunError::Last().code, 0); }).join();
  Kt_RunError::Forget();
  EXPECT_EQ(Kt_RunError::Last().code, 0);
}

// "file:line function" for each call, then Show.
std::string RunMain(std::u16string_view body, TestHost& host, bool is_compiled = true) {
  Kt_Script script(&host);
  script.SetCompiled(is_compiled);
  EXPECT_EQ(script.Parse(u"a.kts", Kt_WString(body), nullptr, nullptr), 0);
  Kt_Variant result;
  Kt_RunError::Forget();
  const kt_long code = script.ExecFunc(u"main", nullptr, result);
  const Kt_RunError& error = Kt_RunError::Last();
  EXPECT_TRUE(code == 0 || error.code == code) << Utf8(body);
  std::string calls;
  for (const Kt_ScriptPosition& call : error.calls) {
    calls += Utf8(call.source_name) + ":" + std::to_string(call.line + 1) + " " +
             Utf8(call.function) + ", ";
  }
  return calls + Show(error);
}

TEST(RunError, Scripts) {
  const struct {
    const char16_t* text;
    const char* error;
  } kRows[] = {
      {u"function main() {\n  var amount = 2;\n  amount = 1 + amuont;\n}",
       "a.kts:3 main, 83B03110/83B03110 unknown variable 'amuont' (did you mean 'amount'?) "
       "<amuont>@5"},
      {u"function main() {\n  price(2);\n}\nfunction price(n) {\n  n = n * nofn;\n}",
       "a.kts:5 price, a.kts:2 main, 83B03110/83B03110 unknown variable 'nofn' <nofn>@5"},
      {u"function main() {\n  prize(2);\n}\nfunction price(n) { }",
       "a.kts:2 main, 83B03130/83B03130 unknown function: prize (did you mean 'price'?) <prize>@1"},
      // A silent code of the host, in compiled code and in the evaluator.
      {u"function main() {\n  var a = 1 + code(-7);\n}",
       "a.kts:2 main, -7/0 'code' failed with code -7 <code>@5"},
      {u"function main() {\n  var a = thing.size + code(-7);\n}",
       "a.kts:2 main, -7/0 'code' failed with code -7 <code>@14"},
      {u"function main() {\n  thing.nofn = 3;\n}",
       "a.kts:2 main, -2/83B03130 'thing.nofn' cannot be assigned to <>"},
      {u"function main() {\n  1 = 3;\n}", "a.kts:2 main, -1/83B03120 '1' cannot be assigned to <>"},
      {u"function main() {\n  nofn += 3;\n}",
       "a.kts:2 main, 1000/83B03110 unknown variable 'nofn'"},
      {u"function main() {\n  if (log(1) && nofn) { }\n}",
       "a.kts:2 main, 83B03110/83B03110 unknown variable 'nofn' <nofn>@11"},
      // A return goes on after a fault; what failed is told all the same.
      {u"function main() {\n  return 'abc'.nofn;\n}",
       "a.kts:2 main, -1/0 'abc' is a text and has no member 'nofn' <nofn>@7"},
  };
  TestHost host;
  for (const auto& row : kRows) {
    EXPECT_EQ(RunMain(row.text, host), row.error) << Utf8(row.text);
    EXPECT_EQ(RunMain(row.text, host, false), row.error) << "not compiled: " << Utf8(row.text);
  }
}

TEST(RunError, FunctionsThatAreNotThere) {
  Kt_Script script;
  script.Parse(u"a.kts", u"function main() { }", nullptr, nullptr);
  Kt_Variant result;
  EXPECT_EQ(script.ExecFunc(u"mian", nullptr, result), -1);
  EXPECT_EQ(Show(Kt_RunError::Last()), "-1/0 there is no function 'mian' (did you mean 'main'?)");
  EXPECT_EQ(script.ExecFunc(u"main", 2, nullptr, result), -1);
  EXPECT_EQ(Show(Kt_RunError::Last()), "-1/0 main needs 2 arguments or more; 0 came");
}

// While it is reported, the error is there already, with its place when the statement tells it.
TEST(RunError, InsideOfTheReport) {
  TestHost host;
  std::string seen;
  host.on_report = [&] { seen += Show(Kt_RunError::Last()) + ";"; };
  EXPECT_NE(RunMain(u"function main() { var a = 1 + nofn; }", host), "");
  EXPECT_EQ(seen, "83B03110/83B03110 unknown variable 'nofn' <nofn>@5;");
}

// A failure that the host swallows is not taken for the reason of a later one.
TEST(RunError, BelongsToTheCallThatFailed) {
  TestHost host;
  Kt_Script script(&host);
  script.Parse(u"a.kts",
               u"function inner() { var a = 'x'.lost; }\n"
               u"function main() { hook(); }",
               nullptr, nullptr);
  Kt_Variant result;
  host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant& value) {
    EXPECT_EQ(script.ExecFunc(u"inner", nullptr, value), -1);
    return kt_long{-5};
  };
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), -5);
  EXPECT_EQ(Show(Kt_RunError::Last()), "-5/0 'hook' failed with code -5 <hook>@1");
  host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant&) {
    return kt::NoteFailure(-5, u"the drawer is locked", u"drawer");
  };
  EXPECT_EQ(script.ExecFunc(u"main", nullptr, result), -5);
  EXPECT_EQ(Kt_RunError::Last().text, u"the drawer is locked");
  // The same code without a word, after one that said why.
  host.on_hook = [&](Kt_ExprObject*, const Kt_VariantList&, Kt_Variant&) { return kt_long{-5}; };
  EXPECT_EQ(Kt_Expr(u"hook()").ExecExpr(&host, result), -5);
  EXPECT_EQ(Kt_RunError::Last().text, u"'hook' failed with code -5");
}

TEST(RunError, LongChainsOfCalls) {
  TestHost host;
  const std::string error = RunMain(
      u"function main() { f(30); }\n"
      u"function f(n) {\n  if (n == 0) n = nofn;\n  f(n - 1);\n}",
      host);
  const Kt_RunError& last = Kt_RunError::Last();
  EXPECT_EQ(last.calls.size(), Kt_RunError::kInnerCalls + Kt_RunError::kOuterCalls);
  EXPECT_EQ(last.calls_left_out, 32 - last.calls.size());
  EXPECT_EQ(last.calls.front().line, 2);
  EXPECT_EQ(last.calls[last.calls.size() - 2].function, u"f");
  EXPECT_EQ(last.calls.back().function, u"main");
}

TEST(RunError, NearestName) {
  const Kt_WString known[] = {u"price", u"quantity", u"Region", u"id", u"x"};
  const struct {
    const char16_t* wanted;
    const char16_t* nearest;  // empty: none
  } kRows[] = {
      {u"prize", u"price"},  {u"PRCE", u"price"},  {u"quantitty", u"quantity"},
      {u"quant", u""},       {u"rpice", u"price"}, {u"rgion", u"Region"},
      {u"ide", u"id"},       {u"y", u""},          {u"", u""},
      {u"regionprice", u""}, {u"priceprice", u""},
  };
  for (const auto& row : kRows) {
    const Kt_WString* const nearest = kt_nearestnameW(row.wanted, known);
    EXPECT_EQ(nearest != nullptr ? *nearest : Kt_WString(), row.nearest) << Utf8(row.wanted);
  }
}

}  // namespace
