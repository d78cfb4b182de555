// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_KeyRuns.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <type_traits>

namespace kt::detail {

namespace {

// Writes `key` to `first` for those records that differ there from the one before. REQUIRES: there
// is a record before.
template <class Read, class Same>
void NoteDifferences(const Slot* records, std::size_t count, std::uint32_t key,
                     std::uint32_t* first, Read read, Same same) {
  auto before = read(records[-1]);
  for (std::size_t at = 0; at < count; ++at) {
    const auto now = read(records[at]);
    first[at] = same(before, now) ? first[at] : key;
    before = now;
  }
}

}  // namespace

// As Kt_Column::SameCells has it; a null holds 0 or nothing.
void NoteKeyDifferences(const Kt_Column& cells, const Slot* records, std::size_t count,
                        std::uint32_t key, std::uint32_t* first) {
  const auto by_cell = [&] {
    NoteDifferences(
        records, count, key, first, [](Slot record) { return record; },
        [&](Slot a, Slot b) { return cells.SameCells(a, b); });
  };
  const auto by_value = [&]<class T>(const CountedVector<T>& values) {
    const auto is_same = [](T a, T b) {
      if constexpr (std::is_floating_point_v<T>) return a == b || (std::isnan(a) && std::isnan(b));
      return a == b;
    };
    NoteDifferences(
        records, count, key, first, [&](Slot record) { return values[record]; }, is_same);
    if (cells.NullCount() == 0) return;
    NoteDifferences(
        records, count, key, first, [&](Slot record) { return cells.IsNull(record); },
        std::equal_to<>());
  };
  VisitCells(cells, [&]<class Cells>(const Cells& values) {
    if constexpr (std::is_same_v<Cells, Kt_Column::Values>) {
      by_cell();
    } else if constexpr (std::is_same_v<Cells, Kt_Column::Texts>) {
      values.dictionary.IsUnique() ? by_value(values.codes) : by_cell();
    } else {
      by_value(values);
    }
  });
}

}  // namespace kt::detail
