// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_GroupBuilder.h"

#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_ColumnTotal.h"

namespace kt::detail {

void GroupBuilder::Build(bool reverse, GroupView& groups) const {
  Find(groups);
  Place(reverse, groups);
  RoundCharge charge;
  const auto cells = static_cast<std::int64_t>(keys_.size() + totals_.size() + 1);
  for (Subtotal& subtotal : groups.All()) {
    charge.AddOrLeave(cells * 16 * Kt_WorkMeter::kUnitsPerCell);
    Fill(subtotal);
    subtotal.first = groups.RowOf(subtotal.first);
    subtotal.last = groups.RowOf(subtotal.last - 1) + 1;
  }
}

// The groups with their ranges in records.
void GroupBuilder::Find(GroupView& groups) const {
  const kt_long count = index_.Count(view_);
  const std::size_t key_count = keys_.size();
  std::vector<kt_long> starts(key_count, 0);  // record that begins the open group of each key
  Slot before = 0;
  RoundCharge charge;
  const std::int64_t units = static_cast<std::int64_t>(key_count + 1) * Kt_WorkMeter::kUnitsPerCell;
  for (kt_long record = 0; record <= count; ++record) {
    charge.AddOrLeave(units);
    const Slot slot = record < count ? index_.At(view_, record) : 0;
    std::size_t same = 0;
    if (record > 0 && record < count) {
      while (same < key_count && keys_[same].cells->SameCells(before, slot)) ++same;
    }
    for (std::size_t key = key_count; record > 0 && key-- > same;) {
      Subtotal subtotal;
      subtotal.level = static_cast<kt_long>(key_count - key);
      subtotal.first = starts[key];
      subtotal.last = record;
      groups.Add(std::move(subtotal));
      starts[key] = record;
    }
    before = slot;
  }
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

// REQUIRES: the subtotal's range is still in records.
void GroupBuilder::Fill(Subtotal& subtotal) const {
  const Slot slot = index_.At(view_, subtotal.first);
  const std::size_t shown = keys_.size() + 1 - static_cast<std::size_t>(subtotal.level);
  for (std::size_t key = 0; key < shown; ++key) {
    subtotal.cells.push_back({keys_[key].col, -1, keys_[key].cells->Read(slot)});
  }
  for (const TotalColumn& column : totals_) {
    Kt_Variant total;
    TotalOfRecords(column.what, *column.cells, index_, view_, subtotal.first, subtotal.last, total);
    subtotal.cells.push_back({column.col, -1, total});
  }
  if (pivot_ != nullptr) {
    CountedVector<Slot> rows;
    ChargeOrLeave((subtotal.last - subtotal.first) * Kt_WorkMeter::kUnitsPerCell);
    for (kt_long record = subtotal.first; record < subtotal.last; ++record) {
      rows.push_back(index_.At(view_, record));
    }
    pivot_->TotalRows(rows, subtotal.cells);
  }
  // Of a key column that is totalled too the key is shown.
  std::stable_sort(subtotal.cells.begin(), subtotal.cells.end(),
                   [](const SubtotalCell& a, const SubtotalCell& b) {
                     return std::pair(a.col, a.position) < std::pair(b.col, b.position);
                   });
}

}  // namespace kt::detail
