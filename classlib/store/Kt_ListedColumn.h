// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_Dataset.h"

namespace kt {

// The column that an item of a list of ids names, such as one of sort keys; -1: none. Items have no
// blanks at their ends, while ids may (files have headings like "id, name"), so those do not
// matter where no id is exactly the item.
inline kt_long FindListedColumn(const Kt_Dataset& dataset, const Kt_WString& item) {
  const kt_long exact = dataset.GetColIndex(item);
  for (kt_long col = 0; exact < 0 && col < dataset.GetColCount(); ++col) {
    Kt_WString id = dataset.GetColID(col);
    id.Trim();
    if (!id.IsEmpty() && id.EqualsNoCase(item)) return col;
  }
  return exact;
}

}  // namespace kt
