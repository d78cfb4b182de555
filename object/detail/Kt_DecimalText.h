// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// Numbers as decimal text, so that cutting, rounding and grouping work on the digits that people
// see and not on the binary fraction behind them.

// A number's text without an exponent: "1.5e+20" becomes "150000000000000000000". Any other text,
// "inf" and "nan" included, comes back as it is.
Kt_WString PlainDecimal(const Kt_WString& text);
// The same for a value: exact for currency and whole numbers, 15 digits for floating numbers; a
// text that is no number as a whole comes back as it is.
Kt_WString PlainText(const Kt_Variant& value);
// PlainText of a value read as a number: a text gives the number at its start.
Kt_WString NumberText(const Kt_Variant& value);

// Keeps at most `decimals` digits after the point by cutting.
// REQUIRES: `text` is a plain decimal number.
std::u16string_view CutDecimals(std::u16string_view text, kt_long decimals);
// Rounds a plain decimal number to `decimals` digits after the point, halves away from zero; never
// adds digits. "-0.001" gives "0".
Kt_WString RoundDecimals(std::u16string_view text, kt_long decimals);
// Puts a comma between each three digits before the point.
Kt_WString GroupDigits(std::u16string_view text);
// True for what starts with a digit, or with '-' and a digit: not for "nan" and "inf".
bool IsPlainNumber(std::u16string_view text);

// What is a number in a text with signs and words around it: its digits (those of any script as
// ASCII digits), a minus sign that stands before the first of them, and the first point
// between two digits.
Kt_WString StripToNumber(const Kt_WString& text);

}  // namespace kt::detail
