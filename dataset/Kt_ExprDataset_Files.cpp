// SPDX-License-Identifier: MIT
//
// The methods that load and save.

#include <utility>

#include "classlib/Kt_Buffer.h"
#include "dataset/detail/Kt_MethodArgs.h"

namespace {

using kt::detail::MethodCall;

// A method that loads. The dataset keeps its id whatever the data says, and the rows are announced
// also when nothing could be loaded.
template <class Load>
kt_long CallLoad(Kt_ExprDataset& wrapper, const Kt_VariantList* args, Kt_Variant& result,
                 const char16_t* method, Load load) {
  const MethodCall call(wrapper, args, 1, method);
  if (call.Refused()) return call.Code();
  const bool clear = call.Flag(1, true);
  const Kt_WString id = call.Data().GetId();
  const kt_long loaded = load(call, clear);
  call.Data().SetId(id);
  result = loaded;
  wrapper.AnnounceRows(clear ? Kt_LoadReason::kLoaded : Kt_LoadReason::kAppended);
  return kOk;
}

// A method that saves: save(dataset, type, result) is negative, and the result stays, when it
// cannot. A copy carries the id that the caller asked for.
template <class Save>
kt_long CallSave(Kt_ExprDataset& wrapper, const Kt_VariantList* args, const char16_t* method,
                 Save save) {
  const MethodCall call(wrapper, args, 0, method);
  if (call.Refused()) return call.Code();
  const Kt_WString id = call.Text(0);
  if (id.IsEmpty()) {
    save(call, call.Data());
    return kOk;
  }
  Kt_Dataset copy(call.Data());
  copy.SetId(id);
  copy.SetEvaluator(call.Data().GetEvaluator());
  save(call, copy);
  return kOk;
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
  return CallSave(*this, args, u"SaveXML()", [&](const MethodCall& call, const Kt_Dataset& data) {
    const Kt_WString type = call.Text(1);
    Kt_WString text;
    if (data.SaveDataXml(text, type.View(), call.Flag(2, true)) >= 0) result = std::move(text);
  });
}

kt_long Kt_ExprDataset::CallSaveCSV(const Kt_VariantList* args, Kt_Variant& result) {
  return CallSave(*this, args, u"SaveCSV()", [&](const MethodCall& call, const Kt_Dataset& data) {
    const Kt_WString type = call.Text(1);
    Kt_WString text;
    if (data.SaveCSV(text, type.View()) >= 0) result = std::move(text);
  });
}

kt_long Kt_ExprDataset::CallSaveBIN(const Kt_VariantList* args, Kt_Variant& result) {
  return CallSave(*this, args, u"SaveBIN()", [&](const MethodCall& call, const Kt_Dataset& data) {
    const Kt_WString type = call.Text(1);
    Kt_Buffer bytes;
    if (data.Save2(bytes, type.View()) >= 0) result.SetBinary(bytes.GetData(), bytes.GetSize());
  });
}
