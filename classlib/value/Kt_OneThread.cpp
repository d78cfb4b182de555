// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_OneThread.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#if defined(NDEBUG)

struct Kt_OneThread::State {};

Kt_OneThread::Kt_OneThread() = default;
Kt_ThreadCheck::Kt_ThreadCheck(const Kt_OneThread&, const char*, const Kt_WString&) {}
Kt_ThreadCheck::~Kt_ThreadCheck() = default;

#else

struct Kt_OneThread::State {
  std::atomic<std::size_t> owner{0};  // the thread that is in the object, 0: none
  int depth = 0;                      // the owner's
};

namespace {

std::size_t ThisThread() {
  const std::size_t number = std::hash<std::thread::id>()(std::this_thread::get_id());
  return number != 0 ? number : 1;
}

[[noreturn]] void Stop(const char* kind, const Kt_WString& id, std::size_t here,
                       std::size_t owner) {
  std::fprintf(stderr, "KtScript: thread %zx uses %s '%s' while thread %zx is using it\n", here,
               kind, id.ToUtf8().c_str(), owner);
  std::abort();
}

}  // namespace

Kt_OneThread::Kt_OneThread() : state_(std::make_shared<State>()) {}

Kt_ThreadCheck::Kt_ThreadCheck(const Kt_OneThread& object, const char* kind, const Kt_WString& id)
    : state_(object.state_) {
  const std::size_t here = ThisThread();
  std::size_t owner = 0;
  const bool is_free =
      state_->owner.compare_exchange_strong(owner, here, std::memory_order_acquire);
  if (!is_free && owner != here) Stop(kind, id, here, owner);
  ++state_->depth;
}

Kt_ThreadCheck::~Kt_ThreadCheck() {
  if (--state_->depth == 0) state_->owner.store(0, std::memory_order_release);
}

#endif
