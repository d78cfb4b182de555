// SPDX-License-Identifier: MIT
#include "script/detail/Kt_RunState.h"

#include <algorithm>
#include <utility>

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_ScriptFunc";

thread_local RunState* run_of_thread = nullptr;

}  // namespace

RunState* RunState::OfThread() { return run_of_thread; }

RunState::RunState(Kt_Script& script) : globals_(&script.GetVariables()), script_(&script) {}

void RunState::Make(Kt_Script& script) { script.run_state_ = std::make_shared<RunState>(script); }

void RunState::Begin() {
  outer_ = std::exchange(run_of_thread, this);
  stop_code_ = kOk;
  if (budget_ != nullptr && budget_->limit_bytes > 0) memory_.emplace(budget_->limit_bytes);
  // A host may derive from Kt_Script and answer names itself: then it has to be asked.
  has_plain_globals_ = typeid(*script_) == typeid(Kt_Script);
  steps_left_ = budget_ && budget_->limit_steps > 0 ? budget_->limit_steps : kNoLimit;
  ticks_left_ = 0;
  if (!MustLook()) RefillTicks();  // else the first step looks: it may be too late already
  Kt_ExprObject* const host = script_->GetExternalContext();
  if (host != nullptr) {
    host_.Set(host->GetContainer(), host);
  } else {
    host_.Clear();
  }
}

void RunState::End() {
  memory_.reset();
  run_of_thread = std::exchange(outer_, nullptr);
  host_.Clear();
  script_->FreeRetired();
}

// There is a clock or a flag to look at.
bool RunState::MustLook() const {
  return budget_ != nullptr && (budget_->cancel != nullptr ||
                                budget_->deadline != std::chrono::steady_clock::time_point::max());
}

void RunState::RefillTicks() {
  ticks_left_ = MustLook() ? std::min(steps_left_, kTicksPerLook) : steps_left_;
  if (steps_left_ != kNoLimit) steps_left_ -= ticks_left_;
}

kt_long RunState::OnTicksUsed(Kt_ExprObject* context) {
  ticks_left_ = 0;
  if (stop_code_ != kOk) return stop_code_;
  if (budget_ == nullptr) {
    RefillTicks();
    return kOk;
  }
  if (budget_->cancel != nullptr && budget_->cancel->load(std::memory_order_relaxed)) {
    return Stop(context, kErrCancelled);
  }
  if (std::chrono::steady_clock::now() >= budget_->deadline) return Stop(context, kErrDeadline);
  if (steps_left_ == 0) return Stop(context, kErrStepBudget);
  RefillTicks();
  --ticks_left_;
  return kOk;
}

kt_long RunState::Charge(std::int64_t steps) {
  while (stop_code_ == kOk && steps > ticks_left_) {
    steps -= ticks_left_ + 1;  // OnTicksUsed charges one itself
    if (const kt_long code = OnTicksUsed(script_)) return code;
  }
  ticks_left_ -= stop_code_ == kOk ? steps : 0;
  return stop_code_;
}

kt_long RunState::StopTooDeep(Kt_ExprObject* context) {
  return stop_code_ != kOk ? stop_code_ : Stop(context, kErrTooDeep);
}

kt_long RunState::Stop(Kt_ExprObject* context, kt_long code) {
  SetStop(code);
  return kt::Report(context, kSource, code, frame_ ? frame_->func->GetName() : Kt_WString());
}

}  // namespace kt::detail

kt_long kt::ChargeRun(std::int64_t steps) {
  kt::detail::RunState* const run = kt::detail::RunState::OfThread();
  return run != nullptr ? run->Charge(steps) : kOk;
}
