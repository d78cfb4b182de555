// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kt::cli::lsp {

// The next bytes of the standard input. With `waits` it waits for some; without it there may be
// none. False at the end.
bool ReadBytes(bool waits, std::string& bytes);

}  // namespace kt::cli::lsp
