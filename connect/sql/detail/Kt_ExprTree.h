// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "expr/Kt_ExprProgram.h"

namespace kt::detail {

// An expression as a tree: constants, names, operators, calls. Parts may be shared.
struct ExprNode {
  enum class Kind : std::uint8_t { kConstant, kName, kOperator, kCall };
  Kind kind = Kind::kConstant;
  Operator op = Operator::kAdd;  // kOperator; ! has one operand
  Kt_Variant value;              // kConstant
  Kt_WString name;               // kName, kCall
  std::vector<std::shared_ptr<const ExprNode>> parts;  // operands, arguments
};
using ExprNodeRef = std::shared_ptr<const ExprNode>;

// The tree of a program whose names and calls do nothing but give values. Null for programs that
// do more: elements, references, assignments.
//
// && and || choose their way by jumps: the first operand that decides ends the whole group without
// brackets ("0 && x || 1" is 0). Where the ways meet, the tree says so again:
//
//   0 && x || 1     ->  0 && ((0 && x) || 1)
ExprNodeRef MakeExprTree(const ExprProgram& program);

}  // namespace kt::detail
