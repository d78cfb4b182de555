// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_UniqueIds.h"

// What `kt show` shows of a dataset, as a plain grid: some of its columns, or those of a cross
// table, and some of its rows, subtotal rows among them. Table, chart, page and files all read it.
//
// Cells are read when they are asked for, so a view of a million rows costs nothing.
// Borrows the dataset, which must not change meanwhile. Threads: those of the dataset.
class Kt_CliView {
 public:
  struct Column {
    Kt_WString heading;     // unique within the view
    kt_long col = -1;       // of the dataset; or kRowCountCol, kLevelCol, kStateCol
    kt_long position = -1;  // of a cross table; kAcross: its total over all positions
    Kt_ColumnType type = Kt_ColumnType::kString;
    Kt_Aggregate total = Kt_Aggregate::kNone;  // what subtotal rows show
    // Of an average whose cells are sums: the dataset column that says of how many values.
    kt_long count_col = -1;
  };
  static constexpr kt_long kRowCountCol = -2;  // the records that a subtotal row stands for
  static constexpr kt_long kLevelCol = -3;
  static constexpr kt_long kStateCol = -4;  // "insert", "update" or nothing
  static constexpr kt_long kAcross = -2;

  // Shows all columns and all rows.
  explicit Kt_CliView(const Kt_Dataset& dataset);

  const Kt_Dataset& Dataset() const { return dataset_; }
  const std::vector<Column>& Columns() const { return columns_; }
  // Headings that are there already get a number after them. New columns have no total.
  void SetColumns(std::vector<Column> columns);
  void AddColumn(Column column, bool in_front = false);
  // Only the subtotal rows up to that level; 0: all rows again.
  void ShowSubtotals(kt_long max_level);
  // Puts the rows in the order of some columns; equal ones stay as they are, nulls come last. Only
  // the rows of a view are moved, the dataset stays as it is.
  struct SortKey {
    std::size_t column;
    bool descending;
  };
  void SortRows(const std::vector<SortKey>& keys);
  // The last line of the table; as many values as there are columns, or none.
  void SetTotal(std::vector<Kt_Variant> total) { total_ = std::move(total); }
  const std::vector<Kt_Variant>& Total() const { return total_; }
  // Whether the total of a column is not made of its cells, but says what the line is.
  bool IsTotalLabel(std::size_t column) const {
    return total_[column].IsString() && columns_[column].total == Kt_Aggregate::kNone;
  }
  // The columns whose values say what a row is about, for charts: the keys of groups and cross
  // tables. Empty: not known.
  void SetLabelColumns(std::vector<std::size_t> columns) { label_columns_ = std::move(columns); }
  const std::vector<std::size_t>& LabelColumns() const { return label_columns_; }

  // The dataset columns that the levels of subtotals go by, outermost first.
  void SetGroupKeys(std::vector<kt_long> keys) { group_keys_ = std::move(keys); }

  // Of a dataset whose records stand for several rows each: the column that says for how many.
  void SetRowCounts(kt_long col) { row_counts_col_ = col; }
  // How many records, or rows that they stand for, are between two rows of the dataset.
  Kt_Variant CountRows(kt_long start, kt_long end) const;
  static Kt_Variant Average(const Kt_Variant& sum, const Kt_Variant& count);

  // That so many rows follow which were not loaded.
  void SetMoreRows(std::int64_t rows) { more_rows_ = rows; }
  std::int64_t MoreRows() const { return more_rows_; }

  kt_long RowCount() const;
  kt_long Level(kt_long row) const;  // 0: a record
  // True when rows of different levels stand among each other.
  bool MixesLevels() const { return mixes_levels_; }
  void SetMixesLevels(bool on) { mixes_levels_ = on; }
  Kt_Variant Cell(kt_long row, std::size_t column) const;
  // Whether an empty cell is a null, not just nothing to say: a subtotal row has values for its
  // keys and totals only.
  bool IsNull(kt_long row, std::size_t column) const;
  // What made the value of a cell of many others; kNone: it is as it was loaded.
  Kt_Aggregate MadeBy(kt_long row, std::size_t column) const;
  // The column of that heading or of that dataset column, without regard to case and to blanks at
  // the ends of the heading; -1: none.
  std::ptrdiff_t FindColumn(std::u16string_view name) const;

  // The rows of the view, without the total, as records of a dataset, columns named by the
  // headings. At most `max_rows`; 0: all. False without memory.
  bool CopyTo(Kt_Dataset& target, kt_long max_rows = 0) const;

 private:
  kt_long DatasetRow(kt_long row) const { return some_rows_ ? rows_[AsIndex(row)] : row; }
  static std::size_t AsIndex(kt_long row) { return static_cast<std::size_t>(row); }
  Kt_Variant StateText(kt_long dataset_row) const;
  Kt_Variant ReadCell(kt_long dataset_row, kt_long col, kt_long position) const;

  const Kt_Dataset& dataset_;
  std::vector<Column> columns_;
  Kt_UniqueIds headings_{u" "};  // which become ids of columns in files
  std::vector<std::size_t> label_columns_;
  std::vector<kt_long> group_keys_;
  kt_long row_counts_col_ = -1;
  std::int64_t more_rows_ = 0;
  std::vector<kt_long> rows_;  // of the dataset, when only some are shown
  bool some_rows_ = false;
  bool mixes_levels_ = false;
  std::vector<Kt_Variant> total_;
};
