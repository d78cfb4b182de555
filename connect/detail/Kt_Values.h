// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "classlib/value/Kt_Variant.h"

// Values on their way into a database.
namespace kt::detail {

// False for a text with half of a surrogate pair, which UTF-8 does not have.
bool ToUtf8(std::u16string_view text, std::string& utf8);

// False, with the reason, for what no database takes: lists and objects, texts that UTF-8 does not
// have, dates outside the years 1 to 9999.
bool IsStorable(const Kt_Variant& value, std::string& reason);

// The shortest text that a database reads back as the same double; whole numbers without exponent.
std::string RealText(double value);

}  // namespace kt::detail
