// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "classlib/store/Kt_Column.h"

namespace kt::detail {

// The records of a block of rows: those from `first` on, or, where there are gaps, a list.
struct RowRecords {
  std::uint32_t first = 0;
  const std::uint32_t* listed = nullptr;  // null: they follow one another

  bool IsDense() const { return listed == nullptr; }
  std::uint32_t operator[](std::size_t at) const {
    return listed == nullptr ? first + static_cast<std::uint32_t>(at) : listed[at];
  }
};

// Calls note(at) for those of `count` rows in which a column holds null.
template <class Note>
void ForEachNull(const Kt_Column& column, const RowRecords& records, std::size_t count, Note note) {
  if (column.NullCount() == 0) return;
  if (!records.IsDense()) {
    for (std::size_t at = 0; at < count; ++at) {
      if (column.IsNull(records[at])) note(at);
    }
    return;
  }
  const std::size_t first = records.first;
  const std::size_t end = first + count;
  for (std::size_t word = first / 64; word * 64 < end; ++word) {
    for (std::uint64_t bits = column.Nulls()[word]; bits != 0; bits &= bits - 1) {
      const std::size_t record = word * 64 + static_cast<std::size_t>(std::countr_zero(bits));
      if (record >= first && record < end) note(record - first);
    }
  }
}

}  // namespace kt::detail
