// SPDX-License-Identifier: MIT
#include "dataset/Kt_DatasetCtx.h"

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_DatasetList.h"
#include "dataset/methods/Kt_MemberNames.h"
#include "object/Kt_ExprObjInfo.h"
#include "object/Kt_OwnVariables.h"
#include "script/Kt_Script.h"

namespace {

constexpr const char16_t* kCurrentData = u"curdata";

// The row of a keyword, or null. Most names in row expressions are columns, so they are told by
// their first letter before they are searched.
const _EXPR_SIMPLEPROP_INFO* FindKeyword(const Kt_WString& name) {
  switch (name.GetAt(0) | 0x20) {
    case u'c':
    case u'f':
    case u'l':
    case u'n':
    case u'p':
    case u'r': break;
    default: return nullptr;
  }
  const _EXPR_SIMPLEPROP_INFO* const table = Kt_DatasetCtx::GetKeywordMap();
  const int row = FindSimplePropFuncIdx(table, Kt_DatasetCtx::GetKeywordCount(), name.GetText());
  return row < 0 ? nullptr : &table[row];
}

}  // namespace

Kt_DatasetCtx::Kt_DatasetCtx(Kt_ExprObject* parent, Kt_Script* script, Kt_Dataset* dataset,
                             Kt_VariableList* variables, Kt_DatasetList* datasets)
    : Kt_ExprObject(parent),
      script_(script),
      datasets_(datasets),
      variables_(variables),
      default_dataset_(dataset, this) {}

void Kt_DatasetCtx::SetDefaultDataset(Kt_Dataset* dataset) { default_dataset_.SetDataset(dataset); }

// Cursor ------------------------------------------------------------------------------------------

void Kt_DatasetCtx::SetRowPosition(int position, int row, int original, int row_index) {
  if (!HasData()) return;
  (void)default_dataset_.SetRowPosition(position);
  default_dataset_.SetCurRow(row, original, row_index);
}
void Kt_DatasetCtx::SetCurRow(int row, int original, int row_index) {
  if (HasData()) default_dataset_.SetCurRow(row, original, row_index);
}
void Kt_DatasetCtx::SetRowIdx(int row_index) {
  if (HasData()) default_dataset_.SetRowIdx(row_index);
}
int Kt_DatasetCtx::GetCurRow() const { return HasData() ? default_dataset_.GetCurRow() : -1; }
int Kt_DatasetCtx::GetRowIdx() const { return HasData() ? default_dataset_.GetRowIdx() : -1; }
int Kt_DatasetCtx::IsOriginalRow() const {
  return HasData() ? default_dataset_.IsOriginalRow() : 0;
}

void Kt_DatasetCtx::SetPivotRowPosition(int position, int row, int original, int row_index) {
  if (!HasData()) return;
  default_dataset_.SetPivotRowPosition(position);
  default_dataset_.SetCurPivotRow(row, original, row_index);
}
void Kt_DatasetCtx::SetCurPivotRow(int row, int original, int row_index) {
  if (HasData()) default_dataset_.SetCurPivotRow(row, original, row_index);
}
void Kt_DatasetCtx::SetPivotRowIdx(int row_index) {
  if (HasData()) default_dataset_.SetPivotRowIdx(row_index);
}
int Kt_DatasetCtx::GetCurPivotRow() const {
  return HasData() ? default_dataset_.GetCurPivotRow() : -1;
}
int Kt_DatasetCtx::GetPivotRowIdx() const {
  return HasData() ? default_dataset_.GetPivotRowIdx() : -1;
}

void Kt_DatasetCtx::SetPivotColPosition(int position, int col, int original, int col_index) {
  if (!HasData()) return;
  default_dataset_.SetPivotColPosition(position);
  default_dataset_.SetCurPivotCol(col, original, col_index);
}
void Kt_DatasetCtx::SetCurPivotCol(int col, int original, int col_index) {
  if (HasData()) default_dataset_.SetCurPivotCol(col, original, col_index);
}
void Kt_DatasetCtx::SetPivotColIdx(int col_index) {
  if (HasData()) default_dataset_.SetPivotColIdx(col_index);
}
int Kt_DatasetCtx::GetCurPivotCol() const {
  return HasData() ? default_dataset_.GetCurPivotCol() : -1;
}
int Kt_DatasetCtx::GetPivotColIdx() const {
  return HasData() ? default_dataset_.GetPivotColIdx() : -1;
}

// Names -------------------------------------------------------------------------------------------

int Kt_DatasetCtx::GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  if (HasData()) {
    if (name.EqualsNoCase(kCurrentData)) {
      info.SetDataset(&default_dataset_);
      return EXPR_OBJ_DATASET;
    }
    if (const _EXPR_SIMPLEPROP_INFO* const keyword = FindKeyword(name)) {
      info.SetObjProp(this, name, keyword->flags, keyword->get, keyword->set);
      return EXPR_OBJ_PROPERTY;
    }
    if (default_dataset_.FindColumn(name) >= 0) {
      info.SetColumn(&default_dataset_, name, -1);
      return EXPR_OBJ_COLUMN;
    }
  }
  if (Kt_ExprDataset* const listed = ListedDataset(name)) {
    info.SetDataset(listed);
    return EXPR_OBJ_DATASET;
  }
  if (kt::GetOwnVarType(this, variables_, name, info)) return EXPR_OBJ_VAR;
  return Kt_ExprObject::GetVarType(name, info);
}

int Kt_DatasetCtx::GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) {
  if (Kt_ScriptFunc* const func = script_ ? script_->GetFunc(name) : nullptr) {
    info.SetScriptFunc(this, name, func);
    return EXPR_OBJ_SCRIPTFUNC;
  }
  const int kind = Kt_ExprObject::GetMethodType(name, info);
  if (kind != EXPR_OBJ_UNKNOWN || !HasData()) return kind;
  const Kt_Getter method = Kt_ExprDataset::GetDSetMethodFunc(name.GetText());
  if (method == nullptr) return EXPR_OBJ_UNKNOWN;
  info.SetObjMethod(&default_dataset_, name, method);
  return EXPR_OBJ_METHOD;
}

kt_long Kt_DatasetCtx::GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                                   Kt_Variant& result) {
  if (!HasData()) return kFailed;
  const _EXPR_SIMPLEPROP_INFO* const keyword = FindKeyword(name);
  return keyword ? (this->*keyword->get)(args, result) : kNoMember;
}

kt_long Kt_DatasetCtx::SetProperty(const Kt_WString&, const Kt_VariantList*, const Kt_Variant&) {
  return HasData() ? kNoMember : kFailed;
}

kt_long Kt_DatasetCtx::CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                                  Kt_Variant& result) {
  if (HasData() && Kt_ExprDataset::GetDSetMethodFunc(name.GetText()) != nullptr) {
    return default_dataset_.CallMethod(name, args, result);
  }
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->CallMethod(name, args, result) : kFailed;
}

kt_long Kt_DatasetCtx::GetCtxVar(const Kt_WString& name, Kt_Variable** var, Kt_Variant* value) {
  return kt::GetOwnOrOuterVar(variables_, GetParentCtx(), name, var, value);
}

kt_long Kt_DatasetCtx::SetCtxVar(const Kt_WString& name, const Kt_Variant& value, int) {
  return kt::SetOwnOrOuterVar(variables_, GetParentCtx(), name, value);
}

// Datasets and the chain --------------------------------------------------------------------------

Kt_ExprDataset* Kt_DatasetCtx::ListedDataset(const Kt_WString& name) {
  Kt_Dataset* const dataset = datasets_ ? datasets_->Find(name) : nullptr;
  if (dataset == nullptr) return nullptr;
  // A wrapper whose dataset was destroyed is never found again, but kept: values may refer to it.
  if (const int index = child_list_.FindComp(dataset); index >= 0) {
    return child_list_.GetItem(index);
  }
  children_.push_back(std::make_unique<Kt_ExprDataset>(dataset, this));
  child_list_.Add(*children_.back());
  return children_.back().get();
}

Kt_ExprDataset* Kt_DatasetCtx::GetDefaultDataset() {
  if (HasData()) return &default_dataset_;
  Kt_ExprDataset* const outer = Kt_ExprObject::GetDefaultDataset();
  return outer ? outer : &default_dataset_;
}

Kt_ExprDataset* Kt_DatasetCtx::GetChildDataset(const Kt_WString& name) {
  if (name.EqualsNoCase(kCurrentData)) return GetDefaultDataset();
  if (Kt_ExprDataset* const listed = ListedDataset(name)) return listed;
  Kt_ExprDataset* const outer = Kt_ExprObject::GetChildDataset(name);
  return outer ? outer : &default_dataset_;
}

int Kt_DatasetCtx::IsValidComponent(Kt_Object*) const { return 1; }

Kt_Object* Kt_DatasetCtx::GetComponent(const Kt_WString& name) {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetComponent(name) : nullptr;
}

Kt_ExprObject* Kt_DatasetCtx::GetChildContext(const Kt_WString& name) {
  Kt_ExprObject* const parent = GetParentCtx();
  return parent ? parent->GetChildContext(name) : nullptr;
}

void Kt_DatasetCtx::AddVariableListChain(Kt_VariableListChain& chain) {
  if (variables_ != nullptr) chain.Add(variables_);
  Kt_ExprObject::AddVariableListChain(chain);
}

void Kt_DatasetCtx::AddNames(Names which, std::vector<Kt_WString>& names) const {
  const Kt_Dataset* const dataset = default_dataset_.GetDataset();
  if (dataset == nullptr) return;
  if (which == Names::kCalls) return kt::detail::AddMethodNames(names);
  kt::detail::AddColumnNames(*dataset, names);
  for (int row = 0; row < GetKeywordCount(); ++row) names.push_back(GetKeywordMap()[row].name);
}

void Kt_DatasetCtx::OnSystemError(const Kt_Result& result) { Kt_ExprObject::OnSystemError(result); }
void Kt_DatasetCtx::OnRunTimeError(const Kt_Result& result) {
  Kt_ExprObject::OnRunTimeError(result);
}
void Kt_DatasetCtx::OnDebugTrace(const Kt_WString& text) { Kt_ExprObject::OnDebugTrace(text); }
