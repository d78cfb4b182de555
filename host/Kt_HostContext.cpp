// SPDX-License-Identifier: MIT
#include "host/Kt_HostContext.h"

#include "host/Kt_Failures.h"

namespace kt::detail {

Kt_WString ToName(std::string_view name) {
  Kt_WString out = Kt_WString::FromUtf8(name);
  if (!out.IsName()) throw RunError("'" + std::string(name) + "' is no name");
  return out;
}

kt_long ReportThrown(Kt_ExprObject* context, const Kt_WString& name, const std::string& text) {
  return Report(context, u"host", kErrNotAllowed, name, Kt_WString::FromUtf8(text));
}

// A function with what it needs, as the context of its own calls. Lives as long as the host:
// translated scripts keep its address.
class HostContext::FunctionNode final : public Kt_ExprObject {
 public:
  FunctionNode(HostContext& host, const Kt_WString& name)
      : Kt_ExprObject(&host), name_(name), host_(host) {}
  std::shared_ptr<const HostFunction> function;
  Arity arity;

  static kt_long Call(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
    auto& self = static_cast<FunctionNode&>(*context);
    const std::shared_ptr<const HostFunction> function = self.function;  // may be replaced in it
    return RunHostCode(&self, self.host_.exceptions, self.name_, [&] {
      static const Kt_VariantList kNone;
      result = (*function)(args != nullptr ? *args : kNone);
    });
  }

 private:
  Kt_WString name_;
  HostContext& host_;
};

HostContext::HostContext() : Kt_ExprObject(nullptr) {}
HostContext::~HostContext() {
  for (const auto& [name, object] : objects_) object->Leave();
  for (const auto& [name, table] : tables_) table->Leave();
}

void HostContext::SetFunction(const Kt_WString& name, HostFunction function, Arity arity) {
  std::unique_ptr<FunctionNode>& node = functions_[name];
  if (node == nullptr) node = std::make_unique<FunctionNode>(*this, name);
  node->function = std::make_shared<const HostFunction>(std::move(function));
  node->arity = arity;
  ++version_;
}
void HostContext::SetObject(const Kt_WString& name, std::shared_ptr<Attached> object) {
  Set(objects_, name, std::move(object));
}
void HostContext::SetTable(const Kt_WString& name, std::shared_ptr<Attached> table) {
  Set(tables_, name, std::move(table));
}
void HostContext::Set(AttachedByName& names, const Kt_WString& name,
                      std::shared_ptr<Attached> what) {
  std::shared_ptr<Attached>& place = names[name];
  if (place != nullptr && place != what) place->Leave();
  place = std::move(what);
  ++version_;
}
std::vector<std::shared_ptr<Attached>> HostContext::GetAttached(const Kt_WString& name) const {
  std::vector<std::shared_ptr<Attached>> found;
  for (const auto* const names : {&objects_, &tables_}) {
    if (const auto at = names->find(name); at != names->end()) found.push_back(at->second);
  }
  return found;
}
void HostContext::Remove(const Attached* which) {
  for (auto* const names : {&objects_, &tables_}) {
    std::erase_if(*names, [&](const auto& entry) { return entry.second.get() == which; });
  }
  ++version_;
}
void HostContext::ListNames(NamesJson& names) const {
  for (const auto& [name, node] : functions_) names.AddCall(name.ToUtf8(), node->arity);
  for (const auto* const list : {&objects_, &tables_}) {
    for (const auto& [name, attached] : *list) attached->ListNames(name.ToUtf8(), names);
  }
}

Kt_WString HostContext::GetID() const { return u"host"; }
int HostContext::GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  if (const auto object = objects_.find(name); object != objects_.end()) {
    info.SetComponent(&object->second->Object());
    return info.GetKind();
  }
  if (const auto table = tables_.find(name); table != tables_.end()) {
    info.SetDataset(&table->second->Object());
    return info.GetKind();
  }
  return EXPR_OBJ_UNKNOWN;
}
int HostContext::GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  const auto found = functions_.find(name);
  if (found == functions_.end()) return EXPR_OBJ_UNKNOWN;
  info.SetExtAPI(found->second.get(), found->first, &FunctionNode::Call);
  return info.GetKind();
}
Kt_Object* HostContext::GetComponent(const Kt_WString& name) {
  const auto found = objects_.find(name);
  return found == objects_.end() ? nullptr : &found->second->Object();
}
Kt_ExprDataset* HostContext::GetChildDataset(const Kt_WString& name) {
  const auto found = tables_.find(name);
  return found == tables_.end() ? nullptr : static_cast<Kt_ExprDataset*>(&found->second->Object());
}
void HostContext::AddNames(Names which, std::vector<Kt_WString>& names) const {
  if (which == Names::kCalls) {
    for (const auto& [name, function] : functions_) names.push_back(name);
    return;
  }
  for (const auto* const list : {&objects_, &tables_}) {
    for (const auto& [name, object] : *list) names.push_back(name);
  }
}

// A listener that throws ends nothing; with exceptions passed on, the call throws in the end.
template <class Call>
void HostContext::Listen(Call call) {
  try {
    call();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    if (exceptions.passes) exceptions.waiting = std::current_exception();
  }
}
void HostContext::OnRunTimeError(const Kt_Result&) {  // the note says more than the result
  const Kt_RunError& last = Kt_RunError::Last();
  if (report != nullptr && !report->info) *report = {last.serial, LastFailure(last.code)};
  if (on_error) Listen([&] { on_error(LastFailure(last.code)); });
}
void HostContext::OnDebugTrace(const Kt_WString& text) {
  if (on_trace) Listen([&] { on_trace(text.ToUtf8()); });
}

}  // namespace kt::detail
