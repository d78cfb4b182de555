// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_GroupView.h"

#include <algorithm>
#include <limits>

namespace kt::detail {

const Kt_Variant* Subtotal::Find(kt_long col, kt_long at) const {
  const auto found = std::lower_bound(cells.begin(), cells.end(), std::pair(col, at),
                                      [](const SubtotalCell& cell, const auto& wanted) {
                                        return std::pair(cell.col, cell.position) < wanted;
                                      });
  if (found == cells.end() || found->col != col || found->position != at) return nullptr;
  return &found->value;
}

std::size_t GroupView::LowerBound(kt_long row) const {
  const auto found = std::lower_bound(
      subtotals_.begin(), subtotals_.end(), row,
      [](const Subtotal& subtotal, kt_long wanted) { return subtotal.position < wanted; });
  return static_cast<std::size_t>(found - subtotals_.begin());
}

const Subtotal* GroupView::Find(kt_long row) {
  if (!removed_.empty() && row >= removed_.back()) TakeIn();
  const std::size_t at = LowerBound(row);
  if (at == subtotals_.size() || subtotals_[at].position != row) return nullptr;
  // Its range may reach past rows that went.
  if (!removed_.empty()) TakeIn();
  return &subtotals_[at];
}

kt_long GroupView::NextFrom(kt_long row) {
  if (!removed_.empty()) TakeIn();
  const std::size_t at = LowerBound(row);
  if (at == subtotals_.size()) return std::numeric_limits<kt_long>::max();
  return subtotals_[at].position;
}

kt_long GroupView::RecordsBefore(kt_long row) {
  if (!removed_.empty() && row >= removed_.back()) TakeIn();
  return row - static_cast<kt_long>(LowerBound(row));
}

// A subtotal's position less its number is how many records stand before it, and never falls.
kt_long GroupView::RowOf(kt_long record) {
  TakeIn();
  std::size_t low = 0;
  std::size_t high = subtotals_.size();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (subtotals_[middle].position - static_cast<kt_long>(middle) <= record) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return record + static_cast<kt_long>(low);
}

void GroupView::NoteInserted(kt_long row, kt_long count) {
  TakeIn();
  for (Subtotal& subtotal : subtotals_) {
    if (subtotal.position >= row) subtotal.position += count;
    if (subtotal.first > row) subtotal.first += count;
    if (subtotal.last > row) subtotal.last += count;
  }
}

void GroupView::NoteRemoved(kt_long row) {
  if (!removed_.empty() && row >= removed_.back()) TakeIn();
  removed_.push_back(row);
}

void GroupView::NoteRemoved(std::span<const std::uint8_t> marked) {
  TakeIn();
  std::size_t subtotals = LowerBound(static_cast<kt_long>(marked.size()));
  for (auto row = static_cast<kt_long>(marked.size()) - 1; row >= 0; --row) {
    if (subtotals > 0 && subtotals_[subtotals - 1].position == row) {
      --subtotals;
    } else if (marked[static_cast<std::size_t>(row)] != 0) {
      removed_.push_back(row);
    }
  }
}

CountedVector<std::uint8_t> GroupView::MarksOfRecords(std::span<const std::uint8_t> marked) {
  TakeIn();
  CountedVector<std::uint8_t> records;
  records.reserve(marked.size());
  std::size_t from = 0;
  const auto take_to = [&](std::size_t row) {
    records.insert(records.end(), marked.begin() + static_cast<std::ptrdiff_t>(from),
                   marked.begin() + static_cast<std::ptrdiff_t>(row));
    from = row + 1;
  };
  for (const Subtotal& subtotal : subtotals_) {
    const auto row = static_cast<std::size_t>(subtotal.position);
    if (row >= marked.size()) break;
    take_to(row);
  }
  if (from < marked.size()) take_to(marked.size());
  return records;
}

void GroupView::TakeIn() {
  if (removed_.empty()) return;
  std::reverse(removed_.begin(), removed_.end());
  const auto before = [this](kt_long row) {
    return static_cast<kt_long>(std::lower_bound(removed_.begin(), removed_.end(), row) -
                                removed_.begin());
  };
  for (Subtotal& subtotal : subtotals_) {
    subtotal.position -= before(subtotal.position);
    subtotal.first -= before(subtotal.first);
    subtotal.last -= before(subtotal.last);
  }
  removed_.clear();
}

}  // namespace kt::detail
