// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_ChangeBuffer.h"

#include <algorithm>

namespace kt::detail {

std::uint32_t ChangeBuffer::NumberOf(Slot slot) const {
  const std::size_t page = slot / kPageSlots;
  return page < pages_.size() && !pages_[page].empty() ? pages_[page][slot % kPageSlots] : 0;
}

const ChangeBuffer::Entry* ChangeBuffer::Find(Slot slot) const {
  const std::uint32_t number = NumberOf(slot);
  return number != 0 ? &entries_[number - 1] : nullptr;
}

const Kt_Variant* ChangeBuffer::OldValue(const Entry& entry, kt_long col) {
  for (const auto& [changed_col, old] : entry.cells) {
    if (changed_col == col) return &old;
  }
  return nullptr;
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
    entry.cells.emplace_back(col, before);
    return Noted::kCell;
  }
  decltype(Entry::cells) cells;
  cells.emplace_back(col, before);
  Touch(slot).cells = std::move(cells);
  return Noted::kEntry;
}

void ChangeBuffer::TakeBack(Slot slot, Noted noted) {
  if (noted == Noted::kNothing) return;
  const std::uint32_t number = NumberOf(slot);
  entries_[number - 1].cells.pop_back();
  if (noted == Noted::kEntry) DropAt(slot, order_.Last());
}

bool ChangeBuffer::NoteRestored(Slot slot, kt_long col) {
  Entry& entry = Touch(slot);
  std::erase_if(entry.cells, [col](const auto& cell) { return cell.first == col; });
  if (!entry.cells.empty() || entry.forced) return true;
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
