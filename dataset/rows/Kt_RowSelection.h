// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "classlib/base/Kt_Types.h"
#include "dataset/rows/Kt_RowRecords.h"

namespace kt::detail {

inline constexpr kt_long kRowsPerBlock = 1024;

// The rows of a block for which the right side of an && or || is computed.
//
// A single row jumps over the right side when the left one settles the result; of a block some rows
// are settled, and the others are open. Where few are open, the right side is computed for those
// alone: they become a block of their own, whose rows are read by a list of records, and so it may
// be narrowed again. Where many are open, all rows go through the right side, whatever it gives for
// the settled ones. Either way a settled row ends with the value that settled it, and with the
// marks that it had before: what the right side would have made of it is never seen.
class RowSelection {
 public:
  using Bytes = std::array<std::uint8_t, kRowsPerBlock>;

  RowSelection() {}  // NOLINT: all is written before it is read

  // Rows of the block around it; 1: settled, 0: open.
  Bytes& Settled() { return settled_; }
  const Bytes& Settled() const { return settled_; }

  // Keeps the marks of `count` rows. The right side is computed for all of them.
  void KeepAll(const Bytes& marks, std::size_t count);
  // The same for the open ones only; the marks become theirs. `rows`: the rows of the whole block
  // that those around it are; null: the same.
  void Narrow(Bytes& marks, std::size_t count, const RowRecords& records,
              const std::uint16_t* rows);
  bool IsNarrow() const { return is_narrow_; }

  // REQUIRES for these: IsNarrow().
  // The open rows among those around it, among those of the whole block, and their records.
  std::size_t OpenCount() const { return open_count_; }
  const std::uint16_t* Places() const { return places_.data(); }
  const std::uint16_t* Rows() const { return rows_.data(); }
  RowRecords Records() const { return {0, records_.data()}; }

  // Ends it: settled rows have the value `settled_value` and the marks that were kept.
  void PutBack(kt_long* values, Bytes& marks, kt_long settled_value) const;

 private:
  void FindPlaces(std::size_t count);
  void Spread(kt_long* values, Bytes& marks, kt_long settled_value) const;

  bool is_narrow_ = false;
  std::size_t count_ = 0;  // of rows around it
  std::size_t open_count_ = 0;
  Bytes settled_;
  Bytes marks_;
  std::array<std::uint16_t, kRowsPerBlock> places_;
  std::array<std::uint16_t, kRowsPerBlock> rows_;
  std::array<std::uint32_t, kRowsPerBlock> records_;
};

}  // namespace kt::detail
