// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_RowIndex.h"

#include <bit>
#include <new>

namespace kt::detail {

namespace {

// How many bytes have none of some bits. In strips whose counts fit a byte, so that the compiler
// makes instructions for sixteen bytes of the loop.
std::uint16_t CountWithout(const std::uint8_t* bytes, std::size_t count, std::uint8_t bits) {
  constexpr std::size_t kStrip = 128;
  std::uint16_t total = 0;
  for (std::size_t first = 0; first < count; first += kStrip) {
    const std::size_t end = std::min(count, first + kStrip);
    std::uint8_t strip = 0;
    for (std::size_t at = first; at < end; ++at) strip += (bytes[at] & bits) == 0 ? 1 : 0;
    total = static_cast<std::uint16_t>(total + strip);
  }
  return total;
}

bool IsBefore(RowIndex::Place a, RowIndex::Place b) {
  return a.chunk != b.chunk ? a.chunk < b.chunk : a.offset < b.offset;
}

}  // namespace

RowIndex::Place RowIndex::End() const {
  if (chunks_.empty()) return {0, 0};
  return {static_cast<std::uint32_t>(chunks_.size() - 1), chunks_.back().size};
}

// ---- Finding rows -----------------------------------------------------------------------------

void RowIndex::DropTrees() const {
  for (CountedVector<std::uint32_t>& tree : trees_) tree.clear();
  cursor_.valid = false;
  chunk_of_.clear();
}

void RowIndex::BuildTree(View view) const {
  CountedVector<std::uint32_t>& tree = trees_[view];
  tree.assign(chunks_.size() + 1, 0);
  for (std::size_t node = 1; node < tree.size(); ++node) {
    tree[node] += chunks_[node - 1].counts[view];
    const std::size_t parent = node + (node & (~node + 1));
    if (parent < tree.size()) tree[parent] += tree[node];
  }
}

// False where there is no memory for it: the rows are found without, one chunk after the other.
bool RowIndex::HasTree(View view) const {
  if (trees_[view].size() == chunks_.size() + 1) return true;
  try {
    BuildTree(view);
  } catch (const std::bad_alloc&) {
    trees_[view].clear();
    return false;
  }
  return true;
}

std::uint32_t RowIndex::FindChunk(View view, kt_long row, kt_long& chunk_row) const {
  auto left = static_cast<std::uint32_t>(row);
  if (!HasTree(view)) {
    std::uint32_t chunk = 0;
    for (; left >= chunks_[chunk].counts[view]; ++chunk) left -= chunks_[chunk].counts[view];
    chunk_row = row - static_cast<kt_long>(left);
    return chunk;
  }
  const CountedVector<std::uint32_t>& tree = trees_[view];
  std::size_t node = 0;
  for (std::size_t step = std::bit_floor(tree.size()); step != 0; step /= 2) {
    if (node + step < tree.size() && tree[node + step] <= left) {
      node += step;
      left -= tree[node];
    }
  }
  chunk_row = row - static_cast<kt_long>(left);
  return static_cast<std::uint32_t>(node);
}

// Slots are written whether they are in or not, and overwritten by the next one if not: no jump
// that depends on the data.
std::uint32_t RowIndex::ListIn(const Chunk& chunk, View view, std::uint32_t offset,
                               Slot* found) const {
  const std::uint8_t* const flags = flags_.data();
  const std::size_t flagged = flags_.size();
  const auto is_out = static_cast<std::uint8_t>(view | kRowDeleted);
  std::uint32_t count = 0;
  const auto list = [&](auto slot_at) {
    for (const std::uint32_t size = chunk.size; offset < size; ++offset) {
      const Slot slot = slot_at(offset);
      found[count] = slot;
      count += slot >= flagged || (flags[slot] & is_out) == 0 ? 1 : 0;
    }
  };
  if (chunk.IsRun()) {
    list([first = chunk.first](std::uint32_t at) { return first + at; });
  } else {
    list([slots = chunk.Listed()](std::uint32_t at) { return slots[at]; });
  }
  return count;
}

std::uint32_t RowIndex::SelectIn(const Chunk& chunk, View view, kt_long rank) const {
  if (chunk.counts[view] == chunk.size) return static_cast<std::uint32_t>(rank);
  std::uint32_t offset = 0;
  for (;; ++offset) {
    if (IsIn(view, chunk.At(offset)) && rank-- == 0) return offset;
  }
}

// Loops read the rows one by one, forwards or backwards, and hide or delete some on the way: the
// next row is then a few entries from the last one.
bool RowIndex::StepFromCursor(View view, kt_long row) const {
  if (!cursor_.valid || cursor_.view != view || row < cursor_.chunk_row) return false;
  const Chunk& chunk = chunks_[cursor_.place.chunk];
  if (row - cursor_.chunk_row >= chunk.counts[view]) return false;
  std::uint32_t offset = cursor_.place.offset;
  if (chunk.counts[view] == chunk.size) {
    offset = static_cast<std::uint32_t>(row - cursor_.chunk_row);
  } else if (row >= cursor_.row) {
    for (kt_long ahead = row - cursor_.row;; ++offset) {
      if (IsIn(view, chunk.At(offset)) && ahead-- == 0) break;
    }
  } else {
    for (kt_long behind = cursor_.row - row; behind > 0;) {
      if (IsIn(view, chunk.At(--offset))) --behind;
    }
  }
  cursor_.row = row;
  cursor_.place.offset = offset;
  return true;
}

RowIndex::Place RowIndex::Find(View view, kt_long row) const {
  KT_ASSERT(row >= 0 && row < totals_[view]);
  if (identity_ && static_cast<std::size_t>(totals_[view]) == entries_) {
    const auto at = static_cast<std::uint32_t>(row);
    return {at / kChunkRows, at % kChunkRows};
  }
  if (StepFromCursor(view, row)) return cursor_.place;
  kt_long chunk_row = 0;
  const std::uint32_t chunk = FindChunk(view, row, chunk_row);
  const std::uint32_t offset = SelectIn(chunks_[chunk], view, row - chunk_row);
  cursor_ = {true, view, row, chunk_row, {chunk, offset}};
  return cursor_.place;
}

// Keeps the chunks of slots up to date, once somebody asked for one; without memory they are found
// out anew when somebody asks again.
void RowIndex::NoteChunk(Slot first, std::uint32_t count, std::uint32_t chunk) const {
  if (chunk_of_.empty()) return;
  const std::size_t end = std::size_t{first} + count;
  try {
    if (chunk_of_.size() < end) chunk_of_.resize(end, kNoChunk);
  } catch (const std::bad_alloc&) {
    return chunk_of_.clear();
  }
  std::fill_n(chunk_of_.begin() + first, count, chunk);
}

void RowIndex::FindChunks() const {
  std::size_t end = 1;  // never empty
  ForEachEntry([&](Place, Slot slot) { end = std::max<std::size_t>(end, std::size_t{slot} + 1); });
  chunk_of_.assign(end, kNoChunk);
  ForEachEntry([&](Place place, Slot slot) { chunk_of_[slot] = place.chunk; });
}

std::optional<RowIndex::Place> RowIndex::PlaceOf(Slot slot) const {
  if (identity_) {
    if (slot >= entries_) return std::nullopt;
    return Place{slot / kChunkRows, slot % kChunkRows};
  }
  try {
    if (chunk_of_.empty()) FindChunks();
  } catch (const std::bad_alloc&) {
    std::optional<Place> found;
    ForEachEntry([&](Place place, Slot entry) {
      if (entry == slot) found = place;
    });
    return found;
  }
  if (slot >= chunk_of_.size() || chunk_of_[slot] >= chunks_.size()) return std::nullopt;
  const Chunk& chunk = chunks_[chunk_of_[slot]];
  for (std::uint32_t offset = 0; offset < chunk.size; ++offset) {
    if (chunk.At(offset) == slot) return Place{chunk_of_[slot], offset};
  }
  return std::nullopt;
}

kt_long RowIndex::RankOf(View view, Place place) const {
  kt_long rank = 0;
  if (!HasTree(view)) {
    for (std::size_t chunk = 0; chunk < place.chunk; ++chunk) rank += chunks_[chunk].counts[view];
  } else {
    for (std::size_t node = place.chunk; node != 0; node &= node - 1) {
      rank += static_cast<kt_long>(trees_[view][node]);
    }
  }
  const Chunk& chunk = chunks_[place.chunk];
  for (std::uint32_t offset = 0; offset < place.offset; ++offset) {
    rank += IsIn(view, chunk.At(offset)) ? 1 : 0;
  }
  return rank;
}

// A change at or after the cursor's place leaves the rows before it as they are.
void RowIndex::NoteChange(Place place) const {
  if (cursor_.valid && IsBefore(place, cursor_.place)) cursor_.valid = false;
}

// ---- Flags ------------------------------------------------------------------------------------

void RowIndex::AddInTree(const Chunk& chunk, View view, int change) {
  CountedVector<std::uint32_t>& tree = trees_[view];
  if (tree.size() != chunks_.size() + 1) return tree.clear();
  const auto number = static_cast<std::size_t>(&chunk - chunks_.data());
  for (std::size_t node = number + 1; node < tree.size(); node += node & (~node + 1)) {
    tree[node] += static_cast<std::uint32_t>(change);
  }
}

void RowIndex::MarkBehind(Slot slot, std::uint8_t set) {
  const std::size_t size = std::size_t{slot} + 1;
  if (flags_.capacity() < size) flags_.reserve(size + size / 4);  // the next rows follow, mostly
  flags_.resize(size);
  flags_[slot] = set;
}

void RowIndex::Change(Place place, std::uint8_t set, std::uint8_t clear) {
  const Slot slot = SlotAt(place);
  const std::uint8_t before = Flags(slot);
  Mark(slot, set, clear);
  const std::uint8_t after = Flags(slot);
  if (before == after) return;
  NoteChange(place);
  for (View view = 0; view < kViews; ++view) {
    const std::uint8_t hiding = view | kRowDeleted;
    const int change = ((after & hiding) == 0) - ((before & hiding) == 0);
    if (change != 0) AddCount(chunks_[place.chunk], view, change);
  }
}

// A byte for every slot.
void RowIndex::MakeFlags() {
  std::size_t slots = flags_.size();
  for (const Chunk& chunk : chunks_) {
    if (chunk.size == 0) continue;
    const Slot last = chunk.IsRun()
                          ? chunk.first + chunk.size - 1u
                          : std::ranges::max(std::span(chunk.Listed(), std::size_t{chunk.size}));
    slots = std::max<std::size_t>(slots, last + std::size_t{1});
  }
  flags_.resize(slots);
}

// Sets flags in the first `rows` rows of a chunk where `mark` is not 0; how many.
kt_long RowIndex::SetInChunk(const Chunk& chunk, std::uint8_t set, const std::uint8_t* mark,
                             std::size_t rows) {
  const auto unmarked = static_cast<kt_long>(CountWithout(mark, rows, ~std::uint8_t{0}));
  const auto flags_at = [&](std::size_t at) -> std::uint8_t {
    return mark[at] != 0 ? set : std::uint8_t{0};
  };
  if (chunk.IsRun()) {
    std::uint8_t* const flags = flags_.data() + chunk.first;
    for (std::size_t at = 0; at < rows; ++at) flags[at] |= flags_at(at);
  } else {
    const Slot* const slots = chunk.Listed();
    for (std::size_t at = 0; at < rows; ++at) flags_[slots[at]] |= flags_at(at);
  }
  return static_cast<kt_long>(rows) - unmarked;
}

kt_long RowIndex::SetWhere(View view, std::uint8_t set, std::span<const std::uint8_t> marked) {
  MakeFlags();
  kt_long changed = 0;
  const std::uint8_t* mark = marked.data();
  const std::uint8_t* const end = mark + marked.size();
  for (Chunk& chunk : chunks_) {
    const kt_long before = changed;
    if (chunk.counts[view] == chunk.size) {
      const auto rows = static_cast<std::size_t>(std::min<std::ptrdiff_t>(chunk.size, end - mark));
      changed += SetInChunk(chunk, set, mark, rows);
      mark += rows;
    } else {
      for (std::uint32_t offset = 0; offset < chunk.size && mark != end; ++offset) {
        const Slot slot = chunk.At(offset);
        if (!IsIn(view, slot) || *mark++ == 0) continue;
        flags_[slot] |= set;
        ++changed;
      }
    }
    if (changed != before) Recount(chunk, set);
  }
  if (changed > 0) DropTrees();
  return changed;
}

void RowIndex::ChangeAll(std::uint8_t set, std::uint8_t clear) {
  if (set == 0 && flags_.empty()) return;
  if (set != 0) MakeFlags();
  std::uint8_t any = 0;
  for (std::uint8_t& flags : flags_) {
    flags = static_cast<std::uint8_t>((flags & ~clear) | set);
    any |= flags;
  }
  if (any == 0) CountedVector<std::uint8_t>().swap(flags_);
  if (((set | clear) & (kBothFilters | kRowDeleted)) != 0) RecountAll();
}

void RowIndex::Forget(Slot slot) {
  if (slot < flags_.size()) flags_[slot] = 0;
}

// ---- Order ------------------------------------------------------------------------------------

void RowIndex::Recount(Chunk& chunk, std::uint8_t changed) {
  std::array<std::uint8_t, kChunkRows> gathered;
  const std::uint8_t* flags = gathered.data();
  if (chunk.IsRun() && std::size_t{chunk.first} + chunk.size <= flags_.size()) {
    flags = flags_.data() + chunk.first;
  } else {
    for (std::uint32_t offset = 0; offset < chunk.size && !flags_.empty(); ++offset) {
      gathered[offset] = Flags(chunk.At(offset));
    }
  }
  for (View view = 0; view < kViews; ++view) {
    const auto hiding = static_cast<std::uint8_t>(view | kRowDeleted);
    if ((hiding & changed) == 0) continue;
    totals_[view] -= chunk.counts[view];
    chunk.counts[view] = flags_.empty() ? chunk.size : CountWithout(flags, chunk.size, hiding);
    totals_[view] += chunk.counts[view];
  }
}

void RowIndex::RecountAll() {
  for (Chunk& chunk : chunks_) Recount(chunk);
  DropTrees();
}

void RowIndex::List(Chunk& chunk) {
  if (!chunk.list.empty() || chunk.size == 0) return;
  CountedVector<Slot> list;
  list.reserve(kChunkRows);
  for (std::uint32_t offset = 0; offset < chunk.size; ++offset) list.push_back(chunk.At(offset));
  chunk.list = std::move(list);
  chunk.shared = nullptr;
}

// Everything that may run out of memory comes before the first change, here and below.
void RowIndex::MakeRoom(std::size_t more_chunks) {
  const std::size_t wanted = chunks_.size() + more_chunks;
  if (wanted > chunks_.capacity()) chunks_.reserve(std::max(wanted, 2 * chunks_.capacity()));
}

void RowIndex::Append(Slot first, std::uint32_t count) {
  if (count == 0) return;
  LeaveOrder();
  MakeRoom(count / kChunkRows + 1);
  if (!chunks_.empty() && chunks_.back().size < kChunkRows) {
    Chunk& last = chunks_.back();
    if (!last.IsRun() || last.first + last.size != first) List(last);
    if (!last.list.empty()) last.list.reserve(kChunkRows);
  }
  identity_ = identity_ && first == entries_;
  entries_ += count;
  while (count > 0) {
    const bool follows = !chunks_.empty() && chunks_.back().size < kChunkRows &&
                         chunks_.back().IsRun() &&
                         chunks_.back().first + chunks_.back().size == first;
    if (!follows) {
      const bool room = !chunks_.empty() && chunks_.back().size < kChunkRows;
      if (!room) chunks_.push_back({first, 0, {}, nullptr, {}});  // its size makes all trees stale
    }
    Chunk& chunk = chunks_.back();
    const bool listed = !chunk.list.empty();
    const std::uint32_t taken = std::min(count, listed ? 1 : kChunkRows - chunk.size);
    if (listed) chunk.list.push_back(first);
    chunk.size = static_cast<std::uint16_t>(chunk.size + taken);
    const auto last = static_cast<std::uint32_t>(chunks_.size() - 1);
    for (View view = 0; view < kViews; ++view) AddCount(chunk, view, static_cast<int>(taken));
    NoteChunk(first, taken, last);
    first += taken;
    count -= taken;
  }
}

void RowIndex::Split(std::uint32_t chunk_number) {
  MakeRoom(1);
  Chunk upper;
  Chunk& chunk = chunks_[chunk_number];
  List(chunk);
  const std::uint32_t half = chunk.size / 2u;
  upper.list.reserve(kChunkRows);
  upper.list.assign(chunk.list.begin() + half, chunk.list.end());
  upper.size = static_cast<std::uint16_t>(chunk.size - half);
  chunk.list.resize(half);
  chunk.size = static_cast<std::uint16_t>(half);
  Recount(chunk);
  Recount(upper);
  chunks_.insert(chunks_.begin() + chunk_number + 1, std::move(upper));
  DropTrees();
}

void RowIndex::MakeRoomAt(Place place) {
  if (chunks_.empty()) return;
  identity_ = false;
  if (chunks_[place.chunk].size == kChunkRows) return Split(place.chunk);  // both parts have room
  List(chunks_[place.chunk]);
  chunks_[place.chunk].list.reserve(kChunkRows);
}

void RowIndex::Insert(Place place, Slot slot) {
  if (chunks_.empty()) return Append(slot, 1);
  LeaveOrder();
  identity_ = false;
  if (chunks_[place.chunk].size == kChunkRows) {
    Split(place.chunk);
    const std::uint32_t half = chunks_[place.chunk].size;
    if (place.offset > half) place = {place.chunk + 1, place.offset - half};
  }
  Chunk& chunk = chunks_[place.chunk];
  List(chunk);
  chunk.list.reserve(kChunkRows);
  chunk.list.insert(chunk.list.begin() + place.offset, slot);
  ++chunk.size;
  ++entries_;
  NoteChunk(slot, 1, place.chunk);
  NoteChange(place);
  for (View view = 0; view < kViews; ++view) {
    if (IsIn(view, slot)) AddCount(chunks_[place.chunk], view, 1);
  }
}

void RowIndex::Remove(Place place) {
  LeaveOrder();
  Chunk& chunk = chunks_[place.chunk];
  const Slot slot = chunk.At(place.offset);
  const bool is_last = place.chunk + 1 == chunks_.size() && place.offset + 1u == chunk.size;
  const bool is_cut_out = place.offset != 0 && place.offset + 1u != chunk.size;
  if (is_cut_out) List(chunk);
  identity_ = identity_ && is_last;
  for (View view = 0; view < kViews; ++view) {
    if (IsIn(view, slot)) AddCount(chunks_[place.chunk], view, -1);
  }
  if (chunk.list.empty() && place.offset == 0) {
    ++chunk.first;
    if (chunk.shared != nullptr) ++chunk.shared;
  } else if (!chunk.list.empty()) {
    chunk.list.erase(chunk.list.begin() + place.offset);
  }
  --chunk.size;
  --entries_;
  cursor_.valid = false;
  if (chunk.size != 0) return;
  chunks_.erase(chunks_.begin() + place.chunk);
  DropTrees();
}

void RowIndex::Exchange(Place a, Place b) {
  LeaveOrder();
  identity_ = false;
  List(chunks_[a.chunk]);
  List(chunks_[b.chunk]);
  std::swap(chunks_[a.chunk].list[a.offset], chunks_[b.chunk].list[b.offset]);
  Recount(chunks_[a.chunk]);
  Recount(chunks_[b.chunk]);
  DropTrees();
}

// Where most chunks are no runs they share the list, which is as good as one of their own until
// they are edited.
void RowIndex::Assign(CountedVector<Slot> slots) {
  CountedVector<Chunk> chunks;
  chunks.reserve(slots.size() / kChunkRows + 1);
  bool is_identity = true;
  std::size_t runs = 0;
  for (std::size_t at = 0; at < slots.size(); at += kChunkRows) {
    const std::size_t end = std::min<std::size_t>(at + kChunkRows, slots.size());
    bool is_run = true;
    for (std::size_t next = at; next < end && is_run; ++next) {
      is_run = slots[next] == slots[at] + (next - at);
    }
    is_identity = is_identity && is_run && slots[at] == at;
    Chunk& chunk = chunks.emplace_back();
    chunk.first = slots[at];
    chunk.size = static_cast<std::uint16_t>(end - at);
    if (!is_run) chunk.shared = slots.data() + at;
    runs += is_run ? 1 : 0;
  }
  const std::size_t entries = slots.size();
  std::shared_ptr<const CountedVector<Slot>> assigned;
  if (2 * runs < chunks.size()) {
    if (slots.capacity() > entries + entries / 8) {
      CountedVector<Slot> fitting(slots);
      for (Chunk& chunk : chunks) {
        if (!chunk.IsRun()) chunk.shared = fitting.data() + (chunk.shared - slots.data());
      }
      slots.swap(fitting);
    }
    assigned = std::make_shared<const CountedVector<Slot>>(std::move(slots));
  } else {
    for (Chunk& chunk : chunks) {
      if (!chunk.IsRun()) List(chunk);
    }
  }
  chunks_ = std::move(chunks);
  entries_ = entries;
  runs_.reset();
  assigned_ = std::move(assigned);
  is_as_assigned_ = assigned_ != nullptr;
  identity_ = is_identity;
  totals_.fill(0);
  RecountAll();
}

void RowIndex::Clear() { *this = RowIndex(); }

CountedVector<Slot> RowIndex::Slots() const {
  CountedVector<Slot> slots;
  slots.reserve(entries_);
  for (const Chunk& chunk : chunks_) {
    if (chunk.IsRun()) {
      for (Slot offset = 0; offset < chunk.size; ++offset) slots.push_back(chunk.first + offset);
    } else {
      slots.insert(slots.end(), chunk.Listed(), chunk.Listed() + chunk.size);
    }
  }
  return slots;
}

CountedVector<Slot> RowIndex::Slots(View view) const {
  if (static_cast<std::size_t>(totals_[view]) == entries_) return Slots();
  CountedVector<Slot> slots;
  slots.reserve(static_cast<std::size_t>(totals_[view]));
  ForEachRun(
      view, 0, totals_[view],
      [&](Slot first, std::uint32_t run) {
        for (Slot slot = first; slot < first + run; ++slot) slots.push_back(slot);
      },
      [&](const Slot* listed, std::uint32_t run) {
        slots.insert(slots.end(), listed, listed + run);
      });
  return slots;
}

}  // namespace kt::detail
