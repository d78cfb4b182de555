// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_RowBinding.h"

#include <algorithm>

#include "classlib/store/Kt_RowReader.h"
#include "dataset/rows/Kt_RowMap.h"
#include "object/Kt_ExprStackObj.h"

namespace kt::detail {

namespace {

// Functions that ask the context for more than to report a fault.
bool AsksContext(Kt_Getter function) {
  return function == kHandler<&Kt_ExprObject::_eval> ||
         function == kHandler<&Kt_ExprObject::_object> ||
         function == kHandler<&Kt_ExprObject::_DumpDataStatus>;
}

bool IsRowNumber(const Kt_WString& name) {
  return name.EqualsNoCase(u"row") || name.EqualsNoCase(u"rowidx") ||
         name.EqualsNoCase(u"rowindex");
}

RowName::Kind KindOfCells(Kt_ColumnType type) {
  switch (type) {
    case Kt_ColumnType::kLong: return RowName::Kind::kLongs;
    case Kt_ColumnType::kDouble: return RowName::Kind::kDoubles;
    default: return RowName::Kind::kCells;
  }
}

// Values of any kind may be objects, whose reading is the evaluator's.
bool FindColumn(const Kt_Dataset& dataset, MapNest* nest, RowName& name) {
  if (const Kt_Column* const cells = Kt_RowReader(dataset).GetShownCells(name.col)) {
    name.type = cells->Type();
    name.kind = KindOfCells(name.type);
  } else {
    MapNest first;
    name.map = RowMap::Make(dataset, name.col, nest != nullptr ? *nest : first);
    if (name.map == nullptr) return false;
    name.type = name.map->GetType();
    name.kind = RowName::Kind::kMapped;
  }
  return name.type != Kt_ColumnType::kVariant;
}

bool FindName(const Kt_WString& text, Kt_DatasetCtx& context, const Kt_Dataset& dataset,
              MapNest* nest, RowName& name) {
  Kt_ExprObjInfo info;
  (void)context.GetVarType(text, info);
  if (info.GetKind() == EXPR_OBJ_PROPERTY) {
    const Kt_ExprObjProperty& property = info.GetObjProperty();
    if (property.object.GetObject() != &context || property.get == nullptr) return false;
    name.kind = IsRowNumber(text) ? RowName::Kind::kRow : RowName::Kind::kKeyword;
    name.keyword = property.get;
    return true;
  }
  if (info.GetKind() != EXPR_OBJ_COLUMN) return false;
  const Kt_ExprObjColumn& column = info.GetObjColumn();
  if (column.dataset.GetObject() != &context.GetWrapper()) return false;
  name.col = dataset.GetColIndex(column.name.View());
  return FindColumn(dataset, nest, name);
}

bool IsPlainOperation(const CodeInstr& in) {
  switch (in.op) {
    case CodeOp::kStepBefore:
    case CodeOp::kStepAfter:
    case CodeOp::kElement:
    case CodeOp::kIndex:
    case CodeOp::kRef:
    case CodeOp::kTarget: return false;
    default: return true;
  }
}

}  // namespace

bool HasPlainCode(const ExprProgram& program) {
  return !program.IsEmpty() &&
         std::all_of(program.instrs.begin(), program.instrs.end(), IsPlainOperation);
}

bool FindNames(const ExprProgram& program, Kt_DatasetCtx& context, const Kt_Dataset& dataset,
               MapNest* nest, std::vector<RowName>& names) {
  names.assign(program.names.size(), {});
  for (std::size_t at = 0; at < names.size(); ++at) {
    if (!FindName(program.names[at], context, dataset, nest, names[at])) return false;
  }
  return true;
}

bool FindCalls(const ExprProgram& program, Kt_ExprObject& context, std::vector<RowCall>& calls) {
  calls.clear();
  for (const Kt_WString& text : program.calls) {
    Kt_ExprObjInfo info;
    const int kind = context.GetMethodType(text, info);
    const _EXPR_INTFUNC_INFO* const table = Kt_ExprObject::GetIntFuncMap();
    const int row = FindIntFuncIdx(table, Kt_ExprObject::GetIntFuncCount(), text.GetText());
    const bool is_builtin = info.GetKind() == EXPR_OBJ_NONE && kind == kUnknownName;
    if (!is_builtin || row < 0 || AsksContext(table[row].handler)) return false;
    calls.push_back({table[row].handler, table[row].effect == Kt_FuncEffect::kPure});
  }
  return true;
}

bool FindCells(const Kt_Dataset& dataset, std::vector<RowName>& names) {
  const Kt_RowReader reader(dataset);
  for (RowName& name : names) {
    if (name.col < 0) continue;
    if (name.map != nullptr) {
      if (!name.map->FindCells()) return false;
      continue;
    }
    name.cells = reader.GetShownCells(name.col);
    if (name.cells == nullptr || name.cells->Type() != name.type) return false;
  }
  return true;
}

}  // namespace kt::detail
