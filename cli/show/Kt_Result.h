// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/store/Kt_LoadReport.h"
#include "classlib/value/Kt_Variant.h"
#include "cli/Kt_Cli.h"

class Kt_Dataset;

namespace kt::cli {

// Prints what an expression or a function gave, as people read it: a dataset as a table of its
// first rows, anything else as ValueText shows it, with a line feed. False with the reason, and
// nothing printed, when it is too long or the work was stopped.
bool PrintValue(const Kt_Variant& value, std::ostream& out, std::string& reason);

// The same as one line of JSON: a dataset as a list of its shown rows, a row as an object, anything
// else as ToJson writes it. False with the reason, as there.
bool ResultJson(const Kt_Variant& value, CountedBytes& json, std::string& reason);

// The shown rows as JSON that is only looked at: null for numbers that JSON lacks, which a file
// refuses. False with the reason.
bool ShownJson(const Kt_Dataset& dataset, Kt_JsonLayout layout, Kt_Buffer& json,
               std::string& reason);

// Writes the result of a command in the form that the command line asks for. False when it cannot,
// which has been said of `file` then, or is to be said by TellStop.
bool ShowResult(const Kt_Variant& value, const std::string& file, Streams streams);

}  // namespace kt::cli
