// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_ChangeBuffer.h"

namespace kt::detail {

void ChangeBuffer::AddColumn(kt_long col) {
  const auto at = static_cast<std::size_t>(col);
  if (places_.size() <= at) places_.resize(at + 1);
  columns_.push_back({col, {}});
  places_[at] = static_cast<std::uint32_t>(columns_.size());
}

void ChangeBuffer::MakePage(std::size_t page) {
  if (marks_.size() <= page) marks_.resize(page + 1);
  marks_[page].resize(kPageSlots);
}

void ChangeBuffer::SetForced(Slot slot, bool forced) {
  if (!Has(slot)) AddRow(slot);
  std::uint8_t& marks = MarksOf(slot);
  marks = static_cast<std::uint8_t>(forced ? marks | kForced : marks & ~kForced);
}

void ChangeBuffer::TakeBack(Slot slot, kt_long col, Noted noted) {
  if (noted == Noted::kNothing) return;
  MakeCells(col).Forget(slot);
  if (noted == Noted::kRow) DropAt(slot, order_.Last());
}

bool ChangeBuffer::NoteRestored(Slot slot, kt_long col) {
  MakeCells(col).Forget(slot);
  bool stays = IsForced(slot);
  ForEachOld(slot, [&stays](kt_long, const Kt_Variant&) { stays = true; });
  if (!stays) Drop(slot);
  return stays;
}

void ChangeBuffer::NoteDelete(Slot slot) {
  deleted_.push_back(slot);
  try {
    if (!Has(slot)) AddRow(slot);
    MarksOf(slot) |= kDeleted;
  } catch (...) {
    deleted_.pop_back();
    throw;
  }
}

void ChangeBuffer::Drop(Slot slot) {
  if (!Has(slot)) return;
  if (const auto place = order_.PlaceOf(slot)) DropAt(slot, *place);
}

void ChangeBuffer::DropAt(Slot slot, RowIndex::Place place) {
  order_.Remove(place);  // the only thing here that may run out of memory
  for (Column& column : columns_) column.cells.Forget(slot);
  MarksOf(slot) = 0;
}

}  // namespace kt::detail
