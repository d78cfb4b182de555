// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// The text of kt_shortestdoubleW in ASCII; the place after it.
// REQUIRES: `out` has room for kMaxNumberUnits.
char* WriteShortestDouble(double value, char* out);

}  // namespace kt::detail
