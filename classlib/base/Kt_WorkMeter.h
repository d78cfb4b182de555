// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>

#include "classlib/base/Kt_Types.h"

// What a host allows a piece of work. Whatever is used up first stops it, with kErrStepBudget,
// kErrDeadline or kErrCancelled. Deadline and flag are looked at about every half millisecond.
//
// The host owns it, and the flag, for as long as a script or meter has it.
struct Kt_RunBudget {
  // Statements, loop rounds, calls, and the work inside of them: see Kt_WorkMeter. 0: no limit.
  std::int64_t limit_steps = 0;
  // time_point::max(): none.
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  // Stops the work when it becomes true; any thread may raise it. Null: none.
  const std::atomic<bool>* cancel = nullptr;
  // Bytes by which texts, lists, datasets and evaluation stacks may grow, see Kt_CountedMemory; 0:
  // no limit. Past it the run of a script ends with kErrNoMemory.
  std::int64_t limit_bytes = 0;
};

// Counts the work done on one thread against a budget. Loops over characters, items and cells
// charge what they do, piece by piece, to the meter that is current on their thread (see
// kt::Charge), and end when it answers false: a stopped text operation gives the empty text or
// "too long", a stopped operation of a dataset is refused and leaves the dataset as it was. The
// meter then stays stopped, so that everything on the way out ends at its first charge, and the
// engine turns the state into the one report of the run.
//
// One unit is the work on one character, a nanosecond or so; kUnitsPerStep of them make a step.
// Pieces that are small beside a step are not charged; the call of a built-in counts as time.
//
// Meters nest: what is charged to the inner one is charged to the outer one too, and the outer one
// stops both.
// Threads: belongs to one thread; only the flag of the budget is shared.
class KT_CLASS_API Kt_WorkMeter {
 public:
  static constexpr std::int64_t kUnitsPerStep = 1024;
  static constexpr std::int64_t kUnitsPerItem = 8;   // of a list
  static constexpr std::int64_t kUnitsPerCell = 10;  // of a dataset
  static constexpr std::int64_t kUnitsPerCall = 64;  // of a built-in

  Kt_WorkMeter() = default;
  Kt_WorkMeter(const Kt_WorkMeter&) = delete;
  Kt_WorkMeter& operator=(const Kt_WorkMeter&) = delete;

  // The meter of this thread; null when nothing limits it.
  static Kt_WorkMeter* Current();
  // The code that stops the work on this thread; 0 while it goes on.
  static kt_long CurrentStop();

  // Begins to count, and makes this the current meter if it or the one around it limits anything.
  // `budget` may be null: then only the meter around counts.
  void Start(const Kt_RunBudget* budget);
  // The end of what Start began; meters end in the reverse order. Does what was deferred.
  void Finish();

  // False when the work has to stop.
  bool Charge(std::int64_t units) { return KT_LIKELY(Take(units)) || Look(); }
  // The two halves of Charge, for loops that keep the second out of their way: Take answers false
  // when it is time for a look.
  bool Take(std::int64_t units) {
    left_ -= units;
    return left_ >= 0;
  }
  KT_COLD bool Look();
  // For a loop that counts in a variable of its own: what is left until the next look, which it
  // gives back before anything else may charge.
  std::int64_t GetLeft() const { return left_; }
  void SetLeft(std::int64_t units) { left_ = units; }
  // The same for what is no step, however often it comes: it brings the next look nearer.
  bool ChargeTime(std::int64_t units) { return KT_LIKELY(TakeTime(units)) || Look(); }
  bool TakeTime(std::int64_t units) {
    for (Kt_WorkMeter* meter = this; meter != nullptr; meter = meter->outer_) {
      if (meter->limit_left_ != kNoLimit) meter->limit_left_ += units;
    }
    return Take(units);
  }
  // Leaves `work`, of which there is one kind, to the end of the innermost meter of this thread:
  // what stopped work could not clear away in time.
  static void Defer(void (*work)());
  // Looks at clock and flag at once: for work that waits.
  bool LookNow();
  // Stops the work for a reason of the caller's.
  void Stop(kt_long code);
  kt_long GetStopCode() const { return stop_code_; }
  // The stop is that of the meter around, whose reports go elsewhere.
  bool IsOuterStop() const { return is_outer_stop_; }
  // True for the first who asks after the work was stopped: whoever asks is to report it.
  bool TakeReport();

 private:
  friend class Kt_WorkPause;

  static constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max() / 2;
  static constexpr std::int64_t kUnitsPerLook = 512 * kUnitsPerStep;

  void Settle();
  void Grant();
  bool HasClockOrFlag() const;

  std::int64_t left_ = kNoLimit;        // units until the next look
  std::int64_t granted_ = kNoLimit;     // what left_ began with
  std::int64_t limit_left_ = kNoLimit;  // units of the budget, with those granted
  kt_long stop_code_ = 0;
  bool is_outer_stop_ = false;  // the stop came from the meter around
  bool is_reported_ = false;
  const Kt_RunBudget* budget_ = nullptr;
  Kt_WorkMeter* outer_ = nullptr;     // that is charged too; null: none
  Kt_WorkMeter* previous_ = nullptr;  // current before Start
};

// Bounds what runs on this thread while it lives: scripts, expressions, and operations of texts,
// lists and datasets that a host calls itself.
//
//   const Kt_BoundedWork bounds(budget);
//   dataset.LoadDataXml(text, true);
//   if (bounds.GetStopCode() != 0) ...
class Kt_BoundedWork {
 public:
  explicit Kt_BoundedWork(const Kt_RunBudget& budget) { meter_.Start(&budget); }
  ~Kt_BoundedWork() { meter_.Finish(); }
  Kt_BoundedWork(const Kt_BoundedWork&) = delete;
  Kt_BoundedWork& operator=(const Kt_BoundedWork&) = delete;

  kt_long GetStopCode() const { return meter_.GetStopCode(); }
  // Whether nobody has reported the stop yet; true once.
  bool TakeReport() { return meter_.TakeReport(); }

 private:
  Kt_WorkMeter meter_;
};

// Nothing is charged on this thread while it lives: for work that has to be done although the run
// is stopped, such as telling why.
class KT_CLASS_API Kt_WorkPause {
 public:
  Kt_WorkPause();
  ~Kt_WorkPause();
  Kt_WorkPause(const Kt_WorkPause&) = delete;
  Kt_WorkPause& operator=(const Kt_WorkPause&) = delete;

 private:
  Kt_WorkMeter* paused_;
};

namespace kt {

// Charges work to the meter of this thread. False when it has to stop; true when nothing limits it.
//
// One condition for both ways to go on: with the call of the meter's own form here, GCC 12 takes
// all that follows for as rare as Look, and makes it small instead of fast.
inline bool Charge(std::int64_t units) {
  Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
  if (meter == nullptr || meter->Take(units)) return true;
  return meter->Look();
}
inline bool ChargeTime(std::int64_t units) {
  Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
  if (meter == nullptr || meter->TakeTime(units)) return true;
  return meter->Look();
}

}  // namespace kt
