// SPDX-License-Identifier: MIT
//
// What command lines with a fault are answered with.
#include "cli_test_util.h"

namespace {

class CliUsage : public testing::Test {
 protected:
  TestFolder folder_;
};

TEST_F(CliUsage, NearestCommandAndOption) {
  const std::string script = folder_.Write("a.kts", "function main(x) { return x; }\n");
  const std::string data = folder_.Write("a.csv", "a\n1\n");
  const std::string hint = "Run with --help for more information.\n";
  const struct {
    std::vector<std::string> arguments;
    std::string messages;
  } kRows[] = {
      {{"rnu"}, "kt: there is no command 'rnu' (did you mean 'run'?)\n"},
      {{"help", "rnu"}, "kt help: there is no command 'rnu' (did you mean 'run'?)\n"},
      {{"fly"}, "kt: there is no command 'fly'\n"},
      {{"--hlep"}, "kt: there is no option '--hlep' (did you mean '--help'?)\n" + hint},
      {{"show", "--sepparator", ",", data},
       "kt show: there is no option '--sepparator' (did you mean '--separator'?)\n" + hint},
      {{"show", data, "--filter", "--x", "--sepparator=,"},
       "kt show: there is no option '--sepparator' (did you mean '--separator'?)\n" + hint},
      {{"run", "--trcae"},
       "kt run: there is no option '--trcae' (did you mean '--trace'?)\n" + hint},
      {{"run", "-x", script}, "kt run: there is no option '-x'\n" + hint},
      {{"eval", "--sepparator", ",", "1"},
       "kt eval: there is no option '--sepparator' (did you mean '--separator'?)\n" + hint},
      {{"eval", "-1", "2"}, "The following arguments were not expected: 2 --\n" + hint},
      {{"check"}, "FILE is required\n" + hint},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Kt(row.arguments);
    EXPECT_EQ(outcome.messages, row.messages);
    EXPECT_EQ(outcome.status, 2) << row.messages;
  }
  EXPECT_EQ(Kt({"run", script, "main", "--trcae"}).out, "--trcae\n");
  EXPECT_EQ(Kt({"eval", "-5 + 6"}).out, "1\n");
}

}  // namespace
