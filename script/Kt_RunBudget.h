// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>

#include "classlib/Kt_Types.h"

// What a host allows one call from outside into a script. Whatever is used up first stops the call:
// it is reported once and the code (kErrStepBudget, kErrDeadline, kErrCancelled) is returned by
// Kt_Script::ExecFunc. Deadline and flag are looked at every few hundred steps, which is well
// within a millisecond of work.
//
// The host owns it, and the flag, for as long as the script has it.
struct Kt_RunBudget {
  // Statements, loop rounds and calls; 0: no limit.
  std::int64_t limit_steps = 0;
  // time_point::max(): none.
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  // Stops the script when it becomes true; any thread may raise it. Null: none.
  const std::atomic<bool>* cancel = nullptr;
  // Bytes by which texts, lists, datasets and evaluation stacks may grow, see Kt_CountedMemory; 0:
  // no limit. Past it the run ends with kErrNoMemory.
  std::int64_t limit_bytes = 0;
};

namespace kt {

// For loops that run inside a script but outside of its interpreter, such as one over the rows of a
// dataset: charges steps to the script that runs on this thread, the innermost one. 0, also when
// none runs, or the code that stops it, which the loop returns; the script has reported it.
KT_SCRIPT_API kt_long ChargeRun(std::int64_t steps);

}  // namespace kt
