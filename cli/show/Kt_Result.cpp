// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Result.h"

#include <ostream>

#include "classlib/base/Kt_Buffer.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Json.h"
#include "cli/Kt_Text.h"
#include "cli/show/Kt_Table.h"
#include "cli/show/Kt_View.h"
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

bool PrintValue(const Kt_Variant& value, std::ostream& out, std::string& reason) {
  const Kt_Dataset* const dataset = DatasetOf(value);
  if (dataset == nullptr || dataset->GetColCount() == 0) {
    CountedBytes text;
    if (!AppendValueText(value, text)) {
      reason = Kt_WorkMeter::CurrentStop() != 0 ? StopReason() : kTooLongToPrint;
      return false;
    }
    out << text << '\n';
    return true;
  }
  TableOptions options;
  options.rows = kShownRows;
  PrintTable(Kt_CliView(*dataset), options, out);
  return true;
}

bool ShownJson(const Kt_Dataset& dataset, Kt_JsonLayout layout, Kt_Buffer& json,
               std::string& reason) {
  Kt_JsonSaveOptions options;
  options.layout = layout;
  options.show_object = [](const Kt_Variant& object, std::string& out) {
    CountedBytes text;
    const bool is_shown = ToJson(object, text);
    out += text;
    return is_shown;
  };
  Kt_SaveReport report;
  const bool saved = dataset.SaveJson(json, {}, options, report) >= 0;
  reason = Kt_WorkMeter::CurrentStop() != 0 ? StopReason() : report.error.ToUtf8();
  return saved;
}

bool ResultJson(const Kt_Variant& value, CountedBytes& json, std::string& reason) {
  const Kt_Dataset* const dataset = DatasetOf(value);
  if (dataset == nullptr) return ToJson(value, json, reason);
  Kt_Buffer text;
  const bool saved = ShownJson(*dataset, Kt_JsonLayout::kOneLine, text, reason);
  json = text.View();
  return saved;
}

bool ShowResult(const Kt_Variant& value, const std::string& file, Streams streams) {
  CountedBytes json;
  std::string reason;
  if (streams.json ? ResultJson(value, json, reason) : PrintValue(value, streams.out, reason)) {
    if (streams.json) streams.out << json << '\n';
    return true;
  }
  if (Kt_WorkMeter::CurrentStop() == 0) {
    Tell(streams, Diagnostic::Error("the value is " + reason, file));
  }
  return false;
}

}  // namespace kt::cli
