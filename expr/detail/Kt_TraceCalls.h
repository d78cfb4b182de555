// SPDX-License-Identifier: MIT
#pragma once

#include "object/Kt_NameTables.h"

namespace kt::detail {

// The function behind "trace", "tracedata" and "tracevar" (in any case); null for other names. All
// three send one line to the context's OnDebugTrace: trace the texts of its arguments with blanks
// between them, tracevar each with its kind in front ("long 5"), tracedata the items of lists and
// objects, one "index: text" each.
Kt_ExtApi FindTraceCall(const Kt_WString& name);

}  // namespace kt::detail
