// SPDX-License-Identifier: MIT
#include "cli/usage/Kt_CommandDoc.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace kt::cli {
namespace {

// The name of a value without the range that CLI11 puts behind it: "N:INT in [0 - 9]".
std::string ValueName(const CLI::Option& option, std::string& range) {
  std::string type = option.get_type_name();
  const std::size_t in = type.find(" in [");
  if (in == type.npos) return type;
  range = type.substr(in + 4);
  return type.substr(0, type.rfind(':', in));
}

ValueKind KindOf(const OptionDoc& doc) {
  if (!doc.choices.empty()) return ValueKind::kChoice;
  if (doc.value == "NAME=FILE") return ValueKind::kNamedFile;
  if (doc.value == "DIR") return ValueKind::kFolder;
  // What is no option is a file, or goes to a script, which takes files too.
  return doc.names.empty() || doc.value.ends_with("FILE") ? ValueKind::kFile : ValueKind::kText;
}

void SetValue(const CLI::Option& option, const std::vector<std::string>& commands, OptionDoc& doc) {
  std::string range;
  std::string type = ValueName(option, range);
  const bool has_choices = type.find('|') != type.npos;
  doc.is_joined = type.starts_with("[=");
  if (doc.is_joined) type = type.substr(2, type.size() - 3);
  if (has_choices) doc.choices = CLI::detail::split(type, '|');
  doc.value = option.get_positional() ? option.get_name(true) : type;
  if (doc.value == "COMMAND") doc.choices = commands;
  if (!range.empty()) doc.help += " " + range;
  std::string usual = option.get_default_str();
  if (!usual.empty() && usual[0] != '[') usual = "[" + usual + "]";  // as that of a list is
  if (!usual.empty()) doc.help += " " + usual;
  doc.is_repeated = option.get_items_expected_max() > 1;
  doc.kind = KindOf(doc);
}

OptionDoc DescribeOption(const CLI::Option& option, const std::vector<std::string>& commands) {
  OptionDoc doc;
  for (const std::string& name : option.get_snames()) doc.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) doc.names.push_back("--" + name);
  doc.help = option.get_description();
  doc.group = option.get_positional() ? "" : option.get_group();
  for (const CLI::Option* const other : option.get_excludes()) {
    doc.excludes.push_back(other->get_name());
  }
  std::sort(doc.excludes.begin(), doc.excludes.end());  // they come by address
  doc.is_required = option.get_required();
  if (option.get_items_expected_max() > 0) SetValue(option, commands, doc);
  return doc;
}

CommandDoc DescribeCommand(const CLI::App& app, const std::vector<std::string>& commands) {
  CommandDoc doc{app.get_name(), app.get_description(), {}, {}};
  for (const CLI::Option* const option : app.get_options()) {
    (option->get_positional() ? doc.positionals : doc.options)
        .push_back(DescribeOption(*option, commands));
  }
  return doc;
}

}  // namespace

std::size_t CommandDoc::CountBeforeRest() const {
  const auto rest =
      std::find_if(positionals.begin(), positionals.end(),
                   [](const OptionDoc& positional) { return positional.value == "ARG"; });
  return rest == positionals.end() ? 0 : static_cast<std::size_t>(rest - positionals.begin());
}

ProgramDoc DescribeProgram(const CLI::App& app) {
  const auto subcommands = app.get_subcommands([](const CLI::App*) { return true; });
  std::vector<std::string> names;
  names.reserve(subcommands.size());
  for (const CLI::App* const command : subcommands) names.push_back(command->get_name());
  ProgramDoc doc{DescribeCommand(app, names), app.get_footer(), {}};
  for (const CLI::App* const command : subcommands) {
    doc.commands.push_back(DescribeCommand(*command, names));
  }
  return doc;
}

std::string Escape(const std::string& text, const std::string& marked) {
  std::string out;
  for (const char c : text) {
    if (marked.find(c) != marked.npos) out += '\\';
    out += c;
  }
  return out;
}

std::string Join(const std::vector<std::string>& items, const char* between) {
  return CLI::detail::join(items, between);
}

std::string ShellQuote(const std::string& text) {
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

}  // namespace kt::cli
