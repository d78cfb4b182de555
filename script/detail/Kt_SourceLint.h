// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "script/detail/Kt_SyntaxReporter.h"

namespace kt::detail {

// Warns of what a reader of the source cannot see or takes for something else: controls of the
// writing direction, hidden characters, names that look alike, names of mixed scripts. Time and
// memory are linear in the source, and the number of warnings is limited.
void WarnOfSource(std::u16string_view source, SyntaxReporter& reporter);

}  // namespace kt::detail
