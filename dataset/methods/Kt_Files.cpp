// SPDX-License-Identifier: MIT
//
// The methods that load and save.

#include <utility>

#include "classlib/base/Kt_Buffer.h"
#include "dataset/methods/Kt_MethodArgs.h"

namespace {

using kt::detail::MethodCall;
using kt::detail::StillThere;
using kt::detail::StoreAnswer;

// A method that loads. The dataset keeps its id whatever the data says, and the rows are announced
// also when nothing could be loaded.
template <class Load>
kt_long CallLoad(Kt_ExprDataset& wrapper, const Kt_VariantList* args, Kt_Variant& result,
                 const char16_t* method, Load load) {
  const MethodCall call(wrapper, args, 1, method);
  if (call.Refused()) return call.Code();
  const bool clear = call.Flag(1, true);
  const Kt_WString id = call.Data().GetId();
  const StoreAnswer answer(wrapper);
  const StillThere there(wrapper);
  const kt_long loaded = load(call, clear);
  if (there.Data() != nullptr) there.Data()->SetId(id);
  if (there) wrapper.AnnounceRows(clear ? Kt_LoadReason::kLoaded : Kt_LoadReason::kAppended);
  return answer.Give(loaded, result);
}

// Why a method did not save, where nothing has been written yet: a script that goes on would take
// an empty text for its data.
kt_long ReportUnsaved(const Kt_ObjectHolder& parent, const Kt_SaveReport& report,
                      const char16_t* method) {
  constexpr const char16_t* kSource = u"Kt_ExprDataset";
  Kt_ExprObject* const context = Kt_ExprObject::From(parent.GetObject());
  if (report.code == kErrNotAllowed) {
    return kt::Report(context, kSource, report.code, method, report.error);
  }
  return kt::Report(context, kSource, report.code, method);
}

// A method that saves: save(call, dataset, report) gives the result, or reports why not, and the
// result stays. A copy carries the id that the caller asked for.
template <class Save>
kt_long CallSave(Kt_ExprDataset& wrapper, const Kt_VariantList* args, const char16_t* method,
                 Save save) {
  const MethodCall call(wrapper, args, 0, method);
  if (call.Refused()) return call.Code();
  const Kt_WString id = call.Text(0);
  const Kt_ObjectHolder parent(nullptr, wrapper.GetParentCtx());
  Kt_SaveReport report;
  if (id.IsEmpty()) {
    save(call, call.Data(), report);
  } else {
    Kt_Dataset copy(call.Data());
    copy.SetId(id);
    copy.SetEvaluator(call.Data().GetEvaluator());
    save(call, copy, report);
  }
  return report.code == kOk ? kOk : ReportUnsaved(parent, report, method);
}

kt_long LoadBinary(Kt_Dataset& dataset, const Kt_Variant& data, bool clear) {
  // Anything but bytes is no data in this form.
  if (data.GetTag() != kTagBinary) return -1;
  return dataset.LoadDataBin(data.AsBinary(), clear);
}

}  // namespace

kt_long Kt_ExprDataset::CallLoadXML(const Kt_VariantList* args, Kt_Variant& result) {
  return CallLoad(*this, args, result, u"LoadXML()", [](const MethodCall& call, bool clear) {
    if (call.Flag(2, false)) return LoadBinary(call.Data(), call.Value(0), clear);
    const Kt_WString text = call.Text(0);
    return call.Data().LoadDataXml(text.View(), clear);
  });
}

kt_long Kt_ExprDataset::CallLoadCSV(const Kt_VariantList* args, Kt_Variant& result) {
  return CallLoad(*this, args, result, u"LoadCSV()", [](const MethodCall& call, bool clear) {
    const Kt_WString text = call.Text(0);
    return call.Data().LoadCSV(text.View(), clear);
  });
}

kt_long Kt_ExprDataset::CallSaveXML(const Kt_VariantList* args, Kt_Variant& result) {
  const auto save = [&](const MethodCall& call, const Kt_Dataset& data, Kt_SaveReport& report) {
    const Kt_WString type = call.Text(1);
    Kt_WString text;
    if (data.SaveDataXml(text, type.View(), call.Flag(2, true), report) >= 0) {
      result = std::move(text);
    }
  };
  return CallSave(*this, args, u"SaveXML()", save);
}

kt_long Kt_ExprDataset::CallSaveCSV(const Kt_VariantList* args, Kt_Variant& result) {
  const auto save = [&](const MethodCall& call, const Kt_Dataset& data, Kt_SaveReport& report) {
    const Kt_WString type = call.Text(1);
    Kt_WString text;
    if (data.SaveCSV(text, type.View(), {}, report) >= 0) result = std::move(text);
  };
  return CallSave(*this, args, u"SaveCSV()", save);
}

kt_long Kt_ExprDataset::CallSaveBIN(const Kt_VariantList* args, Kt_Variant& result) {
  const auto save = [&](const MethodCall& call, const Kt_Dataset& data, Kt_SaveReport& report) {
    const Kt_WString type = call.Text(1);
    Kt_Buffer bytes;
    if (data.Save2(bytes, type.View(), report) < 0) return;
    if (bytes.GetSize() > static_cast<std::size_t>(kMaxBinaryBytes)) {
      report.Refuse(kErrNotAllowed, u"more bytes than a binary value can have");
    } else {
      result.SetBinary(bytes.GetData(), bytes.GetSize());
    }
  };
  return CallSave(*this, args, u"SaveBIN()", save);
}
