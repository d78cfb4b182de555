// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_WorkMeter.h"

class Kt_ExprObject;

namespace kt {

// For loops that run inside a script but outside of its interpreter, such as one over the rows of a
// dataset: charges steps to the script that runs on this thread, the innermost one, or to the meter
// of the host. 0, also when nothing is limited, or the code that stops the work, which the loop
// returns; a script has reported it.
KT_SCRIPT_API kt_long ChargeRun(std::int64_t steps);

// 0, or the code that has stopped the work on this thread; reported, unless it has been, by the
// script that runs or else through `context` (may be null). Whoever has done work that may have
// been stopped asks before anybody sees what came of it.
KT_SCRIPT_API kt_long CheckRun(Kt_ExprObject* context);

}  // namespace kt
