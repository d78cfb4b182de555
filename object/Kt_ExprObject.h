// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Buffer.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/text/Kt_Result.h"
#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_Variable.h"
#include "classlib/value/Kt_Variant.h"
#include "object/Kt_ExprFuncs.h"
#include "object/Kt_NameTables.h"
#include "object/Kt_RunError.h"

class Kt_ExprDataset;
class Kt_ExprObjInfo;
class Kt_Script;

// Base of everything that expressions and scripts can name: script contexts, datasets, references
// and the host's components.
//
//   class Form : public Kt_ExprObject {
//    public:
//     Form() : Kt_ExprObject(nullptr) {}
//     int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override;  // names it knows
//     int IsSystemLogMode() override { return 1; }                            // report errors
//     void OnRunTimeError(const Kt_Result& result) override;                  // to the user
//   };
//
// Objects form a chain of contexts through their parents: what an object does not answer itself is
// passed to its parent, so the outermost one, normally the host's, has the last word.
//
// Ownership: never owns its parent and must not outlive it. Values refer to objects by holds that
// know when an object was destroyed, so an object may be destroyed at any time, also from inside
// one of its own callbacks, as long as the callback does not touch it afterwards. Threads: an
// object belongs to the thread that evaluates with it.
//
// The order of the virtual operations is part of the interface; new ones go after the last.
class KT_SCRIPT_API Kt_ExprObject : public Kt_Object {
 public:
  // A null parent makes the object the top of its chain.
  explicit Kt_ExprObject(Kt_ExprObject* parent);
  Kt_ExprObject(const Kt_ExprObject&) = default;
  Kt_ExprObject& operator=(const Kt_ExprObject&) = default;

  // The object as one of the engine's; null for null and for objects of any other layer.
  static Kt_ExprObject* From(Kt_Object* object);

  Kt_ExprObject* GetParentCtx() const { return static_cast<Kt_ExprObject*>(GetParent()); }

  // Numbers 0 and 1 are Kt_Object's GetObjType and GetInnerObject.
  virtual void DestroyObject();
  // The identifier used in messages and by hosts; empty by default.
  virtual Kt_WString GetID() const;
  // Members. -2: this object has no such member, so that the caller can try another way; 0:
  // done; any other value is an error code. `args` may be null. By default -2.
  virtual kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                              Kt_Variant& result);
  virtual kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                              const Kt_Variant& value);
  virtual kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                             Kt_Variant& result);
  // Handles for a member that spare later look-ups: non-zero when the name is known. A null
  // setter makes the property read-only. By default 0.
  virtual int GetPropertyInfo(const Kt_WString& name, int& flags, Kt_Getter& get, Kt_Setter& set);
  virtual int GetMethodInfo(const Kt_WString& name, Kt_Getter& call);
  // Variables of this context. AddCtxVar declares one here. GetCtxVar gives the variable itself
  // in `*var` and its value in `*value` (either may be null); kUnknownName when nobody knows the
  // name. SetCtxVar: `flag` 1 asks the context to create the variable when nobody has it.
  virtual kt_long AddCtxVar(const Kt_WString& name, const Kt_Variant& value);
  virtual kt_long GetCtxVar(const Kt_WString& name, Kt_Variable** var, Kt_Variant* value);
  virtual kt_long SetCtxVar(const Kt_WString& name, const Kt_Variant& value, int flag);
  virtual int IsValidComponent(Kt_Object* object) const;
  // The component of that name; null when there is none. The host keeps it.
  virtual Kt_Object* GetComponent(const Kt_WString& name);
  // The name of the property that stands for the object where a plain value is wanted; null: none.
  virtual const char16_t* GetDefaultProp() const;
  virtual int GetItemCount() const;
  virtual kt_long GetItem(int index, Kt_Variant& result);
  virtual kt_long GetItem(const Kt_WString& name, Kt_Variant& result);
  // The object as text / bytes; 0 when it has no such form.
  virtual int ConvToString(Kt_WString& out) const;
  virtual int ConvToStream(Kt_Buffer& out) const;
  // What a plain name / a called name stands for: fills `info` and returns its kind;
  // EXPR_OBJ_UNKNOWN when no context of the chain knows the name.
  virtual int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info);
  virtual int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info);
  virtual Kt_ExprDataset* GetDefaultDataset();
  virtual Kt_ExprDataset* GetChildDataset(const Kt_WString& name);
  virtual void AddVariableListChain(Kt_VariableListChain& chain);
  virtual kt_long GetScriptFuncValue(const Kt_WString& name, const Kt_VariantList* args,
                                     Kt_Variant& result);
  // Non-zero: errors are reported / trace calls run.
  virtual int IsSystemLogMode();
  virtual int IsDebugTraceMode();
  virtual void OnSystemError(const Kt_Result& result);
  virtual void OnRunTimeError(const Kt_Result& result);
  virtual void OnDebugTrace(const Kt_WString& text);
  virtual Kt_ExprObject* GetChildContext(const Kt_WString& name);
  virtual Kt_Script* GetScript();

  virtual ~Kt_ExprObject();

  // A number that changes whenever names stand for something else than before: other variables,
  // objects or functions, here or in what this context passes names on to. While it stays the same
  // an expression keeps what it was told (Kt_Expr). Values may change as they like. 0, the default:
  // names are asked at every use.
  virtual std::uint64_t GetNameVersion();

  // The object that calls without an owner of their own run on: the container, or this object when
  // it has none.
  Kt_ExprObject* GetSelfContainer();

  // The table of built-in functions, sorted by name; a handler by name in any case, or null.
  static const _EXPR_INTFUNC_INFO* GetIntFuncMap();
  static int GetIntFuncCount();
  static Kt_Getter GetIntFunc(const char16_t* name);

  // The handlers that the table names: each is called on the object that owns the call, with the
  // arguments (may be null) and a result that comes in empty. Bad arguments are no errors.
#define KT_DECLARE_BUILTIN(handler) kt_long handler(const Kt_VariantList* args, Kt_Variant& result);
  KT_BUILTIN_HANDLERS(KT_DECLARE_BUILTIN)
#undef KT_DECLARE_BUILTIN
};

namespace kt {

// Makes `result` an object value that owns `object`, made with new, whose DestroyObject deletes it.
// The value is valid while `container` (may be null) lives.
KT_SCRIPT_API void StoreObject(const Kt_Object* container, Kt_ExprObject* object,
                               Kt_Variant& result);

// A dataset wrapper as the object that it is, for code that knows wrappers by their name only.
KT_SCRIPT_API Kt_ExprObject* ToExprObject(Kt_ExprDataset* dataset);

// Notes an error (Kt_RunError) and passes it to OnRunTimeError of `context` when that listens (not
// null, IsSystemLogMode). Returns its code in every case. `text` is the message that the note has
// where it can say more than the report's own, and `subject` the name at fault where the arguments
// do not tell it; empty: those of the report.
KT_COLD KT_SCRIPT_API kt_long ReportResult(Kt_ExprObject* context, const Kt_Result& result,
                                           const Kt_WString& text = {},
                                           const Kt_WString& subject = {});

// The one way to report a run-time error: builds the record and reports it. `source` names the
// reporting part.
template <class... Args>
KT_COLD kt_long Report(Kt_ExprObject* context, const char16_t* source, kt_long code,
                       const Args&... args) {
  // What fails because the run is stopped is no fault of its own; the stop is reported once.
  if (Kt_WorkMeter::CurrentStop() != 0) return code;
  Kt_Result result;
  result.AddMsg(code, source, 0, args...);
  return ReportResult(context, result);
}

}  // namespace kt
