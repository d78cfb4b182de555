// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

#include "classlib/value/Kt_Variant.h"
#include "object/Kt_ExprObject.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_RunError.h"
#include "script/Kt_RunBudget.h"

namespace kt::detail {

// Calls pure built-in functions where nothing may be reported: what fails is computed once more by
// whoever may report it.
class QuietCalls {
 public:
  // False when the call fails.
  bool Run(Kt_Getter function, std::span<const Kt_Variant> args, Kt_Variant& value) {
    if (!kt::ChargeTime(Kt_WorkMeter::kUnitsPerCall)) return false;
    args_.ClearItems();
    for (const Kt_Variant& arg : args) args_.Add(arg);
    return (context_.*function)(&args_, value) == kOk && CheckCallResult(&context_, value) == kOk;
  }
  // How often something has failed on this thread, also where the code did not tell.
  static std::uint64_t CountFailures() { return failure_count; }

 private:
  class Silence final : public Kt_ExprObject {
   public:
    Silence() : Kt_ExprObject(nullptr) {}
    int IsSystemLogMode() override { return 0; }
  };

  Silence context_;
  Kt_VariantList args_;
};

}  // namespace kt::detail
