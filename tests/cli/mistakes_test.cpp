// SPDX-License-Identifier: MIT
//
// kt check over scripts with mistakes: tests/mistakes/NAME.kts, with what is said of it in
// NAME.expected; and NAME.txt with many short ones. And over scripts that have none.
//
// In NAME.txt "== title" begins a script and "-- title" the statements of a main function; what is
// found stands behind it in lines "> line:column name: hint". An error has its number in front of
// the name, and the place that its hint is about behind the hint.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>

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

struct Mistake {
  std::string title;
  std::string script;
  std::string wanted;
  bool is_statements;
};

std::vector<Mistake> ReadMistakes(const fs::path& path) {
  std::vector<Mistake> mistakes;
  std::istringstream lines(Content(path));
  for (std::string line; std::getline(lines, line);) {
    const std::string mark = line.substr(0, 3);
    if (mark == "== " || mark == "-- ") {
      mistakes.push_back({line.substr(3), "", "", mark == "-- "});
    } else {
      std::string& part = line.starts_with("> ") ? mistakes.back().wanted : mistakes.back().script;
      part += line + "\n";
    }
  }
  return mistakes;
}

// As the file shows it; `lines` come before those of the file.
std::string Shown(const nlohmann::json& found, int lines) {
  const auto place = [&](const nlohmann::json& at) {
    return std::to_string(at["line"].get<int>() - lines) + ":" + at["column"].dump();
  };
  const bool is_error = found["severity"] == "error";
  std::string shown = "> " + place(found) + " " + (is_error ? found["code"].dump() + " " : "");
  shown += found["name"].get<std::string>();
  std::string hint = found["hint"];
  if (hint.empty() && !is_error) hint = found["text"];
  if (!hint.empty()) shown += ": " + hint;
  for (const nlohmann::json& related : found["related"]) shown += " @" + place(related);
  return shown + "\n";
}

TEST(CliMistakes, HaveTheirCauseAndItsPlace) {
  const TestFolder folder;
  const std::string data = "--data=" + folder.Write("orders.csv", "id,price,qty\n1,2.5,3\n");
  int count = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(kProject + "/tests/mistakes")) {
    if (entry.path().extension() != ".txt") continue;
    for (const Mistake& mistake : ReadMistakes(entry.path())) {
      const int lines = mistake.is_statements ? 1 : 0;
      const std::string file = folder.Write(
          "a.kts", lines == 1 ? "function main() {\n" + mistake.script + "}\n" : mistake.script);
      std::istringstream found(Kt({"check", "--json", data, file}).out);
      std::string shown;
      for (std::string line; std::getline(found, line);) {
        shown += Shown(nlohmann::json::parse(line), lines);
      }
      EXPECT_EQ(shown, mistake.wanted) << entry.path() << ": " << mistake.title << "\n"
                                       << mistake.script;
      ++count;
    }
  }
  EXPECT_GE(count, 150);
}

// Where the function around a place begins and ends, in lines; functions begin and end at the left
// edge.
std::pair<int, int> FunctionAround(const std::string& text, std::size_t at) {
  const std::size_t start = text.rfind("\nfunction ", at);
  const std::size_t end = text.find("\n}", at);
  const auto line_of = [&](std::size_t place) {
    return static_cast<int>(std::count(text.begin(), text.begin() + std::ptrdiff_t(place), '\n')) +
           1;
  };
  return {line_of(start + 1), line_of(std::min(end, text.size() - 1) + 1)};
}

// What a slip of the finger leaves out is one error, and a bracket is missed in its own function. A
// script that is right without it has none.
TEST(CliMistakes, ACharacterLessIsOneError) {
  constexpr int kDeletions = 60;  // of each script
  const TestFolder folder;
  std::mt19937 random(7);
  int errors = 0;
  for (const fs::path& script : Scripts("/examples")) {
    const std::string text = Content(script);
    std::vector<std::size_t> places;
    for (std::size_t at = text.find("function "); at < text.size(); ++at) {
      if (std::string_view("()[]{};\"'").find(text[at]) != std::string_view::npos) {
        places.push_back(at);
      }
    }
    std::shuffle(places.begin(), places.end(), random);
    places.resize(std::min<std::size_t>(places.size(), kDeletions));
    for (const std::size_t at : places) {
      std::string cut = text;
      cut.erase(at, 1);
      std::istringstream found(Kt({"check", "--json", folder.Write("a.kts", cut)}).out);
      std::vector<nlohmann::json> told;
      for (std::string line; std::getline(found, line);) {
        told.push_back(nlohmann::json::parse(line));
        if (told.back()["severity"] != "error") told.pop_back();
      }
      const auto [first, last] = FunctionAround(text, at);
      const std::string where =
          script.filename().string() + ", without " + text[at] + " in line " +
          std::to_string(std::count(text.begin(), text.begin() + std::ptrdiff_t(at), '\n') + 1);
      EXPECT_LE(told.size(), 1u) << where << told[0] << told[1];
      for (const nlohmann::json& error : told) {
        ++errors;
        const bool is_bracket = std::string_view("()[]{}").find(text[at]) != std::string_view::npos;
        const int line = error["line"];
        EXPECT_TRUE(!is_bracket || (line >= first && line <= last)) << where << error;
      }
    }
  }
  EXPECT_GT(errors, 150);
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
