// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

// Every operator over two values: the name and code of its record in a parsed expression (see
// Kt_ExprOp.h for the digits), its token, its name, and what it makes of `left` and `right`: 0 and
// the result, or a code. The prefix ! has an empty `left`.
//
// The only list: enumerators, the evaluator, compiled code, constant folding, compound assignment,
// messages and dumps are made from it. Arithmetic comes first, in the order of the compound
// assignments (+= -= *= /= %=), then the relations.
// clang-format off
#define KT_OPERATORS(X)                                                                           \
  X(kOpAdd,          0x3316, "+",  kAdd,          VarAdd(left, right, result))                    \
  X(kOpSub,          0x3326, "-",  kSub,          VarSub(left, right, result))                    \
  X(kOpMul,          0x3347, "*",  kMul,          VarMul(left, right, result))                    \
  X(kOpDiv,          0x3357, "/",  kDiv,          VarDiv(left, right, result))                    \
  X(kOpMod,          0x3367, "%",  kMod,          VarMod(left, right, result))                    \
  X(kOpEqual,        0x3214, "=",  kEqual,        Give(VarCmp(left, right, kCmpEqual), result))   \
  X(kOpNotEqual,     0x3264, "<>", kNotEqual,     Give(!VarCmp(left, right, kCmpEqual), result))  \
  X(kOpGreater,      0x3224, ">",  kGreater,      Give(VarCmp(left, right, kCmpGreater), result)) \
  X(kOpGreaterEqual, 0x3234, ">=", kGreaterEqual,                                                 \
    Give(VarCmp(left, right, kCmpGreaterEqual), result))                                          \
  X(kOpLess,         0x3244, "<",  kLess,         Give(VarCmp(left, right, kCmpLess), result))    \
  X(kOpLessEqual,    0x3254, "<=", kLessEqual,                                                    \
    Give(VarCmp(left, right, kCmpLessEqual), result))                                             \
  X(kOpAnd,          0x3122, "&&", kAnd,          Give(Var_AndOr(left, right, kLogicAnd), result)) \
  X(kOpOr,           0x3111, "||", kOr,           Give(Var_AndOr(left, right, kLogicOr), result)) \
  X(kOpNot,          0x3138, "!",  kNot,          Give(!Var_IsTrue(right), result))               \
  /* Computes nothing, on purpose. */                                                             \
  X(kOpLoneAnd,      0x3336, "&",  kLoneAnd,      (result = right, kOk))
// clang-format on

namespace kt {

enum class Operator : std::uint8_t {
#define KT_OPERATOR_NAME(record, code, token, name, compute) name,
  KT_OPERATORS(KT_OPERATOR_NAME)
#undef KT_OPERATOR_NAME
};

constexpr bool IsArithmetic(Operator op) { return op <= Operator::kMod; }
constexpr bool IsRelation(Operator op) {
  return op >= Operator::kEqual && op <= Operator::kLessEqual;
}

// The token, as messages show it.
constexpr const char16_t* OperatorText(Operator op) {
  constexpr const char16_t* kTexts[] = {
#define KT_OPERATOR_TEXT(record, code, token, name, compute) u"" token,
      KT_OPERATORS(KT_OPERATOR_TEXT)
#undef KT_OPERATOR_TEXT
  };
  return kTexts[static_cast<std::size_t>(op)];
}

}  // namespace kt
