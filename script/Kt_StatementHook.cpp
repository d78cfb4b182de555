// SPDX-License-Identifier: MIT
#include "script/Kt_StatementHook.h"

#include "script/detail/Kt_RunState.h"

Kt_StatementHook::~Kt_StatementHook() = default;

void Kt_StatementHook::OnBranch(const Kt_StatementPlace& /*place*/, kt_long /*taken*/) {}

void SetStatementHook(Kt_Script& script, Kt_StatementHook* hook) {
  kt::detail::RunState::Of(script).SetHook(hook);
}
