// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail {

// Whether the call counts rows and reads totals without the filters.
enum class Rows : bool { kShown, kAll };

inline bool IsLogicalPivot(const Kt_Dataset& dataset) {
  return dataset.IsLogical() && dataset.IsPivot();
}

// The optional arguments nStart, nCnt and nPivotIndex of an aggregate: rows [start, end), cut to
// those there are; a negative start is the first row.
struct RowRange {
  kt_long start = 0;
  kt_long end = 0;
  kt_long pivot_index = -1;
  bool IsEmpty() const { return end <= start; }
};

// `start_arg`, `count_arg` and `pivot_arg` are the positions of the arguments.
RowRange ReadRange(Rows rows, const MethodCall& in, kt_long start_arg, kt_long count_arg,
                   kt_long pivot_arg);

}  // namespace kt::detail
