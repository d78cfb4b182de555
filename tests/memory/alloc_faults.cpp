// SPDX-License-Identifier: MIT
//
// A program that defines malloc gets every request of its libraries too. The real functions are
// those of the C library, or of the sanitizer that stands before it.
#include "memory/alloc_faults.h"

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>

#include "classlib/base/Kt_Memory.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KT_TEST_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(KT_TEST_SANITIZED)
#define REAL(name) __interceptor_##name
#define KT_TEST_SYSTEM_HEAP false
#else
#define REAL(name) __libc_##name
#define KT_TEST_SYSTEM_HEAP true
#endif

extern "C" {
void* REAL(malloc)(std::size_t);
void* REAL(calloc)(std::size_t, std::size_t);
void* REAL(realloc)(void*, std::size_t);
void REAL(free)(void*);
}

namespace {

thread_local long armed_request = 0;
thread_local bool all_from_there = false;
thread_local bool is_armed = false;
thread_local long requests = 0;

thread_local bool is_watching = false;
thread_local long heap_bytes = 0;
thread_local long uncounted_peak = 0;
thread_local std::optional<Kt_CountedMemory> counted;

// What is about to be requested is not in either number yet.
void NotePeak() {
  uncounted_peak =
      std::max(uncounted_peak, heap_bytes - static_cast<long>(counted->GetUsedBytes()));
}

// With the word of the allocator.
long SizeOf(void* memory) {
  return memory != nullptr ? static_cast<long>(malloc_usable_size(memory) + sizeof(void*)) : 0;
}

void* Watched(void* memory) {
  if (is_watching) heap_bytes += SizeOf(memory);
  return memory;
}

void Release(void* memory) {
  if (is_watching) heap_bytes -= SizeOf(memory);
  REAL(free)(memory);
}

bool Fails() {
  if (is_watching) NotePeak();
  if (!is_armed) return false;
  ++requests;
  return armed_request > 0 &&
         (requests == armed_request || (all_from_there && requests > armed_request));
}

void* New(std::size_t size) {
  if (!Fails()) {
    if (void* const memory = REAL(malloc)(size > 0 ? size : 1)) return Watched(memory);
  }
  return nullptr;
}

}  // namespace

void kt::test::ArmAllocFaults(long request, Faults faults) {
  armed_request = request;
  all_from_there = faults == Faults::kAllFromThere;
  requests = 0;
  is_armed = true;
}

long kt::test::DisarmAllocFaults() {
  is_armed = false;
  return requests;
}

bool kt::test::HasSystemHeap() { return KT_TEST_SYSTEM_HEAP; }

void kt::test::WatchHeap() {
  counted.emplace(0);
  heap_bytes = 0;
  uncounted_peak = 0;
  is_watching = true;
}

long kt::test::UncountedPeak() {
  NotePeak();
  is_watching = false;
  counted.reset();
  return uncounted_peak;
}

// Visible, or the libraries would take the C library's functions for what these have allocated.
#pragma GCC visibility push(default)
extern "C" {
void* malloc(std::size_t size) { return Fails() ? nullptr : Watched(REAL(malloc)(size)); }
void* calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : Watched(REAL(calloc)(count, size));
}
void* realloc(void* memory, std::size_t size) {
  if (Fails()) return nullptr;
  if (is_watching) heap_bytes -= SizeOf(memory);
  return Watched(REAL(realloc)(memory, size));
}
void free(void* memory) { Release(memory); }
}
#pragma GCC visibility pop

void* operator new(std::size_t size) {
  if (void* const memory = New(size)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return New(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return New(size); }
void operator delete(void* memory) noexcept { Release(memory); }
void operator delete[](void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { Release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { Release(memory); }
