// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kt::cli {

// Pages of the documentation, in Markdown: what is said there of warnings and errors is what
// `kt explain` says.
std::string_view LanguagePage();
std::string_view ErrorsPage();

}  // namespace kt::cli
