// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_GroupBuilder.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <type_traits>
#include <utility>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Fold.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_ColumnTotal.h"
#include "classlib/store/detail/Kt_KeyRuns.h"
#include "classlib/store/kernels/Kt_ColumnKernels.h"

namespace kt::detail {

namespace {

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
  void AddTo(Kt_CellSum& sum, std::size_t& values, std::size_t first, std::size_t last) const {
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

}  // namespace

void GroupBuilder::Build(bool reverse, GroupView& groups) const {
  const CountedVector<Slot> records = Records();
  Find(records, groups);
  RoundCharge charge;
  const auto cells = static_cast<std::int64_t>(keys_.size() + totals_.size() + 1);
  for (Subtotal& subtotal : groups.All()) {
    charge.AddOrLeave(cells * 16 * Kt_WorkMeter::kUnitsPerCell);
    subtotal.cells.reserve(keys_.size() + totals_.size());
    FillKeys(records, subtotal);
  }
  for (const TotalColumn& column : totals_) FillTotals(column, records, groups);
  for (Subtotal& subtotal : groups.All()) {
    charge.AddOrLeave(cells * Kt_WorkMeter::kUnitsPerCell);
    if (pivot_ != nullptr) FillPositions(records, subtotal);
    std::sort(subtotal.cells.begin(), subtotal.cells.end(),
              [](const SubtotalCell& a, const SubtotalCell& b) {
                return std::pair(a.col, a.position) < std::pair(b.col, b.position);
              });
  }
  Place(reverse, groups);
  RangesToRows(groups);
}

// Within a level both ends rise, and with them how many subtotals stand before.
void GroupBuilder::RangesToRows(GroupView& groups) const {
  struct Passed {
    std::size_t first = 0;
    std::size_t last = 0;
  };
  std::vector<Passed> levels(keys_.size() + 1);
  CountedVector<Subtotal>& all = groups.All();
  const auto row_of = [&all](kt_long record, std::size_t& passed) {
    const auto stands_before = [&](std::size_t at) {
      return all[at].position - static_cast<kt_long>(at) <= record;
    };
    while (passed < all.size() && stands_before(passed)) ++passed;
    return record + static_cast<kt_long>(passed);
  };
  for (Subtotal& subtotal : all) {
    Passed& passed = levels[static_cast<std::size_t>(subtotal.level)];
    subtotal.first = row_of(subtotal.first, passed.first);
    subtotal.last = row_of(subtotal.last - 1, passed.last) + 1;
  }
}

CountedVector<Slot> GroupBuilder::Records() const {
  const kt_long count = index_.Count(view_);
  ChargeOrLeave(static_cast<std::int64_t>(count) * Kt_WorkMeter::kUnitsPerCell);
  CountedVector<Slot> records;
  records.reserve(static_cast<std::size_t>(count));
  index_.ForEachRun(
      view_, 0, count,
      [&](Slot first, std::uint32_t run) {
        for (Slot slot = first; slot < first + run; ++slot) records.push_back(slot);
      },
      [&](const Slot* slots, std::uint32_t run) {
        records.insert(records.end(), slots, slots + run);
      });
  return records;
}

// The groups with their ranges in records.
void GroupBuilder::Find(const CountedVector<Slot>& records, GroupView& groups) const {
  const auto key_count = static_cast<std::uint32_t>(keys_.size());
  std::vector<kt_long> starts(key_count, 0);  // record that begins the open group of each key
  // Ends the groups of `key` and those after it before a record.
  const auto end_groups = [&](std::uint32_t key, std::size_t record) {
    const auto last = static_cast<kt_long>(record);
    for (std::uint32_t at = key_count; at-- > key;) {
      Subtotal subtotal;
      subtotal.level = static_cast<kt_long>(key_count - at);
      subtotal.first = starts[at];
      subtotal.last = last;
      groups.Add(std::move(subtotal));
      starts[at] = last;
    }
  };
  ForEachKeyChange(keys_, records, runs_,
                   [&](std::size_t record, std::uint32_t key) { end_groups(key, record); });
  if (!records.empty()) end_groups(0, records.size());
}

// From record numbers to row numbers. Subtotals stand after their rows, inner levels first, or,
// reversed, before them, outer levels first.
void GroupBuilder::Place(bool reverse, GroupView& groups) {
  CountedVector<Subtotal>& all = groups.All();
  if (reverse) {
    RoundCharge charge;
    std::stable_sort(all.begin(), all.end(), [&](const Subtotal& a, const Subtotal& b) {
      charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
      return a.first != b.first ? a.first < b.first : a.level > b.level;
    });
  }
  for (std::size_t at = 0; at < all.size(); ++at) {
    all[at].position = (reverse ? all[at].first : all[at].last) + static_cast<kt_long>(at);
  }
}

// REQUIRES for these: the ranges of the subtotals are still in records.
void GroupBuilder::FillKeys(const CountedVector<Slot>& records, Subtotal& subtotal) const {
  const Slot slot = records[static_cast<std::size_t>(subtotal.first)];
  for (std::ptrdiff_t at = 0; at < ShownKeys(subtotal); ++at) {
    const KeyColumn& key = keys_[static_cast<std::size_t>(at)];
    subtotal.cells.push_back({key.col, -1, key.cells->Read(slot)});
  }
}

// Of a key column that is totalled too the key is shown.
bool GroupBuilder::ShowsKey(const Subtotal& subtotal, kt_long col) const {
  const auto shown = keys_.begin() + ShownKeys(subtotal);
  return std::any_of(keys_.begin(), shown, [col](const KeyColumn& key) { return key.col == col; });
}

void GroupBuilder::FillTotals(const TotalColumn& column, const CountedVector<Slot>& records,
                              GroupView& groups) const {
  if (column.what == Kt_Aggregate::kCount) return FillOnTheWay(column, records, groups, nullptr);
  const bool adds = column.what == Kt_Aggregate::kSum || column.what == Kt_Aggregate::kAvg;
  VisitCells(*column.cells, [&]<class Cells>(const Cells& cells) {
    if constexpr (!std::is_same_v<Cells, Kt_Column::Texts> &&
                  !std::is_same_v<Cells, Kt_Column::Values>) {
      if (adds) return FillOnTheWay(column, records, groups, cells.data());
    }
    FillInTurn(column, records, groups);
  });
}

// Every cell is read once, for all levels: a batch of cells is laid out in the order of the
// records, and each level takes the pieces of it that its groups cover. So a group begins at the
// first lane of its sum however small it is. `cells` may be null where only nulls matter.
template <class Array>
void GroupBuilder::FillOnTheWay(const TotalColumn& column, const CountedVector<Slot>& records,
                                GroupView& groups, Array cells) const {
  constexpr std::size_t kBatch = 2048;
  struct Open {
    Kt_CellSum sum;
    std::size_t values = 0;
  };
  std::vector<Open> levels(keys_.size());  // the groups that are open, the innermost first
  CountedVector<Subtotal>& all = groups.All();
  RecordBatch<Array, kBatch> batch(cells, column.cells->Nulls());
  std::size_t ended = 0;  // subtotals before the batch
  for (std::size_t first = 0; first < records.size(); first += kBatch) {
    const std::size_t end = std::min(records.size(), first + kBatch);
    ChargeOrLeave(static_cast<std::int64_t>((end - first) * levels.size()) *
                  Kt_WorkMeter::kUnitsPerCell);
    batch.Read(&records[first], end - first);
    std::size_t stop = ended;  // of the subtotals whose groups end in the batch
    while (stop < all.size() && static_cast<std::size_t>(all[stop].last) <= end) ++stop;
    for (std::size_t level = 0; level < levels.size(); ++level) {
      Open& open = levels[level];
      std::size_t from = first;
      for (std::size_t at = ended; at < stop; ++at) {
        Subtotal& subtotal = all[at];
        if (static_cast<std::size_t>(subtotal.level) != level + 1) continue;
        const auto last = static_cast<std::size_t>(subtotal.last);
        batch.AddTo(open.sum, open.values, from - first, last - first);
        from = last;
        const Open closed = std::exchange(open, {});
        if (ShowsKey(subtotal, column.col)) continue;
        const Kt_CellFold fold(column.what, static_cast<kt_long>(closed.values), closed.sum, {});
        subtotal.cells.push_back({column.col, -1, fold.Finish()});
      }
      batch.AddTo(open.sum, open.values, from - first, end - first);
    }
    ended = stop;
  }
}

void GroupBuilder::FillInTurn(const TotalColumn& column, const CountedVector<Slot>& records,
                              GroupView& groups) const {
  ChargeOrLeave(static_cast<std::int64_t>(records.size()) * Kt_WorkMeter::kUnitsPerCell);
  const Kt_Column cells = column.cells->Gather(records);
  for (Subtotal& subtotal : groups.All()) {
    if (ShowsKey(subtotal, column.col)) continue;
    Kt_Variant total;
    TotalOfCells(column.what, cells, static_cast<std::size_t>(subtotal.first),
                 static_cast<std::size_t>(subtotal.last), total);
    subtotal.cells.push_back({column.col, -1, std::move(total)});
  }
}

void GroupBuilder::FillPositions(const CountedVector<Slot>& records, Subtotal& subtotal) const {
  const CountedVector<Slot> rows(records.begin() + subtotal.first, records.begin() + subtotal.last);
  ChargeOrLeave(static_cast<std::int64_t>(rows.size()) * Kt_WorkMeter::kUnitsPerCell);
  pivot_->TotalRows(rows, subtotal.cells);
}

}  // namespace kt::detail
