// SPDX-License-Identifier: MIT
//
// Apart from the scanners, which know text only.
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_ExprObject.h"

int Kt_ExprUtil::GetExprVarType(Kt_ExprObject* object, const Kt_WString& name,
                                Kt_ExprObjInfo& info) {
  if (name.GetLength() < 2) return -1;
  if (!object) return 1;
  return object->GetVarType(name, info);
}
