// SPDX-License-Identifier: MIT
#pragma once

#include <exception>

#include "classlib/Kt_Types.h"

namespace kt::detail {

// Runs a change that may run out of memory, and turns that into the answer of a refusal.
template <class Change>
kt_long RefuseOnFailure(Change change) {
  try {
    return change();
  } catch (const std::exception&) {
    return -1;
  }
}

}  // namespace kt::detail
