// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::cli {

// The value as one line of JSON. Numbers stay numbers (an infinity or NaN becomes null), booleans
// true and false, the empty value null, lists arrays; dates are texts, bytes hexadecimal texts. An
// object is the value that it stands for (a cell its own, a row a list), otherwise {"object": its
// identifier}. False, with the reason, when lists are nested too deeply, the text is longer than
// kMaxPrintedBytes, or the work was stopped.
bool ToJson(const Kt_Variant& value, CountedBytes& json, std::string& reason);
bool ToJson(const Kt_Variant& value, CountedBytes& json);

}  // namespace kt::cli
