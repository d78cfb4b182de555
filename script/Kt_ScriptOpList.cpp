// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptOpList.h"

#include "script/Kt_ScriptOpPayloads.h"

const Kt_ScriptOp& Kt_ScriptOpList::operator[](kt_long index) const {
  static const Kt_ScriptOp kEmpty;
  const Kt_ScriptOp* const op = GetItem(index);
  return op != nullptr ? *op : kEmpty;
}

kt_long Kt_ScriptOpList::FindVarOp(const char16_t* name) const {
  for (kt_long index = 0; name != nullptr && index < GetCount(); ++index) {
    const Kt_ScriptOp& op = *GetItem(index);
    if (op.opcode != kScriptVar && op.opcode != kScriptVarArray) continue;
    // An op that got code 0x1020 through SetOpCode has no name.
    if (op.HasName() && op.GetVar()->name.EqualsNoCase(name)) return index;
  }
  return -1;
}

Kt_ScriptOp* Kt_ScriptOpList::AddOp(std::int16_t code, kt_long line) {
  Kt_ScriptOp* const op = GetSafeItem(Append());
  if (op == nullptr) return nullptr;
  try {
    op->SetOpCode(code);
  } catch (...) {
    RemoveLast();
    throw;
  }
  op->SetLine(line);
  return op;
}
