// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Types.h"
#include "classlib/store/detail/Kt_SortedRuns.h"

namespace kt::detail {

// The place of a row's cells in the columns; never changes while the row lives.
using Slot = std::uint32_t;

// What is known of a row in one byte.
inline constexpr std::uint8_t kRowMainHidden = 1;   // by the main filter
inline constexpr std::uint8_t kRowLocalHidden = 2;  // by the local filter
inline constexpr std::uint8_t kRowDeleted = 4;      // waits for ApplyChange or Reset
inline constexpr std::uint8_t kRowInserted = 8;
inline constexpr std::uint8_t kRowUpdated = 16;
inline constexpr std::uint8_t kRowSelected = 32;

// A view is the set of filters that count: kRowMainHidden, kRowLocalHidden, both or none. A row is
// in it when none of these hides it and it is not deleted.
using View = std::uint8_t;
inline constexpr View kAllRows = 0;
inline constexpr View kBothFilters = kRowMainHidden | kRowLocalHidden;

// The order of the records, and every view of it.
//
// The order is cut into chunks of up to 512 rows. A chunk whose slots follow one another is just
// its first slot, so data as loaded takes 48 bytes per 512 rows; only chunks that were edited list
// their slots, and those that were sorted share one list. Each chunk counts its rows in each of the
// four views, and a Fenwick tree over the counts finds a row of a view in O(log n). Hidden and
// deleted rows stay in their chunk: hiding, deleting and taking either back change a byte and some
// counts, and a row that comes back is at its old place by itself.
//
// Threads: sole access, for reading too: the place of the last row read is kept.
class RowIndex {
 public:
  static constexpr std::uint32_t kChunkRows = 512;
  struct Place {
    std::uint32_t chunk;
    std::uint32_t offset;
  };

  kt_long Count(View view) const { return totals_[view]; }
  // All rows, the deleted ones too.
  std::size_t EntryCount() const { return entries_; }

  // Whether row n of the view is slot n.
  bool IsIdentity(View view) const {
    return identity_ && static_cast<std::size_t>(totals_[view]) == entries_;
  }

  // The same of a row, which may lie outside.
  bool IsIdentityAt(View view, kt_long row) const {
    return IsIdentity(view) && static_cast<std::size_t>(row) < entries_;
  }

  // REQUIRES: 0 <= row < Count(view).
  Slot At(View view, kt_long row) const {
    if (KT_LIKELY(IsIdentity(view))) return static_cast<Slot>(row);
    return SlotAt(Find(view, row));
  }
  Place Find(View view, kt_long row) const;
  // How many rows of the view stand before `place`.
  kt_long RankOf(View view, Place place) const;
  Slot SlotAt(Place place) const { return chunks_[place.chunk].At(place.offset); }
  // The place after the last row / of the last one, which there must be.
  Place End() const;
  Place Last() const {
    return {static_cast<std::uint32_t>(chunks_.size() - 1), chunks_.back().size - 1u};
  }
  // The place of a slot; nothing when it is in no chunk. The first call after rows were inserted
  // or moved takes one pass over the rows.
  std::optional<Place> PlaceOf(Slot slot) const;

  std::uint8_t Flags(Slot slot) const { return slot < flags_.size() ? flags_[slot] : 0; }
  bool IsIn(View view, Slot slot) const { return (Flags(slot) & (view | kRowDeleted)) == 0; }
  // Sets and clears flags of the row at `place`; keeps the counts.
  void Change(Place place, std::uint8_t set, std::uint8_t clear);
  // The same for flags that no view looks at. REQUIRES: only kRowInserted, Updated, Selected; or
  // RecountAll follows.
  void Mark(Slot slot, std::uint8_t set, std::uint8_t clear) {
    if (KT_LIKELY(slot < flags_.size())) {
      flags_[slot] = static_cast<std::uint8_t>((flags_[slot] & ~clear) | set);
    } else if (set != 0 && slot == flags_.size() && slot < flags_.capacity()) {
      flags_.push_back(set);
    } else if (set != 0) {
      MarkBehind(slot, set);
    }
  }
  // Sets and clears flags of every row.
  void ChangeAll(std::uint8_t set, std::uint8_t clear);
  // Sets flags in the rows of a view whose number has another value than 0 in `marked`; how many.
  kt_long SetWhere(View view, std::uint8_t set, std::span<const std::uint8_t> marked);
  // Counts again, after Mark was used on flags that views look at.
  void RecountAll();
  // Clears all flags of a slot that is in no chunk.
  void Forget(Slot slot);

  // Appends slots that follow one another, without flags.
  void Append(Slot first, std::uint32_t count);
  // The same for one slot. Where the last chunk goes on with it, only counts change.
  void Append(Slot slot) {
    if (KT_UNLIKELY(!GoesOnWith(slot))) return Append(slot, 1);
    LeaveOrder();
    identity_ = identity_ && slot == entries_;
    ++entries_;
    Chunk& last = chunks_.back();
    ++last.size;
    for (View view = 0; view < kViews; ++view) AddCount(last, view, 1);
  }
  // After this inserting before `place` needs no memory. Places may be others.
  void MakeRoomAt(Place place);
  // Inserts before `place`; the slot must be without flags.
  void Insert(Place place, Slot slot);
  void Remove(Place place);
  void Exchange(Place a, Place b);
  // A new order over some or all of the slots; flags stay.
  void Assign(CountedVector<Slot> slots);
  void Clear();

  // What the sort that made this order knows of it; null when there was none, or rows came, went or
  // moved since.
  void SetRuns(std::shared_ptr<const SortedRuns> runs) { runs_ = std::move(runs); }
  const SortedRuns* Runs() const { return runs_.get(); }

  // All slots in order, the deleted ones too / those of a view.
  CountedVector<Slot> Slots() const;
  CountedVector<Slot> Slots(View view) const;
  // Those of a view where they lie as a sort left them; null where they do not.
  const CountedVector<Slot>* SortedSlots(View view) const {
    return is_as_assigned_ && static_cast<std::size_t>(totals_[view]) == entries_ ? assigned_.get()
                                                                                  : nullptr;
  }
  // Calls dense(first, count) and listed(slots, count) for rows [start, end) of a view, in order.
  // The visitor must not change the index.
  template <class Dense, class Listed>
  void ForEachRun(View view, kt_long start, kt_long end, Dense dense, Listed listed) const;
  // Calls visit(place, slot) for every entry; visit may use Mark.
  template <class Visit>
  void ForEachEntry(Visit visit) const {
    for (std::uint32_t chunk = 0; chunk < chunks_.size(); ++chunk) {
      for (std::uint32_t offset = 0; offset < chunks_[chunk].size; ++offset) {
        visit(Place{chunk, offset}, chunks_[chunk].At(offset));
      }
    }
  }

 private:
  static constexpr std::size_t kViews = 4;
  static constexpr std::uint32_t kNoChunk = ~std::uint32_t{0};
  struct Chunk {
    Slot first = 0;
    std::uint16_t size = 0;
    std::array<std::uint16_t, kViews> counts{};
    const Slot* shared = nullptr;  // a piece of assigned_, while `list` is empty
    CountedVector<Slot> list;
    // Whether slot n is first + n.
    bool IsRun() const { return list.empty() && shared == nullptr; }
    // REQUIRES: it is no run.
    const Slot* Listed() const { return list.empty() ? shared : list.data(); }
    Slot At(std::uint32_t offset) const { return IsRun() ? first + offset : Listed()[offset]; }
  };
  // Where the last row of a view was found: `row` rows of the view stand before the place, and
  // `chunk_row` before its chunk.
  struct Cursor {
    bool valid = false;
    View view = 0;
    kt_long row = 0;
    kt_long chunk_row = 0;
    Place place{0, 0};
  };

  bool GoesOnWith(Slot slot) const {
    if (chunks_.empty() || !chunk_of_.empty()) return false;
    const Chunk& last = chunks_.back();
    return last.size < kChunkRows && last.IsRun() && last.first + last.size == slot;
  }

  // Rows come, go or move.
  void LeaveOrder() {
    if (KT_UNLIKELY(runs_ != nullptr)) runs_.reset();
    is_as_assigned_ = false;
  }
  void MakeRoom(std::size_t more_chunks);
  void MakeFlags();
  KT_NOINLINE void MarkBehind(Slot slot, std::uint8_t set);
  kt_long SetInChunk(const Chunk& chunk, std::uint8_t set, const std::uint8_t* mark,
                     std::size_t rows);
  void List(Chunk& chunk);
  void Split(std::uint32_t chunk);
  // For the views that look at flags which may have changed.
  void Recount(Chunk& chunk, std::uint8_t changed = 0xFF);
  void AddCount(Chunk& chunk, View view, int change) {
    chunk.counts[view] = static_cast<std::uint16_t>(chunk.counts[view] + change);
    totals_[view] += change;
    if (KT_UNLIKELY(!trees_[view].empty())) AddInTree(chunk, view, change);
  }
  KT_NOINLINE void AddInTree(const Chunk& chunk, View view, int change);
  void DropTrees() const;
  void BuildTree(View view) const;
  bool HasTree(View view) const;
  // The chunk that holds a row of a view, and the rows before that chunk.
  std::uint32_t FindChunk(View view, kt_long row, kt_long& chunk_row) const;
  std::uint32_t SelectIn(const Chunk& chunk, View view, kt_long rank) const;
  // Writes the slots of a view, from an offset in the chunk on, and gives how many there are.
  std::uint32_t ListIn(const Chunk& chunk, View view, std::uint32_t offset, Slot* found) const;
  bool StepFromCursor(View view, kt_long row) const;
  void NoteChange(Place place) const;
  void FindChunks() const;
  void NoteChunk(Slot first, std::uint32_t count, std::uint32_t chunk) const;

  CountedVector<Chunk> chunks_;
  CountedVector<std::uint8_t> flags_;  // by slot; no entry is no flag
  std::array<kt_long, kViews> totals_{};
  std::size_t entries_ = 0;
  bool identity_ = true;  // slot n is row n, and all chunks but the last are full
  mutable std::array<CountedVector<std::uint32_t>, kViews> trees_;  // empty: to be built
  mutable Cursor cursor_;
  mutable CountedVector<std::uint32_t> chunk_of_;  // by slot; empty: to be built
  std::shared_ptr<const SortedRuns> runs_;
  // The slots of an order that was assigned, of which chunks share pieces; null where few do.
  std::shared_ptr<const CountedVector<Slot>> assigned_;
  bool is_as_assigned_ = false;  // the order is still that one
};

template <class Dense, class Listed>
void RowIndex::ForEachRun(View view, kt_long start, kt_long end, Dense dense, Listed listed) const {
  if (start >= end) return;
  if (IsIdentity(view)) {
    return dense(static_cast<Slot>(start), static_cast<std::uint32_t>(end - start));
  }
  Place place = Find(view, start);
  kt_long left = end - start;
  Slot run_first = 0;
  std::uint32_t run_count = 0;
  const auto flush = [&] {
    if (run_count > 0) dense(run_first, run_count);
    run_count = 0;
  };
  for (; left > 0; ++place.chunk, place.offset = 0) {
    const Chunk& chunk = chunks_[place.chunk];
    if (chunk.counts[view] == 0) continue;
    if (chunk.counts[view] == chunk.size && chunk.IsRun()) {
      const auto count =
          static_cast<std::uint32_t>(std::min<kt_long>(left, chunk.size - kt_long(place.offset)));
      const Slot first = chunk.first + place.offset;
      if (run_count > 0 && run_first + run_count != first) flush();
      if (run_count == 0) run_first = first;
      run_count += count;
      left -= static_cast<kt_long>(count);
      continue;
    }
    flush();
    std::array<Slot, kChunkRows> found;
    std::uint32_t count = ListIn(chunk, view, place.offset, found.data());
    count = static_cast<std::uint32_t>(std::min<kt_long>(left, static_cast<kt_long>(count)));
    left -= static_cast<kt_long>(count);
    if (count > 0) listed(found.data(), count);
  }
  flush();
}

}  // namespace kt::detail
