// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/detail/Kt_RowIndex.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// What the cells of one column had before their first change, by slot. They lie in pages, which are
// made where cells change.
class FirstCells {
 public:
  // Null for a cell that is not noted. Good until the next note.
  const Kt_Variant* Find(Slot slot) const {
    const std::size_t page = slot / kPageSlots;
    if (page >= noted_.size() || (noted_[page] & BitOf(slot)) == 0) return nullptr;
    return &pages_[page][slot % kPageSlots];
  }
  // After this Note needs no memory.
  void MakeRoom(Slot slot) {
    const std::size_t page = slot / kPageSlots;
    if (KT_UNLIKELY(page >= pages_.size() || pages_[page].empty())) MakePage(page);
  }
  // REQUIRES: MakeRoom was called for the slot, and the cell is not noted.
  void Note(Slot slot, const Kt_Variant& before) {
    const std::size_t page = slot / kPageSlots;
    pages_[page][slot % kPageSlots] = before;
    noted_[page] |= BitOf(slot);
  }
  // The cell is not noted any more. Needs no memory.
  void Forget(Slot slot) {
    if (Find(slot) == nullptr) return;
    const std::size_t page = slot / kPageSlots;
    pages_[page][slot % kPageSlots].Clear();
    noted_[page] &= ~BitOf(slot);
  }

 private:
  static constexpr Slot kPageSlots = 64;
  static std::uint64_t BitOf(Slot slot) { return std::uint64_t{1} << slot % kPageSlots; }
  KT_NOINLINE void MakePage(std::size_t page) {
    if (noted_.size() <= page) noted_.resize(page + 1);
    if (pages_.size() <= page) pages_.resize(page + 1);
    pages_[page].resize(kPageSlots);
  }

  CountedVector<std::uint64_t> noted_;              // a bit for each slot
  CountedVector<CountedVector<Kt_Variant>> pages_;  // empty, or kPageSlots long
};

}  // namespace kt::detail
