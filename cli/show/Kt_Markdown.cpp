// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Markdown.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "classlib/text/Kt_Unicode.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Visible.h"
#include "cli/show/Kt_View.h"

namespace kt::cli {
namespace {

constexpr kt_long kLeastWidth = 3;  // of the dashes below a heading

bool IsWordUnit(char16_t unit) {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
         (unit >= u'a' && unit <= u'z') || unit == u'_' || unit >= 0x80;
}

// A "_" inside of a word and an "&" that begins no entity mean nothing.
bool IsMark(std::u16string_view text, std::size_t at) {
  const char16_t unit = text[at];
  if (unit == u'_') {
    return at == 0 || at + 1 == text.size() || !IsWordUnit(text[at - 1]) ||
           !IsWordUnit(text[at + 1]);
  }
  if (unit == u'&') {
    const std::size_t end = text.find(u';', at);
    return end != text.npos && text.substr(at, end - at).find(u' ') == text.npos;
  }
  return std::u16string_view(u"\\|`*[]<>~$").find(unit) != std::u16string_view::npos;
}

class MarkdownWriter {
 public:
  MarkdownWriter(const Kt_CliView& view, const MarkdownOptions& options)
      : view_(view), options_(options) {}

  std::string Write() {
    if (view_.Columns().empty()) return {};
    rows_ = view_.RowCount();
    if (options_.rows > 0) rows_ = std::min(rows_, options_.rows);
    if (view_.MixesLevels()) AddLevels();
    for (std::size_t at = 0; at < view_.Columns().size(); ++at) AddColumn(at);
    if (Kt_WorkMeter::CurrentStop() != 0) return {};
    const std::size_t lines = columns_[0].cells.size();
    for (std::size_t line = 0; line < lines && GoesOn(columns_.size()); ++line) {
      WriteLine(line);
      if (line == 0) WriteRule();
    }
    return std::move(out_);
  }

 private:
  // The heading, a cell for each row, and the total when there is one.
  struct Column {
    std::vector<Kt_WString> cells;
    bool right = false;
    kt_long width = kLeastWidth;
  };

  void Add(Column& column, const Kt_WString& cell) {
    column.width = std::max(column.width, kt_displaywidthW(cell));
    column.cells.push_back(cell);
  }

  void AddLevels() {
    Column column;
    Add(column, u"");
    for (kt_long row = 0; row < rows_; ++row) {
      const kt_long level = view_.Level(row);
      Add(column, level > 0 ? Kt_WString::FromUtf8(fmt::format("Σ{}", level)) : Kt_WString());
    }
    if (!view_.Total().empty()) Add(column, u"Σ");
    columns_.push_back(std::move(column));
  }

  void AddColumn(std::size_t at) {
    Kt_CliCellFormat format;
    format.SetDecimals(options_.decimals);
    for (kt_long row = 0; row < rows_ && GoesOn(); ++row) {
      format.Measure(view_.Cell(row, at), view_.MadeBy(row, at));
    }
    const bool has_total = !view_.Total().empty();
    if (has_total && !view_.IsTotalLabel(at)) {
      format.Measure(view_.Total()[at], view_.Columns()[at].total);
    }
    Column column;
    column.right = format.IsNumeric();
    Add(column, MarkdownText(view_.Columns()[at].heading));
    for (kt_long row = 0; row < rows_ && GoesOn(); ++row) {
      Add(column, CellText(format, view_.Cell(row, at), view_.MadeBy(row, at)));
    }
    if (has_total) {
      const Kt_WString total = CellText(format, view_.Total()[at], view_.Columns()[at].total);
      Add(column, total.IsEmpty() ? total : Kt_WString(u"**") + total + u"**");
    }
    columns_.push_back(std::move(column));
  }

  static Kt_WString CellText(const Kt_CliCellFormat& format, const Kt_Variant& value,
                             Kt_Aggregate made_by) {
    if (value.IsEmpty()) return {};
    return MarkdownText(value.IsString() ? value.AsString() : format.Text(value, made_by));
  }

  void WriteLine(std::size_t line) {
    out_ += '|';
    for (const Column& column : columns_) {
      const Kt_WString& cell = column.cells[line];
      const auto blanks = static_cast<std::size_t>(column.width - kt_displaywidthW(cell));
      out_ += ' ';
      if (column.right) out_.append(blanks, ' ');
      out_ += cell.ToUtf8();
      if (!column.right) out_.append(blanks, ' ');
      out_ += " |";
    }
    out_ += '\n';
  }

  void WriteRule() {
    out_ += '|';
    for (const Column& column : columns_) {
      out_ += ' ';
      out_.append(static_cast<std::size_t>(column.width) - (column.right ? 1 : 0), '-');
      out_ += column.right ? ": |" : " |";
    }
    out_ += '\n';
  }

  const Kt_CliView& view_;
  const MarkdownOptions& options_;
  kt_long rows_ = 0;
  std::vector<Column> columns_;
  std::string out_;
};

}  // namespace

Kt_WString MarkdownText(const Kt_WString& text) {
  const std::u16string_view view = text;
  Kt_WString lines;
  for (std::size_t at = 0; at < view.size(); ++at) {
    if (view[at] == u'\r' && at + 1 < view.size() && view[at + 1] == u'\n') continue;
    if (view[at] == u'\r' || view[at] == u'\n') {
      lines += u"<br>";
      continue;
    }
    if (IsMark(view, at)) lines += u'\\';
    lines += view[at];
  }
  return WithVisibleControls(lines);
}

std::string MarkdownTable(const Kt_CliView& view, const MarkdownOptions& options) {
  return MarkdownWriter(view, options).Write();
}

}  // namespace kt::cli
