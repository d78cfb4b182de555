// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// The text of a value in a file: what reads back exactly, whatever that takes. Numbers are written
// in the shortest such text; dates in ISO 8601 where that is exact to the bit, otherwise as their
// day number; binaries in base 64. Empty for null, for lists and for objects.
Kt_WString FileText(const Kt_Variant& value);

// The same in ASCII, without a value made of it first; the place after it. A day is a moment at
// midnight: null for any other, and for one that such a text would not bring back.
// REQUIRES: `out` has room for kMaxNumberUnits.
char* WriteFileDouble(double value, char* out);
char* WriteFileDay(Kt_DateTime moment, char* out);

// The number of a file text: as kt_readnumberW, and "inf", "-inf", "nan".
bool ReadFileNumber(std::u16string_view text, double& value);
// The bytes of a base-64 text as a binary value; false for any other text.
bool ReadBase64(std::u16string_view text, Kt_Variant& value);
// The value of tag `tag` that FileText wrote; false when the text is none.
bool ReadFileText(std::u16string_view text, Kt_Tag tag, Kt_Variant& value);

}  // namespace kt::detail
