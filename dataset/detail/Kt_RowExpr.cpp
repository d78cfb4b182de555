// SPDX-License-Identifier: MIT
#include "dataset/detail/Kt_RowExpr.h"

#include "dataset/detail/Kt_RowLoop.h"

namespace kt::detail {

void RowExpr::Evaluate(RowLoop& loop, Kt_Variant& value) {
  if (expr_.ExecExpr(&loop.Placed(), value) != kOk) value.Clear();
}

}  // namespace kt::detail
