// SPDX-License-Identifier: MIT
#include "classlib/text/detail/Kt_RefusalText.h"

#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_WorkMeter.h"

namespace {

const Kt_WString kNoMemoryText(u"out of memory");

}  // namespace

const Kt_WString& kt::detail::NoMemoryText() { return kNoMemoryText; }

Kt_WString kt::detail::RefusalText(kt_long code) {
  if (Kt_WorkMeter::CurrentStop() != 0) return u"stopped";
  if (code == kErrNoMemory) return NoMemoryText();
  return code == kErrRowNotAdded ? u"too many rows"
                                 : u"too many columns, or a load while a computed cell is read";
}
