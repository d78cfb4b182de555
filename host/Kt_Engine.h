// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Random.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/text/Kt_Settings.h"
#include "classlib/value/Kt_Clock.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "host/Kt_Convert.h"
#include "host/Kt_Dates.h"
#include "host/Kt_HostContext.h"
#include "object/Kt_StrictReading.h"
#include "script/Kt_Program.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptLoadHandler.h"

namespace kt {

class Table;

// The text of what a script includes by `name`; nothing when there is none. `from` is the text that
// includes it.
using IncludeSource =
    std::function<std::optional<std::string>(const std::string& name, const std::string& from)>;
// A settings value by key and name, both UTF-8: a text or a number, see Kt_ThreadSettings.
using SettingStore = Kt_ThreadSettings::Store;

namespace detail {

// What an engine, its formulas and the functions that it gave away share.
struct EngineState {
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
  int depth = 0;  // calls of the host into the engine that are running

  EngineState() {
    budget.cancel = &cancelled;
    script.SetBudget(&budget);
  }
  // The script asks again what the names that it calls stand for.
  void NamesChanged() { script.SetExternalContext(&host); }
};

// The engine that runs on this thread: what functions in arguments are functions of.
inline thread_local std::weak_ptr<EngineState> running_engine;

// One call of the host into an engine.
class Entry {
 public:
  explicit Entry(std::shared_ptr<EngineState> state)
      : state_(std::move(state)),
        outer_(std::exchange(running_engine, state_)),
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
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;
  ~Entry() {
    running_engine = outer_;
    state_->host.report = outer_report_;
    if (outer_report_ != nullptr && !outer_report_->info) *outer_report_ = report_;
    if (--state_->depth == 0) state_->cancelled.store(false, std::memory_order_relaxed);
  }
  EngineState* operator->() const { return state_.get(); }

  // Throws what host functions let pass, what `code` stands for if it is not 0, and what was
  // reported although the run went on. Places in expressions are exact once a call has returned.
  void Check(kt_long code) {
    state_->host.exceptions.Rethrow();
    if (code != kOk) throw RunError(LastFailure(code));
    if (!report_.info || state_->is_tolerant) return;
    const Kt_RunError& last = Kt_RunError::Last();
    throw RunError(last.serial == report_.serial ? LastFailure(last.code) : *report_.info);
  }

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
  std::weak_ptr<EngineState> outer_;
  Kt_ThreadClock clock_;
  Kt_ThreadSettings settings_;
  TextWatch::Scope strict_;
  HostContext::FirstReport report_;
  HostContext::FirstReport* outer_report_ = nullptr;
};

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
inline void CheckFaults(kt_long code, const Kt_SyntaxErrorList& errors) {
  if (!errors.GetErrors().empty() || errors.GetCount() > 0) {
    throw SyntaxError(SyntaxFailure(code, errors));
  }
}

// The text, without blanks at its ends, if it is an expression. Scripts are read more generously.
inline Kt_WString CheckedExpression(std::string_view expression) {
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

// Arguments of a call of a script function. std::ref(variable) passes a variable by reference: it
// has what the function assigned when the call returns.
template <class T>
class OutArgument {
 public:
  explicit OutArgument(const T& value) : value_(ToValue(value)) {}
  Kt_Variant* Value() { return &value_; }
  void WriteBack() {}

 private:
  Kt_Variant value_;
};
template <class T>
class OutArgument<std::reference_wrapper<T>> {
 public:
  explicit OutArgument(std::reference_wrapper<T> target)
      : target_(target), variable_(Kt_Variable::New(u"argument")) {
    variable_->SetValue(ToValue<T>(target));
    reference_.SetRef(*variable_);
  }
  OutArgument(const OutArgument&) = delete;
  OutArgument& operator=(const OutArgument&) = delete;
  ~OutArgument() { variable_->Unref(); }
  Kt_Variant* Value() { return &reference_; }
  void WriteBack() {
    target_.get() = FromValue<T>(variable_->GetValue(), "what came back in an argument");
  }

 private:
  std::reference_wrapper<T> target_;
  Kt_Variable* variable_;
  Kt_Variant reference_;
};

// What the thrown forms throw, as a result.
template <class Work>
auto AsResult(Work work) -> Result<decltype(work())> {
  try {
    if constexpr (std::is_void_v<decltype(work())>) {
      work();
      return {};
    } else {
      return work();
    }
  } catch (const Error& error) {
    return error;
  }
}

template <class R, class... Args>
R CallFunction(const std::shared_ptr<EngineState>& state, const Kt_WString& name,
               const Args&... args) {
  Entry entry(state);
  std::tuple<OutArgument<Args>...> out(args...);
  return std::apply(
      [&](auto&... each) -> R {
        Kt_VariantList list;
        (list.Add(*each.Value()), ...);
        Kt_Variant result;
        entry.Check(entry->script.ExecFunc(name, &list, result));
        (each.WriteBack(), ...);
        if constexpr (!std::is_void_v<R>) {
          return FromValue<R>(result, "the result of " + name.ToUtf8());
        }
      },
      out);
}

}  // namespace detail

// A text that any number of engines load, parsed once; what it includes is part of it.
//
//   const kt::Program rules = kt::Program::compile("rules.kts", text);
//   kt::Engine first, second;
//   first.load(rules);
//   second.load(rules);                                        // on any thread
//
// Engines share the functions and their code. Each evaluates the globals for itself, and has its
// own. Threads: a program does not change; copies are the same program.
class Program {
 public:
  // Throws a SyntaxError with every fault of the text and of what it includes. Runs nothing.
  static Program compile(std::string_view name, std::string_view text,
                         const IncludeSource& source = nullptr) {
    Kt_SyntaxErrorList errors;
    detail::Includes includes(source, std::string(name), errors);
    Kt_RunError::Forget();
    Program program(Kt_Program::Make(Kt_WString::FromUtf8(name), Kt_WString::FromUtf8(text),
                                     &includes, &errors));
    if (includes.thrown) std::rethrow_exception(includes.thrown);
    detail::CheckFaults(kFailed, errors);
    if (program.shared_ == nullptr) throw RunError(detail::LastFailure(WhyNot()));
    return program;
  }
  // The class underneath.
  const std::shared_ptr<const Kt_Program>& shared() const { return shared_; }

 private:
  explicit Program(std::shared_ptr<const Kt_Program> shared) : shared_(std::move(shared)) {}
  // Why there is none although the text has no fault.
  static kt_long WhyNot() {
    if (const kt_long code = Kt_RunError::Last().code) return code;
    const kt_long stop = Kt_WorkMeter::CurrentStop();
    return stop != kOk ? stop : kErrNoMemory;
  }

  std::shared_ptr<const Kt_Program> shared_;  // never null
};

// An engine with one script: its texts, globals and functions, and what the host offers them.
//
//   kt::Engine engine;
//   engine.function("rate", [&](double x, std::optional<std::string> tag) { return x * 2; });
//   engine.load("rules.kts", "function main(n) { return rate(n) + 1; }");
//   double total = engine.call<double>("main", 8);
//
// Texts are UTF-8. Errors are thrown (kt::SyntaxError, kt::RunError); the try_ forms give a
// kt::Result instead.
// Ownership: owns the script and the functions that it is given; these must not destroy the engine
// while it runs. Objects and tables may be destroyed before it or after it.
// Threads: an engine belongs to one thread at a time, except for cancel(). Engines are independent.
class Engine {
 public:
  Engine() : state_(std::make_shared<detail::EngineState>()) {}

  // ---- What scripts can name ------------------------------------------------------------------

  // Any callable with one signature. Parameters are converted (kt::Convert); trailing std::optional
  // ones may lack, `T&` are references of the script, a last kt::Rest takes all that are left.
  // What it throws is an error of the script. Replaces a function of that name, also while it runs.
  template <class F>
  Engine& function(std::string_view name, F&& function) {
    constexpr detail::Arity kArity = detail::ArityOf<F>();
    state_->host.SetFunction(detail::ToName(name),
                             detail::ToHostFunction(std::forward<F>(function)), kArity);
    state_->NamesChanged();
    return *this;
  }
  // Global variables of the script. `get` throws when there is none, or it is of another kind.
  template <class T>
  Engine& set(std::string_view name, const T& value) {
    Kt_VariableList one;
    one.AddVariable(detail::ToName(name), detail::ToValue(value));
    state_->script.AddVariables(one, 1);
    return *this;
  }
  template <class T = Kt_Variant>
  T get(std::string_view name) const {
    const Kt_Variable* const found =
        state_->script.GetVariables().FindVariable(Kt_WString::FromUtf8(name));
    if (found == nullptr) throw RunError("there is no variable '" + std::string(name) + "'");
    return detail::FromValue<T>(found->GetValue(), name);
  }
  // A new table under that name, or one that there is: see Kt_Table.h.
  Table dataset(std::string_view name);
  Table dataset(std::string_view name, Table table);

  // All of that for `kt check --host`, and the globals that there are: a line of JSON for each
  // name. Before anything is loaded the globals are those that were set.
  std::string names_json() const {
    detail::NamesJson names;
    state_->host.ListNames(names);
    const Kt_VariableList& variables = state_->script.GetVariables();
    for (kt_long at = 0; at < variables.GetCount(); ++at) {
      names.Add("variable", variables.GetItemName(at).ToUtf8());
    }
    return names.Text();
  }

  // ---- Running --------------------------------------------------------------------------------

  // Adds a text to the script and evaluates its globals. Throws a SyntaxError with every fault, or
  // a RunError when a global cannot be evaluated; what was read before the fault stays.
  Engine& load(std::string_view name, std::string_view text) {
    detail::Entry entry(state_);
    Kt_SyntaxErrorList errors;
    detail::Includes includes(state_->includes, std::string(name), errors);
    const kt_long code = entry->script.Parse(Kt_WString::FromUtf8(name), Kt_WString::FromUtf8(text),
                                             &includes, &errors);
    if (includes.thrown) std::rethrow_exception(includes.thrown);
    return Loaded(entry, code, errors);
  }
  // The same for what the program was made of.
  Engine& load(const Program& program) {
    detail::Entry entry(state_);
    Kt_SyntaxErrorList errors;
    const kt_long code = entry->script.Load(program.shared(), &errors);
    return Loaded(entry, code, errors);
  }
  // Calls a function of the script. std::ref(variable) passes by reference.
  template <class R = Kt_Variant, class... Args>
  R call(std::string_view name, const Args&... args) {
    return detail::CallFunction<R>(state_, Kt_WString::FromUtf8(name), args...);
  }
  // The same with arguments that are values already; references among them are passed as such.
  Kt_Variant call_list(std::string_view name, const Kt_VariantList& args) {
    detail::Entry entry(state_);
    Kt_Variant result;
    entry.Check(entry->script.ExecFunc(Kt_WString::FromUtf8(name), &args, result));
    return result.Dereference();
  }
  bool has(std::string_view function) const {
    return state_->script.GetFunc(Kt_WString::FromUtf8(function)) != nullptr;
  }
  // An expression, which sees what the script sees.
  template <class R = Kt_Variant>
  R eval(std::string_view expression) {
    detail::Entry entry(state_);
    const Kt_WString text = detail::CheckedExpression(expression);
    Kt_Expr expr(text.GetText());
    Kt_Variant value;
    entry.Check(entry.Bounded(u"eval", [&] { return expr.ExecExpr(&entry->script, value); }));
    if constexpr (!std::is_void_v<R>) return detail::FromValue<R>(value, expression);
  }

  Result<void> try_load(std::string_view name, std::string_view text) {
    return detail::AsResult([&] { load(name, text); });
  }
  Result<void> try_load(const Program& program) {
    return detail::AsResult([&] { load(program); });
  }
  template <class R = Kt_Variant, class... Args>
  Result<R> try_call(std::string_view name, const Args&... args) {
    return detail::AsResult([&] { return call<R>(name, args...); });
  }
  template <class R = Kt_Variant>
  Result<R> try_eval(std::string_view expression) {
    return detail::AsResult([&] { return eval<R>(expression); });
  }
  // The faults of a text, and its warnings if wanted, without loading it: it is read by a script of
  // its own, under the bounds of this engine.
  std::vector<Place> check(std::string_view name, std::string_view text,
                           bool warnings = false) const {
    const auto scratch = std::make_shared<detail::EngineState>();
    scratch->budget.limit_steps = state_->budget.limit_steps;
    scratch->budget.limit_bytes = state_->budget.limit_bytes;
    scratch->limit_time = state_->limit_time;
    detail::Entry entry(scratch);
    Kt_SyntaxErrorList errors(warnings);
    entry->script.Parse(Kt_WString::FromUtf8(name), Kt_WString::FromUtf8(text), nullptr, &errors);
    return detail::PlacesOf(errors);
  }

  // ---- Bounds, each for one call of the host; 0: none
  // --------------------------------------------

  Engine& limit_steps(std::int64_t steps) {
    state_->budget.limit_steps = steps;
    return *this;
  }
  Engine& limit_time(std::chrono::nanoseconds time) {
    state_->limit_time = time;
    return *this;
  }
  Engine& limit_memory(std::int64_t bytes) {
    state_->budget.limit_bytes = bytes;
    return *this;
  }
  // Ends the call that is running, or the next one when none is, with kErrCancelled. From any
  // thread, as long as the engine is there.
  void cancel() { state_->cancelled.store(true, std::memory_order_relaxed); }

  // ---- What the host hears and gives ------------------------------------------------------------

  // Scripts go on after some errors: a `return` of an expression that fails, globals that cannot be
  // evaluated. At first a call of the host throws these too, at its end; tolerant ones do not.
  Engine& tolerant(bool is_tolerant) {
    state_->is_tolerant = is_tolerant;
    return *this;
  }
  // Every error of a run, also those that the script goes on after.
  Engine& on_error(std::function<void(const ErrorInfo&)> listener) {
    state_->host.on_error = std::move(listener);
    return *this;
  }
  // Texts that arithmetic reads as 0 because they are no numbers, once for each place: with the
  // text, and a code of 0. Null: nobody is told. Not to be changed while scripts run, which the
  // listener must not do either.
  Engine& strict(std::function<void(const ErrorInfo&)> listener) {
    state_->strict.reset();
    if (listener) {
      state_->strict.emplace([listener = std::move(listener)](const Kt_RunError& warning) {
        listener(detail::InfoOf(warning));
      });
    }
    return *this;
  }
  // What trace() says; without a listener traces are skipped.
  Engine& on_trace(std::function<void(std::string_view)> listener) {
    state_->host.on_trace = std::move(listener);
    return *this;
  }
  // True: what host functions throw ends the run, and comes out of the host's own call as it was
  // thrown. False, as at first: it is an error of the script with the text of what().
  Engine& pass_exceptions(bool pass) {
    state_->host.exceptions.passes = pass;
    return *this;
  }
  // Where #include finds texts; without a source it finds none. kt::Folders (Kt_Folders.h) reads
  // files from the folders that it is given.
  Engine& includes(IncludeSource source) {
    state_->includes = std::move(source);
    return *this;
  }
  // What the engine takes for the present; null: the clock of the process.
  Engine& clock(Kt_ThreadClock::Source now) {
    state_->clock = std::move(now);
    return *this;
  }
  // Settings that scripts read, in place of the user's file.
  Engine& settings(SettingStore store) {
    state_->settings = std::move(store);
    return *this;
  }
  // Starts the sequence of random numbers anew: that of the calling thread, which all engines on it
  // share.
  Engine& random_seed(std::uint64_t seed) {
    kt_srandom(seed);
    return *this;
  }

  // The classes underneath, for what this layer does not have.
  Kt_Script& script() { return state_->script; }
  Kt_ExprObject& context() { return state_->host; }
  const std::shared_ptr<detail::EngineState>& state() const { return state_; }

 private:
  Engine& Loaded(detail::Entry& entry, kt_long code, const Kt_SyntaxErrorList& errors) {
    if (!errors.GetErrors().empty() || errors.GetCount() > 0) entry.Check(kOk);
    detail::CheckFaults(code, errors);
    entry.Check(code);
    return *this;
  }

  std::shared_ptr<detail::EngineState> state_;
};

// Functions of scripts as values of the host: read from the name of one. What is read keeps what
// the engine is made of alive, and throws when it is called without the function being there.
//
//   engine.function("twice", [](std::function<double(double)> f, double x) { return f(f(x)); });
//   twice('half', 20)                                        // in a script
template <class R, class... Args>
struct Convert<std::function<R(Args...)>> {
  using Function = std::function<R(Args...)>;
  static std::string Kind() { return "the name of a function of the script"; }
  static bool Read(const Kt_Variant& value, Function& out) {
    std::shared_ptr<detail::EngineState> state = detail::running_engine.lock();
    if (!value.IsString() || state == nullptr) return false;
    Kt_WString name = value.AsString();
    if (state->script.GetFunc(name) == nullptr) return false;
    out = [state = std::move(state), name = std::move(name)](Args... args) -> R {
      return detail::CallFunction<R, std::decay_t<Args>...>(state, name, args...);
    };
    return true;
  }
};

}  // namespace kt
