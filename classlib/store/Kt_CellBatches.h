// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "classlib/base/Kt_Types.h"

class Kt_Dataset;
class Kt_Variant;

// What an evaluator of logical columns (Kt_ColumnEvaluator) may offer besides: to compute the cells
// of many rows at a time.
class KT_CLASS_API Kt_CellBatches {
 public:
  using Taker = std::function<void(const Kt_Variant&)>;

  virtual ~Kt_CellBatches() = default;
  // Calls take(value) for the cells of the rows [row, end) of a logical column, in order, and
  // answers how many rows that were: less where one has to be computed by itself, or has no record.
  // `filtered` says which of the two row numberings these count in. Gives and charges what
  // computing one after the other does, and runs no other code.
  virtual kt_long ComputeRows(const Kt_Dataset& dataset, kt_long col, kt_long row, kt_long end,
                              bool filtered, const Taker& take) = 0;
};
