// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "cli/Kt_Diagnostic.h"
#include "cli/data/Kt_Data.h"

// What became of files that were loaded: what is refused, what is written aside, what is said.

namespace kt::cli {

// How messages call the options of a load.
enum class OptionStyle : std::uint8_t {
  kCommandLine,  // --rejects FILE
  kScript,       // rejects=FILE, in the options of loadData()
};

// Writes the rejects file that the options name. False, with the reason in the report, when that
// failed or more was rejected than they allow.
bool AcceptRejects(const DataOptions& options, DataReport& report);

// What is wrong with a load that failed: the error. When too much was rejected the first five
// places with their reasons follow, and how to load the file all the same.
std::vector<Diagnostic> LoadFault(const std::string& path, const DataReport& report,
                                  OptionStyle style = OptionStyle::kCommandLine);

// What there is to say of a load that succeeded: a line that counts when not every record was
// loaded as it stands, the first ten faults of each kind with their lines, then a line for each
// column in which texts were taken for null, and one for each that another option would read
// better. Empty when there is nothing and not `verbose`.
std::vector<Diagnostic> LoadNotes(const std::string& path, const DataOptions& options,
                                  const DataReport& report, bool verbose,
                                  OptionStyle style = OptionStyle::kCommandLine);

}  // namespace kt::cli
