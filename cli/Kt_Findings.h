// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "analysis/Kt_KnownNames.h"
#include "cli/Kt_Loader.h"

class Kt_CliDatasets;

namespace kt::cli {

// What kt gives to scripts beside `datasets`: its own functions.
void AddKtNames(analysis::KnownNames& known);
// The name of `datasets`, and what is in them.
void AddDatasetNames(const Kt_CliDatasets& datasets, analysis::KnownNames& known);
// Whether what a function of kt makes has from then on the name that its first argument says.
bool MakesNames(const Kt_WString& function);

// Adds what is hardly meant in a script to the findings of its files, which are all that it has and
// without faults.
void AddFindings(std::vector<Kt_ParsedFile>& files, const analysis::KnownNames& known, bool strict);

}  // namespace kt::cli
