// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>

namespace kt::detail {

// Resizes; long arrays grow by a sixteenth: doubling them, as resize does, would leave almost half
// of the memory unused.
template <class List>
void ResizeSparingly(List& items, std::size_t count) {
  constexpr std::size_t kLong = 1 << 14;
  const std::size_t room = items.capacity();
  if (count > room && room >= kLong) items.reserve(std::max(count, room + room / 16));
  items.resize(count);
}

}  // namespace kt::detail
