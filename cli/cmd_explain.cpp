// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Explain.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Pages.h"
#include "cli/Kt_Text.h"
#include "object/Kt_RunError.h"

namespace kt::cli {
namespace {

struct Entry {
  std::vector<std::string> names;  // of a warning or a cause its name; of an error also its code
  std::string text;
};

// Markdown as a terminal shows it: links are their texts, blocks are moved in.
class PlainText {
 public:
  void Add(const std::string& line) {
    static const std::regex kLink(R"(\[([^\]]*)\]\([^)]*\))");
    if (line.starts_with("```")) {
      in_block_ = !in_block_;
    } else if (in_block_) {
      text_ += line.empty() ? "\n" : "    " + line + "\n";
    } else {
      text_ += std::regex_replace(line, kLink, "$1") + "\n";
    }
  }
  // Without the empty lines at both ends.
  std::string Get() const {
    const std::size_t first = text_.find_first_not_of('\n');
    if (first == text_.npos) return {};
    return text_.substr(first, text_.find_last_not_of('\n') + 2 - first);
  }

 private:
  std::string text_;
  bool in_block_ = false;
};

// The sections of the last chapter of a page.
void AddSections(std::string_view page, std::vector<Entry>& entries) {
  const std::string_view chapter = page.substr(page.rfind("\n## ") + 1);
  std::string name;
  PlainText text;
  const auto close = [&] {
    if (!name.empty()) entries.push_back({{name}, text.Get()});
    text = {};
  };
  for (const std::string& line : SplitLines(chapter)) {
    if (!line.starts_with("### ")) {
      text.Add(line);
      continue;
    }
    close();
    name = line.substr(4);
  }
  close();
}

std::vector<std::string> Cells(std::string_view row) {
  std::vector<std::string> cells;
  for (std::size_t at = 2; at < row.size();) {
    const std::size_t end = std::min(row.find(" |", at), row.size());
    PlainText cell;
    cell.Add(std::string(row.substr(at, end - at)));
    cells.push_back(cell.Get());
    if (!cells.back().empty()) cells.back().pop_back();
    at = end + 3;
  }
  return cells;
}

// The rows of the tables: code, name in backquotes, text, when. Some have no code.
void AddErrors(std::vector<Entry>& entries) {
  for (const std::string& line : SplitLines(ErrorsPage())) {
    if (!line.starts_with("| ") || line.find("`k") == line.npos) continue;
    const std::vector<std::string> cells = Cells(line);
    if (cells.size() < 4 || !cells[1].starts_with("`k")) continue;
    const std::string name = cells[1].substr(1, cells[1].size() - 2);
    entries.push_back(
        {{cells[0], name}, fmt::format("{} {}: {}\n{}\n", cells[0], name, cells[2], cells[3])});
  }
}

std::vector<Entry> AllEntries() {
  std::vector<Entry> entries;
  AddSections(LanguagePage(), entries);  // warnings
  AddSections(ErrorsPage(), entries);    // causes of syntax errors
  AddErrors(entries);
  return entries;
}

int NotThere(const std::string& wanted, const std::vector<Entry>& entries, Streams streams) {
  std::vector<Kt_WString> known;
  known.reserve(entries.size());
  for (const Entry& entry : entries) known.push_back(Kt_WString::FromUtf8(entry.names.back()));
  const Kt_WString text =
      Kt_WString::FromUtf8(fmt::format("there is no warning or error '{}'", wanted));
  const Kt_WString hint = kt::WithHint(text, Kt_WString::FromUtf8(wanted), known);
  Tell(streams, Diagnostic::Complaint("kt explain", hint.ToUtf8()));
  return kCommandFault;
}

bool IsNamed(const Entry& entry, const std::string& wanted) {
  const Kt_WString text = Kt_WString::FromUtf8(wanted);
  return std::any_of(entry.names.begin(), entry.names.end(), [&](const std::string& name) {
    return text.EqualsNoCase(Kt_WString::FromUtf8(name));
  });
}

// Calls `visit` with each entry of that name.
template <class Visit>
void EachNamed(const std::vector<Entry>& entries, const std::string& wanted, Visit visit) {
  for (const Entry& entry : entries) {
    if (IsNamed(entry, wanted)) visit(entry);
  }
}

// Some numbers stand for a fault of scripts and for one of expressions.
int ExplainCode(const std::string& wanted, Streams streams) {
  const std::vector<Entry> entries = AllEntries();
  bool is_found = false;
  EachNamed(entries, wanted, [&](const Entry& entry) {
    if (streams.json) {
      const nlohmann::ordered_json json = {
          {"name", entry.names.back()}, {"code", entry.names.front()}, {"text", entry.text}};
      streams.out << json.dump() << '\n';
    } else {
      streams.out << (is_found ? "\n" : "") << entry.text;
    }
    is_found = true;
  });
  return is_found ? kFine : NotThere(wanted, entries, streams);
}

int ListCodes(Streams streams) {
  for (const Entry& entry : AllEntries())
    streams.out << fmt::format("{}\n", fmt::join(entry.names, " "));
  return kFine;
}

}  // namespace

std::string Explanation(const std::string& wanted) {
  static const std::vector<Entry> kEntries = AllEntries();
  std::string text;
  EachNamed(kEntries, wanted,
            [&](const Entry& entry) { text += (text.empty() ? "" : "\n") + entry.text; });
  return text;
}

void AddExplain(CLI::App& app, Action& action) {
  auto code = std::make_shared<std::string>();
  CLI::App* const explain =
      app.add_subcommand("explain", "Explain a warning or an error, or list all of them");
  explain->add_option("CODE", *code,
                      "The name of a warning or a cause; the number or the name of an error");
  AddJsonFlag(*explain, "Print objects, one a line");
  explain->callback([code, &action] {
    action = [code](Streams streams) {
      return code->empty() ? ListCodes(streams) : ExplainCode(*code, streams);
    };
  });
}

}  // namespace kt::cli
