// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

// What a program says whose threads leave the values of the engine (strings, lists, variants,
// datasets, scripts) to one of them: the thread that made this object, and that until it ends.
//
//   int main() {
//     const Kt_SoleThread alone;
//     ...
//
// References are then counted with plain instructions even if the process has, or had, other
// threads. Without it the C library is asked, which says "one thread" only until the first other
// one was started, and never again. Scripts that handle lists and strings take up to a quarter
// less time for it.
//
// While the engine itself has a second thread at work (Kt_WorkThreads) counts are atomic, as they
// are where the program says so with a Pause. Libraries may have threads of their own, as long as
// those do not touch values of the engine.
//
// Threads: made, destroyed and paused by the one thread that the program speaks of; REQUIRES that
// no other thread holds a value when it is made.
class KT_CLASS_API Kt_SoleThread {
 public:
  Kt_SoleThread() noexcept;
  Kt_SoleThread(const Kt_SoleThread&) = delete;
  Kt_SoleThread& operator=(const Kt_SoleThread&) = delete;
  ~Kt_SoleThread();

  // Another thread may use values as well while it lives. Made before that one is started, and
  // destroyed after it was joined. Does nothing in a program without a Kt_SoleThread.
  class KT_CLASS_API Pause {
   public:
    Pause() noexcept;
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause();

   private:
    bool counts_;
  };

  // Whether references of values are counted with plain instructions now.
  static bool CountsArePlain() noexcept;
};
