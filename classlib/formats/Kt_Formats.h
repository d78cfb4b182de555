// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_LoadReport.h"
#include "classlib/store/Kt_SaveReport.h"

class Kt_Buffer;
class Kt_Dataset;

// The forms in which files hold a dataset.
//
//   Kt_LoadReport report;
//   if (kt::LoadXml(orders, text, true, report) < 0) ... report.error, report.error_line
//
// Every load either takes effect as a whole or leaves the dataset as it was. One that clears
// replaces rows, states and, when the data says what its columns are, all columns but logical ones;
// otherwise columns are matched by id and missing ones added. Appended rows keep the state that the
// data gives them. The number of rows loaded; or a negative result, with the reason and, as far as
// there is one, the place in fields of the report.
//
// Saves take rows as they are shown: type "" or "all"; "nf": without filters; "update": inserted
// and updated rows. The number of rows; otherwise nothing is saved, and the code of the report is
// returned: for another type, for what would be too long, and for a value that the form cannot
// hold, which the report names.
//
// What is saved loads back equal, except that CSV has the cells of stored columns and no states,
// and cells of variant columns come back from it as text; lists are refused there. Objects are
// refused everywhere, and lists inside lists beyond 65 levels.
namespace kt {

// CSV: quotes as in RFC 4180; lines end with LF, CR LF or CR. The header has "id", "id:type" or
// "id:type(size)"; Kt_CellForms.h finds the types that neither it nor the dataset gives. An empty
// cell without quotes is null. Short rows are filled with nulls; rows with too many cells and lines
// with misplaced quotes are rejected. Every record is loaded or rejected, and the report tells what
// was lost or found out.
KT_CLASS_API kt_long LoadCsv(Kt_Dataset& dataset, std::u16string_view text,
                             const Kt_CsvOptions& options, Kt_LoadReport& report);
KT_CLASS_API kt_long LoadCsv(Kt_Dataset& dataset, std::string_view utf8,
                             const Kt_CsvOptions& options, Kt_LoadReport& report);
KT_CLASS_API kt_long SaveCsv(const Kt_Dataset& dataset, std::u16string_view type,
                             const Kt_CsvSaveOptions& options, Kt_WString& out,
                             Kt_SaveReport& report);
// In UTF-8, which refuses halves of surrogate pairs. May be longer than a text.
KT_CLASS_API kt_long SaveCsv(const Kt_Dataset& dataset, std::u16string_view type,
                             const Kt_CsvSaveOptions& options, Kt_Buffer& out,
                             Kt_SaveReport& report);

// JSON, in UTF-8:
//
//   [{"id": 1, "name": "a"}, {"id": 2}]       objects: a column per member, as they appear
//   [["id", "name"], [1, "a"], [2]]           lists: the first one holds the column ids
//   {"rows": [...], ...}                      either, beside members that are skipped
//   {"items": [{"id": 1, "name": "a"}]}       objects in the only member, whatever it is called
//   {"id": 1, "name": "a"}\n{"id": 2}\n       one object or list after the other
//
// Types that the dataset does not give are found as for CSV; types in the options are those of all
// columns: then the columns that were there go. Cells of computed columns are told as not
// converted.
//
// Rows are saved as objects with every column. Numbers are the shortest that read back equal; dates
// are texts in ISO 8601 where those do, else day numbers; binaries are texts in hexadecimal.
// Refused are numbers that are infinite or NaN, and objects.
KT_CLASS_API kt_long LoadJson(Kt_Dataset& dataset, std::string_view utf8,
                              const Kt_JsonOptions& options, Kt_LoadReport& report);
KT_CLASS_API kt_long SaveJson(const Kt_Dataset& dataset, std::u16string_view type,
                              const Kt_JsonSaveOptions& options, Kt_Buffer& out,
                              Kt_SaveReport& report);

// XML keeps everything that the store knows of the rows it saves: values of every kind but objects,
// states, first values, deleted rows in their places. Without `header` types are left out, and the
// columns take those that the loading dataset has.
KT_CLASS_API kt_long LoadXml(Kt_Dataset& dataset, std::u16string_view text, bool clear,
                             Kt_LoadReport& report);
KT_CLASS_API kt_long SaveXml(const Kt_Dataset& dataset, std::u16string_view type, bool header,
                             Kt_WString& out, Kt_SaveReport& report);

// The binary form keeps the same. Damaged or shortened data is refused as a whole.
KT_CLASS_API kt_long LoadBinary(Kt_Dataset& dataset, std::span<const std::uint8_t> bytes,
                                bool clear, Kt_LoadReport& report);
KT_CLASS_API kt_long SaveBinary(const Kt_Dataset& dataset, std::u16string_view type, Kt_Buffer& out,
                                Kt_SaveReport& report);

// Columns in memory, which the dataset takes over: with `clear` in place of the stored columns and
// rows that it had, otherwise their rows are appended. All have the same number of rows, which are
// normal ones. The number of rows; -1 for other columns and where the dataset does not take rows,
// or the code of the refusal.
struct ColumnData {
  Kt_WString id;
  std::shared_ptr<Kt_Column> cells;
};
KT_CLASS_API kt_long LoadColumns(Kt_Dataset& dataset, std::span<const ColumnData> columns,
                                 bool clear);

}  // namespace kt
