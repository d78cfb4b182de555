// SPDX-License-Identifier: MIT
#include "cli/Kt_Cli.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <new>
#include <optional>
#include <ostream>
#include <sstream>
#include <string_view>

#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Memory.h"
#include "cli/Kt_Visible.h"

namespace kt::cli {
namespace {

// The option of a command that an argument names; null for none.
const CLI::Option* FindOption(const CLI::App& command, std::string_view argument) {
  const auto is_named = [&](std::string_view dashes, const std::vector<std::string>& names) {
    if (!argument.starts_with(dashes)) return false;
    const std::string_view name = argument.substr(dashes.size());
    return std::find(names.begin(), names.end(), name) != names.end();
  };
  for (const CLI::Option* const option : command.get_options()) {
    if (is_named("--", option->get_lnames()) || is_named("-", option->get_snames())) return option;
  }
  return nullptr;
}

bool TakesValue(const CLI::Option* option) {
  return option != nullptr && option->get_items_expected_max() > 0;
}

using Arguments = std::vector<std::string>;

Arguments::iterator At(Arguments& arguments, std::size_t at) {
  return arguments.begin() + static_cast<std::ptrdiff_t>(at);
}

// What follows the function of `kt run` belongs to the script, also when it looks like an option
// (a negative number, say): a "--" before it says so to the parser.
void ProtectScriptArguments(const CLI::App& command, Arguments& arguments) {
  int positionals = 0;
  for (std::size_t at = 1; at < arguments.size(); ++at) {
    const std::string& argument = arguments[at];
    if (argument == "--") return;
    if (TakesValue(FindOption(command, argument))) {
      ++at;
    } else if (argument.size() < 2 || argument[0] != '-') {
      ++positionals;
    }
    if (positionals == 2) {
      arguments.insert(At(arguments, at + 1), "--");
      return;
    }
  }
}

// An expression, or the number of an error, may begin with a minus: options go first, the rest
// after a "--".
void ProtectExpression(const CLI::App& command, Arguments& arguments) {
  Arguments options = {arguments[0]};
  Arguments rest;
  for (std::size_t at = 1; at < arguments.size(); ++at) {
    const std::string& argument = arguments[at];
    const std::size_t equals = argument.find('=');
    if (argument == "--") {
      rest.insert(rest.end(), At(arguments, at + 1), arguments.end());
      break;
    }
    const CLI::Option* const option = FindOption(command, argument);
    if (option != nullptr || TakesValue(FindOption(command, argument.substr(0, equals)))) {
      options.push_back(argument);
      if (TakesValue(option) && at + 1 < arguments.size()) options.push_back(arguments[++at]);
    } else {
      rest.push_back(argument);
    }
  }
  if (!rest.empty()) options.push_back("--");
  options.insert(options.end(), rest.begin(), rest.end());
  arguments = std::move(options);
}

// A value may begin with a minus too ("--null -,."): it is joined to the name of its option.
void ProtectValues(const CLI::App& command, Arguments& arguments) {
  for (std::size_t at = 1; at + 1 < arguments.size() && arguments[at] != "--"; ++at) {
    if (!TakesValue(FindOption(command, arguments[at]))) continue;
    const std::string& value = arguments[at + 1];
    const bool is_option = FindOption(command, value) != nullptr || value == "--";
    if (value.size() < 2 || value[0] != '-' || is_option) continue;
    arguments[at] += "=" + value;
    arguments.erase(At(arguments, at + 1));
  }
}

// False when an argument is not UTF-8, which has been reported then.
bool AreUtf8(const std::vector<std::string>& arguments, Streams streams) {
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    Kt_WString ignored;
    const std::int64_t bad = ConvertUtf8(arguments[at], ignored);
    if (bad < 0) continue;
    Tell(streams,
         Diagnostic::Complaint(
             "kt", fmt::format("argument {} is no valid UTF-8 at byte offset {}", at + 1, bad)));
    return false;
  }
  return true;
}

int Parse(CLI::App& app, std::vector<std::string> arguments, Streams streams) {
  // The parser takes its arguments from the end.
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    std::ostringstream told;
    if (app.exit(error, streams.out, told) == 0) return kFine;
    Diagnostic fault;
    fault.is_plain = true;
    fault.text = error.what();
    fault.below = told.str().substr(fault.text.size() + 1);
    Tell(streams, fault);
    return kCommandFault;
  }
  return -1;
}

const CLI::App* FindCommand(const CLI::App& app, const std::string& name) {
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (command->get_name() == name) return command;
  }
  return nullptr;
}

int Help(const CLI::App& app, const std::string& name, Streams streams) {
  const CLI::App* const command = FindCommand(app, name);
  if (command != nullptr) {
    streams.out << command->help("kt");
    return kFine;
  }
  Tell(streams, Diagnostic::Complaint("kt help", fmt::format("there is no command '{}'", name)));
  return kCommandFault;
}

// The flag stands among the options; what is after a "--" belongs to the script or is its text.
bool WantsJson(const Arguments& arguments) {
  const auto end = std::find(arguments.begin(), arguments.end(), "--");
  return std::find(arguments.begin(), end, "--json") != end;
}

int Run(const Action& action, std::int64_t limit_bytes, Streams streams) {
  const Kt_CountedMemory bound(limit_bytes);
  const int status = action(streams);
  // What went wrong has been told, unless somebody took no notice of it.
  if (status == kFine && TakeMemoryFailure()) throw std::bad_alloc();
  return status;
}

// `streams` become what the command line asks for; JSON goes to `raw`, as it is.
int Dispatch(Arguments arguments, std::ostream& raw, std::optional<Streams>& streams) {
  if (!AreUtf8(arguments, *streams)) return kCommandFault;
  if (arguments.empty() || (arguments.size() == 1 && arguments[0] == "help")) {
    arguments = {"--help"};
  }
  Action action;
  CLI::App app("Runs, evaluates, checks and explains KtScript scripts.", "kt");
  app.set_version_flag("--version", std::string("kt ") + KT_CLI_VERSION, "Print the version");
  app.require_subcommand(1);
  app.footer(
      "'kt help COMMAND' describes one command. Exit status: 0 fine, 1 a script or its data\n"
      "is at fault, 2 the command line is.");
  AddRun(app, action);
  AddEval(app, action);
  AddCheck(app, action);
  AddExplain(app, action);
  AddDump(app, action);
  AddFmt(app, action);
  AddFunctions(app, action);
  AddRepl(app, action);
  AddShow(app, action);
  AddTest(app, action);
  std::int64_t megabytes = 0;
  for (const char* const name : {"run", "eval", "check", "repl", "show", "test"}) {
    AddMemoryOption(*app.get_subcommand(name), megabytes);
  }
  for (const char* const name : {"run", "eval", "check", "show", "test"}) {
    AddSandboxFlag(*app.get_subcommand(name));
  }

  if (arguments[0] == "help") return Help(app, arguments[1], *streams);
  if (const CLI::App* const command = FindCommand(app, arguments[0])) {
    if (arguments[0] == "run") ProtectScriptArguments(*command, arguments);
    const bool takes_minus = arguments[0] == "eval" || arguments[0] == "explain";
    if (takes_minus) ProtectExpression(*command, arguments);
    // Alone it takes no value: what stands behind it is a file.
    if (arguments[0] == "test") {
      std::replace(arguments.begin(), arguments.end(), std::string("--coverage"),
                   std::string("--coverage=text"));
    }
    ProtectValues(*command, arguments);
  }
  // The messages of `kt check` are its result.
  if (WantsJson(arguments)) {
    streams.emplace(Streams{streams->out, arguments[0] == "check" ? streams->out : raw, true});
  }
  const int status = Parse(app, std::move(arguments), *streams);
  return status >= 0 ? status : Run(action, MemoryLimit(megabytes), *streams);
}

}  // namespace

int Main(std::vector<std::string> arguments, Streams raw) {
  VisibleStream visible(raw.messages);
  std::optional<Streams> streams(Streams{raw.out, visible});
  int status = kScriptFault;
  try {
    status = Dispatch(std::move(arguments), raw.messages, streams);
  } catch (const std::bad_alloc&) {
    TellOutOfMemory(*streams);
  }
  raw.out.flush();
  if (raw.out) return status;
  // The messages of `kt check --json` went to the output.
  const Streams told{raw.out, streams->json ? raw.messages : visible, streams->json};
  Tell(told, Diagnostic::Complaint("kt", "cannot write to the standard output"));
  return std::max(status, kScriptFault);
}

}  // namespace kt::cli
