// SPDX-License-Identifier: MIT
//
// Any bytes as a JSON file of rows: it loads and its rows are accounted for, or the message has a
// place inside the text and the dataset is as it was. What loads comes back equal from a saved
// file. What another parser takes for JSON is never refused for its grammar.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "cli/data/Kt_Data.h"

namespace {

using kt::cli::DataFormat;
using kt::cli::DataOptions;
using kt::cli::DataReport;

void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

DataOptions Of(DataFormat format) {
  DataOptions options;
  options.format = format;
  options.allow_rejects = std::numeric_limits<std::int64_t>::max();
  return options;
}

Kt_Dataset EmptyLike(const Kt_Dataset& model) {
  Kt_Dataset dataset;
  for (kt_long col = 0; col < model.GetColCount(); ++col) {
    dataset.AddColumn(model.GetColID(col), model.GetColType(col));
  }
  return dataset;
}

// A text and a number are not the same cell; a number that is written as text is.
void CheckEqual(const Kt_Dataset& a, const Kt_Dataset& b) {
  Check(a.GetRowCount() == b.GetRowCount(), "as many rows come back");
  Check(a.GetColCount() == b.GetColCount(), "as many columns come back");
  for (kt_long row = 0; row < a.GetRowCount(); ++row) {
    for (kt_long col = 0; col < a.GetColCount(); ++col) {
      Check(!a.WouldChange(row, col, b.ReadColumn(row, col)), "cells come back equal");
    }
  }
}

void CheckRoundTrip(const Kt_Dataset& dataset, DataFormat format) {
  std::string bytes;
  std::string reason;
  Check(SaveData(Of(format), dataset, bytes, reason), "what loads can be saved");
  Kt_Dataset back = EmptyLike(dataset);
  DataReport report;
  Check(LoadData(bytes, Of(format), back, report), "what is saved loads");
  Check(report.IsClean(), "all of it");
  CheckEqual(dataset, back);
}

bool IsFaultOfShape(const DataReport& report) {
  for (const char* const text :
       {"expected a list of rows", "more than", "too many", "out of memory"}) {
    if (report.error.starts_with(text)) return true;
  }
  return false;
}

void CheckFailure(std::string_view text, const DataReport& report, const Kt_Dataset& dataset) {
  Check(!report.error.empty(), "a failed load says why");
  // Bytes that are no text are counted from the start.
  const bool is_text = report.error.find("at byte offset") == std::string::npos;
  Check(report.error_line >= 1 && (report.error_column >= 1 || !is_text), "and where");
  Check(report.error_column <= static_cast<std::int64_t>(text.size()) + 1, "inside the text");
  Check(dataset.GetRowCount() == 1 && dataset.GetColCount() == 1, "it changes nothing");
  // The other parser takes a zero for the end.
  if (IsFaultOfShape(report) || !is_text || text.find('\0') != text.npos) return;
  Check(!nlohmann::json::accept(text), "JSON is taken for JSON");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // UTF-16 is another reader's work.
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) return 0;
  Kt_Dataset dataset;
  dataset.AddColumn(u"kept");
  dataset.AppendRow();
  DataReport report;
  if (!LoadData(text, Of(DataFormat::kJson), dataset, report)) {
    CheckFailure(text, report, dataset);
    return 0;
  }
  Check(report.rows.rows_read == dataset.GetRowCount(), "rows are counted");
  Check(report.rows.rows_rejected >= static_cast<kt_long>(report.rows.rejected.size()),
        "rejected rows are counted");
  CheckRoundTrip(dataset, DataFormat::kJson);
  CheckRoundTrip(dataset, DataFormat::kJsonLines);
  return 0;
}
