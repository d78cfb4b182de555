// SPDX-License-Identifier: MIT
#include "cli/Kt_Findings.h"

#include <algorithm>

#include "analysis/Kt_Analysis.h"
#include "cli/Kt_Host.h"
#include "dataset/Kt_ExprDataset.h"

namespace kt::cli {
namespace {

// Finds the lines of places that come in ascending order.
class LineFinder {
 public:
  explicit LineFinder(std::u16string_view text) : text_(text) {}

  void Set(const analysis::Finding& finding, Kt_SyntaxError& error) {
    const auto offset = std::min(static_cast<std::size_t>(finding.offset), text_.size());
    for (std::size_t end = LineEnd(); end < offset; end = LineEnd()) {
      const bool has_two = text_.substr(end, 2) == u"\r\n";
      start_ = end + (has_two ? 2 : 1);
      ++line_;
    }
    error.line = line_;
    error.column = static_cast<kt_long>(offset - start_) + 1;
    const auto rest = static_cast<kt_long>(LineEnd() - offset);
    error.length = std::max(std::min(finding.length, rest), kt_long{1});
  }

 private:
  std::size_t LineEnd() const {
    return std::min(text_.find_first_of(u"\r\n", start_), text_.size());
  }

  std::u16string_view text_;
  std::size_t start_ = 0;
  kt_long line_ = 1;
};

Kt_SyntaxError ToWarning(const analysis::Finding& finding, LineFinder& lines) {
  Kt_SyntaxError warning;
  warning.is_warning = true;
  warning.warning_name = analysis::NameOf(finding.code);
  warning.message = finding.message;
  lines.Set(finding, warning);
  return warning;
}

std::vector<Kt_WString> ColumnsOf(const Kt_Dataset& dataset) {
  std::vector<Kt_WString> columns;
  columns.reserve(static_cast<std::size_t>(dataset.GetColCount()));
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    columns.push_back(dataset.GetColID(col));
  }
  for (kt_long col = 0; col < dataset.GetConstCount(); ++col) {
    columns.push_back(dataset.GetConstColID(col));
  }
  return columns;
}

}  // namespace

bool MakesNames(const Kt_WString& function) {
  return function == u"dataset" || function == u"loadData" || function == u"view";
}

void AddKtNames(analysis::KnownNames& known) {
  for (const _EXPR_EXTAPI_INFO& row : HostFunctions()) {
    known.AddFunction(row.name, row.help, MakesNames(row.name));
  }
}

void AddDatasetNames(const Kt_CliDatasets& datasets, analysis::KnownNames& known) {
  const auto add = [&](const Kt_WString& name, const Kt_ExprDataset* wrapper) {
    const Kt_Dataset* const dataset = wrapper != nullptr ? wrapper->GetDataset() : nullptr;
    dataset != nullptr ? known.AddDataset(name, ColumnsOf(*dataset)) : known.AddVariable(name);
  };
  add(u"curdata", datasets.GetDefault());
  for (const Kt_WString& name : datasets.GetNames()) add(name, datasets.Find(name));
}

void AddFindings(std::vector<Kt_ParsedFile>& files, const analysis::KnownNames& known,
                 bool strict) {
  std::vector<const Kt_ScriptOutline*> outlines;
  std::vector<LineFinder> lines;
  for (const Kt_ParsedFile& file : files) {
    outlines.push_back(file.outline.get());
    lines.emplace_back(file.text);
  }
  for (const analysis::Finding& finding : analysis::Analyse(outlines, known, strict)) {
    files[finding.file].errors.AddError(ToWarning(finding, lines[finding.file]));
  }
}

}  // namespace kt::cli
