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

kt_long Clamped(std::int64_t number) {
  return static_cast<kt_long>(std::min<std::int64_t>(number, std::numeric_limits<kt_long>::max()));
}

// Messages about one file. The texts are fit for a terminal.
class Messages {
 public:
  explicit Messages(const std::string& path) : name_(ShownName(path)) {}

  // With a line something was lost there.
  Diagnostic& Add(std::string text, std::int64_t line = 0) {
    Diagnostic& message = all_.emplace_back();
    message.severity = line > 0 ? Diagnostic::Severity::kWarning : Diagnostic::Severity::kNote;
    message.is_plain = true;
    message.text = std::move(text);
    message.file = name_;
    message.line = Clamped(line);
    return message;
  }
  std::vector<Diagnostic> Take() { return std::move(all_); }

 private:
  std::string name_;
  std::vector<Diagnostic> all_;
};

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

void AddFault(const Fault& fault, Messages& out) {
  const bool has_text = fault.is_cell && !fault.text.IsEmpty();
  out.Add((fault.is_cell ? "" : "row rejected: ") + fault.reason +
              (has_text ? ": '" + ShownCell(fault.text) + "'" : ""),
          fault.line);
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
void AddRefused(const DataReport& report, OptionStyle style, Messages& out) {
  const std::vector<Fault> faults = FaultsOf(report.rows);
  const std::size_t shown = std::min(faults.size(), kMaxShownOfRefused);
  for (std::size_t at = 0; at < shown; ++at) AddFault(faults[at], out);
  const std::int64_t more = report.RejectCount() - static_cast<std::int64_t>(shown);
  if (more > 0) out.Add(fmt::format("{} more", more));
  const bool is_script = style == OptionStyle::kScript;
  out.Add(fmt::format("{} writes such rows to a file and loads the rest; {}{} loads what it can",
                      is_script ? "the option rejects=FILE" : "--rejects FILE",
                      is_script ? "allow-rejects=" : "--allow-rejects ", report.RejectCount()));
}

std::string SummaryLine(const DataOptions& options, const DataReport& report, bool verbose) {
  const Kt_LoadReport& rows = report.rows;
  std::string out = Count(rows.rows_read, "row", "rows");
  const std::string counts = RejectCounts(rows);
  if (!counts.empty()) out += ", " + counts;
  if (rows.rows_short > 0) {
    out += ", " + Count(rows.rows_short, "short row", "short rows") + " filled with nulls";
  }
  if (!counts.empty() && !options.rejects.empty()) out += ", see " + ShownName(options.rejects);
  if (verbose && rows.separator != 0 && rows.separator != u',' && rows.separator != u'\t') {
    out += ", separator " + ShownCell(Kt_WString(std::u16string_view(&rows.separator, 1)));
  }
  return out;
}

void AddFirst(const std::vector<Fault>& faults, std::int64_t count, Messages& out) {
  const std::size_t shown = std::min(faults.size(), kMaxShown);
  for (std::size_t at = 0; at < shown; ++at) AddFault(faults[at], out);
  const std::int64_t left_out = count - static_cast<std::int64_t>(shown);
  if (left_out > 0) out.Add(fmt::format("{} more are not shown", left_out));
}

void AddFaults(const DataReport& report, Messages& out) {
  std::vector<Fault> rows;
  std::vector<Fault> cells;
  for (const Fault& fault : FaultsOf(report.rows)) (fault.is_cell ? cells : rows).push_back(fault);
  AddFirst(rows, report.rows.rows_rejected, out);
  AddFirst(cells, report.rows.cells_not_converted, out);
}

// One line for each column: "a.csv: column 'price': 3 'NA', 1 '-' taken for null".
void AddNulls(const Kt_LoadReport& rows, bool verbose, Messages& out) {
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
    out.Add(fmt::format("column '{}': {} taken for null", ShownCell(columns[at].first),
                        columns[at].second));
  }
  if (shown == columns.size()) return;
  out.Add(fmt::format("so were texts in {} (--verbose shows them)",
                      Count(std::ssize(columns) - static_cast<std::int64_t>(shown), "more column",
                            "more columns")));
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

std::vector<Diagnostic> LoadFault(const std::string& path, const DataReport& report,
                                  OptionStyle style) {
  Messages out(path);
  Diagnostic& error = out.Add(WithVisibleControls(report.error), report.error_line);
  error.severity = Diagnostic::Severity::kError;
  error.is_plain = false;
  error.column = Clamped(report.error_column);
  if (report.has_rejects) AddRefused(report, style, out);
  return out.Take();
}

std::vector<Diagnostic> LoadNotes(const std::string& path, const DataOptions& options,
                                  const DataReport& report, bool verbose, OptionStyle style) {
  const Kt_LoadReport& rows = report.rows;
  Messages out(path);
  if (!report.IsClean() || rows.rows_short > 0 || verbose) {
    out.Add(SummaryLine(options, report, verbose));
  }
  if (verbose) {
    for (const std::string& step : report.steps) out.Add(WithVisibleControls(step));
  }
  if (options.rejects.empty()) AddFaults(report, out);
  if (!report.guessed_encoding.empty()) {
    out.Add(fmt::format("read as {}, the likeliest encoding", report.guessed_encoding));
  }
  if (!rows.row_name_column.IsEmpty()) {
    out.Add(fmt::format("the header is one cell short; the first column is called '{}'",
                        ShownCell(rows.row_name_column)));
  }
  AddNulls(rows, verbose, out);
  for (const Kt_LoadReport::Hint& hint : rows.hints) {
    out.Add(fmt::format("column '{}' is text, as '{}'; {} would read it", ShownCell(hint.column),
                        ShownCell(hint.example), OptionText(hint.option, style)));
  }
  return out.Take();
}

}  // namespace kt::cli
