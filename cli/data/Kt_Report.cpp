// SPDX-License-Identifier: MIT
#include "cli/data/Kt_Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "cli/Kt_File.h"
#include "cli/Kt_Visible.h"
#include "cli/show/Kt_Cell.h"

namespace kt::cli {
namespace {

// Faults that are shown of a load; nobody mends more at a time.
constexpr std::size_t kMaxShown = 10;
constexpr std::size_t kMaxShownOfRefused = 5;
constexpr std::size_t kMaxColumns = 10;
constexpr kt_long kShownCell = 40;  // columns of a terminal

// A fault of a row or of a cell.
struct Fault {
  std::int64_t line;
  std::string reason;  // of a row, or "cell not converted: column 'price'"
  Kt_WString text;     // of the row or the cell
  bool is_cell;
};

std::string ShownName(const std::string& path) {
  return path == kStandardInput ? "stdin" : WithVisibleControls(path);
}

std::string PlaceOf(const std::string& path, const DataReport& report) {
  std::string place = ShownName(path);
  if (report.error_line > 0) place += fmt::format(":{}", report.error_line);
  if (report.error_column > 0) place += fmt::format(":{}", report.error_column);
  return place;
}

std::string Count(std::int64_t count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string ShownCell(const Kt_WString& text) {
  return CutToWidth(WithVisibleControls(text), kShownCell).ToUtf8();
}

// Those that the report lists, in the order of their lines.
std::vector<Fault> FaultsOf(const Kt_LoadReport& rows) {
  std::vector<Fault> faults;
  for (const Kt_LoadReport::Row& row : rows.rejected) {
    faults.push_back({row.line, WithVisibleControls(row.reason).ToUtf8(), row.text, false});
  }
  for (const Kt_LoadReport::Cell& cell : rows.not_converted) {
    const std::string reason =
        fmt::format("cell not converted: column '{}'", ShownCell(cell.column));
    faults.push_back({cell.line, reason, cell.text, true});
  }
  std::stable_sort(faults.begin(), faults.end(),
                   [](const Fault& a, const Fault& b) { return a.line < b.line; });
  return faults;
}

std::string FaultLine(const std::string& path, const Fault& fault) {
  const std::string place = fmt::format("{}:{}: ", ShownName(path), fault.line);
  if (!fault.is_cell) return place + "row rejected: " + fault.reason;
  const std::string text = fault.text.IsEmpty() ? "" : ": '" + ShownCell(fault.text) + "'";
  return place + fault.reason + text;
}

void AppendCsv(const std::string& cell, std::string& out) {
  if (cell.find_first_of("\",\r\n") == cell.npos) {
    out += cell;
    return;
  }
  out += '"';
  for (const char unit : cell) {
    if (unit == '"') out += unit;
    out += unit;
  }
  out += '"';
}

// Cells that a row was rejected for are a part of that row's record.
std::string RejectsFile(const Kt_LoadReport& rows) {
  std::string out = "line,reason,record\r\n";
  for (const Fault& fault : FaultsOf(rows)) {
    out += fmt::format("{},", fault.line);
    AppendCsv(fault.reason, out);
    out += ',';
    AppendCsv(fault.text.ToUtf8(), out);
    out += "\r\n";
  }
  return out;
}

std::int64_t Allowed(const DataOptions& options) {
  constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();
  return options.allow_rejects.value_or(options.rejects.empty() ? 0 : kAll);
}

std::string RejectCounts(const Kt_LoadReport& rows) {
  std::string out;
  if (rows.rows_rejected > 0) out = fmt::format("{} rejected", rows.rows_rejected);
  if (rows.cells_not_converted > 0) {
    out += (out.empty() ? "" : ", ") + Count(rows.cells_not_converted, "cell", "cells") +
           " not converted";
  }
  return out;
}

// "2 of 1205 records rejected, 1 cell not converted".
std::string LossOf(const Kt_LoadReport& rows) {
  const kt_long records = std::max(rows.records, rows.rows_read + rows.rows_rejected);
  const std::string all = "of " + Count(records, "record", "records");
  if (rows.rows_rejected == 0) return RejectCounts(rows) + " " + all;
  const std::string cells = RejectCounts(rows).substr(RejectCounts(rows).find(" rejected"));
  return fmt::format("{} {}{}", rows.rows_rejected, all, cells);
}

// The first places, and what can be done.
std::string RefusedLines(const std::string& path, const DataReport& report, OptionStyle style) {
  std::string out;
  const std::vector<Fault> faults = FaultsOf(report.rows);
  const std::size_t shown = std::min(faults.size(), kMaxShownOfRefused);
  for (std::size_t at = 0; at < shown; ++at) out += "\n" + FaultLine(path, faults[at]);
  const std::int64_t more = report.RejectCount() - static_cast<std::int64_t>(shown);
  if (more > 0) out += fmt::format("\n{}: {} more", ShownName(path), more);
  const bool is_script = style == OptionStyle::kScript;
  return out + fmt::format(
                   "\n{}: {} writes such rows to a file and loads the rest; {}{} loads what it can",
                   ShownName(path), is_script ? "the option rejects=FILE" : "--rejects FILE",
                   is_script ? "allow-rejects=" : "--allow-rejects ", report.RejectCount());
}

template <class Item, class Line>
void AppendFirst(const std::vector<Item>& items, std::int64_t count, const std::string& path,
                 Line line, std::string& out) {
  const std::size_t shown = std::min(items.size(), kMaxShown);
  for (std::size_t at = 0; at < shown; ++at) out += line(items[at]) + "\n";
  const std::int64_t left_out = count - static_cast<std::int64_t>(shown);
  if (left_out > 0) out += fmt::format("{}: {} more are not shown\n", ShownName(path), left_out);
}

std::string SummaryLine(const std::string& path, const DataOptions& options,
                        const DataReport& report, bool verbose) {
  const Kt_LoadReport& rows = report.rows;
  std::string out = fmt::format("{}: {}", ShownName(path), Count(rows.rows_read, "row", "rows"));
  const std::string counts = RejectCounts(rows);
  if (!counts.empty()) out += ", " + counts;
  if (rows.rows_short > 0) {
    out += ", " + Count(rows.rows_short, "short row", "short rows") + " filled with nulls";
  }
  if (!counts.empty() && !options.rejects.empty()) out += ", see " + ShownName(options.rejects);
  if (verbose && rows.separator != 0 && rows.separator != u',' && rows.separator != u'\t') {
    out += ", separator " + ShownCell(Kt_WString(std::u16string_view(&rows.separator, 1)));
  }
  return out + '\n';
}

void AppendFaults(const std::string& path, const DataReport& report, std::string& out) {
  std::vector<Fault> rows;
  std::vector<Fault> cells;
  for (const Fault& fault : FaultsOf(report.rows)) (fault.is_cell ? cells : rows).push_back(fault);
  const auto line = [&](const Fault& fault) { return FaultLine(path, fault); };
  AppendFirst(rows, report.rows.rows_rejected, path, line, out);
  AppendFirst(cells, report.rows.cells_not_converted, path, line, out);
}

// One line for each column: "a.csv: column 'price': 3 'NA', 1 '-' taken for null".
void AppendNulls(const std::string& path, const Kt_LoadReport& rows, bool verbose,
                 std::string& out) {
  std::vector<std::pair<Kt_WString, std::string>> columns;
  for (const Kt_LoadReport::Nulls& nulls : rows.nulls) {
    const std::string part = fmt::format("{} '{}'", nulls.count, ShownCell(nulls.token));
    if (!columns.empty() && columns.back().first == nulls.column) {
      columns.back().second += ", " + part;
    } else {
      columns.emplace_back(nulls.column, part);
    }
  }
  const std::size_t shown = verbose ? columns.size() : std::min(columns.size(), kMaxColumns);
  for (std::size_t at = 0; at < shown; ++at) {
    out += fmt::format("{}: column '{}': {} taken for null\n", ShownName(path),
                       ShownCell(columns[at].first), columns[at].second);
  }
  if (shown == columns.size()) return;
  out += fmt::format(
      "{}: so were texts in {} (--verbose shows them)\n", ShownName(path),
      Count(std::ssize(columns) - static_cast<std::int64_t>(shown), "more column", "more columns"));
}

// Whether a shell and the options of a script take the value as it stands.
bool IsPlainValue(std::string_view value) {
  constexpr std::string_view kPlain = ",.:_+-/%@=";
  return !value.empty() && std::all_of(value.begin(), value.end(), [&](char unit) {
    return (unit >= '0' && unit <= '9') || (unit >= 'A' && unit <= 'Z') ||
           (unit >= 'a' && unit <= 'z') || kPlain.find(unit) != kPlain.npos;
  });
}

// "--decimal , --thousands ." as it is typed; in a script "decimal=, thousands=.".
std::string OptionText(const Kt_WString& option, OptionStyle style) {
  constexpr std::string_view kDashes = "--";
  const bool is_script = style == OptionStyle::kScript;
  const std::string text = option.ToUtf8();
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(" --", at), text.size());
    const std::string one = text.substr(at, end - at);
    at = end + 1;
    const std::size_t blank = one.find(' ');
    const std::string name = one.substr(0, blank);
    if (!out.empty()) out += ' ';
    out += is_script && name.starts_with(kDashes) ? name.substr(kDashes.size()) : name;
    if (blank == one.npos) continue;
    const std::string value = one.substr(blank + 1);
    const char* const quote = value.find('\'') == value.npos ? "'" : "\"";
    out += (is_script ? "=" : " ") + (IsPlainValue(value) ? value : quote + value + quote);
  }
  return out;
}

}  // namespace

bool AcceptRejects(const DataOptions& options, DataReport& report) {
  if (report.RejectCount() > Allowed(options)) {
    report.has_rejects = true;
    report.error = LossOf(report.rows) + "; nothing is loaded";
    return false;
  }
  std::string reason;
  if (options.rejects.empty() ||
      WriteFileBytes(options.rejects, RejectsFile(report.rows), reason, options.links)) {
    return true;
  }
  report.error = fmt::format("cannot write '{}': {}", options.rejects, reason);
  return false;
}

std::string DescribeError(const std::string& path, const DataReport& report) {
  return PlaceOf(path, report) + ": error: " + WithVisibleControls(report.error) +
         (report.has_rejects ? RefusedLines(path, report, OptionStyle::kCommandLine) : "");
}

std::string DescribeFault(const std::string& path, const DataReport& report, OptionStyle style) {
  return PlaceOf(path, report) + ": " + WithVisibleControls(report.error) +
         (report.has_rejects ? RefusedLines(path, report, style) : "");
}

std::string DescribeLoad(const std::string& path, const DataOptions& options,
                         const DataReport& report, bool verbose, OptionStyle style) {
  const Kt_LoadReport& rows = report.rows;
  std::string out;
  if (!report.IsClean() || rows.rows_short > 0 || verbose) {
    out = SummaryLine(path, options, report, verbose);
  }
  if (options.rejects.empty()) AppendFaults(path, report, out);
  const std::string name = ShownName(path);
  if (!report.guessed_encoding.empty()) {
    out += fmt::format("{}: read as {}, the likeliest encoding\n", name, report.guessed_encoding);
  }
  if (!rows.row_name_column.IsEmpty()) {
    out += fmt::format("{}: the header is one cell short; the first column is called '{}'\n", name,
                       ShownCell(rows.row_name_column));
  }
  AppendNulls(path, rows, verbose, out);
  for (const Kt_LoadReport::Hint& hint : rows.hints) {
    out += fmt::format("{}: column '{}' is text, as '{}'; {} would read it\n", name,
                       ShownCell(hint.column), ShownCell(hint.example),
                       OptionText(hint.option, style));
  }
  return out;
}

}  // namespace kt::cli
