// SPDX-License-Identifier: MIT
#include "cli/Kt_CliHost.h"

#include <fmt/format.h>

#include <ostream>
#include <vector>

#include "cli/Kt_CliFile.h"
#include "cli/Kt_CliText.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/Kt_RunBudget.h"
#include "script/Kt_Script.h"

namespace {

using kt::cli::ValueText;

// What a host function returns when it has written why it failed.
constexpr kt_long kHostFunctionFailed = static_cast<kt_long>(0x83B0C001);
// A loop that goes on after an error would fill the screen.
constexpr kt_long kMaxErrorsShown = 100;
// Of a long chain of calls both ends tell something, the middle repeats.
constexpr std::size_t kInnerCalls = 12;
constexpr std::size_t kOuterCalls = 4;

std::string PlaceText(const Kt_ScriptPosition& position) {
  return fmt::format("{}:{}", position.source_name.ToUtf8(), position.line + 1);
}

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

// The texts of the values with a blank between them.
std::string JoinTexts(const Kt_VariantList* args) {
  std::string line;
  if (args == nullptr) return line;
  for (kt_long arg = 0; arg < args->GetCount(); ++arg) {
    if (arg > 0) line += ' ';
    line += ValueText(args->GetItemNN(arg));
  }
  return line;
}

const Kt_Variant& Arg(const Kt_VariantList* args, kt_long arg) {
  return args != nullptr ? args->GetItemNN(arg) : Kt_Variant::_KtNullVariant;
}

}  // namespace

std::span<const _EXPR_EXTAPI_INFO> kt::cli::HostFunctions() {
  static const std::vector<_EXPR_EXTAPI_INFO> table = MakeFunctions();
  return table;
}

Kt_CliHost::Kt_CliHost(std::ostream& out, std::ostream& messages)
    : Kt_ExprObject(nullptr), out_(out), messages_(messages) {}

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

void Kt_CliHost::OnRunTimeError(const Kt_Result& result) { Error(result.GetText().ToUtf8()); }

// Inside of a larger expression a trace call runs in any case, like every other function.
void Kt_CliHost::OnDebugTrace(const Kt_WString& text) {
  if (trace_) Message("trace: " + text.ToUtf8(), false);
}

kt_long Kt_CliHost::Print(const Kt_VariantList* args) {
  out_ << JoinTexts(args) + '\n';
  return 0;
}

kt_long Kt_CliHost::Args(Kt_Variant& result) const {
  result = args_;
  return 0;
}

kt_long Kt_CliHost::ReadText(const Kt_VariantList* args, Kt_Variant& result) {
  const std::string path = Arg(args, 0).ToString().ToUtf8();
  Kt_WString text;
  std::string error;
  if (kt::cli::ReadTextFile(path, text, error) != kt::cli::FileResult::kOk) {
    return Fail(fmt::format("cannot read '{}': {}", path, error));
  }
  result = text;
  return 0;
}

kt_long Kt_CliHost::WriteText(const Kt_VariantList* args, Kt_Variant&) {
  const std::string path = Arg(args, 0).ToString().ToUtf8();
  std::string error;
  if (kt::cli::WriteTextFile(path, Arg(args, 1).ToString(), error)) return 0;
  return Fail(fmt::format("cannot write '{}': {}", path, error));
}

kt_long Kt_CliHost::Fail(const std::string& what) {
  Error(what);
  return kHostFunctionFailed;
}

void Kt_CliHost::Error(const std::string& what) {
  ++error_count_;
  if (error_count_ > kMaxErrorsShown) return;
  // A row expression with a fault has it in every row, and what a method refuses its caller may
  // report as well.
  std::string error = Place() + what;
  if (error == last_error_) return;
  last_error_ = std::move(error);
  Message("error: " + what, true);
  if (error_count_ == kMaxErrorsShown) messages_ << "further errors are not shown\n";
}

std::string Kt_CliHost::Place() const {
  const Kt_ScriptCallStack calls =
      script_ != nullptr ? script_->GetCallStack() : Kt_ScriptCallStack();
  return calls.empty() ? source_name_ : PlaceText(calls.front());
}

void Kt_CliHost::Message(const std::string& what, bool with_calls) {
  const Kt_ScriptCallStack calls =
      script_ != nullptr ? script_->GetCallStack() : Kt_ScriptCallStack();
  out_.flush();
  messages_ << (calls.empty() ? source_name_ : PlaceText(calls.front())) << ": " << what << '\n';
  if (!with_calls || calls.size() < 2) return;
  for (std::size_t call = 0; call < calls.size(); ++call) {
    if (call == kInnerCalls && calls.size() > kInnerCalls + kOuterCalls) {
      const std::size_t left_out = calls.size() - kInnerCalls - kOuterCalls;
      messages_ << fmt::format("  ... {} more\n", left_out);
      call += left_out;
    }
    messages_ << fmt::format("  in function {} ({})\n", calls[call].function.ToUtf8(),
                             PlaceText(calls[call]));
  }
}
