// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_FuncArgs.h"

namespace kt::detail {

// A column argument: an index when it is a long or a double, else an id. The index, or -1.
inline kt_long ColumnOf(const Kt_Dataset& dataset, const Kt_Variant& argument) {
  const auto tag = argument.GetTag();
  if (tag != kTagLong && tag != kTagDouble) return dataset.GetColIndex(argument.ToString());
  const kt_long col = argument.ToInteger();
  return col >= 0 && col < dataset.GetColCount() ? col : -1;
}

// The same for a constant.
inline kt_long ConstantOf(const Kt_Dataset& dataset, const Kt_Variant& argument) {
  const auto tag = argument.GetTag();
  if (tag != kTagLong && tag != kTagDouble) return dataset.GetConstIndex(argument.ToString());
  const kt_long constant = argument.ToInteger();
  return constant >= 0 && constant < dataset.GetConstCount() ? constant : -1;
}

// Tells OnSystemError that a method, named with its brackets ("AddRow()"), is not for such a
// dataset. The code to return.
inline kt_long Refuse(Kt_ExprDataset& wrapper, const char16_t* method) {
  Kt_Result refusal;
  refusal.AddMsg(kErrDataset, u"Kt_ExprDataset", 0, method);
  NoteReport(&wrapper, refusal);
  wrapper.OnSystemError(refusal);
  return kErrDataset;
}

// True, and told, on a dataset without rows of its own. The caller returns kErrDataset.
[[nodiscard]] inline bool RefusedOnLogical(Kt_ExprDataset& wrapper, const char16_t* method) {
  return wrapper.GetDataset()->IsLogical() && Refuse(wrapper, method) != kOk;
}

// One call of a dataset method, and what every method looks at before it does its work: a dataset
// is there, enough arguments came, and the method is allowed on it.
//
//   const MethodCall call(*this, args, 1, u"DeleteRow()");
//   if (call.Refused()) return call.Code();
//   result = kt_long{DeleteRow(call.Integer(0))};
//
// Whatever calls out of the engine (events, expressions, other datasets' events) may end the
// dataset, the wrapper and the variables behind the arguments: read all arguments before, and touch
// neither the call nor the wrapper afterwards. Objects are asked for their texts when the call is
// made, so reading arguments does not call out.
class MethodCall : public Kt_FuncArgs {
 public:
  // `physical_only`: the method with its brackets, when it is refused on a logical dataset.
  MethodCall(Kt_ExprDataset& wrapper, const Kt_VariantList* args, kt_long least,
             const char16_t* physical_only = nullptr);

  bool Refused() const { return code_ != kOk; }
  kt_long Code() const { return code_; }

  bool HasData() const { return dataset_ != nullptr; }

  // REQUIRES for the rest: HasData.
  Kt_Dataset& Data() const { return *dataset_; }
  Kt_WString Text(kt_long arg) const { return Plain(arg).ToString(); }
  kt_long Integer(kt_long arg) const { return Plain(arg).ToInteger(); }
  kt_long Integer(kt_long arg, kt_long absent) const { return Has(arg) ? Integer(arg) : absent; }
  kt_long Column(kt_long arg) const { return ColumnIn(*dataset_, arg); }
  kt_long ColumnIn(const Kt_Dataset& dataset, kt_long arg) const {
    return ColumnOf(dataset, Plain(arg));
  }
  kt_long Constant(kt_long arg) const { return ConstantOf(*dataset_, Plain(arg)); }
  bool Flag(kt_long arg, bool absent) const { return Has(arg) ? Integer(arg) != 0 : absent; }
  // The wrapper that an argument holds, or that the contexts around `wrapper` know by that id; null
  // for none. The dataset of a wrapper may be null.
  Kt_ExprDataset* Wrapper(const Kt_ExprDataset& wrapper, kt_long arg) const;

 private:
  bool TakeTexts(Kt_ExprDataset& wrapper);
  // The argument, and of an object its text.
  const Kt_Variant& Plain(kt_long arg) const {
    const Kt_Variant& value = Value(arg);
    return value.IsObject() ? texts_.GetItemNN(arg) : value;
  }

  Kt_Dataset* dataset_ = nullptr;
  kt_long code_ = kOk;
  Kt_VariantList texts_;  // of the arguments that are objects
};

// Whether a wrapper and the dataset that it had then are still there, and belong together: what is
// asked after everything that calls out of the engine, which computing a cell does, too. So a
// method that sorts, lays groups, copies or reads a cell looks here before it goes on.
class StillThere {
 public:
  // REQUIRES: the wrapper has a dataset.
  explicit StillThere(Kt_ExprDataset& wrapper);
  explicit operator bool() const;
  // Null when it was destroyed.
  Kt_Dataset* Data() const { return dataset_.Get(); }

 private:
  Kt_ExprDataset& wrapper_;
  Kt_ObjectHolder self_;
  Kt_DatasetHandle dataset_;
};

// What the store answered to a change, as the result of a method. Made before the change, which
// may end the wrapper.
class StoreAnswer {
 public:
  explicit StoreAnswer(const Kt_ExprDataset& wrapper);
  // The answer is the result; but where no row or no memory was left, the result is -1 and that is
  // reported and returned, which ends the run: a script that adds rows until it has enough would go
  // on for ever.
  kt_long Give(kt_long answer, Kt_Variant& result) const;

 private:
  Kt_ObjectHolder context_;
  Kt_WString id_;
};

// A whole method that changes the dataset: change(call) is the store's answer.
template <class Change>
kt_long ChangeCall(Kt_ExprDataset& wrapper, const Kt_VariantList* args, kt_long least,
                   Kt_Variant& result, Change change, const char16_t* physical_only = nullptr) {
  const MethodCall call(wrapper, args, least, physical_only);
  if (call.Refused()) return call.Code();
  const StoreAnswer answer(wrapper);
  return answer.Give(change(call), result);
}

// A whole method whose result is read(call).
template <class Read>
kt_long AnswerCall(Kt_ExprDataset& wrapper, const Kt_VariantList* args, kt_long least,
                   Kt_Variant& result, Read read, const char16_t* physical_only = nullptr) {
  const MethodCall call(wrapper, args, least, physical_only);
  if (call.Refused()) return call.Code();
  result = Kt_Variant(read(call));
  return kOk;
}

}  // namespace kt::detail
