// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "classlib/base/Kt_Types.h"

// Memory that runs out travels as std::bad_alloc inside the libraries, and everything that may be
// passed by it leaves what it was changing as it was. The operations that a host calls and that
// answer a code catch it and answer kErrNoMemory; constructors and operations that give a value
// let it through, as those of the standard library do.

// Bounds what this thread adds to the memory of texts, lists, datasets and evaluation stacks while
// it lives: a request that would pass the limit fails as if the system had no memory.
//
// The account is the net growth since the bound began: what this thread requested, less what it
// released, whoever requested that and when. So memory that outlives the bound is just no longer
// counted, and one that another thread releases stays counted until the bound ends. Both are
// nothing but numbers: no release depends on them.
//
// Bounds nest; the narrowest counts. Threads: belongs to one thread.
class KT_CLASS_API Kt_CountedMemory {
 public:
  // 0: no limit besides those around.
  explicit Kt_CountedMemory(std::int64_t limit_bytes) noexcept;
  Kt_CountedMemory(const Kt_CountedMemory&) = delete;
  Kt_CountedMemory& operator=(const Kt_CountedMemory&) = delete;
  ~Kt_CountedMemory();

  // The net growth since the bound began; below 0 when more was released.
  std::int64_t GetUsedBytes() const noexcept;

 private:
  std::int64_t used_before_;
  std::int64_t outer_stop_;
};

// Nothing is refused on this thread while it lives: for telling that memory has run out.
class KT_CLASS_API Kt_MemoryPause {
 public:
  Kt_MemoryPause() noexcept;
  Kt_MemoryPause(const Kt_MemoryPause&) = delete;
  Kt_MemoryPause& operator=(const Kt_MemoryPause&) = delete;
  ~Kt_MemoryPause();

 private:
  std::int64_t paused_stop_;
};

namespace kt {

// Counted memory; `bytes` of a release are those of the request. A request that fails throws
// std::bad_alloc.
KT_CLASS_API void* Allocate(std::size_t bytes);
KT_CLASS_API void* AllocateZeroed(std::size_t bytes);
// Throws before anything is changed.
KT_CLASS_API void* Reallocate(void* memory, std::size_t old_bytes, std::size_t bytes);
KT_CLASS_API void Free(void* memory, std::size_t bytes) noexcept;

// For containers whose memory is to be counted.
template <class T>
struct CountedAllocator {
  using value_type = T;
  CountedAllocator() = default;
  template <class Other>
  CountedAllocator(const CountedAllocator<Other>&) noexcept {}
  T* allocate(std::size_t count) { return static_cast<T*>(Allocate(count * sizeof(T))); }
  void deallocate(T* items, std::size_t count) noexcept { Free(items, count * sizeof(T)); }
  friend bool operator==(const CountedAllocator&, const CountedAllocator&) { return true; }
};
template <class T>
using CountedVector = std::vector<T, CountedAllocator<T>>;
using CountedText =
    std::basic_string<char16_t, std::char_traits<char16_t>, CountedAllocator<char16_t>>;
using CountedBytes = std::basic_string<char, std::char_traits<char>, CountedAllocator<char>>;

// How many operations of this thread have answered kErrNoMemory so far. Whoever called some and
// did not look at their answers compares it with what it was before.
KT_CLASS_API std::uint32_t MemoryFailures() noexcept;
// Called by the operation that answers so, with what it caught, if anything. Gives kErrNoMemory.
KT_CLASS_API kt_long NoteMemoryFailure() noexcept;
KT_CLASS_API kt_long NoteMemoryFailure(const std::bad_alloc& failure) noexcept;
// Throws std::bad_alloc, which is not noted again, when operations have failed since `before`.
KT_CLASS_API void PassMemoryFailure(std::uint32_t before);
// The same after an operation has answered kErrNoMemory.
[[noreturn]] KT_CLASS_API void PassMemoryFailure();
// True when an operation has failed since the last call: whoever reports failures asks, so that
// each is reported once on its way out.
KT_CLASS_API bool TakeMemoryFailure() noexcept;

}  // namespace kt
