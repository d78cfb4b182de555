// SPDX-License-Identifier: MIT
#include "classlib/detail/Kt_ChangeBuffer.h"

#include <algorithm>

namespace kt::detail {

const ChangeBuffer::Entry* ChangeBuffer::Find(Slot slot) const {
  const auto found = entries_.find(slot);
  return found == entries_.end() ? nullptr : &found->second;
}

const Kt_Variant* ChangeBuffer::OldValue(const Entry& entry, kt_long col) {
  for (const auto& [changed_col, old] : entry.cells) {
    if (changed_col == col) return &old;
  }
  return nullptr;
}

ChangeBuffer::Entry& ChangeBuffer::Touch(Slot slot) {
  const auto [found, is_new] = entries_.try_emplace(slot);
  if (is_new) {
    found->second.number = next_number_++;
    order_.Append(slot, 1);
  }
  return found->second;
}

void ChangeBuffer::NoteWrite(Slot slot, kt_long col, const Kt_Variant& before) {
  Entry& entry = Touch(slot);
  if (OldValue(entry, col) == nullptr) entry.cells.emplace_back(col, before);
}

bool ChangeBuffer::NoteRestored(Slot slot, kt_long col) {
  Entry& entry = Touch(slot);
  std::erase_if(entry.cells, [col](const auto& cell) { return cell.first == col; });
  if (!entry.cells.empty() || entry.forced) return true;
  Drop(slot);
  return false;
}

void ChangeBuffer::NoteDelete(Slot slot) {
  Touch(slot).deleted = true;
  deleted_.push_back(slot);
}

// Numbers rise along the order, so an entry is found by bisection.
kt_long ChangeBuffer::IndexOf(std::uint64_t number) const {
  kt_long low = 0;
  kt_long high = order_.Count(kAllRows);
  while (low < high) {
    const kt_long middle = low + (high - low) / 2;
    if (Find(SlotAt(middle))->number < number) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

void ChangeBuffer::Drop(Slot slot) {
  const auto found = entries_.find(slot);
  if (found == entries_.end()) return;
  order_.Remove(order_.Find(kAllRows, IndexOf(found->second.number)));
  entries_.erase(found);
}

void ChangeBuffer::Clear() { *this = ChangeBuffer(); }

}  // namespace kt::detail
