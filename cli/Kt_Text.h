// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::cli {

// Columns that a character takes on a terminal: 0 for combining marks, 2 for wide characters.
int DisplayWidth(char32_t character);
// Columns of a text without tabs and line breaks.
int DisplayWidth(std::u16string_view text);

// A place in a text, counted from 1. A column is a character, whatever its width; a pair of
// surrogates is one character.
struct Place {
  kt_long line = 1;
  kt_long column = 1;
};
// REQUIRES: 0 <= offset <= text.size().
Place PlaceAt(std::u16string_view text, std::size_t offset);
// Offset of the first unit of a line counted from 1; the end of the text when it has fewer lines.
std::size_t LineStart(std::u16string_view text, kt_long line);

// The line around `offset`, and a caret under the place with a wavy line under the rest of its
// `length` units: two lines of UTF-8 with a line feed each. Tabs become blanks, other controls are
// made visible (Kt_Visible.h); of a long line only the part around the place is shown, "..."
// where it was cut.
std::string LineWithCaret(std::u16string_view text, std::size_t offset, std::size_t length = 1);

// The lines of a text, without their line feeds. A stream that reads lines keeps to itself that
// memory ran out, and ends.
std::vector<std::string> SplitLines(std::string_view text);

// The text of a value as print() shows it: lists as [1, 'a', [2]], bytes in hexadecimal.
std::string ValueText(const Kt_Variant& value);
// The same after what is in `out`. False, and the text cut, when it would make `out` longer than
// kMaxPrintedBytes, has more than kMaxPrintedItems, or the work was stopped. Its memory is counted.
bool AppendValueText(const Kt_Variant& value, CountedBytes& out);

// No value is printed at greater length, nor with more items in lists inside lists: a list that
// shares its parts can be longer than any memory, and takes many seconds to fill a part of it.
inline constexpr std::size_t kMaxPrintedBytes = std::size_t{1} << 29;
inline constexpr std::int64_t kMaxPrintedItems = std::int64_t{1} << 24;
inline constexpr const char* kTooLongToPrint =
    "too long to print: more than 512 MB, or than 16,777,216 items of lists inside lists";

}  // namespace kt::cli
