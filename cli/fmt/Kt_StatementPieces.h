// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "classlib/text/Kt_WString.h"
#include "cli/fmt/Kt_Flow.h"

namespace kt::cli {

Kt_WString Trimmed(std::u16string_view view);
// `word` is in small letters.
bool IsWord(std::u16string_view text, std::u16string_view word);
bool HasComment(std::u16string_view text);

// The pieces of what holds no comment. A statement comes without its ';'.
std::vector<LinePart> StatementPieces(std::u16string_view statement);
// What stands between the parentheses of a `for`.
std::vector<LinePart> ForPieces(std::u16string_view head);
// A condition, or what is looked at by a `switch`.
std::vector<LinePart> ConditionPieces(std::u16string_view condition);
// The arguments of a function.
std::vector<LinePart> ArgumentPieces(std::u16string_view arguments);

}  // namespace kt::cli
