// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"

namespace kt::detail {

// One call of an event operation of a wrapper. The host may end the wrapper in it, so the guard,
// which lies in the wrapper, is only put back while the wrapper lives.
class EventCall {
 public:
  // `guard` may be null.
  EventCall(const Kt_ExprDataset& wrapper, bool* guard) : hold_(nullptr, &wrapper), guard_(guard) {
    if (guard_ != nullptr) *guard_ = false;
  }
  EventCall(const EventCall&) = delete;
  EventCall& operator=(const EventCall&) = delete;
  ~EventCall() {
    if (guard_ != nullptr && IsAlive()) *guard_ = true;
  }
  bool IsAlive() const { return hold_.GetObject() != nullptr; }

 private:
  Kt_ObjectHolder hold_;
  bool* guard_;
};

}  // namespace kt::detail

template <class Call>
Kt_ExprDataset::Answer Kt_ExprDataset::Ask(Guard guard, Call call) {
  if (events_on_ == 0 || !guards_[guard]) return Answer::kYes;
  const Kt_Dataset* const dataset = GetDataset();
  const kt::detail::EventCall event(*this, &guards_[guard]);
  const bool is_allowed = call() != 0;
  if (!event.IsAlive() || GetDataset() != dataset) return Answer::kGone;
  return is_allowed ? Answer::kYes : Answer::kNo;
}

template <class Call>
bool Kt_ExprDataset::Tell(Guard guard, Call call) {
  if (events_on_ == 0) return true;
  const Kt_Dataset* const dataset = GetDataset();
  const bool is_guarded = dataset != nullptr && dataset->IsLogical();
  if (is_guarded && !guards_[guard]) return true;
  const kt::detail::EventCall event(*this, is_guarded ? &guards_[guard] : nullptr);
  call();
  return event.IsAlive() && GetDataset() == dataset;
}
