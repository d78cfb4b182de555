// SPDX-License-Identifier: MIT
#include "script/detail/Kt_RunState.h"

#include <utility>

#include "script/code/Kt_Machine.h"

namespace kt::detail {

namespace {

constexpr const char16_t* kSource = u"Kt_ScriptFunc";

thread_local RunState* run_of_thread = nullptr;

bool Listens(Kt_ExprObject* context) {
  return context != nullptr && context->IsSystemLogMode() != 0;
}

}  // namespace

RunState* RunState::OfThread() { return run_of_thread; }

RunState::RunState(Kt_Script& script) : globals_(&script.GetVariables()), script_(&script) {}

RunState::~RunState() = default;

Machine& RunState::GetMachine() {
  if (KT_UNLIKELY(machine_ == nullptr)) machine_ = std::make_unique<Machine>(*this);
  return *machine_;
}

void RunState::LetGlobalsGo() {
  if (machine_ != nullptr) machine_->LetGlobalsGo();
}

void RunState::Retire(const std::shared_ptr<LinkedCode>& code) {
  if (depth_ == 0) return;
  code->next_retired = std::move(retired_);
  retired_ = code;
}

const Kt_ScriptOp* RunState::OpOf(const Frame& frame) {
  if (frame.op != nullptr || frame.pc == nullptr) return frame.op;
  const auto pc = static_cast<std::size_t>(frame.pc - frame.code->instrs.data());
  const FuncCode::Entry* const entry = frame.code->EntryAt(pc - 1);
  return entry != nullptr ? entry->op : nullptr;
}

void RunState::Make(Kt_Script& script) { script.run_state_ = std::make_shared<RunState>(script); }

void RunState::Begin() {
  outer_ = std::exchange(run_of_thread, this);
  if (budget_ != nullptr && budget_->limit_bytes > 0) memory_.emplace(budget_->limit_bytes);
  // A host may derive from Kt_Script and answer names itself: then it has to be asked.
  has_plain_globals_ = typeid(*script_) == typeid(Kt_Script);
  meter_.Start(budget_);
  Kt_ExprObject* const host = script_->GetExternalContext();
  if (host != nullptr) {
    host_.Set(host->GetContainer(), host);
  } else {
    host_.Clear();
  }
}

void RunState::End() {
  memory_.reset();
  meter_.Finish();
  run_of_thread = std::exchange(outer_, nullptr);
  host_.Clear();
  while (retired_ != nullptr) retired_ = std::exchange(retired_->next_retired, nullptr);
  script_->FreeRetired();
}

kt_long RunState::StopTooDeep(Kt_ExprObject* context) {
  if (meter_.GetStopCode() == kOk) meter_.Stop(kErrTooDeep);
  return OnStop(context);
}

void RunState::NoteStop(kt_long code) {
  if (meter_.GetStopCode() == kOk) meter_.Stop(code);
  (void)meter_.TakeReport();
}

kt_long RunState::Look(Kt_ExprObject* context) { return meter_.Look() ? kOk : OnStop(context); }

kt_long RunState::OnStop(Kt_ExprObject* context) {
  const kt_long code = meter_.GetStopCode();
  // Where nobody listens, the stop of the work around is left to whoever began that.
  if ((Listens(context) || !meter_.IsOuterStop()) && meter_.TakeReport()) {
    const Kt_WorkPause pause;
    const Kt_MemoryPause memory_pause;
    const Kt_WString where = frame_ != nullptr      ? frame_->func->GetName()
                             : variable_ != nullptr ? *variable_
                                                    : Kt_WString();
    (void)kt::Report(context, kSource, code, where);
  }
  return code;
}

}  // namespace kt::detail

kt_long kt::ChargeRun(std::int64_t steps) {
  // A run that has no limits may still have to end, because its calls nest too deeply.
  const kt::detail::RunState* const run = kt::detail::RunState::OfThread();
  if (run != nullptr && run->GetStopCode() != kOk) return CheckRun(nullptr);
  return kt::Charge(steps * Kt_WorkMeter::kUnitsPerStep) ? kOk : CheckRun(nullptr);
}

kt_long kt::CheckRun(Kt_ExprObject* context) {
  kt::detail::RunState* const run = kt::detail::RunState::OfThread();
  if (run != nullptr && run->GetStopCode() != kOk) {
    return run->Check(&run->GetScript());
  }
  if (KT_LIKELY(Kt_WorkMeter::CurrentStop() == kOk)) return kOk;
  Kt_WorkMeter& meter = *Kt_WorkMeter::Current();
  if (detail::Listens(context) && meter.TakeReport()) {
    const Kt_WorkPause pause;
    (void)kt::Report(context, u"Kt_Expr", meter.GetStopCode(), u"expression");
  }
  return meter.GetStopCode();
}
