// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Variable.h"
#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_ExprObject.h"

// What a context answers about names when it has variables of its own (`own`, which may be null)
// and leaves the other names to the context around it (`parent`, which may be null).
namespace kt {

inline Kt_Variable* FindOwn(const Kt_VariableList* own, const Kt_WString& name) {
  return own != nullptr ? own->FindVariable(name) : nullptr;
}

// As Kt_ExprObject::GetVarType for variables of `context`. False: the name is not one of them.
inline bool GetOwnVarType(Kt_ExprObject* context, const Kt_VariableList* own,
                          const Kt_WString& name, Kt_ExprObjInfo& info) {
  Kt_Variable* const variable = FindOwn(own, name);
  if (variable != nullptr) info.SetVarType(context, name, variable);
  return variable != nullptr;
}

// As Kt_ExprObject::GetCtxVar.
inline kt_long GetOwnOrOuterVar(const Kt_VariableList* own, Kt_ExprObject* parent,
                                const Kt_WString& name, Kt_Variable** variable, Kt_Variant* value) {
  Kt_Variable* const found = FindOwn(own, name);
  if (found == nullptr) return parent ? parent->GetCtxVar(name, variable, value) : kUnknownName;
  if (variable != nullptr) *variable = found;
  if (value != nullptr) *value = found->GetValue();
  return kOk;
}

// Sets a variable that is there, here or further out; kUnknownName when there is none.
inline kt_long SetOwnOrOuterVar(const Kt_VariableList* own, Kt_ExprObject* parent,
                                const Kt_WString& name, const Kt_Variant& value) {
  Kt_Variable* const found = FindOwn(own, name);
  if (found == nullptr) return parent ? parent->SetCtxVar(name, value, 0) : kUnknownName;
  found->SetValue(value);
  return kOk;
}

}  // namespace kt
