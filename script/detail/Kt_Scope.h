// SPDX-License-Identifier: MIT
#pragma once

#include "script/Kt_Script.h"

namespace kt::detail {

// A scope that the interpreter made, for a call or a block. It knows the scope around it without
// asking, so that names of the engine's own contexts are found without a virtual call.
class Scope final : public Kt_ScriptContext {
 public:
  // The scope of a call.
  explicit Scope(Kt_Script& script) : Kt_ScriptContext(&script, &script) {}
  // The scope of a block inside `outer`, which may be any context of a script.
  Scope(Kt_ExprObject* context, Scope* outer, Kt_Script& script)
      : Kt_ScriptContext(context, &script), outer_(outer) {}

  // The variable as the innermost scope of the call has it; null when no scope of the call does.
  // `hint` is where it was found last.
  static Kt_Variable* Find(Scope* scope, Kt_Symbol symbol, std::uint16_t& hint) {
    for (; scope != nullptr; scope = scope->outer_) {
      if (Kt_Variable* const found = scope->GetVariables().Find(symbol, hint)) return found;
    }
    return nullptr;
  }

 private:
  Scope* outer_ = nullptr;
};

}  // namespace kt::detail
