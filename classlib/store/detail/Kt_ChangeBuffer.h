// SPDX-License-Identifier: MIT
#pragma once

#include <utility>
#include <vector>

#include "classlib/store/detail/Kt_RowIndex.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// What the cells of one row that were written had before, in order of their first change. Mostly
// that is one, which takes no memory of its own.
class FirstValues {
 public:
  bool IsEmpty() const { return first_col_ < 0; }
  // Null for a cell that was not written.
  const Kt_Variant* Find(kt_long col) const {
    if (KT_LIKELY(first_col_ == col)) return &first_;
    for (const auto& [noted_col, old] : more_) {
      if (noted_col == col) return &old;
    }
    return nullptr;
  }
  // Calls visit(col, old).
  template <class Visit>
  void ForEach(Visit visit) const {
    if (!IsEmpty()) visit(first_col_, first_);
    for (const auto& [col, old] : more_) visit(col, old);
  }

  // REQUIRES: the column is not noted.
  void Add(kt_long col, const Kt_Variant& before) {
    if (!IsEmpty()) {
      more_.emplace_back(col, before);
      return;
    }
    first_ = before;
    first_col_ = col;
  }
  // Need no memory.
  void Remove(kt_long col);
  void RemoveLast();

 private:
  kt_long first_col_ = -1;  // -1: none is noted
  Kt_Variant first_;
  CountedVector<std::pair<kt_long, Kt_Variant>> more_;
};

// The first values of changed rows, and the deleted rows, in order of first change.
//
// Only the cells that were written are kept: an unchanged row costs nothing.
class ChangeBuffer {
 public:
  struct Entry {
    std::uint64_t number = 0;  // rises with every new entry
    bool deleted = false;
    bool forced = false;  // marked changed by the host: stays though every cell is the original
    FirstValues cells;
  };

  kt_long Count() const { return order_.Count(kAllRows); }
  Slot SlotAt(kt_long index) const { return order_.At(kAllRows, index); }
  // Null for a row without entry.
  const Entry* Find(Slot slot) const {
    const std::uint32_t number = NumberOf(slot);
    return number != 0 ? &entries_[number - 1] : nullptr;
  }
  // The old value of a cell; null when it still has its first value.
  static const Kt_Variant* OldValue(const Entry& entry, kt_long col) {
    return entry.cells.Find(col);
  }
  const CountedVector<Slot>& Deleted() const { return deleted_; }

  // The entry of a row, made if it is new. Good until the next one is made.
  Entry& Touch(Slot slot);
  // Notes the value that a cell had before its first change; nothing when one is noted already.
  enum class Noted : std::uint8_t { kNothing, kCell, kEntry };
  Noted NoteWrite(Slot slot, kt_long col, const Kt_Variant& before);
  // Takes the last note back; needs no memory.
  void TakeBack(Slot slot, Noted noted);
  // Notes that a cell has its first value again. False when that goes for the whole row: its entry
  // has gone then.
  bool NoteRestored(Slot slot, kt_long col);
  void NoteDelete(Slot slot);
  void Drop(Slot slot);
  void Clear();

 private:
  void DropAt(Slot slot, RowIndex::Place place);
  kt_long IndexOf(std::uint64_t number) const;
  // From 1; 0: no entry.
  std::uint32_t NumberOf(Slot slot) const {
    const std::size_t page = slot / kPageSlots;
    return page < pages_.size() && !pages_[page].empty() ? pages_[page][slot % kPageSlots] : 0;
  }

  // Entry numbers by slot, in pages that are made where rows change; 0: no entry.
  static constexpr Slot kPageSlots = 512;
  using Page = CountedVector<std::uint32_t>;
  CountedVector<Page> pages_;  // empty, or kPageSlots long
  CountedVector<Entry> entries_;
  CountedVector<std::uint32_t> free_entries_;
  RowIndex order_;
  CountedVector<Slot> deleted_;  // in order of deletion
  std::uint64_t next_number_ = 0;
};

}  // namespace kt::detail
