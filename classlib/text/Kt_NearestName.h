// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

#include "classlib/text/Kt_WString.h"

// The one of `names` that somebody who wrote `wanted` most likely meant: the one with the fewest
// characters to put in, take out, replace or swap with the next, without regard to case. Null when
// none is near: more than a third of the characters (at least one, never all) would have to change.
// Of equally near ones the first. Names of more than 100 characters are not compared.
KT_CLASS_API const Kt_WString* kt_nearestnameW(std::u16string_view wanted,
                                               std::span<const Kt_WString> names);
