// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_Codes.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/detail/Kt_TableDoor.h"

namespace kt {

kt_long LoadColumns(Kt_Dataset& dataset, std::span<const ColumnData> columns, bool clear) {
  detail::LoadedTable table;
  table.has_column_info = true;
  const std::size_t rows = columns.empty() ? 0 : columns.front().cells->RowCount();
  if (rows > static_cast<std::size_t>(kMaxDatasetRows)) return kErrRowNotAdded;
  try {
    for (const ColumnData& column : columns) {
      if (column.id.IsEmpty() || column.cells->RowCount() != rows) return kFailed;
      table.columns.push_back({column.id, {}, column.cells->Type(), 0, column.cells});
    }
  } catch (const std::bad_alloc& failure) {
    return NoteMemoryFailure(failure);
  }
  table.row_count = static_cast<std::uint32_t>(rows);
  return detail::TableDoor::Take(dataset, table, clear);
}

}  // namespace kt
