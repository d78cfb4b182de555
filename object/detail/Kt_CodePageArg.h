// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// The code page that an argument names by number or by name; the default one for an empty argument
// and for what is no known code page.
kt_long CodePageArg(const Kt_Variant& value);

}  // namespace kt::detail
