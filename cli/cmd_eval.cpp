// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/Kt_Bounds.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Expr.h"
#include "cli/Kt_Host.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Report.h"
#include "cli/data/Kt_Options.h"
#include "cli/show/Kt_Result.h"
#include "dataset/Kt_DatasetCtx.h"
#include "script/Kt_Script.h"

namespace kt::cli {
namespace {

struct EvalOptions {
  std::string expression;
  FileRules file_rules;
  DataArguments data;
  std::optional<kt_long> row;
  BoundOptions bounds;
  bool strict = false;
};

// False when there is no such row, which has been said then.
bool HasRow(const Kt_Dataset& dataset, kt_long row, Kt_CliReport& report) {
  if (row < dataset.GetRowCount()) return true;
  report.Tell(Diagnostic::Error(fmt::format("there is no row {}; '{}' has {}, counted from 0", row,
                                            dataset.GetId().ToUtf8(), dataset.GetRowCount()),
                                kExpressionName));
  return false;
}

int EvalBounded(const EvalOptions& options, Streams streams) {
  DataFiles files;
  if (!ParseDataArguments(options.data, "kt eval", streams, files)) return kCommandFault;
  if (options.row && files.data.empty()) {
    Tell(streams, Diagnostic::Complaint("kt eval", "--row needs --data"));
    return kCommandFault;
  }
  Kt_CliReport report(streams);
  Kt_Expr expression;
  const Kt_WString text = Kt_WString::FromUtf8(options.expression);
  if (!ParseExpression(text, expression, report)) return kScriptFault;
  Kt_CliHost host(streams);
  host.SetStrict(options.strict);
  if (!SetUpFence(options.file_rules, "kt eval", host.GetFence(), streams)) return kCommandFault;
  host.SetExpression(kExpressionName, text);
  if (const int status = LoadDataFiles(files, "kt eval", host, streams); status != kFine)
    return status;
  if (!CheckSaveNames(files, host, text, "kt eval", streams)) return kCommandFault;
  // A script without text gives an expression what it needs to assign to new names.
  Kt_Script script(&host);
  // Alive until the result has been printed, which may be a part of it.
  std::optional<Kt_DatasetCtx> row;
  if (options.row) {
    Kt_Dataset& dataset = *host.GetDatasets().GetDefault()->GetDataset();
    if (!HasRow(dataset, *options.row, report)) return kScriptFault;
    row.emplace(&script, &script, &dataset, nullptr, nullptr);
    row->SetRowPosition(*options.row, *options.row, 0, *options.row);
  }
  Kt_Variant result;
  Kt_ExprObject* const context = row ? static_cast<Kt_ExprObject*>(&*row) : &script;
  const std::uint64_t failures = Kt_RunError::Last().serial;
  const kt_long code = expression.ExecExpr(context, result);
  if (!host.TellOutcome(code, failures)) return kScriptFault;
  if (!ShowResult(result, kExpressionName, streams)) return kScriptFault;
  return SaveDataFiles(files, host, streams);
}

int Eval(const EvalOptions& options, Streams streams) {
  const Bounds bounds(options.bounds);
  const int status = EvalBounded(options, streams);
  return TellStop(kExpressionName, streams) ? kScriptFault : status;
}

}  // namespace

void AddEval(CLI::App& app, Action& action) {
  auto options = std::make_shared<EvalOptions>();
  CLI::App* const eval = app.add_subcommand("eval", "Evaluate one expression");
  eval->add_option("EXPR", options->expression, "The expression")->required();
  AddFileRules(*eval, options->file_rules);
  AddDataArguments(*eval, options->data);
  eval->add_option("--row", options->row, "Evaluate in that row of the default dataset, from 0")
      ->type_name("N")
      ->check(CLI::Range(kt_long{0}, std::numeric_limits<kt_long>::max()));
  AddBoundOptions(*eval, options->bounds);
  AddStrictFlag(*eval, options->strict);
  AddJsonFlag(*eval, "Print the value as JSON, and messages as objects");
  eval->callback([options, &action] {
    action = [options](Streams streams) { return Eval(*options, streams); };
  });
}

}  // namespace kt::cli
