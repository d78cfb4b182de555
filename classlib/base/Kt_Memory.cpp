// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_Memory.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "classlib/base/Kt_Codes.h"
#include "classlib/base/detail/Kt_PieceCache.h"
#include "classlib/base/detail/Kt_SharedBounds.h"

namespace {

using kt::detail::PieceCache;

constexpr std::int64_t kNoStop = std::numeric_limits<std::int64_t>::max();

// Of this thread: requested less released, and the number that the first may not pass.
KT_THREAD_LOCAL std::int64_t used_bytes = 0;
KT_THREAD_LOCAL std::int64_t stop_bytes = kNoStop;

KT_THREAD_LOCAL std::uint32_t failures = 0;
KT_THREAD_LOCAL std::uint32_t reported_failures = 0;

// While two threads work under one limit.
KT_THREAD_LOCAL kt::detail::SharedMemory* shared_memory = nullptr;

bool TakesRoom(std::int64_t missing) {
  const std::int64_t taken = shared_memory != nullptr ? shared_memory->Take(missing) : 0;
  stop_bytes += taken;
  return taken > 0;
}

// What `added` bytes more will make of the account; past the limit it throws.
std::int64_t CountWith(std::int64_t added) {
  const std::int64_t used = used_bytes + added;
  if (KT_UNLIKELY(used > stop_bytes && added > 0) && !TakesRoom(used - stop_bytes)) {
    throw std::bad_alloc();
  }
  return used;
}

struct NotedFailure : std::bad_alloc {};

void* Checked(void* memory, std::int64_t used) {
  if (KT_UNLIKELY(memory == nullptr)) throw std::bad_alloc();
  used_bytes = used;
  return memory;
}

// What the usual allocators take for a request: their own word, and whole multiples of 16. Small
// texts would pass the limit by half without that.
constexpr std::size_t kLine = PieceCache::kLine;
constexpr std::size_t kOwnWord = sizeof(void*);

std::size_t TakenBytes(std::size_t bytes) { return (bytes + kOwnWord + kLine - 1) / kLine * kLine; }
std::int64_t Taken(std::size_t bytes) { return static_cast<std::int64_t>(TakenBytes(bytes)); }

// What to request of the heap: small pieces are requested to their last byte, so that each is good
// for every request of its size in the cache.
std::size_t Wanted(std::size_t bytes) {
  const std::size_t taken = TakenBytes(bytes);
  return taken <= PieceCache::kLargest ? taken - kOwnWord : bytes;
}

}  // namespace

Kt_CountedMemory::Kt_CountedMemory(std::int64_t limit_bytes) noexcept
    : used_before_(used_bytes), outer_stop_(stop_bytes) {
  // What is used may be below 0, and a limit as large as can be.
  if (limit_bytes > 0 && used_bytes < kNoStop - limit_bytes) {
    stop_bytes = std::min(stop_bytes, used_bytes + limit_bytes);
  }
}

Kt_CountedMemory::~Kt_CountedMemory() { stop_bytes = outer_stop_; }

std::int64_t Kt_CountedMemory::GetUsedBytes() const noexcept { return used_bytes - used_before_; }

Kt_MemoryPause::Kt_MemoryPause() noexcept : paused_stop_(std::exchange(stop_bytes, kNoStop)) {}

Kt_MemoryPause::~Kt_MemoryPause() { stop_bytes = paused_stop_; }

void* kt::Allocate(std::size_t bytes) {
  const std::size_t taken = TakenBytes(bytes);
  const std::int64_t used = CountWith(static_cast<std::int64_t>(taken));
  if (KT_UNLIKELY(taken > PieceCache::kLargest)) return Checked(std::malloc(bytes), used);
  if (void* const kept = PieceCache::Take(taken); KT_LIKELY(kept != nullptr)) {
    used_bytes = used;
    return kept;
  }
  return Checked(std::malloc(taken - kOwnWord), used);
}

void* kt::AllocateZeroed(std::size_t bytes) {
  const std::int64_t used = CountWith(Taken(bytes));
  return Checked(std::calloc(1, Wanted(bytes)), used);
}

void* kt::Reallocate(void* memory, std::size_t old_bytes, std::size_t bytes) {
  const std::int64_t used = CountWith(Taken(bytes) - Taken(old_bytes));
  return Checked(std::realloc(memory, Wanted(bytes)), used);
}

void kt::Free(void* memory, std::size_t bytes) noexcept {
  const std::size_t taken = TakenBytes(bytes);
  used_bytes -= static_cast<std::int64_t>(taken);
  const bool is_small = taken <= PieceCache::kLargest && memory != nullptr;
  if (KT_LIKELY(is_small) && KT_LIKELY(PieceCache::Keep(memory, taken))) return;
  std::free(memory);
}

std::uint32_t kt::MemoryFailures() noexcept { return failures; }

kt_long kt::NoteMemoryFailure() noexcept {
  ++failures;
  return kErrNoMemory;
}

bool kt::TakeMemoryFailure() noexcept {
  const bool is_new = reported_failures != failures;
  reported_failures = failures;
  return is_new;
}

kt_long kt::NoteMemoryFailure(const std::bad_alloc& failure) noexcept {
  return dynamic_cast<const NotedFailure*>(&failure) != nullptr ? kErrNoMemory
                                                                : NoteMemoryFailure();
}

void kt::PassMemoryFailure(std::uint32_t before) {
  if (KT_UNLIKELY(failures != before)) PassMemoryFailure();
}

void kt::PassMemoryFailure() { throw NotedFailure(); }

namespace kt::detail {

void SharedMemory::Open() noexcept {
  own_stop_ = stop_bytes;
  has_limit_ = stop_bytes != kNoStop;
  used_ = 0;
  failures_ = 0;
  if (!has_limit_) return;
  left_.store(stop_bytes - used_bytes, std::memory_order_relaxed);
  stop_bytes = used_bytes;
  shared_memory = this;
}

void SharedMemory::Close() noexcept {
  used_bytes += used_;
  failures += failures_;
  stop_bytes = own_stop_;
  shared_memory = nullptr;
}

void SharedMemory::Enter() noexcept {
  used_bytes = 0;
  failures = 0;
  stop_bytes = has_limit_ ? 0 : kNoStop;
  shared_memory = has_limit_ ? this : nullptr;
}

void SharedMemory::Leave() noexcept {
  used_ = used_bytes;
  failures_ = failures;
  shared_memory = nullptr;
}

std::int64_t SharedMemory::Take(std::int64_t missing) noexcept {
  constexpr std::int64_t kPortion = 64 * 1024;
  std::int64_t left = left_.load(std::memory_order_relaxed);
  std::int64_t taken = 0;
  do {
    if (left < missing) return 0;
    taken = std::min(left, std::max(missing, kPortion));
  } while (!left_.compare_exchange_weak(left, left - taken, std::memory_order_relaxed));
  return taken;
}

}  // namespace kt::detail
