// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "host/Kt_Engine.h"

namespace kt {

namespace detail {

class ObjectNode;

// What a name of an object stands for: the parts that there are.
struct ObjectMember {
  std::function<Kt_Variant()> get;
  std::function<void(const Kt_Variant&)> set;
  HostFunction call;
  Arity arity;  // of the call
};

}  // namespace detail

// An object of the host under a name: properties and methods of what there is.
//
//   kt::Object order(engine, "order");
//   order.property("price", &o, &Order::price)                   // a data member
//       .property("qty", [&] { return o.qty; }, [&](int qty) { o.qty = qty; })
//       .method("total", &o, &Order::total);
//
// What the members are made of is borrowed and has to outlive this. When it is destroyed, which
// may be before or after the engine and inside of its own members, the name stands for nothing any
// more and values that refer to it read empty. Threads: the engine's.
class KT_SCRIPT_API Object {
 public:
  Object(Engine& engine, std::string_view name);
  Object(Object&&) = default;
  Object& operator=(Object&&) = delete;
  ~Object();

  // Without a setter it can only be read.
  template <class Get>
  requires std::invocable<Get&> Object& property(std::string_view name, Get get) {
    return Put(name, {Getter(std::move(get)), nullptr, nullptr, {}});
  }
  template <class Get, class Set>
  requires std::invocable<Get&> Object& property(std::string_view name, Get get, Set set) {
    return Put(name, {Getter(std::move(get)), Setter(std::function(std::move(set))), nullptr, {}});
  }
  // A data member, which can be written unless it is const.
  template <class Owner, class T>
  requires(!std::is_function_v<T>) Object& property(std::string_view name, Owner* owner,
                                                    T std::type_identity_t<Owner>::*member) {
    auto get = [owner, member]() -> const T& { return owner->*member; };
    if constexpr (std::is_const_v<T> || std::is_const_v<Owner>) {
      return property(name, get);
    } else {
      return property(name, get, [owner, member](const T& value) { owner->*member = value; });
    }
  }
  template <class F>
  Object& method(std::string_view name, F&& function) {
    constexpr detail::Arity kArity = detail::ArityOf<F>();
    return Put(name, {nullptr, nullptr, detail::ToHostFunction(std::forward<F>(function)), kArity});
  }
  template <class Owner, class Class, class R, class... Args>
  Object& method(std::string_view name, Owner* owner, R (Class::*method)(Args...)) {
    return this->method(name, std::function<R(Args...)>([owner, method](Args... args) -> R {
                          return (owner->*method)(std::forward<Args>(args)...);
                        }));
  }
  template <class Owner, class Class, class R, class... Args>
  Object& method(std::string_view name, Owner* owner, R (Class::*method)(Args...) const) {
    return this->method(name, std::function<R(Args...)>([owner, method](Args... args) -> R {
                          return (owner->*method)(std::forward<Args>(args)...);
                        }));
  }

  // The object as a value, for functions that give it.
  Kt_Variant value() const;

 private:
  template <class Get>
  static std::function<Kt_Variant()> Getter(Get get) {
    return [get = std::move(get)]() mutable -> Kt_Variant { return detail::ToValue(get()); };
  }
  template <class T>
  static std::function<void(const Kt_Variant&)> Setter(std::function<void(T)> set) {
    return [set = std::move(set)](const Kt_Variant& value) {
      set(detail::FromValue<detail::Stored<T>>(value, "the value"));
    };
  }
  Object& Put(std::string_view name, detail::ObjectMember member);

  std::weak_ptr<detail::EngineState> state_;
  std::shared_ptr<detail::ObjectNode> node_;
};

template <>
struct Convert<Object> {
  static Kt_Variant Write(const Object& object) { return object.value(); }
};

}  // namespace kt
