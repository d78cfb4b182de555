// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/text/Kt_WString.h"

// Numbers as text and back. No locale: the decimal point is always '.', and there are no thousands
// separators. Threads: free to call from any.

// Room that every number's text fits into, in units.
inline constexpr std::size_t kMaxNumberUnits = 32;

// Writes the text of a number to `out` and returns its length; no terminating zero.
//
// A double is written with 15 significant digits and no trailing zeros, so that 0.1 + 0.2 shows
// 0.3; plainly from 0.00001 up to below 1e15, otherwise as 1.5e+20. Never "-0"; "inf", "-inf" and
// "nan" for what is no number.
// REQUIRES: `out` has room for kMaxNumberUnits.
KT_CLASS_API std::size_t kt_writelongW(kt_long value, char16_t* out);
KT_CLASS_API std::size_t kt_writedoubleW(double value, char16_t* out);

KT_CLASS_API Kt_WString kt_longtextW(kt_long value);
KT_CLASS_API Kt_WString kt_doubletextW(double value);
// The shortest text that reads back as exactly the same double, in the same layout: for files.
KT_CLASS_API Kt_WString kt_shortestdoubleW(double value);

// Reads a text that is a number as a whole: blanks around it, a sign, digits with at most one
// point, an exponent. False, and `value` untouched, for any other text. Too great is an infinity,
// too small 0.
KT_CLASS_API bool kt_readnumberW(std::u16string_view text, double& value);
