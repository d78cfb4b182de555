// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "cli/Kt_Cli.h"

namespace kt::cli {

// Mends the syntax errors of a script file that have one cure, and tells how many they were. With
// `is_diff` it prints what would change and leaves the file alone. False when it
// cannot do that, which has been told then; a file that cannot be read is left to the check that
// follows.
bool FixFile(const std::string& file, bool is_diff, Streams streams);

}  // namespace kt::cli
