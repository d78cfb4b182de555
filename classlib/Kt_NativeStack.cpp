// SPDX-License-Identifier: MIT
#include "classlib/Kt_NativeStack.h"

#if defined(__linux__)
#include <pthread.h>
#endif

namespace {

// Room kept free below the floor: what a host callback, a built-in function or a library under it
// may need without asking. Sanitizers make frames several times larger.
constexpr std::uintptr_t kReserveBytes = 192 * 1024;
// Where the system does not tell the size of the stack: what is used at the most from the first
// question on.
constexpr std::uintptr_t kUnknownBytes = 512 * 1024;
// A stack without limit still ends somewhere; this is enough for any script.
constexpr std::uintptr_t kMaxUsedBytes = 64 * 1024 * 1024;

std::uintptr_t FindFloor() {
  const char here = 0;
  const auto top = reinterpret_cast<std::uintptr_t>(&here);
#if defined(__linux__)
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
    void* base = nullptr;
    std::size_t size_bytes = 0;
    const int failed = pthread_attr_getstack(&attributes, &base, &size_bytes);
    pthread_attr_destroy(&attributes);
    const auto low = reinterpret_cast<std::uintptr_t>(base);
    if (failed == 0 && low < top) {
      const std::uintptr_t left = top - low;
      if (left > kMaxUsedBytes) return top - kMaxUsedBytes;
      return low + (left > 2 * kReserveBytes ? kReserveBytes : left / 2);
    }
  }
#endif
  return top - kUnknownBytes;
}

KT_THREAD_LOCAL std::uintptr_t stack_floor = 0;

// Asked while there is memory: on the first thread the C library opens a file to answer, and may
// crash when that fails.
[[maybe_unused]] const std::uintptr_t floor_at_load = kt::detail::GetStackFloor();

}  // namespace

std::uintptr_t kt::detail::GetStackFloor() {
  if (KT_UNLIKELY(stack_floor == 0)) stack_floor = FindFloor();
  return stack_floor;
}
