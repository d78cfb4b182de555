// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include "cli/usage/Kt_Completion.h"

namespace kt::cli {
namespace {

constexpr const char* kZshHead = R"(#compdef kt
# Completion of kt for zsh; written by 'kt completion zsh'.

_kt_named_file() {
  compset -P '*='
  _files
}

)";
constexpr const char* kMain = R"(
_kt() {
  local context curcontext=$curcontext state state_descr line ret=1
  typeset -A opt_args
  _arguments -C -S \
)";
constexpr const char* kZshTail = R"(    '1:command:->command' \
    '*::argument:->argument' && ret=0
  case $state in
    command)
      _kt_commands && ret=0 ;;
    argument)
      curcontext="${curcontext%:*:*}:kt-$words[1]:"
      case $words[1] in
)";
constexpr const char* kEnd = R"(        *)
          _files && ret=0 ;;
      esac ;;
  esac
  return ret
}

if [[ $funcstack[1] == _kt ]]; then
  _kt "$@"
else
  compdef _kt kt
fi
)";

constexpr const char* kMarked = "\\[]:";

// ":name:what to offer" behind an option or the number of an argument.
std::string ValueSpec(const OptionDoc& option) {
  const std::string name = ":" + Escape(option.value, kMarked) + ":";
  switch (option.kind) {
    case ValueKind::kNone: return "";
    case ValueKind::kText: return name + " ";
    case ValueKind::kChoice: return name + "(" + Join(option.choices) + ")";
    case ValueKind::kFile: return name + "_files";
    case ValueKind::kFolder: return name + "_files -/";
    case ValueKind::kNamedFile: return name + "_kt_named_file";
  }
  return "";
}

std::vector<std::string> OptionSpecs(const OptionDoc& option) {
  std::vector<std::string> excludes = option.names;
  for (const std::string& name : option.excludes) {
    if (name.starts_with('-')) excludes.push_back(name);
  }
  std::vector<std::string> specs;
  for (const std::string& name : option.names) {
    std::string spec = option.is_repeated ? "*" : "(" + Join(excludes) + ")";
    spec += name;
    if (option.kind != ValueKind::kNone) spec += option.is_joined ? "=-" : "=";
    spec += "[" + Escape(option.help, kMarked) + "]" + (option.is_joined ? ":" : "");
    specs.push_back(ShellQuote(spec + ValueSpec(option)));
  }
  return specs;
}

std::vector<std::string> CommandSpecs(const CommandDoc& command) {
  std::vector<std::string> specs;
  for (const OptionDoc& option : command.options) {
    for (std::string& spec : OptionSpecs(option)) specs.push_back(std::move(spec));
  }
  std::size_t number = 0;
  for (const OptionDoc& positional : command.positionals) {
    ++number;
    // Behind "*:" there are no options.
    const std::string all = command.CountBeforeRest() > 0 ? "*:" : "*";
    const std::string place =
        positional.is_repeated ? all : std::to_string(number) + (positional.is_required ? "" : ":");
    specs.push_back(ShellQuote(place + ValueSpec(positional)));
  }
  return specs;
}

}  // namespace

std::string ZshCompletion(const ProgramDoc& doc) {
  std::string out = kZshHead;
  out += "_kt_commands() {\n  local -a commands=(\n";
  for (const CommandDoc& command : doc.commands) {
    out += "    " + ShellQuote(command.name + ":" + Escape(command.help, "\\:")) + "\n";
  }
  out += "  )\n  _describe -t commands command commands\n}\n";
  out += kMain;
  for (const OptionDoc& option : doc.program.options) {
    for (const std::string& spec : OptionSpecs(option)) out += "    " + spec + " \\\n";
  }
  out += kZshTail;
  for (const CommandDoc& command : doc.commands) {
    out += fmt::format("        {})\n          _arguments -S", command.name);
    for (const std::string& spec : CommandSpecs(command)) out += " \\\n            " + spec;
    out += " && ret=0 ;;\n";
  }
  return out + kEnd;
}

}  // namespace kt::cli
