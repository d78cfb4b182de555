// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KT_SINGLE_THREADED (__libc_single_threaded)
#else
#define KT_SINGLE_THREADED false
#endif

#if defined(__SANITIZE_THREAD__)
#define KT_THREAD_SANITIZER 1
#elif defined(__has_feature)
#define KT_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define KT_THREAD_SANITIZER 0
#endif

#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// Whether the program has said that values are used on this thread only, see Kt_SoleThread.
KT_CLASS_API extern bool is_sole_thread;

}  // namespace kt::detail

// The head of everything that values share: strings, lists, binaries, object holds, variables.
//
// Threads: counts may change on several threads at once (constants of a library are shared by all
// of them). While one thread only can change them, the count is a plain increment, because an
// atomic one costs more than everything else that copying a string does. Whether that is so changes
// only between the life of one thread and that of another: starting and joining them orders what
// both do to a count.
struct Kt_Counted {
  std::atomic<kt_long> refs{1};

  void AddRef() {
    if (IsPlain()) {
      refs.store(refs.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    } else {
      refs.fetch_add(1, std::memory_order_relaxed);
    }
  }

  // Returns true when the last reference has gone; the caller then frees the object.
  [[nodiscard]] bool Release() {
    if (IsPlain()) {
      const kt_long left = refs.load(std::memory_order_relaxed) - 1;
      refs.store(left, std::memory_order_relaxed);
      return left == 0;
    }
    return refs.fetch_sub(1, std::memory_order_acq_rel) == 1;
  }

  bool IsShared() const { return refs.load(std::memory_order_acquire) != 1; }

#if KT_THREAD_SANITIZER
  // The plain way is made of atomic instructions too, which the thread sanitizer accepts beside
  // anything. It accepts a write that is none of them on one thread, and a count on another one,
  // only where starting or joining a thread lies between; so it finds what is plain on two threads
  // at once.
  bool IsPlain() {
    const bool is_plain = kt::detail::is_sole_thread || KT_SINGLE_THREADED;
    if (is_plain) {
      auto& count = reinterpret_cast<volatile kt_long&>(refs);
      count = refs.load(std::memory_order_relaxed);
    }
    return is_plain;
  }
#else
  static bool IsPlain() { return kt::detail::is_sole_thread || KT_SINGLE_THREADED; }
#endif
};
