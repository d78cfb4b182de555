// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// Where the stack is, near enough. Not the address of a local variable, which a sanitizer may keep
// elsewhere.
KT_ALWAYS_INLINE std::uintptr_t StackAddress() {
#if defined(__GNUC__)
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
#else
  const char here = 0;
  return reinterpret_cast<std::uintptr_t>(&here);
#endif
}

// The lowest address that a guarded recursion may still use on this thread. Found out at the first
// question.
KT_CLASS_API std::uintptr_t GetStackFloor();

}  // namespace kt::detail

// True while enough of this thread's native stack is left for one more level of a guarded
// recursion (a script call, a nested block). What recurses over the shape of user input asks this
// first and reports kErrTooDeep or kSynTooDeep instead of going on.
inline bool kt_hasstack() { return kt::detail::StackAddress() > kt::detail::GetStackFloor(); }
