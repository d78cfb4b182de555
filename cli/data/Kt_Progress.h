// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "classlib/base/Kt_SoleThread.h"

// A line on a terminal that says what takes so long, from about a second on, and goes when it is
// done.
//
//   const Kt_CliProgress progress(streams.messages, "loading orders.csv");
//   LoadDataFile(...);
//
// Nothing is written unless the stream is the standard error and that a terminal. Nobody else may
// write to the stream meanwhile. Threads: makes one of its own for the line.
class Kt_CliProgress {
 public:
  Kt_CliProgress(std::ostream& messages, const std::string& what);
  Kt_CliProgress(const Kt_CliProgress&) = delete;
  Kt_CliProgress& operator=(const Kt_CliProgress&) = delete;
  ~Kt_CliProgress();

  // The line after so many seconds, cut in the middle so that it does not pass `width` columns of
  // a terminal.
  static std::string Line(const std::string& what, std::chrono::seconds time, int width);

 private:
  void Show();

  const std::string what_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool done_ = false;
  std::optional<Kt_SoleThread::Pause> both_use_strings_;
  std::thread thread_;
};
