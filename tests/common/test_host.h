// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "classlib/text/Kt_Result.h"
#include "classlib/value/Kt_Variable.h"
#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_ExprObject.h"

namespace kt::test {

// A value with its kind: 5, 2.5, 2.0, 'text', true, [1, 'a'], <id of an object>, <gone>, - for
// empty; a reference shows as & and what it refers to.
inline std::string Show(const Kt_Variant& value, int depth = 0) {
  switch (value.GetTag()) {
    case kTagEmpty: return "-";
    case kTagRef: return "&" + Show(value.Dereference(), depth);
    case kTagString: return "'" + value.ToString().ToUtf8() + "'";
    case kTagBool: return value.AsInt64() != 0 ? "true" : "false";
    case kTagObject: {
      const Kt_ObjectHolder hold(value.GetHolder());
      return hold.IsValid() ? "<" + hold.GetID().ToUtf8() + ">" : "<gone>";
    }
    case kTagDouble: {
      const std::string text = value.ToString().ToUtf8();
      return text.find_first_of(".eENnIi") == std::string::npos ? text + ".0" : text;
    }
    case kTagList: {
      std::string out;
      if (depth == 8) return "[...]";
      for (const Kt_Variant& item : value.GetList()) {
        out += (out.empty() ? "" : ", ") + Show(item, depth + 1);
      }
      return "[" + out + "]";
    }
    default: return value.ToString().ToUtf8();
  }
}

inline std::string Show(const Kt_VariableList& variables) {
  std::string out;
  for (kt_long index = 0; index < variables.GetCount(); ++index) {
    out += variables.GetItemName(index).ToUtf8() + "=" +
           Show(variables.GetItem(index)->GetValue()) + " ";
  }
  return out;
}

// "83B03110(x)": the code and the arguments of a report.
inline std::string Show(const Kt_Result& result) {
  char code[16];
  std::snprintf(code, sizeof code, "%08X", static_cast<unsigned>(result.GetCode()));
  std::string out = code;
  for (kt_long arg = 0; arg < result.GetArgCount(); ++arg) {
    out += (arg == 0 ? "(" : ", ") + result.GetArg(arg).ToUtf8();
  }
  return result.GetArgCount() > 0 ? out + ")" : out;
}

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

// The outermost context: variables, the component "thing", external functions, and a record of
// reports, trace lines and calls.
//
//   log(x)   notes x and gives it back         count(...)  the arguments as a list
//   code(n)  gives `n` as a value and as code  hook(...)   what `on_hook` gives
class TestHost : public Kt_ExprObject {
 public:
  TestHost() : Kt_ExprObject(nullptr), thing(std::make_unique<TestThing>(this, u"thing")) {
    thing->properties.AddVariable(u"size", kt_long{4});
    thing->properties.AddVariable(u"name", u"it");
    thing->items = {Kt_Variant(kt_long{10}), Kt_Variant(kt_long{20})};
  }

  Kt_WString GetID() const override { return u"host"; }
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (Kt_Variable* const variable = variables.FindVariable(name)) {
      info.SetVarType(this, name, variable);
      return EXPR_OBJ_VAR;
    }
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
  int IsSystemLogMode() override { return log_mode; }
  int IsDebugTraceMode() override { return trace_mode; }
  void OnRunTimeError(const Kt_Result& result) override {
    reports += Show(result) + " ";
    ++report_count;
    if (on_report) on_report();
  }
  void OnDebugTrace(const Kt_WString& text) override { traces += text.ToUtf8() + "|"; }

  // Reports since the last question, without the blank after the last one.
  std::string TakeReports() {
    std::string out = std::exchange(reports, {});
    if (!out.empty()) out.pop_back();
    return out;
  }

  Kt_VariableList variables;
  Kt_VariableList plain;
  std::unique_ptr<TestThing> thing;
  int log_mode = 1;
  int trace_mode = 0;
  int report_count = 0;
  std::string reports;
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
