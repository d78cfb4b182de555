// SPDX-License-Identifier: MIT
#pragma once

#if !defined(_WIN32)
#include <pthread.h>
#endif

#include <optional>

#include "classlib/base/Kt_Types.h"

namespace kt {

// Has `end` called when this thread ends; on the first thread only when it ends before the process.
// False when there is no memory to note that. A thread_local with a destructor would end the
// process then, which is why the system's own form does it.
template <void (*end)()>
bool AtThreadEnd() {
#if defined(_WIN32)
  struct Owner {
    ~Owner() { end(); }
  };
  thread_local Owner owner;
  return true;
#else
  static const auto kKey = [] {
    pthread_key_t made{};
    const auto call = [](void*) { end(); };
    return pthread_key_create(&made, call) == 0 ? std::optional(made) : std::nullopt;
  }();
  return kKey && pthread_setspecific(*kKey, &kKey) == 0;
#endif
}

}  // namespace kt
