// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_ExprObject.h"
#include "show.h"

namespace kt::test {

// The arguments of a call as a list to keep: a reference becomes the text that Show gives it, since
// a list with references that is stored in a variable could refer to itself.
inline Kt_VariantList PlainArgs(const Kt_VariantList& args) {
  Kt_VariantList out;
  for (const Kt_Variant& arg : args) {
    out.Add(arg.IsRef() ? Kt_Variant(Kt_WString::FromUtf8(Show(arg))) : arg);
  }
  return out;
}

// A component with properties, items and methods, and a record of what was asked of it.
class TestThing : public Kt_ExprObject {
 public:
  TestThing(Kt_ExprObject* parent, const char16_t* id) : Kt_ExprObject(parent), id_(id) {}

  Kt_WString GetID() const override { return id_; }
  // Any variable of `properties` that is there.
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      Kt_Variant& result) override {
    Kt_Variable* const found = properties.FindVariable(name);
    if (found == nullptr) return kNoMember;
    result = found->GetValue();
    log += "get " + name.ToUtf8() + Args(args) + ";";
    if (on_access) on_access();
    return kOk;
  }
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      const Kt_Variant& value) override {
    Kt_Variable* const found = properties.FindVariable(name);
    if (found == nullptr) return kNoMember;
    log += "set " + name.ToUtf8() + Args(args) + "=" + Show(value) + ";";
    found->SetValue(value);
    if (on_access) on_access();
    return kOk;
  }
  // "echo" gives its arguments as a list; "hook" what `on_call` gives.
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override {
    if (name.EqualsNoCase(u"hook") && on_call) return on_call(result);
    if (!name.EqualsNoCase(u"echo")) return kNoMember;
    result = PlainArgs(*args);
    log += "call " + name.ToUtf8() + Args(args) + ";";
    return kOk;
  }
  // "quick" with accessors, "stored" with a handle.
  int GetPropertyInfo(const Kt_WString& name, int& flags, Kt_Getter& get, Kt_Setter& set) override {
    if (!name.EqualsNoCase(u"quick")) return 0;
    flags = 3;
    get = kHandler<&TestThing::GetQuick>;
    set = kSetHandler<&TestThing::SetQuick>;
    return 1;
  }
  int GetMethodInfo(const Kt_WString& name, Kt_Getter& call) override {
    if (!name.EqualsNoCase(u"stored")) return 0;
    call = kHandler<&TestThing::Stored>;
    return 1;
  }
  const char16_t* GetDefaultProp() const override { return default_prop; }
  int GetItemCount() const override { return items.GetCount(); }
  kt_long GetItem(int index, Kt_Variant& result) override {
    result = items.GetItemNN(index);
    if (on_access) on_access();
    return kOk;
  }
  kt_long GetItem(const Kt_WString& name, Kt_Variant& result) override {
    result = Kt_Variant(name + u"!");
    return kOk;
  }
  int ConvToString(Kt_WString& out) const override {
    out = u"text of ";
    out += id_;
    if (on_text) on_text();
    return 1;
  }

  Kt_VariableList properties;
  Kt_VariantList items;
  const char16_t* default_prop = nullptr;
  std::string log;
  std::function<void()> on_access;
  std::function<void()> on_text;
  std::function<kt_long(Kt_Variant& result)> on_call;

 private:
  static std::string Args(const Kt_VariantList* args) {
    return args && !args->IsEmpty() ? Show(Kt_Variant(*args)) : "";
  }
  kt_long GetQuick(const Kt_VariantList* args, Kt_Variant& result) {
    result = quick_;
    log += "quick" + Args(args) + ";";
    return kOk;
  }
  kt_long SetQuick(const Kt_VariantList*, const Kt_Variant& value) {
    quick_ = value;
    log += "quick=" + Show(value) + ";";
    return kOk;
  }
  kt_long Stored(const Kt_VariantList* args, Kt_Variant& result) {
    log += "stored" + Args(args) + ";";
    result = kt_long{11};
    return on_call ? on_call(result) : kOk;
  }

  Kt_WString id_;
  Kt_Variant quick_ = kt_long{9};
};

// An outermost context with variables that keeps what is reported to it.
class TestContext : public Kt_ExprObject {
 public:
  TestContext() : Kt_ExprObject(nullptr) {}

  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    Kt_Variable* const variable = variables.FindVariable(name);
    if (variable == nullptr) return EXPR_OBJ_UNKNOWN;
    info.SetVarType(this, name, variable);
    return EXPR_OBJ_VAR;
  }
  void AddVariableListChain(Kt_VariableListChain& chain) override { chain.Add(&variables); }
  int IsSystemLogMode() override { return log_mode; }
  void OnRunTimeError(const Kt_Result& result) override { errors.push_back(result); }

  // Reports since the last question: "83B03110(x) 83B03210(y)".
  std::string TakeReports() {
    std::string out;
    for (const Kt_Result& error : std::exchange(errors, {})) {
      out += (out.empty() ? "" : " ") + Show(error);
    }
    return out;
  }

  Kt_VariableList variables;
  int log_mode = 1;
  std::vector<Kt_Result> errors;
};

// The same with the component "thing", external functions, variables that are given by value alone,
// and a record of trace lines and calls.
//
//   log(x)   notes x and gives it back         count(...)  the arguments as a list
//   code(n)  gives `n` as a value and as code  hook(...)   what `on_hook` gives
class TestHost : public TestContext {
 public:
  TestHost() : thing(std::make_unique<TestThing>(this, u"thing")) {
    thing->properties.AddVariable(u"size", kt_long{4});
    thing->properties.AddVariable(u"name", u"it");
    thing->items = {Kt_Variant(kt_long{10}), Kt_Variant(kt_long{20})};
  }

  Kt_WString GetID() const override { return u"host"; }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (TestContext::GetVarType(name, info) == EXPR_OBJ_VAR) return EXPR_OBJ_VAR;
    // Known by its kind alone: read through GetCtxVar.
    if (plain.FindVariable(name) != nullptr) return EXPR_OBJ_VAR;
    if (!name.EqualsNoCase(u"thing") || thing == nullptr) return EXPR_OBJ_UNKNOWN;
    info.SetComponent(thing.get());
    return info.GetKind();
  }
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    static constexpr struct {
      const char16_t* name;
      Kt_ExtApi function;
    } kFunctions[] = {{u"log", Log}, {u"count", Count}, {u"code", Code}, {u"hook", Hook}};
    for (const auto& row : kFunctions) {
      if (!name.EqualsNoCase(row.name)) continue;
      info.SetExtAPI(this, name, row.function);
      return EXPR_OBJ_EXTAPI;
    }
    return EXPR_OBJ_UNKNOWN;
  }
  kt_long GetCtxVar(const Kt_WString& name, Kt_Variable** variable, Kt_Variant* value) override {
    if (const Kt_Variable* const found = plain.FindVariable(name)) {
      if (value != nullptr) *value = found->GetValue();
      return kOk;
    }
    Kt_Variable* const found = variables.FindVariable(name);
    if (found == nullptr) return kUnknownName;
    if (variable != nullptr) *variable = found;
    if (value != nullptr) *value = found->GetValue();
    return kOk;
  }
  kt_long SetCtxVar(const Kt_WString& name, const Kt_Variant& value, int flag) override {
    if (plain.FindVariable(name) != nullptr) {
      plain.AddVariable(name, value);
      return kOk;
    }
    if (flag == 0 && variables.FindVariable(name) == nullptr) return kUnknownName;
    return variables.AddVariable(name, value) ? kOk : kFailed;
  }
  int IsDebugTraceMode() override { return trace_mode; }
  void OnRunTimeError(const Kt_Result& result) override {
    TestContext::OnRunTimeError(result);
    if (on_report) on_report();
  }
  void OnDebugTrace(const Kt_WString& text) override { traces += text.ToUtf8() + "|"; }

  Kt_VariableList plain;
  std::unique_ptr<TestThing> thing;
  int trace_mode = 0;
  std::string traces;
  std::string calls;
  std::function<kt_long(Kt_ExprObject* context, const Kt_VariantList& args, Kt_Variant& result)>
      on_hook;
  std::function<void()> on_report;

 private:
  static TestHost& Of(Kt_ExprObject* context) { return *static_cast<TestHost*>(context); }
  static kt_long Log(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
    result = args->GetItemNN(0);
    Of(context).calls += Show(result) + ";";
    return kOk;
  }
  static kt_long Count(Kt_ExprObject*, const Kt_VariantList* args, Kt_Variant& result) {
    result = PlainArgs(*args);
    return kOk;
  }
  static kt_long Code(Kt_ExprObject*, const Kt_VariantList* args, Kt_Variant& result) {
    result = args->GetItemNN(0).Dereference();
    return result.ToInteger();
  }
  static kt_long Hook(Kt_ExprObject* context, const Kt_VariantList* args, Kt_Variant& result) {
    const auto hook = Of(context).on_hook;
    return hook ? hook(context, *args, result) : kOk;
  }
};

}  // namespace kt::test
