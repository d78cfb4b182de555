// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_Column.h"
#include "classlib/value/Kt_Currency.h"
#include "classlib/value/Kt_DateTime.h"

namespace kt::detail {

// Kt_Column::Read in place, for what reads cells one by one. REQUIRES: row < column.RowCount().
KT_ALWAYS_INLINE Kt_Variant CellValue(const Kt_Column& column, std::size_t row) {
  if (KT_UNLIKELY(column.IsNull(row))) return {};
  switch (column.Type()) {
    case Kt_ColumnType::kLong: return column.Cells<Kt_Column::Longs>()[row];
    case Kt_ColumnType::kDouble: return column.Cells<Kt_Column::Doubles>()[row];
    case Kt_ColumnType::kDateTime: return Kt_DateTime{column.Cells<Kt_Column::Doubles>()[row]};
    case Kt_ColumnType::kCurrency:
      return Kt_Currency::FromUnits(column.Cells<Kt_Column::Units>()[row]);
    case Kt_ColumnType::kString: {
      const auto& texts = column.Cells<Kt_Column::Texts>();
      return texts.dictionary.Text(texts.codes[row]);
    }
    default: return column.Cells<Kt_Column::Values>()[row];
  }
}

}  // namespace kt::detail
