// SPDX-License-Identifier: MIT
#include "cli/Kt_Findings.h"

#include <utility>

#include "analysis/Kt_Analysis.h"
#include "cli/Kt_Host.h"
#include "dataset/Kt_ExprDataset.h"

namespace kt::cli {
namespace {

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
  outlines.reserve(files.size());
  for (const Kt_ParsedFile& file : files) outlines.push_back(file.outline.get());
  for (analysis::Finding& finding : analysis::Analyse(outlines, known, strict)) {
    files[finding.file].findings.push_back(std::move(finding));
  }
}

}  // namespace kt::cli
