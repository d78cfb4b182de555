// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Console.h"
#include "cli/Kt_Loader.h"
#include "cli/Kt_Options.h"
#include "cli/data/Kt_Options.h"
#include "cli/repl/Kt_Repl.h"
#include "cli/show/Kt_Terminal.h"

namespace kt::cli {
namespace {

// A wrong folder is a fault of the command line, not of the first file that is loaded.
bool CheckIncludeDirs(const std::vector<std::string>& include_dirs, Streams streams) {
  Kt_CliFence fence;
  Kt_Script script;
  Kt_CliReport report(streams);
  Kt_CliLoader loader(script, report, fence);
  return AddIncludeDirs(include_dirs, "kt repl", loader, streams);
}

struct ReplOptions {
  std::vector<std::string> include_dirs;
  FileRules file_rules;
  DataArguments data;
};

int Begin(Kt_CliRepl& repl, const ReplOptions& options, const DataFiles& files, Streams streams) {
  if (!SetUpFence(options.file_rules, "kt repl", repl.GetFence(), streams)) return kCommandFault;
  return repl.LoadDataFiles(files);
}

int Prompt(const ReplOptions& options, const DataFiles& files, Streams streams) {
  Kt_CliTerminal terminal(Kt_CliTerminal::DefaultHistoryFile());
  Kt_CliRepl repl(streams, options.include_dirs, &Kt_CliTerminal::Interrupted());
  if (const int status = Begin(repl, options, files, streams); status != kFine) return status;
  terminal.SetCompleter([&repl](std::string_view before, std::size_t& start) {
    return repl.Complete(before, start);
  });
  streams.out << "kt " << KT_CLI_VERSION << ": :help for help, :quit or Ctrl-D to leave\n";
  return repl.Run(terminal);
}

int Repl(const ReplOptions& options, Streams streams) {
  if (!CheckIncludeDirs(options.include_dirs, streams)) return kCommandFault;
  DataFiles files;
  if (!ParseDataArguments(options.data, "kt repl", streams, files)) return kCommandFault;
  for (const DataFiles::Item& item : files.data) {
    if (item.path != kStandardInput) continue;
    Tell(streams,
         Diagnostic::Complaint("kt repl", "--data: the standard input is what is typed here"));
    return kCommandFault;
  }
  // The editor draws on the output, so both ends have to be the terminal.
  if (IsTerminal(Stream::kInput) && IsTerminal(Stream::kOutput)) {
    return Prompt(options, files, streams);
  }
  Kt_CliPipe pipe(std::cin);
  Kt_CliRepl repl(streams, options.include_dirs);
  const int status = Begin(repl, options, files, streams);
  return status == kFine ? repl.Run(pipe) : status;
}

}  // namespace

void AddRepl(CLI::App& app, Action& action) {
  auto options = std::make_shared<ReplOptions>();
  CLI::App* const repl =
      app.add_subcommand("repl", "An interactive prompt; in a pipe, run what comes line by line");
  AddIncludeDirOption(*repl, options->include_dirs);
  AddFileRules(*repl, options->file_rules);
  AddDataArguments(*repl, options->data, false);
  AddJsonFlag(*repl, "Write messages as objects, one a line");
  repl->callback([options, &action] {
    action = [options](Streams streams) { return Repl(*options, streams); };
  });
}

}  // namespace kt::cli
