// SPDX-License-Identifier: MIT
#include "host/Kt_Function.h"

namespace kt::detail {

std::string ArgumentName(kt_long at) { return "argument " + std::to_string(at + 1); }

void ThrowNoReference(kt_long at) {
  throw RunError(ArgumentName(at) + " has to be passed with ref()");
}

void CheckCount(kt_long count, kt_long least, kt_long most) {
  if (count >= least && (most < 0 || count <= most)) return;
  std::string takes = std::to_string(least);
  if (most < 0) takes += " or more";
  if (most > least) takes += " to " + std::to_string(most);
  throw RunError("takes " + takes + (takes == "1" ? " argument, " : " arguments, ") +
                 std::to_string(count) + " came");
}

}  // namespace kt::detail
