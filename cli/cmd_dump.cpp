// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Expr.h"
#include "cli/Kt_Loader.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Visible.h"
#include "expr/Kt_ExprDump.h"
#include "script/Kt_RunBudget.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptDump.h"

namespace kt::cli {
namespace {

struct Options {
  std::string file;
  std::string expression;
  bool is_expression = false;
  std::vector<std::string> include_dirs;
};

int DumpExpression(const Options& options, Streams streams) {
  Kt_CliReport report(streams.out, streams.messages);
  Kt_Expr expression;
  if (!ParseExpression(Kt_WString::FromUtf8(options.expression), expression, report)) {
    return kScriptFault;
  }
  VisibleStream out(streams.out);
  // A bracket list keeps its text and has no operations before its pieces are evaluated.
  if (expression.GetState() == kStateList) {
    out << "list  " << expression.GetText().ToUtf8() << '\n';
  } else {
    out << DumpOps(expression.GetOps()).ToUtf8();
  }
  return kFine;
}

int DumpFile(const Options& options, Streams streams) {
  Kt_CliReport report(streams.out, streams.messages);
  Kt_Script script;
  Kt_RunBudget budget;
  budget.limit_steps = kInitialiserSteps;
  budget.deadline = std::chrono::steady_clock::now() + kInitialiserTime;
  script.SetBudget(&budget);
  Kt_CliFence fence;
  Kt_CliLoader loader(script, report, fence);
  if (!AddIncludeDirs(options.include_dirs, "kt dump", loader, streams)) return kCommandFault;
  // What could be loaded of a script with faults is worth seeing too.
  const int status = loader.Load(options.file);
  if (status != kCommandFault) VisibleStream(streams.out) << DumpScript(script).ToUtf8();
  return status;
}

}  // namespace

void AddDump(CLI::App& app, Action& action) {
  auto options = std::make_shared<Options>();
  CLI::App* const dump =
      app.add_subcommand("dump", "Show how the engine reads a script or an expression");
  CLI::Option* const file = dump->add_option("FILE", options->file, "The script");
  CLI::Option* const expression =
      dump->add_option("--expr", options->expression, "An expression instead of a script")
          ->type_name("EXPR");
  AddIncludeDirOption(*dump, options->include_dirs);
  AddJsonFlag(*dump, "Write messages as objects, one a line");
  dump->callback([options, file, expression, &action] {
    if ((file->count() > 0) == (expression->count() > 0)) {
      throw CLI::ValidationError("dump", "give a FILE or --expr EXPR");
    }
    options->is_expression = expression->count() > 0;
    action = [options](Streams streams) {
      return options->is_expression ? DumpExpression(*options, streams)
                                    : DumpFile(*options, streams);
    };
  });
}

}  // namespace kt::cli
