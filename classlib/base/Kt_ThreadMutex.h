// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

// A plain mutex. Not recursive: one thread that locks it twice is a bug of ours.
// The lower-case members let std::lock_guard and std::scoped_lock take it.
class Kt_ThreadMutex {
 public:
  void Lock() { mutex_.lock(); }
  void Unlock() { mutex_.unlock(); }

  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }
  bool try_lock() { return mutex_.try_lock(); }

 private:
  std::mutex mutex_;
};
