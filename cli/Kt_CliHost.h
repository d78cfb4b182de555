// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <span>
#include <string>

#include "object/Kt_ExprObject.h"

class Kt_Script;

namespace kt::cli {

// The functions that kt adds to the language, sorted by name.
std::span<const _EXPR_EXTAPI_INFO> HostFunctions();

}  // namespace kt::cli

// The outermost context of everything that kt runs: gives scripts the host functions and writes
// run-time errors and traces, each with its place, to the stream for messages.
//
// Borrows the streams and the script. Threads: one.
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
  void ClearErrorCount() { error_count_ = 0; }

  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
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

 private:
  // Writes "place: what", and the calls that led there if `with_calls`.
  void Message(const std::string& what, bool with_calls);
  void Error(const std::string& what);
  kt_long Fail(const std::string& what);

  std::ostream& out_;
  std::ostream& messages_;
  Kt_Script* script_ = nullptr;
  std::string source_name_;
  Kt_VariantList args_;
  bool trace_ = false;
  kt_long error_count_ = 0;
};
