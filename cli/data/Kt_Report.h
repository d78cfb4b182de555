// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>

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

// "file:line:column: error: what" of a failed load, without a line feed. When too much was rejected
// lines follow: the first five places with their reasons, and how to load the file all the same.
std::string DescribeError(const std::string& path, const DataReport& report);
// "file:line:column: what", as a part of another message.
std::string DescribeFault(const std::string& path, const DataReport& report,
                          OptionStyle style = OptionStyle::kCommandLine);

// What there is to say of a load that succeeded: a line that counts when not every record was
// loaded as it stands, the first ten faults of each kind with their lines, then a line for each
// column in which texts were taken for null, and one for each that another option would read
// better. Empty when there is nothing and not `verbose`. Ends with a line feed.
std::string DescribeLoad(const std::string& path, const DataOptions& options,
                         const DataReport& report, bool verbose,
                         OptionStyle style = OptionStyle::kCommandLine);

// Write what DescribeError and DescribeLoad say; under --json with file, line and column apart.
void TellError(const std::string& path, const DataReport& report, std::ostream& messages);
void TellLoad(const std::string& path, const DataOptions& options, const DataReport& report,
              bool verbose, std::ostream& messages, OptionStyle style = OptionStyle::kCommandLine);

}  // namespace kt::cli
