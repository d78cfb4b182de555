// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <new>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// Runs a change that may run out of memory or be stopped, and turns that into an answer, which is
// negative as those of other refusals are. The change may call operations that refuse in turn and
// need not look for this reason itself.
template <class Change>
kt_long RefuseOnFailure(Change change) {
  const std::uint32_t before = MemoryFailures();
  try {
    const kt_long answer = change();
    PassMemoryFailure(before);
    return answer;
  } catch (const WorkStopped&) {
    return Kt_WorkMeter::CurrentStop();
  } catch (const std::bad_alloc& failure) {
    return NoteMemoryFailure(failure);
  } catch (const std::exception&) {  // what would be too large for a limit
    return -1;
  }
}

}  // namespace kt::detail
