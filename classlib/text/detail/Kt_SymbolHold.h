// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_Symbol.h"

namespace kt::detail {

// A text that kept this symbol has gone or changed.
void DropSymbol(Kt_Symbol symbol);

}  // namespace kt::detail
