// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <optional>
#include <span>
#include <string>

#include "cli/Kt_CliData.h"
#include "cli/Kt_CliDatasets.h"
#include "object/Kt_ExprObject.h"

class Kt_Script;

namespace kt::cli {

// The functions that kt adds to the language, sorted by name.
std::span<const _EXPR_EXTAPI_INFO> HostFunctions();

}  // namespace kt::cli

// The outermost context of everything that kt runs: gives scripts the host functions and the
// datasets of the run, and writes errors and traces, each with its place, to the stream for
// messages. An error that comes again at once at the same place is counted, and written once.
//
// Owns the datasets; borrows the streams and the script. Must outlive the script. Threads: one.
class Kt_CliHost : public Kt_ExprObject {
 public:
  Kt_CliHost(std::ostream& out, std::ostream& messages);

  // The script that runs, for the places in messages; null: none does.
  void SetScript(Kt_Script* script) { script_ = script; }
  // What messages name while no function runs: a file that is being loaded.
  void SetSourceName(const std::string& name) { source_name_ = name; }
  // What args() gives.
  void SetArgs(const Kt_VariantList& args) { args_ = args; }
  // Makes trace(...) write; without it such statements are not even evaluated.
  void SetTrace(bool on) { trace_ = on; }
  // Run-time errors so far.
  kt_long GetErrorCount() const { return error_count_; }
  void ClearErrorCount() {
    error_count_ = 0;
    last_error_.clear();
  }

  Kt_CliDatasets& GetDatasets() { return datasets_; }
  const Kt_CliDatasets& GetDatasets() const { return datasets_; }
  // Reports an error of the run, with its place; the code is for the function that failed.
  kt_long Fail(const std::string& what);

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  Kt_ExprDataset* GetDefaultDataset() override { return datasets_.GetDefault(); }
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override;
  int IsSystemLogMode() override { return 1; }
  int IsDebugTraceMode() override { return trace_ ? 1 : 0; }
  void OnSystemError(const Kt_Result& result) override { OnRunTimeError(result); }
  void OnRunTimeError(const Kt_Result& result) override;
  void OnDebugTrace(const Kt_WString& text) override;

  // The host functions.
  kt_long Print(const Kt_VariantList* args);
  kt_long ReadText(const Kt_VariantList* args, Kt_Variant& result);
  kt_long WriteText(const Kt_VariantList* args, Kt_Variant& result);
  kt_long Args(Kt_Variant& result) const;
  kt_long Dataset(const Kt_VariantList* args, Kt_Variant& result);
  kt_long View(const Kt_VariantList* args, Kt_Variant& result);
  kt_long LoadData(const Kt_VariantList* args, Kt_Variant& result);
  kt_long SaveData(const Kt_VariantList* args, Kt_Variant& result);

 private:
  // Writes "place: what", and the calls that led there if `with_calls`.
  void Message(const std::string& what, bool with_calls);
  void Error(const std::string& what);
  std::string Place() const;
  // The dataset that an argument names or is; null for none.
  Kt_ExprDataset* DatasetOf(const Kt_Variant& value) const;
  bool FormatOf(const Kt_Variant& value, std::optional<kt::cli::DataFormat>& format);
  bool OptionsOf(const char* function, const Kt_Variant& value, kt::cli::DataOptions& options);
  void StoreDataset(Kt_ExprDataset& wrapper, Kt_Variant& result);

  std::ostream& out_;
  std::ostream& messages_;
  Kt_Script* script_ = nullptr;
  std::string source_name_;
  Kt_VariantList args_;
  bool trace_ = false;
  kt_long error_count_ = 0;
  std::string last_error_;  // with its place
  Kt_CliDatasets datasets_{*this};
};
