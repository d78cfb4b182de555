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
  // kDecides: 1 when the whole number of its operand is not 0. That, and not the operand's truth,
  // is what the left side of && and || is asked for: 0.5 && 1 is 0.
  enum class Kind : std::uint8_t { kConstant, kName, kOperator, kCall, kDecides };
  Kind kind = Kind::kConstant;
  Operator op = Operator::kAdd;                        // kOperator; ! has one operand
  Kt_Variant value;                                    // kConstant
  Kt_WString name;                                     // kName, kCall
  std::vector<std::shared_ptr<const ExprNode>> parts;  // operands, arguments
};
using ExprNodeRef = std::shared_ptr<const ExprNode>;

// The tree of a program whose names and calls do nothing but give values. Null for programs that
// do more: elements, references, assignments.
//
// && and || choose their way by jumps: the first operand that decides ends the whole group without
// brackets ("0 && x || 1" is 0). Where the ways meet, the tree says so again:
//
//   a && b || c     ->  decides(a) && ((a && b) || c)
ExprNodeRef MakeExprTree(const ExprProgram& program);

}  // namespace kt::detail
