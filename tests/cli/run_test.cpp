// SPDX-License-Identifier: MIT
#include "cli_test_util.h"

namespace {

TEST(CliRun, PrintsResultsAndPassesArguments) {
  const struct {
    const char* script;
    std::vector<std::string> options;
    std::vector<std::string> behind;
    const char* out;
  } kRows[] = {
      {"function main() { return 6 * 7; }", {}, {}, "42\n"},
      {"function main() { return; }", {}, {}, ""},
      {"function main() { var l = [1, 2]; print(1, 'a', null, l); }", {}, {}, "1 a  [1, 2]\n"},
      {"function main() { print(); }", {}, {}, "\n"},
      {"function MAIN(a) { return a; }", {}, {"Main", "x"}, "x\n"},
      {"function f(a, b) { return b + a; }", {}, {"f", "1", "2"}, "21\n"},
      {"function f(a, b) { return args(); }", {}, {"f", "x", "y", "z"}, "['x', 'y', 'z']\n"},
      {"function f(a, b) { return args(); }", {}, {"f", "-1", "--json"}, "['-1', '--json']\n"},
      {"function f(a) { return a; }", {}, {"f", "--", "-5"}, "--\n"},
      {"function f(a) { return a; }", {}, {"f", "grüße 漢字"}, "grüße 漢字\n"},
      {"function main() { return [1, 'a', 0.5]; }", {"--json"}, {}, "[1,\"a\",0.5]\n"},
      {"function main() { }", {"--json"}, {}, "null\n"},
      {"\xEF\xBB\xBF"
       "function main() { return 'mark'; }",
       {},
       {},
       "mark\n"},
      {"function main() { var s = 'é漢😀'; return length(s); }", {}, {}, "4\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = RunText(row.script, row.options, row.behind);
    EXPECT_EQ(outcome.out, row.out) << row.script;
    EXPECT_EQ(outcome.messages, "") << row.script;
    EXPECT_EQ(outcome.status, 0) << row.script;
  }
}

TEST(CliRun, ErrorsNameThePlaceAndTheCalls) {
  const struct {
    const char* script;
    const char* messages;
  } kRows[] = {
      {"function main() {\n\n  return missing;\n}",
       "a.kts:3:10: error: unknown variable 'missing'\n  return missing;\n         ^~~~~~~\n"},
      {"function f(x) {\n  x = missing;\n}\nfunction main() {\n  var a;\n  f(1);\n}",
       "a.kts:2:7: error: unknown variable 'missing'\n  x = missing;\n      ^~~~~~~\n"
       "  in function f (a.kts:2)\n"
       "  in function main (a.kts:6)\n"},
      {"var a = missing;\nfunction main() { print('never'); }",
       "a.kts: error: unknown variable 'missing'\n"},
      {"function main() { readText('no/such/file'); }",
       "a.kts:1: error: cannot read 'no/such/file': No such file or directory\n"},
      {"function f() { }", "a.kts: error: there is no function 'main'\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = RunText(row.script);
    EXPECT_EQ(outcome.messages, row.messages) << row.script;
    EXPECT_EQ(outcome.status, 1) << row.script;
  }
}

TEST(CliRun, RunawayRecursionIsReportedInBrief) {
  const Outcome outcome =
      RunText("function down(n) {\n  return down(n + 1) + 1;\n}\nfunction main() { down(1); }");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.messages.starts_with("a.kts:1: error: nested too deeply"))
      << outcome.messages.substr(0, 500);
  EXPECT_NE(outcome.messages.find(" more\n"), std::string::npos);
  EXPECT_TRUE(outcome.messages.ends_with("  in function main (a.kts:4)\n"));
  EXPECT_LT(outcome.messages.size(), 2000u);
}

TEST(CliRun, Budgets) {
  const char* const kForEver = "function main() {\n  while (1) { }\n}";
  const struct {
    std::vector<std::string> options;
    const char* message;
  } kRows[] = {
      {{"--steps", "100000"}, "a.kts:2: error: step limit reached"},
      {{"--timeout", "0.05"}, "a.kts:2: error: time limit reached"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = RunText(kForEver, row.options);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.messages.starts_with(row.message)) << outcome.messages;
    EXPECT_EQ(outcome.messages.find("error", outcome.messages.find("error") + 1), std::string::npos)
        << "reported once: " << outcome.messages;
  }
  EXPECT_EQ(RunText("function main() { return 1; }", {"--steps", "1000"}).out, "1\n");
  // A global is computed while the script loads; the limit holds there too.
  EXPECT_EQ(RunText("function f() { while (1) { } }\nvar a = f();\nfunction main() { }",
                    {"--steps", "1000"})
                .status,
            1);
}

TEST(CliRun, TraceShowsOnlyWhenAsked) {
  const char* const kScript = "function main() {\n  trace('seen', 1);\n  return 2;\n}";
  EXPECT_EQ(RunText(kScript).messages, "");
  const Outcome outcome = RunText(kScript, {"--trace"});
  EXPECT_EQ(outcome.messages, "a.kts:2: trace: seen 1\n");
  EXPECT_EQ(outcome.out, "2\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST(CliRun, FilesAreReadAndReplacedWhole) {
  const TestFolder folder;
  const std::string target = folder.Write("data.txt", "old");
  const std::string link = folder.Path("link.txt");
  std::filesystem::create_symlink("data.txt", link);
  const std::string script = folder.Write("a.kts",
                                          "function main(path) {\n"
                                          "  var old = readText(path);\n"
                                          "  writeText(path, old + ', new é');\n"
                                          "  return readText(path);\n"
                                          "}\n");
  EXPECT_EQ(Kt({"run", script, "main", link}).out, "old, new é\n");
  EXPECT_EQ(folder.Read("data.txt"), "old, new é");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.Path("."))) {
    ++files;
  }
  EXPECT_EQ(files, 3u) << "no temporary file stays behind";

  const Outcome outcome = Kt({"run", script, "main", folder.Path("none/x")});
  EXPECT_EQ(outcome.status, 1);
  folder.Write("bad.txt", "abc\xFF");
  EXPECT_NE(Kt({"run", script, "main", folder.Path("bad.txt")})
                .messages.find("no valid UTF-8 at byte offset 3"),
            std::string::npos);
}

TEST(CliRun, BadScriptsAndCommandLines) {
  const TestFolder folder;
  const std::string bad = folder.Write("bad.kts", "var a = 1;\n\xC3(");
  Outcome outcome = Kt({"run", bad});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(folder.Shorten(outcome.messages),
            "bad.kts: error: cannot read: no valid UTF-8 at byte offset 11\n");

  const std::string good = folder.Write("good.kts", "function main() { }");
  const std::vector<std::string> kWrong[] = {
      {},
      {"run"},
      {"run", folder.Path("none.kts")},
      {"run", folder.Path("")},
      {"run", "--steps", "0", good},
      {"run", "--steps", "many", good},
      {"run", "--timeout", "-1", good},
      {"run", "--include-dir", folder.Path("none"), good},
      {"run", "--nonsense", good},
      {"run", good, "main", "\xFF"},
      {"fly"},
      {"help", "fly"},
      {"eval"},
      {"check"},
      {"dump"},
      {"dump", good, "--expr", "1"},
  };
  for (const auto& arguments : kWrong) {
    if (arguments.empty()) continue;
    outcome = Kt(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments.back();
    EXPECT_NE(outcome.messages, "") << arguments.back();
  }
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {}, {"help"}, {"help", "run"}, {"--help"}, {"run", "--help"}, {"--version"}}) {
    outcome = Kt(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out, "");
    EXPECT_EQ(outcome.messages, "");
  }
}

}  // namespace
