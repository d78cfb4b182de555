// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "dataset/Kt_DatasetCtx.h"
#include "dataset/rows/Kt_RowNames.h"
#include "expr/Kt_ExprProgram.h"

// What the names and calls of a compiled expression over rows stand for.
namespace kt::detail {

struct MapNest;

// False, in all of them, for what only the evaluator can do.
//
// Assignments, elements and references need more than values.
bool HasPlainCode(const ExprProgram& program);
// What each name is, asked of the context as the evaluator would ask it. `nest`: the expression is
// the map of a logical column; else null.
bool FindNames(const ExprProgram& program, Kt_DatasetCtx& context, const Kt_Dataset& dataset,
               MapNest* nest, std::vector<RowName>& names);
// A name that any context knows as a call is not the built-in function of that name.
bool FindCalls(const ExprProgram& program, Kt_ExprObject& context, std::vector<RowCall>& calls);
// Where the cells of columns are at the moment. False when they are not what they were, as the
// source of a logical dataset may have been loaded anew.
bool FindCells(const Kt_Dataset& dataset, std::vector<RowName>& names);

// Reads the cell of a column with cells. REQUIRES: the record is there.
inline void ReadCell(RowName& name, std::uint32_t record) {
  if (KT_UNLIKELY(name.cells->IsNull(record))) {
    name.value.Clear();
  } else if (name.kind == RowName::Kind::kLongs) {
    name.value.Set(name.cells->Cells<Kt_Column::Longs>()[record]);
  } else if (name.kind == RowName::Kind::kDoubles) {
    name.value.Set(name.cells->Cells<Kt_Column::Doubles>()[record]);
  } else {
    name.value = name.cells->Read(record);
  }
}

// Calls visit(map, is_sure) for each place where a computed column is read, in the order of the
// code. `is_sure`: in every row, as it does not stand on the right of an && or ||.
template <class Visit>
void ForEachMap(const ExprProgram& program, const std::vector<RowName>& names, Visit visit) {
  std::size_t sure_from = 0;  // up to here a test may jump
  for (std::size_t at = 0; at < program.instrs.size(); ++at) {
    const CodeInstr& in = program.instrs[at];
    const auto read = [&](std::uint16_t operand) {
      if (operand < CodeOperand::kNameBase) return;
      const RowName& name = names[operand - CodeOperand::kNameBase];
      if (name.map != nullptr) visit(*name.map, at >= sure_from);
    };
    if (in.op != CodeOp::kCall && in.op != CodeOp::kNot) read(in.a);
    if (IsOperator(in.op)) read(in.b);
    if (in.op == CodeOp::kTestAnd || in.op == CodeOp::kTestOr) {
      sure_from = std::max(sure_from, static_cast<std::size_t>(in.extra));
    }
  }
}

}  // namespace kt::detail
