// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "classlib/base/Kt_Types.h"
#include "classlib/base/Kt_WorkMeter.h"

// The bounds of a thread while a second one works for it. Its own thread opens and closes each of
// them; the second enters it for a piece of work in between, and leaves it.
namespace kt::detail {

// The limit of memory. Both threads take room out of what is left, in portions, so that the limit
// holds for their sum; a portion that one has begun is not there for the other.
class SharedMemory {
 public:
  void Open() noexcept;
  void Close() noexcept;
  void Enter() noexcept;
  void Leave() noexcept;

  // So many bytes at least, more where there is enough. 0: there are not so many.
  std::int64_t Take(std::int64_t missing) noexcept;

 private:
  bool has_limit_ = false;
  std::atomic<std::int64_t> left_{0};
  std::int64_t own_stop_ = 0;   // of the thread that opened it
  std::int64_t used_ = 0;       // by the second thread
  std::uint32_t failures_ = 0;  // of its operations
};

// The meter. What the second thread does is charged to it at its next look, which comes at the
// usual intervals then even if nothing but steps is limited. The second thread looks at clock and
// flag itself, and ends when `stop` is raised.
class SharedMeter {
 public:
  // False when the work has to stop.
  bool Open();
  // To be called now and then while its own thread waits. False when the work has to stop.
  bool Look();
  // False when the work has to stop.
  bool Close();
  void Enter(const std::atomic<bool>& stop);
  void Leave();

 private:
  friend class ::Kt_WorkMeter;

  Kt_WorkMeter* meter_ = nullptr;       // null: nothing limits the work
  std::atomic<std::int64_t> units_{0};  // done by the second thread, not yet charged
  kt_long stop_code_ = 0;               // why clock or flag stopped the second thread
  Kt_RunBudget second_budget_;
  Kt_WorkMeter second_meter_;
};

}  // namespace kt::detail
