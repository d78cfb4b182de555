// SPDX-License-Identifier: MIT
#pragma once

#include "expr/Kt_ExprOp.h"

// The operation list as text, a line per record: index, code in hexadecimal, name, and the text or
// number that the record holds.
//
//      0  1030  integer  1
//      1  3316  +
//      2  1020  string   "a\n"
//      3  7999  end
//
// Strings are in double quotes, names and words as written. Control characters are escaped, so a
// record never takes more than its line.
KT_SCRIPT_API Kt_WString DumpOps(const Kt_ExprOpList& ops);
