// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <map>

#include "cli/usage/Kt_Completion.h"

namespace kt::cli {
namespace {

// Goes through the words before the cursor. Bash cuts words at "=" too, unless its settings say
// otherwise, so values come as words of their own. Files are left to the shell, which knows how to
// quote them: no words stand for "any file".
constexpr const char* kBashHead = R"(# Completion of kt for bash; written by 'kt completion bash'.
_kt() {
  local cur=${COMP_WORDS[COMP_CWORD]} command= option= last= ended= before= words= count=0 at word
  for ((at = 1; at < COMP_CWORD; at++)); do
    word=${COMP_WORDS[at]}
    if [[ $word == = ]]; then
      option=$last
    elif [[ -n $option ]]; then
      last=$option option=
    elif [[ -z $ended && $word == -* ]]; then
      [[ $word == -- ]] && ended=1
      last=$word
      case "$command $word" in
)";
constexpr const char* kBashWalkTail = R"(      esac
    elif [[ -z $command ]]; then
      command=$word last=
    else
      last=
      count=$((count + 1))
      case "$command $count" in
)";
constexpr const char* kValues = R"(      esac
    fi
  done
  if [[ $cur == = ]]; then
    cur= option=$last
  elif [[ -z $ended && $cur == --*=* ]]; then
    before=${cur%%=*}= option=${cur%%=*} cur=${cur#*=}
  fi
  COMPREPLY=()
  case "$command $option" in
)";
constexpr const char* kBashTail = R"(  esac
  if [[ -n $words ]]; then
    COMPREPLY=($(compgen -P "$before" -W "$words" -- "$cur"))
    compopt +o default +o bashdefault 2>/dev/null
  fi
}
complete -o bashdefault -o default -F _kt kt
)";

using Cases = std::map<std::string, std::vector<std::string>>;  // patterns by what is done

void PutCases(const Cases& cases, const char* indent, std::string& out) {
  for (const auto& [action, patterns] : cases) {
    out += fmt::format("{}{})\n{}  {} ;;\n", indent, Join(patterns, "|"), indent, action);
  }
}

std::string ActionFor(const OptionDoc& option) {
  switch (option.kind) {
    case ValueKind::kNone:
    case ValueKind::kFile:
    case ValueKind::kNamedFile: return "return";
    case ValueKind::kChoice: return fmt::format("words=\"{}\"", Join(option.choices));
    case ValueKind::kFolder: return "compopt -o dirnames +o default +o bashdefault 2>/dev/null";
    case ValueKind::kText: return "compopt +o default +o bashdefault 2>/dev/null";
  }
  return "return";
}

// What stands where no option waits for its value.
std::string PlainWords(const CommandDoc& command, const std::vector<std::string>& first) {
  std::vector<std::string> options;
  for (const OptionDoc& option : command.options) options.push_back(option.names.back());
  std::string out = fmt::format(
      "  \"{} \")\n    if [[ -z $ended && $cur == -* ]]; then\n"
      "      words=\"{}\"\n",
      command.name, Join(options));
  if (!first.empty()) {
    out += fmt::format("    elif ((count == 0)); then\n      words=\"{}\"\n", Join(first));
  }
  return out + "    fi ;;\n";
}

}  // namespace

std::string BashCompletion(const ProgramDoc& doc) {
  Cases takes_value;
  Cases values;
  Cases ends;
  std::vector<std::string> names;
  std::string plain;
  for (const CommandDoc& command : doc.commands) {
    names.push_back(command.name);
    for (const OptionDoc& option : command.options) {
      if (option.kind == ValueKind::kNone) continue;
      const std::string pattern = fmt::format("\"{} {}\"", command.name, option.names.back());
      if (!option.is_joined) takes_value["option=$word"].push_back(pattern);
      values[ActionFor(option)].push_back(pattern);
    }
    if (const std::size_t count = command.CountBeforeRest()) {
      ends["ended=1"].push_back(fmt::format("\"{} {}\"", command.name, count));
    }
    const bool has_choices = !command.positionals.empty();
    plain += PlainWords(command,
                        has_choices ? command.positionals[0].choices : std::vector<std::string>());
  }
  CommandDoc program = doc.program;
  program.name.clear();
  plain += PlainWords(program, names);

  std::string out = kBashHead;
  PutCases(takes_value, "        ", out);
  out += kBashWalkTail;
  PutCases(ends, "        ", out);
  out += kValues;
  PutCases(values, "  ", out);
  return out + plain + kBashTail;
}

}  // namespace kt::cli
