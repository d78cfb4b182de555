// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "classlib/base/Kt_WorkThreads.h"
#include "expr/Kt_Expr.h"
#include "host/Kt_Engine.h"
#include "host/Kt_HostContext.h"
#include "host/detail/Kt_TextCache.h"
#include "object/Kt_StrictReading.h"
#include "script/Kt_Script.h"

// What engines are made of, for layers over this one; hosts need it as little as Kt_HostContext.h.
namespace kt::detail {

// An expression that a host evaluates by its text.
struct TextExpr {
  explicit TextExpr(const Kt_WString& text) : expr(text.GetText()) {}
  Kt_Expr expr;
  bool is_running = false;
};

// What an engine, its formulas and the functions that it gave away share.
struct KT_SCRIPT_API EngineState : std::enable_shared_from_this<EngineState> {
  HostContext host;  // before the script, which asks it to the end
  Kt_Script script{&host};
  Kt_RunBudget budget;
  std::chrono::nanoseconds limit_time{0};
  std::atomic<bool> cancelled{false};
  Kt_ThreadClock::Source clock;
  SettingStore settings;
  std::optional<StrictReading> strict;
  IncludeSource includes;
  bool is_tolerant = false;
  int threads = 1;  // that one operation may use
  int depth = 0;    // calls of the host into the engine that are running
  // Names that are called and expressions that are evaluated: a name knows its symbol after its
  // first search, an expression is parsed once and asks for its names when they have changed.
  TextCache<Kt_WString, 32> names;
  TextCache<std::shared_ptr<TextExpr>, 16> exprs;

  EngineState();
  // The script asks again what the names that it calls stand for.
  void NamesChanged() { script.SetExternalContext(&host); }
};

// One call of the host into an engine.
class KT_SCRIPT_API Entry {
 public:
  explicit Entry(std::shared_ptr<EngineState> state);
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;
  ~Entry();
  EngineState* operator->() const { return state_.get(); }

  // Throws what host functions let pass, what `code` stands for if it is not 0, and what was
  // reported although the run went on. Places in expressions are exact once a call has returned.
  void Check(kt_long code);

  // An evaluation that no script bounds.
  template <class Work>
  kt_long Bounded(const char16_t* what, Work work) {
    kt_long stop = 0;
    bool is_to_report = false;
    kt_long code = 0;
    {
      const Kt_CountedMemory memory(state_->budget.limit_bytes);
      Kt_BoundedWork bounds(state_->budget);
      code = work();
      stop = bounds.GetStopCode();
      is_to_report = bounds.TakeReport();
    }
    if (stop != 0 && is_to_report) Report(&state_->host, u"host", stop, Kt_WString(what));
    return stop != 0 ? stop : code;
  }

 private:
  std::shared_ptr<EngineState> state_;
  EngineState* outer_;  // whose call this one is inside of; null: none
  Kt_WorkThreads threads_;
  Kt_ThreadClock clock_;
  Kt_ThreadSettings settings_;
  TextWatch::Scope strict_;
  HostContext::FirstReport report_;
  HostContext::FirstReport* outer_report_ = nullptr;
};

// The text, without blanks at its ends, if it is an expression. Scripts are read more generously.
Kt_WString CheckedExpression(std::string_view expression);

}  // namespace kt::detail
