// SPDX-License-Identifier: MIT
//
// --steps and --timeout bound a command from loading to printing, and what it waits for.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>

#include "cli_test_util.h"

namespace {

constexpr const char* kGrow = "replace(replace(space(30000000), ' ', 'xx'), 'x', 'y')";

TEST(CliBounds, HoldFromLoadingToPrinting) {
  const TestFolder folder;
  std::string csv = "a,b\n";
  for (int row = 0; row < 60000; ++row) csv += std::to_string(row * 7919 % 60000) + ",text\n";
  const std::string data = folder.Write("data.csv", csv);
  const std::string pipe = folder.Path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string grows = std::string("function main() { while (1) ") + kGrow + "; }";
  const std::string nested =
      "function main() { var a = [1, 2]; for (var i = 0; i < 40; i++) { var b = []; b[0] = a; "
      "b[1] = a; a = b; } return a; }";
  const auto script = [&](const char* name, const std::string& text) {
    return folder.Write(name, text);
  };
  const std::string loop = script("loop.kts", grows);
  const std::string global =
      script("global.kts", std::string("var x = ") + kGrow + ";\nfunction main() {}");
  const std::string list = script("list.kts", nested);
  const std::string reads = script("reads.kts", "function main() { readText('" + pipe + "'); }");
  const std::string writes =
      script("writes.kts", "function main() { writeText('" + pipe + "', 'x'); }");
  const struct {
    std::vector<std::string> arguments;
    const char* messages;  // how they begin
  } kRows[] = {
      {{"run", "--timeout", "0.05", loop}, "loop.kts:1: error: time limit reached in main\n"},
      {{"run", "--steps", "2000", loop}, "loop.kts:1: error: step limit reached in main\n"},
      {{"run", "--steps", "2000", global}, "global.kts: error: step limit reached in x\n"},
      {{"run", "--timeout", "0.05", list}, "list.kts: error: time limit reached\n"},
      {{"run", "--json", "--steps", "5000", list},
       R"({"severity":"error","code":-2085604800,"name":"","text":"step limit reached","file":)"},
      {{"run", "--timeout", "0.05", pipe}, "pipe: error: time limit reached\n"},
      {{"run", "--timeout", "0.05", reads}, "reads.kts:1: error: time limit reached in main\n"},
      {{"run", "--timeout", "0.05", writes}, "writes.kts:1: error: time limit reached in main\n"},
      {{"run", "--steps", "100", "--data", "d=" + data, list},
       "data.csv: error: step limit reached\n"},
      {{"eval", "--timeout", "0.05", kGrow}, "expression: error: time limit reached in expression"},
      {{"eval", "--steps", "100", "--data", "d=" + data, "1"},
       "data.csv: error: step limit reached\n"},
      {{"check", "--steps", "2000", global}, "global.kts: error: step limit reached\n"},
      {{"show", "--timeout", "0.001", data}, "data.csv: error: time limit reached\n"},
      {{"show", "--format", "csv", "--timeout", "0.05", pipe}, "pipe: error: time limit reached\n"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome = Kt(row.arguments);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    const std::string messages = folder.Shorten(outcome.messages);
    EXPECT_EQ(messages.substr(0, std::string(row.messages).size()), row.messages);
    EXPECT_EQ(std::count(messages.begin(), messages.end(), '\n'), 1) << messages;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.status, 1);
  }
}

// A bound that is wide enough changes nothing; the initialisers of a checked script have their own.
TEST(CliBounds, LeaveTheRestAlone) {
  const TestFolder folder;
  const std::string data = folder.Write("d.csv", "a\n1\n2\n");
  const std::string script = folder.Write(
      "s.kts",
      "var x = replace(space(9000000), ' ', 'xx');\nfunction main() { return d.Sum('a'); }");
  const std::vector<std::string> bounds = {"--steps", "1000000", "--timeout", "100"};
  const auto with = [&](std::vector<std::string> head, const std::vector<std::string>& tail) {
    head.insert(head.end(), bounds.begin(), bounds.end());
    head.insert(head.end(), tail.begin(), tail.end());
    return Kt(head);
  };
  EXPECT_EQ(with({"eval"}, {"--data", data, "d.Sum('a') + length('abc')"}).out, "6\n");
  EXPECT_EQ(with({"run"}, {"--data", data, script}).out, "3\n");
  EXPECT_EQ(Kt({"show", "--timeout", "100", "--csv", data}).out, Kt({"show", "--csv", data}).out);
  const Outcome checked = Kt({"check", script});
  EXPECT_EQ(checked.messages, "");
  EXPECT_EQ(checked.status, 0);
}

TEST(CliBounds, SandboxBoundsFilesStepsTimeAndMemory) {
  const TestFolder folder;
  const std::string script = folder.Write(
      "s.kts",
      "function endless() { while (1) {} }\n"
      "function reads() { return readText('s.kts'); }\n"
      "function grows() { var a = []; for (var i = 0; i < 30; i++) a[i] = "
      "space(10000000); return length(a); }\n"
      "function shows() { var s = space(250000); var a = array(20); for (var i = 0; i < "
      "20; i++) a[i] = s; print(a); }\n");
  const struct {
    std::vector<std::string> options;
    const char* function;
    int status;
    const char* says;
  } kRows[] = {
      {{"--sandbox"}, "endless", 1, "step limit reached in endless"},
      {{"--sandbox", "--steps", "100000000000", "--timeout", "0.05"}, "endless", 1, "time limit"},
      {{"--sandbox"}, "reads", 1, "no files are allowed (--allow-dir allows a folder)"},
      {{"--sandbox", "--allow-dir", folder.Path("")}, "reads", 1, "cannot read 's.kts'"},
      {{"--sandbox"}, "grows", 1, "out of memory"},
      {{"--sandbox", "--memory", "2000"}, "grows", 0, ""},
      {{"--sandbox", "--memory", "3"}, "shows", 1, "out of memory"},
      {{"--sandbox", "--memory", "50"}, "shows", 0, ""},
      {{"--sandbox", "--allow-all-files"}, "reads", 2, "--allow-all-files"},
  };
  for (const auto& row : kRows) {
    std::vector<std::string> arguments = {"run"};
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    arguments.insert(arguments.end(), {script, row.function});
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Outcome outcome = Kt(arguments);
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_THAT(outcome.messages, testing::HasSubstr(row.says));
  }
  EXPECT_EQ(Kt({"eval", "--sandbox", "1 + 2"}).out, "3\n");
  EXPECT_EQ(Kt({"check", "--sandbox", script}).status, 0);
  EXPECT_EQ(Kt({"show", "--sandbox", "--csv", folder.Write("d.csv", "a\n1\n")}).out, "a\r\n1\r\n");
}

}  // namespace
