// SPDX-License-Identifier: MIT
#include "classlib/base/detail/Kt_PieceCache.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "classlib/base/Kt_ThreadEnd.h"

namespace kt::detail {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsWatched = true;
#elif defined(__has_feature)
constexpr bool kIsWatched = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) ||
                            __has_feature(memory_sanitizer);
#else
constexpr bool kIsWatched = false;
#endif

// What is freed while the thread ends goes straight to the heap.
KT_THREAD_LOCAL bool has_ended = false;

}  // namespace

KT_THREAD_LOCAL PieceCache* PieceCache::own_ = nullptr;

bool PieceCache::Open() noexcept {
  if (kIsWatched || has_ended) return false;
  void* const memory = std::malloc(sizeof(PieceCache));
  if (memory == nullptr) return false;
  // Without memory to note that it is to be emptied, nothing is put into it.
  if (kt::AtThreadEnd<Close>()) {
    own_ = new (memory) PieceCache;
  } else {
    std::free(memory);
  }
  return false;
}

void PieceCache::Close() noexcept {
  has_ended = true;
  PieceCache* const cache = std::exchange(own_, nullptr);
  if (cache == nullptr) return;
  for (Shelf& shelf : cache->shelves_) {
    while (shelf.first != nullptr) std::free(std::exchange(shelf.first, shelf.first->next));
  }
  std::free(static_cast<void*>(cache));
}

}  // namespace kt::detail
