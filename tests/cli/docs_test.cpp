// SPDX-License-Identifier: MIT
//
// What the documents show is true. In all of them a block
//
//   ```console          whose commands begin with "$ " is run in a shell and compared,
//   ```repl             is typed at the prompt of kt repl and compared,
//   ```csv orders.csv   with a name is that file, for the commands of the page,
//   ```kts, ```check    is a script, run or checked on its own, and compared with the ```output
//                       that follows it. ```check orders.csv: with that data,
//                       ```check strict: with that option.
//
// KT_UPDATE_DOCS=1 writes what the commands print into the pages.
#include <cstdlib>
#include <set>

#include "analysis/Kt_Finding.h"
#include "cli_test_util.h"

namespace {

const std::string kProject = KT_PROJECT_DIR "/";

struct Block {
  int line = 0;  // in the page
  std::string mark;
  std::string text;
};

// A page as blocks between fences: those with an odd index stood inside.
std::vector<Block> ReadBlocks(const std::string& page) {
  std::vector<Block> blocks = {{1, "", ""}};
  std::ifstream file(kProject + page);
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.starts_with("```")) {
      blocks.push_back({number, line.substr(3), ""});
    } else {
      blocks.back().text += line + "\n";
    }
  }
  return blocks;
}

void WriteBlocks(const std::string& page, const std::vector<Block>& blocks) {
  std::ofstream file(kProject + page);
  file << blocks[0].text;
  for (std::size_t at = 1; at < blocks.size(); ++at) {
    file << "```" << blocks[at].mark << "\n" << blocks[at].text;
  }
}

bool IsScript(const Block& block) { return block.mark == "kts" || block.mark.starts_with("check"); }

// The name of the file that the block is; empty when it is none.
std::string FileName(const Block& block) {
  const std::size_t blank = block.mark.find(' ');
  return IsScript(block) || blank == std::string::npos ? "" : block.mark.substr(blank + 1);
}

// Both streams in one, as a terminal shows them. What is only the inside of a function becomes one
// without a line more, so that the lines in messages are those of the document.
std::string OutputOfScript(const Block& script) {
  const TestFolder folder;
  const bool whole = script.text.find("function ") != std::string::npos;
  const std::string file =
      folder.Write("snippet.kts", whole ? script.text : "function main() { " + script.text + "}\n");
  std::ostringstream both;
  std::vector<std::string> arguments = {script.mark == "kts" ? "run" : "check", file};
  if (script.mark == "check strict") arguments.push_back("--strict");
  if (script.mark == "check orders.csv") {
    arguments.push_back("--data=" + folder.Write("orders.csv", "id,price,qty\n1,2.5,3\n2,4,1\n"));
  }
  kt::cli::Main(arguments, {both, both});
  return folder.Shorten(both.str());
}

void RunScripts(const std::string& page, int at_least) {
  const std::vector<Block> blocks = ReadBlocks(page);
  int count = 0;
  for (std::size_t at = 1; at < blocks.size(); at += 2) {
    if (!IsScript(blocks[at])) continue;
    const bool prints = at + 2 < blocks.size() && blocks[at + 2].mark == "output";
    EXPECT_EQ(OutputOfScript(blocks[at]), prints ? blocks[at + 2].text : "")
        << page << " line " << blocks[at].line << ":\n"
        << blocks[at].text;
    ++count;
  }
  EXPECT_GE(count, at_least) << page;
}

// What both streams of a command show.
std::string Shell(const TestFolder& folder, const std::string& command) {
  folder.Write(".command", "cd '" + folder.Path("") + "'\n" + command + "\n");
  const std::string line = "PATH=\"$(dirname '" KT_PROGRAM "'):$PATH\" sh '" +
                           folder.Path(".command") + "' > '" + folder.Path(".shown") + "' 2>&1";
  (void)std::system(line.c_str());  // NOLINT(cert-env33-c)
  std::string shown = folder.Read(".shown");
  std::erase(shown, '\r');  // of CSV, which a terminal does not show
  return shown;
}

// The block as a terminal shows it. A command goes on in the next line behind a backslash.
std::string RunConsole(const TestFolder& folder, const std::string& block) {
  std::istringstream lines(block);
  std::string shown;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("$ ")) continue;
    std::string command = line.substr(2) + "\n";
    shown += line + "\n";
    while (line.ends_with('\\') && std::getline(lines, line)) {
      command += line + "\n";
      shown += line + "\n";
    }
    shown += Shell(folder, command);
  }
  return shown;
}

// "kt:1> " and "   3| ".
std::size_t PromptLength(const std::string& line) {
  const std::size_t end = line.find_first_not_of(" 0123456789", line.starts_with("kt:") ? 3 : 0);
  if (end == std::string::npos || (line[end] != '>' && line[end] != '|')) return 0;
  return std::min(line.size(), end + 2);
}

// The lines behind prompts are typed; the others are what the prompt answers.
std::string RunRepl(const TestFolder& folder, const std::string& block, std::string& answers) {
  std::istringstream lines(block);
  std::string typed;
  answers.clear();
  for (std::string line; std::getline(lines, line);) {
    const std::size_t prompt = PromptLength(line);
    (prompt > 0 ? typed : answers) += line.substr(prompt) + "\n";
  }
  folder.Write(".typed", typed);
  return Shell(folder, "kt repl < .typed");
}

// Runs the commands of a page in a folder that has its files.
class Page {
 public:
  explicit Page(std::string name) : name_(std::move(name)), blocks_(ReadBlocks(name_)) {
    WriteFiles(blocks_);
  }

  // Those of another page, or of a folder of the project, too. What the page shows of a file of the
  // folder is what is in it.
  Page& WithFilesOf(const std::string& path) {
    if (path.ends_with(".md")) {
      WriteFiles(ReadBlocks(path));
    } else {
      for (const auto& entry : std::filesystem::directory_iterator(kProject + path)) {
        const std::string name = entry.path().filename().string();
        const std::string shown = folder_.Read(name);
        std::filesystem::copy_file(entry.path(), folder_.Path(name),
                                   std::filesystem::copy_options::overwrite_existing);
        EXPECT_TRUE(shown.empty() || shown == folder_.Read(name)) << name_ << ": " << name;
      }
    }
    return *this;
  }

  void Run(int at_least) {
    const bool updates = std::getenv("KT_UPDATE_DOCS") != nullptr;
    int count = 0;
    for (std::size_t at = 1; at < blocks_.size(); at += 2) {
      Block& block = blocks_[at];
      if (const std::string file = FileName(block); !file.empty()) folder_.Write(file, block.text);
      EXPECT_TRUE(!block.text.starts_with("$ ") || block.mark == "console")
          << name_ << " line " << block.line << ": not run";
      if (block.mark != "console" && block.mark != "repl") continue;
      ++count;
      std::string wanted = block.text;
      const std::string shown = block.mark == "console" ? RunConsole(folder_, block.text)
                                                        : RunRepl(folder_, block.text, wanted);
      EXPECT_EQ(shown, wanted) << name_ << " line " << block.line;
      if (updates && block.mark == "console") block.text = shown;
    }
    EXPECT_GE(count, at_least) << name_;
    if (updates) WriteBlocks(name_, blocks_);
  }

 private:
  void WriteFiles(const std::vector<Block>& blocks) const {
    for (std::size_t at = 1; at < blocks.size(); at += 2) {
      if (const std::string file = FileName(blocks[at]);
          !file.empty() && !std::filesystem::exists(folder_.Path(file))) {
        folder_.Write(file, blocks[at].text);
      }
    }
  }

  const TestFolder folder_;
  const std::string name_;
  std::vector<Block> blocks_;
};

TEST(Docs, ScriptsPrintWhatThePageSays) {
  RunScripts("docs/language.md", 40);
  RunScripts("docs/errors.md", 20);
  RunScripts("docs/fmt.md", 1);
  RunScripts("docs/datasets.md", 7);
}

TEST(Docs, Readme) { Page("README.md").WithFilesOf("docs/kt.md").Run(2); }
TEST(Docs, Kt) { Page("docs/kt.md").Run(20); }
TEST(Docs, Test) { Page("docs/test.md").Run(1); }
TEST(Docs, Tutorial) { Page("docs/tutorial.md").WithFilesOf("examples/tutorial").Run(20); }

// Its data comes with packages, whose next version may have other rows.
TEST(Docs, Cookbook) {
  const struct {
    const char* path;
    std::uintmax_t size;
  } kFiles[] = {
      {"/usr/share/unicode/UnicodeData.txt", 1913704},
      {"/usr/share/unicode/Blocks.txt", 10951},
      {"/usr/share/iso-codes/json/iso_3166-1.json", 43284},
      {"/usr/share/iso-codes/json/iso_3166-2.json", 501099},
      {"/usr/share/iso-codes/json/iso_4217.json", 16584},
  };
  for (const auto& file : kFiles) {
    std::error_code none;
    if (std::filesystem::file_size(file.path, none) != file.size) {
      GTEST_SKIP() << "not here, or another version: " << file.path;
    }
  }
  Page("docs/cookbook.md").WithFilesOf("examples/tutorial").Run(35);
}

// What the check blocks of a page show.
std::string ShownBy(const std::string& page) {
  const std::vector<Block> blocks = ReadBlocks(page);
  std::string shown;
  for (std::size_t at = 3; at < blocks.size(); at += 2) {
    if (blocks[at - 2].mark.starts_with("check")) shown += blocks[at].text;
  }
  return shown;
}

TEST(Docs, EveryCauseHasAnEntryThatShowsIt) {
  const std::string shown = ShownBy("docs/errors.md");
  const std::set<std::string> untold = {"bad-sign", "nested-too-deeply", "text-after-nul"};
#define KT_EXPECT_SHOWN(code, text)                                                 \
  if (const std::string name = Kt_WString(text).ToUtf8(); !untold.contains(name)) { \
    EXPECT_NE(shown.find("[" + name + "]"), std::string::npos) << name;             \
  }
  KT_CAUSES(KT_EXPECT_SHOWN)
#undef KT_EXPECT_SHOWN
}

TEST(Docs, EveryWarningHasAnEntryThatShowsIt) {
  const std::string shown = ShownBy("docs/language.md");
  std::vector<std::string> names = {
#define KT_NAME_OF(code, name) Kt_WString(name).ToUtf8(),
      KT_FINDINGS(KT_NAME_OF)
#undef KT_NAME_OF
  };
  for (const char* const name :
       {"mixed-and-or", "marker-grouping", "fails-at-run-time", "dot-nine",
        "comment-eats-character", "compare-statement", "else-two-letter-word", "for-ever",
        "label-case", "default-before-last-label", "second-definition"}) {
    names.push_back(name);
  }
  for (const std::string& name : names) {
    EXPECT_NE(shown.find("[" + name + "]"), std::string::npos) << name;
  }
}

}  // namespace
