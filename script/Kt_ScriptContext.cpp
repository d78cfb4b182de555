// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptContext.h"

#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_OwnVariables.h"
#include "script/Kt_Script.h"

kt_long Kt_ScriptContext::AddCtxVar(const Kt_WString& name, const Kt_Variant& value) {
  return variables_.AddVariable(name, value) ? kOk : kFailed;
}

kt_long Kt_ScriptContext::GetCtxVar(const Kt_WString& name, Kt_Variable** var, Kt_Variant* value) {
  return kt::GetOwnOrOuterVar(&variables_, GetParentCtx(), name, var, value);
}

kt_long Kt_ScriptContext::SetCtxVar(const Kt_WString& name, const Kt_Variant& value, int flag) {
  const kt_long code = kt::SetOwnOrOuterVar(&variables_, GetParentCtx(), name, value);
  if (code != kUnknownName || flag == 0) return code;
  return AddCtxVar(name, value);
}

int Kt_ScriptContext::GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  if (kt::GetOwnVarType(this, &variables_, name, info)) return EXPR_OBJ_VAR;
  return Kt_ExprObject::GetVarType(name, info);
}

int Kt_ScriptContext::GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  if (Kt_ScriptFunc* const func = script_ ? script_->GetFunc(name) : nullptr) {
    info.SetScriptFunc(this, name, func);
    return EXPR_OBJ_SCRIPTFUNC;
  }
  return Kt_ExprObject::GetMethodType(name, info);
}

kt_long Kt_ScriptContext::GetScriptFuncValue(const Kt_WString& name, const Kt_VariantList* args,
                                             Kt_Variant& result) {
  if (Kt_ScriptFunc* const func = script_ ? script_->GetFunc(name) : nullptr) {
    return func->ExecFunc(args, result);
  }
  return Kt_ExprObject::GetScriptFuncValue(name, args, result);
}

void Kt_ScriptContext::AddVariableListChain(Kt_VariableListChain& chain) {
  chain.Add(&variables_);
  Kt_ExprObject::AddVariableListChain(chain);
}

// A script has no child contexts of its own: the host's answer for it.
Kt_ExprObject* Kt_ScriptContext::GetChildContext(const Kt_WString& name) {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetChildContext(name) : nullptr;
}
