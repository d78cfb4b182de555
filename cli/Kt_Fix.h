// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Cli.h"

namespace kt::cli {

// A script with the cures of those of its syntax errors that have one. Nothing when there is none,
// or when that mends nothing. `count`: of the errors.
std::optional<Kt_WString> FixText(const Kt_WString& text, std::size_t& count);

// Mends the syntax errors of a script file that have one cure, and tells how many they were. With
// `is_diff` it prints what would change and leaves the file alone. False when it
// cannot do that, which has been told then; a file that cannot be read is left to the check that
// follows.
bool FixFile(const std::string& file, bool is_diff, Streams streams);

}  // namespace kt::cli
