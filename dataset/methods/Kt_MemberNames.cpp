// SPDX-License-Identifier: MIT
#include "dataset/methods/Kt_MemberNames.h"

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"

namespace kt::detail {

void AddColumnNames(const Kt_Dataset& dataset, std::vector<Kt_WString>& names) {
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) names.push_back(dataset.GetColID(col));
}

void AddPropertyNames(std::vector<Kt_WString>& names) {
  const _EXPR_SIMPLEPROP_INFO* const rows = Kt_ExprDataset::GetDSetPropMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetPropCount(); ++row) {
    names.push_back(rows[row].name);
  }
}

void AddMethodNames(std::vector<Kt_WString>& names) {
  const _EXPR_OBJMETHOD_INFO* const rows = Kt_ExprDataset::GetDSetMethodMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    names.push_back(rows[row].name);
  }
}

kt_long NoteNoDataset(const Kt_WString& name) {
  return NoteCause(kFailed, Kt_Cause::kNoDataset, {name});
}

kt_long NoteNoColumn(const Kt_Dataset& dataset, const Kt_WString& name, const Kt_WString& id) {
  std::vector<Kt_WString> known;
  AddColumnNames(dataset, known);
  AddPropertyNames(known);
  return NoteCause(kFailed, Kt_Cause::kNoColumn, {name, id}, known);
}

kt_long NoteNoMethod(const Kt_WString& name, const Kt_WString& id) {
  std::vector<Kt_WString> known;
  AddMethodNames(known);
  return NoteCause(kFailed, Kt_Cause::kNoMethod, {name, id}, known);
}

}  // namespace kt::detail
