// SPDX-License-Identifier: MIT
#pragma once

#include <new>
#include <string>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_Memory.h"

namespace kt::detail {

// The code of a failure whose reason has been told: that of the bound that stopped it, if any.
inline kt_long FailureCode() {
  const kt_long stop = Kt_WorkMeter::CurrentStop();
  return stop != 0 ? stop : kFailed;
}

// Runs work(), which answers a code, where nothing may be thrown: memory that runs out and a bound
// that stops the work become their codes. Those have their reason here, unless there is one.
template <class Work>
kt_long Guarded(std::string& error, Work work) {
  const auto answer = [&]() -> kt_long {
    try {
      const kt_long code = work();
      return code == kFailed ? FailureCode() : code;
    } catch (const WorkStopped&) {
      return Kt_WorkMeter::CurrentStop();
    } catch (const std::bad_alloc& failure) {
      return NoteMemoryFailure(failure);
    }
  };
  const kt_long code = answer();
  switch (code) {
    case kErrNoMemory: error = "out of memory"; break;
    case kErrRowNotAdded: error = "too many rows"; break;
    case kErrStepBudget: error = "step limit reached"; break;
    case kErrDeadline: error = "time limit reached"; break;
    case kErrCancelled: error = "cancelled"; break;
    default: break;
  }
  return code;
}

}  // namespace kt::detail
