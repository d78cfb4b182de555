// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Sheet.h"

#include <algorithm>

#include "cli/show/Kt_View.h"

namespace kt::cli {

Kt_XlsxTable SheetOf(const Kt_CliView& view, const SheetOptions& options) {
  Kt_XlsxTable table;
  if (!view.Dataset().GetId().IsEmpty()) table.sheet = view.Dataset().GetId().ToUtf8();
  for (const Kt_CliView::Column& column : view.Columns()) {
    table.columns.push_back(
        {column.heading, column.type, static_cast<int>(options.decimals.value_or(-1))});
  }
  const kt_long rows = options.rows > 0 ? std::min(options.rows, view.RowCount()) : view.RowCount();
  table.last_is_total = !view.Total().empty();
  table.row_count = rows + (table.last_is_total ? 1 : 0);
  table.cell = [&view, rows](kt_long row, std::size_t column) {
    return row < rows ? view.Cell(row, column) : view.Total()[column];
  };
  if (view.MixesLevels()) {
    table.level = [&view, rows](kt_long row) { return row < rows ? view.Level(row) : 0; };
  }
  return table;
}

}  // namespace kt::cli
