// SPDX-License-Identifier: MIT
#include "cli/Kt_CliResult.h"

#include <ostream>

#include "cli/Kt_CliDataJson.h"
#include "cli/Kt_CliJson.h"
#include "cli/Kt_CliTable.h"
#include "cli/Kt_CliText.h"
#include "cli/Kt_CliView.h"
#include "dataset/Kt_ExprDataset.h"

namespace kt::cli {
namespace {

// A look at the result; `kt show` is for more.
constexpr kt_long kShownRows = 20;

// The dataset that a value is; null for any other value.
const Kt_Dataset* DatasetOf(const Kt_Variant& value) {
  const Kt_Variant target = value.IsRef() ? value.Dereference() : value;
  if (!target.IsObject()) return nullptr;
  const auto* const wrapper = dynamic_cast<Kt_ExprDataset*>(target.GetHolder().GetObject());
  return wrapper != nullptr ? wrapper->GetDataset() : nullptr;
}

}  // namespace

void PrintValue(const Kt_Variant& value, std::ostream& out) {
  const Kt_Dataset* const dataset = DatasetOf(value);
  if (dataset == nullptr || dataset->GetColCount() == 0) {
    out << ValueText(value) << '\n';
    return;
  }
  TableOptions options;
  options.rows = kShownRows;
  PrintTable(Kt_CliView(*dataset), options, out);
}

bool ResultJson(const Kt_Variant& value, std::string& json) {
  const Kt_Dataset* const dataset = DatasetOf(value);
  if (dataset == nullptr) return ToJson(value, json);
  std::string ignored;
  return SaveJson(*dataset, JsonLayout::kOneLine, json, ignored);
}

}  // namespace kt::cli
