// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// Small pieces of memory that this thread has freed, by size, for its next requests: scripts copy
// and drop short texts and lists all the time, and the general heap takes several times longer over
// it. Keeps up to kMostKept bytes of each size, half a megabyte in all, until the thread ends.
//
// A piece is known by the bytes that it takes of the heap, a multiple of kLine. Pieces may be freed
// by another thread than the one that requested them. Empty where sanitizers watch the heap.
// Threads: each has its own.
class PieceCache {
 public:
  static constexpr std::size_t kLine = 16;
  static constexpr std::size_t kLargest = 1024;

  // A piece that takes `taken` bytes; null when none is kept.
  static KT_ALWAYS_INLINE void* Take(std::size_t taken) noexcept {
    PieceCache* const cache = own_;
    if (KT_UNLIKELY(cache == nullptr)) return nullptr;
    Shelf& shelf = cache->shelves_[taken / kLine];
    Piece* const piece = shelf.first;
    if (KT_UNLIKELY(piece == nullptr)) return nullptr;
    shelf.first = piece->next;
    shelf.room += taken;
    return piece;
  }
  // False when it is not kept: the caller frees it. REQUIRES: taken <= kLargest.
  static KT_ALWAYS_INLINE bool Keep(void* memory, std::size_t taken) noexcept {
    PieceCache* const cache = own_;
    if (KT_UNLIKELY(cache == nullptr)) return Open();
    Shelf& shelf = cache->shelves_[taken / kLine];
    if (KT_UNLIKELY(shelf.room < taken)) return false;
    shelf.room -= taken;
    auto* const piece = static_cast<Piece*>(memory);
    piece->next = shelf.first;
    shelf.first = piece;
    return true;
  }

 private:
  static constexpr std::size_t kMostKept = 8192;

  struct Piece {
    Piece* next;
  };
  struct Shelf {
    Piece* first = nullptr;
    std::size_t room = kMostKept;
  };

  // Always false: what is freed next may be kept.
  KT_NOINLINE static bool Open() noexcept;
  static void Close() noexcept;

  static KT_THREAD_LOCAL PieceCache* own_;

  Shelf shelves_[kLargest / kLine + 1];
};

}  // namespace kt::detail
