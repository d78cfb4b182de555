// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_ChangeBuffer.h"

#include <algorithm>

namespace kt::detail {

void FirstValues::Remove(kt_long col) {
  if (first_col_ != col) {
    std::erase_if(more_, [col](const auto& cell) { return cell.first == col; });
    return;
  }
  first_col_ = -1;
  first_.Clear();
  if (more_.empty()) return;
  first_col_ = more_.front().first;
  first_ = std::move(more_.front().second);
  more_.erase(more_.begin());
}

void FirstValues::RemoveLast() {
  if (!more_.empty()) return more_.pop_back();
  first_col_ = -1;
  first_.Clear();
}

ChangeBuffer::Entry& ChangeBuffer::Touch(Slot slot) {
  if (const std::uint32_t number = NumberOf(slot); number != 0) return entries_[number - 1];
  const std::size_t page = slot / kPageSlots;
  if (pages_.size() <= page) pages_.resize(page + 1);
  if (pages_[page].empty()) pages_[page].resize(kPageSlots);
  if (free_entries_.empty()) {
    entries_.emplace_back();
    free_entries_.reserve(entries_.capacity());  // so that dropping one needs no memory
    free_entries_.push_back(static_cast<std::uint32_t>(entries_.size()));
  }
  order_.Append(slot, 1);
  const std::uint32_t number = free_entries_.back();
  free_entries_.pop_back();
  pages_[page][slot % kPageSlots] = number;
  entries_[number - 1].number = next_number_++;
  return entries_[number - 1];
}

ChangeBuffer::Noted ChangeBuffer::NoteWrite(Slot slot, kt_long col, const Kt_Variant& before) {
  if (const std::uint32_t number = NumberOf(slot); number != 0) {
    Entry& entry = entries_[number - 1];
    if (OldValue(entry, col) != nullptr) return Noted::kNothing;
    entry.cells.Add(col, before);
    return Noted::kCell;
  }
  Touch(slot).cells.Add(col, before);  // the first one needs no memory
  return Noted::kEntry;
}

void ChangeBuffer::TakeBack(Slot slot, Noted noted) {
  if (noted == Noted::kNothing) return;
  const std::uint32_t number = NumberOf(slot);
  entries_[number - 1].cells.RemoveLast();
  if (noted == Noted::kEntry) DropAt(slot, order_.Last());
}

bool ChangeBuffer::NoteRestored(Slot slot, kt_long col) {
  Entry& entry = Touch(slot);
  entry.cells.Remove(col);
  if (!entry.cells.IsEmpty() || entry.forced) return true;
  Drop(slot);
  return false;
}

void ChangeBuffer::NoteDelete(Slot slot) {
  deleted_.push_back(slot);
  try {
    Touch(slot).deleted = true;
  } catch (...) {
    deleted_.pop_back();
    throw;
  }
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
  const std::uint32_t number = NumberOf(slot);
  if (number == 0) return;
  DropAt(slot, order_.Find(kAllRows, IndexOf(entries_[number - 1].number)));
}

void ChangeBuffer::DropAt(Slot slot, RowIndex::Place place) {
  const std::uint32_t number = NumberOf(slot);
  order_.Remove(place);  // the only thing here that may run out of memory
  entries_[number - 1] = Entry();
  free_entries_.push_back(number);
  pages_[slot / kPageSlots][slot % kPageSlots] = 0;
}

void ChangeBuffer::Clear() { *this = ChangeBuffer(); }

}  // namespace kt::detail
