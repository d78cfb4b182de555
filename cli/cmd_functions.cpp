// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <utility>
#include <vector>

#include "classlib/text/Kt_WStrList.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Findings.h"
#include "cli/Kt_Help.h"
#include "cli/Kt_Text.h"
#include "object/Kt_RunError.h"

namespace kt::cli {
namespace {

constexpr int kTextWidth = 76;

// The words of `text` in indented lines.
std::string Wrap(const Kt_WString& text) {
  Kt_WStrList words;
  words.Parse(text, u" ", 0, false, false);
  std::string out;
  int column = 0;
  for (kt_long word = 0; word < words.GetCount(); ++word) {
    const int width = DisplayWidth(words[word]);
    const bool breaks = column == 0 || column + width >= kTextWidth;
    out += breaks ? (out.empty() ? "    " : "\n    ") : " ";
    out += words[word].ToUtf8();
    column = breaks ? width : column + 1 + width;
  }
  return out.empty() ? out : out + "\n";
}

void ListOne(const Help& function, std::ostream& out) {
  Kt_WStrList lines;
  lines.Parse(function.forms, u"\n");
  for (kt_long line = 0; line < lines.GetCount(); ++line) {
    out << fmt::format("{:<18}{}\n", line == 0 ? function.name.ToUtf8() : "", lines[line].ToUtf8());
  }
}

// Members have no call forms: their texts say what they are.
void ListMember(const Help& function, std::ostream& out) {
  out << fmt::format("{:<18}{}\n", function.name.ToUtf8(), Kt_WString(function.does).ToUtf8());
}

int ListAll(Streams streams) {
  for (const HelpSection& section : AllHelp()) {
    if (*section.heading != 0) streams.out << '\n' << section.heading << '\n';
    for (const Help& function : section.entries) {
      if (function.forms == function.name) {
        ListMember(function, streams.out);
      } else {
        ListOne(function, streams.out);
      }
    }
  }
  return kFine;
}

void PrintExamples(const Help& function, std::ostream& out) {
  for (const std::string& line : SplitLines(LayOutExamples(function.examples).ToUtf8())) {
    out << (line.empty() ? "" : "    ") << line << '\n';
  }
}

void Print(const Help& function, const char* kind, std::ostream& out) {
  out << function.forms.ToUtf8();
  if (*kind != 0) out << fmt::format("    ({})", kind);
  out << '\n' << Wrap(function.does) << Wrap(function.odd);
  PrintExamples(function, out);
}

int NotThere(const std::string& name, Streams streams) {
  std::vector<Kt_WString> known;
  for (const HelpSection& section : AllHelp()) {
    for (const Help& function : section.entries) known.push_back(function.name);
  }
  const Kt_WString text = Kt_WString::FromUtf8(fmt::format("there is no function '{}'", name));
  const Kt_WString hint = kt::WithHint(text, Kt_WString::FromUtf8(name), known);
  Tell(streams, Diagnostic::Complaint("kt functions", hint.ToUtf8()));
  return kCommandFault;
}

int Explain(const std::string& name, Streams streams) {
  return ExplainFunction(name, streams.out) ? kFine : NotThere(name, streams);
}

nlohmann::ordered_json ToJson(const Help& function, const char* kind) {
  const auto text = [](const char16_t* of) { return Kt_WString(of).ToUtf8(); };
  nlohmann::ordered_json json = {{"name", function.name.ToUtf8()},
                                 {"kind", *kind != 0 ? kind : "function"},
                                 {"forms", nlohmann::ordered_json::array()},
                                 {"does", text(function.does)},
                                 {"notes", text(function.odd)},
                                 {"makesNames", *kind == 0 && MakesNames(function.name)},
                                 {"examples", nlohmann::ordered_json::array()}};
  for (const Kt_HelpExample& one : function.examples) {
    json["examples"].push_back({{"example", text(one.example)}, {"result", text(one.result)}});
  }
  Kt_WStrList lines;
  lines.Parse(function.forms, u"\n");
  for (kt_long line = 0; line < lines.GetCount(); ++line) {
    json["forms"].push_back(lines[line].ToUtf8());
  }
  return json;
}

int PrintJson(const std::string& name, Streams streams) {
  const Kt_WString wanted = Kt_WString::FromUtf8(name);
  bool is_found = false;
  for (const HelpSection& section : AllHelp()) {
    for (const Help& function : section.entries) {
      if (!name.empty() && !function.name.EqualsNoCase(wanted)) continue;
      is_found = true;
      streams.out << ToJson(function, section.kind).dump() << '\n';
    }
  }
  return is_found ? kFine : NotThere(name, streams);
}

}  // namespace

bool ExplainFunction(const std::string& name, std::ostream& out) {
  const Kt_WString wanted = Kt_WString::FromUtf8(name);
  bool is_found = false;
  for (const HelpSection& section : AllHelp()) {
    for (const Help& function : section.entries) {
      if (!function.name.EqualsNoCase(wanted)) continue;
      if (std::exchange(is_found, true)) out << '\n';
      Print(function, section.kind, out);
    }
  }
  return is_found;
}

void AddFunctions(CLI::App& app, Action& action) {
  auto name = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  CLI::App* const functions = app.add_subcommand(
      "functions",
      "List what scripts can name: functions, methods, properties, keywords, statements");
  functions->add_option("NAME", *name, "What to explain");
  functions->add_flag("--json", *json, "Print objects, one a line");
  functions->callback([name, json, &action] {
    action = [name, json](Streams streams) {
      if (*json) return PrintJson(*name, streams);
      return name->empty() ? ListAll(streams) : Explain(*name, streams);
    };
  });
}

}  // namespace kt::cli
