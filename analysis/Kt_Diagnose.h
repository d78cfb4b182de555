// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "analysis/Kt_Finding.h"

class Kt_SyntaxErrorList;

namespace kt::analysis {

enum class SourceKind : std::uint8_t {
  kScript,
  kBody,        // the statements of a function
  kExpression,  // without blanks at its ends
};

// The causes of the syntax errors of a source, one finding for each cause, in the order of the
// places. None when the engine reads all of the source. Errors keep the code and the text that the
// engine gives them; the place is where to mend it.
//
//   for (const Finding& finding : Diagnose(text, SourceKind::kScript)) Show(finding);
//
// Nothing of the source runs. Meant for sources that have errors: it reads them again and again,
// with what seems to be wrong repaired, but no more than about 5 million characters, and gives
// no more than 300 findings. `found` may be what reading the source has found already; null:
// nothing is known.
std::vector<Finding> Diagnose(std::u16string_view source, SourceKind kind,
                              const Kt_SyntaxErrorList* found = nullptr);

// Whether a script has a '}' that closes nothing. The engine skips it outside of functions, but a
// '{' may be missing that was to be closed by it; Diagnose tells where, as a warning.
bool SkipsBrackets(std::u16string_view script);

}  // namespace kt::analysis
