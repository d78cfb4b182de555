// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_ExprNameSource.h"

class Kt_DatasetList;
class Kt_Script;

// The context in which an expression runs within one row of a dataset. Bare names are, in this
// order: row keywords, columns of the dataset, other datasets, variables, and what the parent
// context knows.
//
//   Kt_DatasetCtx context(&form, nullptr, &orders, nullptr, nullptr);
//   context.SetRowPosition(0, row, 0, row);
//   expr.ExecExpr(&context, value);           // "price * qty" reads the cells of that row
//
// A missing dataset leaves out what comes from it. Nothing is writable but columns and variables.
//
// Borrows everything it is given; a dataset may go at any time. Has no events.
// Threads: those of the dataset.
class KT_SCRIPT_API Kt_DatasetCtx : public Kt_ExprObject, public Kt_ExprNameSource {
 public:
  // Everything may be null. The parent's chain must outlive the context.
  Kt_DatasetCtx(Kt_ExprObject* parent, Kt_Script* script, Kt_Dataset* dataset,
                Kt_VariableList* variables, Kt_DatasetList* datasets);
  void SetDefaultDataset(Kt_Dataset* dataset);
  // The wrapper that the context moves over the rows.
  Kt_ExprDataset& GetWrapper() { return default_dataset_; }

  // ---- Cursor, as Kt_ExprDataset's; -1 (IsOriginalRow: 0) without a dataset --------------------
  void SetRowPosition(int position, int row, int original, int row_index);
  void SetCurRow(int row, int original, int row_index);
  void SetRowIdx(int row_index);
  int GetCurRow() const;
  int GetRowIdx() const;
  int IsOriginalRow() const;
  void SetPivotRowPosition(int position, int row, int original, int row_index);
  void SetCurPivotRow(int row, int original, int row_index);
  void SetPivotRowIdx(int row_index);
  int GetCurPivotRow() const;
  int GetPivotRowIdx() const;
  void SetPivotColPosition(int position, int col, int original, int col_index);
  void SetCurPivotCol(int col, int original, int col_index);
  void SetPivotColIdx(int col_index);
  int GetCurPivotCol() const;
  int GetPivotColIdx() const;

  // ---- Kt_ExprObject --------------------------------------------------------------------------
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      Kt_Variant& result) override;
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      const Kt_Variant& value) override;
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override;
  // Variables of the list, then those of the parent; nothing is created in either.
  kt_long GetCtxVar(const Kt_WString& name, Kt_Variable** var, Kt_Variant* value) override;
  kt_long SetCtxVar(const Kt_WString& name, const Kt_Variant& value, int flag) override;
  int IsValidComponent(Kt_Object* object) const override;
  Kt_Object* GetComponent(const Kt_WString& name) override;
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  Kt_ExprDataset* GetDefaultDataset() override;
  Kt_ExprDataset* GetChildDataset(const Kt_WString& name) override;
  void AddVariableListChain(Kt_VariableListChain& chain) override;
  void OnSystemError(const Kt_Result& result) override;
  void OnRunTimeError(const Kt_Result& result) override;
  void OnDebugTrace(const Kt_WString& text) override;
  Kt_ExprObject* GetChildContext(const Kt_WString& name) override;
  Kt_Script* GetScript() override { return script_; }
  // Columns and row keywords; methods of the dataset.
  void AddNames(Names which, std::vector<Kt_WString>& names) const override;

  // The 27 row keywords, sorted by name.
  static int GetKeywordCount();
  static const _EXPR_SIMPLEPROP_INFO* GetKeywordMap();

// clang-format off
#define KT_ROW_KEYWORD_HANDLERS(X) \
  X(KeyCount)                      \
  X(KeyCountNF)                    \
  X(KeyCurDataId)                  \
  X(KeyCurRow)                     \
  X(KeyRowIdx)                     \
  X(KeyRowPos)                     \
  X(KeyPrevRow)                    \
  X(KeyNextRow)                    \
  X(KeyFirstRow)                   \
  X(KeyLastRow)                    \
  X(KeyRowType)                    \
  X(KeyRowLevel)                   \
  X(KeyRangeStart)                 \
  X(KeyRangeCount)                 \
  X(KeyCurPivotIndex)              \
  X(KeyPivotIndex)                 \
  X(KeyPivotCount)                 \
  X(KeyPivotLevel)                 \
  X(KeyPivotPos)
// clang-format on
#define KT_DECLARE_KEYWORD(handler) kt_long handler(const Kt_VariantList* args, Kt_Variant& result);
  KT_ROW_KEYWORD_HANDLERS(KT_DECLARE_KEYWORD)
#undef KT_DECLARE_KEYWORD

 private:
  bool HasData() const { return default_dataset_.GetDataset() != nullptr; }
  Kt_ExprDataset* ListedDataset(const Kt_WString& name);

  Kt_Script* script_;
  Kt_DatasetList* datasets_;
  Kt_VariableList* variables_;
  Kt_ExprDataset default_dataset_;
  Kt_ExprDatasetList child_list_;
  std::vector<std::unique_ptr<Kt_ExprDataset>> children_;  // those of child_list_
};
