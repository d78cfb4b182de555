// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "cli/Kt_Bounds.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Findings.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Report.h"
#include "cli/Kt_ScriptToRead.h"
#include "cli/data/Kt_Options.h"

namespace kt::cli {
namespace {

struct Options {
  std::vector<std::string> files;
  std::vector<std::string> include_dirs;
  FileRules file_rules;
  bool no_warnings = false;
  DataArguments data;
  BoundOptions bounds;
};

int CheckFile(const std::string& file, const Options& options, const analysis::KnownNames& known,
              Kt_CliReport& report, Streams streams) {
  ScriptToRead read(report);
  std::vector<Kt_ParsedFile> parsed;
  read.loader.SetOnParsed([&](Kt_ParsedFile one) { parsed.push_back(std::move(one)); });
  if (!AddIncludeDirs(options.include_dirs, "kt check", read.loader, streams) ||
      !SetUpFence(options.file_rules, "kt check", read.fence, streams)) {
    return kCommandFault;
  }
  const int status = read.loader.Load(file);
  // Behind a fault, what is missing may only not have been read.
  if (status == kFine && report.WantsWarnings()) AddFindings(parsed, known);
  for (const Kt_ParsedFile& one : parsed) report.Syntax(one.file, one.name, one.text, one.errors);
  return status;
}

int Check(const Options& options, Streams streams) {
  const Bounds bounds(options.bounds);
  DataFiles files;
  if (!ParseDataArguments(options.data, "kt check", streams, files)) return kCommandFault;
  Kt_CliHost host(streams);
  if (const int loaded = LoadDataFiles(files, "kt check", host, streams); loaded != kFine) {
    return loaded;
  }
  const analysis::KnownNames known = KtNames(host.GetDatasets());
  Kt_CliReport report(streams);
  report.SetWarnings(!options.no_warnings);
  int status = kFine;
  for (const std::string& file : options.files) {
    const int checked = CheckFile(file, options, known, report, streams);
    if (TellStop(file, streams)) return kScriptFault;
    status = std::max(status, checked);
  }
  return status;
}

}  // namespace

void AddCheck(CLI::App& app, Action& action) {
  auto options = std::make_shared<Options>();
  CLI::App* const check = app.add_subcommand("check", "Report syntax errors and likely mistakes");
  check->add_option("FILE", options->files, "Scripts")->required();
  AddIncludeDirOption(*check, options->include_dirs);
  AddFileRules(*check, options->file_rules);
  AddDataArguments(*check, options->data, false);
  AddJsonFlag(*check, "Print what is found as objects, one a line");
  AddBoundOptions(*check, options->bounds);
  check->add_flag("--no-warn", options->no_warnings, "Report errors only");
  check->callback([options, &action] {
    action = [options](Streams streams) { return Check(*options, streams); };
  });
}

}  // namespace kt::cli
