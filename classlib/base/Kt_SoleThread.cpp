// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_SoleThread.h"

#include <thread>

#include "classlib/base/Kt_Counted.h"

namespace kt::detail {

bool is_sole_thread = false;

namespace {

// Written by the sole thread only. Others find no promise, and write nothing.
int promises = 0;
int pauses = 0;
std::thread::id sole_thread;

// The second thread of an operation reads the answer as well: it is written before that one is
// started and after it was joined, never in between.
void Decide() { is_sole_thread = promises > 0 && pauses == 0; }

[[maybe_unused]] bool IsTheSoleThread() { return std::this_thread::get_id() == sole_thread; }

}  // namespace
}  // namespace kt::detail

using namespace kt::detail;

Kt_SoleThread::Kt_SoleThread() noexcept {
  if (promises++ == 0) sole_thread = std::this_thread::get_id();
  KT_ASSERT(IsTheSoleThread());
  Decide();
}

Kt_SoleThread::~Kt_SoleThread() {
  KT_ASSERT(IsTheSoleThread());
  --promises;
  Decide();
}

Kt_SoleThread::Pause::Pause() noexcept : counts_(promises > 0) {
  if (!counts_) return;
  KT_ASSERT(IsTheSoleThread());
  ++pauses;
  Decide();
}

Kt_SoleThread::Pause::~Pause() {
  if (!counts_) return;
  KT_ASSERT(IsTheSoleThread());
  --pauses;
  Decide();
}

bool Kt_SoleThread::CountsArePlain() noexcept { return is_sole_thread || KT_SINGLE_THREADED; }
