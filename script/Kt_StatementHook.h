// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

class Kt_Script;
class Kt_ScriptFunc;
class Kt_ScriptOp;

// A statement that is about to run.
struct Kt_StatementPlace {
  const Kt_ScriptFunc& func;  // with the name of its source
  const Kt_ScriptOp& op;
  kt_long line;   // in that source, from 1; operations know no columns
  kt_long depth;  // calls of this script on the way, from 1
};

// Is told of every statement of a script that runs: for coverage, debuggers and profilers.
//
// While a script has one, its functions run by the walk over their operation trees, at a multiple
// of the time; without one nothing is asked of code. Exceptions pass through the run.
// Threads: that of the script.
class KT_SCRIPT_API Kt_StatementHook {
 public:
  Kt_StatementHook() = default;
  Kt_StatementHook(const Kt_StatementHook&) = delete;
  Kt_StatementHook& operator=(const Kt_StatementHook&) = delete;
  virtual ~Kt_StatementHook();

  virtual void OnStatement(const Kt_StatementPlace& place) = 0;
  // The statement goes on with one of its ways: the item of an if or a switch that is taken, its
  // count when none is; of a loop 1 into its body and 0 behind it.
  virtual void OnBranch(const Kt_StatementPlace& place, kt_long taken);
};

// Null for none, as at first. Borrows the hook; takes effect with the next call from outside.
KT_SCRIPT_API void SetStatementHook(Kt_Script& script, Kt_StatementHook* hook);
