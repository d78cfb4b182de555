// SPDX-License-Identifier: MIT
#pragma once

#include "script/Kt_ScriptOp.h"

// The statements of a body, a block, a branch or a part of a loop head.
//
// Owns its ops; an op keeps its address while the list grows.
// Threads: const members may run in parallel.
class KT_SCRIPT_API Kt_ScriptOpList : public Kt_ObjList {
 public:
  Kt_ScriptOpList() : Kt_ObjList(Kt_ScriptOp::_KtScriptOpHandler) {}

  // Null outside the list.
  const Kt_ScriptOp* GetItem(kt_long index) const {
    return static_cast<const Kt_ScriptOp*>(GetAt(index));
  }
  Kt_ScriptOp* GetSafeItem(kt_long index) { return static_cast<Kt_ScriptOp*>(GetAt(index)); }
  // Outside the list one shared op with code 0, line -1 and no payload.
  const Kt_ScriptOp& operator[](kt_long index) const;
  // Index of the first declaration (code 0x1010 or 0x1020) of `name`, without regard to case; -1
  // if there is none.
  kt_long FindVarOp(const char16_t* name) const;

  // Appends an op with `code` and `line`; null, and nothing appended, when memory ran out.
  Kt_ScriptOp* AddOp(std::int16_t code, kt_long line);
  // Takes the last op away again.
  void RemoveLast() { RemoveAt(GetCount() - 1); }
  // Replaces the ops by copies (see Kt_ScriptOp); null leaves the list as it is. Returns the count.
  kt_long Assign(const Kt_ScriptOpList* source) { return Kt_ObjList::Assign(source); }
};
