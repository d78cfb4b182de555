// SPDX-License-Identifier: MIT
//
// kt check over scripts with mistakes: tests/mistakes/NAME.kts, with what is said of it in
// NAME.expected. And over scripts that have none.
#include <algorithm>

#include "cli_test_util.h"

namespace {

namespace fs = std::filesystem;

const std::string kProject = KT_PROJECT_DIR;

std::vector<fs::path> Scripts(const std::string& folder) {
  std::vector<fs::path> scripts;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(kProject + folder)) {
    const bool is_included = entry.path().parent_path().filename() == "lib";
    if (entry.path().extension() == ".kts" && !is_included) scripts.push_back(entry.path());
  }
  std::sort(scripts.begin(), scripts.end());
  return scripts;
}

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(CliMistakes, AreToldAsTheFileBesideThemSays) {
  const WorkingFolder here(kProject + "/tests/mistakes");
  const TestFolder data;
  const std::string orders = data.Write("orders.csv", "id,price,qty\n1,2.5,3\n");
  const std::vector<fs::path> scripts = Scripts("/tests/mistakes");
  EXPECT_GE(scripts.size(), 7u);
  for (fs::path script : scripts) {
    std::vector<std::string> arguments = {"check", script.filename()};
    if (script.stem() == "members") arguments.push_back("--data=" + orders);
    const Outcome outcome = Kt(arguments);
    EXPECT_EQ(outcome.messages, Content(script.replace_extension(".expected"))) << script;
    EXPECT_EQ(outcome.status, 0) << script;
  }
}

TEST(CliMistakes, NoneAreInScriptsThatWork) {
  for (const std::string folder : {"/examples", "/bench/workloads"}) {
    const std::vector<fs::path> scripts = Scripts(folder);
    EXPECT_FALSE(scripts.empty());
    for (const fs::path& script : scripts) EXPECT_EQ(Kt({"check", script}).messages, "") << script;
  }
}

// However a script is cut, what is said of it ends; a script without errors has status 0.
TEST(CliMistakes, AnyPartOfAScriptIsAnalysed) {
  const TestFolder folder;
  for (const char* const name : {"loops", "labels", "ways", "variables", "calls"}) {
    const std::string text = Content(kProject + "/tests/mistakes/" + name + ".kts");
    for (std::size_t cut = 0; cut < text.size(); cut += 61) {
      for (const std::string& part : {text.substr(0, cut) + "}", text.substr(cut)}) {
        const Outcome outcome = Kt({"check", folder.Write("a.kts", part)});
        const bool has_error = outcome.messages.find(": error: ") != std::string::npos;
        EXPECT_EQ(outcome.status, has_error ? 1 : 0) << part << outcome.messages;
      }
    }
  }
}

}  // namespace
