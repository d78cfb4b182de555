// SPDX-License-Identifier: MIT
#include "cli/Kt_Host.h"

#include <fmt/format.h>

#include <new>
#include <ostream>
#include <vector>

#include "classlib/base/Kt_StopCodes.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_File.h"
#include "cli/Kt_Report.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/Kt_Script.h"

namespace {

using kt::cli::Diagnostic;
using kt::cli::kHostFunctionFailed;
using kt::cli::WithVisibleControls;

// A loop that goes on after an error would fill the screen.
constexpr kt_long kMaxErrorsShown = 100;

// GetMethodType names this host as the context of its functions.
Kt_CliHost& Host(Kt_ExprObject* context) { return *static_cast<Kt_CliHost*>(context); }

kt_long CallArgs(Kt_ExprObject* context, const Kt_VariantList*, Kt_Variant& result) {
  return Host(context).Args(result);
}
kt_long CallPrint(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant&) {
  return Host(context).Print(args);
}
kt_long CallReadText(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
  return Host(context).ReadText(args, result);
}
kt_long CallWriteText(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
  return Host(context).WriteText(args, result);
}
kt_long CallDataset(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
  return Host(context).Dataset(args, result);
}
kt_long CallView(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
  return Host(context).View(args, result);
}
kt_long CallLoadData(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
  return Host(context).LoadData(args, result);
}
kt_long CallSaveData(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
  return Host(context).SaveData(args, result);
}

std::vector<_EXPR_EXTAPI_INFO> MakeFunctions() {
  std::vector<_EXPR_EXTAPI_INFO> table = {
      {u"args", CallArgs, 0, 1, u"Args()"},
      {u"dataset", CallDataset, 1, 1, u"Dataset(strId[,strColumns])"},
      {u"loadData", CallLoadData, 2, 1, u"LoadData(strId,strPath[,strFormat[,varOptions]])"},
      {u"print", CallPrint, 0, 1, u"Print([varValue[...]])"},
      {u"readText", CallReadText, 1, 1, u"ReadText(strPath)"},
      {u"saveData", CallSaveData, 2, 1, u"SaveData(strId,strPath[,strFormat[,varOptions]])"},
      {u"view", CallView, 2, 1, u"View(strId,strSource[,strFilter])"},
      {u"writeText", CallWriteText, 2, 1, u"WriteText(strPath,strText)"},
  };
  SortExtApiMap(table.data(), static_cast<int>(table.size()));
  return table;
}

// The texts of the values with a blank between them. False when they are too long.
bool JoinTexts(const Kt_VariantList* args, kt::CountedBytes& line) {
  if (args == nullptr) return true;
  for (kt_long arg = 0; arg < args->GetCount(); ++arg) {
    if (arg > 0) line += ' ';
    if (!kt::cli::AppendValueText(args->GetItemNN(arg), line)) return false;
  }
  return true;
}

const Kt_Variant& Arg(const Kt_VariantList* args, kt_long arg) {
  return args != nullptr ? args->GetItemNN(arg) : Kt_Variant::_KtNullVariant;
}

}  // namespace

std::span<const _EXPR_EXTAPI_INFO> kt::cli::HostFunctions() {
  static const std::vector<_EXPR_EXTAPI_INFO> kTable = MakeFunctions();
  return kTable;
}

Kt_CliHost::Kt_CliHost(kt::cli::Streams streams) : Kt_ExprObject(nullptr), streams_(streams) {}

int Kt_CliHost::GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  const auto table = kt::cli::HostFunctions();
  const int row = FindExtApiFuncIdx(table.data(), static_cast<int>(table.size()), name.GetText());
  if (row < 0) return Kt_ExprObject::GetMethodType(name, info);
  info.SetExtAPI(this, name, table[static_cast<std::size_t>(row)].function);
  return EXPR_OBJ_EXTAPI;
}

// A script's own variables come before.
int Kt_CliHost::GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  Kt_ExprDataset* const wrapper = GetChildDataset(name);
  if (wrapper == nullptr) return Kt_ExprObject::GetVarType(name, info);
  info.SetDataset(wrapper);
  return EXPR_OBJ_DATASET;
}

Kt_ExprDataset* Kt_CliHost::GetChildDataset(const Kt_WString& name) {
  if (Kt_ExprDataset* const wrapper = datasets_.Find(name)) return wrapper;
  return name.EqualsNoCase(u"curdata") ? datasets_.GetDefault() : nullptr;
}

void Kt_CliHost::OnRunTimeError(const Kt_Result& result) {
  try {
    if (Kt_RunError::Last().report == result.GetCode()) return Tell(Kt_RunError::Last());
    Kt_RunError error;  // what nobody noted, for lack of memory
    error.report = result.GetCode();
    error.text = result.GetText();
    Tell(error);
  } catch (const std::bad_alloc&) {
    kt::cli::TellOutOfMemory(streams_);
  }
}

// Inside of a larger expression a trace call runs in any case, like every other function.
void Kt_CliHost::OnDebugTrace(const Kt_WString& text) {
  if (!trace_) return;
  const Kt_ScriptCallStack calls =
      script_ != nullptr ? script_->GetCallStack() : Kt_ScriptCallStack();
  const std::string file = calls.empty() ? source_name_ : calls.front().source_name.ToUtf8();
  const kt_long line = calls.empty() ? source_line_ : calls.front().line + 1;
  kt::cli::Tell(streams_, Diagnostic::Note("trace: " + text.ToUtf8(), file, line));
}

void Kt_CliHost::AddNames(Names which, std::vector<Kt_WString>& names) const {
  if (which == Names::kCalls) {
    for (const _EXPR_EXTAPI_INFO& row : kt::cli::HostFunctions()) names.push_back(row.name);
  } else {
    for (const Kt_WString& name : datasets_.GetNames()) names.push_back(name);
  }
}

kt_long Kt_CliHost::Print(const Kt_VariantList* args) {
  kt::CountedBytes line;
  if (!JoinTexts(args, line)) return Fail(std::string("print(): ") + kt::cli::kTooLongToPrint);
  line += '\n';
  streams_.out << line;
  return 0;
}

kt_long Kt_CliHost::Args(Kt_Variant& result) const {
  result = args_;
  return 0;
}

kt_long Kt_CliHost::ReadText(const Kt_VariantList* args, Kt_Variant& result) {
  const std::string path = Arg(args, 0).ToString().ToUtf8();
  std::string file;
  if (!ReachFile("read", path, file)) return kHostFunctionFailed;
  Kt_WString text;
  std::string error;
  if (kt::cli::ReadTextFile(file, text, error, fence_.LinkRule()) != kt::cli::FileResult::kOk) {
    return Fail(fmt::format("cannot read '{}': {}", path, error));
  }
  result = text;
  return 0;
}

kt_long Kt_CliHost::WriteText(const Kt_VariantList* args, Kt_Variant&) {
  const std::string path = Arg(args, 0).ToString().ToUtf8();
  std::string file;
  if (!ReachFile("write", path, file)) return kHostFunctionFailed;
  std::string error;
  if (kt::cli::WriteTextFile(file, Arg(args, 1).ToString(), error, fence_.LinkRule())) return 0;
  return Fail(fmt::format("cannot write '{}': {}", path, error));
}

bool Kt_CliHost::ReachFile(const char* doing, const std::string& path, std::string& file) {
  std::string reason;
  if (fence_.Resolve(path, file, reason)) return true;
  Fail(fmt::format("cannot {} '{}': {}", doing, path, reason));
  return false;
}

// Errors ------------------------------------------------------------------------------------------

kt_long Kt_CliHost::Fail(const std::string& what) { return FailLines(WithVisibleControls(what)); }

kt_long Kt_CliHost::FailLines(const std::string& lines) {
  // What fails because the run is stopped is no fault of its own, and the stop is told once.
  if (Kt_WorkMeter::CurrentStop() != 0) return Kt_WorkMeter::CurrentStop();
  const Kt_WString text = Kt_WString::FromUtf8(lines);
  (void)kt::NoteFailure(kHostFunctionFailed, text);
  Tell(Kt_RunError::Last());
  return kHostFunctionFailed;
}

bool Kt_CliHost::TellOutcome(kt_long code, std::uint64_t serial) {
  if (error_count_ > 0 || Kt_WorkMeter::CurrentStop() != 0) return false;
  const bool has_failed = Kt_RunError::Last().serial != serial;
  if (code == 0 && !has_failed) return true;
  if (!has_failed) (void)kt::NoteCause(code, Kt_Cause::kOther, {Kt_Variant(code).ToString()});
  Tell(Kt_RunError(Kt_RunError::Last()));
  return false;
}

void Kt_CliHost::Tell(const Kt_RunError& error) {
  ++error_count_;
  if (error_count_ > kMaxErrorsShown) return;
  const Diagnostic diagnostic = DiagnosticOf(error);
  // A row expression with a fault has it in every row, and what a method refuses its caller may
  // report as well.
  std::string key = fmt::format("{}:{}: {}", diagnostic.file, diagnostic.line, diagnostic.text);
  if (key == last_error_) return;
  last_error_ = std::move(key);
  TellAtPlace(error, diagnostic);
  if (error_count_ == kMaxErrorsShown) {
    kt::cli::Tell(streams_, Diagnostic::Note("further errors are not shown"));
  }
}

void Kt_CliHost::SetStrict(bool on) {
  strict_.reset();
  if (on) strict_.emplace(*this);
}

void Kt_CliHost::Warn(const Kt_RunError& found) {
  Kt_RunError warning = found;
  Diagnostic diagnostic = DiagnosticOf(warning);
  const auto source = sources_.find(diagnostic.file);
  if (warning.calls.empty() && is_expression_ && source != sources_.end()) {
    kt::StrictReading::Place(warning, {source->second});
  }
  diagnostic.severity = Diagnostic::Severity::kWarning;
  diagnostic.name = Kt_WString(kt::kTextAsZeroName).ToUtf8();
  TellAtPlace(warning, diagnostic);
}

Diagnostic Kt_CliHost::DiagnosticOf(const Kt_RunError& error) const {
  Diagnostic diagnostic = kt::cli::FromRunError(error);
  if (!error.calls.empty()) return diagnostic;
  diagnostic.file = source_name_;
  diagnostic.line = source_line_;
  return diagnostic;
}

void Kt_CliHost::TellAtPlace(const Kt_RunError& error, const Diagnostic& diagnostic) {
  const auto source = sources_.find(diagnostic.file);
  const bool has_source = source != sources_.end() && (!error.calls.empty() || is_expression_) &&
                          !kt::IsStop(diagnostic.code);
  const kt::cli::Part part =
      has_source ? kt::cli::FindPart(source->second, error) : kt::cli::Part();
  if (part.length == 0) return kt::cli::Tell(streams_, diagnostic);
  Kt_CliReport(streams_).AtPlace(diagnostic.file, source->second, part.offset, part.length,
                                 diagnostic);
}
