// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "classlib/text/Kt_Unicode.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Visible.h"
#include "cli/show/Kt_View.h"

namespace kt::cli {
namespace {

constexpr const char* kBold = "\x1b[1m";
constexpr const char* kFaint = "\x1b[2m";
constexpr const char* kPlain = "\x1b[0m";

constexpr std::u16string_view kNullMark = u"·";
constexpr kt_long kGap = 2;      // between columns
constexpr kt_long kMinText = 8;  // texts are not cut below this while columns can be left out

class Table {
 public:
  Table(const Kt_CliView& view, const TableOptions& options, std::ostream& out)
      : view_(view), options_(options), out_(out) {}

  void Print() {
    row_count_ = view_.RowCount();
    shown_rows_ = options_.rows > 0 ? std::min(options_.rows, row_count_) : row_count_;
    MeasureColumns();
    FitColumns();
    PrintHeadings();
    PrintRule();
    for (kt_long row = 0; row < shown_rows_ && GoesOn(columns_.size()); ++row) PrintRow(row);
    PrintMoreRows();
    PrintTotal();
    PrintMoreColumns();
  }

 private:
  struct Column {
    Kt_CliCellFormat format;
    Kt_WString heading;
    Kt_WString type;
    bool right = false;
    bool whole = false;  // cells are not cut: half a number or date would be a lie
    kt_long width = 0;
  };
  // One cell of a line: what stands there and how.
  struct Cell {
    Kt_WString text;
    const char* style = "";
  };

  // ---- Layout ---------------------------------------------------------------------------------

  void MeasureColumns() {
    gutter_ = view_.MixesLevels() ? kt_long{4} : kt_long{0};
    columns_.resize(view_.Columns().size());
    for (std::size_t at = 0; at < columns_.size(); ++at) MeasureColumn(at);
  }

  void MeasureColumn(std::size_t at) {
    Column& column = columns_[at];
    const Kt_CliView::Column& shown = view_.Columns()[at];
    column.format.SetDecimals(options_.decimals);
    bool has_nulls = false;
    for (kt_long row = 0; row < shown_rows_ && GoesOn(); ++row) {
      const Kt_Variant cell = view_.Cell(row, at);
      has_nulls |= cell.IsEmpty();
      column.format.Measure(cell, view_.MadeBy(row, at));
    }
    const bool is_number_type = shown.type == Kt_ColumnType::kLong ||
                                shown.type == Kt_ColumnType::kDouble ||
                                shown.type == Kt_ColumnType::kCurrency;
    const bool has_total = at < view_.Total().size();
    const bool has_label = has_total && view_.IsTotalLabel(at);
    if (has_label) column.width = kt_displaywidthW(view_.Total()[at].AsString());
    if (has_total && !has_label) {
      column.format.Measure(view_.Total()[at], view_.Columns()[at].total);
    }
    column.right = column.format.IsNumeric() || (is_number_type && column.format.Width() == 0);
    column.whole = column.right || shown.type == Kt_ColumnType::kDateTime;
    column.heading = WithVisibleControls(shown.heading);
    if (options_.types) column.type = kt_columntypenameW(shown.type);
    column.width = std::max({column.width, column.format.Width(), kt_displaywidthW(column.heading),
                             kt_displaywidthW(column.type), has_nulls ? kt_long{1} : kt_long{0}});
  }

  // The width that a column cannot go below.
  static kt_long LeastWidth(const Column& column) {
    return column.whole ? column.width : std::min(column.width, kMinText);
  }

  void FitColumns() {
    shown_columns_ = columns_.size();
    if (options_.width <= 0) return;
    const kt_long room = std::max(options_.width - gutter_, kt_long{1});
    kt_long all = -kGap;
    kt_long least = -kGap;
    std::size_t fitting = 0;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      all += columns_[at].width + kGap;
      least += LeastWidth(columns_[at]) + kGap;
      const kt_long mark = at + 1 < columns_.size() ? kGap + 1 : 0;  // "…" for columns left out
      if (least + mark <= room) fitting = at + 1;
    }
    if (all <= room) return;
    shown_columns_ = std::max(fitting, std::size_t{1});
    has_more_columns_ = shown_columns_ < columns_.size();
    ShrinkTexts(room - (has_more_columns_ ? kGap + 1 : 0));
  }

  // Takes width from the widest texts until all columns fit: those that are narrow anyway stay as
  // they are, the others become equally wide.
  void ShrinkTexts(kt_long room) {
    kt_long fixed = static_cast<kt_long>(shown_columns_ - 1) * kGap;
    std::vector<Column*> texts;
    for (std::size_t at = 0; at < shown_columns_; ++at) {
      if (columns_[at].whole) {
        fixed += columns_[at].width;
      } else {
        texts.push_back(&columns_[at]);
      }
    }
    std::sort(texts.begin(), texts.end(),
              [](const Column* a, const Column* b) { return a->width < b->width; });
    kt_long left = room - fixed;
    for (std::size_t at = 0; at < texts.size(); ++at) {
      const kt_long share = left / static_cast<kt_long>(texts.size() - at);
      texts[at]->width = std::max(std::min(texts[at]->width, share), kt_long{1});
      left -= texts[at]->width;
    }
    // A single column of numbers may still be wider than the terminal.
    Column& first = columns_.front();
    if (shown_columns_ == 1) first.width = std::min(first.width, std::max(room, kt_long{1}));
  }

  // ---- Lines ----------------------------------------------------------------------------------

  // Blanks at the end of a line are left out.
  void Add(const Kt_WString& text, const char* style, kt_long blanks) {
    if (text.IsEmpty()) {
      pending_ += blanks;
      return;
    }
    line_.append(static_cast<std::size_t>(std::exchange(pending_, 0)), ' ');
    const bool styled = options_.colours && *style != 0;
    if (styled) line_ += style;
    line_ += text.ToUtf8();
    if (styled) line_ += kPlain;
    pending_ = blanks;
  }

  void EndLine() {
    line_ += '\n';
    out_ << line_;
    line_.clear();
    pending_ = 0;
  }

  void AddCell(const Column& column, const Cell& cell) {
    kt_long width = kt_displaywidthW(cell.text);
    const Kt_WString text = width > column.width ? CutToWidth(cell.text, column.width) : cell.text;
    if (width > column.width) width = kt_displaywidthW(text);
    const kt_long blanks = std::max(column.width - width, kt_long{0});
    if (!column.right) return Add(text, cell.style, blanks + kGap);
    // What lines the points up are blanks as well.
    Kt_WString number = text;
    number.RTrim();
    pending_ += number.IsEmpty() ? 0 : blanks;
    Add(number, cell.style,
        kGap + (text.GetLength() - number.GetLength()) + (number.IsEmpty() ? blanks : 0));
  }

  void EndCells() {
    if (has_more_columns_) Add(u"…", kFaint, 0);
    EndLine();
  }

  void AddGutter(const Kt_WString& mark, const char* style) {
    if (gutter_ > 0) Add(mark, style, gutter_ - kt_displaywidthW(mark));
  }

  void PrintHeadings() {
    AddGutter({}, "");
    for (std::size_t at = 0; at < shown_columns_; ++at) {
      AddCell(columns_[at], {columns_[at].heading, kBold});
    }
    EndCells();
    if (!options_.types) return;
    AddGutter({}, "");
    for (std::size_t at = 0; at < shown_columns_; ++at) {
      AddCell(columns_[at], {columns_[at].type, kFaint});
    }
    EndCells();
  }

  void PrintRule() {
    AddGutter({}, "");
    for (std::size_t at = 0; at < shown_columns_; ++at) {
      Kt_WString rule;
      for (kt_long unit = 0; unit < columns_[at].width; ++unit) rule += u'─';
      Add(rule, kFaint, kGap);
    }
    EndCells();
  }

  Cell CellOf(kt_long row, std::size_t at, const char* style) const {
    const Kt_Variant value = view_.Cell(row, at);
    if (value.IsEmpty())
      return {view_.IsNull(row, at) ? Kt_WString(kNullMark) : Kt_WString(), kFaint};
    const Kt_Aggregate made_by = view_.MadeBy(row, at);
    return {columns_[at].format.Padded(value, made_by, u' ', u' '), style};
  }

  void PrintRow(kt_long row) {
    const kt_long level = view_.MixesLevels() ? view_.Level(row) : 0;
    const char* const style = level > 0 ? kBold : "";
    Kt_WString mark;
    if (level > 0) mark = Kt_WString::FromUtf8(fmt::format("Σ{}", level));
    AddGutter(mark, style);
    for (std::size_t at = 0; at < shown_columns_; ++at) {
      AddCell(columns_[at], CellOf(row, at, style));
    }
    EndCells();
    // Subtotals that follow each other stand together.
    const bool is_last = row + 1 == shown_rows_;
    if (level > 0 && !is_last && view_.Level(row + 1) < level) out_ << '\n';
  }

  void PrintTotal() {
    if (view_.Total().empty()) return;
    PrintRule();
    AddGutter(u"Σ", kBold);
    for (std::size_t at = 0; at < shown_columns_; ++at) {
      const Kt_WString text =
          columns_[at].format.Padded(view_.Total()[at], view_.Columns()[at].total, u' ', u' ');
      AddCell(columns_[at], {text, kBold});
    }
    EndCells();
  }

  // Before the total, which is that of all rows.
  void PrintMoreRows() {
    const std::int64_t more = row_count_ - shown_rows_ + view_.MoreRows();
    if (more > 0) Note(fmt::format("… {} more row{}", more, more == 1 ? "" : "s"));
  }

  void PrintMoreColumns() {
    if (!has_more_columns_) return;
    const std::size_t more = columns_.size() - shown_columns_;
    constexpr std::size_t kNamed = 8;
    std::string names;
    for (std::size_t at = 0; at < std::min(more, kNamed); ++at) {
      names += (at == 0 ? ": " : ", ") + columns_[shown_columns_ + at].heading.ToUtf8();
    }
    Note(fmt::format("… {} more column{}{}{}", more, more == 1 ? "" : "s", names,
                     more > kNamed ? ", …" : ""));
  }

  void Note(const std::string& text) {
    Kt_WString note = Kt_WString::FromUtf8(text);
    if (options_.width > 0) note = CutToWidth(note, options_.width);
    Add(note, kFaint, 0);
    EndLine();
  }

  const Kt_CliView& view_;
  const TableOptions& options_;
  std::ostream& out_;
  kt_long row_count_ = 0;
  kt_long shown_rows_ = 0;
  kt_long gutter_ = 0;  // columns before the cells, for the marks of subtotals
  std::vector<Column> columns_;
  std::size_t shown_columns_ = 0;
  bool has_more_columns_ = false;
  std::string line_;
  kt_long pending_ = 0;  // blanks before what comes next in the line
};

}  // namespace

void PrintTable(const Kt_CliView& view, const TableOptions& options, std::ostream& out) {
  Table(view, options, out).Print();
}

}  // namespace kt::cli
