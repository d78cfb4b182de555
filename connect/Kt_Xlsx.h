// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_LoadReport.h"
#include "connect/Kt_ConnectApi.h"

// Spreadsheets: XLSX workbooks (ECMA-376, also the strict form), read and written in parts, so that
// a million rows need little more memory than the dataset that they make. docs/spreadsheets.md says
// what becomes of the kinds of cells.
//
// The work is charged to the meter of the thread and memory is counted: deadlines, cancel flags and
// bounds of memory hold.

// Which cells of a workbook are loaded, and how. Of the rules, the tokens for null and the stated
// types count; numbers and dates are what the workbook says they are.
struct KT_CONNECT_API Kt_XlsxOptions : Kt_LoadOptions {
  std::string sheet;      // its name in any case, or its number from 1, in UTF-8; empty: the first
  bool header = true;     // the first row with values has the ids of the columns
  std::int64_t skip = 0;  // rows of the sheet above the header
};

// What is written as a sheet. Borrows what its functions refer to.
struct KT_CONNECT_API Kt_XlsxTable {
  struct Column {
    Kt_WString heading;
    Kt_ColumnType type = Kt_ColumnType::kString;
    int decimals = -1;  // that numbers are shown with; -1: as many as they have
  };
  std::string sheet = "data";  // its name in UTF-8; what no name may have is left out
  std::vector<Column> columns;
  kt_long row_count = 0;
  std::function<Kt_Variant(kt_long row, std::size_t column)> cell;
  // 0 for a record, otherwise the level of a subtotal, the outermost being 1. Empty: all records.
  std::function<kt_long(kt_long row)> level;
  bool last_is_total = false;  // the last row stands for all others
};

namespace kt {

// Whether the bytes may be a workbook: every archive begins so.
KT_CONNECT_API bool IsXlsx(std::string_view bytes);

// Replaces columns and rows of the dataset by those of a sheet; with options.clear off the rows are
// appended. Rows without values are left out; columns without heading that have values are called
// by their place. Places in the report are rows of the sheet, from 1. The number of rows; otherwise
// negative, with the reason in the report, and the dataset as it was.
KT_CONNECT_API kt_long LoadXlsx(Kt_Dataset& dataset, std::string_view bytes,
                                const Kt_XlsxOptions& options, Kt_LoadReport& report);

// Writes a workbook of one sheet: headings in bold that stay in sight, dates and amounts as such,
// subtotals in bold above their records, which fold (outlines). False, with the reason and nothing
// in `bytes`, for what a sheet cannot hold: more than 1,048,575 rows or 16,384 columns, texts of
// more than 32,767 characters, lists, objects; and when the work was stopped.
KT_CONNECT_API bool SaveXlsx(const Kt_XlsxTable& table, std::string& bytes, std::string& error);

}  // namespace kt
