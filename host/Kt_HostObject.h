// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Kt_Engine.h"

namespace kt {

namespace detail {

// What scripts see of an object of the host.
class ObjectNode final : public Attachable<Kt_ExprObject>, public Kt_ExprNameSource {
 public:
  struct Member {
    std::function<Kt_Variant()> get;
    std::function<void(const Kt_Variant&)> set;
    HostFunction call;
    Arity arity;  // of the call
  };

  ObjectNode(HostContext& host, const Kt_WString& name) : Attachable(&host), name_(name) {
    Join(host);
  }

  void Put(const Kt_WString& name, Member member) {
    members_[name] = std::make_shared<const Member>(std::move(member));
  }

  Kt_WString GetID() const override { return name_; }
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList*, Kt_Variant& result) override {
    return Use(name, &Member::get, [&](const auto& get) { result = get(); });
  }
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList*,
                      const Kt_Variant& value) override {
    return Use(name, &Member::set, [&](const auto& set) { set(value.Dereference()); });
  }
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override {
    return Use(name, &Member::call, [&](const auto& call) {
      static const Kt_VariantList kNone;
      result = call(args != nullptr ? *args : kNone);
    });
  }
  void AddNames(Names, std::vector<Kt_WString>& names) const override {
    for (const auto& [name, member] : members_) names.push_back(name);
  }
  void ListNames(const std::string& own, NamesJson& names) const override {
    names.Add("object", own);
    for (const auto& [name, member] : members_) {
      if (member->call) {
        names.AddMethod(name.ToUtf8(), own, member->arity);
      } else {
        names.AddMember("property", name.ToUtf8(), own);
      }
    }
  }

 private:
  template <class Part, class Work>
  kt_long Use(const Kt_WString& name, Part Member::*part, Work work) {
    const auto found = members_.find(name);
    if (found == members_.end() || host_ == nullptr) return kNoMember;
    const std::shared_ptr<const Member> member = found->second;  // may be replaced meanwhile
    if (!((*member).*part)) return kNoMember;
    HostContext& host = *host_;
    return RunHostCode(&host, host.exceptions, name_ + u"." + name.View(),
                       [&] { work((*member).*part); });
  }

  Kt_WString name_;
  ByName<std::shared_ptr<const Member>> members_;
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
class Object {
 public:
  Object(Engine& engine, std::string_view name)
      : state_(engine.state()),
        node_(std::make_shared<detail::ObjectNode>(engine.state()->host, detail::ToName(name))) {
    engine.state()->host.SetObject(node_->GetID(), node_);
  }
  Object(Object&&) = default;
  Object& operator=(Object&&) = delete;
  ~Object() {
    if (node_ == nullptr) return;
    if (const auto state = state_.lock()) state->host.Remove(node_.get());
  }

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
  Kt_Variant value() const { return Kt_Variant(Kt_ObjectHolder(nullptr, node_.get())); }

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
  Object& Put(std::string_view name, detail::ObjectNode::Member member) {
    node_->Put(detail::ToName(name), std::move(member));
    return *this;
  }

  std::weak_ptr<detail::EngineState> state_;
  std::shared_ptr<detail::ObjectNode> node_;
};

template <>
struct Convert<Object> {
  static Kt_Variant Write(const Object& object) { return object.value(); }
};

}  // namespace kt
