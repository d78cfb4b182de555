// SPDX-License-Identifier: MIT
//
// The methods that load and save.

#include <utility>

#include "classlib/base/Kt_Buffer.h"
#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail::methods {

namespace {

// A method that loads. The dataset keeps its id whatever the data says, and the rows are announced
// also when nothing could be loaded.
template <class Load>
kt_long CallLoad(const MethodCall& call, Kt_Variant& result, Load load) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  const bool clear = call.Flag(1, true);
  const Kt_WString id = call.Data().GetId();
  const StoreAnswer answer(call);
  const StillThere there(wrapper);
  const kt_long loaded = load(call.Data(), clear);
  if (there.Data() != nullptr) there.Data()->SetId(id);
  if (there) wrapper.AnnounceRows(clear ? Kt_LoadReason::kLoaded : Kt_LoadReason::kAppended);
  return answer.Give(loaded, result);
}

// Why a method did not save, where nothing has been written yet: a script that goes on would take
// an empty text for its data.
kt_long ReportUnsaved(const Kt_ObjectHolder& parent, const Kt_SaveReport& report,
                      const Kt_WString& method) {
  constexpr const char16_t* kSource = u"Kt_ExprDataset";
  Kt_ExprObject* const context = Kt_ExprObject::From(parent.GetObject());
  if (report.code == kErrNotAllowed) {
    return kt::Report(context, kSource, report.code, method, report.error);
  }
  return kt::Report(context, kSource, report.code, method);
}

// A method that saves: save(dataset, type, report) gives the result, or reports why not, and the
// result stays. A copy carries the id that the caller asked for.
template <class Save>
kt_long CallSave(const MethodCall& call, Save save) {
  const Kt_WString id = call.Text(0);
  const Kt_WString type = call.Text(1);
  const Kt_ObjectHolder parent(nullptr, call.Wrapper().GetParentCtx());
  Kt_SaveReport report;
  if (id.IsEmpty()) {
    save(call.Data(), type.View(), report);
  } else {
    Kt_Dataset copy(call.Data());
    copy.SetId(id);
    copy.SetEvaluator(call.Data().GetEvaluator());
    save(copy, type.View(), report);
  }
  return report.code == kOk ? kOk : ReportUnsaved(parent, report, call.Name());
}

kt_long LoadBinary(Kt_Dataset& dataset, const Kt_Variant& data, bool clear) {
  // Anything but bytes is no data in this form.
  if (data.GetTag() != kTagBinary) return -1;
  return dataset.LoadDataBin(data.AsBinary(), clear);
}

}  // namespace

kt_long LoadXML(const MethodCall& call, Kt_Variant& result) {
  return CallLoad(call, result, [&](Kt_Dataset& data, bool clear) {
    if (call.Flag(2, false)) return LoadBinary(data, call.Given(0), clear);
    const Kt_WString text = call.Text(0);
    return data.LoadDataXml(text.View(), clear);
  });
}

kt_long LoadCSV(const MethodCall& call, Kt_Variant& result) {
  return CallLoad(call, result, [&](Kt_Dataset& data, bool clear) {
    const Kt_WString text = call.Text(0);
    return data.LoadCSV(text.View(), clear);
  });
}

kt_long SaveXML(const MethodCall& call, Kt_Variant& result) {
  const bool has_header = call.Flag(2, true);
  return CallSave(call, [&](const Kt_Dataset& data, std::u16string_view type, auto& report) {
    Kt_WString text;
    if (data.SaveDataXml(text, type, has_header, report) >= 0) result = std::move(text);
  });
}

kt_long SaveCSV(const MethodCall& call, Kt_Variant& result) {
  return CallSave(call, [&](const Kt_Dataset& data, std::u16string_view type, auto& report) {
    Kt_WString text;
    if (data.SaveCSV(text, type, {}, report) >= 0) result = std::move(text);
  });
}

kt_long SaveBIN(const MethodCall& call, Kt_Variant& result) {
  return CallSave(call, [&](const Kt_Dataset& data, std::u16string_view type, auto& report) {
    Kt_Buffer bytes;
    if (data.Save2(bytes, type, report) < 0) return;
    if (bytes.GetSize() > static_cast<std::size_t>(kMaxBinaryBytes)) {
      report.Refuse(kErrNotAllowed, u"more bytes than a binary value can have");
    } else {
      result.SetBinary(bytes.GetData(), bytes.GetSize());
    }
  });
}

}  // namespace kt::detail::methods
