// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_SaveReport.h"

// How the texts of a file become rows, and what became of them. One set of rules for CSV, TSV and
// JSON.

// In which order a date is written whose year does not come first.
enum class Kt_DateOrder : std::uint8_t { kDayMonthYear, kMonthDayYear, kYearMonthDay };

// How the text of a cell is read.
struct KT_CLASS_API Kt_CellRules {
  // Texts that are null in every column, whatever its type; an empty list turns that off. Nothing:
  // the usual ones (NA, N/A, n/a, NULL, null, None, #N/A, - and .), and those only in columns in
  // which all other cells are numbers or dates.
  std::optional<std::vector<Kt_WString>> null_tokens;
  // Types that are not to be found out: column id, type. Ids compare without regard to case.
  std::vector<std::pair<Kt_WString, Kt_ColumnType>> types;
  bool types_may_lack_columns = false;  // otherwise a file without a column of `types` is refused
  char16_t decimal = u'.';              // between the whole part and the fraction
  char16_t thousands = 0;               // between groups of three digits; 0: numbers have no groups
  bool currency_symbols = false;      // "$1.50", "1.50 EUR" and "(1.50)", which is below zero, are
                                      // numbers
  std::optional<Kt_DateOrder> dates;  // besides the ISO forms
};

// What loads of texts have in common.
struct KT_CLASS_API Kt_LoadOptions {
  bool clear = true;  // replaces the rows; otherwise appends
  // A row with a cell that does not convert is rejected as a whole; otherwise the cell is null, or
  // the number that its text begins with.
  bool reject_bad_cells = false;
  Kt_CellRules rules;
  // How many places the lists of the report hold.
  std::size_t max_listed = 1000;
};

struct KT_CLASS_API Kt_CsvOptions : Kt_LoadOptions {
  // Found out from the text: as separator and quote.
  static constexpr char16_t kAuto = 0xFFFF;

  char16_t separator = u',';  // kAuto: of comma, semicolon, tab and bar the one that cuts best
  char16_t preferred = u',';  // the one that a tie goes to
  char16_t quote = u'"';      // 0: cells have no quotes; kAuto: none when quotes do not pair
  char16_t comment = 0;       // lines that begin with it are left out; 0: there are none
  std::int64_t skip = 0;      // lines before the header that are left out
  bool header = true;  // the first row holds the column ids; otherwise they are column1, column2...
};

struct KT_CLASS_API Kt_JsonOptions : Kt_LoadOptions {
  bool may_be_empty = false;  // the text: a file with a row per line that has no row
};

// How rows become CSV.
struct KT_CLASS_API Kt_CsvSaveOptions {
  char16_t separator = u',';
  // Headings "id:type(size)", which a load takes the types from. Otherwise the ids alone, which
  // every program understands; in quotes where the id itself would be read as one with a type.
  bool typed = true;
  // An apostrophe goes before texts and headings that a spreadsheet would run as a formula: those
  // that begin with = + - @ a tab or CR, and are no number.
  bool guard_formulas = false;
};

// How the rows of a JSON text stand.
enum class Kt_JsonLayout : std::uint8_t {
  kList,     // a list with a row per line
  kLines,    // a row per line, and nothing else
  kOneLine,  // a list in one line, without a line feed
};

struct KT_CLASS_API Kt_JsonSaveOptions {
  Kt_JsonLayout layout = Kt_JsonLayout::kList;
  // For rows that are only shown: a number that JSON lacks is null then, and an object what this
  // appends. Nothing: such values refuse the save.
  Kt_ShowObject show_object;
};

// What a load made of its rows. Lists hold the first `max_listed`; the counts count all.
// For CSV, TSV and JSON, records == rows_read + rows_rejected after a load that succeeded, as far
// as the dataset was empty.
struct KT_CLASS_API Kt_LoadReport {
  static constexpr std::size_t kMaxListed = 1000;
  struct Row {
    std::int64_t line = 0;  // in which the row begins, from 1
    Kt_WString reason;
    Kt_WString text;  // the record as it stands in the file, without its line end
  };
  struct Cell {
    std::int64_t line = 0;
    Kt_WString column;
    Kt_WString text;  // of the cell
  };
  // How often a text stood for null in a column.
  struct Nulls {
    Kt_WString column;
    Kt_WString token;
    kt_long count = 0;
  };
  // A column of texts that nearly all look like numbers or dates in another notation.
  struct Hint {
    Kt_WString column;
    Kt_WString option;   // as the command line has it: "--decimal ,"
    Kt_WString example;  // one of the texts
  };
  kt_long records = 0;    // in the file, the header not counted
  kt_long rows_read = 0;  // now in the dataset
  kt_long rows_rejected = 0;
  kt_long rows_short = 0;           // had fewer cells than there are columns: nulls at the end
  kt_long cells_not_converted = 0;  // the cell is null, or the number that its text starts with
  std::vector<Row> rejected;
  std::vector<Row> short_rows;
  std::vector<Cell> not_converted;
  std::vector<Nulls> nulls;
  std::vector<Hint> hints;
  char16_t separator = 0;      // that was used; 0 when the format has none
  char16_t quote = 0;          // that was used
  Kt_WString row_name_column;  // made because the header was one cell short
  Kt_WString error;            // why nothing was loaded; empty when something was
  // Where, counted from 1; 0: unknown. Columns are characters.
  std::int64_t error_line = 0;
  std::int64_t error_column = 0;
};
