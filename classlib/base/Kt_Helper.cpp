// SPDX-License-Identifier: MIT
//
// The second thread waits for a piece of work, takes it if it is still there, does it and says so.
// Both sides look a few times before they sleep, because the pieces of an operation follow each
// other closely.
#include "classlib/base/Kt_Helper.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#if !defined(_WIN32)
#include <signal.h>
#endif

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_SoleThread.h"
#include "classlib/base/Kt_WorkThreads.h"
#include "classlib/base/detail/Kt_SharedBounds.h"

namespace kt::detail {
namespace {

// What the system sends is for the threads of the host, whose handlers may expect to be on one.
class SignalsBlocked {
 public:
#if !defined(_WIN32)
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
#endif
};

// An idle processor has the other side look all the time between two pieces.
constexpr std::chrono::microseconds kGlanceTime{100};
// The thread that waits looks after the bounds of both.
constexpr std::chrono::microseconds kLookInterval{500};

std::atomic<bool> takes_back{true};
std::atomic<std::int64_t> pieces_begun{0};

template <class Condition>
void Glance(Condition is_so) {
  const auto end = std::chrono::steady_clock::now() + kGlanceTime;
  while (!is_so() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
}

}  // namespace

struct Helper::State {
  enum class Phase : std::uint8_t {
    kIdle,     // nobody has a piece
    kOffered,  // there is one for the second thread
    kAtWork,   // which does it
    kEnd,      // the second thread is to end
  };

  State() {
    [[maybe_unused]] const SignalsBlocked blocked;
    thread = std::thread([this] { Run(); });
  }

  void Run() {
    while (WaitForOffer()) {
      if (!Turns(Phase::kOffered, Phase::kAtWork)) continue;
      Work();
      Enter(Phase::kIdle);
    }
  }

  void Work() {
    pieces_begun.fetch_add(1, std::memory_order_relaxed);
    memory.Enter();
    meter.Enter(stop);
    try {
      job(work);
    } catch (...) {
      failure = std::current_exception();
    }
    meter.Leave();
    memory.Leave();
  }

  void Enter(Phase next) {
    {
      const std::lock_guard lock(mutex);
      phase.store(next, std::memory_order_release);
    }
    changed.notify_one();
  }

  // Of both sides only one gets it when they try at the same time.
  bool Turns(Phase from, Phase to) {
    return phase.compare_exchange_strong(from, to, std::memory_order_acq_rel);
  }

  // False when the second thread is to end.
  bool WaitForOffer() {
    const auto is_there = [&] { return phase.load(std::memory_order_acquire) != Phase::kIdle; };
    Glance(is_there);
    std::unique_lock lock(mutex);
    changed.wait(lock, is_there);
    return phase.load(std::memory_order_acquire) != Phase::kEnd;
  }

  // Waits for the second thread, and stops it when the work has to.
  void WaitForWork() {
    const auto is_done = [&] { return phase.load(std::memory_order_acquire) == Phase::kIdle; };
    Glance(is_done);
    while (!is_done()) {
      {
        std::unique_lock lock(mutex);
        if (changed.wait_for(lock, kLookInterval, is_done)) break;
      }
      if (!meter.Look()) stop.store(true, std::memory_order_relaxed);
    }
  }

  // Ends a round. False when the work has to stop.
  bool Close() {
    if (!takes_back || !Turns(Phase::kOffered, Phase::kIdle)) WaitForWork();
    memory.Close();
    return meter.Close();
  }

  Kt_SoleThread::Pause both_count;  // longer than the thread is there
  std::mutex mutex;
  std::condition_variable changed;
  std::atomic<Phase> phase{Phase::kIdle};
  Job job = nullptr;
  void* work = nullptr;
  std::exception_ptr failure;
  std::atomic<bool> stop{false};
  SharedMemory memory;
  SharedMeter meter;
  std::thread thread;
};

Helper::Helper(std::size_t items) {
  if (!Kt_WorkThreads::MayShare(items)) return;
  try {
    state_ = std::make_unique<State>();
  } catch (const std::system_error&) {
    // Without a thread the work is done here.
  }
}

Helper::~Helper() {
  if (state_ == nullptr) return;
  state_->Enter(State::Phase::kEnd);
  state_->thread.join();
}

void Helper::Begin(Job job, void* work) {
  state_->job = job;
  state_->work = work;
  state_->failure = nullptr;
  state_->stop.store(false, std::memory_order_relaxed);
  state_->memory.Open();
  if (!state_->meter.Open()) {
    state_->memory.Close();
    throw WorkStopped();
  }
  state_->Enter(State::Phase::kOffered);
}

void Helper::SetTakesBack(bool does) noexcept { takes_back = does; }

bool Helper::MayTakeBack() noexcept { return takes_back; }

std::int64_t Helper::GetPiecesBegun() noexcept { return pieces_begun; }

bool Helper::TakesBack() noexcept {
  return takes_back && state_->Turns(State::Phase::kOffered, State::Phase::kIdle);
}

void Helper::End() {
  const bool goes_on = state_->Close();
  if (state_->failure) std::rethrow_exception(state_->failure);
  if (!goes_on) throw WorkStopped();
}

void Helper::Abandon() noexcept {
  state_->stop.store(true, std::memory_order_relaxed);
  (void)state_->Close();
}

}  // namespace kt::detail
