// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_NativeStack.h"

#include <algorithm>

#if defined(__linux__)
#include <pthread.h>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>
#elif defined(_WIN32)
#include <windows.h>
#endif

namespace {

// Room kept free below the floor: what a host callback, a built-in function or a library under it
// may need without asking. Sanitizers make frames several times larger. Of a small stack, half.
constexpr std::uintptr_t kReserveBytes = 192 * 1024;
// Where the system does not tell the size of the stack: what is used at the most from the first
// question on. The smallest stacks that systems make by themselves have 512 KiB.
constexpr std::uintptr_t kUnknownBytes = 256 * 1024;
// The same on a stack that is not the one that the system made for the thread: the host's own
// stacks, of fibers say, may be as small as 64 KiB.
constexpr std::uintptr_t kForeignBytes = 32 * 1024;
// A stack without limit still ends somewhere; this is enough for any script.
constexpr std::uintptr_t kMaxUsedBytes = 64 * 1024 * 1024;

std::uintptr_t Below(std::uintptr_t address, std::uintptr_t bytes) {
  return address > bytes ? address - bytes : 1;
}

#if defined(__linux__) || defined(_WIN32)
// The floor under `here` in a stack of `size` bytes that begins at `low`, as the system says. It is
// not always right: the limit of the first thread may have been lowered below what is in use, which
// leaves nothing, and a size without limit means no address.
std::uintptr_t FloorOf(std::uintptr_t low, std::uintptr_t size, std::uintptr_t here) {
  const bool wraps = low + size < low;
  if (!wraps && here >= low + size) return Below(here, kForeignBytes);
  if (low >= here) return here;
  const std::uintptr_t left = here - low;
  if (wraps || left > kMaxUsedBytes) return Below(here, kMaxUsedBytes);
  return low + std::min(kReserveBytes, left / 2);
}
#endif

#if defined(__linux__)
// The first thread's stack ends with the path of the program that the system has put there, and may
// grow down from that to its limit. The C library reads the map of the whole process to say so,
// which takes a tenth of the start of a small program. 0 for other threads, and where that does not
// help.
std::uintptr_t FloorOfFirst(std::uintptr_t here) {
  const std::uintptr_t path = ::getauxval(AT_EXECFN);
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  rlimit limit{};
  if (path < here || ::gettid() != ::getpid() || ::getrlimit(RLIMIT_STACK, &limit) != 0) return 0;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the system gives it as a number
  const std::uintptr_t last = path + std::strlen(reinterpret_cast<const char*>(path));
  const std::uintptr_t end = (last / page + 1) * page;
  const std::uintptr_t size = limit.rlim_cur / page * page;
  return limit.rlim_cur < end ? FloorOf(end - size, size, here) : 0;
}
#endif

std::uintptr_t FindFloor() {
  const std::uintptr_t here = kt::detail::StackAddress();
#if defined(__linux__)
  if (const std::uintptr_t floor = FloorOfFirst(here)) return floor;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
    void* base = nullptr;
    std::size_t size_bytes = 0;
    const int failed = pthread_attr_getstack(&attributes, &base, &size_bytes);
    pthread_attr_destroy(&attributes);
    if (failed == 0 && base != nullptr && size_bytes > 0) {
      return FloorOf(reinterpret_cast<std::uintptr_t>(base), size_bytes, here);
    }
  }
#elif defined(_WIN32)
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  ::GetCurrentThreadStackLimits(&low, &high);  // of the fiber that runs, too
  if (low != 0 && high > low) return FloorOf(low, high - low, here);
#endif
  return Below(here, kUnknownBytes);
}

KT_THREAD_LOCAL std::uintptr_t stack_floor = 0;

// Asked while there is memory: on the first thread the C library may open a file to answer, and
// crash when that fails.
[[maybe_unused]] const std::uintptr_t kFloorAtLoad = kt::detail::GetStackFloor();

}  // namespace

std::uintptr_t kt::detail::GetStackFloor() {
  if (KT_UNLIKELY(stack_floor == 0)) stack_floor = FindFloor();
  return stack_floor;
}
