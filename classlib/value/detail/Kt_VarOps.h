// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_ObjectValue.h"

namespace kt::detail {

inline bool IsAnyObject(const Kt_Variant& left, const Kt_Variant& right) {
  return left.Target().IsObject() || right.Target().IsObject();
}

// Calls an operator with what both operands stand for, at least one of them an object.
template <class Operator>
KT_COLD auto WithValues(const Kt_Variant& left, const Kt_Variant& right, Operator&& apply) {
  const Kt_Variant held_right(right.Target());  // asking for the left value may change it
  const Kt_Variant first = left.Target().IsObject() ? ValueOfObject(left.Target()) : left.Target();
  const Kt_Variant second = held_right.IsObject() ? ValueOfObject(held_right) : held_right;
  return apply(first, second);
}

// The texts of both operands in one. `result` may be either operand; appending to it in place costs
// no more than what is appended. kErrStringTooLong, and an empty result, past the length limit.
// REQUIRES: neither operand is a reference.
kt_long JoinTexts(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);

}  // namespace kt::detail
