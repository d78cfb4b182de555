// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_WorkMeter.h"

#include <algorithm>
#include <utility>

#include "classlib/base/Kt_Codes.h"

namespace {

KT_THREAD_LOCAL Kt_WorkMeter* current_meter = nullptr;
using Work = void (*)();
KT_THREAD_LOCAL Work deferred_work = nullptr;

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
  left_ = granted_;
}

bool Kt_WorkMeter::Look() {
  if (stop_code_ == kOk) {
    Settle();
  } else {
    Stop(stop_code_);
  }
  if (stop_code_ != kOk) return false;
  if (budget_ != nullptr) {
    if (budget_->cancel != nullptr && budget_->cancel->load(std::memory_order_relaxed)) {
      Stop(kErrCancelled);
    } else if (budget_->deadline != std::chrono::steady_clock::time_point::max() &&
               std::chrono::steady_clock::now() >= budget_->deadline) {
      Stop(kErrDeadline);
    } else if (limit_left_ < 0) {
      Stop(kErrStepBudget);
    }
  }
  if (stop_code_ != kOk) return false;
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
