// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "analysis/Kt_KnownNames.h"

class Kt_CliDatasets;

namespace kt::cli {

// Adds the names of a host to `known`: one object of JSON a line, as kt::Engine::names_json and
// `kt functions --json` write them (docs/kt.md, "Names of a host"). False, with the line and the
// reason in `error`, for a text that is none of that; some names may have been added then.
bool AddHostNames(const Kt_WString& text, analysis::KnownNames& known, std::string& error);

// Adds what scripts can name: `datasets`, and what the hosts have that these files describe, or kt
// when there are none. False at the first file that does not, with its name and the reason.
bool AddNames(const Kt_CliDatasets& datasets, const std::vector<std::string>& host_files,
              analysis::KnownNames& known, std::string& error);

}  // namespace kt::cli
