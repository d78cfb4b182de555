// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "classlib/base/Kt_Types.h"

// How many threads the operations that this thread calls may use while it lives: 1, as without any,
// or 2. The innermost one counts.
//
//   const Kt_WorkThreads threads(2);
//   dataset.LoadCSVBytes(bytes, options, report);    // on two threads if there are many rows
//
// Loads, saves, sorts and the like of large datasets share their work with a thread that they start
// and that has ended when they return. Results, reports and steps are those of one thread, to the
// bit. Budget, flag, deadline and bound of memory of this thread hold for both. The second thread
// runs no code of the host: no function, no listener, no context; its signals are blocked.
//
// Threads: belongs to one thread.
class KT_CLASS_API Kt_WorkThreads {
 public:
  // With fewer items (rows of a dataset, say) a second thread does not pay.
  static constexpr std::size_t kLeastItems = 200000;

  explicit Kt_WorkThreads(int count, std::size_t least_items = kLeastItems) noexcept;
  Kt_WorkThreads(const Kt_WorkThreads&) = delete;
  Kt_WorkThreads& operator=(const Kt_WorkThreads&) = delete;
  ~Kt_WorkThreads();

  // Whether an operation on so many items may have a second thread.
  static bool MayShare(std::size_t items) noexcept;

 private:
  std::size_t outer_least_;
};
