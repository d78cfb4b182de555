// SPDX-License-Identifier: MIT
//
// Any text as an XML dataset: it loads whole or not at all, and what was loaded saves and loads
// back equal, with states, first values, deleted rows and constants.
#include "fuzz/dataset_check.h"

using kt::fuzz::Check;

namespace {

void CheckComesBack(const Kt_Dataset& data) {
  Kt_WString text;
  Check(data.SaveDataXml(text, u"nf") >= data.GetRowCountNF(), "all rows are saved");
  Kt_LoadReport report;
  Kt_Dataset back(data.GetId());
  Check(back.LoadDataXml(text, true, report) == data.GetRowCountNF(), "all rows come back");
  Check(report.cells_not_converted == 0, "what is saved is good");
  kt::fuzz::CheckSameStates(data, back);
  kt::fuzz::CheckSameAfterReset(data, back);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Kt_WString text =
      Kt_WString::FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  Kt_Dataset old(u"old");
  old.AddColumn(u"a", u"datetime");
  old.AddColumn(u"b", u"variant");
  old.AppendRow(2);

  for (const bool clear : {true, false}) {
    Kt_Dataset target(old);
    Kt_LoadReport report;
    const kt_long loaded = target.LoadDataXml(text, clear, report);
    Check((loaded < 0) == !report.error.IsEmpty(), "a failed load says why");
    Check(report.rows_read == std::max(loaded, 0), "the report has the rows");
    if (kt::fuzz::IsLarge(target)) continue;
    kt::fuzz::CheckStates(target);
    if (loaded < 0) {
      kt::fuzz::CheckSameStates(target, old);
      continue;
    }
    Check(target.GetRowCountNF() == loaded + (clear ? 0 : 2), "the answer is the number of rows");
    kt::fuzz::CheckEndOfChanges(target);
    CheckComesBack(target);
  }
  return 0;
}
