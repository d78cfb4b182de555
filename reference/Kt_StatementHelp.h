// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "classlib/base/Kt_Types.h"

// What is said of one statement of the language; several words may belong to it.
struct Kt_StatementDoc {
  const char16_t* names;    // "if, else"
  const char16_t* forms;    // one a line
  const char16_t* does;     // what it does
  const char16_t* odd;      // what surprises
  const char16_t* example;  // the body of a function, or a script with main(); empty for none
  const char16_t* result;   // what the function returns, as toString shows it
};

KT_SCRIPT_API std::span<const Kt_StatementDoc> GetStatementDocs();
