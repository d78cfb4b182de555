// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"
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

// Runs that follow one another, and the records that they cover.
struct RunRange {
  std::size_t first_run;
  std::size_t end_run;
  std::size_t first_record;
  std::size_t end_record;
};

// All runs in two ranges of about as many records, on the border of two runs of the outermost
// level; no such border, or one far from the middle, leaves the second range empty.
template <class Runs>
std::array<RunRange, 2> HalvesOf(const Runs& runs) {
  const std::size_t count = runs.Count();
  const std::size_t records = count == 0 ? 0 : runs.End(count - 1);
  const auto is_outermost = [&](std::size_t run) {
    return runs.Level(run) + 1 == runs.LevelCount();
  };
  std::size_t low = 0;  // the first run that ends in the second half
  for (std::size_t high = count; low < high;) {
    const std::size_t middle = low + (high - low) / 2;
    if (runs.End(middle) < records / 2) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  std::size_t after = low;
  while (after < count && !is_outermost(after)) ++after;
  std::size_t before = low;
  while (before > 0 && !is_outermost(before - 1)) --before;
  const std::size_t end_before = before == 0 ? 0 : runs.End(before - 1);
  const std::size_t end_after = after < count ? runs.End(after) : records;
  const bool is_before = records / 2 - end_before < end_after - records / 2;
  const std::size_t border = is_before ? before : std::min(after + 1, count);
  const std::size_t record = is_before ? end_before : end_after;
  if (record < records / 5 || records - record < records / 5) {
    return {{{0, count, 0, records}, {count, count, records, records}}};
  }
  return {{{0, border, 0, record}, {border, count, record, records}}};
}

// fold(range) for all runs: for the halves of them on two threads, where those are allowed.
// Nothing where there is nothing to fold.
template <class Runs, class Fold>
void ShareRuns(const Runs& runs, bool has_totals, Fold fold) {
  if (!has_totals) return;
  const std::array<RunRange, 2> halves = HalvesOf(runs);
  const bool has_two = halves[1].first_run < halves[1].end_run;
  Helper helper(has_two ? halves[1].end_record : 0);
  if (!helper.IsThere()) return fold(RunRange{0, runs.Count(), 0, halves[1].end_record});
  helper.Both([&] { fold(halves[0]); }, [&] { fold(halves[1]); });
}

template <class Array, class Runs, class Put>
void FoldCellsOfRuns(Kt_Aggregate what, Array cells, kernels::NullBits nulls,
                     const CountedVector<Slot>& records, const Runs& runs, RunRange range,
                     Put put) {
  constexpr std::size_t kBatch = 2048;
  struct Open {
    SumOf<Array> sum;
    std::size_t values = 0;
  };
  std::vector<Open> levels(runs.LevelCount());  // the runs that are open
  RecordBatch<Array, kBatch> batch(cells, nulls);
  std::size_t ended = range.first_run;  // runs before the batch
  for (std::size_t first = range.first_record; first < range.end_record; first += kBatch) {
    const std::size_t end = std::min(range.end_record, first + kBatch);
    ChargeOrLeave(static_cast<std::int64_t>((end - first) * levels.size()) *
                  Kt_WorkMeter::kUnitsPerCell);
    batch.Read(&records[first], end - first);
    std::size_t stop = ended;  // of the runs that end in the batch
    while (stop < range.end_run && runs.End(stop) <= end) ++stop;
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

// Whether FoldRuns folds the cells of a column: sums, averages and counts, but not of cells that
// are no numbers.
inline bool CanFoldRuns(Kt_Aggregate what, const Kt_Column& column) {
  if (what == Kt_Aggregate::kCount) return true;
  if (what != Kt_Aggregate::kSum && what != Kt_Aggregate::kAvg) return false;
  return VisitCells(column, []<class Cells>(const Cells&) {
    return !std::is_same_v<Cells, Kt_Column::Texts> && !std::is_same_v<Cells, Kt_Column::Values>;
  });
}

// Folds the cells of a column over runs of records, on several levels. Calls put(run, fold) for
// every run of the range.
//
// Every cell is read once, for all levels: a batch of cells is laid out in the order of the
// records, and each level takes the pieces of it that its runs cover. So a run begins at the first
// lane of its sum however small it is.
//
// `runs` has Count() of them by rising ends, of those with the same end the outermost last; each
// has a Level(run) below LevelCount(), the outermost being the greatest, and an End(run). The runs
// of a level follow one another and cover all records. REQUIRES: CanFoldRuns; where the range
// begins and ends, an outermost run does. Threads: any; two may fold ranges that have no run in
// common.
template <class Runs, class Put>
void FoldRuns(Kt_Aggregate what, const Kt_Column& column, const CountedVector<Slot>& records,
              const Runs& runs, RunRange range, Put put) {
  if (what == Kt_Aggregate::kCount) {
    return FoldCellsOfRuns(what, nullptr, column.Nulls(), records, runs, range, put);
  }
  VisitCells(column, [&]<class Cells>(const Cells& cells) {
    if constexpr (!std::is_same_v<Cells, Kt_Column::Texts> &&
                  !std::is_same_v<Cells, Kt_Column::Values>) {
      FoldCellsOfRuns(what, cells.data(), column.Nulls(), records, runs, range, put);
    }
  });
}

}  // namespace kt::detail
