// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "classlib/store/detail/Kt_RowIndex.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// What the cells of one row that were written had before, in order of their first change. Mostly
// that is one, which takes no memory of its own.
class FirstValues {
 public:
  FirstValues() = default;
  FirstValues(const FirstValues& other)
      : more_(other.more_ != nullptr ? std::make_unique<Cells>(*other.more_) : nullptr),
        first_col_(other.first_col_),
        first_(other.first_) {}
  FirstValues(FirstValues&&) noexcept = default;
  FirstValues& operator=(const FirstValues&) = delete;
  FirstValues& operator=(FirstValues&&) noexcept = default;
  ~FirstValues() = default;

  bool IsEmpty() const { return first_col_ < 0; }
  // Null for a cell that was not written.
  const Kt_Variant* Find(kt_long col) const {
    if (KT_LIKELY(first_col_ == col)) return &first_;
    return more_ != nullptr ? FindMore(col) : nullptr;
  }
  // Calls visit(col, old).
  template <class Visit>
  void ForEach(Visit visit) const {
    if (!IsEmpty()) visit(first_col_, first_);
    if (more_ == nullptr) return;
    for (const auto& [col, old] : *more_) visit(col, old);
  }

  // REQUIRES: the column is not noted.
  void Add(kt_long col, const Kt_Variant& before) {
    if (!IsEmpty()) return AddMore(col, before);
    first_ = before;
    first_col_ = col;
  }
  // Need no memory.
  void Remove(kt_long col);
  void RemoveLast();

 private:
  using Cells = CountedVector<std::pair<kt_long, Kt_Variant>>;
  const Kt_Variant* FindMore(kt_long col) const;
  void AddMore(kt_long col, const Kt_Variant& before);

  std::unique_ptr<Cells> more_;  // null: none
  kt_long first_col_ = -1;       // -1: none is noted
  Kt_Variant first_;
};

// The first values of changed rows, and the deleted rows, in order of first change.
//
// Only the cells that were written are kept: an unchanged row costs nothing.
class ChangeBuffer {
 public:
  struct Entry {
    std::uint64_t number : 62 = 0;  // rises with every new entry
    bool deleted : 1 = false;
    bool forced : 1 = false;  // marked changed by the host: stays though every cell is the original
    FirstValues cells;
  };

  kt_long Count() const { return order_.Count(kAllRows); }
  Slot SlotAt(kt_long index) const { return order_.At(kAllRows, index); }
  // Null for a row without entry.
  const Entry* Find(Slot slot) const {
    const std::uint32_t number = NumberOf(slot);
    return number != 0 ? &EntryOf(number) : nullptr;
  }
  // The old value of a cell; null when it still has its first value.
  static const Kt_Variant* OldValue(const Entry& entry, kt_long col) {
    return entry.cells.Find(col);
  }
  const CountedVector<Slot>& Deleted() const { return deleted_; }

  // The entry of a row, made if it is new. Good until the next one is made.
  Entry& Touch(Slot slot) {
    const std::uint32_t number = NumberOf(slot);
    return number != 0 ? EntryOf(number) : MakeEntry(slot);
  }
  // Notes the value that a cell had before its first change; nothing when one is noted already.
  enum class Noted : std::uint8_t { kNothing, kCell, kEntry };
  Noted NoteWrite(Slot slot, kt_long col, const Kt_Variant& before) {
    const std::uint32_t number = NumberOf(slot);
    if (number == 0) {
      MakeEntry(slot).cells.Add(col, before);  // the first one needs no memory
      return Noted::kEntry;
    }
    Entry& entry = EntryOf(number);
    if (OldValue(entry, col) != nullptr) return Noted::kNothing;
    entry.cells.Add(col, before);
    return Noted::kCell;
  }
  // Takes the last note back; needs no memory.
  void TakeBack(Slot slot, Noted noted);
  // Notes that a cell has its first value again. False when that goes for the whole row: its entry
  // has gone then.
  bool NoteRestored(Slot slot, kt_long col);
  void NoteDelete(Slot slot);
  void Drop(Slot slot);
  void Clear();

 private:
  // REQUIRES: the row has none.
  Entry& MakeEntry(Slot slot);
  void AddFreeEntry();
  void DropAt(Slot slot, RowIndex::Place place);
  const Entry& EntryOf(std::uint32_t number) const {
    return entries_[(number - 1) / kPageEntries][(number - 1) % kPageEntries];
  }
  Entry& EntryOf(std::uint32_t number) {
    return entries_[(number - 1) / kPageEntries][(number - 1) % kPageEntries];
  }
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
  // By number from 1, in pages, so that no entry moves when there are many.
  static constexpr std::uint32_t kPageEntries = 256;
  CountedVector<CountedVector<Entry>> entries_;
  std::uint32_t entry_count_ = 0;
  CountedVector<std::uint32_t> free_numbers_;
  RowIndex order_;
  CountedVector<Slot> deleted_;  // in order of deletion
  std::uint64_t next_number_ = 0;
};

}  // namespace kt::detail
