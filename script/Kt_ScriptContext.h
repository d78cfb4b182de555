// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Variable.h"
#include "object/Kt_ExprObject.h"

class Kt_Script;

// One scope of variables: a call, a block, a loop body, or (as Kt_Script) the globals. Names that
// it does not have are asked of the parent.
//
// Owns its variables; borrows parent and script. The interpreter makes one per call and block on
// the native stack, so construction does no work beyond filling a few fields.
// Threads: the interpreter's.
class KT_SCRIPT_API Kt_ScriptContext : public Kt_ExprObject {
 public:
  Kt_ScriptContext(Kt_ExprObject* parent, Kt_Script* script)
      : Kt_ExprObject(parent), script_(script) {}

  void SetParentCtx(Kt_ExprObject* parent) { SetParent(parent); }
  void SetScript(Kt_Script* script) { script_ = script; }
  Kt_VariableList& GetVariables() { return variables_; }
  const Kt_VariableList& GetVariables() const { return variables_; }

  kt_long AddCtxVar(const Kt_WString& name, const Kt_Variant& value) override;
  kt_long GetCtxVar(const Kt_WString& name, Kt_Variable** var, Kt_Variant* value) override;
  // Sets an existing variable anywhere in the chain in place; otherwise, with `flag` 1, declares
  // it here. kUnknownName when nobody has it and `flag` is 0.
  kt_long SetCtxVar(const Kt_WString& name, const Kt_Variant& value, int flag) override;
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  void AddVariableListChain(Kt_VariableListChain& chain) override;
  kt_long GetScriptFuncValue(const Kt_WString& name, const Kt_VariantList* args,
                             Kt_Variant& result) override;
  Kt_ExprObject* GetChildContext(const Kt_WString& name) override;
  Kt_Script* GetScript() override { return script_; }

 private:
  Kt_Script* script_;
  Kt_VariableList variables_;
};
