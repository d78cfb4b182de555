// SPDX-License-Identifier: MIT
#include "cli/Kt_Cli.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <ostream>
#include <string_view>

#include "classlib/Kt_WString.h"

namespace kt::cli {
namespace {

constexpr std::string_view kValueOptions[] = {"--steps", "--timeout", "--include-dir", "--data",
                                              "--save",  "--format",  "--encoding",    "--row"};
constexpr std::string_view kFlags[] = {"--json", "--verbose", "--help", "-h"};

template <std::size_t N>
bool IsOneOf(const std::string& argument, const std::string_view (&options)[N]) {
  return std::find(std::begin(options), std::end(options), argument) != std::end(options);
}

// What follows the function of `kt run` belongs to the script, also when it looks like an option
// (a negative number, say): a "--" in front of it says so to the parser.
void ProtectScriptArguments(std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments[0] != "run") return;
  int positionals = 0;
  for (std::size_t at = 1; at < arguments.size(); ++at) {
    const std::string& argument = arguments[at];
    if (argument == "--") return;
    if (IsOneOf(argument, kValueOptions)) {
      ++at;
    } else if (argument.size() < 2 || argument[0] != '-') {
      ++positionals;
    }
    if (positionals == 2) {
      arguments.insert(arguments.begin() + static_cast<std::ptrdiff_t>(at) + 1, "--");
      return;
    }
  }
}

// An expression may begin with a minus: the options of `kt eval` go first, the rest behind a "--".
void ProtectExpression(std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments[0] != "eval") return;
  std::vector<std::string> options = {arguments[0]};
  std::vector<std::string> rest;
  for (std::size_t at = 1; at < arguments.size(); ++at) {
    const std::string& argument = arguments[at];
    const std::string name = argument.substr(0, argument.find('='));
    if (argument == "--") {
      rest.insert(rest.end(), arguments.begin() + static_cast<std::ptrdiff_t>(at) + 1,
                  arguments.end());
      break;
    }
    const bool takes_next = IsOneOf(argument, kValueOptions) && at + 1 < arguments.size();
    if (IsOneOf(argument, kFlags) || IsOneOf(name, kValueOptions)) {
      options.push_back(argument);
      if (takes_next) options.push_back(arguments[++at]);
    } else {
      rest.push_back(argument);
    }
  }
  if (!rest.empty()) options.push_back("--");
  options.insert(options.end(), rest.begin(), rest.end());
  arguments = std::move(options);
}

// False when an argument is not UTF-8, which has been reported then.
bool AreUtf8(const std::vector<std::string>& arguments, Streams streams) {
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    Kt_WString ignored;
    const std::int64_t bad = ConvertUtf8(arguments[at], ignored);
    if (bad < 0) continue;
    streams.messages << fmt::format("kt: argument {} is no valid UTF-8 at byte offset {}\n", at + 1,
                                    bad);
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
    const int status = app.exit(error, streams.out, streams.messages);
    return status == 0 ? kFine : kCommandFault;
  }
  return -1;
}

int Help(const CLI::App& app, const std::string& command, Streams streams) {
  for (const CLI::App* const found : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (found->get_name() != command) continue;
    streams.out << found->help("kt");
    return kFine;
  }
  streams.messages << fmt::format("kt help: there is no command '{}'\n", command);
  return kCommandFault;
}

int Run(const Action& action, Streams streams) {
  const int status = action(streams);
  streams.out.flush();
  if (streams.out) return status;
  streams.messages << "kt: cannot write to the standard output\n";
  return kScriptFault;
}

}  // namespace

int Main(std::vector<std::string> arguments, Streams streams) {
  if (!AreUtf8(arguments, streams)) return kCommandFault;
  if (arguments.empty() || (arguments.size() == 1 && arguments[0] == "help")) {
    arguments = {"--help"};
  }
  ProtectScriptArguments(arguments);
  ProtectExpression(arguments);

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
  AddDump(app, action);
  AddFunctions(app, action);
  AddRepl(app, action);
  AddShow(app, action);

  if (arguments[0] == "help") return Help(app, arguments[1], streams);
  const int status = Parse(app, std::move(arguments), streams);
  return status >= 0 ? status : Run(action, streams);
}

}  // namespace kt::cli
