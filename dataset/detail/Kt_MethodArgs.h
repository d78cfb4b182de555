// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_FuncArgs.h"

namespace kt::detail {

// A column argument: an index when it is a long or a double, else an id. The index, or -1.
inline kt_long ColumnOf(const Kt_Dataset& dataset, const Kt_Variant& argument) {
  const auto tag = argument.GetTag();
  if (tag != kTagLong && tag != kTagDouble) return dataset.GetColIndex(argument.ToString());
  const kt_long col = argument.ToInteger();
  return col >= 0 && col < dataset.GetColCount() ? col : -1;
}

// True, and told to OnSystemError, on a dataset without rows of its own. `method` with its
// brackets: "AddRow()". The caller returns kErrDataset.
[[nodiscard]] inline bool RefusedOnLogical(Kt_ExprDataset& wrapper, const char16_t* method) {
  if (!wrapper.GetDataset()->IsLogical()) return false;
  Kt_Result refusal;
  refusal.AddMsg(kErrDataset, u"Kt_ExprDataset", 0, method);
  wrapper.OnSystemError(refusal);
  return true;
}

}  // namespace kt::detail
