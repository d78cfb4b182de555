// SPDX-License-Identifier: MIT
//
// Computed columns that a file brings, wherever the program reads them.
#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>

#include "cli/repl/Kt_Repl.h"
#include "cli_test_util.h"

namespace fs = std::filesystem;

namespace {

// The working folder holds a file with a column that only computes and one that would write.
class CliLoadedMaps : public ::testing::Test {
 protected:
  CliLoadedMaps() : before_(fs::current_path()) {
    folder_.Write("in.xml",
                  "<dataset id='t'><columns><column id='n' type='long'/>"
                  "<column id='twice' type='long' map='n * 2'/>"
                  "<column id='bad' map='writeText(&quot;x.txt&quot;, n)'/></columns>"
                  "<rows><row><c i='0'>2</c></row><row><c i='0'>1</c></row></rows></dataset>");
    fs::current_path(folder_.Path("."));
  }
  ~CliLoadedMaps() override { fs::current_path(before_); }

  TestFolder folder_;
  const fs::path before_;
};

TEST_F(CliLoadedMaps, RunNoCodeOfTheProgram) {
  (void)Kt({"eval", "t.SaveBIN()", "--data", "t=in.xml", "--save", "t=in.ktb"});
  folder_.Write("a.kts",
                "function main() { var d = dataset('d'); loadData(d, 'in.xml'); d.Sort('bad, n');\n"
                "  print(d[0].twice + '/' + d[0].bad + '/' + d.SaveCSV()); d.Sum('bad + n'); }\n");
  const struct {
    std::vector<std::string> arguments;
    const char* out;
    const char* file;
  } kRows[] = {
      {{"eval", "t", "--data", "t=in.xml"}, "  4  ", "in.xml"},
      {{"eval", "t", "--data", "t=in.ktb"}, "  4  ", "in.ktb"},
      {{"eval", "t.Sort('bad')", "--data", "t=in.xml"}, "", "in.xml"},
      {{"eval", "t.Filter('bad > 0')", "--data", "t=in.xml"}, "", "in.xml"},
      {{"eval", "1", "--data", "t=in.xml", "--save", "t=out.csv"}, "1", "in.xml"},
      {{"run", "a.kts"}, "2//n:long", "in.xml"},
      {{"show", "in.xml"}, "  4  ", "in.xml"},
      {{"show", "in.ktb", "--sort", "bad"}, "  4  ", "in.ktb"},
      {{"show", "in.xml", "--filter", "bad == null"}, "  4  ", "in.xml"},
      {{"show", "in.xml", "--json"}, "\"twice\":4", "in.xml"},
      {{"show", "in.xml", "--csv"}, "2,4,", "in.xml"},
      {{"show", "in.xml", "--html", "out.html"}, "", "in.xml"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Kt(row.arguments);
    const std::string at = testing::PrintToString(row.arguments);
    EXPECT_THAT(outcome.out, testing::HasSubstr(row.out)) << at;
    const std::string error =
        "column 'bad' of " + std::string(row.file) +
        ": its map uses writeText(), which a map that comes with data may not";
    const std::size_t found = outcome.messages.find(error);
    ASSERT_NE(found, std::string::npos) << at << outcome.messages;
    EXPECT_EQ(outcome.messages.find("error", found), std::string::npos) << outcome.messages;
    EXPECT_EQ(outcome.status, 1) << at;
    EXPECT_FALSE(fs::exists("x.txt")) << at;
  }
  EXPECT_THAT(folder_.Read("out.csv"), testing::HasSubstr("2,4,\r\n1,2,\r\n"));
  // What the script sets itself may do what the script may.
  EXPECT_EQ(Kt({"eval", "t.AddLogicalColumn('own', 'writeText(\"x.txt\", n)') > 0 && t[0].own == 0",
                "--data", "t=in.xml"})
                .messages,
            "");
  EXPECT_TRUE(fs::exists("x.txt"));
}

TEST_F(CliLoadedMaps, RunNothingAtThePrompt) {
  std::istringstream in("loadData('t', 'in.xml')\nt\nt\n");
  std::ostringstream out;
  std::ostringstream messages;
  Kt_CliPipe pipe(in);
  Kt_CliRepl repl({out, messages}, {});
  (void)repl.Run(pipe);
  EXPECT_EQ(messages.str(),
            "input:2: error: column 'bad' of in.xml: its map uses writeText(), which a map that "
            "comes with data may not\n");
  EXPECT_FALSE(fs::exists("x.txt"));
}

}  // namespace
