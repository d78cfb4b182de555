// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "classlib/text/Kt_Settings.h"
#include "classlib/value/Kt_Clock.h"
#include "host/Kt_Convert.h"
#include "host/Kt_Function.h"

class Kt_ExprObject;
class Kt_Program;
class Kt_Script;
class Kt_Variable;

namespace kt {

class Table;

// The text of what a script includes by `name`; nothing when there is none. `from` is the text that
// includes it.
using IncludeSource =
    std::function<std::optional<std::string>(const std::string& name, const std::string& from)>;
// A settings value by key and name, both UTF-8: a text or a number, see Kt_ThreadSettings.
using SettingStore = Kt_ThreadSettings::Store;

namespace detail {

struct EngineState;  // Kt_EngineState.h

// Arguments of a call of a script function. std::ref(variable) passes a variable by reference: it
// has what the function assigned when the call returns.
template <class T>
class OutArgument {
 public:
  explicit OutArgument(const T& value) : value_(ToValue(value)) {}
  const Kt_Variant& Value() const { return value_; }
  void WriteBack() {}

 private:
  Kt_Variant value_;
};

// A variable of the host for the time of a call.
class KT_SCRIPT_API ArgumentVariable {
 public:
  explicit ArgumentVariable(const Kt_Variant& value);
  ArgumentVariable(const ArgumentVariable&) = delete;
  ArgumentVariable& operator=(const ArgumentVariable&) = delete;
  ~ArgumentVariable();
  const Kt_Variant& Reference() const { return reference_; }
  const Kt_Variant& Value() const;

 private:
  Kt_Variable* variable_;
  Kt_Variant reference_;
};
template <class T>
class OutArgument<std::reference_wrapper<T>> {
 public:
  explicit OutArgument(std::reference_wrapper<T> target)
      : target_(target), variable_(ToValue<T>(target)) {}
  const Kt_Variant& Value() const { return variable_.Reference(); }
  void WriteBack() {
    target_.get() = FromValue<T>(variable_.Value(), "what came back in an argument");
  }

 private:
  std::reference_wrapper<T> target_;
  ArgumentVariable variable_;
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

// Takes a result while the engine is still entered: it may be a function of the engine. Borrows
// what it is made of.
class ResultTaker {
 public:
  template <class Take>
  explicit ResultTaker(const Take& take)
      : object_(&take), take_([](const void* object, const Kt_Variant& result) {
          (*static_cast<const Take*>(object))(result);
        }) {}
  void operator()(const Kt_Variant& result) const { take_(object_, result); }

 private:
  const void* object_;
  void (*take_)(const void* object, const Kt_Variant& result);
};

// Calls a function of the script, or throws.
KT_SCRIPT_API void CallScript(const std::shared_ptr<EngineState>& state, std::string_view name,
                              const Kt_VariantList& args, ResultTaker take);
KT_SCRIPT_API void EvaluateText(const std::shared_ptr<EngineState>& state, std::string_view text,
                                ResultTaker take);
// The engine that runs on this thread if `name` names a function of its script; null otherwise.
KT_SCRIPT_API std::shared_ptr<EngineState> StateWithFunction(const Kt_Variant& name);

template <class R, class... Args>
R CallFunction(const std::shared_ptr<EngineState>& state, std::string_view name,
               const Args&... args) {
  std::tuple<OutArgument<Args>...> out(args...);
  Kt_VariantList list;
  const auto add = [&](auto&... each) { (list.Add(each.Value()), ...); };
  std::apply(add, out);
  const auto write_back = [&] { std::apply([](auto&... each) { (each.WriteBack(), ...); }, out); };
  if constexpr (std::is_void_v<R>) {
    const auto take = [&](const Kt_Variant&) { write_back(); };
    CallScript(state, name, list, ResultTaker(take));
  } else {
    R result{};
    const auto take = [&](const Kt_Variant& value) {
      write_back();
      result = FromValue<R>(value, [&] { return "the result of " + std::string(name); });
    };
    CallScript(state, name, list, ResultTaker(take));
    return result;
  }
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
class KT_SCRIPT_API Program {
 public:
  // Throws a SyntaxError with every fault of the text and of what it includes. Runs nothing.
  static Program compile(std::string_view name, std::string_view text,
                         const IncludeSource& source = nullptr);
  // The class underneath.
  const std::shared_ptr<const Kt_Program>& shared() const { return shared_; }

 private:
  explicit Program(std::shared_ptr<const Kt_Program> shared) : shared_(std::move(shared)) {}

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
class KT_SCRIPT_API Engine {
 public:
  Engine();

  // ---- What scripts can name ------------------------------------------------------------------

  // Any callable with one signature. Parameters are converted (kt::Convert); trailing std::optional
  // ones may lack, `T&` are references of the script, a last kt::Rest takes all that are left.
  // What it throws is an error of the script. Replaces a function of that name, also while it runs.
  template <class F>
  Engine& function(std::string_view name, F&& function) {
    constexpr detail::Arity kArity = detail::ArityOf<F>();
    return SetFunction(name, detail::ToHostFunction(std::forward<F>(function)), kArity);
  }
  // Global variables of the script. `get` throws when there is none, or it is of another kind.
  template <class T>
  Engine& set(std::string_view name, const T& value) {
    return SetVariable(name, detail::ToValue(value));
  }
  template <class T = Kt_Variant>
  T get(std::string_view name) const {
    return detail::FromValue<T>(GetVariable(name), name);
  }
  // A new table under that name, or one that there is: see Kt_Table.h.
  Table dataset(std::string_view name);
  Table dataset(std::string_view name, Table table);

  // All of that for `kt check --host`, and the globals that there are: a line of JSON for each
  // name. Before anything is loaded the globals are those that were set.
  std::string names_json() const;

  // ---- Running --------------------------------------------------------------------------------

  // Adds a text to the script and evaluates its globals. Throws a SyntaxError with every fault, or
  // a RunError when a global cannot be evaluated; what was read before the fault stays.
  Engine& load(std::string_view name, std::string_view text);
  // The same for what the program was made of.
  Engine& load(const Program& program);
  // Calls a function of the script. std::ref(variable) passes by reference.
  template <class R = Kt_Variant, class... Args>
  R call(std::string_view name, const Args&... args) {
    return detail::CallFunction<R>(state_, name, args...);
  }
  // The same with arguments that are values already; references among them are passed as such.
  Kt_Variant call_list(std::string_view name, const Kt_VariantList& args);
  bool has(std::string_view function) const;
  // An expression, which sees what the script sees.
  template <class R = Kt_Variant>
  R eval(std::string_view expression) {
    if constexpr (std::is_void_v<R>) {
      const auto ignore = [](const Kt_Variant&) {};
      detail::EvaluateText(state_, expression, detail::ResultTaker(ignore));
    } else {
      R result{};
      const auto take = [&](const Kt_Variant& value) {
        result = detail::FromValue<R>(value, expression);
      };
      detail::EvaluateText(state_, expression, detail::ResultTaker(take));
      return result;
    }
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
                           bool warnings = false) const;

  // ---- Bounds, each for one call of the host; 0: none
  // --------------------------------------------

  Engine& limit_steps(std::int64_t steps);
  // A duration of <chrono>.
  template <class Duration>
  requires requires(Duration time) { time.count() / Duration::period::num / Duration::period::den; }
  Engine& limit_time(Duration time) {
    constexpr double kUnit = 1e9 * Duration::period::num / Duration::period::den;
    return LimitNanoseconds(static_cast<double>(time.count()) * kUnit);
  }
  Engine& limit_memory(std::int64_t bytes);
  // How many threads one operation of a call may use where it pays, such as a script's sort of a
  // large dataset: 1 at first, or 2. Results are the same, and nothing of the host runs on the
  // second one. What the host does itself with a table is allowed one by Kt_WorkThreads.
  Engine& threads(int count);
  // Ends the call that is running, or the next one when none is, with kErrCancelled. From any
  // thread, as long as the engine is there.
  void cancel();

  // ---- What the host hears and gives ------------------------------------------------------------

  // Scripts go on after some errors: a `return` of an expression that fails, globals that cannot be
  // evaluated. At first a call of the host throws these too, at its end; tolerant ones do not.
  Engine& tolerant(bool is_tolerant);
  // Every error of a run, also those that the script goes on after.
  Engine& on_error(std::function<void(const ErrorInfo&)> listener);
  // Texts that arithmetic reads as 0 because they are no numbers, once for each place: with the
  // text, and a code of 0. Null: nobody is told. Not to be changed while scripts run, which the
  // listener must not do either.
  Engine& strict(std::function<void(const ErrorInfo&)> listener);
  // What trace() says; without a listener traces are skipped.
  Engine& on_trace(std::function<void(std::string_view)> listener);
  // True: what host functions throw ends the run, and comes out of the host's own call as it was
  // thrown. False, as at first: it is an error of the script with the text of what().
  Engine& pass_exceptions(bool pass);
  // Where #include finds texts; without a source it finds none. kt::Folders (Kt_Folders.h) reads
  // files from the folders that it is given.
  Engine& includes(IncludeSource source);
  // What the engine takes for the present; null: the clock of the process.
  Engine& clock(Kt_ThreadClock::Source now);
  // Settings that scripts read, in place of the user's file.
  Engine& settings(SettingStore store);
  // Starts the sequence of random numbers anew: that of the calling thread, which all engines on it
  // share.
  Engine& random_seed(std::uint64_t seed);

  // The classes underneath, for what this layer does not have.
  Kt_Script& script();
  Kt_ExprObject& context();
  const std::shared_ptr<detail::EngineState>& state() const { return state_; }

 private:
  Engine& SetFunction(std::string_view name, HostFunction function, detail::Arity arity);
  Engine& SetVariable(std::string_view name, const Kt_Variant& value);
  const Kt_Variant& GetVariable(std::string_view name) const;
  Engine& LimitNanoseconds(double nanoseconds);

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
    std::shared_ptr<detail::EngineState> state = detail::StateWithFunction(value);
    if (state == nullptr) return false;
    out = [state = std::move(state), name = value.ToString().ToUtf8()](Args... args) -> R {
      return detail::CallFunction<R, std::decay_t<Args>...>(state, name, args...);
    };
    return true;
  }
};

}  // namespace kt
