// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "classlib/text/Kt_WString.h"

// A member of objects that belong to one thread at a time. In debug builds Kt_ThreadCheck notices
// two threads in one of them; release builds keep nothing here. Not part of the value: a copy
// belongs to nobody yet.
class KT_CLASS_API Kt_OneThread {
 public:
  Kt_OneThread();
  Kt_OneThread(const Kt_OneThread&) : Kt_OneThread() {}
  Kt_OneThread& operator=(const Kt_OneThread&) { return *this; }
  ~Kt_OneThread() = default;

 private:
  friend class Kt_ThreadCheck;
  struct State;
  std::shared_ptr<State> state_;  // outlives an object that is destroyed in its own operation
};

// One operation on such an object, as long as it lives. When another thread is in the middle of
// one, the program ends with a message that names the object and both threads, like an assertion.
class KT_CLASS_API Kt_ThreadCheck {
 public:
  Kt_ThreadCheck(const Kt_OneThread& object, const char* kind, const Kt_WString& id);
  Kt_ThreadCheck(const Kt_ThreadCheck&) = delete;
  Kt_ThreadCheck& operator=(const Kt_ThreadCheck&) = delete;
  ~Kt_ThreadCheck();

 private:
  std::shared_ptr<Kt_OneThread::State> state_;
};

// For the operations of the libraries, at the top of their bodies.
#if defined(NDEBUG)
#define KT_CHECK_THREAD(object, kind, id) static_cast<void>(0)
#else
#define KT_CHECK_THREAD(object, kind, id) const Kt_ThreadCheck thread_check(object, kind, id)
#endif
