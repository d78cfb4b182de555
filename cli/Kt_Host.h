// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Fence.h"
#include "cli/data/Kt_Data.h"
#include "cli/data/Kt_Datasets.h"
#include "object/Kt_ExprNameSource.h"
#include "object/Kt_ExprObject.h"
#include "object/Kt_StrictReading.h"

class Kt_Script;
struct Kt_DatabaseUrl;

namespace kt::cli {

struct Diagnostic;

// The functions that kt adds to the language, sorted by name.
std::span<const _EXPR_EXTAPI_INFO> HostFunctions();

}  // namespace kt::cli

// The outermost context of everything that kt runs: gives scripts the host functions and the
// datasets of the run, and writes errors and traces, each with its place, to the stream for
// messages. An error that comes again at once at the same place is counted, and written once.
//
// Owns the datasets; borrows the streams and the script. Must outlive the script. Threads: one.
class Kt_CliHost : public Kt_ExprObject, public Kt_ExprNameSource {
 public:
  explicit Kt_CliHost(kt::cli::Streams streams);

  // The script that runs, for the places in messages; null: none does.
  void SetScript(Kt_Script* script) { script_ = script; }
  // What messages name while no function runs: a file that is being loaded, or a line of it.
  void SetSourceName(const std::string& name, kt_long line = 0) {
    source_name_ = name;
    source_line_ = line;
  }
  // The same with its text, in which messages find their place.
  void SetSource(const std::string& name, const Kt_WString& text) {
    SetSourceName(name);
    sources_[name] = text;
  }
  // The one source is an expression: messages show where in it.
  void SetExpression(const std::string& name, const Kt_WString& text) {
    SetSource(name, text);
    is_expression_ = true;
  }
  // What args() gives.
  void SetArgs(const Kt_VariantList& args) { args_ = args; }
  // Makes trace(...) write; without it such statements are not even evaluated.
  void SetTrace(bool on) { trace_ = on; }
  // Warns of texts that arithmetic reads as 0, on the thread that calls this.
  void SetStrict(bool on);
  // Run-time errors so far.
  kt_long GetErrorCount() const { return error_count_; }
  void ClearErrorCount() {
    error_count_ = 0;
    last_error_.clear();
  }

  // The files that scripts may reach.
  Kt_CliFence& GetFence() { return fence_; }
  Kt_CliDatasets& GetDatasets() { return datasets_; }
  const Kt_CliDatasets& GetDatasets() const { return datasets_; }
  // Reports an error of the run, with its place; the code is for the function that failed.
  kt_long Fail(const std::string& what);
  // The same of a text of several lines, whose parts are fit for a terminal already.
  kt_long FailLines(const std::string& lines);
  // The same for a failure that the engine has noted.
  void Tell(const Kt_RunError& error);
  // Tells why a call ended with `code`, unless its errors have been told. Also failures that it
  // survived count, when there were any since the one numbered `serial`. True: all was well.
  bool TellOutcome(kt_long code, std::uint64_t serial);

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  Kt_ExprDataset* GetDefaultDataset() override { return datasets_.GetDefault(); }
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override;
  // Datasets come, and none goes.
  std::uint64_t GetNameVersion() override { return datasets_.GetCount() + 1; }
  int IsSystemLogMode() override { return 1; }
  int IsDebugTraceMode() override { return trace_ ? 1 : 0; }
  void OnSystemError(const Kt_Result& result) override { OnRunTimeError(result); }
  void OnRunTimeError(const Kt_Result& result) override;
  void OnDebugTrace(const Kt_WString& text) override;
  void AddNames(Names which, std::vector<Kt_WString>& names) const override;

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
  struct Strict {
    explicit Strict(Kt_CliHost& host)
        : reading([&host](const Kt_RunError& warning) { host.Warn(warning); }), scope(&reading) {}
    kt::StrictReading reading;
    kt::TextWatch::Scope scope;
  };
  void Warn(const Kt_RunError& found);
  // With the statement, or what messages name while no function runs.
  kt::cli::Diagnostic DiagnosticOf(const Kt_RunError& error) const;
  // With the place in the source, if that is known.
  void TellAtPlace(const Kt_RunError& error, const kt::cli::Diagnostic& diagnostic);
  // The dataset that an argument names or is; null for none.
  Kt_ExprDataset* DatasetOf(const Kt_Variant& value) const;
  bool FormatOf(const Kt_Variant& value, std::optional<kt::cli::DataFormat>& format);
  bool OptionsOf(const char* function, const Kt_Variant& value, kt::cli::DataOptions& options);
  kt_long FailParts(const char* begin, const std::vector<kt::cli::Diagnostic>& fault);
  void StoreDataset(Kt_ExprDataset& wrapper, Kt_Variant& result);

  // The file that an argument names; false when scripts may not reach it, which has been reported.
  bool ReachFile(const char* doing, const std::string& path, std::string& file);
  // The same of a database.
  bool ReachDatabase(const char* doing, const std::string& text, Kt_DatabaseUrl& url);
  // saveData() to a database.
  kt_long SaveToDatabase(Kt_Dataset& dataset, const std::string& text, kt::cli::DataOptions options,
                         Kt_Variant& result);
  bool ReachDataFile(const char* doing, const std::string& path, kt::cli::DataOptions& options,
                     std::string& file);

  kt::cli::Streams streams_;
  Kt_Script* script_ = nullptr;
  std::string source_name_;
  kt_long source_line_ = 0;
  std::map<std::string, Kt_WString> sources_;
  bool is_expression_ = false;
  Kt_VariantList args_;
  bool trace_ = false;
  kt_long error_count_ = 0;
  std::string last_error_;  // with its place
  std::optional<Strict> strict_;
  Kt_CliFence fence_;
  Kt_CliDatasets datasets_{*this};
};
