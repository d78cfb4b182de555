// SPDX-License-Identifier: MIT
//
// Any bytes as CSV, read by the options of the first bytes: every record of the text is loaded or
// rejected as a plain reader of the rules would have it, UTF-8 and UTF-16 give the same, and what
// was loaded saves and loads back equal.
#include <string>
#include <vector>

#include "fuzz/dataset_check.h"
#include "tests/classlib/plain_csv.h"

using kt::fuzz::Check;

namespace {

// ---- Properties -------------------------------------------------------------------------------

// A text cell has the text of the file, any other says whether there was one. Cells are not looked
// at when tokens or the rejection of bad cells change them.
void CheckCell(const Kt_Dataset& data, kt_long row, kt_long col, const PlainCsv::Record& plain) {
  const Kt_Variant value = data.ReadColumnNF(row, col);
  if (static_cast<std::size_t>(col) >= plain.cells.size()) {
    return Check(value.IsEmpty(), "short rows are filled with nulls");
  }
  const PlainCsv::Cell& cell = plain.cells[static_cast<std::size_t>(col)];
  if (cell.IsNull()) return Check(value.IsEmpty(), "an empty cell is null");
  if (data.GetColType(col) == Kt_ColumnType::kString) {
    Check(value.IsString() && value.AsStringView() == cell.text, "a text is as in the file");
  }
}

// Into an empty dataset, so that the columns are those of the file.
void CheckRows(const Kt_Dataset& data, std::u16string_view text, const Kt_CsvOptions& options,
               const Kt_LoadReport& report) {
  if (text.starts_with(u'\xFEFF')) text.remove_prefix(1);
  PlainCsv reader(text, report.separator, report.quote, options.comment);
  for (std::int64_t line = 0; line < options.skip; ++line) reader.SkipLine();
  PlainCsv::Record record;
  while (options.header && reader.Next(record) && record.IsEmpty()) continue;
  const auto columns = static_cast<std::size_t>(data.GetColCount());
  const bool cells_are_plain = !options.reject_bad_cells && !options.rules.null_tokens;
  kt_long good = 0;
  kt_long bad = 0;
  kt_long short_rows = 0;
  while (reader.Next(record)) {
    if (record.IsEmpty() && columns > 1) continue;
    while (record.cells.size() > columns && record.cells.back().IsNull()) record.cells.pop_back();
    if (!record.good || record.cells.size() > columns) {
      ++bad;
      continue;
    }
    short_rows += record.cells.size() < columns ? 1 : 0;
    for (kt_long col = 0; cells_are_plain && col < data.GetColCount(); ++col) {
      Check(good < data.GetRowCount(), "no good record is lost");
      CheckCell(data, good, col, record);
    }
    ++good;
  }
  Check(report.records == good + bad, "every record is counted");
  Check(report.rows_read == data.GetRowCount(), "no row is invented");
  if (options.reject_bad_cells) return;
  Check(report.rows_read == good, "good records are loaded");
  Check(report.rows_short == short_rows, "short rows are told");
}

void CheckReport(kt_long loaded, const Kt_LoadReport& report) {
  Check((loaded < 0) == !report.error.IsEmpty(), "a failed load says why");
  Check(report.rows_read == std::max(loaded, 0), "the report has the rows");
  Check(report.records == report.rows_read + report.rows_rejected, "no record is lost");
  const auto listed = [](kt_long count) {
    return std::min(static_cast<std::size_t>(count), Kt_LoadReport::kMaxListed);
  };
  Check(report.rejected.size() == listed(report.rows_rejected), "rejected rows are listed");
  Check(report.short_rows.size() == listed(report.rows_short), "short rows are listed");
  Check(report.not_converted.size() == listed(report.cells_not_converted), "cells are listed");
  std::int64_t line = 0;
  for (const Kt_LoadReport::Row& row : report.rejected) {
    Check(row.line > line && !row.reason.IsEmpty(), "lines rise, with a reason");
    line = row.line;
  }
}

// What two readings of a file say of its columns.
void CheckSameTelling(const Kt_LoadReport& a, const Kt_LoadReport& b) {
  Check(a.separator == b.separator && a.quote == b.quote, "both find the same signs");
  Check(a.row_name_column == b.row_name_column, "both find row names");
  Check(std::ranges::equal(a.nulls, b.nulls,
                           [](const auto& left, const auto& right) {
                             return left.column == right.column && left.token == right.token &&
                                    left.count == right.count;
                           }),
        "both find the same tokens for null");
  Check(std::ranges::equal(a.hints, b.hints,
                           [](const auto& left, const auto& right) {
                             return left.column == right.column && left.option == right.option;
                           }),
        "both give the same hints");
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

// Of the first byte, and where it says so of a second one.
Kt_CsvOptions OptionsOf(std::string_view& bytes) {
  constexpr char16_t kSeparators[] = {u',', u';', u'\t', u'|', u' ', u'0', u'\x20AC', u'\0'};
  const auto take = [&] {
    const auto byte = bytes.empty() ? 0u : static_cast<unsigned char>(bytes[0]);
    if (!bytes.empty()) bytes.remove_prefix(1);
    return byte;
  };
  const unsigned choice = take();
  Kt_CsvOptions options;
  options.separator = kSeparators[choice & 7];
  options.header = (choice & 8) == 0;
  options.clear = (choice & 16) == 0;
  if ((choice & 64) == 0) return options;
  const unsigned more = take();
  constexpr char16_t kQuotes[] = {u'"', u'\'', 0, Kt_CsvOptions::kAuto};
  options.quote = kQuotes[more & 3];
  if ((more & 4) != 0) options.separator = Kt_CsvOptions::kAuto;
  if ((more & 8) != 0) options.comment = u'#';
  options.skip = (more & 16) != 0 ? 1 : 0;
  options.reject_bad_cells = (more & 32) != 0;
  if ((more & 64) != 0) options.rules.null_tokens = {u"x", u"1", u""};
  if ((more & 128) == 0) return options;
  options.rules.decimal = u',';
  options.rules.thousands = (choice & 1) != 0 ? u'.' : u' ';
  options.rules.currency_symbols = (choice & 2) != 0;
  options.rules.dates = static_cast<Kt_DateOrder>(choice % 3);
  return options;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const bool into_old = (data[0] & 32) != 0;
  const Kt_CsvOptions options = OptionsOf(bytes);
  const Kt_WString text = Kt_WString::FromUtf8(bytes);
  const Kt_Dataset target = into_old ? OldDataset() : Kt_Dataset();

  Kt_Dataset from_text(target);
  Kt_LoadReport text_report;
  const kt_long loaded = from_text.LoadCSV(text, options, text_report);
  CheckReport(loaded, text_report);
  if (kt::fuzz::IsLarge(from_text)) return 0;
  Kt_Dataset from_bytes(target);
  Kt_LoadReport bytes_report;
  const kt_long bytes_loaded = from_bytes.LoadCSVBytes(bytes, options, bytes_report);
  CheckReport(bytes_loaded, bytes_report);
  // Bytes that are no UTF-8 are cells that do not convert, of bytes alone.
  if (options.reject_bad_cells && text.View().find(u'\xFFFD') != std::u16string_view::npos)
    return 0;
  Check(bytes_loaded == loaded, "bytes are as text");
  Check(bytes_report.rows_rejected == text_report.rows_rejected, "bytes are rejected as text is");
  Check(bytes_report.cells_not_converted >= text_report.cells_not_converted,
        "bytes that are no UTF-8 are told of too");
  CheckSameTelling(text_report, bytes_report);
  kt::fuzz::CheckSameStates(from_text, from_bytes);
  if (loaded < 0) {
    kt::fuzz::CheckSameStates(from_text, target);
    return 0;
  }
  kt::fuzz::CheckStates(from_text);
  Check(from_text.GetRowCount() == loaded + (options.clear ? 0 : target.GetRowCount()),
        "the answer is the number of rows");
  if (!into_old) CheckRows(from_text, text, options, text_report);
  if (!into_old) CheckComesBack(from_text, text_report.separator);
  return 0;
}
