// SPDX-License-Identifier: MIT
//
// kt check --sarif: what SARIF 2.1.0 requires of a log, and that it has what the text form tells.
#include <nlohmann/json.hpp>

#include "cli_test_util.h"

namespace {

using Json = nlohmann::json;

// Checks what every log has, and gives its only run.
Json RunOf(const Outcome& outcome) {
  const Json log = Json::parse(outcome.out, nullptr, false);
  EXPECT_EQ(outcome.messages, "");
  EXPECT_TRUE(log.is_object()) << outcome.out;
  EXPECT_EQ(log.value("version", ""), "2.1.0");
  EXPECT_EQ(log.value("$schema", ""), "https://json.schemastore.org/sarif-2.1.0.json");
  EXPECT_EQ(log["runs"].size(), 1u);
  const Json run = log["runs"][0];
  const Json& driver = run["tool"]["driver"];
  EXPECT_EQ(driver["name"], "kt");
  EXPECT_EQ(run["columnKind"], "unicodeCodePoints");
  EXPECT_EQ(run["invocations"][0]["executionSuccessful"], outcome.status != 2);
  EXPECT_EQ(run["invocations"][0]["exitCode"], outcome.status);
  for (const Json& result : run["results"]) {
    EXPECT_FALSE(result["message"]["text"].get<std::string>().empty());
    EXPECT_EQ(driver["rules"].at(result["ruleIndex"].get<std::size_t>())["id"], result["ruleId"]);
    EXPECT_EQ(result["locations"].size(), 1u);
  }
  return run;
}

// "level rule uri:line:column-end text" of each result.
std::string Results(const Json& run) {
  std::string all;
  for (const Json& result : run["results"]) {
    const Json& place = result["locations"][0]["physicalLocation"];
    all += result["level"].get<std::string>() + " " + result["ruleId"].get<std::string>() + " " +
           place["artifactLocation"]["uri"].get<std::string>();
    if (place.contains("region")) {
      const Json& region = place["region"];
      all += ":" + region["startLine"].dump() + ":" + region["startColumn"].dump() + "-" +
             region["endColumn"].dump();
    }
    all += " " + result["message"]["text"].get<std::string>() + "\n";
  }
  return all;
}

TEST(CliSarif, HasWhatIsFound) {
  const TestFolder folder;
  const WorkingFolder here(folder.Path(""));
  folder.Write("fine.kts", "function main() { }\n");
  folder.Write("a b.kts", "function main() {\n  prnt('\xF0\x9F\x98\x80', lim);\n}\n");
  folder.Write(
      "wide.kts",
      "function main() {\n  print('\xF0\x9F\x98\x80', \xF0\x9F\x98\x80\xF0\x9F\x98\x80);\n}\n");
  folder.Write("bad.kts", "function main() {\n  x = (1 +;\n}\n");
  EXPECT_EQ(Results(RunOf(Kt({"check", "--sarif", "fine.kts"}))), "");
  const Json run = RunOf(Kt({"check", "--sarif", "a b.kts", "bad.kts", "none.kts"}));
  EXPECT_EQ(
      Results(run),
      "warning unknown-function a%20b.kts:2:3-7 unknown function 'prnt' (did you mean "
      "'print'?)\n"
      "warning unknown-variable a%20b.kts:2:13-16 unknown variable 'lim'\n"
      "error no-operand bad.kts:2:11-12 Invalid Expression: expression ends too early in function "
      "main\n"
      "error kt none.kts cannot read: No such file or directory\n");
  EXPECT_NE(run["tool"]["driver"]["rules"][0]["fullDescription"]["text"].get<std::string>().find(
                "A call of a function"),
            std::string::npos);
  EXPECT_EQ(Results(RunOf(Kt({"check", "--sarif", "wide.kts"}))),
            "warning unknown-variable wide.kts:2:14-16 unknown variable "
            "'\xF0\x9F\x98\x80\xF0\x9F\x98\x80'\n")
      << "columns count characters";
  // Not about a file.
  const Json fault = RunOf(Kt({"check", "--sarif", "--include-dir", "none", "fine.kts"}));
  EXPECT_EQ(Results(fault), "");
  const Json& told = fault["invocations"][0]["toolExecutionNotifications"];
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0]["level"], "error");
  EXPECT_EQ(told[0]["message"]["text"], "kt check: --include-dir: there is no folder 'none'");
  EXPECT_EQ(Kt({"check", "--sarif", "--json", "fine.kts"}).status, 2);
}

}  // namespace
