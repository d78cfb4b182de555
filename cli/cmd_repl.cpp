// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "cli/Kt_Cli.h"
#include "cli/Kt_CliLoader.h"
#include "cli/Kt_CliOptions.h"
#include "cli/Kt_CliRepl.h"
#include "cli/Kt_CliTerminal.h"

namespace kt::cli {
namespace {

// A wrong folder is a fault of the command line, not of the first file that is loaded.
bool CheckIncludeDirs(const std::vector<std::string>& include_dirs, Streams streams) {
  Kt_Script script;
  Kt_CliReport report(streams.out, streams.messages);
  Kt_CliLoader loader(script, report);
  return AddIncludeDirs(include_dirs, "kt repl", loader, streams);
}

int Prompt(const std::vector<std::string>& include_dirs, Streams streams) {
  Kt_CliTerminal terminal(Kt_CliTerminal::DefaultHistoryFile());
  Kt_CliRepl repl(streams, include_dirs, &Kt_CliTerminal::Interrupted());
  terminal.SetCompleter([&repl](std::string_view before, std::size_t& start) {
    return repl.Complete(before, start);
  });
  streams.out << "kt " << KT_CLI_VERSION << ": :help for help, :quit or Ctrl-D to leave\n";
  return repl.Run(terminal);
}

int Repl(const std::vector<std::string>& include_dirs, Streams streams) {
  if (!CheckIncludeDirs(include_dirs, streams)) return kCommandFault;
  // The editor draws on the output, so both ends have to be the terminal.
  if (::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO)) return Prompt(include_dirs, streams);
  Kt_CliPipe pipe(std::cin);
  return Kt_CliRepl(streams, include_dirs).Run(pipe);
}

}  // namespace

void AddRepl(CLI::App& app, Action& action) {
  auto include_dirs = std::make_shared<std::vector<std::string>>();
  CLI::App* const repl =
      app.add_subcommand("repl", "An interactive prompt; in a pipe, run what comes line by line");
  AddIncludeDirOption(*repl, *include_dirs);
  repl->callback([include_dirs, &action] {
    action = [include_dirs](Streams streams) { return Repl(*include_dirs, streams); };
  });
}

}  // namespace kt::cli
