// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/Kt_Variant.h"

namespace kt::detail {

// The texts of both operands in one. `result` may be either operand; appending to it in place costs
// no more than what is appended. kErrStringTooLong, and an empty result, past the length limit.
// REQUIRES: neither operand is a reference.
kt_long JoinTexts(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);

}  // namespace kt::detail
