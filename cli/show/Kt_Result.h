// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_Variant.h"
#include "cli/Kt_Cli.h"

namespace kt::cli {

// Prints what an expression or a function gave, as people read it: a dataset as a table of its
// first rows, anything else as ValueText shows it, with a line feed. False with the reason, and
// nothing printed, when it is too long or the work was stopped.
bool PrintValue(const Kt_Variant& value, std::ostream& out, std::string& reason);

// The same as one line of JSON: a dataset as a list of its shown rows, a row as an object, anything
// else as ToJson writes it. False with the reason, as there.
bool ResultJson(const Kt_Variant& value, CountedBytes& json, std::string& reason);

// Writes the result of a command in the form that the command line asks for. False when it cannot,
// which has been said of `file` then, or is to be said by TellStop.
bool ShowResult(const Kt_Variant& value, const std::string& file, Streams streams);

}  // namespace kt::cli
