// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "connect/sql/detail/Kt_SqlTerm.h"

namespace kt::detail {

// A built-in function, and what becomes of it in a statement.
struct SqlFunction {
  using Make = SqlTerms::Term (*)(SqlTerms& terms, std::span<const SqlTerm> args);
  const char* name;
  Make make;              // null: it is not translated
  const char* becomes;    // what it becomes, or why it does not become anything
  const char* condition;  // of the translation
};

// Sorted by name without regard to case, one for every built-in function.
std::span<const SqlFunction> SqlFunctions();
const SqlFunction* FindSqlFunction(const Kt_WString& name);

}  // namespace kt::detail
