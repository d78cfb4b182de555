// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_ObjBufPool.h"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <new>

#include "classlib/base/Kt_Memory.h"

// Chunks and free objects are both linked through their first word, so the pool needs no memory
// beside the chunks themselves.
struct Kt_ObjBufPool::Impl {
  struct Link {
    Link* next;
  };
  static constexpr std::size_t kAlign = alignof(std::max_align_t);

  Impl(std::size_t object_size, kt_long step)
      : slot_bytes((std::max(object_size, sizeof(Link)) + kAlign - 1) / kAlign * kAlign),
        slots_per_chunk(static_cast<std::size_t>(std::max(step, 1))) {}

  std::size_t ChunkBytes() const { return kAlign + slot_bytes * slots_per_chunk; }
  void Grow() {
    auto* const chunk = static_cast<std::byte*>(kt::Allocate(ChunkBytes()));
    chunks = new (chunk) Link{chunks};
    // From the last to the first, so that objects are given out in the order of their addresses.
    for (std::size_t slot = slots_per_chunk; slot-- > 0;) {
      free_slots = new (chunk + kAlign + slot * slot_bytes) Link{free_slots};
    }
  }

  std::mutex mutex;
  const std::size_t slot_bytes;
  const std::size_t slots_per_chunk;
  Link* chunks = nullptr;
  Link* free_slots = nullptr;
  kt_long used = 0;
};

Kt_ObjBufPool::Kt_ObjBufPool(const char* name, std::size_t object_size, kt_long step)
    : name_(name), impl_(new Impl(object_size, step)) {}

Kt_ObjBufPool::~Kt_ObjBufPool() {
  // At the end of the process a static object elsewhere may still hold objects of this pool and
  // give them back later: then the memory has to stay.
  if (GetUsedCount() != 0) return;
  while (impl_->chunks) {
    Impl::Link* const chunk = impl_->chunks;
    impl_->chunks = chunk->next;
    kt::Free(chunk, impl_->ChunkBytes());
  }
  delete impl_;
}

void* Kt_ObjBufPool::Alloc() {
  const std::lock_guard lock(impl_->mutex);
  if (impl_->free_slots == nullptr) impl_->Grow();
  Impl::Link* const slot = impl_->free_slots;
  impl_->free_slots = slot->next;
  ++impl_->used;
  return slot;
}

void Kt_ObjBufPool::Free(void* object) {
  if (object == nullptr) return;
  const std::lock_guard lock(impl_->mutex);
  KT_ASSERT(impl_->used > 0);
  impl_->free_slots = new (object) Impl::Link{impl_->free_slots};
  --impl_->used;
}

kt_long Kt_ObjBufPool::GetUsedCount() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->used;
}
