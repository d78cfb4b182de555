// SPDX-License-Identifier: MIT
#include "cli/usage/Kt_ManPage.h"

#include <fmt/format.h>

#include <algorithm>

namespace kt::cli {
namespace {

// As it stands: signs that roff would make typography of, and marks that it would obey.
std::string Plain(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '\\': out += "\\e"; break;
      case '-': out += "\\-"; break;
      case '\'': out += "\\(aq"; break;
      case '`': out += "\\(ga"; break;
      case '^': out += "\\(ha"; break;
      case '~': out += "\\(ti"; break;
      default: out += c;
    }
  }
  return out.starts_with('.') ? "\\&" + out : out;
}

std::string Bold(const std::string& text) { return "\\fB" + Plain(text) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Plain(text) + "\\fR"; }

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::string Head(const std::string& name, const std::string& help, const std::string& version) {
  return fmt::format(".TH {} 1 \"\" \"{}\" \"KtScript\"\n.SH NAME\n{} \\- {}\n.SH SYNOPSIS\n",
                     Plain(Upper(name)), Plain("kt " + version), Plain(name), Plain(help));
}

// "FILE", "[FUNC]", "[ARG...]".
std::string Placeholder(const OptionDoc& positional) {
  const std::string name = Italic(positional.value) + (positional.is_repeated ? "..." : "");
  return positional.is_required ? name : "[" + name + "]";
}

std::string Entry(const OptionDoc& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.names) names.push_back(Bold(name));
  std::string head = Join(names, ", ");
  if (!option.value.empty()) {
    const std::string value = Italic(option.value);
    head += option.is_joined ? "[=" + value + "]" : (head.empty() ? "" : " ") + value;
  }
  std::string text = option.help;
  if (option.names.empty() && !option.choices.empty()) text += ": " + Join(option.choices, ", ");
  if (!option.excludes.empty()) text += " (not with " + Join(option.excludes, ", ") + ")";
  return fmt::format(".TP\n{}\n{}\n", head, Plain(text));
}

// The entries under the headings of --help, "Options" first.
std::string Entries(const CommandDoc& command) {
  std::string out;
  if (!command.positionals.empty()) out += ".SH ARGUMENTS\n";
  for (const OptionDoc& positional : command.positionals) out += Entry(positional);
  std::vector<std::string> groups;
  for (const OptionDoc& option : command.options) {
    if (std::find(groups.begin(), groups.end(), option.group) == groups.end()) {
      groups.push_back(option.group);
    }
  }
  for (const std::string& group : groups) {
    out += ".SH " + Plain(Upper(group)) + "\n";
    for (const OptionDoc& option : command.options) {
      if (option.group == group) out += Entry(option);
    }
  }
  return out;
}

std::string SeeAlso(const std::vector<std::string>& pages) {
  std::vector<std::string> references;
  references.reserve(pages.size());
  for (const std::string& page : pages) references.push_back(Bold(page) + "(1)");
  return ".SH \"SEE ALSO\"\n" + Join(references, ",\n") + "\n";
}

ManPage CommandPage(const CommandDoc& command, const std::string& notes,
                    const std::string& version) {
  const std::string name = "kt-" + command.name;
  std::string text = Head(name, command.help, version) + Bold("kt " + command.name) + " [" +
                     Italic("OPTIONS") + "]";
  for (const OptionDoc& positional : command.positionals) text += " " + Placeholder(positional);
  text += "\n" + Entries(command) + ".SH NOTES\n" + Plain(notes) + "\n" + SeeAlso({"kt"});
  return {name + ".1", text};
}

ManPage ProgramPage(const ProgramDoc& doc, const std::string& version) {
  std::string text = Head("kt", doc.program.help, version) + Bold("kt") + " " + Italic("COMMAND") +
                     " [" + Italic("OPTIONS") + "] [" + Italic("ARGUMENTS") + "]\n.SH COMMANDS\n";
  std::vector<std::string> pages;
  for (const CommandDoc& command : doc.commands) {
    text += fmt::format(".TP\n{}\n{}\n", Bold(command.name), Plain(command.help));
    pages.push_back("kt-" + command.name);
  }
  text += Entries(doc.program) + ".SH NOTES\n" + Plain(doc.notes) + "\n" + SeeAlso(pages);
  return {"kt.1", text};
}

}  // namespace

std::vector<ManPage> MakeManPages(const ProgramDoc& doc, const std::string& version) {
  std::vector<ManPage> pages = {ProgramPage(doc, version)};
  for (const CommandDoc& command : doc.commands) {
    pages.push_back(CommandPage(command, doc.notes, version));
  }
  return pages;
}

}  // namespace kt::cli
