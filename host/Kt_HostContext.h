// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dataset/Kt_ExprDataset.h"
#include "host/Kt_Errors.h"
#include "host/Kt_Function.h"
#include "object/Kt_ExprNameSource.h"
#include "object/Kt_ExprObjInfo.h"

// What scripts of an engine can reach of its host: the layer's own classes behind kt::Engine,
// kt::Object and kt::Table.
namespace kt::detail {

struct NameLess {
  using is_transparent = void;
  bool operator()(std::u16string_view a, std::u16string_view b) const {
    return kt_stricmpW(a, b) < 0;
  }
};
template <class T>
using ByName = std::map<Kt_WString, T, NameLess>;

inline Kt_WString ToName(std::string_view name) {
  Kt_WString out = Kt_WString::FromUtf8(name);
  if (!out.IsName()) throw RunError("'" + std::string(name) + "' is no name");
  return out;
}

// What has a name in a context and may outlive it.
class Attached {
 public:
  virtual ~Attached() = default;
  virtual Kt_ExprObject& Object() = 0;
  virtual void Leave() = 0;  // the context ends
  // It has the name `own`; adds that and the names in it.
  virtual void ListNames(const std::string& own, NamesJson& names) const = 0;
};

class HostContext;

// An object of kind `Base` that is in at most one context.
template <class Base>
class Attachable : public Base, public Attached {
 public:
  void Join(HostContext& host);
  Kt_ExprObject& Object() final { return *this; }
  void Leave() final {
    host_ = nullptr;
    this->SetParent(nullptr);
    this->SetContainer(nullptr);
  }

 protected:
  using Base::Base;
  HostContext* host_ = nullptr;
};

// Where exceptions of host functions go: into a report, or aside until the call returns.
class ExceptionSink {
 public:
  bool passes = false;
  std::exception_ptr waiting;

  void Rethrow() {
    if (waiting) std::rethrow_exception(std::exchange(waiting, nullptr));
  }
};

// Runs code of the host inside of a script. What it throws becomes an error of `name` there, or
// ends the run and is thrown on from the call of the host. Memory that runs out is the engine's.
template <class Work>
kt_long RunHostCode(Kt_ExprObject* context, ExceptionSink& sink, const Kt_WString& name,
                    Work work) {
  std::string text = "threw what is no exception of the standard library";
  try {
    work();
    return kOk;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const Error& error) {
    text = error.info().text;
    if (sink.passes) sink.waiting = std::current_exception();
  } catch (const std::exception& error) {
    text = error.what();
    if (sink.passes) sink.waiting = std::current_exception();
  } catch (...) {
    if (sink.passes) sink.waiting = std::current_exception();
  }
  if (sink.waiting) return kAbort;
  return Report(context, u"host", kErrNotAllowed, name, Kt_WString::FromUtf8(text));
}

// The outermost context of an engine.
class HostContext final : public Kt_ExprObject, public Kt_ExprNameSource {
 public:
  HostContext() : Kt_ExprObject(nullptr) {}
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;
  ~HostContext() override {
    for (const auto& [name, object] : objects_) object->Leave();
    for (const auto& [name, table] : tables_) table->Leave();
  }

  // The first error that was reported in a call of the host.
  struct FirstReport {
    std::uint64_t serial = 0;
    std::optional<ErrorInfo> info;
  };
  FirstReport* report = nullptr;  // of the call that is running
  ExceptionSink exceptions;
  std::function<void(const ErrorInfo&)> on_error;
  std::function<void(std::string_view)> on_trace;

  void SetFunction(const Kt_WString& name, HostFunction function, Arity arity = {}) {
    std::unique_ptr<FunctionNode>& node = functions_[name];
    if (node == nullptr) node = std::make_unique<FunctionNode>(*this, name);
    node->function = std::make_shared<const HostFunction>(std::move(function));
    node->arity = arity;
    ++version_;
  }
  void SetObject(const Kt_WString& name, std::shared_ptr<Attached> object) {
    Set(objects_, name, std::move(object));
  }
  void SetTable(const Kt_WString& name, std::shared_ptr<Attached> table) {
    Set(tables_, name, std::move(table));
  }
  // The object and the table of that name.
  std::vector<std::shared_ptr<Attached>> GetAttached(const Kt_WString& name) const {
    std::vector<std::shared_ptr<Attached>> found;
    for (const auto* const names : {&objects_, &tables_}) {
      if (const auto at = names->find(name); at != names->end()) found.push_back(at->second);
    }
    return found;
  }
  void Remove(const Attached* which) {
    for (auto* const names : {&objects_, &tables_}) {
      std::erase_if(*names, [&](const auto& entry) { return entry.second.get() == which; });
    }
    ++version_;
  }

  Kt_WString GetID() const override { return u"host"; }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
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
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    const auto found = functions_.find(name);
    if (found == functions_.end()) return EXPR_OBJ_UNKNOWN;
    info.SetExtAPI(found->second.get(), found->first, &FunctionNode::Call);
    return info.GetKind();
  }
  Kt_Object* GetComponent(const Kt_WString& name) override {
    const auto found = objects_.find(name);
    return found == objects_.end() ? nullptr : &found->second->Object();
  }
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override {
    const auto found = tables_.find(name);
    return found == tables_.end() ? nullptr
                                  : static_cast<Kt_ExprDataset*>(&found->second->Object());
  }
  std::uint64_t GetNameVersion() override { return version_; }
  void AddNames(Names which, std::vector<Kt_WString>& names) const override {
    if (which == Names::kCalls) {
      for (const auto& [name, function] : functions_) names.push_back(name);
      return;
    }
    for (const auto* const list : {&objects_, &tables_}) {
      for (const auto& [name, object] : *list) names.push_back(name);
    }
  }

  // Functions, objects and tables, for tools.
  void ListNames(NamesJson& names) const {
    for (const auto& [name, node] : functions_) names.AddCall(name.ToUtf8(), node->arity);
    for (const auto* const list : {&objects_, &tables_}) {
      for (const auto& [name, attached] : *list) attached->ListNames(name.ToUtf8(), names);
    }
  }

  // Always reported, so that every error is noted with its calls.
  int IsSystemLogMode() override { return 1; }
  int IsDebugTraceMode() override { return on_trace ? 1 : 0; }
  void OnRunTimeError(const Kt_Result&) override {  // the note says more than the result
    const Kt_RunError& last = Kt_RunError::Last();
    if (report != nullptr && !report->info) *report = {last.serial, LastFailure(last.code)};
    if (on_error) Listen([&] { on_error(LastFailure(last.code)); });
  }
  void OnDebugTrace(const Kt_WString& text) override {
    if (on_trace) Listen([&] { on_trace(text.ToUtf8()); });
  }

 private:
  // A function with what it needs, as the context of its own calls. Lives as long as the host:
  // translated scripts keep its address.
  class FunctionNode final : public Kt_ExprObject {
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

  using AttachedByName = ByName<std::shared_ptr<Attached>>;
  void Set(AttachedByName& names, const Kt_WString& name, std::shared_ptr<Attached> what) {
    std::shared_ptr<Attached>& place = names[name];
    if (place != nullptr && place != what) place->Leave();
    place = std::move(what);
    ++version_;
  }
  // A listener that throws ends nothing; with exceptions passed on, the call throws in the end.
  template <class Call>
  void Listen(Call call) {
    try {
      call();
    } catch (const std::bad_alloc&) {
      throw;
    } catch (...) {
      if (exceptions.passes) exceptions.waiting = std::current_exception();
    }
  }

  ByName<std::unique_ptr<FunctionNode>> functions_;
  AttachedByName objects_;
  AttachedByName tables_;
  std::uint64_t version_ = 1;
};

template <class Base>
void Attachable<Base>::Join(HostContext& host) {
  host_ = &host;
  this->SetParent(&host);
  this->SetContainer(&host);
}

}  // namespace kt::detail
