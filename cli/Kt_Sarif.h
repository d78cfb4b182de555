// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kt::cli {

// The messages of a command as a log of SARIF 2.1.0, one line of JSON: `messages` are those that it
// wrote with --json, `status` is how it ended. Messages about a file are results, the others
// notifications. Rules are the names of warnings and the codes of errors.
std::string ToSarif(const std::string& messages, int status);

}  // namespace kt::cli
