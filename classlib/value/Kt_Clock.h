// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "classlib/value/Kt_DateTime.h"

// The one clock that the library asks for the present date and time.
//
//   kt_setclock([] { return Kt_DateTime{45292.5}; });   // 2024-01-01 12:00 from now on
//
// Threads: free to call from any.

// Gives the present moment in local time, to the millisecond.
using Kt_ClockSource = Kt_DateTime (*)();

KT_CLASS_API Kt_DateTime kt_nowW();
// Replaces the clock for the whole process; null brings the system's clock back. Returns the
// source that was in use, null for the system's.
KT_CLASS_API Kt_ClockSource kt_setclock(Kt_ClockSource source);

// While it lives, this thread asks `clock`, whatever the clock of the process says. Borrows it;
// null changes nothing. Scopes nest, the innermost counts.
class KT_CLASS_API Kt_ThreadClock {
 public:
  using Source = std::function<Kt_DateTime()>;
  explicit Kt_ThreadClock(const Source* clock);
  Kt_ThreadClock(const Kt_ThreadClock&) = delete;
  Kt_ThreadClock& operator=(const Kt_ThreadClock&) = delete;
  ~Kt_ThreadClock();

 private:
  const Source* outer_;
};
