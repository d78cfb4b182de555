// SPDX-License-Identifier: MIT
#include <sys/wait.h>

#include <cstdlib>

#include "cli_test_util.h"

namespace {

struct Check {
  const TestFolder folder;
  Outcome outcome;
  explicit Check(const std::string& text, std::vector<std::string> options = {}) {
    std::vector<std::string> arguments = {"check"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.push_back(folder.Write("a.kts", text));
    outcome = Kt(std::move(arguments));
    outcome.messages = folder.Shorten(outcome.messages);
  }
};

TEST(CliCheck, PointsAtThePlace) {
  const struct {
    const char* script;
    const char* place;  // "line:column: error: ..." up to where it matters
    int caret;          // column of the caret on the screen, from 0
  } kRows[] = {
      {"function main() {\n  x = 1 +;\n}\n", "2:", -1},
      {"function main() {\n\tx = (1;\n}\n", "2:", -1},
      {"function main() {\n  '漢字' + ;\n}\n", "2:", -1},
      {"x = 1;\n", "1:1: error: Invalid Keyword", 0},
      {"\n  #define X\n", "2:", -1},
      {"function main() {\n  var 1a;\n}\n", "2:", -1},
      {"function main() {\n  break now;\n}\n", "2:", -1},
      {"function main() {", "1:", -1},
  };
  for (const auto& row : kRows) {
    const Check check(row.script);
    EXPECT_EQ(check.outcome.status, 1) << row.script;
    EXPECT_EQ(check.outcome.out, "");
    EXPECT_TRUE(check.outcome.messages.starts_with("a.kts:" + std::string(row.place)))
        << row.script << check.outcome.messages;
    const std::string& text = check.outcome.messages;
    const std::size_t caret_line = text.find('\n', text.find('\n') + 1) + 1;
    ASSERT_NE(text.find('^', caret_line), std::string::npos) << text;
    if (row.caret >= 0) {
      EXPECT_EQ(text.find('^') - caret_line, row.caret) << text;
    }
  }
}

TEST(CliCheck, WarningsLeaveTheStatusAlone) {
  const char* const kScript = "function main() {\n  for (;;) { print(1); }\n}\n";
  const Check warned(kScript);
  EXPECT_EQ(warned.outcome.status, 0);
  EXPECT_TRUE(warned.outcome.messages.starts_with("a.kts:2:8: warning: "))
      << warned.outcome.messages;
  EXPECT_NE(warned.outcome.messages.find(" [for-ever]\n"), std::string::npos);
  const Check silent(kScript, {"--no-warn"});
  EXPECT_EQ(silent.outcome.messages, "");
  EXPECT_EQ(silent.outcome.status, 0);
  EXPECT_EQ(RunText(kScript).messages, "") << "kt run does not warn";
}

TEST(CliCheck, SeveralFilesAndTheWorstStatus) {
  const TestFolder folder;
  const std::string good = folder.Write("good.kts", "function main() { }\n");
  const std::string bad = folder.Write("bad.kts", "function main() { x = (; }\n");
  EXPECT_EQ(Kt({"check", good}).status, 0);
  EXPECT_EQ(Kt({"check", bad, good}).status, 1);
  EXPECT_EQ(Kt({"check", good, folder.Path("none.kts"), bad}).status, 2);
}

TEST(CliCheck, RunsNothingOfTheScript) {
  const TestFolder folder;
  const std::string script =
      folder.Write("a.kts", "function f() { writeText('" + folder.Path("made.txt") +
                                "', 'x'); while (1) { } }\n"
                                "var a = f();\nvar b = missing;\nfunction main() { }\n");
  const Outcome outcome = Kt({"check", "--no-warn", script});
  EXPECT_EQ(outcome.messages, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("made.txt")));
}

TEST(CliCheck, AnyBytesEndInAMessage) {
  const std::string kTexts[] = {
      std::string("\0", 1),
      std::string("function main() { \0 }", 21),
      "function main() { '",
      "function main() { /* ",
      "/*",
      "\"",
      "#",
      "function",
      "function f",
      "function f(",
      "function f()",
      "var",
      "var a",
      "}}}}",
      "((((",
      ";;;;",
      std::string(100000, '{'),
      "function f() {" + std::string(100000, '(') + "; }",
      "function f() {" + std::string(100000, '{'),
      "function f() { x = " + std::string(100000, '[') + "; }",
      std::string(20000, '\n') + "x",
  };
  for (const std::string& text : kTexts) {
    const Check check(text);
    EXPECT_TRUE(check.outcome.status == 0 || check.outcome.status == 1);
    const bool has_error = check.outcome.messages.find("error: ") != std::string::npos;
    EXPECT_EQ(check.outcome.status == 1, has_error) << text.substr(0, 50);
  }
  const Check invalid("function \xFF");
  EXPECT_EQ(invalid.outcome.status, 1);
  EXPECT_NE(invalid.outcome.messages.find("byte offset 9"), std::string::npos);
}

TEST(CliCheck, FixMendsWhatHasOneCure) {
  const TestFolder folder;
  const struct {
    const char* script;
    const char* mended;
  } kRows[] = {
      {"function main(a) {\r\n  let b = a\r\n  if (b === 1) retrun b;\r\n}\r\n",
       "function main(a) {\r\n  var b = a;\r\n  if (b == 1) return b;\r\n}\r\n"},
      {"function main(a) {\n  if a > 1 {\n    print \"x\";\n  }\n}\n",
       "function main(a) {\n  if (a > 1) {\n    print(\"x\");\n  }\n}\n"},
      {"function main(a) { print((a; }\n", "function main(a) { print((a; }\n"},
      {"function main(a) { return unknwon(a); }\n", "function main(a) { return unknwon(a); }\n"},
      {"function main(a) { return a; }\n", "function main(a) { return a; }\n"},
  };
  for (const auto& row : kRows) {
    const std::string file = folder.Write("a.kts", row.script);
    const bool changes = std::string(row.script) != row.mended;
    const Outcome shown = Kt({"check", "--fix", "--diff", file});
    EXPECT_EQ(shown.out.empty(), !changes) << shown.out;
    EXPECT_EQ(shown.messages, "");
    EXPECT_EQ(folder.Read("a.kts"), row.script);
    const Outcome fixed = Kt({"check", "--fix", file});
    EXPECT_EQ(folder.Read("a.kts"), row.mended) << fixed.messages;
    EXPECT_EQ(fixed.messages.find(" mended\n") != std::string::npos, changes) << fixed.messages;
    EXPECT_TRUE(!changes || fixed.status == 0) << fixed.messages;
  }
  EXPECT_EQ(Kt({"check", "--fix", folder.Path("none.kts")}).status, 2);
  EXPECT_EQ(Kt({"check", "--diff", folder.Path("a.kts")}).status, 2) << "--diff needs --fix";
}

// The program with less native stack than usual: an error with its place, in check and in run.
TEST(CliCheck, NestingDeeperThanTheStack) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  const std::vector<std::string> sizes = {"2048"};
#else
  const std::vector<std::string> sizes = {"64", "128", "320", "512"};
#endif
  const TestFolder folder;
  std::string text = "function main() {\n";
  for (int level = 0; level < 900; ++level) text += "if (1) {\n";
  text += "return 7;" + std::string(901, '}');
  const std::string file = folder.Write("a.kts", text);
  for (const std::string& size : sizes) {
    for (const std::string command : {"check", "run"}) {
      const std::string line = "ulimit -s " + size + "; '" KT_PROGRAM "' " + command + " '" + file +
                               "' > '" + folder.Path("out") + "' 2>&1";
      const int status = std::system(line.c_str());  // NOLINT(cert-env33-c)
      const std::string out = folder.Shorten(folder.Read("out"));
      const bool has_ended = WIFEXITED(status) && WEXITSTATUS(status) <= 1;
      EXPECT_TRUE(has_ended) << size << " " << command << " " << status << out;
      const bool is_told = out.find("Nested Too Deeply") != std::string::npos;
      EXPECT_TRUE(is_told || size != "64") << out;
    }
  }
}

}  // namespace
