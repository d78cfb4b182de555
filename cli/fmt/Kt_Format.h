// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "classlib/text/Kt_WString.h"

namespace kt::cli {

// Columns of a line.
inline constexpr int kDefaultLineWidth = 100;
inline constexpr int kMinLineWidth = 40;
inline constexpr int kMaxLineWidth = 1000;

// A script without syntax errors in the one style that `kt fmt` knows (docs/fmt.md), in lines of
// `width` columns where that is possible. None where the structure cannot be followed.
//
// The text is cut with the scanners of the engine, as its parser does: statements are laid out
// anew from their tokens, and comments between them are kept. A statement with a comment inside
// stays as it is, because there a comment takes the character behind it along.
std::optional<Kt_WString> FormatScript(const Kt_WString& text, int width);

// True when two texts have the same includes, globals and functions, and every function the same
// operations. Neither is run.
bool SameScript(const Kt_WString& a, const Kt_WString& b);

}  // namespace kt::cli
