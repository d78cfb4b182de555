// SPDX-License-Identifier: MIT
#include <nlohmann/json.hpp>

#include "classlib/xml/Kt_XmlDOM.h"
#include "cli_test_util.h"

namespace {

// kt test in a folder, with everything that it says.
struct TestsIn {
  const TestFolder folder;
  const WorkingFolder inside{folder.Path("")};

  std::string Run(std::vector<std::string> arguments = {}) const {
    arguments.insert(arguments.begin(), "test");
    std::ostringstream both;
    const int status = kt::cli::Main(std::move(arguments), {both, both});
    return std::to_string(status) + " " + both.str();
  }
};

// The message of a test with this body, without its place; empty when it passes.
std::string MessageOf(const std::string& body) {
  const TestsIn tests;
  tests.folder.Write("a_test.kts",
                     "function half(x) { return x / 2; }\nvar global = 4;\n"
                     "function testIt() {\n" +
                         body + "\n}\n");
  std::string said = tests.Run();
  const std::string kFailed = "1 FAILED a_test.kts: testIt\na_test.kts:4:";
  if (said == "0 1 test, 0 failed\n") return "";
  if (!said.starts_with(kFailed)) return said;
  said.erase(0, said.find(" error: ") + 8);
  return said.substr(0, said.find("\n1 test, 1 failed"));
}

TEST(CliTest, Assertions) {
  const struct {
    const char* body;
    const char* message;
  } kRows[] = {
      {"", ""},
      {"assert(1); assert('2'); assert(global == 4);", ""},
      {"assert(0.5);", "assert: 0.5 is not true"},
      {"assert('', 'why');", "why: assert:  is not true"},
      {"assertEqual(half(3), 1.5); assertEqual('1', 1); var a = [1, [2]], b = [1, [2]]; "
       "assertEqual(a, b);",
       ""},
      {"assertEqual(3, 4, 'sum');", "sum: assertEqual: 3 is not 4"},
      {"assertEqual('a', null);", "assertEqual: 'a' is not null"},
      {"var a = [1, 2, ['x']], b = [1, 2, ['y']]; assertEqual(a, b);",
       "assertEqual: item [2][0]: 'x' is not 'y'"},
      {"var a = [1], b = [1, 2]; assertEqual(a, b);", "assertEqual: 1 items, not 2"},
      {"var a = [[1]], b = [5]; assertEqual(a, b);", "assertEqual: item [0]: [1] is not 5"},
      {"assertEqual(rpad('', 'a', 70) + 'c' + chr(27), rpad('', 'a', 70) + 'd');",
       "assertEqual: differs from character 70 on: '...aaaaaaaaaaaac␛' is not '...aaaaaaaaaaaad'"},
      {"assertEqual('a' + chr(10) + 'b', 'a' + chr(10) + 'c');",
       "assertEqual: the texts differ:\n--- expected\n+++ actual\n@@ -1,2 +1,2 @@\n a\n-c\n"
       "\\ No newline at end of file\n+b\n\\ No newline at end of file"},
      {"assertFails('nobody()'); assertFails('half(nobody)', 'nobody'); assertFails('1 +');", ""},
      {"assertFails('global = 5; nobody = nobody + 1;'); assertEqual(global, 5);", ""},
      {"assertFails('half(global)');", "assertFails: half(global) does not fail"},
      {"assertFails('global = 5;');", "assertFails: global = 5; does not fail"},
      {"assertFails('nobody()', 'somebody');",
       "assertFails: it fails with 'unknown function: nobody', not with 'somebody'"},
      {"assertFails('nobody()'); nobody();",
       "unknown function: nobody\nassertFails('nobody()'); nobody();\n                         "
       "^~~~~~"},
      {"assertRecorded('../a', 1);", "assertRecorded: '../a' is no name of a record"},
      {"return nobody;", "unknown variable 'nobody'\nreturn nobody;\n       ^~~~~~"},
      {"while (1) {}", nullptr},
  };
  for (const auto& row : kRows) {
    if (row.message != nullptr) {
      EXPECT_EQ(MessageOf(row.body), row.message) << row.body;
      continue;
    }
    const TestsIn tests;
    tests.folder.Write("a_test.kts", "function testA() { while (1) {} }\nfunction testB() {}\n");
    EXPECT_EQ(tests.Run({"--steps", "1000"}),
              "1 FAILED a_test.kts: testA\na_test.kts:1: error: step limit reached in testA\n"
              "2 tests, 1 failed\n");
  }
}

TEST(CliTest, FindsAndChoosesTests) {
  const TestsIn tests;
  tests.folder.Write("lib.kts", "var count = 0;\nfunction testNot() { assert(0); }\n");
  tests.folder.Write("a_test.kts",
                     "#include \"lib.kts\"\nfunction setUp() { count += 10; }\n"
                     "function testOne() { count++; assertEqual(count, 11); }\n"
                     "function TESTtwo() { count++; assertEqual(count, 11); print('seen'); }\n"
                     "function test() { assert(0); }\nfunction other() { assert(0); }\n");
  tests.folder.Write("deep/b_test.kts", "function testBad() { print('said'); assert(0); }\n");
  const std::string kBad =
      "FAILED deep/b_test.kts: testBad\nsaid\ndeep/b_test.kts:1: error: assert: 0 is not true\n";
  EXPECT_EQ(tests.Run(), "1 " + kBad + "3 tests, 1 failed\n");
  EXPECT_EQ(tests.Run({"a_test.kts"}), "0 2 tests, 0 failed\n");
  EXPECT_EQ(tests.Run({"deep", "deep/b_test.kts"}), "1 " + kBad + "1 test, 1 failed\n");
  EXPECT_EQ(tests.Run({"--filter", "a_test.kts:testO"}), "0 1 test, 0 failed\n");
  EXPECT_EQ(tests.Run({"--filter", "none"}), "1 kt test: there are no tests\n");
  EXPECT_EQ(tests.Run({"none"}), "2 kt test: there is no file or folder 'none'\n");
  tests.folder.Write("c_test.kts", "function testC() { x = (; }\n");
  EXPECT_TRUE(tests.Run({"c_test.kts"}).starts_with("1 FAILED c_test.kts\nc_test.kts:1:"));
}

TEST(CliTest, FixturesAndRecords) {
  const TestsIn tests;
  tests.folder.Write("t/data.csv", "a,b\n1,2\n");
  const auto write = [&](const std::string& value) {
    tests.folder.Write("t/a_test.kts",
                       "function testA() {\n  loadData('d', fixture('data.csv'));\n"
                       "  assertEqual(d.RowCount(), 1);\n  var value = " +
                           value + ";\n  assertRecorded('it', value);\n}\n");
  };
  write("['x', 2]");
  EXPECT_NE(tests.Run().find("(--update records the value)"), std::string::npos);
  EXPECT_EQ(tests.Run({"--update"}), "0 1 test, 0 failed\n");
  EXPECT_EQ(tests.folder.Read("t/it.recorded"), "x\n2\n");
  EXPECT_EQ(tests.Run(), "0 1 test, 0 failed\n");
  write("['x', 3]");
  const std::string said = tests.Run();
  EXPECT_NE(said.find("t/a_test.kts:5: error: it: assertRecorded: the texts differ:\n"),
            std::string::npos)
      << said;
  EXPECT_NE(said.find(" x\n-2\n+3\n"), std::string::npos) << said;
  EXPECT_EQ(tests.folder.Read("t/it.recorded"), "x\n2\n");
  EXPECT_EQ(tests.Run({"--no-files", "--update"}).substr(0, 1), "1");
}

TEST(CliTest, ReportsForPrograms) {
  const TestsIn tests;
  tests.folder.Write("a_test.kts",
                     "function testA() { print('<said>'); }\n"
                     "function testB() { assertEqual('&', '<'); }\n");
  EXPECT_EQ(tests.Run({"--junit", "out.xml"}).substr(0, 1), "1");
  Kt_XmlDOM xml;
  Kt_XmlError error;
  const std::string document = tests.folder.Read("out.xml");
  EXPECT_TRUE(xml.LoadUtf8(document, error)) << document;
  for (const char* const part :
       {"<testsuite name=\"a_test.kts\" tests=\"2\" failures=\"1\"", "name=\"testB\"",
        "<failure message=\"a_test.kts:2: error: assertEqual: '&amp;' is not '&lt;'\">",
        "<system-out>&lt;said&gt;"}) {
    EXPECT_NE(document.find(part), std::string::npos) << part << document;
  }
  std::istringstream lines(tests.Run({"--json"}).substr(2));
  std::vector<nlohmann::json> results;
  for (std::string line; std::getline(lines, line);) {
    results.push_back(nlohmann::json::parse(line));
  }
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[0]["output"], "<said>\n");
  EXPECT_EQ(results[0]["passed"], true);
  EXPECT_EQ(results[1]["test"], "testB");
  EXPECT_EQ(results[1]["messages"][0]["line"], 2);
}

TEST(CliTest, Coverage) {
  const TestsIn tests;
  tests.folder.Write("lib.kts",
                     "function f(x) {\n"                  // 1
                     "  if (x > 1) {\n"                   // 2: both ways
                     "    x--;\n"                         // 3
                     "  } else if (x < 0) return 0;\n"    // 4: past it
                     "  for (var i = 0; i < x; i++) {\n"  // 5: both ways
                     "    switch (i) {\n"                 // 6: the first label
                     "      case 0: x += 0; break;\n"     // 7
                     "      case 1:\n"                    //
                     "        x += 1;\n"                  // 9: not run
                     "    }\n"                            //
                     "  }\n"                              //
                     "  while (x > 100) x--;\n"           // 12: past it
                     "  return x;\n"                      // 13
                     "}\n"                                //
                     "function unused() {\n"              //
                     "  if (1) return;\n"                 // 16
                     "}\n");
  tests.folder.Write("a_test.kts",
                     "#include \"lib.kts\"\nfunction testA() { assertEqual(f(2), 1); }\n"
                     "function testB() { assertEqual(f(0), 0); }\n");
  EXPECT_EQ(tests.Run({"--coverage", "a_test.kts"}),
            "0 2 tests, 0 failed\n"
            "file     lines           branches        not run\n"
            "lib.kts  8 of 10 (80 %)  7 of 13 (53 %)  9, 16\n"
            "total    8 of 10 (80 %)  7 of 13 (53 %)\n");
  EXPECT_EQ(tests.Run({"--coverage=lcov"}), "0 2 tests, 0 failed\n");
  const std::string lcov = tests.folder.Read("coverage.info");
  for (const char* const line :
       {"SF:lib.kts\n", "BRDA:2,0,0,1\n", "BRDA:2,0,1,1\n", "BRDA:4,0,0,0\n", "BRDA:4,0,1,1\n",
        "BRDA:6,0,0,1\n", "BRDA:6,0,1,0\n", "BRDA:16,0,0,-\n", "DA:3,1\n", "DA:9,0\n", "LF:10\n",
        "LH:8\n", "BRF:13\n", "BRH:7\nDA"}) {
    EXPECT_NE(lcov.find(line), std::string::npos) << line << lcov;
  }
  EXPECT_EQ(tests.Run({"--coverage=html", "--coverage-file", "c.html"}), "0 2 tests, 0 failed\n");
  const std::string page = tests.folder.Read("c.html");
  EXPECT_NE(page.find("<span class=\"not\"><i>    9       0</i>          x += 1;</span>"),
            std::string::npos)
      << page;
  EXPECT_NE(page.find("<span class=\"part\"><i>   12 "), std::string::npos) << page;
  EXPECT_EQ(tests.Run({"--coverage=none"}).substr(0, 1), "2");
}

}  // namespace
