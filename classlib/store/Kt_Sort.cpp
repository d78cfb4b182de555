// SPDX-License-Identifier: MIT
//
// Sorting: every key column becomes numbers, as many of them one number of 64 bits as have room in
// it, and the rows are sorted by the last ones first, so that stability makes the earlier keys win.
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <numeric>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_ListedColumn.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/Kt_SortItem.h"
#include "classlib/store/detail/Kt_BatchReader.h"
#include "classlib/store/detail/Kt_Edit.h"
#include "classlib/store/detail/Kt_Whole.h"
#include "classlib/store/kernels/Kt_SortKernels.h"
#include "classlib/text/Kt_WStrList.h"

using namespace kt::detail;   // NOLINT(google-build-using-namespace): flags and views
using namespace kt::kernels;  // NOLINT(google-build-using-namespace): all of them

namespace {

// Values of any kind have no number in their order, so they are ranked by comparing.
kt::CountedVector<std::uint32_t> RanksOf(const Kt_Column::Values& values) {
  kt::CountedVector<std::uint32_t> order(values.size());
  std::iota(order.begin(), order.end(), 0u);
  RoundCharge charge;
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    return Var_Order(values[a], values[b]) < 0;
  });
  kt::CountedVector<std::uint32_t> ranks(values.size());
  std::uint32_t rank = 0;
  for (std::size_t at = 0; at < order.size(); ++at) {
    charge.AddOrLeave(4 * Kt_WorkMeter::kUnitsPerCell);
    if (at > 0 && Var_Order(values[order[at - 1]], values[order[at]]) != 0) ++rank;
    ranks[order[at]] = rank;
  }
  return ranks;
}

void ChargeRows(std::size_t rows) {
  ChargeOrLeave(static_cast<std::int64_t>(rows) * Kt_WorkMeter::kUnitsPerCell);
}

// Sorts slots by several columns, of which the last one is added first. The keys of a column take
// as many bits as lie between its least and its greatest cell, so columns of texts or of small
// numbers make one number and are sorted together; where it leaves room for the slot, with that in
// one word. What does not fit is sorted by before, and stability keeps that order. While a key has
// few bits, by which rows are counted, it is a word of 16.
class SlotSorter {
 public:
  // No slots: those up to `count` are to be sorted, of which nobody has made a list yet.
  SlotSorter(kt::CountedVector<Slot>& slots, std::size_t count)
      : slots_(slots), count_(count), helper_(count) {
    ChargeRows(count);
  }

  void Add(const Kt_Column& column, bool ascending, bool nulls_last) {
    ++key_count_;
    // Values of any kind may be equal in a sort and differ all the same.
    if (column.RowCount() == 0 || IsOfValues(column)) is_one_word_ = false;
    if (column.RowCount() == 0) return;
    VisitCells(column, [&]<class Cells>(const Cells& cells) {
      if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
        const kt::CountedVector<std::uint32_t> ranks = cells.dictionary.Ranks();
        AddKeys(column, {0, std::ranges::max(ranks)}, ascending,
                [&](Slot row) { return KeyOf(ranks[cells.codes[row]]); });
      } else if constexpr (std::is_same_v<Cells, Kt_Column::Values>) {
        const kt::CountedVector<std::uint32_t> ranks = RanksOf(cells);
        AddKeys(column, {0, std::ranges::max(ranks)}, ascending,
                [&](Slot row) { return KeyOf(ranks[row]); });
      } else if constexpr (std::is_same_v<Cells, Kt_Column::Doubles>) {
        AddKeys(column, {0, ~std::uint64_t{0}}, ascending,
                [&](Slot row) { return KeyOf(cells[row]); });
      } else {
        ChargeRows(cells.size());
        const auto [least, greatest] = std::ranges::minmax(cells);
        AddKeys(column, {KeyOf(least), KeyOf(greatest)}, ascending,
                [&](Slot row) { return KeyOf(cells[row]); });
      }
    });
    if (column.NullCount() == 0) return;
    if (used_bits_ == kKeyBits) Sort();
    Pack(1, [&](Slot row) { return std::uint64_t{column.IsNull(row) == nulls_last}; });
  }

  // Where the keys of the sorted rows change, by key from the first; null where the sort does not
  // tell, or there are nearly as many runs as rows.
  std::shared_ptr<SortedRuns> Finish() {
    const bool is_known = is_one_word_ && count_ > 0;
    if (used_bits_ == 0) {
      ListSlots();
      return is_known ? std::make_shared<SortedRuns>() : nullptr;
    }
    if (IsNarrow()) return FinishByCounts(narrow_keys_, is_known);
    if (CanSortByCounts(count_, used_bits_)) return FinishByCounts(keys_, is_known);
    ListSlots();
    kt::kernels::SortRows(keys_, slots_, used_bits_, ChargeRows, helper_);
    if (!is_known) return nullptr;
    RunFinder finder(*this, keys_[0]);
    ChargeRows(keys_.size());
    for (std::size_t at = 1; at < keys_.size(); ++at) {
      if (!finder.Note(at, keys_[at])) return nullptr;
    }
    return finder.Found();
  }

 private:
  static constexpr int kKeyBits = 64;
  static constexpr int kNarrowBits = 16;
  using NarrowKeys = kt::CountedVector<std::uint16_t>;
  // Collects the rows at which the keys change.
  class RunFinder {
   public:
    RunFinder(const SlotSorter& sorter, std::uint64_t first)
        : sorter_(sorter), before_(first), runs_(std::make_shared<SortedRuns>()) {}
    bool Note(std::size_t row, std::uint64_t key) {
      if (key == before_) return true;
      // The outermost key has the highest bits.
      const auto bit = static_cast<std::size_t>(std::bit_width(key ^ before_)) - 1;
      runs_->starts.push_back(static_cast<std::uint32_t>(row));
      runs_->changed.push_back(sorter_.key_count_ - sorter_.key_of_bit_[bit]);
      before_ = key;
      return runs_->starts.size() <= sorter_.count_ / 8;
    }
    std::shared_ptr<SortedRuns> Found() { return std::move(runs_); }

   private:
    const SlotSorter& sorter_;
    std::uint64_t before_;
    std::shared_ptr<SortedRuns> runs_;
  };
  template <class Keys>
  std::shared_ptr<SortedRuns> FinishByCounts(const Keys& keys, bool is_known) {
    const auto ends = SortByCounts(keys, slots_, used_bits_, ChargeRows, helper_);
    if (!is_known) return nullptr;
    RunFinder finder(
        *this, static_cast<std::uint64_t>(
                   std::ranges::find_if(ends, [](auto end) { return end > 0; }) - ends.begin()));
    for (std::size_t key = 0; key < ends.size(); ++key) {
      const std::uint32_t start = key == 0 ? 0 : ends[key - 1];
      if (ends[key] != start && !finder.Note(start, key)) return nullptr;
    }
    return finder.Found();
  }
  struct Range {
    std::uint64_t least;
    std::uint64_t greatest;
  };

  // The keys of nulls say nothing, and must not tell them apart.
  template <class KeyAt>
  void AddKeys(const Kt_Column& column, Range range, bool ascending, KeyAt key_at) {
    const auto bits = static_cast<int>(std::bit_width(range.greatest - range.least));
    const std::uint64_t from = ascending ? range.least : range.greatest;
    const std::uint64_t turn = ascending ? 1 : ~std::uint64_t{0};  // times 1 or -1
    if (used_bits_ + bits > kKeyBits) Sort();
    if (column.NullCount() == 0) {
      Pack(bits, [&](Slot row) { return (key_at(row) - from) * turn; });
    } else {
      Pack(bits, [&](Slot row) {
        return column.IsNull(row) ? std::uint64_t{0} : (key_at(row) - from) * turn;
      });
    }
  }

  // Puts keys of so many bits before those that are there already.
  template <class KeyAt>
  void Pack(int bits, KeyAt key_at) {
    if (bits == 0) return;
    ChargeRows(count_);
    std::fill_n(key_of_bit_.begin() + used_bits_, bits, key_count_);
    if (used_bits_ + bits <= kNarrowBits && CanSortByCounts(count_, used_bits_ + bits)) {
      PackInto(narrow_keys_, key_at);
    } else {
      if (IsNarrow()) keys_.assign(narrow_keys_.begin(), narrow_keys_.end());
      NarrowKeys().swap(narrow_keys_);
      PackInto(keys_, key_at);
    }
    used_bits_ += bits;
  }
  template <class Word, class KeyAt>
  void PackInto(kt::CountedVector<Word>& keys, KeyAt key_at) {
    keys.resize(count_);
    Word* const words = keys.data();
    const auto pack = [&](auto slot_at) {
      helper_.InHalves(count_, [&](std::size_t first, std::size_t end) {
        const int shift = used_bits_;
        if (shift == 0) {
          for (std::size_t at = first; at < end; ++at) {
            words[at] = static_cast<Word>(key_at(slot_at(at)));
          }
        } else {
          for (std::size_t at = first; at < end; ++at) {
            words[at] |= static_cast<Word>(key_at(slot_at(at)) << shift);
          }
        }
      });
    };
    if (slots_.empty()) {
      pack([](std::size_t at) { return static_cast<Slot>(at); });
    } else {
      pack([slots = slots_.data()](std::size_t at) { return slots[at]; });
    }
  }
  bool IsNarrow() const {
    return used_bits_ > 0 && used_bits_ <= kNarrowBits && CanSortByCounts(count_, used_bits_);
  }
  void ListSlots() {
    if (!slots_.empty()) return;
    slots_.resize(count_);
    std::iota(slots_.begin(), slots_.end(), Slot{0});
  }

  static bool IsOfValues(const Kt_Column& column) {
    return column.Type() == Kt_ColumnType::kVariant || column.Type() == Kt_ColumnType::kBinary;
  }

  void Sort() {
    is_one_word_ = false;
    if (IsNarrow()) {
      (void)SortByCounts(narrow_keys_, slots_, used_bits_, ChargeRows, helper_);
    } else if (used_bits_ > 0) {
      ListSlots();
      kt::kernels::SortRows(keys_, slots_, used_bits_, ChargeRows, helper_);
    }
    used_bits_ = 0;
  }

  kt::CountedVector<Slot>& slots_;
  std::size_t count_;
  NarrowKeys narrow_keys_;  // of the slots; or
  kt::CountedVector<std::uint64_t> keys_;
  Helper helper_;
  int used_bits_ = 0;        // of the keys
  bool is_one_word_ = true;  // all that was added, and alike only where it is equal
  std::uint32_t key_count_ = 0;
  std::array<std::uint32_t, kKeyBits> key_of_bit_{};  // the last one is 1
};

}  // namespace

// Items are id, id:a or id:d. False for an unknown column or an empty list.
bool Kt_Dataset::Body::ParseSortKeys(std::u16string_view list, bool ascending,
                                     std::vector<SortKey>& keys) const {
  Kt_WStrList items;
  items.Parse(Kt_WString(list), u",");
  for (kt_long number = 0; number < items.GetCount(); ++number) {
    Kt_WString item = items.GetItem(number);
    item.Trim();
    if (item.IsEmpty()) continue;
    const auto find = [this](const Kt_WString& id) { return kt::FindListedColumn(self_, id); };
    const Kt_SortItem read = Kt_SortItem::Read(item, find);
    if (read.col < 0) return false;
    keys.push_back({read.col, ascending != read.is_descending});
  }
  return !keys.empty();
}

// The cells of a column by slot; those of an expression column are computed, hidden rows included.
std::shared_ptr<const Kt_Column> Kt_Dataset::Body::SlotCells(kt_long col) const {
  if (IsPivot()) {
    if (auto cells = pivot_->RowKeyCells(col)) return cells;
  } else if (IsIntact()) {
    if (const auto* const cells = FindCells(col)) return *cells;
  }
  return ComputedCells(col);
}

std::shared_ptr<Kt_Column> Kt_Dataset::Body::ComputedCells(kt_long col) const {
  auto cells = std::make_shared<Kt_Column>(self_.GetColType(col));
  cells->AppendNulls(rows_.slot_count);
  // By record: where subtotals stand may depend on this very column.
  RoundCharge charge;
  BatchReader batches(self_, col, kAllRows == ActiveView());
  const kt_long count = rows_.index->Count(kAllRows);
  for (kt_long record = 0; record < count;) {
    const kt_long first = record;
    const auto store = [&](const Kt_Variant& value) {
      cells->Write(rows_.index->At(kAllRows, record++), value);
    };
    const kt_long done = rows_.grouped ? 0 : batches.Read(record, count, store);
    if (done == 0) store(ReadRecord(record, col));
    ChargeCells(charge, record - first);
  }
  ChargeOrLeave(0);  // an expression may have been stopped
  return cells;
}

std::shared_ptr<SortedRuns> Kt_Dataset::Body::SortSlots(kt::CountedVector<Slot>& slots,
                                                        std::size_t count,
                                                        const std::vector<SortKey>& keys,
                                                        bool nulls_last) const {
  SlotSorter sorter(slots, count);
  for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
    sorter.Add(*SlotCells(key->col), key->ascending, nulls_last);
  }
  return sorter.Finish();
}

// Marks the columns that rows were sorted by, so that what the sort has told can be used while they
// are not written. Nothing where the cells are not here.
std::shared_ptr<const SortedRuns> Kt_Dataset::Body::Marked(std::shared_ptr<SortedRuns> runs,
                                                           const std::vector<SortKey>& keys) const {
  static std::atomic<std::uint64_t> last_mark = 0;
  if (runs == nullptr || !IsPhysical()) return nullptr;
  const std::uint64_t mark = ++last_mark;
  for (const SortKey& key : keys) {
    const kt_long col = StoredCol(key.col);
    if (col < 0) return nullptr;
    columns_[col].searches.sort_mark = mark;
    runs->keys.push_back({col, mark});
  }
  return runs;
}

void Kt_Dataset::Body::SortRows(const std::vector<SortKey>& keys, bool nulls_last) {
  const std::size_t count = rows_.index->EntryCount();
  kt::CountedVector<Slot> slots;
  if (!rows_.index->IsIdentity(kAllRows)) slots = rows_.index->Slots();
  const auto runs = Marked(SortSlots(slots, count, keys, nulls_last), keys);
  ChargeRows(slots.size());
  RowIndex& index = rows_.index.Write();
  index.Assign(std::move(slots));
  index.SetRuns(runs);
  rows_.DropGroups();
  ++structure_version_;
}

kt_long Kt_Dataset::Sort(std::u16string_view list, bool ascending, bool nulls_last,
                         bool group_keys) {
  const auto sort = [&]() -> kt_long {
    std::vector<SortKey> keys;
    if (!body().ParseSortKeys(list, ascending, keys)) return -1;
    KeyList all = body().keys_;
    all.Replace(Kt_KeyType::kSort, keys);
    if (group_keys) all.Replace(Kt_KeyType::kGroup, keys);
    body().SortRows(keys, nulls_last);
    body().keys_ = std::move(all);
    return 1;
  };
  return body().Edit([&] { return IsPivot() ? -1 : body().Whole(sort, -1); });
}
