// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"

class Kt_Script;
class Kt_ScriptFunc;
class Kt_ScriptOpList;

// Operation trees as text. A line per statement: its line in the source (from 1), its code in
// hexadecimal, the name of the code, and its name and expressions with bars between them. What is
// nested stands indented below.
//
//   function total(items)
//       2  1010 var        sum | 0
//       3  6020 while      i < 3
//       3    3020 name +=    sum | i
//
// Control characters inside expressions are shown as blanks, so a statement never takes more than
// its line.
KT_SCRIPT_API Kt_WString DumpScriptOps(const Kt_ScriptOpList& ops);
// One function / every function of a script, in the order of their definitions.
KT_SCRIPT_API Kt_WString DumpScriptFunc(const Kt_ScriptFunc& func);
KT_SCRIPT_API Kt_WString DumpScript(const Kt_Script& script);

// The code that the function is translated to, an instruction per line: the line of the source
// where a statement begins, the number of the instruction, its name, its operands (variables by
// name, temps as t0, t1 ...), and what it does; for what is left to the evaluator or the walk, why.
KT_SCRIPT_API Kt_WString DumpScriptCode(Kt_Script& script, const Kt_ScriptFunc& func);
