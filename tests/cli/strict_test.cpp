// SPDX-License-Identifier: MIT
//
// --strict: texts that arithmetic reads as 0, by running and by looking.
#include "cli_test_util.h"

namespace {

// What a run of main() with this body, from column 1 of line 2 on, warns of: "line:column 'text'
// sign" and the underlined columns, separated by |.
std::string Warnings(const std::string& body, const std::string& command = "run",
                     const std::string& option = "--strict") {
  const TestFolder folder;
  const std::string data = folder.Write("t.csv", "name,price\nx,2\n7,3\nx,4\n");
  const std::string script = folder.Write("a.kts", "function main() {\n" + body + "\n}\n");
  const Outcome outcome = Kt({command, option, "--no-files", "--data", data, script});
  EXPECT_EQ(outcome.status, 0) << body << outcome.messages;
  std::istringstream lines(folder.Shorten(outcome.messages));
  std::string all;
  const std::string kReads = " is no number and is read as 0 by ";
  for (std::string line; std::getline(lines, line);) {
    const std::size_t reads = line.find(kReads);
    if (reads == std::string::npos) continue;
    EXPECT_TRUE(line.starts_with("a.kts:") && line.ends_with(" [text-as-zero]")) << line;
    line.replace(reads, kReads.size(), " ");
    line.erase(line.size() - 15);
    line.erase(line.find(": warning:"), 9);
    const bool has_column = std::count(line.begin(), line.end(), ':') > 2;
    all += (all.empty() ? "" : "|") + line.substr(6);
    if (!has_column || !std::getline(lines, line) || !std::getline(lines, line)) continue;
    all += " " + std::to_string(line.size() - line.find('^'));
  }
  return all;
}

TEST(CliStrict, RunsWarnOnceOfEachPlace) {
  const struct {
    const char* body;
    const char* warnings;
  } kRows[] = {
      {"print('12' - 1, ' 1.5 ' * 2, '' - 1, null - 1, 'a' + 1, 'a' == 1);", ""},
      {"print('abc' - 1);", "2:13: 'abc' '-' 1"},
      {"print(-'abc');", "2:7: 'abc' '-' 1"},
      {"var l = ['1', 'n/a', 'b']; for (var i = 0; i < 9; i++) print(l[i % 3] * 2);",
       "2:71: 'n/a' '*' 1"},
      {"for (var i = 0; i < 9; i++) {\n print('a' * 2);\n print('b' / 2);\n}",
       "3:12: 'a' '*' 1|4:12: 'b' '/' 1"},
      // Which of the operators is not known.
      {"print(1 - 2 - 'x');", "2:1: 'x' '-' 18"},
      {"var x = 1; x -= 'q'; x %= 'r';", "2:14: 'q' '-' 1|2:24: 'r' '%' 1"},
      {"var x = 'q'; x++; x = 'r'; --x;", "2:15: 'q' '++' 2|2:28: 'r' '--' 2"},
      {"if ('a' - 1 > 2) print(1); while ('b' * 1) {}", "2:9: 'a' '-' 1|2:39: 'b' '*' 1"},
      // Expressions over rows name the first row, and are told at their text.
      {"t.Sum('price * name');", "2:7: 'x' '*' (row 0) 14"},
      {"var e = 'price - name'; t.Sum(e);", "2: 'x' '-' (row 0)"},
  };
  for (const auto& row : kRows) EXPECT_EQ(Warnings(row.body), row.warnings) << row.body;
  EXPECT_EQ(Warnings("print('abc' - 1);", "run", "--allow-dir=."), "") << "not asked for";
}

TEST(CliStrict, ChecksFindLiterals) {
  const struct {
    const char* body;
    const char* warnings;
  } kRows[] = {
      {"print('12' - 1, '1.5' * 2, '' - 1, 'a' + 1, 'a.b' == 'c-d', t.name - 'abc'.length);", ""},
      {"print('abc' - 1, 2 * \"n/a\");", "2:7: 'abc' '-' 5|2:22: \"n/a\" '*' 5"},
      {"var x = 1; x = x % 'q' + 'r' / 2; print(x);", "2:20: 'q' '%' 3|2:26: 'r' '/' 3"},
      {"if (-'a' > 2) print(1);", "2:6: 'a' '-' 3"},
  };
  for (const auto& row : kRows) EXPECT_EQ(Warnings(row.body, "check"), row.warnings) << row.body;
  EXPECT_EQ(Warnings("print('abc' - 1);", "check", "--allow-dir=."), "") << "not asked for";
}

TEST(CliStrict, EvalAndTest) {
  EXPECT_EQ(Kt({"eval", "--strict", "5 - 'n/a' * 2"}).messages,
            "expression:1:11: warning: 'n/a' is no number and is read as 0 by '*' [text-as-zero]\n"
            "5 - 'n/a' * 2\n          ^\n");
  EXPECT_EQ(Kt({"eval", "5 - 'n/a' * 2"}).messages, "");
  const TestFolder folder;
  const std::string file =
      folder.Write("a_test.kts", "function testA() {\n  assert(1 - 'a');\n}\n");
  const Outcome outcome = Kt({"test", "--strict", file});
  EXPECT_EQ(outcome.out, "1 test, 0 failed\n");
  EXPECT_TRUE(folder.Shorten(outcome.messages).starts_with("a_test.kts:2:12: warning: 'a' is no"))
      << outcome.messages;
  EXPECT_EQ(Kt({"test", file}).messages, "");
}

}  // namespace
