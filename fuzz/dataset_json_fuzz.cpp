// SPDX-License-Identifier: MIT
//
// Any bytes as a JSON text of rows: it loads and its rows are accounted for, or the report has a
// place inside the text and the dataset is as it was. What loads comes back equal from a saved
// text. What another parser takes for JSON is never refused for its grammar.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/store/Kt_Dataset.h"

namespace {

void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
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

void CheckRoundTrip(const Kt_Dataset& dataset, Kt_JsonLayout layout) {
  Kt_JsonSaveOptions save;
  save.layout = layout;
  Kt_Buffer bytes;
  Kt_SaveReport saved;
  Check(dataset.SaveJson(bytes, {}, save, saved) >= 0, "what loads can be saved");
  Kt_Dataset back = EmptyLike(dataset);
  Kt_JsonOptions options;
  options.may_be_empty = true;
  Kt_LoadReport report;
  Check(back.LoadJson(bytes.View(), options, report) >= 0, "what is saved loads");
  Check(report.rows_rejected == 0 && report.cells_not_converted == 0, "all of it");
  CheckEqual(dataset, back);
}

bool IsFaultOfShape(const Kt_LoadReport& report) {
  for (const char16_t* const text : {u"expected a list of rows", u"expected the names",
                                     u"more than", u"too many", u"out of memory"}) {
    if (report.error.View().starts_with(text)) return true;
  }
  return false;
}

void CheckFailure(std::string_view text, const Kt_LoadReport& report, const Kt_Dataset& dataset) {
  Check(!report.error.IsEmpty(), "a failed load says why");
  Check(report.error_line >= 1 && report.error_column >= 1, "and where");
  Check(report.error_column <= static_cast<std::int64_t>(text.size()) + 1, "inside the text");
  Check(dataset.GetRowCount() == 1 && dataset.GetColCount() == 1, "it changes nothing");
  // The other parser takes a zero for the end.
  if (IsFaultOfShape(report) || text.find('\0') != text.npos) return;
  Check(!nlohmann::json::accept(text), "JSON is taken for JSON");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Kt_Dataset dataset;
  dataset.AddColumn(u"kept");
  dataset.AppendRow();
  Kt_LoadReport report;
  if (dataset.LoadJson(text, {}, report) < 0) {
    CheckFailure(text, report, dataset);
    return 0;
  }
  Check(report.rows_read == dataset.GetRowCount(), "rows are counted");
  Check(report.rows_rejected >= static_cast<kt_long>(report.rejected.size()),
        "rejected rows are counted");
  Check(report.records == report.rows_read + report.rows_rejected, "and all that there are");
  CheckRoundTrip(dataset, Kt_JsonLayout::kList);
  CheckRoundTrip(dataset, Kt_JsonLayout::kLines);
  CheckRoundTrip(dataset, Kt_JsonLayout::kOneLine);
  return 0;
}
