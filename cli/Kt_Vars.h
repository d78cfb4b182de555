// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "classlib/value/Kt_Variable.h"

namespace kt::cli {

// The variables in the order of their names, a line each: name, kind, value. The columns are
// aligned by display width; a long value or name is cut, with "..." where. Takes time and memory
// for what is shown, not for all that the values hold.
std::string VariableTable(const Kt_VariableList& variables);

}  // namespace kt::cli
