// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstdint>
#include <memory>

#include "classlib/store/Kt_Column.h"

namespace kt::detail {

// Where the cells of a column with a given value may be: chains of slots, one for every place of a
// hash table. Costs 8 to 12 bytes a row. Whoever writes to the column drops it.
class CellHash {
 public:
  // Null where it is of no use (cells of any kind, or texts that hardly differ), and without memory
  // or when the work is stopped.
  static std::unique_ptr<CellHash> Of(const Kt_Column& cells);
  // Whether it is that of these cells as they are.
  bool IsOf(const Kt_Column& cells) const {
    return cells_ == &cells && next_.size() == cells.RowCount();
  }

  // The key of a value as it stands in a column; of a text its code where texts have one each.
  static std::uint64_t KeyOf(kt_long value) { return static_cast<std::uint32_t>(value); }
  static std::uint64_t KeyOf(std::int64_t units) { return static_cast<std::uint64_t>(units); }
  static std::uint64_t KeyOf(std::uint32_t code) { return code; }
  static std::uint64_t KeyOf(double value) {
    return std::bit_cast<std::uint64_t>(value == 0 ? 0.0 : value);  // 0 and -0 are equal
  }
  static std::uint64_t KeyOf(std::u16string_view text);

  // Calls visit(slot) for all slots whose cells may have the value, rising, until it answers false.
  template <class Visit>
  void ForEach(std::uint64_t key, Visit visit) const {
    for (std::uint32_t at = heads_[PlaceOf(key)]; at != 0; at = next_[at - 1]) {
      if (!visit(at - 1)) return;
    }
  }

 private:
  CellHash(const Kt_Column& cells, int bits) : cells_(&cells), shift_(64 - bits) {}
  std::size_t PlaceOf(std::uint64_t key) const {
    return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15) >> shift_);
  }
  bool Fill();

  const Kt_Column* cells_;
  int shift_;
  // Slots from 1; 0: none.
  kt::CountedVector<std::uint32_t> heads_;
  kt::CountedVector<std::uint32_t> next_;  // by slot
};

// How often a column was searched since it was written, and the hash that this was worth; which
// sort was the last to read it. Not part of the value: copies start anew.
struct ColumnSearches {
  ColumnSearches() = default;
  ColumnSearches(const ColumnSearches&) {}
  ColumnSearches& operator=(const ColumnSearches&) {
    Forget();
    return *this;
  }

  void Forget() {
    if (KT_LIKELY(count == 0 && sort_mark == 0)) return;
    count = 0;
    sort_mark = 0;
    hash.reset();
  }
  // The hash, from the third search on; null: there is none.
  const CellHash* Next(const Kt_Column& cells);

  int count = 0;
  std::uint64_t sort_mark = 0;  // 0: written since
  std::unique_ptr<CellHash> hash;
};

}  // namespace kt::detail
