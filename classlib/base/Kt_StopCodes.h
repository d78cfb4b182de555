// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Codes.h"

namespace kt {

// Whether a code says that a bound ended the run: no name or row is at fault then.
constexpr bool IsStop(kt_long code) {
  return code == kErrStepBudget || code == kErrDeadline || code == kErrCancelled ||
         code == kErrNoMemory || code == kErrTooDeep;
}

}  // namespace kt
