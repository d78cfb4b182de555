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
#include "host/Kt_Function.h"
#include "host/Kt_Names.h"
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

// Throws when it is none.
KT_SCRIPT_API Kt_WString ToName(std::string_view name);

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

// The report of what host code threw.
KT_SCRIPT_API kt_long ReportThrown(Kt_ExprObject* context, const Kt_WString& name,
                                   const std::string& text);

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
  return sink.waiting ? static_cast<kt_long>(kAbort) : ReportThrown(context, name, text);
}

// The outermost context of an engine.
class KT_SCRIPT_API HostContext final : public Kt_ExprObject, public Kt_ExprNameSource {
 public:
  HostContext();
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;
  ~HostContext() override;

  // The first error that was reported in a call of the host.
  struct FirstReport {
    std::uint64_t serial = 0;
    std::optional<ErrorInfo> info;
  };
  FirstReport* report = nullptr;  // of the call that is running
  ExceptionSink exceptions;
  std::function<void(const ErrorInfo&)> on_error;
  std::function<void(std::string_view)> on_trace;

  void SetFunction(const Kt_WString& name, HostFunction function, Arity arity = {});
  void SetObject(const Kt_WString& name, std::shared_ptr<Attached> object);
  void SetTable(const Kt_WString& name, std::shared_ptr<Attached> table);
  // The object and the table of that name.
  std::vector<std::shared_ptr<Attached>> GetAttached(const Kt_WString& name) const;
  void Remove(const Attached* which);
  // Functions, objects and tables, for tools.
  void ListNames(NamesJson& names) const;

  Kt_WString GetID() const override;
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  Kt_Object* GetComponent(const Kt_WString& name) override;
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override;
  std::uint64_t GetNameVersion() override { return version_; }
  void AddNames(Names which, std::vector<Kt_WString>& names) const override;

  // Always reported, so that every error is noted with its calls.
  int IsSystemLogMode() override { return 1; }
  int IsDebugTraceMode() override { return on_trace ? 1 : 0; }
  void OnRunTimeError(const Kt_Result&) override;
  void OnDebugTrace(const Kt_WString& text) override;

 private:
  class FunctionNode;
  using AttachedByName = ByName<std::shared_ptr<Attached>>;
  void Set(AttachedByName& names, const Kt_WString& name, std::shared_ptr<Attached> what);
  template <class Call>
  void Listen(Call call);

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
