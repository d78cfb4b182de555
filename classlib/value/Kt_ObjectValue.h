// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Variant.h"

namespace kt {

// What an object stands for in conversions, operators and built-in functions: the value of its
// default property, when it has one that gives a plain value; otherwise the object itself. Asks the
// host, who may change anything that is not held. REQUIRES: an object.
KT_CLASS_API KT_COLD Kt_Variant ValueOfObject(const Kt_Variant& object);

}  // namespace kt
