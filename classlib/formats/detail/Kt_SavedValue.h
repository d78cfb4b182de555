// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_SaveReport.h"
#include "classlib/store/detail/Kt_LoadedTable.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// Why the text or bytes of a file cannot say what a value is; null when they can. References count
// as their targets.
const char16_t* FaultOfValue(const Kt_Variant& value);

// The first value of a table that a file cannot hold, by its place. kOk, or the report's code.
kt_long CheckValues(const LoadedTable& table, Kt_SaveReport& report);

// The code for the report of a save that was refused with `code`, and says nothing itself.
kt_long SaveRefusal(kt_long code, Kt_SaveReport& report);

// "row 3, column 'parts'"
Kt_WString PlaceOfCell(kt_long row, const Kt_WString& column);

}  // namespace kt::detail
