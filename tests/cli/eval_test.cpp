// SPDX-License-Identifier: MIT
#include <nlohmann/json.hpp>

#include "cli_test_util.h"

namespace {

TEST(CliEval, Values) {
  const struct {
    std::vector<std::string> arguments;
    const char* out;
  } kRows[] = {
      {{"6 * 7"}, "42\n"},
      {{" 'é' + 1 "}, "é1\n"},
      {{""}, "\n"},
      {{"null"}, "\n"},
      {{"[1, 'a', 2 + 3]"}, "[1, 'a', 5]\n"},
      {{"--json", "[1, 'a', null]"}, "[1,\"a\",null]\n"},
      {{"--json", "1.5"}, "1.5\n"},
      {{"-5 + 2"}, "-3\n"},
      {{"-5", "--json"}, "-5\n"},
      {{"--", "-5 + 2"}, "-3\n"},
      {{"length('abc')"}, "3\n"},
  };
  for (const auto& row : kRows) {
    std::vector<std::string> arguments = {"eval"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome outcome = Kt(arguments);
    EXPECT_EQ(outcome.out, row.out) << row.arguments.back();
    EXPECT_EQ(outcome.messages, "") << row.arguments.back();
    EXPECT_EQ(outcome.status, 0) << row.arguments.back();
  }
}

TEST(CliEval, FaultsPointAtTheirPlace) {
  const struct {
    const char* expression;
    const char* messages;
  } kRows[] = {
      {"1 + * 2",
       "expression:1:5: error: operand expected before this operator [no-operand]\n1 + * 2\n    "
       "^\n"},
      {"(1", "expression:1:3: error: expression ends too early [unclosed-bracket]\n(1\n  ^\n"},
      {"1 + 'abc",
       "expression:1:5: error: string without closing ' [unclosed-string]\n1 + 'abc\n    ^\n"},
      {"'abc", "expression:1:1: error: string without closing ' [unclosed-string]\n'abc\n^\n"},
      {"2 * -3", "expression:1:5: error: Invalid Operator - [bad-sign]\n2 * -3\n    ^\n"},
      {"missing + 1", "expression:1:1: error: unknown variable 'missing'\nmissing + 1\n^~~~~~~\n"},
      {"no_such_function(1)", "expression:1:1: error: unknown function: no_such_function"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Kt({"eval", row.expression});
    EXPECT_TRUE(outcome.messages.starts_with(row.messages)) << row.expression << "\n"
                                                            << outcome.messages;
    EXPECT_EQ(outcome.out, "") << row.expression;
    EXPECT_EQ(outcome.status, 1) << row.expression;
  }
}

TEST(CliEval, WarnsWhereAnExpressionIsReadOtherwiseThanItLooks) {
  const struct {
    const char* expression;
    const char* out;
    const char* message;
  } kRows[] = {
      {"5 & 2", "5\n", "expression:1:3: warning: the text from here on is not read"},
      {"0 && 1 || 1", "0\n", "[mixed-and-or]"},
      {"100 - 2 * 3 * 4 - 5", "81\n", "[marker-grouping]"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Kt({"eval", row.expression});
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_NE(outcome.messages.find(row.message), std::string::npos) << outcome.messages;
    EXPECT_EQ(outcome.status, 0);
  }
}

TEST(CliDump, ShowsOperationsAndTrees) {
  Outcome outcome = Kt({"dump", "--expr", "1 * 2 + 3"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.out.find("reduce"), std::string::npos) << outcome.out;
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 7);
  EXPECT_EQ(Kt({"dump", "--expr", "1 +"}).status, 1);

  const TestFolder folder;
  const std::string script =
      folder.Write("a.kts", "function main(a) {\n  if (a) return 1;\n  a += 2;\n}\n");
  outcome = Kt({"dump", "--code", script, "main"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.out.find("function main"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("Return"), std::string::npos) << outcome.out;
  EXPECT_NE(Kt({"dump", "--code", script, "nosuch"}).status, 0);
  outcome = Kt({"dump", script});
  EXPECT_EQ(outcome.status, 0);
  for (const char* const part : {"main", "if", "return", "name +="}) {
    EXPECT_NE(outcome.out.find(part), std::string::npos) << part << "\n" << outcome.out;
  }
}

// The functions of kt itself; those of the language have a test of their own.
TEST(CliFunctions, ExamplesOfKtAreTrue) {
  int count = 0;
  for (const char* const name :
       {"args", "dataset", "loadData", "print", "readText", "saveData", "view", "writeText"}) {
    const nlohmann::json help = nlohmann::json::parse(Kt({"functions", "--json", name}).out);
    EXPECT_NE(help["does"], "") << name;
    for (const nlohmann::json& one : help["examples"]) {
      const TestFolder folder;
      const WorkingFolder here(folder.Path(""));
      const std::string example = one["example"];
      const std::size_t last = example.rfind('\n') + 1;  // 0 for a single line
      std::string script = "function main() {\n" + example.substr(0, last);
      for (std::size_t at = 0; (at = script.find('\n', at + 1)) != std::string::npos;) {
        if (script[at - 1] != '{') script.insert(at++, ";");
      }
      folder.Write("a.kts", script + "print(" + example.substr(last) + ");\n}\n");
      const Outcome outcome = Kt({"run", "a.kts"});
      EXPECT_EQ(outcome.out, one["result"].get<std::string>() + "\n") << example << "\n"
                                                                      << outcome.messages;
      ++count;
    }
  }
  EXPECT_GE(count, 9);
}

TEST(CliFunctions, ListsAndExplains) {
  const Outcome all = Kt({"functions"});
  EXPECT_EQ(all.status, 0);
  for (const char* const name : {"lpad", "print", "readText", "toUpperCase", "eval"}) {
    EXPECT_NE(all.out.find(name), std::string::npos) << name;
  }
  for (const char* const name : {"LPAD", "lpad", "print", "Args"}) {
    const Outcome one = Kt({"functions", name});
    EXPECT_EQ(one.status, 0) << name;
    EXPECT_LT(one.out.size(), all.out.size());
    EXPECT_NE(one.out.find("\n    "), std::string::npos) << one.out;
  }
  // A word that names several things shows all of them.
  const Outcome count = Kt({"functions", "count"});
  EXPECT_EQ(count.status, 0);
  for (const char* const part : {"Count([nStart", "(method of datasets)", "(property of datasets)",
                                 "(keyword of row expressions)", "gives"}) {
    EXPECT_NE(count.out.find(part), std::string::npos) << part << "\n" << count.out;
  }
  EXPECT_NE(all.out.find("TotalCaseSum"), std::string::npos);
  EXPECT_NE(all.out.find("rangestart"), std::string::npos);
  const Outcome near = Kt({"functions", "loadDta"});
  EXPECT_EQ(near.status, 2);
  EXPECT_NE(near.messages.find("did you mean 'loadData'?"), std::string::npos) << near.messages;
  const Outcome none = Kt({"functions", "nonsense"});
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.messages, "");
}

}  // namespace
