// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <memory>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_CellBatches.h"
#include "classlib/store/Kt_Dataset.h"

namespace kt::detail {

// Charges for the cells of some rows, at least one; row by row, so that it comes to the same
// however many were computed at once.
inline void ChargeCells(RoundCharge& charge, kt_long rows) {
  do {
    charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
  } while (--rows > 0);
}

// Reads the cells of a computed column from row to row: many at a time where its evaluator does
// that. Where it does so for a few rows only, it is asked less and less often, as each time costs
// as much as some cells.
class BatchReader {
 public:
  BatchReader(const Kt_Dataset& dataset, kt_long col, bool filtered)
      : dataset_(dataset),
        evaluator_(dataset.GetEvaluator()),
        batches_(dynamic_cast<Kt_CellBatches*>(evaluator_.get())),
        col_(col),
        filtered_(filtered) {}

  // Takes the cells from `row` on, before `end`; how many. None: read the one of `row`.
  kt_long Read(kt_long row, kt_long end, const Kt_CellBatches::Taker& take) {
    if (batches_ == nullptr || row < next_) return 0;
    const kt_long count = batches_->ComputeRows(dataset_, col_, row, end, filtered_, take);
    pause_ = count >= kWorthwhile ? 1 : std::min(pause_ * 2, kMostPause);
    next_ = std::min(end - row - count, pause_) + row + count;
    return count;
  }

 private:
  static constexpr kt_long kWorthwhile = 64;
  static constexpr kt_long kMostPause = 1 << 20;

  const Kt_Dataset& dataset_;
  std::shared_ptr<Kt_ColumnEvaluator> evaluator_;  // null: none
  Kt_CellBatches* batches_;                        // its offer; null: none
  kt_long col_;
  bool filtered_;
  kt_long next_ = 0;   // row to ask at again
  kt_long pause_ = 1;  // rows between two questions
};

}  // namespace kt::detail
