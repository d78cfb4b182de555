// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <new>
#include <ostream>

#include "classlib/base/Kt_Memory.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Diff.h"
#include "cli/Kt_File.h"
#include "cli/Kt_Options.h"
#include "cli/Kt_Report.h"
#include "cli/fmt/Kt_Format.h"
#include "script/Kt_Script.h"
#include "script/Kt_SyntaxErrors.h"

namespace kt::cli {
namespace {

struct FmtOptions {
  std::vector<std::string> files;
  int width = kDefaultLineWidth;
  bool is_check = false;
  bool is_diff = false;
};

bool IsStandardInput(const std::string& file) { return file == "-"; }

FileResult ReadScript(const std::string& file, Kt_WString& text, std::string& error) {
  return IsStandardInput(file) ? ReadStandardText(text, error) : ReadTextFile(file, text, error);
}

bool HasFault(const std::string& name, const Kt_WString& text, Streams streams) {
  Kt_RunBudget budget;
  budget.limit_steps = 1;  // globals are not computed
  Kt_Script script;
  script.SetBudget(&budget);
  Kt_SyntaxErrorList found;
  Kt_WStrList includes;
  script.ParseScript(Kt_WString::FromUtf8(name), includes, text.GetText(), &found);
  return !Kt_CliReport(streams).Syntax(name, name, text, found);
}

int Fail(const std::string& file, const std::string& why, Streams streams) {
  Tell(streams, Diagnostic::Error(why, file));
  return kScriptFault;
}

int Deliver(const std::string& file, const Kt_WString& text, const Kt_WString& formatted,
            const FmtOptions& options, Streams streams) {
  const bool is_same = text == formatted;
  if (options.is_diff) {
    streams.out << UnifiedDiff(file, text.ToUtf8(), file, formatted.ToUtf8());
    return is_same || !options.is_check ? kFine : kScriptFault;
  }
  if (options.is_check) {
    if (!is_same) streams.out << file << '\n';
    return is_same ? kFine : kScriptFault;
  }
  if (IsStandardInput(file)) {
    streams.out << formatted.ToUtf8();
    return kFine;
  }
  std::string error;
  if (is_same || WriteTextFile(file, formatted, error)) return kFine;
  return Fail(file, "cannot write: " + error, streams);
}

int FormatFile(const std::string& file, const FmtOptions& options, Streams streams) {
  Kt_WString text;
  std::string error;
  switch (ReadScript(file, text, error)) {
    case FileResult::kOk: break;
    case FileResult::kNoAccess:
      Tell(streams, Diagnostic::Error("cannot read: " + error, file));
      return kCommandFault;
    case FileResult::kBadContent: return Fail(file, error, streams);
  }
  if (HasFault(file, text, streams)) return kScriptFault;
  const std::optional<Kt_WString> formatted = FormatScript(text, options.width);
  if (!formatted || !SameScript(text, *formatted)) {
    if (kt::TakeMemoryFailure()) throw std::bad_alloc();
    return Fail(file, "left as it is: it cannot be laid out without changing what it means",
                streams);
  }
  return Deliver(file, text, *formatted, options, streams);
}

int Format(const FmtOptions& options, Streams streams) {
  int status = kFine;
  for (const std::string& file : options.files) {
    status = std::max(status, FormatFile(file, options, streams));
  }
  return status;
}

}  // namespace

void AddFmt(CLI::App& app, Action& action) {
  auto options = std::make_shared<FmtOptions>();
  CLI::App* const fmt = app.add_subcommand("fmt", "Lay out scripts in one style");
  fmt->add_option("FILE", options->files,
                  "Scripts; - is the standard input, which goes to the output")
      ->required();
  fmt->add_option("--width", options->width, "Columns of a line")
      ->type_name("N")
      ->check(CLI::Range(kMinLineWidth, kMaxLineWidth))
      ->capture_default_str();
  fmt->add_flag("--check", options->is_check,
                "Change nothing; name the files that would change, with status 1");
  fmt->add_flag("--diff", options->is_diff, "Change nothing; print what would change");
  AddJsonFlag(*fmt, "Messages as objects, one a line");
  fmt->callback([options, &action] {
    action = [options](Streams streams) { return Format(*options, streams); };
  });
}

}  // namespace kt::cli
