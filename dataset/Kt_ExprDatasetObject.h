// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/Kt_Object.h"
#include "object/Kt_ExprObject.h"

class Kt_ExprDataset;

// A part of a dataset, named without copying it: what indexing a dataset gives. Indexing it again
// narrows it, its properties aggregate over it.
//
//   orders[3]            row          orders[3].price   cell
//   orders["price"]      column set   orders["price"].sum
//
// Owned by the values that hold it. Notices when the wrapper has gone: then properties give -1 and
// the id is empty. Threads: those of the dataset.
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

  ~Kt_ExprDatasetObject() override = default;

 private:
  Kt_ExprDataset* Dataset() const;  // null when it has gone

  int kind_;
  Kt_ObjectHolder dataset_;
  int start_;
  int count_;
  Kt_WString column_;
  int pivot_index_ = -1;
};
