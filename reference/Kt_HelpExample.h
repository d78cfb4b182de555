// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "classlib/text/Kt_WString.h"

// An example of the help texts, with what it gives.
struct Kt_HelpExample {
  const char16_t* example;  // expressions, one a line; or statements
  const char16_t* result;   // the value of the last one as toString shows it; or "error: ..."
};

// The examples with their results, for readers: `abs(-2.5)  => 2.5`. Those of one line stand below
// each other, longer ones are set apart by empty lines. Each line is ended.
KT_SCRIPT_API Kt_WString LayOutExamples(std::span<const Kt_HelpExample> examples);
