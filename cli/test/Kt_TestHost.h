// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/Kt_Host.h"

// The host of one test: the functions of kt, and those that tests are made of (docs/test.md).
class Kt_TestHost : public Kt_CliHost {
 public:
  // `folder` is that of the file of the test; with `updates` what is recorded is written anew.
  Kt_TestHost(kt::cli::Streams streams, std::string folder, bool updates)
      : Kt_CliHost(streams), folder_(std::move(folder)), updates_(updates) {}

  void SetScript(Kt_Script& script) {
    Kt_CliHost::SetScript(&script);
    script_ = &script;
  }
  // Calls a function of the script. True: it ended without a fault.
  bool Call(const Kt_WString& function);

  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  void OnRunTimeError(const Kt_Result& result) override;
  void AddNames(Names which, std::vector<Kt_WString>& names) const override;

  // The functions for tests.
  kt_long Assert(const Kt_VariantList& args);
  kt_long AssertEqual(const Kt_VariantList& args);
  kt_long AssertFails(const Kt_VariantList& args);
  kt_long AssertRecorded(const Kt_VariantList& args);
  kt_long Fixture(const Kt_VariantList& args, Kt_Variant& result);

 private:
  // `lines` are fit for a terminal; `text` is what the test says about it.
  kt_long FailWith(const char* function, const Kt_Variant& text, const std::string& lines);
  // Runs an expression, or statements; false when it failed, with what failed in `failure`.
  bool Runs(const Kt_WString& code, Kt_WString& failure);

  std::string folder_;
  bool updates_;
  Kt_Script* script_ = nullptr;
  bool is_expecting_ = false;         // errors are asked for
  std::uint64_t known_failures_ = 0;  // up to this one failures were expected
};
