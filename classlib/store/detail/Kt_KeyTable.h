// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string_view>
#include <utility>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/text/detail/Kt_TextHash.h"

namespace kt::detail {

// Rows by the text of their keys. The texts lie in a few large blocks, so that a table of millions
// is cleared away at once when the work has to stop.
class KeyTable {
 public:
  // For at most so many keys.
  explicit KeyTable(std::size_t count) {
    entries_.reserve(count);
    const std::size_t places = std::bit_ceil(count + 1);
    heads_.reserve(places);
    InPiecesOrLeave(places, 1,
                    [this](std::size_t first, std::size_t more) { heads_.resize(first + more); });
  }

  // The first row of a key counts.
  void Add(std::u16string_view key, kt_long row) {
    const std::size_t hash = TextHash(key);
    if (Find(key, hash) >= 0) return;
    std::uint32_t& head = heads_[hash & (heads_.size() - 1)];
    entries_.push_back({Keep(key), hash, row, head});
    head = static_cast<std::uint32_t>(entries_.size());
  }

  // -1: none.
  kt_long Find(std::u16string_view key) const { return Find(key, TextHash(key)); }

 private:
  struct Entry {
    std::u16string_view key;
    std::size_t hash;
    kt_long row;
    std::uint32_t next;  // entry from 1 with the same head; 0: none
  };

  kt_long Find(std::u16string_view key, std::size_t hash) const {
    for (std::uint32_t at = heads_[hash & (heads_.size() - 1)]; at != 0;) {
      const Entry& entry = entries_[at - 1];
      if (entry.hash == hash && entry.key == key) return entry.row;
      at = entry.next;
    }
    return -1;
  }

  // A block never grows beyond what was reserved for it, so the texts stay where they are.
  std::u16string_view Keep(std::u16string_view key) {
    constexpr std::size_t kBlockUnits = std::size_t{256} * 1024;
    if (blocks_.empty() || blocks_.back().capacity() - blocks_.back().size() < key.size()) {
      CountedVector<char16_t> block;
      block.reserve(std::max(kBlockUnits, key.size()));
      blocks_.push_back(std::move(block));
    }
    CountedVector<char16_t>& block = blocks_.back();
    block.insert(block.end(), key.begin(), key.end());
    return {block.data() + (block.size() - key.size()), key.size()};
  }

  CountedVector<CountedVector<char16_t>> blocks_;
  CountedVector<Entry> entries_;
  CountedVector<std::uint32_t> heads_;  // by the low bits of the hash
};

}  // namespace kt::detail
