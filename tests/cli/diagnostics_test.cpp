// SPDX-License-Identifier: MIT
//
// What failed and where, as text and as the objects of --json.
#include <nlohmann/json.hpp>

#include "cli/repl/Kt_Repl.h"
#include "cli_test_util.h"

namespace {

using Json = nlohmann::json;

constexpr const char* kSales = "date,price,qty\n2024-01-05,12.5,3\n2024-01-06,3.25,7\n";

class CliDiagnostics : public testing::Test {
 protected:
  Outcome Eval(const std::string& expression, std::vector<std::string> options = {}) {
    std::vector<std::string> arguments = {"eval", expression, "--data",
                                          folder_.Write("sales.csv", kSales)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    Outcome outcome = Kt(arguments);
    outcome.messages = folder_.Shorten(outcome.messages);
    return outcome;
  }

  const TestFolder folder_;
};

TEST_F(CliDiagnostics, CausesOfFailedExpressions) {
  const struct {
    const char* expression;
    const char* first_line;
    const char* caret;
  } kRows[] = {
      {"sales[0].prize",
       "expression:1:10: error: no column or member 'prize' in sales (did you mean 'price'?)",
       "         ^~~~~"},
      {"sales.prize * 2",
       "expression:1:7: error: no column or member 'prize' in sales (did you mean 'price'?)",
       "      ^~~~~"},
      {"1 + sales[0].price.totl", "expression:1:20: error: no member 'totl' in sales.price",
       "                   ^~~~"},
      {"sales[99].price", "expression:1:11: error: null has no member 'price'", "          ^~~~~"},
      {"sales.Srt('qty')", "expression:1:7: error: no method 'Srt' in sales (did you mean 'Sort'?)",
       "      ^~~"},
      {"sales[0].show()", "expression:1:10: error: no method 'show' in sales", "         ^~~~"},
      {"sales.SetColumn(1)",
       "expression:1:7: error: SetColumn() of dataset 'sales': too few arguments",
       "      ^~~~~~~~~"},
      {"'abc'.nofn", "expression:1:7: error: 'abc' is a text and has no member 'nofn'",
       "      ^~~~"},
      {"sale.price", "expression:1:1: error: unknown variable 'sale' (did you mean 'sales'?)",
       "^~~~"},
      {"prnt(1)", "expression:1:1: error: unknown function: prnt (did you mean 'print'?)", "^~~~"},
      {"sales.Sum('prize * 2')",
       "expression:1:12: error: unknown variable 'prize' (did you mean 'price'?) (row 0)",
       "           ^~~~~"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Eval(row.expression);
    EXPECT_EQ(outcome.messages,
              std::string(row.first_line) + "\n" + row.expression + "\n" + row.caret + "\n");
    EXPECT_EQ(outcome.status, 1) << row.expression;
    EXPECT_EQ(outcome.out, "") << row.expression;
  }
}

TEST_F(CliDiagnostics, CausesOfFailedRuns) {
  const struct {
    const char* body;
    const char* messages;
  } kRows[] = {
      {"var a = 'abc'.nofn;",
       "a.kts:2:17: error: 'abc' is a text and has no member 'nofn'\n"
       "  var a = 'abc'.nofn;\n                ^~~~\n"},
      // The language goes on after a failed return; kt says what is lost.
      {"return 'abc'.nofn;",
       "a.kts:2:16: error: 'abc' is a text and has no member 'nofn'\n"
       "  return 'abc'.nofn;\n               ^~~~\n"},
      {"return priec(1);",
       "a.kts:2:10: error: unknown function: priec (did you mean 'price'?)\n"
       "  return priec(1);\n         ^~~~~\n"},
      // Not the one in the text before it.
      {"print('lost()'); lost();",
       "a.kts:2:20: error: unknown function: lost\n"
       "  print('lost()'); lost();\n                   ^~~~\n"},
      // A statement of several lines: the line of the name, and that of the call.
      {"price(1 +\n   lots);", "a.kts:3:4: error: unknown variable 'lots'\n   lots);\n   ^~~~\n"},
      {"price(2);",
       "a.kts:5:11: error: 'x' is a text and has no member 'lost'\n"
       "  n = 'x'.lost;\n          ^~~~\n"
       "  in function price (a.kts:5)\n  in function main (a.kts:2)\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = RunText("function main() {\n  " + std::string(row.body) +
                                    "\n}\nfunction price(n) {\n  n = 'x'.lost;\n}\n");
    EXPECT_EQ(outcome.messages, row.messages) << row.body;
    EXPECT_EQ(outcome.status, 1) << row.body;
  }
  EXPECT_EQ(RunText("function f() { }", {}, {"mian"}).messages,
            "a.kts: error: there is no function 'mian'\n");
}

TEST_F(CliDiagnostics, FilterPointsAtTheMember) {
  const std::string sales = folder_.Write("sales.csv", kSales);
  EXPECT_EQ(Kt({"show", sales, "--filter", "qty > 'x'.lost"}).messages,
            "expression:1:11: error: 'x' is a text and has no member 'lost'\n"
            "qty > 'x'.lost\n          ^~~~\n");
}

// "severity code file:line:column+length [name] calls" of each object, which all have the same
// members.
std::string Shown(const std::string& lines) {
  std::string out;
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object() || json.size() != 13) return "no object: " + line;
    out += json["severity"].get<std::string>() + " " + json["code"].dump() + " " +
           json["file"].get<std::string>() + ":" + json["line"].dump() + ":" +
           json["column"].dump() + "+" + json["length"].dump() + " [" +
           json["name"].get<std::string>() + "] " + json["text"].get<std::string>();
    for (const Json& call : json["calls"]) {
      out += " < " + call["function"].get<std::string>() + " " + call["file"].get<std::string>() +
             ":" + call["line"].dump();
    }
    out += "\n";
  }
  return out;
}

TEST_F(CliDiagnostics, ObjectsOfEveryCommand) {
  const std::string sales = folder_.Write("sales.csv", kSales);
  const std::string faulty = folder_.Write("faulty.kts", "function main() {\n  x = (1 +;\n}\n");
  const std::string warned = folder_.Write("warned.kts", "function main() {\n  for (;;) { }\n}\n");
  const std::string failing =
      folder_.Write("failing.kts",
                    "function main() {\n  trace(1);\n  inner(1);\n}\n"
                    "function inner(n) {\n  n = n + /* not known */ rebate;\n}\n");
  const struct {
    std::vector<std::string> arguments;
    const char* out;  // "-": not looked at
    const char* messages;
    int status;
  } kRows[] = {
      {{"check", "--json", faulty},
       "error -5968 faulty.kts:2:11+1 [no-operand] Invalid Expression: expression ends too early "
       "in function "
       "main\n",
       "",
       1},
      {{"check", "--json", warned},
       "warning 0 warned.kts:2:8+2 [for-ever] an empty condition is false, so this body never "
       "runs\n",
       "",
       0},
      {{"check", "--json", folder_.Path("none.kts")},
       "error 0 none.kts:0:0+0 [] cannot read: No such file or directory\n",
       "",
       2},
      {{"run", "--json", "--trace", failing},
       "",
       "note 0 failing.kts:2:0+0 [] trace: 1\n"
       "error -2085605104 failing.kts:6:27+6 [] unknown variable 'rebate' < inner failing.kts:6 < "
       "main failing.kts:3\n",
       1},
      {{"run", "--json", "--nonsense", failing},
       "",
       "error 0 :0:0+0 [] kt run: there is no option '--nonsense'\n",
       2},
      {{"eval", "--json", "6 * 7"}, "-", "", 0},
      {{"eval", "--json", "1 +"},
       "",
       "error 0 expression:1:4+1 [no-operand] expression ends too early\n",
       1},
      {{"eval", "--json", "sales[0].prize", "--data", sales},
       "",
       "error -1 expression:1:10+5 [] no column or member 'prize' in sales (did you mean "
       "'price'?)\n",
       1},
      {{"eval", "--json", "1", "--row", "1"},
       "",
       "error 0 :0:0+0 [] kt eval: --row needs --data\n",
       2},
      {{"show", "--json", sales, "--sort", "nofn"},
       "",
       "error 0 :0:0+0 [] kt show: --sort: there is no column 'nofn'; columns: date, price, qty\n",
       2},
      {{"functions", "--json", "lenght"},
       "",
       "error 0 :0:0+0 [] kt functions: there is no function 'lenght' (did you mean 'length'?)\n",
       2},
      {{"dump", "--json", "--expr", "1 +"},
       "",
       "error 0 expression:1:4+1 [no-operand] expression ends too early\n",
       1},
  };
  for (const auto& row : kRows) {
    Outcome outcome = Kt(row.arguments);
    outcome.out = folder_.Shorten(outcome.out);
    outcome.messages = folder_.Shorten(outcome.messages);
    const std::string& last = row.arguments.back();
    EXPECT_EQ(std::string(row.out) == "-" ? "-" : Shown(outcome.out), row.out) << last;
    EXPECT_EQ(Shown(outcome.messages), row.messages) << last;
    EXPECT_EQ(outcome.status, row.status) << last;
  }
}

// One message of every origin, with names that look like parts of a message.
TEST_F(CliDiagnostics, ObjectsOfEveryOrigin) {
  const std::string odd = "a: error: [x]:7: wrote b";
  const std::string file = folder_.Write(odd + ".kts", "function main() { return a.b; }\n");
  const std::string data = folder_.Write(odd + ".csv", "n:long\n1\nx\n");
  const std::string traced = folder_.Write("t.kts",
                                           "function main() { trace('a: error: b'); "
                                           "loadData('d', '" +
                                               data + "'); }\n");
  const std::string logical = folder_.Write(
      "l.xml",
      "<dataset><columns><column id='a' type='long'/><column id='c' type='long' logical='1' "
      "map='1 + lost'/></columns><rows><row><cells><cell>1</cell></cells></row></rows></dataset>");
  std::string many = "function main() {\n";
  for (int line = 0; line < 101; ++line) many += "  x = (1 +;\n";
  const std::string faults = folder_.Write("many.kts", many + "}\n");
  const struct {
    std::vector<std::string> arguments;
    std::string messages;  // the last ones
  } kRows[] = {
      {{"run", "--json", "--include-dir", odd, file},
       "error 0 :0:0+0 [] kt run: --include-dir: there is no folder '" + odd + "'\n"},
      {{"eval", "--json", "--allow-dir", odd, "1"},
       "error 0 :0:0+0 [] kt eval: --allow-dir: there is no folder '" + odd + "'\n"},
      {{"eval", "--json", "--data", odd, "1"},
       "error 0 :0:0+0 [] kt eval: --data: '" + odd + "' needs a name in front: NAME=" + odd +
           "\n"},
      {{"dump", "--json", "--code", file, odd},
       "error 0 :0:0+0 [] kt dump: no function " + odd + "\n"},
      {{"run", "--json", file},
       "error -2085605104 " + odd + ".kts:1:26+1 [] unknown variable 'a' < main " + odd +
           ".kts:1\n"},
      {{"run", "--json", "--trace", traced},
       "note 0 t.kts:1:0+0 [] trace: a: error: b\n"
       "error -2085568511 t.kts:1:0+0 [] cannot load: " +
           odd + ".csv: 1 cell not converted of 2 records; nothing is loaded\n" + odd +
           ".csv:3: cell not converted: column 'n': 'x'\n" + odd +
           ".csv: the option rejects=FILE writes such rows to a file and loads the rest; "
           "allow-rejects=1 loads what it can < main t.kts:1\n"},
      {{"run", "--json", "--steps", "1", file},
       "error -2085604800 " + odd + ".kts:1:0+0 [] step limit reached in main < main " + odd +
           ".kts:1\n"},
      {{"check", "--json", faults}, "note 0 many.kts:0:0+0 [] 1 more are not shown\n"},
      {{"eval", "--json", "1 & 2"},
       "warning 0 expression:1:3+1 [] the text from here on is not read\n"},
      {{"eval", "--json", "1", "--data", "n=" + data, "--row", "0"},
       "error 0 " + odd +
           ".csv:0:0+0 [] 1 cell not converted of 2 records; nothing is loaded\n"
           "warning 0 " +
           odd +
           ".csv:3:0+0 [] cell not converted: column 'n': 'x'\n"
           "note 0 " +
           odd +
           ".csv:0:0+0 [] --rejects FILE writes such rows to a file and loads the "
           "rest; --allow-rejects 1 loads what it can\n"},
      {{"eval", "--json", "n.x", "--data", "n=" + data, "--allow-rejects", "1", "--row", "7"},
       "note 0 " + odd +
           ".csv:0:0+0 [] 2 rows, 1 cell not converted\n"
           "warning 0 " +
           odd +
           ".csv:3:0+0 [] cell not converted: column 'n': 'x'\n"
           "error 0 expression:0:0+0 [] there is no row 7; 'n' has 2, counted from 0\n"},
      {{"eval", "--json", "1", "--data", "n=" + data, "--allow-rejects", "1", "--save",
        "n=" + folder_.Path("none/" + odd + ".csv")},
       "error 0 none/" + odd + ".csv:0:0+0 [] cannot save 'n': No such file or directory\n"},
      {{"show", "--json", data, "--allow-rejects", "1", "--save", odd},
       "error 0 :0:0+0 [] kt show: --save: the ending of '" + odd + "' names no format\n"},
      {{"show", "--json", data, "--allow-rejects", "1", "--save", folder_.Path("none/x.csv")},
       "error 0 :0:0+0 [] kt show: cannot write 'none/x.csv': No such file or directory\n"},
      {{"show", "--json", data, "--allow-rejects", "1", "--save", folder_.Path("x.csv")},
       "note 0 :0:0+0 [] kt show: wrote 2 rows to x.csv\n"},
      {{"show", "--json", logical},
       "error -2085604848 :0:0+0 [] kt show: column 'c' of l.xml: its map uses lost, which a map "
       "that comes with data may not\n"},
      {{"show", "--json", data, "--allow-rejects", "1", "--filter", "(n == 1"},
       "error 0 expression:1:8+1 [unclosed-bracket] expression ends too early\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Kt(row.arguments);
    const std::string shown =
        folder_.Shorten(Shown(row.arguments[0] == "check" ? outcome.out : outcome.messages));
    EXPECT_TRUE(shown.ends_with(row.messages)) << shown << "in place of\n" << row.messages;
  }
}

TEST_F(CliDiagnostics, ObjectsOfThePrompt) {
  const std::string data = folder_.Write("d.csv", "n:long\n1\nx\n");
  const struct {
    std::string input;
    const char* messages;
  } kRows[] = {
      {":nope", "error 0 input:1:0+0 [] there is no command ':nope' (:help lists them)\n"},
      {"\nvar a = lost;",
       "error -2085605104 input:2:0+0 [] unknown variable 'lost' < input input:2\n"},
      {"\n#include 'x'", "error 0 input:2:1+1 [] at the prompt, ':load FILE' takes files in\n"},
      {":load " + folder_.Path(""),
       "error 0 :0:0+0 [] cannot read: not a regular file\n"
       "error 0 input:1:0+0 [] loading '' failed\n"},
      {":data d=" + data,
       "error 0 input:1:0+0 [] d.csv: 1 cell not converted of 2 records; nothing is loaded\n"
       "warning 0 d.csv:3:0+0 [] cell not converted: column 'n': 'x'\n"
       "note 0 d.csv:0:0+0 [] --rejects FILE writes such rows to a file and loads the rest; "
       "--allow-rejects 1 loads what it can\n"},
  };
  for (const auto& row : kRows) {
    std::istringstream in(row.input);
    std::ostringstream out;
    std::ostringstream messages;
    Kt_CliPipe pipe(in);
    Kt_CliRepl({out, messages, true}, {}).Run(pipe);
    EXPECT_EQ(folder_.Shorten(Shown(messages.str())), row.messages) << row.input;
  }
}

TEST_F(CliDiagnostics, ColoursWhereTheyAreWanted) {
  const std::string kPlain =
      "expression:1:4: error: expression ends too early [no-operand]\n1 +\n   ^\n"
      "  hint: a value is missing after '+'\n";
  const std::string kColored =
      "\x1b[1mexpression:1:4\x1b[0m: \x1b[1;31merror:\x1b[0m expression ends too early "
      "[no-operand]\n1 +\n\x1b[1;32m   ^\x1b[0m\n  hint: a value is missing after '+'\n";
  const struct {
    std::vector<std::string> arguments;
    std::string messages;
  } kRows[] = {
      {{"eval", "1 +"}, kPlain},  // no terminal
      {{"eval", "--color", "auto", "1 +"}, kPlain},
      {{"eval", "--color=never", "1 +"}, kPlain},
      {{"eval", "--color=always", "1 +"}, kColored},
      {{"eval", "1 +", "--color", "always"}, kColored},
      {{"run", "--color", "always", "no.kts"},
       "\x1b[1mno.kts\x1b[0m: \x1b[1;31merror:\x1b[0m cannot read: No such file or directory\n"},
      {{"run", "no.kts", "main", "--color", "always"},
       "no.kts: error: cannot read: No such file or directory\n"},
      // What others bring in still cannot drive the terminal.
      {{"eval", "--color=always", "a + '\x1b[31m'"},
       "\x1b[1mexpression:1:1\x1b[0m: \x1b[1;31merror:\x1b[0m unknown variable 'a'\n"
       "a + '␛[31m'\n\x1b[1;32m^\x1b[0m\n"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Kt(row.arguments).messages, row.messages) << testing::PrintToString(row.arguments);
  }
  EXPECT_EQ(Kt({"eval", "--color", "red", "1"}).status, 2);
  const Outcome json = Kt({"eval", "--color=always", "--json", "1 +"});
  EXPECT_EQ(json.messages.find('\x1b'), std::string::npos) << json.messages;
}

TEST_F(CliDiagnostics, FunctionsAsObjects) {
  std::istringstream lines(Kt({"functions", "--json"}).out);
  int count = 0;
  int statements = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    const Json json = Json::parse(line, nullptr, false);
    ASSERT_TRUE(json.is_object()) << line;
    EXPECT_EQ(json.size(), 7u) << line;
    EXPECT_FALSE(json["name"].get<std::string>().empty()) << line;
    if (json["kind"] != "statement" || json["examples"].empty()) continue;
    ++statements;
    const std::string example = json["examples"][0]["example"];
    const bool is_whole = example.find("function main") != example.npos;
    EXPECT_EQ(RunText(is_whole ? example : "function main() {\n" + example + "\n}\n").out,
              json["examples"][0]["result"].get<std::string>() + "\n")
        << line;
  }
  EXPECT_GT(count, 250);
  EXPECT_EQ(statements, 13);
  const Json length = Json::parse(Kt({"functions", "--json", "LENGTH"}).out, nullptr, false);
  EXPECT_EQ(length["kind"], "function");
  EXPECT_EQ(length["forms"].size(), 1u);
  EXPECT_EQ(length["examples"].size(), 3u);
}

// A NUL ends what is read; what stands after it is not lost in silence.
TEST_F(CliDiagnostics, TextAfterANul) {
  const struct {
    std::string text;
    const char* messages;  // up to the source line
  } kRows[] = {
      {std::string("function main() { }\n\0function f() { }\n", 38),
       "a.kts:2:1: error: Text After a NUL Is Not Read [text-after-nul]\n"},
      {std::string("function main() {\n  print('a\0b');\n}\n", 36), "a.kts:2:11: error: "},
      {std::string("function main() { }\n\0 \n\0", 24), ""},
      {std::string("\0", 1), ""},
  };
  for (const auto& row : kRows) {
    const std::string file = folder_.Write("a.kts", row.text);
    for (const char* const command : {"check", "run"}) {
      const Outcome outcome = Kt({command, file});
      const std::string messages = folder_.Shorten(outcome.messages);
      const bool is_clean = std::string(row.messages).empty();
      EXPECT_NE(messages.find(row.messages), std::string::npos) << command << messages;
      EXPECT_EQ(messages.find("Text After a NUL") == std::string::npos, is_clean) << messages;
      EXPECT_TRUE(is_clean || outcome.status == 1) << command;
    }
  }
}

}  // namespace
