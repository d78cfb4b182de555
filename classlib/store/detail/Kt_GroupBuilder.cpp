// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_GroupBuilder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <type_traits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_ColumnTotal.h"

namespace kt::detail {

namespace {

constexpr std::size_t kBatch = 1024;  // records

// Writes `key` to `first` for those records that differ there from the one before.
template <class Same>
void NoteDifferences(const Slot* records, std::size_t count, std::uint32_t key,
                     std::uint32_t* first, Same same) {
  for (std::size_t at = 0; at < count; ++at) {
    const Slot* const record = records + at;
    if (!same(record[-1], *record)) first[at] = key;
  }
}

// As Kt_Column::SameCells has it; a null holds 0 or nothing. REQUIRES: there is a record before.
void NoteDifferences(const Kt_Column& cells, const Slot* records, std::size_t count,
                     std::uint32_t key, std::uint32_t* first) {
  const auto by_value = [&](const auto& values) {
    const auto is_same = []<class T>(T a, T b) {
      if constexpr (std::is_floating_point_v<T>) return a == b || (std::isnan(a) && std::isnan(b));
      return a == b;
    };
    if (cells.NullCount() == 0) {
      NoteDifferences(records, count, key, first,
                      [&](Slot a, Slot b) { return is_same(values[a], values[b]); });
    } else {
      NoteDifferences(records, count, key, first, [&](Slot a, Slot b) {
        return is_same(values[a], values[b]) && cells.IsNull(a) == cells.IsNull(b);
      });
    }
  };
  const auto by_cell = [&] {
    NoteDifferences(records, count, key, first,
                    [&](Slot a, Slot b) { return cells.SameCells(a, b); });
  };
  VisitCells(cells, [&]<class Cells>(const Cells& values) {
    if constexpr (std::is_same_v<Cells, Kt_Column::Values>) {
      by_cell();
    } else if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
      values.dictionary.IsUnique() ? by_value(values.codes) : by_cell();
    } else {
      by_value(values);
    }
  });
}

}  // namespace

void GroupBuilder::Build(bool reverse, GroupView& groups) const {
  const CountedVector<Slot> records = Records();
  Find(records, groups);
  Place(reverse, groups);
  RoundCharge charge;
  const auto cells = static_cast<std::int64_t>(keys_.size() + totals_.size() + 1);
  for (Subtotal& subtotal : groups.All()) {
    charge.AddOrLeave(cells * 16 * Kt_WorkMeter::kUnitsPerCell);
    subtotal.cells.reserve(keys_.size() + totals_.size());
    FillKeys(records, subtotal);
  }
  for (const TotalColumn& column : totals_) FillTotal(column, records, groups);
  for (Subtotal& subtotal : groups.All()) {
    charge.AddOrLeave(cells * Kt_WorkMeter::kUnitsPerCell);
    if (pivot_ != nullptr) FillPositions(records, subtotal);
    // Of a key column that is totalled too the key is shown.
    std::stable_sort(subtotal.cells.begin(), subtotal.cells.end(),
                     [](const SubtotalCell& a, const SubtotalCell& b) {
                       return std::pair(a.col, a.position) < std::pair(b.col, b.position);
                     });
    subtotal.first = groups.RowOf(subtotal.first);
    subtotal.last = groups.RowOf(subtotal.last - 1) + 1;
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
  std::array<std::uint32_t, kBatch> different;  // by record: the first key that is
  for (std::size_t from = 1; from < records.size(); from += kBatch) {
    const std::size_t count = std::min(kBatch, records.size() - from);
    ChargeOrLeave(static_cast<std::int64_t>(count) * (key_count + 1) * Kt_WorkMeter::kUnitsPerCell);
    std::fill_n(different.begin(), count, key_count);
    for (std::uint32_t key = key_count; key-- > 0;) {
      NoteDifferences(*keys_[key].cells, &records[from], count, key, different.data());
    }
    for (std::size_t at = 0; at < count; ++at) {
      if (different[at] < key_count) end_groups(different[at], from + at);
    }
  }
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
  const std::size_t shown = keys_.size() + 1 - static_cast<std::size_t>(subtotal.level);
  for (std::size_t key = 0; key < shown; ++key) {
    subtotal.cells.push_back({keys_[key].col, -1, keys_[key].cells->Read(slot)});
  }
}

void GroupBuilder::FillTotal(const TotalColumn& column, const CountedVector<Slot>& records,
                             GroupView& groups) {
  ChargeOrLeave(static_cast<std::int64_t>(records.size()) * Kt_WorkMeter::kUnitsPerCell);
  const Kt_Column cells = column.cells->Gather(records);
  for (Subtotal& subtotal : groups.All()) {
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
