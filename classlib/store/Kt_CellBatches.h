// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_Column.h"

class Kt_Dataset;

// What an evaluator of logical columns (Kt_ColumnEvaluator) may offer besides: to compute the cells
// of many rows at a time.
class KT_CLASS_API Kt_CellBatches {
 public:
  virtual ~Kt_CellBatches() = default;
  // Appends the cells of the rows [row, end) of a logical column to `cells`, which is of its type,
  // and answers how many rows that were: less where one has to be computed by itself, or has no
  // record. `filtered` says which of the two row numberings these count in. Gives and charges what
  // computing one after the other does, and runs no other code.
  virtual kt_long ComputeRows(const Kt_Dataset& dataset, kt_long col, kt_long row, kt_long end,
                              bool filtered, Kt_Column& cells) = 0;
};
