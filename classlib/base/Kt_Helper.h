// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// The alignment of what one thread writes all the time beside what another one reads: no line of
// their caches goes to and fro then. Loads of CSV took two and a half times as long on two threads
// as on one, while it did, and half as long since it does not.
inline constexpr std::size_t kApart = 128;

// A second thread for one operation, where Kt_WorkThreads allows one; otherwise all is done here,
// one piece after the other.
//
//   Helper helper(rows);
//   helper.Both([&] { ReadNextBatch(); }, [&] { StoreBatch(); });   // any number of times
//
// Pieces share the bounds of this thread: what both do is charged to its meter, its limit of memory
// holds for their sum, and both end soon when one throws or the work has to stop. Who uses it takes
// care that results and charges do not depend on which thread does what.
//
// The thread is started by the constructor, 30 to 60 microseconds, and waits between two calls; one
// call costs 5 to 20. A piece that it has not begun when this thread has done its own is done
// here; one that it has begun is waited for, which costs time where no processor is free. Signals
// are blocked on it.
//
// Threads: belongs to one thread. Fails: where the system has no thread to give, it is not there.
class KT_CLASS_API Helper {
 public:
  // None when so few items are not worth it.
  explicit Helper(std::size_t items);
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;
  ~Helper();

  bool IsThere() const { return state_ != nullptr; }

  // Runs here() on this thread and there() on the second one at the same time, or first here() and
  // then there(), and returns when both are done. What one of them throws is thrown, what here()
  // does if both do; also WorkStopped, when the work has to stop.
  template <class Here, class There>
  void Both(Here here, There there) {
    if (!IsThere()) {
      here();
      there();
      return;
    }
    Begin([](void* work) { (*static_cast<There*>(work))(); }, &there);
    try {
      here();
      if (TakesBack()) there();
    } catch (...) {
      Abandon();
      throw;
    }
    End();
  }

  // For tests: whether pieces that the second thread has not begun are done here. At first they
  // are. Who deals out smaller pieces by himself then gives half of them to each.
  static void SetTakesBack(bool takes_back) noexcept;
  static bool MayTakeBack() noexcept;
  // For tests: pieces that second threads have begun, of all operations.
  static std::int64_t GetPiecesBegun() noexcept;

  // work(first, end) for all of [0, count): in two halves, or at once.
  template <class Work>
  void InHalves(std::size_t count, Work work) {
    if (!IsThere()) return work(std::size_t{0}, count);
    Both([&] { work(std::size_t{0}, count / 2); }, [&] { work(count / 2, count); });
  }

 private:
  struct State;
  using Job = void (*)(void* work);

  void Begin(Job job, void* work);
  bool TakesBack() noexcept;
  void End();
  void Abandon() noexcept;

  std::unique_ptr<State> state_;
};

}  // namespace kt::detail
