// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kt::cli {

// What a shell can offer for a value.
enum class ValueKind : std::uint8_t {
  kNone,  // a flag has no value
  kText,  // nothing: a number, an expression, ...
  kChoice,
  kFile,
  kFolder,
  kNamedFile  // NAME=FILE
};

// An option or a positional argument of a command, as --help tells it.
struct OptionDoc {
  std::vector<std::string> names;  // "-h", "--help"; empty for a positional one
  std::string value;               // "NAME=FILE", "FUNC"
  std::string help;                // with its limits and default
  std::string group;               // its heading; of positional ones empty
  ValueKind kind = ValueKind::kNone;
  std::vector<std::string> choices;
  std::vector<std::string> excludes;  // names of options
  bool is_required = false;
  bool is_repeated = false;
  bool is_joined = false;  // the value may be missing, and stands behind a "=" only
};

struct CommandDoc {
  std::string name;
  std::string help;
  std::vector<OptionDoc> positionals;
  std::vector<OptionDoc> options;

  // Behind so many positional arguments nothing is an option: the rest belongs to a script.
  std::size_t CountBeforeRest() const;
};

struct ProgramDoc {
  CommandDoc program;
  std::string notes;  // what --help ends with
  std::vector<CommandDoc> commands;
};

// The program as its command line is declared. A value whose name lists alternatives ("a|b") has
// these choices, and COMMAND stands for one of the commands.
ProgramDoc DescribeProgram(const CLI::App& app);

// `text` with a backslash in front of each of the `marked` characters.
std::string Escape(const std::string& text, const std::string& marked);
std::string Join(const std::vector<std::string>& items, const char* between = " ");
// In single quotes of sh and zsh.
std::string ShellQuote(const std::string& text);

}  // namespace kt::cli
