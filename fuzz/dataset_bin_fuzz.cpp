// SPDX-License-Identifier: MIT
//
// Any bytes as a binary dataset: they load whole or not at all, and what was loaded saves and loads
// back equal, in the binary form and as XML.
#include "classlib/base/Kt_Buffer.h"
#include "fuzz/dataset_check.h"

using kt::fuzz::Check;

namespace {

void CheckComesBack(const Kt_Dataset& data) {
  Kt_Buffer bytes;
  Check(data.Save2(bytes, u"nf") >= data.GetRowCountNF(), "all rows are saved");
  Kt_Dataset back(data.GetId());
  Check(back.LoadDataBin({bytes.GetData(), bytes.GetSize()}) == data.GetRowCountNF(),
        "all rows come back");
  kt::fuzz::CheckSameStates(data, back);
  Kt_Buffer again;
  back.Save2(again, u"nf");
  Check(again.View() == bytes.View(), "equal datasets have equal files");

  Kt_WString text;
  Check(data.SaveDataXml(text, u"nf") >= data.GetRowCountNF(), "all rows are saved as XML");
  Kt_Dataset from_xml(data.GetId());
  Check(from_xml.LoadDataXml(text) == data.GetRowCountNF(), "all rows come back from XML");
  kt::fuzz::CheckSameStates(data, from_xml);
  kt::fuzz::CheckSameAfterReset(data, back);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Kt_Dataset old(u"old");
  old.AddColumn(u"a", u"datetime");
  old.AppendRow(2);
  for (const bool clear : {true, false}) {
    Kt_Dataset target(old);
    const kt_long loaded = target.LoadDataBin({data, size}, clear);
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
