// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// Where the keys of sorted rows change: what a sort finds out on the way, and subtotals ask for
// next. It holds for the order that the sort made, deleted rows among it, while no key is written.
struct SortedRuns {
  struct Key {
    kt_long col;         // that has the cells
    std::uint64_t mark;  // that the sort left at the column; a write takes it away
  };
  std::vector<Key> keys;                 // the outermost first
  CountedVector<std::uint32_t> starts;   // of the runs of equal keys but the first, by row
  CountedVector<std::uint32_t> changed;  // by start: the first key that differs from the run before
};

}  // namespace kt::detail
