// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/Kt_Types.h"

namespace kt::detail {
// The lowest address that a guarded recursion may still use on this thread; 0 until asked for.
KT_CLASS_API std::uintptr_t GetStackFloor();
}  // namespace kt::detail

// True while enough of this thread's native stack is left for one more level of a guarded
// recursion (a script call, a nested block). What recurses over the shape of user input asks this
// first and reports kErrTooDeep instead of going on.
inline bool kt_hasstack() {
  // The address of a local is the stack pointer, near enough.
  const char here = 0;
  return reinterpret_cast<std::uintptr_t>(&here) > kt::detail::GetStackFloor();
}
