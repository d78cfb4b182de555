// SPDX-License-Identifier: MIT
//
// Sorting: every key column becomes numbers, as many of them one number of 64 bits as have room in
// it, and the rows are sorted by the last ones first, so that stability makes the earlier keys win.
#include <algorithm>
#include <bit>
#include <numeric>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Pivot.h"
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
// one word. What does not fit is sorted by before, and stability keeps that order.
class SlotSorter {
 public:
  explicit SlotSorter(kt::CountedVector<Slot>& slots) : slots_(slots), keys_(slots.size()) {
    ChargeRows(slots.size());
  }

  void Add(const Kt_Column& column, bool ascending, bool nulls_last) {
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

  void Finish() { Sort(); }

 private:
  static constexpr int kKeyBits = 64;
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
    ChargeRows(slots_.size());
    if (used_bits_ == 0) {
      for (std::size_t at = 0; at < slots_.size(); ++at) keys_[at] = key_at(slots_[at]);
    } else {
      for (std::size_t at = 0; at < slots_.size(); ++at) {
        keys_[at] |= key_at(slots_[at]) << used_bits_;
      }
    }
    used_bits_ += bits;
  }

  void Sort() {
    kt::kernels::SortRows(keys_, slots_, used_bits_, ChargeRows);
    used_bits_ = 0;
  }

  kt::CountedVector<Slot>& slots_;
  kt::CountedVector<std::uint64_t> keys_;  // of the slots
  int used_bits_ = 0;                      // of the keys
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
    SortKey key{self_.GetColIndex(item), ascending};
    const std::size_t colon = item.View().rfind(u':');
    if (key.col < 0 && colon != std::u16string_view::npos) {
      Kt_WString direction(item.View().substr(colon + 1));
      Kt_WString id(item.View().substr(0, colon));
      direction.Trim();
      id.Trim();
      const bool down = direction.EqualsNoCase(u"d");
      if (!down && !direction.EqualsNoCase(u"a")) return false;
      key = {self_.GetColIndex(id), ascending != down};
    }
    if (key.col < 0) return false;
    keys.push_back(key);
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
  for (kt_long record = 0; record < rows_.index->Count(kAllRows); ++record) {
    charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
    cells->Write(rows_.index->At(kAllRows, record), ReadRecord(record, col));
  }
  ChargeOrLeave(0);  // an expression may have been stopped
  return cells;
}

void Kt_Dataset::Body::SortSlots(kt::CountedVector<Slot>& slots, const std::vector<SortKey>& keys,
                                 bool nulls_last) const {
  SlotSorter sorter(slots);
  for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
    sorter.Add(*SlotCells(key->col), key->ascending, nulls_last);
  }
  sorter.Finish();
}

void Kt_Dataset::Body::SortRows(const std::vector<SortKey>& keys, bool nulls_last) {
  kt::CountedVector<Slot> slots = rows_.index->Slots();
  SortSlots(slots, keys, nulls_last);
  ChargeRows(slots.size());
  rows_.index.Write().Assign(slots);
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
