// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_WorkMeter.h"

#include <algorithm>
#include <utility>

#include "classlib/base/Kt_Codes.h"
#include "classlib/base/detail/Kt_SharedBounds.h"

namespace {

KT_THREAD_LOCAL Kt_WorkMeter* current_meter = nullptr;
using Work = void (*)();
KT_THREAD_LOCAL Work deferred_work = nullptr;
// What this thread shares with one that works for it / with one that it works for.
KT_THREAD_LOCAL kt::detail::SharedMeter* shared_out = nullptr;
KT_THREAD_LOCAL kt::detail::SharedMeter* shared_in = nullptr;

// Why flag or clock stop the work; kOk: it goes on.
kt_long StopOf(const Kt_RunBudget* budget) {
  if (budget == nullptr) return kOk;
  if (budget->cancel != nullptr && budget->cancel->load(std::memory_order_relaxed)) {
    return kErrCancelled;
  }
  const bool has_deadline = budget->deadline != std::chrono::steady_clock::time_point::max();
  return has_deadline && std::chrono::steady_clock::now() >= budget->deadline ? kErrDeadline : kOk;
}

}  // namespace

Kt_WorkMeter* Kt_WorkMeter::Current() { return current_meter; }

kt_long Kt_WorkMeter::CurrentStop() {
  return current_meter != nullptr ? current_meter->stop_code_ : kOk;
}

void Kt_WorkMeter::Defer(void (*work)()) { deferred_work = work; }

bool Kt_WorkMeter::HasClockOrFlag() const {
  return budget_ != nullptr && (budget_->cancel != nullptr ||
                                budget_->deadline != std::chrono::steady_clock::time_point::max());
}

void Kt_WorkMeter::Start(const Kt_RunBudget* budget) {
  budget_ = budget;
  outer_ = previous_ = current_meter;
  stop_code_ = kOk;
  is_outer_stop_ = is_reported_ = false;
  const bool has_limit = budget != nullptr && budget->limit_steps > 0;
  const std::int64_t steps = has_limit ? budget->limit_steps : 0;
  limit_left_ = has_limit ? std::min(steps, kNoLimit / kUnitsPerStep) * kUnitsPerStep : kNoLimit;
  left_ = granted_ = 0;  // the first charge looks: it may be too late already
  if (!HasClockOrFlag() && outer_ == nullptr) Grant();
  if (has_limit || HasClockOrFlag() || outer_ != nullptr) current_meter = this;
}

void Kt_WorkMeter::Finish() {
  if (stop_code_ == kOk && outer_ != nullptr) Settle();
  current_meter = previous_;
  outer_ = previous_ = nullptr;
  if (const Work work = std::exchange(deferred_work, nullptr)) work();
}

// Takes what was used since the last look off the budget, and off the one around.
void Kt_WorkMeter::Settle() {
  const std::int64_t used = granted_ - left_;
  granted_ = left_ = 0;
  if (shared_in != nullptr && outer_ == nullptr) {
    shared_in->units_.fetch_add(used, std::memory_order_relaxed);
  }
  if (limit_left_ != kNoLimit) limit_left_ -= used;
  if (outer_ != nullptr && !outer_->Charge(used)) {
    is_outer_stop_ = true;
    Stop(outer_->stop_code_);
  }
}

// Units to go on with: up to the end of the budget, of that around, and the next look.
void Kt_WorkMeter::Grant() {
  granted_ = HasClockOrFlag() ? std::min(limit_left_, kUnitsPerLook) : limit_left_;
  if (outer_ != nullptr) granted_ = std::min(granted_, outer_->left_);
  if (shared_out != nullptr) granted_ = std::min(granted_, kUnitsPerLook);
  left_ = granted_;
}

bool Kt_WorkMeter::Look() {
  if (stop_code_ == kOk) {
    if (shared_out != nullptr) {
      left_ -= shared_out->units_.exchange(0, std::memory_order_relaxed);
    }
    Settle();
  } else {
    Stop(stop_code_);
  }
  if (stop_code_ != kOk) return false;
  kt_long code = StopOf(budget_);
  if (code == kOk && limit_left_ < 0) code = kErrStepBudget;
  if (shared_in != nullptr && outer_ == nullptr) {
    for (const Kt_WorkMeter* meter = shared_in->meter_; meter != nullptr; meter = meter->outer_) {
      if (code == kOk) code = shared_in->stop_code_ = StopOf(meter->budget_);
    }
  }
  if (code != kOk) {
    Stop(code);
    return false;
  }
  Grant();
  return true;
}

bool Kt_WorkMeter::LookNow() {
  if (outer_ != nullptr) outer_->LookNow();
  return Look();
}

void Kt_WorkMeter::Stop(kt_long code) {
  stop_code_ = code;
  left_ = granted_ = -1;  // every later charge finds the code again
}

bool Kt_WorkMeter::TakeReport() {
  if (stop_code_ == kOk) return false;
  if (is_outer_stop_ && outer_ != nullptr) return outer_->TakeReport();
  return !std::exchange(is_reported_, true);
}

Kt_WorkPause::Kt_WorkPause() : paused_(std::exchange(current_meter, nullptr)) {}

Kt_WorkPause::~Kt_WorkPause() { current_meter = paused_; }

namespace kt::detail {

bool SharedMeter::Open() {
  meter_ = Kt_WorkMeter::Current();
  units_.store(0, std::memory_order_relaxed);
  stop_code_ = kOk;
  if (meter_ == nullptr) return true;
  shared_out = this;
  if (meter_->LookNow()) return true;
  shared_out = nullptr;
  return false;
}

bool SharedMeter::Look() { return meter_ == nullptr || meter_->LookNow(); }

bool SharedMeter::Close() {
  if (meter_ == nullptr) return true;
  shared_out = nullptr;
  const bool goes_on = meter_->Charge(units_.exchange(0, std::memory_order_relaxed));
  if (goes_on && stop_code_ != kOk) meter_->Stop(stop_code_);
  return goes_on && stop_code_ == kOk;
}

void SharedMeter::Enter(const std::atomic<bool>& stop) {
  shared_in = this;
  second_budget_.cancel = &stop;
  second_meter_.Start(&second_budget_);
}

// The last look hands over what was done since the one before.
void SharedMeter::Leave() {
  (void)second_meter_.LookNow();
  second_meter_.Finish();
  shared_in = nullptr;
}

}  // namespace kt::detail
