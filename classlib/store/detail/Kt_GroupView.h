// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// A cell of a subtotal that is not null. The position is that of a pivot, -1 for what all positions
// share.
struct SubtotalCell {
  kt_long col;
  kt_long position;
  Kt_Variant value;
};

// A row that is no record: the total of a group.
struct Subtotal {
  kt_long position = 0;  // row number
  kt_long level = 1;     // 1 innermost
  kt_long first = 0;     // the rows of its group, [first, last)
  kt_long last = 0;
  CountedVector<SubtotalCell> cells;  // by column, then position

  // Null for a cell without value.
  const Kt_Variant* Find(kt_long col, kt_long at) const;
};

// The subtotal rows between the records of one view.
//
// Only subtotals are kept, in order of position: the record behind a row is the row's number less
// the subtotals before it. Loops that hide or delete rows from the last to the first are only
// noted, and taken in when a row after the last one is asked for.
class GroupView {
 public:
  // Building them was stopped: they are to be built anew as soon as work goes on.
  bool is_unfinished = false;

  void Add(Subtotal subtotal) { subtotals_.push_back(std::move(subtotal)); }
  CountedVector<Subtotal>& All() { return subtotals_; }
  kt_long Count() const { return static_cast<kt_long>(subtotals_.size()); }

  // The subtotal at a row; null for a record.
  const Subtotal* Find(kt_long row);
  // The row of the first subtotal from `row` on; far outside when there is none.
  kt_long NextFrom(kt_long row);
  // How many records stand before a row.
  kt_long RecordsBefore(kt_long row);
  // The row of a record.
  kt_long RowOf(kt_long record);
  // Takes note that records came or one went.
  void NoteInserted(kt_long row, kt_long count);
  void NoteRemoved(kt_long row);
  // The same for all records among the rows that are marked.
  void NoteRemoved(std::span<const std::uint8_t> marked);
  // Of marks by row those of the records, by record.
  CountedVector<std::uint8_t> MarksOfRecords(std::span<const std::uint8_t> marked);

 private:
  std::size_t LowerBound(kt_long row) const;
  void TakeIn();

  CountedVector<Subtotal> subtotals_;
  CountedVector<kt_long> removed_;  // rows that went, falling; by the numbers they had at first
};

}  // namespace kt::detail
