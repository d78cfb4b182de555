// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Expr.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_ScriptToRead.h"
#include "cli/Kt_Visible.h"
#include "expr/Kt_ExprDump.h"
#include "script/Kt_ScriptDump.h"

namespace kt::cli {
namespace {

struct DumpOptions {
  std::string file;
  std::string expression;
  std::string function;
  bool is_expression = false;
  bool is_code = false;
  std::vector<std::string> include_dirs;
};

int DumpExpression(const DumpOptions& options, Streams streams) {
  Kt_CliReport report(streams);
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

// The code of every function, or of the one that was named.
int DumpCode(const DumpOptions& options, Kt_Script& script, Streams streams) {
  VisibleStream out(streams.out);
  const Kt_WString wanted = Kt_WString::FromUtf8(options.function);
  bool is_found = false;
  for (kt_long at = 0; at < script.GetFuncs().GetCount(); ++at) {
    const Kt_ScriptFunc& func = *script.GetFuncs().GetItem(at);
    if (!wanted.IsEmpty() && !func.GetName().EqualsNoCase(wanted)) continue;
    out << (is_found ? "\n" : "") << DumpScriptCode(script, func).ToUtf8();
    is_found = true;
  }
  if (is_found || wanted.IsEmpty()) return kFine;
  Tell(streams, Diagnostic::Complaint("kt dump", "no function " + options.function));
  return kCommandFault;
}

int DumpFile(const DumpOptions& options, Streams streams) {
  Kt_CliReport report(streams);
  ScriptToRead read(report);
  if (!AddIncludeDirs(options.include_dirs, "kt dump", read.loader, streams)) return kCommandFault;
  // What could be loaded of a script with faults is worth seeing too.
  const int status = read.loader.Load(options.file);
  if (status == kCommandFault) return status;
  if (options.is_code) return std::max(status, DumpCode(options, read.script, streams));
  VisibleStream(streams.out) << DumpScript(read.script).ToUtf8();
  return status;
}

}  // namespace

void AddDump(CLI::App& app, Action& action) {
  auto options = std::make_shared<DumpOptions>();
  CLI::App* const dump =
      app.add_subcommand("dump", "Show how the engine reads a script or an expression");
  CLI::Option* const file = dump->add_option("FILE", options->file, "The script");
  CLI::Option* const expression =
      dump->add_option("--expr", options->expression, "An expression instead of a script")
          ->type_name("EXPR");
  CLI::Option* const function =
      dump->add_option("FUNC", options->function, "With --code: only this function");
  CLI::Option* const code =
      dump->add_flag("--code", options->is_code, "The instructions that functions run as");
  function->needs(code);
  code->excludes(expression);
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
