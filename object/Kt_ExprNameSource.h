// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"

// A context that lists the names it answers, so that the message about an unknown one can suggest
// what was meant. Contexts implement it beside Kt_ExprObject when they want to; the variables of
// Kt_ExprObject::AddVariableListChain, the functions of scripts and the built-in functions are
// known without it.
class KT_SCRIPT_API Kt_ExprNameSource {
 public:
  enum class Names : std::uint8_t { kValues, kCalls };  // plain names; names of functions

  virtual ~Kt_ExprNameSource() = default;

  // Appends its own names, not those of its parent. Asked after a fault only.
  virtual void AddNames(Names which, std::vector<Kt_WString>& names) const = 0;
};
