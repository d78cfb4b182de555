// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/Kt_Bounds.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_Loader.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Report.h"
#include "cli/data/Kt_Options.h"
#include "cli/show/Kt_Result.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptDump.h"

namespace kt::cli {
namespace {

struct RunOptions {
  std::string file;
  std::string function = "main";
  std::vector<std::string> arguments;
  std::vector<std::string> include_dirs;
  FileRules file_rules;
  DataArguments data;
  BoundOptions bounds;
  bool strict = false;
  bool trace = false;
};

Kt_VariantList ToList(const std::vector<std::string>& texts) {
  Kt_VariantList list;
  for (const std::string& text : texts) list.Add(Kt_WString::FromUtf8(text));
  return list;
}

bool Call(Kt_Script& script, Kt_CliHost& host, const RunOptions& options, Streams streams) {
  const Kt_VariantList arguments = ToList(options.arguments);
  Kt_Variant result;
  host.SetSourceName(options.file);
  const std::uint64_t failures = Kt_RunError::Last().serial;
  const kt_long code = script.ExecFunc(Kt_WString::FromUtf8(options.function), &arguments, result);
  if (!host.TellOutcome(code, failures)) return false;
  return (result.IsEmpty() && !streams.json) || ShowResult(result, options.file, streams);
}

int RunBounded(const RunOptions& options, Streams streams) {
  DataFiles files;
  if (!ParseDataArguments(options.data, "kt run", streams, files)) return kCommandFault;
  Kt_CliHost host(streams);
  host.SetStrict(options.strict);
  host.SetTrace(options.trace);
  host.SetArgs(ToList(options.arguments));
  Kt_Script script(&host);
  host.SetScript(&script);

  Kt_CliReport report(streams);
  Kt_CliLoader loader(script, report, host.GetFence());
  if (!AddIncludeDirs(options.include_dirs, "kt run", loader, streams) ||
      !SetUpFence(options.file_rules, "kt run", host.GetFence(), streams)) {
    return kCommandFault;
  }
  loader.SetOnFile(
      [&](const std::string& name, const Kt_WString& text) { host.SetSource(name, text); });
  // Before the script, whose globals may use the datasets.
  if (const int status = LoadDataFiles(files, "kt run", host, streams); status != kFine)
    return status;
  const int loaded = loader.Load(options.file);
  if (loaded != kFine) return loaded;
  if (host.GetErrorCount() > 0) return kScriptFault;
  if (!files.save.empty() && !CheckSaveNames(files, host, DumpScript(script), "kt run", streams)) {
    return kCommandFault;
  }
  if (!Call(script, host, options, streams)) return kScriptFault;
  return SaveDataFiles(files, host, streams);
}

int Run(const RunOptions& options, Streams streams) {
  const Bounds bounds(options.bounds);
  const int status = RunBounded(options, streams);
  return TellStop(options.file, streams) ? kScriptFault : status;
}

}  // namespace

void AddRun(CLI::App& app, Action& action) {
  auto options = std::make_shared<RunOptions>();
  CLI::App* const run = app.add_subcommand("run", "Load a script and call one of its functions");
  run->add_option("FILE", options->file, "The script")->required();
  run->add_option("FUNC", options->function, "The function to call")->capture_default_str();
  run->add_option("ARG", options->arguments, "Arguments for the function, as texts");
  AddIncludeDirOption(*run, options->include_dirs);
  AddFileRules(*run, options->file_rules);
  AddDataArguments(*run, options->data);
  AddBoundOptions(*run, options->bounds);
  AddStrictFlag(*run, options->strict);
  run->add_flag("--trace", options->trace, "Write what trace(...) calls say");
  AddJsonFlag(*run, "Print the result as JSON, and messages as objects");
  run->callback([options, &action] {
    action = [options](Streams streams) { return Run(*options, streams); };
  });
}

}  // namespace kt::cli
