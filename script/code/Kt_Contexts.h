// SPDX-License-Identifier: MIT
#pragma once

#include "script/code/Kt_Machine.h"

namespace kt::detail {

// The contexts of a running function, for as long as code looks at them that asks by name: the
// evaluator, a built-in, a callback of the host. Its variables then lie in counted Kt_Variables,
// which the scopes and the registers share, so both see every change.
//
// At the end the scopes must have the variables that they had. Then they go, and what nobody else
// has kept returns to its register. Otherwise they stay, and the function goes on by names.
class Contexts {
 public:
  Contexts(Machine& machine, CodeFrame& frame);
  Contexts(const Contexts&) = delete;
  Contexts& operator=(const Contexts&) = delete;
  ~Contexts();

  // The context of the statement in hand.
  Scope* Get() const { return context_; }
  // Makes them stay: from the next statement on the function goes on by names.
  void Keep();

 private:
  void Build();
  bool IsUnchanged() const;

  Machine& machine_;
  CodeFrame& frame_;
  Scope* context_ = nullptr;
  bool is_own_ = false;  // made here
};

// Makes the scopes of `frame` those that are open at `pc`.
void OpenScopes(CodeFrame& frame, std::size_t pc, Kt_Script& script);

}  // namespace kt::detail
