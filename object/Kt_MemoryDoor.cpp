// SPDX-License-Identifier: MIT
#include "object/Kt_MemoryDoor.h"

namespace {

// Made while there is memory, for when there is none.
Kt_Result MakeBareResult() {
  Kt_Result result;
  result.AddMsg(kErrNoMemory, u"Kt_Memory", 0);
  return result;
}
const Kt_Result kBareResult = MakeBareResult();

void Tell(Kt_ExprObject* context, const char16_t* source, const Kt_WString& name) {
  Kt_Result result;
  try {
    result.AddMsg(kErrNoMemory, source, 0, name);
  } catch (const std::bad_alloc&) {
    (void)kt::ReportResult(context, kBareResult);
    return;
  }
  (void)kt::ReportResult(context, result);
}

}  // namespace

kt_long kt::ReportNoMemory(Kt_ExprObject* context, const char16_t* source,
                           const Kt_WString& name) noexcept {
  const Kt_MemoryPause pause;
  try {
    // Where nobody listens, it is only noted, and the report left to the doors further out.
    const bool listens = context != nullptr && context->IsSystemLogMode() != 0;
    if (!listens || TakeMemoryFailure()) Tell(context, source, name);
  } catch (const std::bad_alloc&) {
    // The host had no memory for its message; the code tells it all the same.
  }
  return kErrNoMemory;
}
