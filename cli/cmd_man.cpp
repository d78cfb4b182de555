// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_File.h"
#include "cli/Kt_Options.h"
#include "cli/usage/Kt_ManPage.h"

namespace kt::cli {
namespace {

struct ManOptions {
  std::string command;
  std::string folder;
};

int WritePages(const std::vector<ManPage>& pages, const std::string& folder, Streams streams) {
  for (const ManPage& page : pages) {
    const std::string file = folder + "/" + page.name;
    std::string error;
    if (WriteFileBytes(file, page.text, error)) continue;
    Tell(streams, Diagnostic::Error("cannot write: " + error, file));
    return kCommandFault;
  }
  return kFine;
}

int Man(const CLI::App& app, const ManOptions& options, Streams streams) {
  const std::vector<ManPage> pages = MakeManPages(DescribeProgram(app), KT_CLI_VERSION);
  if (!options.folder.empty()) return WritePages(pages, options.folder, streams);
  const std::string wanted = options.command.empty() ? "kt.1" : "kt-" + options.command + ".1";
  for (const ManPage& page : pages) {
    if (page.name != wanted) continue;
    streams.out << page.text;
    return kFine;
  }
  return NoCommand("kt man", options.command, app, streams);
}

}  // namespace

void AddMan(CLI::App& app, Action& action) {
  auto options = std::make_shared<ManOptions>();
  CLI::App* const man = app.add_subcommand("man", "Print a page of the manual, for man");
  CLI::Option* const command = man->add_option("COMMAND", options->command,
                                               "The command; the page of kt itself if not given");
  man->add_option("--to", options->folder, "Write all pages into this folder")
      ->type_name("DIR")
      ->excludes(command);
  AddJsonFlag(*man, "Messages as objects, one a line");
  man->callback([options, &app, &action] {
    action = [options, &app](Streams streams) { return Man(app, *options, streams); };
  });
}

}  // namespace kt::cli
