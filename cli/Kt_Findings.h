// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "analysis/Kt_KnownNames.h"
#include "cli/Kt_Loader.h"

class Kt_CliDatasets;

namespace kt::cli {

// The built-in functions, and what kt gives to scripts: its own functions, and `datasets`.
analysis::KnownNames KtNames(const Kt_CliDatasets& datasets);

// Adds what is hardly meant in a script to the warnings of its files, which are all that it has and
// without faults.
void AddFindings(std::vector<Kt_ParsedFile>& files, const analysis::KnownNames& known);

}  // namespace kt::cli
