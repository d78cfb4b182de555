// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <typeinfo>
#include <utility>

#include "classlib/base/Kt_Memory.h"
#include "script/Kt_RunBudget.h"
#include "script/Kt_StatementHook.h"
#include "script/detail/Kt_Scope.h"

namespace kt::detail {

class Machine;
struct FuncCode;
struct Instr;
struct LinkedCode;

// What the interpreter keeps for one script while its functions run: the chain of calls, the
// budget, and why the run has to stop. Lives as long as the script.
class RunState {
 public:
  // One call; on the native stack, innermost first.
  struct Frame {
    const Kt_ScriptFunc* func;
    const Kt_ScriptOp* op;  // the statement that the walk runs; null before the first
    Frame* caller;
    const FuncCode* code = nullptr;  // of a translated function
    const Instr* pc = nullptr;       // in it: the instruction after the one that runs
    kt_long depth = 0;               // calls on the way, this one among them; of calls by the walk
  };
  // The statement being run; null before the first.
  static const Kt_ScriptOp* OpOf(const Frame& frame);

  explicit RunState(Kt_Script& script);
  ~RunState();

  static RunState& Of(Kt_Script& script) {
    if (KT_UNLIKELY(script.run_state_ == nullptr)) Make(script);
    return *script.run_state_;
  }

  // Makes a frame the innermost one for as long as it lives, also when a host's callback throws.
  class Call {
   public:
    Call(RunState& run, Frame& frame) : run_(run) {
      run.Enter();
      frame.caller = run.frame_;
      frame.depth = frame.caller != nullptr ? frame.caller->depth + 1 : 1;
      run.frame_ = &frame;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() {
      run_.frame_ = run_.frame_->caller;
      run_.Leave();
    }

   private:
    RunState& run_;
  };
  // The evaluation of a global variable while the script loads: as a call from outside, but for the
  // frame.
  class Loading {
   public:
    Loading(RunState& run, const Kt_WString& variable) : run_(run) {
      run.Enter();
      variable_ = std::exchange(run.variable_, &variable);
    }
    Loading(const Loading&) = delete;
    Loading& operator=(const Loading&) = delete;
    ~Loading() {
      run_.variable_ = variable_;
      run_.Leave();
    }

   private:
    RunState& run_;
    const Kt_WString* variable_;
  };
  // Something of the script runs while it lives.
  class Working {
   public:
    explicit Working(RunState& run) : run_(run) { run.Enter(); }
    Working(const Working&) = delete;
    Working& operator=(const Working&) = delete;
    ~Working() { run_.Leave(); }

   private:
    RunState& run_;
  };
  // For the frames of translated functions, which live on a stack of the run.
  void Push(Frame& frame) {
    frame.caller = frame_;
    frame_ = &frame;
  }
  void Pop() { frame_ = frame_->caller; }
  // The same; `caller` is the one of the innermost frame.
  void PopTo(Frame& caller) { frame_ = &caller; }
  Machine& GetMachine();
  // The globals of the script are about to go: see Machine::LetGlobalsGo.
  void LetGlobalsGo();
  // Keeps code that a function has no longer until nothing runs.
  void Retire(const std::shared_ptr<LinkedCode>& code);
  Kt_WorkMeter& Meter() { return meter_; }
  bool IsRunning() const { return frame_ != nullptr; }
  const Frame* GetFrame() const { return frame_; }
  // Of the script that called into this one on the thread; null for none.
  const RunState* GetOuter() const { return outer_; }

  // Charges one step. 0, or the code that stops the run; reported through `context` once.
  kt_long Tick(Kt_ExprObject* context) { return Charge(Kt_WorkMeter::kUnitsPerStep, context); }
  // Charges any number of units.
  kt_long Charge(std::int64_t units, Kt_ExprObject* context) {
    return KT_LIKELY(meter_.Take(units)) ? kOk : Look(context);
  }
  kt_long ChargeTime(std::int64_t units, Kt_ExprObject* context) {
    return KT_LIKELY(meter_.TakeTime(units)) ? kOk : Look(context);
  }
  // Charges nothing: the same after work that may have been stopped.
  kt_long Check(Kt_ExprObject* context) {
    return KT_LIKELY(meter_.GetStopCode() == kOk) ? kOk : OnStop(context);
  }
  // The state of the script that runs on this thread, the innermost one; null for none.
  static RunState* OfThread();
  // Stops the run because calls nest too deeply; reports it.
  kt_long StopTooDeep(Kt_ExprObject* context);
  // Stops the run for a reason that has been reported already.
  void NoteStop(kt_long code);
  // The code that stops the run, 0 while it goes on. Statements that turn failures into something
  // else must not do so with this one.
  kt_long GetStopCode() const { return meter_.GetStopCode(); }

  // The host's object behind the script is still there.
  bool IsHostValid() const { return host_.IsValid(); }

  // Whether functions run as code. The names of a script of a host's own class are for the walk.
  bool UsesCode() const { return is_compiled_ && has_plain_globals_ && hook_ == nullptr; }
  void SetCompiled(bool is_compiled) { is_compiled_ = is_compiled; }

  void SetHook(Kt_StatementHook* hook) { hook_ = hook; }
  void TellStatement(const Frame& frame) {
    if (KT_UNLIKELY(hook_ != nullptr)) hook_->OnStatement(PlaceOf(frame));
  }
  void TellBranch(const Frame& frame, kt_long taken) {
    if (KT_UNLIKELY(hook_ != nullptr)) hook_->OnBranch(PlaceOf(frame), taken);
  }

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
  static Kt_StatementPlace PlaceOf(const Frame& frame) {
    return {*frame.func, *frame.op, frame.op->line32 + 1, frame.depth};
  }
  void Enter() {
    if (depth_++ == 0) Begin();
  }
  void Leave() {
    if (--depth_ == 0) End();
  }
  void Begin();
  void End();
  KT_COLD kt_long Look(Kt_ExprObject* context);
  KT_COLD kt_long OnStop(Kt_ExprObject* context);

  Kt_WorkMeter meter_;
  int depth_ = 0;  // calls and evaluations on the way
  Frame* frame_ = nullptr;
  const Kt_WString* variable_ = nullptr;  // the global that is being evaluated
  RunState* outer_ = nullptr;             // of the script that called into this one on the thread
  bool has_plain_globals_ = false;
  bool is_compiled_ = true;
  Kt_StatementHook* hook_ = nullptr;
  const Kt_VariableList* globals_;
  Kt_Script* script_;
  const Kt_RunBudget* budget_ = nullptr;
  std::optional<Kt_CountedMemory> memory_;  // while it runs with a bound
  Kt_ObjectHolder host_;
  std::vector<std::unique_ptr<Kt_VariantList>> args_;
  std::size_t args_used_ = 0;
  std::unique_ptr<Machine> machine_;
  std::shared_ptr<LinkedCode> retired_;  // a chain
};

}  // namespace kt::detail
