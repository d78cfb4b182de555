// SPDX-License-Identifier: MIT
//
// Runs the scripts of docs/language.md and docs/datasets.md: every ```kts or ```check block, and
// compares what it prints with the ```output block after it. ```check orders.csv: with that data.
#include "analysis/Kt_Finding.h"
#include "cli_test_util.h"

namespace {

struct Snippet {
  int line = 0;  // of the block in the document
  std::string kind;
  std::string text;
  std::string expected;
};

bool IsScript(const std::string& mark) { return mark == "kts" || mark.starts_with("check"); }

std::vector<Snippet> ReadSnippets(const std::string& path) {
  std::vector<Snippet> snippets;
  std::ifstream file(path);
  std::string block;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.starts_with("```")) {
      const std::string mark = line.substr(3);
      if (IsScript(mark)) snippets.push_back({number, mark, "", ""});
      block = block.empty() ? mark : "";
    } else if (IsScript(block)) {
      snippets.back().text += line + "\n";
    } else if (block == "output" && !snippets.empty()) {
      snippets.back().expected += line + "\n";
    }
  }
  return snippets;
}

// Both streams in one, as a terminal shows them. What is only the inside of a function becomes one
// without a line more, so that the lines in messages are those of the document.
std::string Output(const Snippet& snippet) {
  const TestFolder folder;
  const bool whole = snippet.text.find("function ") != std::string::npos;
  const std::string file = folder.Write(
      "snippet.kts", whole ? snippet.text : "function main() { " + snippet.text + "}\n");
  std::ostringstream both;
  std::vector<std::string> arguments = {snippet.kind == "kts" ? "run" : "check", file};
  if (snippet.kind == "check orders.csv") {
    arguments.push_back("--data=" + folder.Write("orders.csv", "id,price,qty\n1,2.5,3\n2,4,1\n"));
  }
  kt::cli::Main(arguments, {both, both});
  return folder.Shorten(both.str());
}

void RunSnippets(const std::string& page, std::size_t at_least) {
  const std::vector<Snippet> snippets = ReadSnippets(KT_PROJECT_DIR "/" + page);
  ASSERT_GE(snippets.size(), at_least);
  for (const Snippet& snippet : snippets) {
    EXPECT_EQ(Output(snippet), snippet.expected) << page << " line " << snippet.line << ":\n"
                                                 << snippet.text;
  }
}

TEST(LanguageDoc, SnippetsPrintWhatTheDocumentSays) { RunSnippets("docs/language.md", 40); }
TEST(FmtDoc, SnippetsPrintWhatTheDocumentSays) { RunSnippets("docs/fmt.md", 1); }
TEST(DatasetsDoc, SnippetsPrintWhatTheDocumentSays) { RunSnippets("docs/datasets.md", 7); }

TEST(ReadmeDoc, FirstScriptPrintsWhatItSays) {
  const std::string path = KT_PROJECT_DIR "/README.md";
  const std::vector<Snippet> snippets = ReadSnippets(path);
  ASSERT_EQ(snippets.size(), 1u);
  std::ifstream file(path);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::string output = Output(snippets[0]);
  EXPECT_NE(text.find("```\n$ kt run prices.kts\n" + output + "```\n"), std::string::npos)
      << output;
}

TEST(LanguageDoc, EveryWarningHasAnEntryThatShowsIt) {
  const std::vector<Snippet> snippets = ReadSnippets(KT_PROJECT_DIR "/docs/language.md");
  std::string shown;
  for (const Snippet& snippet : snippets) {
    if (snippet.kind != "kts") shown += snippet.expected;
  }
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
