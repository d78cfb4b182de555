// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "classlib/value/Kt_Variant.h"

namespace kt::cli {

// Where two values differ, for a message of one or more lines that are fit for a terminal; empty
// when they are equal as `==` says, lists item by item.
//
//   3 is not 4
//   item [2][0]: 'a' is not 'b'
//   3 items, not 2
//   differs from character 61 on: '...er the lazy dog' is not '...er the lazy cat'
//
// Texts of several lines are compared as files, the first value being the new one.
std::string DifferenceOf(const Kt_Variant& actual, const Kt_Variant& expected);

}  // namespace kt::cli
