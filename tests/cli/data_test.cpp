// SPDX-License-Identifier: MIT
//
// Datasets of runs, expressions and sessions: where they come from, what scripts do with them, and
// where they go.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

#include "cli/data/Kt_Progress.h"
#include "cli_test_util.h"

namespace {

constexpr const char* kOrders = "id,item,price,qty\n1,pen,1.5,10\n2,ink,20,1\n3,pad,4.25,2\n";

// kt with the files of a folder, which FOLDER/ stands for in the arguments.
class CliData : public testing::Test {
 protected:
  CliData() { folder_.Write("orders.csv", kOrders); }

  Outcome Run(std::vector<std::string> arguments) const {
    for (std::string& argument : arguments) {
      if (const std::size_t at = argument.find("FOLDER/"); at != std::string::npos) {
        argument.replace(at, 7, folder_.Path(""));
      }
    }
    Outcome outcome = Kt(std::move(arguments));
    outcome.messages = folder_.Shorten(outcome.messages);
    return outcome;
  }
  Outcome Eval(const std::string& expression, std::vector<std::string> options = {}) const {
    std::vector<std::string> arguments = {"eval", expression, "--data", "FOLDER/orders.csv"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return Run(std::move(arguments));
  }
  Outcome Script(const std::string& text, std::vector<std::string> options = {}) const {
    folder_.Write("a.kts", text);
    std::vector<std::string> arguments = {"run", "--data", "FOLDER/orders.csv"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.push_back("FOLDER/a.kts");
    return Run(std::move(arguments));
  }

  TestFolder folder_;
};

TEST_F(CliData, ExpressionsSeeDatasets) {
  const struct {
    const char* expression;
    std::vector<std::string> options;
    const char* out;
  } kRows[] = {
      {"orders.Sum('price * qty')", {}, "43.5\n"},
      {"ORDERS.rowcount", {}, "3\n"},
      {"curdata.Max('price')", {}, "20\n"},
      {"orders[1].item", {}, "ink\n"},
      {"price * qty", {"--row", "2"}, "8.5\n"},
      {"-qty", {"--row=0"}, "-10\n"},
      {"item + rowidx + orders.rowcount", {"--row", "1"}, "ink13\n"},
      {"o.rowcount + orders.rowcount", {"--data", "o=FOLDER/orders.csv"}, "6\n"},
      {"orders",
       {"--json"},
       "[{\"id\":1,\"item\":\"pen\",\"price\":1.5,\"qty\":10},"
       "{\"id\":2,\"item\":\"ink\",\"price\":20.0,\"qty\":1},"
       "{\"id\":3,\"item\":\"pad\",\"price\":4.25,\"qty\":2}]\n"},
      {"dataset('n')", {"--json"}, "[]\n"},
      {"orders[2].price.sum", {}, "4.25\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Eval(row.expression, row.options);
    EXPECT_EQ(outcome.out, row.out) << row.expression;
    EXPECT_EQ(outcome.messages, "") << row.expression;
    EXPECT_EQ(outcome.status, 0) << row.expression;
  }
  const Outcome table = Eval("orders");
  EXPECT_NE(table.out.find(" 4.25"), std::string::npos) << table.out;
  EXPECT_EQ(table.status, 0);
}

TEST_F(CliData, WrongCommandLines) {
  folder_.Write("bad.json", "[{\"a\": 1},\n{\"a\" 2}]");
  const struct {
    std::vector<std::string> arguments;
    const char* messages;
    int status;
  } kRows[] = {
      {{"eval", "1", "--data", "FOLDER/none.csv"},
       "none.csv: error: cannot read: No such file or directory\n",
       2},
      {{"eval", "1", "--data", "a-b.csv"},
       "kt eval: --data: 'a-b.csv' needs a name in front: NAME=a-b.csv\n",
       2},
      {{"eval", "1", "--data", "a="}, "kt eval: --data: no file behind 'a='\n", 2},
      {{"eval", "1", "--data", "a=f.doc"},
       "kt eval: the ending of 'f.doc' names no format (csv, tsv, xml, json, jsonl, ktb, xlsx); "
       "--format "
       "does\n",
       2},
      {{"eval", "1", "--data", "a=f.csv", "--data", "A=g.csv"},
       "kt eval: --data: there are two datasets 'A'\n",
       2},
      {{"eval", "1", "--data", "a=f.csv", "--format", "xls"},
       "kt eval: --format: expected csv, tsv, xml, json, jsonl, ktb, xlsx or md, not 'xls'\n",
       2},
      {{"eval", "1", "--save", "f.csv"},
       "kt eval: --save: expected NAME=FILE in place of 'f.csv'\n",
       2},
      {{"eval", "1", "--save", "o=f.csv"}, "kt eval: --save: there is no dataset 'o'\n", 2},
      {{"eval", "1", "--row", "1"}, "kt eval: --row needs --data\n", 2},
      {{"eval", "id", "--row", "3", "--data", "FOLDER/orders.csv"},
       "expression: error: there is no row 3; 'orders' has 3, counted from 0\n",
       1},
      {{"eval", "1", "--data", "FOLDER/bad.json"},
       "bad.json:2:6: error: expected ':' behind the name of a member\n",
       1},
      {{"eval", "1", "--data", "d=FOLDER/orders.csv", "--format", "json"},
       "orders.csv:1:1: error: expected a value\n",
       1},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Run(row.arguments);
    EXPECT_EQ(outcome.messages, row.messages) << row.arguments.back();
    EXPECT_EQ(outcome.status, row.status) << row.arguments.back();
    EXPECT_EQ(outcome.out, "") << row.arguments.back();
  }
}

TEST_F(CliData, LoadsSayWhatTheyLeftOut) {
  folder_.Write("t.csv", "a,b\n1,2\n3,4,5\n");
  const Outcome quiet =
      Run({"eval", "t.rowcount", "--data", "FOLDER/t.csv", "--allow-rejects", "1"});
  EXPECT_EQ(quiet.messages,
            "t.csv: 1 row, 1 rejected\n"
            "t.csv:3: row rejected: more cells than columns\n");
  EXPECT_EQ(quiet.out, "1\n");
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(Eval("1", {"--verbose"}).messages, "orders.csv: 3 rows\n");
}

TEST_F(CliData, ScriptsChangeAndSaveDatasets) {
  const Outcome outcome = Script(
      "function main() {\n"
      "  orders.SetColumn(0, 'qty', 11);\n"
      "  orders.DeleteRow(1);\n"
      "  var more = dataset('more', 'name, n:long');\n"
      "  more.AddRow();\n"
      "  more.SetColumn(0, 'name', 'x');\n"
      "  return dataset('MORE').rowcount + ' ' + orders.Sum('price * qty');\n"
      "}",
      {"--save", "orders=FOLDER/out.csv", "--save", "more=FOLDER/more.json"});
  EXPECT_EQ(outcome.messages, "");
  EXPECT_EQ(outcome.out, "1 25\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(folder_.Read("out.csv"), "id,item,price,qty\r\n1,pen,1.5,11\r\n3,pad,4.25,2\r\n");
  EXPECT_EQ(folder_.Read("more.json"), "[\n{\"name\":\"x\",\"n\":null}\n]\n");
}

TEST_F(CliData, NothingIsSavedAfterAFailure) {
  const struct {
    const char* script;
    int status;
  } kRows[] = {
      {"function main() { orders.DeleteAll(); return missing; }", 1},
      {"function main() { orders.DeleteAll(); orders.Nope(); }", 1},
      {"function main() { orders.DeleteAll();", 1},
      {"function other() { }", 1},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Script(row.script, {"--save", "orders=FOLDER/out.csv"});
    EXPECT_EQ(outcome.status, row.status) << row.script << outcome.messages;
    EXPECT_EQ(folder_.Read("out.csv"), "") << row.script;
  }
  // Known before the run; or only after it, because a script may make datasets.
  const Outcome before = Script("function main() { print('ran'); }", {"--save", "x=FOLDER/x.csv"});
  EXPECT_EQ(before.messages, "kt run: --save: there is no dataset 'x'\n");
  EXPECT_EQ(before.out, "");
  EXPECT_EQ(before.status, 2);
  const Outcome after =
      Script("function main() { print('ran'); dataset('y'); }", {"--save", "x=FOLDER/x.csv"});
  EXPECT_EQ(after.messages, "x.csv: error: cannot save 'x': there is no dataset 'x'\n");
  EXPECT_EQ(after.out, "ran\n");
  EXPECT_EQ(after.status, 1);
  const Outcome unwritable =
      Script("function main() { }", {"--save", "orders=FOLDER/no/folder.csv"});
  EXPECT_EQ(unwritable.status, 1);
  EXPECT_EQ(unwritable.messages,
            "no/folder.csv: error: cannot save 'orders': No such file or directory\n");
}

TEST_F(CliData, FailuresOfMembersAreToldOnceWithTheirPlace) {
  const struct {
    const char* body;
    const char* messages;
  } kRows[] = {
      {"orders.Nope(1);",
       "a.kts:2:10: error: no method 'Nope' in orders\n  orders.Nope(1);\n         ^~~~\n"},
      {"return orders.Nope(1);",
       "a.kts:2:17: error: no method 'Nope' in orders\n  return orders.Nope(1);\n                "
       "^~~~\n"},
      {"orders.DeleteRow();",
       "a.kts:2:10: error: DeleteRow() of dataset 'orders': too few arguments\n"
       "  orders.DeleteRow();\n         ^~~~~~~~~\n"},
      {"return orders.nope;",
       "a.kts:2:17: error: no column or member 'nope' in orders\n  return orders.nope;\n           "
       "     ^~~~\n"},
      {"return dataset('');", "a.kts:2: error: dataset() needs a name\n"},
      {"dataset('x', 'a:colour');",
       "a.kts:2: error: dataset('x'): 'colour' is no type of a column\n"},
      {"view('v', 'nothing');", "a.kts:2: error: view('v'): there is no dataset 'nothing'\n"},
      {"view('orders', 'orders');",
       "a.kts:2: error: view('orders'): there is a dataset of that name\n"},
      {"loadData('x', 'no.csv');",
       "a.kts:2: error: cannot load: no.csv: cannot read: No such file or directory\n"},
      {"loadData('x', 'no.csv', 'xls');", "a.kts:2: error: 'xls' is no format of data files\n"},
      {"saveData('x', 'no.csv');", "a.kts:2: error: saveData(): there is no dataset 'x'\n"},
      {"return orders.Sum('price * missing');",
       "a.kts:2:30: error: unknown variable 'missing' (row 0)\n"
       "  return orders.Sum('price * missing');\n                             ^~~~~~~\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Script(std::string("function main() {\n  ") + row.body + "\n}");
    EXPECT_EQ(outcome.messages, row.messages) << row.body;
    EXPECT_EQ(outcome.status, 1) << row.body;
  }
}

TEST_F(CliData, ScriptsLoadSaveAndView) {
  folder_.Write("a.kts",
                "function main(path) {\n"
                "  saveData('orders', path + 'copy.json');\n"
                "  print(loadData('copy', path + 'copy.json'), copy.Sum('qty'));\n"
                "  var dear = view('dear', 'orders', 'price > 2');\n"
                "  print(dear.rowcount, dear.Sum('price'), orders.rowcount);\n"
                "  orders.SetColumn(1, 'price', 30);\n"
                "  print(dear.Sum('price'));\n"
                "  view('dear', orders, 'qty = 10');\n"
                "  print(dear.rowcount);\n"
                "  saveData(dear, path + 'dear.csv');\n"
                "}");
  const std::string path = folder_.Path("");
  const Outcome run = Run({"run", "--data", "FOLDER/orders.csv", "FOLDER/a.kts", "main", path});
  EXPECT_EQ(run.messages, "");
  EXPECT_EQ(run.out, "3 13\n2 24.25 3\n34.25\n1\n");
  EXPECT_EQ(folder_.Read("dear.csv"), "id,item,price,qty\r\n1,pen,1.5,10\r\n");
}

TEST_F(CliData, Sessions) {
  folder_.Write("in", ":data\n:data o=" + folder_.Path("orders.csv") +
                          "\n:data\no.Sum('qty')\n"
                          "o.SetColumn(0, 'qty', 1);\n:save o=" +
                          folder_.Path("out.tsv") + "\n:save nothing=x.csv\n:data " +
                          folder_.Path("no.csv") + "\no.rowcount\n");
  const std::string command = "'" KT_PROGRAM "' repl < '" + folder_.Path("in") + "' > '" +
                              folder_.Path("out") + "' 2> '" + folder_.Path("messages") + "'";
  const int status = std::system(command.c_str());  // NOLINT(cert-env33-c)
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(folder_.Read("out"), "o: 3 rows, 4 columns\n13\n1\n3\n");
  EXPECT_EQ(folder_.Shorten(folder_.Read("messages")),
            "orders.csv: 3 rows\n"
            "x.csv: error: cannot save 'nothing': there is no dataset 'nothing'\n"
            "input:8: error: no.csv: cannot read: No such file or directory\n");
  EXPECT_TRUE(
      folder_.Read("out.tsv").ends_with("1\tpen\t1.5\t1\r\n2\tink\t20\t1\r\n"
                                        "3\tpad\t4.25\t2\r\n"));
}

// Whether a file that is being written lies beside `target`.
bool IsBeingSaved(const std::string& target) {
  const std::filesystem::path path(target);
  for (const auto& entry : std::filesystem::directory_iterator(path.parent_path())) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with("." + path.filename().string() + ".kt")) return true;
  }
  return false;
}

// Whenever the program dies, a reader finds the old file or the new one, whole.
TEST_F(CliData, DyingWhileSavingLeavesAWholeFile) {
  std::string rows = "n,text\r\n";
  for (int row = 0; row < 300'000; ++row) rows += std::to_string(row) + ",some text\r\n";
  const std::string big = folder_.Write("big.csv", rows);
  const std::string old = "n:long\r\n1\r\n";
  for (int looks = 0; looks < 100; looks = looks * 2 + 1) {
    const std::string target = folder_.Write("to" + std::to_string(looks) + "/target.csv", old);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      ::execl(KT_PROGRAM, KT_PROGRAM, "eval", "1", "--data", ("b=" + big).c_str(), "--save",
              ("b=" + target).c_str(), nullptr);
      ::_exit(127);
    }
    // From the moment that the new file is begun, some time more with every turn.
    int status = 0;
    bool ended = false;
    for (int left = looks; !ended && left >= 0; left -= IsBeingSaved(target) ? 1 : 0) {
      ended = ::waitpid(child, &status, WNOHANG) == child;
    }
    if (!ended) {
      ::kill(child, SIGKILL);
      ASSERT_EQ(::waitpid(child, &status, 0), child);
    }
    const std::string found = folder_.Read("to" + std::to_string(looks) + "/target.csv");
    EXPECT_TRUE(found == old || found == rows) << found.size();
    EXPECT_TRUE(!ended || (found == rows && status == 0)) << status;
  }
}

TEST(CliProgress, LineFitsTheTerminal) {
  using std::chrono::seconds;
  EXPECT_EQ(Kt_CliProgress::Line("loading a.csv", seconds(3), 80), "loading a.csv ... 3 s");
  EXPECT_EQ(Kt_CliProgress::Line("loading abcdefghij.csv", seconds(12), 20),
            "loadi\u2026j.csv ... 12 s");
  EXPECT_EQ(Kt_CliProgress::Line("loading x", seconds(12), 0), "\u2026 ... 12 s");
}

}  // namespace
