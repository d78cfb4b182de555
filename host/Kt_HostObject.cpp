// SPDX-License-Identifier: MIT
#include "host/Kt_HostObject.h"

#include <vector>

#include "host/Kt_EngineState.h"

namespace kt {
namespace detail {

// What scripts see of an object of the host.
class ObjectNode final : public Attachable<Kt_ExprObject>, public Kt_ExprNameSource {
 public:
  ObjectNode(HostContext& host, const Kt_WString& name) : Attachable(&host), name_(name) {
    Join(host);
  }

  void Put(const Kt_WString& name, ObjectMember member) {
    members_[name] = std::make_shared<const ObjectMember>(std::move(member));
  }

  Kt_WString GetID() const override { return name_; }
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList*, Kt_Variant& result) override {
    return Use(name, &ObjectMember::get, [&](const auto& get) { result = get(); });
  }
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList*,
                      const Kt_Variant& value) override {
    return Use(name, &ObjectMember::set, [&](const auto& set) { set(value.Dereference()); });
  }
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override {
    return Use(name, &ObjectMember::call, [&](const auto& call) {
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
  kt_long Use(const Kt_WString& name, Part ObjectMember::*part, Work work) {
    const auto found = members_.find(name);
    if (found == members_.end() || host_ == nullptr) return kNoMember;
    const std::shared_ptr<const ObjectMember> member = found->second;  // may be replaced meanwhile
    if (!((*member).*part)) return kNoMember;
    HostContext& host = *host_;
    return RunHostCode(&host, host.exceptions, name_ + u"." + name.View(),
                       [&] { work((*member).*part); });
  }

  Kt_WString name_;
  ByName<std::shared_ptr<const ObjectMember>> members_;
};

}  // namespace detail

Object::Object(Engine& engine, std::string_view name)
    : state_(engine.state()),
      node_(std::make_shared<detail::ObjectNode>(engine.state()->host, detail::ToName(name))) {
  engine.state()->host.SetObject(node_->GetID(), node_);
}
Object::~Object() {
  if (node_ == nullptr) return;
  if (const auto state = state_.lock()) state->host.Remove(node_.get());
}

Object& Object::Put(std::string_view name, detail::ObjectMember member) {
  node_->Put(detail::ToName(name), std::move(member));
  return *this;
}
Kt_Variant Object::value() const { return Kt_Variant(Kt_ObjectHolder(nullptr, node_.get())); }

}  // namespace kt
