// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "common/test_host.h"
#include "expr/Kt_Expr.h"

namespace kt::test {

// The value of an expression as text; "!" and the message when it fails.
inline std::string EvalIn(TestContext& context, std::u16string_view text) {
  Kt_Expr expr;
  expr.SetExpr(Kt_WString(text));
  Kt_Variant value;
  context.errors.clear();
  if (expr.ExecExpr(&context, value) == 0) return value.ToString().ToUtf8();
  return "!" + (context.errors.empty() ? "" : context.errors[0].GetText().ToUtf8());
}

inline std::string Eval(std::u16string_view text) {
  TestContext context;
  return EvalIn(context, text);
}

// An expression and its value as text.
struct ExprRow {
  const char16_t* expression;
  const char16_t* wanted;
};

template <std::size_t Count>
void RunRows(const ExprRow (&rows)[Count]) {
  for (const ExprRow& row : rows) {
    EXPECT_EQ(Eval(row.expression), Kt_WString(row.wanted).ToUtf8())
        << Kt_WString(row.expression).ToUtf8();
  }
}

// Calls a handler by name as the evaluator does.
inline kt_long CallBuiltin(Kt_ExprObject& object, const char16_t* name, const Kt_VariantList& args,
                           Kt_Variant& result) {
  const Kt_Getter handler = Kt_ExprObject::GetIntFunc(name);
  if (handler == nullptr) return kFailed;
  return (static_cast<Kt_Object&>(object).*handler)(&args, result);
}

}  // namespace kt::test
