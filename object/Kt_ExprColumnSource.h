// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Aggregate.h"
#include "classlib/value/Kt_Variant.h"

// What a stack entry asks of the object behind a column (kinds 33 and 34): implemented by dataset
// wrappers beside Kt_ExprObject. Rows are visible rows, columns are indexes.
class KT_SCRIPT_API Kt_ExprColumnSource {
 public:
  using Aggregate = Kt_Aggregate;  // never kNone or kCount

  virtual ~Kt_ExprColumnSource() = default;

  // False while no data stands behind the wrapper: columns then read as empty.
  virtual bool HasData() const = 0;
  // The row that reading uses, and the row that writing uses, when an entry names none.
  virtual kt_long GetCurrentRow() const = 0;
  virtual kt_long GetWriteRow() const = 0;
  // -1 when there is no such column.
  virtual kt_long FindColumn(const Kt_WString& name) const = 0;
  // True while rows of the original-value buffer are being walked.
  virtual bool IsOriginalRowMode() const = 0;
  // The cell at the current pivot column of a pivot, else the plain cell.
  virtual void ReadColumn(kt_long row, kt_long col, Kt_Variant& result) const = 0;
  virtual void ReadOriginal(kt_long row, kt_long col, Kt_Variant& result) const = 0;
  virtual kt_long WriteColumn(kt_long row, kt_long col, const Kt_Variant& value) = 0;

  // Subtotal rows: the level (0 for a data row), the row index that a subtotal row records, and
  // whether subtotals stand before their rows (1) or after.
  virtual kt_long GetRowLevel(kt_long row) const = 0;
  virtual kt_long GetRowIndex(kt_long row) const = 0;
  virtual kt_long GetReverseSubSumStat() const = 0;
  // Over the rows from `start` to before `end`.
  virtual void ReadAggregate(Aggregate what, kt_long col, kt_long start, kt_long end,
                             Kt_Variant& result) const = 0;
};
