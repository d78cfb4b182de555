// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "cli/usage/Kt_CommandDoc.h"

namespace kt::cli {

// Scripts that complete the command line in these shells.
std::string BashCompletion(const ProgramDoc& doc);
std::string ZshCompletion(const ProgramDoc& doc);
std::string FishCompletion(const ProgramDoc& doc);

}  // namespace kt::cli
