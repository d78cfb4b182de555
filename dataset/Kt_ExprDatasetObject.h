// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Object.h"
#include "object/Kt_ExprObject.h"

class Kt_Dataset;
class Kt_ExprDataset;

// A part of a dataset, named without copying it: what indexing a dataset gives. Indexing it again
// narrows it, its properties aggregate over it.
//
//   orders[3]            row          orders[3].price   cell
//   orders["price"]      column set   orders["price"].sum
//
// Where a plain value is wanted, a cell gives its value, a row the list of its cells; sets give
// none.
//
// Owned by the values that hold it. Notices when the wrapper or its dataset was destroyed: then
// properties give -1 and the id is empty. Rows and columns are looked up when it is asked, so what
// it names may change, and rows that are no more read empty. Read-only. Threads: those of the
// dataset.
class KT_SCRIPT_API Kt_ExprDatasetObject : public Kt_ExprObject {
 public:
  enum Kind { kRowSet = 1, kRow = 2, kColumnSet = 3, kCell = 4 };

  // `start` is the row of a row or cell; `count` rows, negative: up to the last one.
  Kt_ExprDatasetObject(int kind, Kt_ExprDataset* dataset, int start, int count,
                       const Kt_WString& column);
  Kt_ExprDatasetObject(int kind, Kt_ExprDataset* dataset, int start, int count,
                       const Kt_WString& column, int pivot_index);

  void DestroyObject() override { delete this; }
  Kt_WString GetID() const override;
  kt_long GetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      Kt_Variant& result) override;
  kt_long SetProperty(const Kt_WString& name, const Kt_VariantList* args,
                      const Kt_Variant& value) override;
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override;
  const char16_t* GetDefaultProp() const override;
  int GetItemCount() const override;
  kt_long GetItem(int index, Kt_Variant& result) override;
  kt_long GetItem(const Kt_WString& name, Kt_Variant& result) override;
  int ConvToString(Kt_WString& out) const override;
  int ConvToStream(Kt_Buffer& out) const override;

  // Of an expression over a row, whose context and its wrapper end before the value is used: a cell
  // becomes what it holds; everything else stays. REQUIRES: an object.
  KT_COLD static void TakeValueOfCell(Kt_Variant& value);

  ~Kt_ExprDatasetObject() override = default;

 private:
  Kt_ExprDataset* Wrapper() const;  // null when it has gone
  const Kt_Dataset* Data() const;   // null when it or the wrapper was destroyed
  // Stores a part of this part.
  void Narrow(int kind, int start, int count, const Kt_WString& column, Kt_Variant& result) const;
  bool GetColumnItem(const Kt_Dataset& dataset, const Kt_WString& id, Kt_Variant& result) const;
  kt_long RowCount(const Kt_Dataset& dataset) const;
  kt_long PlainRow(const Kt_Dataset& dataset, kt_long index) const;
  kt_long ReadMember(const Kt_Dataset& dataset, const Kt_WString& name, Kt_Variant& result) const;
  KT_COLD kt_long NoteNoMember(const Kt_Dataset& dataset, const Kt_WString& name) const;
  kt_long ReadRowSet(const Kt_Dataset& dataset, const Kt_WString& name, Kt_Variant& result) const;
  kt_long ReadRow(const Kt_Dataset& dataset, const Kt_WString& name, Kt_Variant& result) const;
  kt_long ReadColumnSet(const Kt_Dataset& dataset, const Kt_WString& name,
                        Kt_Variant& result) const;
  kt_long ReadCell(const Kt_Dataset& dataset, const Kt_WString& name, Kt_Variant& result) const;

  int kind_;
  Kt_ObjectHolder dataset_;  // the wrapper
  int start_;
  int count_;  // of a cell that was taken from a row, the column index
  Kt_WString column_;
  int pivot_index_ = -1;
};
