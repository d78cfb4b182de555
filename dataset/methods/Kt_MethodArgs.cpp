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

// What the result is when a method is not called, and before it is.
void SetElse(MethodRule rule, Kt_Variant& result) {
  switch (rule) {
    case MethodRule::kElseMinusOne: result = kt_long{-1}; break;
    case MethodRule::kElseZero: result = kt_long{0}; break;
    case MethodRule::kElseZeroDouble: result = 0.0; break;
    default: break;
  }
}

bool IsStrict(MethodRule rule) {
  return rule == MethodRule::kStrict || rule == MethodRule::kOwnRows;
}

}  // namespace

kt_long MethodCall::Run(Kt_ExprDataset& wrapper, const Method& method, const Kt_VariantList* args,
                        Kt_Variant& result) {
  SetElse(method.rule, result);
  if (!kt::ChargeTime(kUnitsPerMethod)) return kt::CheckRun(nullptr);
  const MethodCall call(wrapper, method, args);
  if (call.dataset_ == nullptr || call.Count() < method.least) {
    return IsStrict(method.rule) ? kErrBadArgument : kOk;
  }
  if (method.rule == MethodRule::kOwnRows && call.Data().IsLogical()) return call.Refuse();
  return method.body(call, result);
}

kt_long MethodCall::Refuse() const {
  Kt_Result refusal;
  refusal.AddMsg(kErrDataset, u"Kt_ExprDataset", 0, Name());
  NoteReport(&wrapper_, refusal);
  wrapper_.OnSystemError(refusal);
  return kErrDataset;
}

// False when an object's answer destroyed the wrapper.
bool MethodCall::TakeTexts() {
  Kt_ObjectHolder hold;
  for (kt_long arg = 0; arg < Count(); ++arg) {
    if (!Value(arg).IsObject()) continue;
    const Kt_Variant value = Value(arg);  // kept: the argument may be destroyed
    if (hold.IsEmpty()) hold.Set(nullptr, &wrapper_);
    texts_.SetItem(arg, value.ToString());
    if (!hold.IsValid()) return false;
  }
  return true;
}

Kt_ExprDataset* MethodCall::Other(kt_long arg) const {
  if (Kt_ExprDataset* const held = HeldWrapper(Value(arg))) return held;
  Kt_ExprObject* const parent = wrapper_.GetParentCtx();
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
