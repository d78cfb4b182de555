// SPDX-License-Identifier: MIT
#include "dataset/methods/Kt_MethodArgs.h"

#include "object/Kt_MemoryDoor.h"
#include "script/Kt_RunBudget.h"

namespace kt::detail {
namespace {

// A method may do something small for every row, which is not charged: the clock is looked at after
// a few of them.
constexpr std::int64_t kUnitsPerMethod = 32 * Kt_WorkMeter::kUnitsPerStep;

Kt_ExprDataset* HeldWrapper(const Kt_Variant& value) {
  const Kt_ObjectHolder& hold = value.GetHolder();
  if (!hold.IsValid()) return nullptr;
  return dynamic_cast<Kt_ExprDataset*>(Kt_ExprObject::From(hold.GetObject()));
}

}  // namespace

MethodCall::MethodCall(Kt_ExprDataset& wrapper, const Kt_VariantList* args, kt_long least,
                       const char16_t* physical_only)
    : Kt_FuncArgs(args) {
  if (!kt::ChargeTime(kUnitsPerMethod)) {
    code_ = kt::CheckRun(nullptr);
    return;
  }
  if (TakeTexts(wrapper)) dataset_ = wrapper.GetDataset();
  if (dataset_ == nullptr || Count() < least) {
    code_ = kErrBadArgument;
  } else if (physical_only != nullptr && RefusedOnLogical(wrapper, physical_only)) {
    code_ = kErrDataset;
  }
}

// False when an object's answer destroyed the wrapper.
bool MethodCall::TakeTexts(Kt_ExprDataset& wrapper) {
  Kt_ObjectHolder hold;
  for (kt_long arg = 0; arg < Count(); ++arg) {
    const Kt_Variant value = Value(arg);
    if (!value.IsObject()) continue;
    if (hold.IsEmpty()) hold.Set(nullptr, &wrapper);
    texts_.SetItem(arg, value.ToString());
    if (!hold.IsValid()) return false;
  }
  return true;
}

Kt_ExprDataset* MethodCall::Wrapper(const Kt_ExprDataset& wrapper, kt_long arg) const {
  if (Kt_ExprDataset* const held = HeldWrapper(Value(arg))) return held;
  Kt_ExprObject* const parent = wrapper.GetParentCtx();
  const Kt_WString id = Text(arg);
  return parent == nullptr || id.IsEmpty() ? nullptr : parent->GetChildDataset(id);
}

StillThere::StillThere(Kt_ExprDataset& wrapper)
    : wrapper_(wrapper), self_(nullptr, &wrapper), dataset_(wrapper.GetDataset()) {}

StillThere::operator bool() const {
  Kt_Dataset* const dataset = dataset_.Get();
  return dataset != nullptr && self_.GetObject() != nullptr && wrapper_.GetDataset() == dataset;
}

StoreAnswer::StoreAnswer(const Kt_ExprDataset& wrapper)
    : context_(nullptr, wrapper.GetParentCtx()), id_(wrapper.GetID()) {}

kt_long StoreAnswer::Give(kt_long answer, Kt_Variant& result) const {
  if (answer != kErrRowNotAdded && answer != kErrNoMemory) {
    result = answer;
    return kOk;
  }
  result = kt_long{-1};
  if (answer == kErrNoMemory) {
    return kt::ReportNoMemory(Kt_ExprObject::From(context_.GetObject()), u"Kt_ExprDataset", id_);
  }
  return kt::Report(Kt_ExprObject::From(context_.GetObject()), u"Kt_ExprDataset", answer, id_);
}

}  // namespace kt::detail
