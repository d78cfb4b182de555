// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kt::cli {

// The lines in which two texts differ, with three around them, as `diff -u` writes them; empty when
// they are the same.
std::string UnifiedDiff(const std::string& old_name, std::string_view old_text,
                        const std::string& new_name, std::string_view new_text);

}  // namespace kt::cli
