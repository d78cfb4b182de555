// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_Fold.h"
#include "classlib/store/detail/Kt_RowIndex.h"

namespace kt::detail {

// The aggregate of the cells of a column: of all of them, of the cells [first, last), of the
// records [start, end) of a view, or of the slots that a list names. Nulls are left out. 1, or 0
// when no value was there.
kt_long TotalOfColumn(Kt_Aggregate what, const Kt_Column& cells, Kt_Variant& result);
kt_long TotalOfCells(Kt_Aggregate what, const Kt_Column& cells, std::size_t first, std::size_t last,
                     Kt_Variant& result);
kt_long TotalOfRecords(Kt_Aggregate what, const Kt_Column& cells, const RowIndex& index, View view,
                       kt_long start, kt_long end, Kt_Variant& result);
kt_long TotalOfSlots(Kt_Aggregate what, const Kt_Column& cells, const CountedVector<Slot>& slots,
                     Kt_Variant& result);

}  // namespace kt::detail
