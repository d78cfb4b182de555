// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "cli/usage/Kt_CommandDoc.h"

namespace kt::cli {

// A file with a page of the manual, in the language of man(7).
struct ManPage {
  std::string name;  // "kt-run.1"
  std::string text;
};

// The page of the program, then one for each command.
std::vector<ManPage> MakeManPages(const ProgramDoc& doc, const std::string& version);

}  // namespace kt::cli
