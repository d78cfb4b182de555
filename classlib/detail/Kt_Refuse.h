// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <new>

#include "classlib/Kt_Codes.h"

namespace kt::detail {

// Runs a change that may run out of memory, and turns that into an answer, which is negative as
// those of other refusals are.
template <class Change>
kt_long RefuseOnFailure(Change change) {
  try {
    return change();
  } catch (const std::bad_alloc&) {
    return kErrNoMemory;
  } catch (const std::exception&) {  // what would be too large for a limit
    return -1;
  }
}

// Why a load was refused that says nothing else.
inline const char16_t* RefusalText(kt_long code) {
  if (code == kErrNoMemory) return u"not enough memory";
  return code == kErrRowNotAdded ? u"too many rows"
                                 : u"too many columns, or a load while a computed cell is read";
}

}  // namespace kt::detail
