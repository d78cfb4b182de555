// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"

namespace kt::detail {

// "out of memory", made while there was some.
const Kt_WString& NoMemoryText();

// Why a load was refused that says nothing else.
Kt_WString RefusalText(kt_long code);

}  // namespace kt::detail
