// SPDX-License-Identifier: MIT
//
// Any bytes as CSV, read by the first byte's options: every row of the text is loaded or rejected
// as a plain reader of the rules would have it, UTF-8 and UTF-16 give the same, and what was loaded
// saves and loads back equal.
#include <string>
#include <vector>

#include "fuzz/dataset_check.h"

using kt::fuzz::Check;

namespace {

// ---- The rules, read slowly -------------------------------------------------------------------

struct PlainRow {
  bool good = true;
  struct Cell {
    std::u16string text;
    bool quoted = false;
  };
  std::vector<Cell> cells;
};

class PlainReader {
 public:
  PlainReader(std::u16string_view text, char16_t separator) : text_(text), separator_(separator) {}

  bool Next(PlainRow& row) {
    row = {};
    if (at_ == text_.size()) return false;
    const std::size_t start = at_;
    for (;;) {
      PlainRow::Cell& cell = row.cells.emplace_back();
      if (At(at_) == u'"') {
        if (!Quoted(cell)) at_ = start;
        row.good = at_ != start && (at_ == text_.size() || At(at_) == separator_ || IsEnd());
      } else {
        while (at_ < text_.size() && At(at_) != separator_ && At(at_) != u'"' && !IsEnd()) {
          cell.text += text_[at_++];
        }
        row.good = At(at_) != u'"';
      }
      if (row.good && at_ < text_.size() && At(at_) == separator_) {
        ++at_;
        continue;
      }
      while (at_ < text_.size() && !IsEnd()) ++at_;
      if (at_ < text_.size() && text_[at_++] == u'\r' && At(at_) == u'\n') ++at_;
      return true;
    }
  }

 private:
  char16_t At(std::size_t at) const { return at < text_.size() ? text_[at] : u'\0'; }
  bool IsEnd() const { return text_[at_] == u'\n' || text_[at_] == u'\r'; }
  // False when the quote is never closed.
  bool Quoted(PlainRow::Cell& cell) {
    cell.quoted = true;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] == u'"' && At(at_ + 1) != u'"') {
        ++at_;
        return true;
      }
      if (text_[at_] == u'"') ++at_;
      cell.text += text_[at_];
    }
    return false;
  }

  std::u16string_view text_;
  char16_t separator_;
  std::size_t at_ = 0;
};

// ---- Properties -------------------------------------------------------------------------------

// A text cell has the text of the file; any other says whether there was one.
void CheckCell(const Kt_Dataset& data, kt_long row, kt_long col, const PlainRow& plain) {
  const Kt_Variant value = data.ReadColumnNF(row, col);
  if (static_cast<std::size_t>(col) >= plain.cells.size()) {
    return Check(value.IsEmpty(), "short rows are filled with nulls");
  }
  const PlainRow::Cell& cell = plain.cells[static_cast<std::size_t>(col)];
  if (cell.text.empty() && !cell.quoted) return Check(value.IsEmpty(), "an empty cell is null");
  if (data.GetColType(col) == Kt_ColumnType::kString) {
    Check(value.IsString() && value.AsStringView() == cell.text, "a text is as in the file");
  }
}

// Into an empty dataset, so that the columns are those of the file.
void CheckRows(const Kt_Dataset& data, std::u16string_view text, const Kt_CsvOptions& options,
               const Kt_LoadReport& report) {
  if (text.starts_with(u'\xFEFF')) text.remove_prefix(1);
  PlainReader reader(text, options.separator);
  PlainRow row;
  if (options.header) reader.Next(row);
  const auto columns = static_cast<std::size_t>(data.GetColCount());
  kt_long good = 0;
  kt_long bad = 0;
  while (reader.Next(row)) {
    if (!row.good || row.cells.size() > columns) {
      ++bad;
      continue;
    }
    const bool empty = row.cells.size() == 1 && row.cells[0].text.empty() && !row.cells[0].quoted;
    if (empty && columns > 1) continue;
    Check(good < data.GetRowCount(), "no good row is lost");
    for (kt_long col = 0; col < data.GetColCount(); ++col) CheckCell(data, good, col, row);
    ++good;
  }
  Check(good == report.rows_read && good == data.GetRowCount(), "no row is invented");
  Check(bad == report.rows_rejected, "every rejected row is counted");
}

void CheckReport(kt_long loaded, const Kt_LoadReport& report) {
  Check((loaded < 0) == !report.error.IsEmpty(), "a failed load says why");
  Check(report.rows_read == std::max(loaded, 0), "the report has the rows");
  const auto listed = [](kt_long count) {
    return std::min(static_cast<std::size_t>(count), Kt_LoadReport::kMaxListed);
  };
  Check(report.rejected.size() == listed(report.rows_rejected), "rejected rows are listed");
  Check(report.not_converted.size() == listed(report.cells_not_converted), "cells are listed");
  std::int64_t line = 0;
  for (const Kt_LoadReport::Row& row : report.rejected) {
    Check(row.line > line && !row.reason.IsEmpty(), "lines rise, with a reason");
    line = row.line;
  }
}

void CheckComesBack(const Kt_Dataset& data, char16_t separator) {
  Kt_WString text;
  Check(data.SaveCSV(text, u"nf", separator) == data.GetRowCountNF(), "all rows are saved");
  Kt_CsvOptions options;
  options.separator = separator;
  Kt_LoadReport report;
  Kt_Dataset back;
  const kt_long loaded = back.LoadCSV(text, options, report);
  if (data.GetColCount() == 0) return Check(loaded == -1, "nothing is no table");
  Check(loaded == data.GetRowCountNF(), "all rows come back");
  Check(report.rows_rejected == 0 && report.cells_not_converted == 0, "what is saved is good");
  kt::fuzz::CheckSameCells(data, back);
}

// Columns of every type and two rows that the file's rows may join.
Kt_Dataset OldDataset() {
  Kt_Dataset data(u"old");
  data.AddColumn(u"a", u"long");
  data.AddColumn(u"b", u"variant");
  data.AddColumn(u"c", u"currency");
  data.AddColumn(u"d", u"datetime");
  data.AddColumn(u"e", u"binary");
  data.AddLogicalColumn(u"f", u"a");
  data.SetColumn(data.AppendRow(2), 0, kt_long{7});
  data.SetColumn(1, 1, Kt_WString(u"text"));
  return data;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  constexpr char16_t kSeparators[] = {u',', u';', u'\t', u'|', u' ', u'0', u'\x20AC', u'\0'};
  const unsigned choice = data[0];
  Kt_CsvOptions options;
  options.separator = kSeparators[choice & 7];
  options.header = (choice & 8) == 0;
  options.clear = (choice & 16) == 0;
  const bool into_old = (choice & 32) != 0;

  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const Kt_WString text = Kt_WString::FromUtf8(bytes);
  const Kt_Dataset target = into_old ? OldDataset() : Kt_Dataset();

  Kt_Dataset from_text(target);
  Kt_LoadReport text_report;
  const kt_long loaded = from_text.LoadCSV(text, options, text_report);
  CheckReport(loaded, text_report);
  if (kt::fuzz::IsLarge(from_text)) return 0;
  Kt_Dataset from_bytes(target);
  Kt_LoadReport bytes_report;
  Check(from_bytes.LoadCSVBytes(bytes, options, bytes_report) == loaded, "bytes are as text");
  CheckReport(loaded, bytes_report);
  Check(bytes_report.rows_rejected == text_report.rows_rejected, "bytes are rejected as text is");
  Check(bytes_report.cells_not_converted >= text_report.cells_not_converted,
        "bytes that are no UTF-8 are told of too");
  kt::fuzz::CheckSameStates(from_text, from_bytes);
  if (loaded < 0) {
    kt::fuzz::CheckSameStates(from_text, target);
    return 0;
  }
  kt::fuzz::CheckStates(from_text);
  Check(from_text.GetRowCount() == loaded + (options.clear ? 0 : target.GetRowCount()),
        "the answer is the number of rows");
  if (!into_old) CheckRows(from_text, text, options, text_report);
  if (!into_old) CheckComesBack(from_text, options.separator);
  return 0;
}
