// SPDX-License-Identifier: MIT
#pragma once

#include <limits>
#include <optional>
#include <typeinfo>

#include "classlib/Kt_Memory.h"
#include "script/Kt_RunBudget.h"
#include "script/detail/Kt_Scope.h"

namespace kt::detail {

// What the interpreter keeps for one script while its functions run: the chain of calls, the
// budget, and why the run has to stop. Lives as long as the script.
class RunState {
 public:
  // One call; on the native stack, innermost first.
  struct Frame {
    const Kt_ScriptFunc* func;
    const Kt_ScriptOp* op;  // the statement being run; null before the first
    Frame* caller;
  };

  explicit RunState(Kt_Script& script);

  static RunState& Of(Kt_Script& script) {
    if (KT_UNLIKELY(script.run_state_ == nullptr)) Make(script);
    return *script.run_state_;
  }

  // Makes a frame the innermost one for as long as it lives, also when a host's callback throws.
  class Call {
   public:
    Call(RunState& run, Frame& frame) : run_(run) {
      if (run.frame_ == nullptr) run.Begin();
      frame.caller = run.frame_;
      run.frame_ = &frame;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() {
      run_.frame_ = run_.frame_->caller;
      if (run_.frame_ == nullptr) run_.End();
    }

   private:
    RunState& run_;
  };
  bool IsRunning() const { return frame_ != nullptr; }
  const Frame* GetFrame() const { return frame_; }
  // Of the script that called into this one on the thread; null for none.
  const RunState* GetOuter() const { return outer_; }

  // Charges one step. 0, or the code that stops the run; reported through `context` once.
  kt_long Tick(Kt_ExprObject* context) {
    return KT_LIKELY(--ticks_left_ >= 0) ? kOk : OnTicksUsed(context);
  }
  // Charges any number of steps, 0 only asks.
  kt_long Charge(std::int64_t steps);
  // The state of the script that runs on this thread, the innermost one; null for none.
  static RunState* OfThread();
  // Stops the run because calls nest too deeply; reports it.
  kt_long StopTooDeep(Kt_ExprObject* context);
  // Stops the run for a reason that has been reported already.
  void NoteStop(kt_long code) {
    if (stop_code_ == kOk) SetStop(code);
  }
  // The code that stops the run, 0 while it goes on. Statements that turn failures into something
  // else must not do so with this one.
  kt_long GetStopCode() const { return stop_code_; }

  // The host's object behind the script is still there.
  bool IsHostValid() const { return host_.IsValid(); }

  // Whether the compiled form of expressions may be used.
  bool IsCompiled() const { return is_compiled_; }
  void SetCompiled(bool is_compiled) { is_compiled_ = is_compiled; }

  // The variable `symbol` as seen from `scope`: locals, then globals. Null when it is not a plain
  // variable of the script, when only the script itself (a host's subclass) can tell, and for a
  // null scope, since then nobody knows what stands between here and the globals.
  Kt_Variable* FindVariable(Scope* scope, Kt_Symbol symbol, std::uint16_t& hint) const {
    if (Kt_Variable* const local = Scope::Find(scope, symbol, hint)) return local;
    return has_plain_globals_ && scope != nullptr ? globals_->Find(symbol, hint) : nullptr;
  }

  // An empty argument list for one call, whose memory the next call at this depth uses again.
  class Args {
   public:
    explicit Args(RunState& run) : run_(run) {
      if (run.args_used_ == run.args_.size()) {
        run.args_.push_back(std::make_unique<Kt_VariantList>());
      }
      list_ = run.args_[run.args_used_++].get();
    }
    Args(const Args&) = delete;
    Args& operator=(const Args&) = delete;
    ~Args() {
      list_->ClearItems();
      --run_.args_used_;
    }
    Kt_VariantList& operator*() const { return *list_; }

   private:
    RunState& run_;
    Kt_VariantList* list_;
  };

  Kt_Script& GetScript() const { return *script_; }
  void SetBudget(const Kt_RunBudget* budget) { budget_ = budget; }

 private:
  static void Make(Kt_Script& script);
  void Begin();
  void End();
  void RefillTicks();
  bool MustLook() const;
  void SetStop(kt_long code) {
    stop_code_ = code;
    ticks_left_ = 0;  // every later step finds the code again
  }
  KT_COLD kt_long OnTicksUsed(Kt_ExprObject* context);
  KT_COLD kt_long Stop(Kt_ExprObject* context, kt_long code);

  static constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();
  static constexpr std::int64_t kTicksPerLook = 512;  // between looks at clock and flag

  std::int64_t ticks_left_ = kNoLimit;
  std::int64_t steps_left_ = kNoLimit;  // of the budget, without ticks_left_
  Frame* frame_ = nullptr;
  RunState* outer_ = nullptr;  // of the script that called into this one on the thread
  kt_long stop_code_ = kOk;
  bool has_plain_globals_ = false;
  bool is_compiled_ = true;
  const Kt_VariableList* globals_;
  Kt_Script* script_;
  const Kt_RunBudget* budget_ = nullptr;
  std::optional<Kt_CountedMemory> memory_;  // while it runs with a bound
  Kt_ObjectHolder host_;
  std::vector<std::unique_ptr<Kt_VariantList>> args_;
  std::size_t args_used_ = 0;
};

}  // namespace kt::detail
