// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/detail/Kt_FirstCells.h"
#include "classlib/store/detail/Kt_RowIndex.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// The first values of changed rows, and the deleted rows, in order of first change.
//
// Only the cells that were written are kept: an unchanged row costs nothing.
class ChangeBuffer {
 public:
  kt_long Count() const { return order_.Count(kAllRows); }
  Slot SlotAt(kt_long index) const { return order_.At(kAllRows, index); }
  bool Has(Slot slot) const { return MarksOf(slot) != 0; }
  bool IsDeleted(Slot slot) const { return (MarksOf(slot) & kDeleted) != 0; }
  // Marked changed by the host: stays though every cell is the original.
  bool IsForced(Slot slot) const { return (MarksOf(slot) & kForced) != 0; }
  // What a cell had before its first change; null when it still has that.
  const Kt_Variant* OldValue(Slot slot, kt_long col) const {
    const FirstCells* const cells = CellsOf(col);
    return cells != nullptr ? cells->Find(slot) : nullptr;
  }
  // Calls visit(col, old) for the cells of a row that were written.
  template <class Visit>
  void ForEachOld(Slot slot, Visit visit) const {
    for (const Column& column : columns_) {
      if (const Kt_Variant* const old = column.cells.Find(slot)) visit(column.col, *old);
    }
  }
  // By time of deletion.
  const CountedVector<Slot>& Deleted() const { return deleted_; }

  void SetForced(Slot slot, bool forced);
  // Notes the value that a cell had before its first change; nothing when one is noted already.
  enum class Noted : std::uint8_t { kNothing, kCell, kRow };
  Noted NoteWrite(Slot slot, kt_long col, const Kt_Variant& before) {
    FirstCells& cells = MakeCells(col);
    const bool is_new = !Has(slot);
    if (!is_new && cells.Find(slot) != nullptr) return Noted::kNothing;
    cells.MakeRoom(slot);
    if (is_new) AddRow(slot);
    cells.Note(slot, before);
    return is_new ? Noted::kRow : Noted::kCell;
  }
  // Takes the last note back; needs no memory.
  void TakeBack(Slot slot, kt_long col, Noted noted);
  // Notes that a cell has its first value again. False when that goes for the whole row, which is
  // not in the buffer any more then.
  bool NoteRestored(Slot slot, kt_long col);
  void NoteDelete(Slot slot);
  void Drop(Slot slot);

 private:
  // Of a row that is in the buffer: kKnown and more.
  enum Mark : std::uint8_t { kKnown = 1, kDeleted = 2, kForced = 4 };
  struct Column {
    kt_long col;
    FirstCells cells;
  };

  std::uint8_t MarksOf(Slot slot) const {
    const std::size_t page = slot / kPageSlots;
    return page < marks_.size() && !marks_[page].empty() ? marks_[page][slot % kPageSlots] : 0;
  }
  // REQUIRES: Has(slot).
  std::uint8_t& MarksOf(Slot slot) { return marks_[slot / kPageSlots][slot % kPageSlots]; }
  const FirstCells* CellsOf(kt_long col) const {
    const auto at = static_cast<std::size_t>(col);
    return at < places_.size() && places_[at] != 0 ? &columns_[places_[at] - 1].cells : nullptr;
  }
  FirstCells& MakeCells(kt_long col) {
    const auto at = static_cast<std::size_t>(col);
    if (KT_UNLIKELY(at >= places_.size() || places_[at] == 0)) AddColumn(col);
    return columns_[places_[at] - 1].cells;
  }
  void AddColumn(kt_long col);
  // REQUIRES: !Has(slot).
  void AddRow(Slot slot) {
    const std::size_t page = slot / kPageSlots;
    if (KT_UNLIKELY(page >= marks_.size() || marks_[page].empty())) MakePage(page);
    order_.Append(slot);
    marks_[page][slot % kPageSlots] = kKnown;
  }
  void MakePage(std::size_t page);
  void DropAt(Slot slot, RowIndex::Place place);

  // By slot, in pages that are made where rows change.
  static constexpr Slot kPageSlots = 512;
  CountedVector<CountedVector<std::uint8_t>> marks_;  // empty, or kPageSlots long
  CountedVector<Column> columns_;                     // of which cells were written
  CountedVector<std::uint32_t> places_;               // in columns_, from 1, by column; 0: none
  RowIndex order_;
  CountedVector<Slot> deleted_;
};

}  // namespace kt::detail
