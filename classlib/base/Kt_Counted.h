// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KT_SINGLE_THREADED (__libc_single_threaded)
#else
#define KT_SINGLE_THREADED false
#endif

#include "classlib/base/Kt_Types.h"

// The head of everything that values share: strings, lists, binaries, object holds, variables.
//
// Threads: counts may change on several threads at once (constants of a library are shared by all
// of them). While the process has one thread the count is a plain increment, because an atomic
// one costs more than everything else that copying a string does.
struct Kt_Counted {
  std::atomic<kt_long> refs{1};

  void AddRef() {
    if (KT_SINGLE_THREADED) {
      refs.store(refs.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    } else {
      refs.fetch_add(1, std::memory_order_relaxed);
    }
  }

  // Returns true when the last reference has gone; the caller then frees the object.
  [[nodiscard]] bool Release() {
    if (KT_SINGLE_THREADED) {
      const kt_long left = refs.load(std::memory_order_relaxed) - 1;
      refs.store(left, std::memory_order_relaxed);
      return left == 0;
    }
    return refs.fetch_sub(1, std::memory_order_acq_rel) == 1;
  }

  bool IsShared() const { return refs.load(std::memory_order_acquire) != 1; }
};
