// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_ChangeBuffer.h"

#include <algorithm>

namespace kt::detail {

const Kt_Variant* FirstValues::FindMore(kt_long col) const {
  for (const auto& [noted_col, old] : *more_) {
    if (noted_col == col) return &old;
  }
  return nullptr;
}

void FirstValues::AddMore(kt_long col, const Kt_Variant& before) {
  if (more_ == nullptr) more_ = std::make_unique<Cells>();
  more_->emplace_back(col, before);
}

void FirstValues::Remove(kt_long col) {
  if (first_col_ != col) {
    if (more_ != nullptr)
      std::erase_if(*more_, [col](const auto& cell) { return cell.first == col; });
    return;
  }
  first_col_ = -1;
  first_.Clear();
  if (more_ == nullptr || more_->empty()) return;
  first_col_ = more_->front().first;
  first_ = std::move(more_->front().second);
  more_->erase(more_->begin());
}

void FirstValues::RemoveLast() {
  if (more_ != nullptr && !more_->empty()) return more_->pop_back();
  first_col_ = -1;
  first_.Clear();
}

// Makes one more entry that is free. After that dropping an entry needs no memory.
void ChangeBuffer::AddFreeEntry() {
  if (entry_count_ == entries_.size() * kPageEntries) {
    entries_.emplace_back();
    if (entry_count_ != 0) entries_.back().reserve(kPageEntries);
  }
  if (free_numbers_.capacity() <= entry_count_) free_numbers_.reserve(2 * entry_count_ + 1);
  entries_.back().emplace_back();
  free_numbers_.push_back(++entry_count_);
}

ChangeBuffer::Entry& ChangeBuffer::MakeEntry(Slot slot) {
  const std::size_t page = slot / kPageSlots;
  if (pages_.size() <= page) pages_.resize(page + 1);
  if (pages_[page].empty()) pages_[page].resize(kPageSlots);
  if (free_numbers_.empty()) AddFreeEntry();
  order_.Append(slot);
  const std::uint32_t number = free_numbers_.back();
  free_numbers_.pop_back();
  pages_[page][slot % kPageSlots] = number;
  Entry& entry = EntryOf(number);
  entry.number = next_number_++;
  return entry;
}

void ChangeBuffer::TakeBack(Slot slot, Noted noted) {
  if (noted == Noted::kNothing) return;
  const std::uint32_t number = NumberOf(slot);
  EntryOf(number).cells.RemoveLast();
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
  DropAt(slot, order_.Find(kAllRows, IndexOf(EntryOf(number).number)));
}

void ChangeBuffer::DropAt(Slot slot, RowIndex::Place place) {
  const std::uint32_t number = NumberOf(slot);
  // What may run out of memory comes first. After AddFreeEntry this does not, but in a copy.
  if (free_numbers_.size() == free_numbers_.capacity()) free_numbers_.reserve(entry_count_);
  order_.Remove(place);
  EntryOf(number) = Entry();
  free_numbers_.push_back(number);
  pages_[slot / kPageSlots][slot % kPageSlots] = 0;
}

void ChangeBuffer::Clear() { *this = ChangeBuffer(); }

}  // namespace kt::detail
