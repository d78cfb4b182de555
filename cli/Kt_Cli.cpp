// SPDX-License-Identifier: MIT
#include "cli/Kt_Cli.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <sstream>
#include <string_view>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_WorkThreads.h"
#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Color.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Memory.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Threads.h"
#include "cli/Kt_Visible.h"
#include "object/Kt_RunError.h"

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

// "there is no option '--x'", and the nearest one of `known`.
Diagnostic NotThere(const std::string& said_by, const std::string& what, const std::string& name,
                    const std::vector<std::string>& known) {
  std::vector<Kt_WString> names;
  names.reserve(known.size());
  for (const std::string& one : known) names.push_back(Kt_WString::FromUtf8(one));
  const std::string text = fmt::format("there is no {} '{}'", what, name);
  return Diagnostic::Complaint(
      said_by,
      kt::WithHint(Kt_WString::FromUtf8(text), Kt_WString::FromUtf8(name), names).ToUtf8());
}

// The first argument that looks like an option and is none of the command.
std::optional<Diagnostic> FindUnknownOption(const CLI::App& command, const std::string& said_by,
                                            const Arguments& arguments) {
  std::vector<std::string> known;
  for (const CLI::Option* const option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
  }
  for (std::size_t at = 0; at < arguments.size() && arguments[at] != "--"; ++at) {
    const std::string name = arguments[at].substr(0, arguments[at].find('='));
    const CLI::Option* const option = FindOption(command, name);
    if (TakesValue(option) && name == arguments[at]) ++at;
    if (option != nullptr || name.size() < 2 || name[0] != '-') continue;
    if (name.find_first_of("0123456789.") != 1) return NotThere(said_by, "option", name, known);
  }
  return {};
}

int Parse(CLI::App& app, std::vector<std::string> arguments,
          const std::optional<Diagnostic>& unknown_option, Streams streams) {
  // The parser takes its arguments from the end.
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    std::ostringstream told;
    told.exceptions(std::ios::badbit);  // a stream keeps to itself that memory ran out
    if (app.exit(error, streams.out, told) == 0) return kFine;
    Diagnostic fault;
    fault.is_plain = true;
    fault.text = error.what();
    const std::string below = told.str().substr(fault.text.size() + 1);
    // It may be the cause of all kinds of faults, such as a value that is taken for a file.
    if (unknown_option) fault = *unknown_option;
    fault.below = below;
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

int ShowHelp(const CLI::App& app, const std::string& name, Streams streams) {
  const CLI::App* const command = name.empty() ? &app : FindCommand(app, name);
  if (command != nullptr) {
    streams.out << command->help(name.empty() ? "" : "kt");
    return kFine;
  }
  return NoCommand("kt help", name, app, streams);
}

void AddHelp(CLI::App& app, Action& action) {
  auto name = std::make_shared<std::string>();
  CLI::App* const help = app.add_subcommand("help", "Describe a command");
  help->add_option("COMMAND", *name, "The command; all of them if not given");
  AddJsonFlag(*help, "Messages as objects, one a line");
  help->callback([name, &app, &action] {
    action = [name, &app](Streams streams) { return ShowHelp(app, *name, streams); };
  });
}

// The flag stands among the options; what is after a "--" belongs to the script or is its text.
bool WantsJson(const Arguments& arguments) {
  const auto end = std::find(arguments.begin(), arguments.end(), "--");
  return std::find(arguments.begin(), end, "--json") != end;
}

// What options bound of what a command does.
struct Bounds {
  std::int64_t megabytes = 0;
  int threads = 0;  // not said
};

int Run(const Action& action, const Bounds& bounds, Streams streams) {
  const Kt_CountedMemory bound(MemoryLimit(bounds.megabytes));
  const Kt_WorkThreads allowed(ThreadsFor(bounds.threads));
  const int status = action(streams);
  // That memory ran out has been told, unless somebody took no notice of it, or took it for another
  // fault.
  if (TakeMemoryFailure()) throw std::bad_alloc();
  return status;
}

// Makes the arguments of a command fit for the parser; the option among them that is unknown, for
// when the parser fails.
std::optional<Diagnostic> Prepare(const CLI::App& command, Arguments& arguments) {
  const std::string& name = command.get_name();
  const bool takes_minus = name == "eval" || name == "explain";
  // What is no option of these is an expression or a code, unless that fails.
  const Arguments given = arguments;
  if (name == "run") ProtectScriptArguments(command, arguments);
  if (takes_minus) ProtectExpression(command, arguments);
  // Alone it takes no value: what stands behind it is a file.
  if (name == "test") {
    std::replace(arguments.begin(), arguments.end(), std::string("--coverage"),
                 std::string("--coverage=text"));
  }
  ProtectValues(command, arguments);
  return FindUnknownOption(command, "kt " + name, takes_minus ? given : arguments);
}

enum OptionSet : unsigned {
  kWithNone = 0,
  kWithMemory = 1,
  kWithThreads = 2,
  kWithSandbox = 4,
  kWithAll = kWithMemory | kWithThreads | kWithSandbox,
};

struct Command {
  const char* name;
  void (*add)(CLI::App& app, Action& action);
  unsigned options;
  bool shows_others = false;  // it looks at the options of all commands
};
// In the order of the help.
constexpr Command kCommands[] = {
    {"run", AddRun, kWithAll},
    {"eval", AddEval, kWithAll},
    {"check", AddCheck, kWithMemory | kWithSandbox},
    {"completion", AddCompletion, kWithNone, true},
    {"explain", AddExplain, kWithNone},
    {"dump", AddDump, kWithNone},
    {"fmt", AddFmt, kWithNone},
    {"functions", AddFunctions, kWithNone},
    {"help", AddHelp, kWithNone, true},
    {"lsp", AddLsp, kWithMemory},
    {"man", AddMan, kWithNone, true},
    {"repl", AddRepl, kWithMemory | kWithThreads},
    {"show", AddShow, kWithAll},
    {"test", AddTest, kWithAll},
};

// The command that is called `name`; all of them for one that shows others, and for none. Setting
// up the options of all takes as long as everything else that the program does before it begins.
void AddCommands(CLI::App& app, Action& action, const std::string& name, Bounds& bounds) {
  const auto* const asked = std::ranges::find(kCommands, name, &Command::name);
  const bool is_alone = asked != std::end(kCommands) && !asked->shows_others;
  for (const Command& command : kCommands) {
    if (is_alone && &command != asked) continue;
    command.add(app, action);
    CLI::App& added = *app.get_subcommand(command.name);
    if ((command.options & kWithMemory) != 0) AddMemoryOption(added, bounds.megabytes);
    if ((command.options & kWithThreads) != 0) AddThreadsOption(added, bounds.threads);
    if ((command.options & kWithSandbox) != 0) AddSandboxFlag(added);
    AddColorOption(added);
  }
}

// `streams` become what the command line asks for; JSON goes to `raw`, as it is.
int Dispatch(Arguments arguments, std::ostream& raw, std::optional<Streams>& streams) {
  if (!AreUtf8(arguments, *streams)) return kCommandFault;
  if (arguments.empty()) arguments = {"--help"};
  Action action;
  CLI::App app("Runs, evaluates, checks and explains KtScript scripts.", "kt");
  app.set_version_flag("--version", std::string("kt ") + KT_CLI_VERSION, "Print the version");
  app.require_subcommand(1);
  app.footer(
      "'kt help COMMAND' describes one command. Exit status: 0 fine, 1 a script or its data\n"
      "is at fault, 2 the command line is.");
  Bounds bounds;
  AddCommands(app, action, arguments[0], bounds);

  const CLI::App* const command = FindCommand(app, arguments[0]);
  const std::optional<Diagnostic> unknown_option =
      command != nullptr ? Prepare(*command, arguments) : FindUnknownOption(app, "kt", arguments);
  SetUpColor(arguments, streams->out);
  SetUpColor(arguments, streams->messages);
  // The messages of `kt check` are its result.
  if (WantsJson(arguments)) {
    streams.emplace(Streams{streams->out, arguments[0] == "check" ? streams->out : raw, true});
  }
  if (command == nullptr && !arguments[0].starts_with('-')) {
    return NoCommand("kt", arguments[0], app, *streams);
  }
  const int status = Parse(app, std::move(arguments), unknown_option, *streams);
  return status >= 0 ? status : Run(action, bounds, *streams);
}

}  // namespace

int NoCommand(const char* said_by, const std::string& name, const CLI::App& app, Streams streams) {
  std::vector<std::string> known;
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
    known.push_back(command->get_name());
  }
  Tell(streams, NotThere(said_by, "command", name, known));
  return kCommandFault;
}

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
