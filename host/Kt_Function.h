// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <tuple>
#include <utility>

#include "host/Kt_Convert.h"
#include "host/Kt_Names.h"

namespace kt {

// A function of the host as scripts call it. Throws what is to become an error of the script.
using HostFunction = std::function<Kt_Variant(const Kt_VariantList& args)>;

namespace detail {

template <class T>
inline constexpr bool kIsOptional = false;
template <class T>
inline constexpr bool kIsOptional<std::optional<T>> = true;

// "argument 2" for the second, of index 1.
KT_SCRIPT_API std::string ArgumentName(kt_long at);
[[noreturn]] KT_SCRIPT_API void ThrowNoReference(kt_long at);
// Throws when a function that takes so many arguments gets `count`; a negative `most`: any number.
KT_SCRIPT_API void CheckCount(kt_long count, kt_long least, kt_long most);

// One parameter while its function is called. The general form: a value, or a reference to const.
template <class T>
class Argument {
 public:
  static constexpr bool kIsRest = false;
  static constexpr bool kMayLack = kIsOptional<Stored<T>>;

  void Read(const Kt_VariantList& args, kt_long at) {
    const Kt_Variant& value = args.GetItemNN(at).Target();
    if (!Convert<Stored<T>>::Read(value, value_)) {
      ThrowKind(ArgumentName(at), value, Convert<Stored<T>>::Kind());
    }
  }
  decltype(auto) Pass() {
    if constexpr (std::is_lvalue_reference_v<T>) {
      return static_cast<T>(value_);
    } else {
      return static_cast<T>(std::move(value_));
    }
  }
  void WriteBack(const Kt_VariantList&, kt_long) const {}

 protected:
  Stored<T> value_{};
};

// By reference: the script passes ref(variable), and sees what the function has assigned.
template <class T>
requires(!std::is_const_v<T>) class Argument<T&> : public Argument<T> {
 public:
  void Read(const Kt_VariantList& args, kt_long at) {
    if (!args.GetItemNN(at).IsRef()) ThrowNoReference(at);
    Argument<T>::Read(args, at);
  }
  T& Pass() { return this->value_; }
  void WriteBack(const Kt_VariantList& args, kt_long at) const {
    args.GetItemNN(at).AssignThroughRef(Convert<Stored<T>>::Write(this->value_));
  }
};

template <>
class Argument<Rest> {
 public:
  static constexpr bool kIsRest = true;
  static constexpr bool kMayLack = true;
  void Read(const Kt_VariantList& args, kt_long at) {
    for (; at < args.GetCount(); ++at) rest_.values.Add(args.GetItemNN(at).Dereference());
  }
  Rest&& Pass() { return std::move(rest_); }
  void WriteBack(const Kt_VariantList&, kt_long) const {}

 private:
  Rest rest_;
};

// Trailing parameters that may lack need not be passed.
template <class... Args>
constexpr kt_long LeastArgs() {
  kt_long at = 0;
  kt_long least = 0;
  ((++at, least = Argument<Args>::kMayLack ? least : at), ...);
  return least;
}

template <class... Args>
constexpr kt_long MostArgs() {
  return (Argument<Args>::kIsRest || ...) ? -1 : static_cast<kt_long>(sizeof...(Args));
}

template <class R, class... Args, std::size_t... kAt>
HostFunction Wrap(std::function<R(Args...)> function, std::index_sequence<kAt...>) {
  return [function = std::move(function)](const Kt_VariantList& args) -> Kt_Variant {
    CheckCount(args.GetCount(), LeastArgs<Args...>(), MostArgs<Args...>());
    std::tuple<Argument<Args>...> read;
    (std::get<kAt>(read).Read(args, kAt), ...);
    const auto write_back = [&] { (std::get<kAt>(read).WriteBack(args, kAt), ...); };
    if constexpr (std::is_void_v<R>) {
      function(std::get<kAt>(read).Pass()...);
      write_back();
      return {};
    } else {
      Kt_Variant result = Convert<Stored<R>>::Write(function(std::get<kAt>(read).Pass()...));
      write_back();
      return result;
    }
  };
}

template <class R, class... Args>
HostFunction Wrap(std::function<R(Args...)> function) {
  return Wrap(std::move(function), std::index_sequence_for<Args...>());
}

// How many arguments a callable takes as a function of scripts. A HostFunction reads them itself.
template <class R, class... Args>
constexpr Arity ArityOf(const std::function<R(Args...)>*) {
  if constexpr (std::same_as<std::function<R(Args...)>, HostFunction>) return {};
  return {LeastArgs<Args...>(), MostArgs<Args...>()};
}
template <class F>
constexpr Arity ArityOf() {
  return ArityOf(static_cast<decltype(std::function(std::declval<F>()))*>(nullptr));
}

// Any callable with one signature (no generic lambdas). A HostFunction is taken as it is.
template <class F>
HostFunction ToHostFunction(F&& function) {
  if constexpr (std::same_as<decltype(std::function(std::forward<F>(function))), HostFunction>) {
    return std::forward<F>(function);
  } else {
    return Wrap(std::function(std::forward<F>(function)));
  }
}

}  // namespace detail
}  // namespace kt
