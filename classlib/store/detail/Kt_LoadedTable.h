// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_ColumnMap.h"
#include "classlib/store/detail/Kt_RowIndex.h"

namespace kt::detail {

struct LoadedColumn {
  Kt_WString id;
  Kt_WString map;  // of a logical column
  Kt_ColumnType type = Kt_ColumnType::kString;
  kt_long size = 0;
  std::shared_ptr<Kt_Column> cells{};            // null for a logical column
  std::shared_ptr<const Kt_MapOrigin> origin{};  // of a map that data brought
};

// A row that is not normal.
struct LoadedNote {
  std::uint32_t row = 0;
  kt_long type = 0;           // kRowTypeInsert, Update or Delete
  kt_long delete_number = 0;  // place among the deleted rows
  bool forced = false;
  std::vector<std::pair<std::uint32_t, Kt_Variant>> old_cells;  // column, first value
};

// What a file holds, before any of it reaches a dataset: a load that fails has changed nothing. And
// all that is known of the rows that a file will hold.
struct LoadedTable {
  Kt_WString id;
  bool has_column_info = false;  // types and sizes are the file's own
  std::vector<LoadedColumn> columns;
  std::vector<std::pair<Kt_WString, Kt_Variant>> constants;
  std::uint32_t row_count = 0;
  CountedVector<LoadedNote> notes;  // in order of first change

  kt_long RowCount() const { return static_cast<kt_long>(row_count); }
  // Without the deleted ones.
  kt_long PresentCount() const;
};

// The values of the rows that a file will hold, where that has neither states nor first values.
struct SavedRows {
  struct Column {
    Kt_WString id;
    kt_long size = 0;
    std::shared_ptr<const Kt_Column> cells;  // by slot
  };
  std::vector<Column> columns;
  CountedVector<Slot> slots;

  kt_long RowCount() const { return static_cast<kt_long>(slots.size()); }
};

// Rows of a table that has no cells cost a file nothing, so a file may only claim this many.
inline constexpr std::uint32_t kMaxRowsWithoutCells = 1 << 20;

// Adds nulls up to a row / stores a cell of that row, which is the last one that has any.
inline void PadTo(Kt_Column& cells, std::size_t rows) {
  if (cells.RowCount() < rows) cells.AppendNulls(rows - cells.RowCount());
}
inline void StoreLast(Kt_Column& cells, std::size_t row, const Kt_Variant& value) {
  PadTo(cells, row);
  if (cells.RowCount() == row) {
    cells.Append(value);
  } else {
    cells.Write(row, value);
  }
}

inline bool HasCells(const LoadedTable& table) {
  return std::any_of(table.columns.begin(), table.columns.end(),
                     [](const LoadedColumn& column) { return column.cells != nullptr; });
}

// Whether a table is out of all proportion to the text it is read from: many columns and many rows
// that give next to none of their cells would take gigabytes for a small file.
inline bool IsBlownUp(std::size_t columns, std::size_t rows, std::size_t text_units) {
  constexpr std::size_t kAlwaysFine = std::size_t{1} << 26;
  constexpr std::size_t kCellsPerUnit = 16;
  return columns * rows > kAlwaysFine + kCellsPerUnit * text_units;
}

}  // namespace kt::detail
