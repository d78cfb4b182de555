// SPDX-License-Identifier: MIT
#include "host/Kt_Engine.h"

#include <algorithm>
#include <limits>

#include "classlib/base/Kt_Random.h"
#include "classlib/value/Kt_Variable.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "host/Kt_EngineState.h"
#include "host/Kt_Failures.h"
#include "script/Kt_Program.h"
#include "script/Kt_ScriptLoadHandler.h"

namespace kt {
namespace {

// The engine that runs on this thread: what functions in arguments are functions of. A call keeps
// it alive.
thread_local detail::EngineState* running_engine = nullptr;

// Loads what texts include, each name once.
class Includes final : public Kt_ScriptLoadHandler {
 public:
  Includes(const IncludeSource& source, std::string from, Kt_SyntaxErrorList& errors)
      : source_(source), from_(std::move(from)), errors_(errors), names_{from_} {}

  std::exception_ptr thrown;

  // Those of the first text load what they include themselves in turn: a chain of includes takes
  // no native stack.
  kt_long LoadIncludes(Kt_Script* script, Kt_WStrList& includes) override {
    const bool is_first = wanted_.empty();
    for (kt_long at = 0; at < includes.GetCount(); ++at) {
      std::string name = includes[at].ToUtf8();
      if (std::find(names_.begin(), names_.end(), name) != names_.end()) continue;
      names_.push_back(name);
      wanted_.emplace_back(std::move(name), from_);
    }
    return is_first ? LoadWanted(*script) : kOk;
  }

 private:
  kt_long LoadWanted(Kt_Script& script) {
    kt_long code = kOk;
    for (std::size_t at = 0; at < wanted_.size(); ++at) {
      const auto [name, from] = wanted_[at];
      const std::optional<std::string> text = Ask(name, from);
      if (thrown) return kFailed;
      if (!text) {
        Kt_SyntaxError fault;
        fault.code = kSynPragma;
        fault.source_name = Kt_WString::FromUtf8(from);
        fault.message = Kt_WString::FromUtf8("there is no '" + name + "' to include");
        errors_.AddError(std::move(fault));
        return kFailed;
      }
      from_ = name;
      code = script.Parse(Kt_WString::FromUtf8(name), Kt_WString::FromUtf8(*text), this, &errors_);
      if (code != kOk) return code;
    }
    return code;
  }
  std::optional<std::string> Ask(const std::string& name, const std::string& from) {
    try {
      return source_ ? source_(name, from) : std::nullopt;
    } catch (...) {
      thrown = std::current_exception();
      return std::nullopt;
    }
  }

  const IncludeSource& source_;
  std::string from_;
  Kt_SyntaxErrorList& errors_;
  std::vector<std::string> names_;
  std::vector<std::pair<std::string, std::string>> wanted_;  // name, who asks
};

// Throws the faults.
void CheckFaults(kt_long code, const Kt_SyntaxErrorList& errors) {
  if (!errors.GetErrors().empty() || errors.GetCount() > 0) {
    throw SyntaxError(detail::SyntaxFailure(code, errors));
  }
}

// What a load has come to.
void CheckLoaded(detail::Entry& entry, kt_long code, const Kt_SyntaxErrorList& errors) {
  if (!errors.GetErrors().empty() || errors.GetCount() > 0) entry.Check(kOk);
  CheckFaults(code, errors);
  entry.Check(code);
}

// Raises a flag while it lives.
class Running {
 public:
  explicit Running(bool& flag) : flag_(flag) { flag_ = true; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { flag_ = false; }

 private:
  bool& flag_;
};

// Why there is no program although the text has no fault.
kt_long WhyNoProgram() {
  if (const kt_long code = Kt_RunError::Last().code) return code;
  const kt_long stop = Kt_WorkMeter::CurrentStop();
  return stop != kOk ? stop : static_cast<kt_long>(kErrNoMemory);
}

}  // namespace

namespace detail {

EngineState::EngineState() {
  budget.cancel = &cancelled;
  script.SetBudget(&budget);
}

Entry::Entry(std::shared_ptr<EngineState> state)
    : state_(std::move(state)),
      outer_(std::exchange(running_engine, state_.get())),
      threads_(state_->threads),
      clock_(state_->clock ? &state_->clock : nullptr),
      settings_(state_->settings ? &state_->settings : nullptr),
      strict_(state_->strict ? &*state_->strict : nullptr) {
  using Clock = std::chrono::steady_clock;
  outer_report_ = std::exchange(state_->host.report, &report_);
  if (state_->depth++ > 0) return;
  state_->budget.deadline =
      state_->limit_time.count() > 0
          ? Clock::now() + std::chrono::duration_cast<Clock::duration>(state_->limit_time)
          : Clock::time_point::max();
}
Entry::~Entry() {
  running_engine = outer_;
  state_->host.report = outer_report_;
  if (outer_report_ != nullptr && !outer_report_->info) *outer_report_ = report_;
  if (--state_->depth == 0) state_->cancelled.store(false, std::memory_order_relaxed);
}
void Entry::Check(kt_long code) {
  state_->host.exceptions.Rethrow();
  if (code != kOk) throw RunError(LastFailure(code));
  if (!report_.info || state_->is_tolerant) return;
  const Kt_RunError& last = Kt_RunError::Last();
  throw RunError(last.serial == report_.serial ? LastFailure(last.code) : *report_.info);
}

Kt_WString CheckedExpression(std::string_view expression) {
  Kt_WString text = Kt_WString::FromUtf8(expression);
  text.Trim();
  kt_long offset = 0;
  const kt_long code = Kt_ExprUtil::IsValidExpr(text.GetText(), text.GetLength(), &offset);
  if (code == kOk) return text;
  ErrorInfo info;
  info.code = code;
  info.text = Kt_WString(kt_exprtextW(code)).ToUtf8();
  info.expression = text.ToUtf8();
  info.place.column = offset + 1;
  throw SyntaxError(std::move(info));
}

ArgumentVariable::ArgumentVariable(const Kt_Variant& value)
    : variable_(Kt_Variable::New(u"argument")) {
  variable_->SetValue(value);
  reference_.SetRef(*variable_);
}
ArgumentVariable::~ArgumentVariable() { variable_->Unref(); }
const Kt_Variant& ArgumentVariable::Value() const { return variable_->GetValue(); }

void CallScript(const std::shared_ptr<EngineState>& state, std::string_view name,
                const Kt_VariantList& args, ResultTaker take) {
  Entry entry(state);
  Kt_Variant result;
  const Kt_WString wide = entry->names.Get(name, &Kt_WString::FromUtf8);
  entry.Check(entry->script.ExecFunc(wide, &args, result));
  take(result);
}

void EvaluateText(const std::shared_ptr<EngineState>& state, std::string_view text,
                  ResultTaker take) {
  Entry entry(state);
  const auto parse = [](std::string_view given) {
    return std::make_shared<TextExpr>(CheckedExpression(given));
  };
  std::shared_ptr<TextExpr> text_expr = entry->exprs.Get(text, parse);
  if (text_expr->is_running) text_expr = parse(text);
  Kt_Variant value;
  entry.Check(entry.Bounded(u"eval", [&] {
    const Running running(text_expr->is_running);
    return text_expr->expr.ExecExpr(&entry->script, value);
  }));
  take(value);
}

std::shared_ptr<EngineState> StateWithFunction(const Kt_Variant& name) {
  EngineState* const state = running_engine;
  if (!name.IsString() || state == nullptr) return nullptr;
  return state->script.GetFunc(name.AsString()) != nullptr ? state->shared_from_this() : nullptr;
}

}  // namespace detail

Program Program::compile(std::string_view name, std::string_view text,
                         const IncludeSource& source) {
  Kt_SyntaxErrorList errors;
  Includes includes(source, std::string(name), errors);
  Kt_RunError::Forget();
  Program program(
      Kt_Program::Make(Kt_WString::FromUtf8(name), Kt_WString::FromUtf8(text), &includes, &errors));
  if (includes.thrown) std::rethrow_exception(includes.thrown);
  CheckFaults(kFailed, errors);
  if (program.shared_ == nullptr) throw RunError(detail::LastFailure(WhyNoProgram()));
  return program;
}

Engine::Engine() : state_(std::make_shared<detail::EngineState>()) {}

// ---- What scripts can name --------------------------------------------------------------------

Engine& Engine::SetFunction(std::string_view name, HostFunction function, detail::Arity arity) {
  state_->host.SetFunction(detail::ToName(name), std::move(function), arity);
  state_->NamesChanged();
  return *this;
}
Engine& Engine::SetVariable(std::string_view name, const Kt_Variant& value) {
  Kt_VariableList one;
  one.AddVariable(detail::ToName(name), value);
  state_->script.AddVariables(one, 1);
  return *this;
}
const Kt_Variant& Engine::GetVariable(std::string_view name) const {
  const Kt_Variable* const found =
      state_->script.GetVariables().FindVariable(Kt_WString::FromUtf8(name));
  if (found == nullptr) throw RunError("there is no variable '" + std::string(name) + "'");
  return found->GetValue();
}
std::string Engine::names_json() const {
  detail::NamesJson names;
  state_->host.ListNames(names);
  const Kt_VariableList& variables = state_->script.GetVariables();
  for (kt_long at = 0; at < variables.GetCount(); ++at) {
    names.Add("variable", variables.GetItemName(at).ToUtf8());
  }
  return names.Text();
}

// ---- Running ----------------------------------------------------------------------------------

Engine& Engine::load(std::string_view name, std::string_view text) {
  detail::Entry entry(state_);
  Kt_SyntaxErrorList errors;
  Includes includes(state_->includes, std::string(name), errors);
  const kt_long code = entry->script.Parse(Kt_WString::FromUtf8(name), Kt_WString::FromUtf8(text),
                                           &includes, &errors);
  if (includes.thrown) std::rethrow_exception(includes.thrown);
  CheckLoaded(entry, code, errors);
  return *this;
}
Engine& Engine::load(const Program& program) {
  detail::Entry entry(state_);
  Kt_SyntaxErrorList errors;
  CheckLoaded(entry, entry->script.Load(program.shared(), &errors), errors);
  return *this;
}
Kt_Variant Engine::call_list(std::string_view name, const Kt_VariantList& args) {
  Kt_Variant result;
  const auto take = [&](const Kt_Variant& value) { result = value.Dereference(); };
  detail::CallScript(state_, name, args, detail::ResultTaker(take));
  return result;
}
bool Engine::has(std::string_view function) const {
  return state_->script.GetFunc(Kt_WString::FromUtf8(function)) != nullptr;
}
std::vector<Place> Engine::check(std::string_view name, std::string_view text,
                                 bool warnings) const {
  const auto scratch = std::make_shared<detail::EngineState>();
  scratch->budget.limit_steps = state_->budget.limit_steps;
  scratch->budget.limit_bytes = state_->budget.limit_bytes;
  scratch->limit_time = state_->limit_time;
  detail::Entry entry(scratch);
  Kt_SyntaxErrorList errors(warnings);
  entry->script.Parse(Kt_WString::FromUtf8(name), Kt_WString::FromUtf8(text), nullptr, &errors);
  return detail::PlacesOf(errors);
}

// ---- Bounds, and what the host hears and gives -------------------------------------------------

Engine& Engine::limit_steps(std::int64_t steps) {
  state_->budget.limit_steps = steps;
  return *this;
}
Engine& Engine::LimitNanoseconds(double nanoseconds) {
  constexpr double kMost = 4e18;  // a century, which the clock can be ahead of
  state_->limit_time =
      std::chrono::nanoseconds(static_cast<std::int64_t>(std::clamp(nanoseconds, 0.0, kMost)));
  return *this;
}
Engine& Engine::limit_memory(std::int64_t bytes) {
  state_->budget.limit_bytes = bytes;
  return *this;
}
Engine& Engine::threads(int count) {
  state_->threads = count;
  return *this;
}
void Engine::cancel() { state_->cancelled.store(true, std::memory_order_relaxed); }
Engine& Engine::tolerant(bool is_tolerant) {
  state_->is_tolerant = is_tolerant;
  return *this;
}
Engine& Engine::on_error(std::function<void(const ErrorInfo&)> listener) {
  state_->host.on_error = std::move(listener);
  return *this;
}
Engine& Engine::strict(std::function<void(const ErrorInfo&)> listener) {
  state_->strict.reset();
  if (listener) {
    state_->strict.emplace([listener = std::move(listener)](const Kt_RunError& warning) {
      listener(detail::InfoOf(warning));
    });
  }
  return *this;
}
Engine& Engine::on_trace(std::function<void(std::string_view)> listener) {
  state_->host.on_trace = std::move(listener);
  return *this;
}
Engine& Engine::pass_exceptions(bool pass) {
  state_->host.exceptions.passes = pass;
  return *this;
}
Engine& Engine::includes(IncludeSource source) {
  state_->includes = std::move(source);
  return *this;
}
Engine& Engine::clock(Kt_ThreadClock::Source now) {
  state_->clock = std::move(now);
  return *this;
}
Engine& Engine::settings(SettingStore store) {
  state_->settings = std::move(store);
  return *this;
}
Engine& Engine::random_seed(std::uint64_t seed) {
  kt_srandom(seed);
  return *this;
}
Kt_Script& Engine::script() { return state_->script; }
Kt_ExprObject& Engine::context() { return state_->host; }

}  // namespace kt
