// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "cli/Kt_Fence.h"
#include "cli/Kt_Loader.h"
#include "script/Kt_RunBudget.h"
#include "script/Kt_Script.h"

namespace kt::cli {

// A script that is read and not run. Loading evaluates its global variables; who does not run the
// script has no use for their values, gives them no host functions, and does not wait for one that
// runs a long loop.
struct ScriptToRead {
  explicit ScriptToRead(Kt_CliReport& report) : loader(script, report, fence) {
    budget.limit_steps = 10000;
    budget.deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    script.SetBudget(&budget);
  }

  Kt_RunBudget budget;
  Kt_Script script;
  Kt_CliFence fence;
  Kt_CliLoader loader;
};

}  // namespace kt::cli
