// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_Fold.h"
#include "classlib/store/detail/Kt_RowIndex.h"

namespace kt::detail {

// What adds the cells of an array; those of none are not added.
struct NoSum {
  explicit operator Kt_CellSum() const { return {}; }
};
NoSum SumOver(std::nullptr_t);
kernels::LongSum SumOver(const kt_long*);
kernels::DoubleSum SumOver(const double*);
kernels::WideSum SumOver(const std::int64_t*);
template <class Array>
using SumOf = decltype(SumOver(Array()));

// Cells of one column, laid out in the order of some records. `Array` is a pointer to the cells by
// slot, or std::nullptr_t where only nulls matter.
template <class Array, std::size_t kRecords>
class RecordBatch {
 public:
  RecordBatch(Array cells, kernels::NullBits nulls) : cells_(cells), nulls_(nulls) {}

  // REQUIRES: count <= kRecords.
  void Read(const Slot* slots, std::size_t count) {
    if constexpr (kHasCells) {
      for (std::size_t at = 0; at < count; ++at) read_[at] = cells_[slots[at]];
    }
    if (nulls_ == nullptr) return;
    for (std::size_t at = 0; at < count; ++at) {
      present_[at] = kernels::IsNull(nulls_, slots[at]) ? 0 : 1;
    }
  }
  void AddTo(SumOf<Array>& sum, std::size_t& values, std::size_t first, std::size_t last) const {
    if constexpr (kHasCells) sum.Dense(read_.data() + first, last - first);
    values += nulls_ == nullptr ? last - first
                                : std::accumulate(present_.begin() + first, present_.begin() + last,
                                                  std::size_t{0});
  }

 private:
  static constexpr bool kHasCells = !std::is_null_pointer_v<Array>;
  using Cell = std::conditional_t<kHasCells, std::remove_cv_t<std::remove_pointer_t<Array>>, char>;

  Array cells_;
  kernels::NullBits nulls_;
  std::array<Cell, kRecords> read_;
  std::array<std::uint8_t, kRecords> present_;
};

template <class Array, class Runs, class Put>
void FoldCellsOfRuns(Kt_Aggregate what, Array cells, kernels::NullBits nulls,
                     const CountedVector<Slot>& records, const Runs& runs, Put put) {
  constexpr std::size_t kBatch = 2048;
  struct Open {
    SumOf<Array> sum;
    std::size_t values = 0;
  };
  std::vector<Open> levels(runs.LevelCount());  // the runs that are open
  RecordBatch<Array, kBatch> batch(cells, nulls);
  std::size_t ended = 0;  // runs before the batch
  for (std::size_t first = 0; first < records.size(); first += kBatch) {
    const std::size_t end = std::min(records.size(), first + kBatch);
    ChargeOrLeave(static_cast<std::int64_t>((end - first) * levels.size()) *
                  Kt_WorkMeter::kUnitsPerCell);
    batch.Read(&records[first], end - first);
    std::size_t stop = ended;  // of the runs that end in the batch
    while (stop < runs.Count() && runs.End(stop) <= end) ++stop;
    for (std::size_t level = 0; level < levels.size(); ++level) {
      Open& open = levels[level];
      std::size_t from = first;
      for (std::size_t at = ended; at < stop; ++at) {
        if (runs.Level(at) != level) continue;
        const std::size_t last = runs.End(at);
        batch.AddTo(open.sum, open.values, from - first, last - first);
        from = last;
        put(at,
            Kt_CellFold(what, static_cast<std::int64_t>(open.values), Kt_CellSum(open.sum), {}));
        open = {};
      }
      batch.AddTo(open.sum, open.values, from - first, end - first);
    }
    ended = stop;
  }
}

// Folds the cells of a column over runs of records, on several levels: sums, averages and counts.
// Calls put(run, fold) for every run. False, and nothing is done, for totals of other kinds, and
// for sums of cells that are no numbers.
//
// Every cell is read once, for all levels: a batch of cells is laid out in the order of the
// records, and each level takes the pieces of it that its runs cover. So a run begins at the first
// lane of its sum however small it is.
//
// `runs` has Count() of them by rising ends; each has a Level(run) below LevelCount() and an
// End(run). The runs of a level follow one another and cover all records.
template <class Runs, class Put>
bool FoldRuns(Kt_Aggregate what, const Kt_Column& column, const CountedVector<Slot>& records,
              const Runs& runs, Put put) {
  if (what == Kt_Aggregate::kCount) {
    FoldCellsOfRuns(what, nullptr, column.Nulls(), records, runs, put);
    return true;
  }
  if (what != Kt_Aggregate::kSum && what != Kt_Aggregate::kAvg) return false;
  return VisitCells(column, [&]<class Cells>(const Cells& cells) {
    if constexpr (std::is_same_v<Cells, Kt_Column::Texts> ||
                  std::is_same_v<Cells, Kt_Column::Values>) {
      return false;
    } else {
      FoldCellsOfRuns(what, cells.data(), column.Nulls(), records, runs, put);
      return true;
    }
  });
}

}  // namespace kt::detail
