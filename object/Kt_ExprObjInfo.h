// SPDX-License-Identifier: MIT
#pragma once

#include "object/Kt_ExprObject.h"

class Kt_ScriptFunc;

// What a name can stand for; also the results of GetVarType and GetMethodType.
inline constexpr std::int16_t EXPR_OBJ_NONE = 0;
inline constexpr std::int16_t EXPR_OBJ_VALUE = 1;
inline constexpr std::int16_t EXPR_OBJ_SCRIPTFUNC = 3;
inline constexpr std::int16_t EXPR_OBJ_INTFUNC = 5;
inline constexpr std::int16_t EXPR_OBJ_ARGREF = 6;  // stack entries only: the first argument
inline constexpr std::int16_t EXPR_OBJ_VAR = 16;
inline constexpr std::int16_t EXPR_OBJ_VARITEM = 18;
inline constexpr std::int16_t EXPR_OBJ_AUTOVAR = 25;
inline constexpr std::int16_t EXPR_OBJ_DATASET = 32;
inline constexpr std::int16_t EXPR_OBJ_COLUMN = 33;
inline constexpr std::int16_t EXPR_OBJ_COLUMNPROP = 34;
inline constexpr std::int16_t EXPR_OBJ_COMPONENT = 48;
inline constexpr std::int16_t EXPR_OBJ_COMPOSIT = 49;
inline constexpr std::int16_t EXPR_OBJ_PROPERTY = 65;
inline constexpr std::int16_t EXPR_OBJ_METHOD = 67;
inline constexpr std::int16_t EXPR_OBJ_EXTAPI = 80;
inline constexpr std::int16_t EXPR_OBJ_ITEM = 112;
inline constexpr std::int16_t EXPR_OBJ_UNKNOWN = 1000;

// A counted pointer to a variable: an entry keeps its variable alive even when a callback removes
// it from its context meanwhile.
class Kt_VariableHold {
 public:
  Kt_VariableHold() = default;
  explicit Kt_VariableHold(Kt_Variable* variable) : variable_(variable) {
    if (variable_) variable_->AddRef();
  }
  Kt_VariableHold(const Kt_VariableHold& other) : Kt_VariableHold(other.variable_) {}
  Kt_VariableHold& operator=(const Kt_VariableHold& other) {
    Kt_VariableHold copy(other);
    std::swap(variable_, copy.variable_);
    return *this;
  }
  ~Kt_VariableHold() {
    if (variable_) variable_->Unref();
  }
  Kt_Variable* Get() const { return variable_; }

 private:
  Kt_Variable* variable_ = nullptr;
};

// The member records: what is kept for each kind. `context` is the context that the name was found
// in or is called on; it is borrowed.
template <class Handle>
struct Kt_ExprNamed {
  Kt_ExprObject* context = nullptr;
  Kt_WString name;
  Handle handle = {};
  void Clear() { *this = {}; }
};
using Kt_ExprScriptFunc = Kt_ExprNamed<Kt_ScriptFunc*>;
using Kt_ExprIntFunc = Kt_ExprNamed<Kt_Getter>;
using Kt_ExprExtAPI = Kt_ExprNamed<Kt_ExtApi>;
using Kt_ExprObjApi = Kt_ExprNamed<void*>;
using Kt_ExprObjVar = Kt_ExprNamed<Kt_VariableHold>;  // null: ask the context by name

struct Kt_ExprObjColumn {
  Kt_ObjectHolder dataset;
  Kt_WString name;
  int index = -1;  // column index; -1: by name
  Kt_WString property;
  void Clear() { *this = {}; }
};

struct Kt_ExprObjProperty {
  Kt_ObjectHolder object;
  Kt_WString name;
  Kt_Getter get = nullptr;  // null: through GetProperty
  Kt_Setter set = nullptr;  // null: through SetProperty
  int flags = 0;
  void Clear() { *this = {}; }
};

struct Kt_ExprObjMethod {
  Kt_ObjectHolder object;
  Kt_WString name;
  Kt_Getter method = nullptr;  // null: through CallMethod
  void Clear() { *this = {}; }
};

// The answer to what a name stands for: a kind and, for each kind, the handle that lets the
// evaluator read, write or call the named thing without another look-up.
//
// A value type that owns one member record at a time; every Set releases what was there. The
// accessors do not check the kind. Threads: as its context.
class KT_SCRIPT_API Kt_ExprObjInfo {
 public:
  Kt_ExprObjInfo() {}
  Kt_ExprObjInfo(const Kt_ExprObjInfo& other) { Set(other); }
  Kt_ExprObjInfo& operator=(const Kt_ExprObjInfo& other) {
    Set(other);
    return *this;
  }
  ~Kt_ExprObjInfo() { Clear(); }

  std::int16_t GetKind() const { return kind_; }

  void Clear() {
    if (kind_ != EXPR_OBJ_NONE) ClearRecord();
  }
  void Set(const Kt_ExprObjInfo& other);

  // Objects: null clears. The hold is on (container, object); SetComposit's on (object, object).
  void SetDataset(Kt_ExprObject* dataset);
  void SetComponent(Kt_ExprObject* object);
  void SetComposit(Kt_ExprObject* object);
  // Members. With a null object they refine a record of kind 32, 48 or 49 in place and keep its
  // hold; a record of any other kind stays as it is.
  void SetColumn(Kt_ExprObject* dataset, const Kt_WString& column, int index);
  void SetColumnProp(Kt_ExprObject* dataset, const Kt_WString& column, int index,
                     const Kt_WString& property);
  void SetColumnProp(const Kt_WString& property);  // of a column record
  void SetObjProp(Kt_ExprObject* object, const Kt_WString& name, int flags, Kt_Getter get,
                  Kt_Setter set);
  void SetObjMethod(Kt_ExprObject* object, const Kt_WString& name, Kt_Getter method);
  // Names of a context. A null variable is asked of the context when it is read.
  void SetVarType(Kt_ExprObject* context, const Kt_WString& name, Kt_Variable* var);
  void SetAutoVar(Kt_ExprObject* context, const Kt_WString& name);
  void SetIntFunc(Kt_ExprObject* context, const Kt_WString& name, Kt_Getter function);
  void SetScriptFunc(Kt_ExprObject* context, const Kt_WString& name, Kt_ScriptFunc* func);
  void SetExtAPI(Kt_ExprObject* context, const Kt_WString& name, Kt_ExtApi function);

  // The live record. REQUIRES: the kind is one that has it.
  Kt_Variant& GetValue() { return u_.value; }
  const Kt_Variant& GetConstValue() const { return u_.value; }
  Kt_ObjectHolder& GetObjectW() { return u_.object; }
  const Kt_ObjectHolder& GetConstObject() const { return u_.object; }
  Kt_ExprScriptFunc& GetScriptFunc() { return u_.script_func; }
  const Kt_ExprScriptFunc& GetConstScriptFunc() const { return u_.script_func; }
  Kt_ExprIntFunc& GetIntFunc() { return u_.int_func; }
  const Kt_ExprIntFunc& GetConstIntFunc() const { return u_.int_func; }
  Kt_ExprObjVar& GetObjVar() { return u_.var; }
  const Kt_ExprObjVar& GetConstObjVar() const { return u_.var; }
  Kt_ExprExtAPI& GetExtAPI() { return u_.ext_api; }
  const Kt_ExprExtAPI& GetConstExtApi() const { return u_.ext_api; }
  Kt_ExprObjColumn& GetObjColumn() { return u_.column; }
  const Kt_ExprObjColumn& GetConstObjColumn() const { return u_.column; }
  Kt_ExprObjProperty& GetObjProperty() { return u_.property; }
  const Kt_ExprObjProperty& GetConstObjProperty() const { return u_.property; }
  Kt_ExprObjMethod& GetObjMethod() { return u_.method; }
  const Kt_ExprObjMethod& GetConstObjMethod() const { return u_.method; }

 protected:
  // The hold of the kinds that have one (32 to 34, 48, 49, 65, 67, 112); null for the others.
  const Kt_ObjectHolder* GetHold() const;
  // Makes a variable record one of its element, and an object record one of its item.
  void ToVarItem() { kind_ = EXPR_OBJ_VARITEM; }
  void ToItem() { kind_ = EXPR_OBJ_ITEM; }
  void SetArgRef() {
    Clear();
    kind_ = EXPR_OBJ_ARGREF;
  }
  void SetValueRecord(const Kt_Variant& value);
  void SetHeldObject(std::int16_t kind, const Kt_ObjectHolder& hold);

  std::int16_t head_ = 0;  // the pending operator of a stack entry; Set does not copy it

 private:
  template <class Action>
  void OnRecord(Action&& action);  // calls it with the live record, if there is one
  void ClearRecord();
  bool TakeHold(Kt_ExprObject* object, Kt_ObjectHolder& hold);

  std::int16_t kind_ = EXPR_OBJ_NONE;
  union Record {
    Record() {}
    ~Record() {}
    Kt_Variant value;
    Kt_ObjectHolder object;
    Kt_ExprScriptFunc script_func;
    Kt_ExprIntFunc int_func;
    Kt_ExprObjVar var;
    Kt_ExprExtAPI ext_api;
    Kt_ExprObjColumn column;
    Kt_ExprObjProperty property;
    Kt_ExprObjMethod method;
  } u_;
};
