// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include "cli/usage/Kt_Completion.h"

namespace kt::cli {
namespace {

constexpr const char* kFishHead = R"(# Completion of kt for fish; written by 'kt completion fish'.

function __kt_has_command
    set -l words (commandline -opc)
    test (count $words) -ge 2; and test "$words[2]" = "$argv[1]"
end

function __kt_has_no_command
    test (count (commandline -opc)) -eq 1
end

# Whether fewer arguments stand in front than so many; the others are options that have a value.
function __kt_is_before
    set -l left $argv[1]
    set -l is_value 0
    for word in (commandline -opc)[3..]
        if test $is_value = 1
            set is_value 0
        else if contains -- $word $argv[2..]
            set is_value 1
        else if not string match -q -- '-*' $word
            set left (math $left - 1)
        end
    end
    test $left -gt 0
end

complete -c kt -f
)";

std::string Quote(const std::string& text) { return "'" + Escape(text, "\\'") + "'"; }

// -x: a value is needed and is no file; -r: it is needed; -f: no file; -F: a file.
std::string ValueFlags(const OptionDoc& option) {
  const std::string choices = " -a " + Quote(Join(option.choices));
  switch (option.kind) {
    case ValueKind::kNone: return "";
    case ValueKind::kText: return " -x";
    case ValueKind::kChoice: return (option.is_joined ? " -f" : " -x") + choices;
    case ValueKind::kFolder: return " -x -a '(__fish_complete_directories)'";
    case ValueKind::kFile:
    case ValueKind::kNamedFile: return " -r -F";
  }
  return "";
}

void PutOption(const OptionDoc& option, const std::string& start, std::string& out) {
  out += start;
  for (const std::string& name : option.names) {
    out += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  out += ValueFlags(option) + " -d " + Quote(option.help) + "\n";
}

// Behind some arguments there are no options.
std::string OptionCondition(const CommandDoc& command) {
  std::string condition = "__kt_has_command " + command.name;
  if (command.CountBeforeRest() == 0) return condition;
  condition += fmt::format("; and __kt_is_before {}", command.CountBeforeRest());
  for (const OptionDoc& option : command.options) {
    if (option.kind != ValueKind::kNone && !option.is_joined) {
      condition += " " + Join(option.names);
    }
  }
  return condition;
}

}  // namespace

std::string FishCompletion(const ProgramDoc& doc) {
  std::string out = kFishHead;
  const std::string none = "complete -c kt -n __kt_has_no_command";
  for (const OptionDoc& option : doc.program.options) PutOption(option, none, out);
  for (const CommandDoc& command : doc.commands) {
    out += fmt::format("{} -a {} -d {}\n", none, command.name, Quote(command.help));
  }
  for (const CommandDoc& command : doc.commands) {
    const std::string start = fmt::format("complete -c kt -n '__kt_has_command {}'", command.name);
    out += "\n";
    if (!command.positionals.empty()) {
      const OptionDoc& first = command.positionals.front();
      out += start +
             (first.kind == ValueKind::kChoice ? " -a " + Quote(Join(first.choices)) : " -F") +
             "\n";
    }
    const std::string with_options = "complete -c kt -n __kt_options_of_" + command.name;
    out += fmt::format("function __kt_options_of_{}; {}; end\n", command.name,
                       OptionCondition(command));
    for (const OptionDoc& option : command.options) PutOption(option, with_options, out);
  }
  return out;
}

}  // namespace kt::cli
