// SPDX-License-Identifier: MIT
//
// Compares the tables of docs/errors.md with the one list of codes, both ways.
#include <fmt/format.h>

#include <map>

#include "analysis/Kt_Finding.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/text/Kt_WString.h"
#include "cli_test_util.h"

namespace {

using Rows = std::map<std::string, std::string>;  // "code name" -> text

std::string Key(std::int64_t code, const char* name) {
  const kt_long value = static_cast<kt_long>(code);
  const std::string number =
      code > 0 ? fmt::format("0x{:08X}", static_cast<std::uint32_t>(value)) : std::to_string(value);
  return number + " `" + name + "`";
}

// The text as a cell of a table shows it.
std::string Cell(const char16_t* text) {
  std::string cell = Kt_WString(text).ToUtf8();
  for (std::size_t at = 0; (at = cell.find('|', at)) != std::string::npos; at += 2) {
    cell.insert(at, "\\");
  }
  return cell;
}

Rows CodeRows() {
  Rows rows;
#define KT_ROW(name, value, text) rows[Key(value, #name)] = Cell(text);
  KT_RUN_TIME_CODES(KT_ROW)
  KT_SCRIPT_SYNTAX_CODES(KT_ROW)
  KT_EXPR_SYNTAX_CODES(KT_ROW)
#undef KT_ROW
  return rows;
}

// "| code | `name` | text | ..." where the name is a constant of an error.
Rows DocumentRows() {
  Rows rows;
  std::ifstream file(KT_PROJECT_DIR "/docs/errors.md");
  for (std::string line; std::getline(file, line);) {
    const std::size_t name = line.find(" | `k");
    if (!line.starts_with("| ") || name == std::string::npos) continue;
    const std::size_t text = line.find(" | ", name + 3);
    const std::size_t end = line.find(" | ", text + 3);
    if (end == std::string::npos) continue;
    std::string key = line.substr(2, text - 2);
    key.erase(key.find(" |"), 2);
    rows[key] = line.substr(text + 3, end - text - 3);
  }
  return rows;
}

TEST(ErrorsDoc, TableEqualsTheListOfCodes) {
  const Rows code_rows = CodeRows();
  const Rows document_rows = DocumentRows();
  ASSERT_GT(code_rows.size(), 50u);
  for (const auto& [key, text] : code_rows) {
    const auto found = document_rows.find(key);
    if (found == document_rows.end()) {
      ADD_FAILURE() << "docs/errors.md lacks " << key << ": " << text;
    } else {
      EXPECT_EQ(found->second, text) << key;
    }
  }
  for (const auto& [key, text] : document_rows) EXPECT_TRUE(code_rows.contains(key)) << key;
}

TEST(ErrorsDoc, ExplainKnowsEveryCodeAndWarning) {
  for (const auto& [key, text] : CodeRows()) {
    const std::size_t blank = key.find(' ');
    const std::string name = key.substr(blank + 2, key.size() - blank - 3);
    for (const std::string& wanted : {key.substr(0, blank), name}) {
      const Outcome outcome = Kt({"explain", wanted});
      EXPECT_EQ(outcome.status, 0) << wanted << outcome.messages;
      EXPECT_NE(outcome.out.find(name + ": "), std::string::npos) << wanted << outcome.out;
    }
  }
  std::ifstream file(KT_PROJECT_DIR "/docs/kt.md");
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  const std::string shown = Kt({"explain", "UNSET-variable"}).out;
  EXPECT_NE(page.find("$ kt explain unset-variable\n" + shown + "```\n"), std::string::npos)
      << shown;
#define KT_EXPLAINED(code, name) \
  EXPECT_NE(Kt({"explain", Kt_WString(name).ToUtf8()}).out.find("snippet.kts:"), std::string::npos);
  KT_FINDINGS(KT_EXPLAINED)
#undef KT_EXPLAINED
#define KT_EXPLAINED(code, name) EXPECT_EQ(Kt({"explain", Kt_WString(name).ToUtf8()}).status, 0);
  KT_CAUSES(KT_EXPLAINED)
#undef KT_EXPLAINED
  EXPECT_EQ(Kt({"explain", "for-evr"}).messages,
            "kt explain: there is no warning or error 'for-evr' (did you mean 'for-ever'?)\n");
  EXPECT_TRUE(Kt({"explain", "dot-nine", "--json"}).out.starts_with("{\"name\":\"dot-nine\","));
  EXPECT_NE(Kt({"explain"}).out.find("\nfor-ever\n"), std::string::npos);
}

}  // namespace
