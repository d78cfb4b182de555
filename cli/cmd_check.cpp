// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "cli/Kt_Bounds.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Findings.h"
#include "cli/Kt_Fix.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_HostNames.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Report.h"
#include "cli/Kt_Sarif.h"
#include "cli/Kt_ScriptToRead.h"
#include "cli/data/Kt_Options.h"

namespace kt::cli {
namespace {

struct CheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> include_dirs;
  std::vector<std::string> hosts;
  FileRules file_rules;
  bool no_warnings = false;
  bool strict = false;
  bool is_fix = false;
  bool is_diff = false;
  bool sarif = false;
  DataArguments data;
  BoundOptions bounds;
};

int CheckFile(const std::string& file, const CheckOptions& options,
              const analysis::KnownNames& known, Kt_CliReport& report, Streams streams) {
  ScriptToRead read(report);
  std::vector<Kt_ParsedFile> parsed;
  read.loader.SetOnParsed([&](Kt_ParsedFile one) { parsed.push_back(std::move(one)); });
  if (!AddIncludeDirs(options.include_dirs, "kt check", read.loader, streams) ||
      !SetUpFence(options.file_rules, "kt check", read.fence, streams)) {
    return kCommandFault;
  }
  const int status = read.loader.Load(file);
  // Behind a fault, what is missing may only not have been read.
  if (status == kFine && report.WantsWarnings()) AddFindings(parsed, known, options.strict);
  for (const Kt_ParsedFile& one : parsed) {
    report.Syntax(one.file, one.name, one.text, one.errors, analysis::SourceKind::kScript,
                  one.findings);
  }
  return status;
}

int CheckAll(const CheckOptions& options, Streams streams) {
  const Bounds bounds(options.bounds);
  DataFiles files;
  if (!ParseDataArguments(options.data, "kt check", streams, files)) return kCommandFault;
  Kt_CliHost host(streams);
  if (const int loaded = LoadDataFiles(files, "kt check", host, streams); loaded != kFine) {
    return loaded;
  }
  analysis::KnownNames known;
  if (std::string error; !AddNames(host.GetDatasets(), options.hosts, known, error)) {
    Tell(streams, Diagnostic::Complaint("kt check", "--host: " + error));
    return kCommandFault;
  }
  Kt_CliReport report(streams);
  report.SetWarnings(!options.no_warnings);
  int status = kFine;
  for (const std::string& file : options.files) {
    if (options.is_fix && !FixFile(file, options.is_diff, streams)) status = kScriptFault;
    if (options.is_diff) continue;
    const int checked = CheckFile(file, options, known, report, streams);
    if (TellStop(file, streams)) return kScriptFault;
    status = std::max(status, checked);
  }
  return status;
}

int Check(const CheckOptions& options, Streams streams) {
  if (!options.sarif) return CheckAll(options, streams);
  std::ostringstream messages;
  const int status = CheckAll(options, {streams.out, messages, true});
  streams.out << ToSarif(messages.str(), status);
  return status;
}

}  // namespace

void AddCheck(CLI::App& app, Action& action) {
  auto options = std::make_shared<CheckOptions>();
  CLI::App* const check = app.add_subcommand("check", "Report syntax errors and likely mistakes");
  check->add_option("FILE", options->files, "Scripts")->required();
  AddIncludeDirOption(*check, options->include_dirs);
  AddFileRules(*check, options->file_rules);
  AddDataArguments(*check, options->data, false);
  check->add_option("--host", options->hosts, "Know the names of this host in place of those of kt")
      ->type_name("FILE")
      ->allow_extra_args(false);
  CLI::Option* const json = AddJsonFlag(*check, "Print what is found as objects, one a line");
  check->add_flag("--sarif", options->sarif, "Print what is found as a log of SARIF 2.1.0")
      ->excludes(json);
  AddBoundOptions(*check, options->bounds);
  CLI::Option* const fix =
      check->add_flag("--fix", options->is_fix, "Mend the errors that have one cure, then check");
  check->add_flag("--diff", options->is_diff, "With --fix: change nothing; print what would change")
      ->needs(fix);
  AddStrictFlag(*check, options->strict)
      ->excludes(check->add_flag("--no-warn", options->no_warnings, "Report errors only"));
  check->callback([options, &action] {
    action = [options](Streams streams) { return Check(*options, streams); };
  });
}

}  // namespace kt::cli
