// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_Clock.h"

#include <atomic>
#include <chrono>
#include <ctime>

namespace {

std::atomic<Kt_ClockSource> clock_source{nullptr};
KT_THREAD_LOCAL const Kt_ThreadClock::Source* thread_clock = nullptr;

bool LocalTime(std::time_t seconds, std::tm& parts) {
#if defined(_WIN32)
  return localtime_s(&parts, &seconds) == 0;
#else
  return localtime_r(&seconds, &parts) != nullptr;
#endif
}

Kt_DateTime SystemNow() {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  const auto since_epoch =
      duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  std::tm local{};
  Kt_DateTime now;
  if (!LocalTime(static_cast<std::time_t>(since_epoch / 1000), local)) return now;
  const Kt_DateParts parts{local.tm_year + 1900,
                           local.tm_mon + 1,
                           local.tm_mday,
                           local.tm_hour,
                           local.tm_min,
                           local.tm_sec < 60 ? local.tm_sec : 59,
                           static_cast<kt_long>(since_epoch % 1000)};
  Kt_DateTime::FromParts(parts, now);
  return now;
}

}  // namespace

Kt_DateTime kt_nowW() {
  if (thread_clock != nullptr) return (*thread_clock)();
  const Kt_ClockSource source = clock_source.load(std::memory_order_acquire);
  return source != nullptr ? source() : SystemNow();
}

Kt_ClockSource kt_setclock(Kt_ClockSource source) { return clock_source.exchange(source); }

Kt_ThreadClock::Kt_ThreadClock(const Source* clock) : outer_(thread_clock) {
  if (clock != nullptr) thread_clock = clock;
}

Kt_ThreadClock::~Kt_ThreadClock() { thread_clock = outer_; }
