// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/Kt_Cli.h"
#include "cli/Kt_CliExpr.h"
#include "cli/Kt_CliHost.h"
#include "cli/Kt_CliJson.h"
#include "cli/Kt_CliReport.h"
#include "cli/Kt_CliText.h"
#include "script/Kt_Script.h"

namespace kt::cli {
namespace {

struct Options {
  std::string expression;
  bool json = false;
};

int Eval(const Options& options, Streams streams) {
  Kt_CliReport report(streams.out, streams.messages);
  Kt_Expr expression;
  if (!ParseExpression(Kt_WString::FromUtf8(options.expression), expression, report)) {
    return kScriptFault;
  }
  // A script without text gives an expression what it needs to assign to new names.
  Kt_CliHost host(streams.out, streams.messages);
  host.SetSourceName(kExpressionName);
  Kt_Script script(&host);
  Kt_Variant result;
  const kt_long code = expression.ExecExpr(&script, result);
  if (code != 0 && host.GetErrorCount() == 0) {
    report.Line("expression: error: the evaluation ended with code " + std::to_string(code));
  }
  if (code != 0 || host.GetErrorCount() > 0) return kScriptFault;

  std::string text = ValueText(result);
  if (options.json && !ToJson(result, text)) {
    report.Line("expression: error: the value is nested too deeply for JSON");
    return kScriptFault;
  }
  streams.out << text << '\n';
  return kFine;
}

}  // namespace

void AddEval(CLI::App& app, Action& action) {
  auto options = std::make_shared<Options>();
  CLI::App* const eval = app.add_subcommand("eval", "Evaluate one expression");
  eval->add_option("EXPR", options->expression, "The expression")->required();
  eval->add_flag("--json", options->json, "Print the value as JSON");
  eval->callback([options, &action] {
    action = [options](Streams streams) { return Eval(*options, streams); };
  });
}

}  // namespace kt::cli
