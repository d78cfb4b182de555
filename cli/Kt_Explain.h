// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kt::cli {

// What `kt explain` says of a warning by its name, or of an error by its code or name; empty when
// there is no such.
std::string Explanation(const std::string& wanted);

}  // namespace kt::cli
