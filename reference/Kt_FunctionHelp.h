// SPDX-License-Identifier: MIT
#pragma once

#include "reference/Kt_HelpExample.h"

// What is said of one built-in function, in one place for help, completion and the reference. The
// call forms are the help text of the function table (Kt_ExprObject::GetIntFuncMap).
struct Kt_IntFuncDoc {
  const char16_t* name;        // as in the table
  const char16_t* does;        // what it gives
  const char16_t* odd;         // what it gives for missing, odd and very large arguments
  Kt_HelpExample examples[3];  // the plain case, an edge, and a use
};

// The entry of a function by name in any case; null when there is no such function.
KT_SCRIPT_API const Kt_IntFuncDoc* GetIntFuncDoc(const char16_t* name);
// The whole reference in Markdown, as docs/functions.md has it.
KT_SCRIPT_API Kt_WString MakeFunctionReference();
