// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

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

class MethodCall;

// What a method does: `result` is its value, the code that of the call.
using MethodBody = kt_long(const MethodCall& call, Kt_Variant& result);

// What a method asks for before its function is called: a dataset and enough arguments. Without
// them, a method that yields something in any case (kElse...) gives just that.
enum class MethodRule : std::uint8_t {
  kStrict,          // else kErrBadArgument, and the result stays
  kOwnRows,         // the same; on a logical dataset refused with kErrDataset
  kElseNothing,     // else the result stays
  kElseMinusOne,    // else -1; the result that the function finds
  kElseZero,        // the same with 0
  kElseZeroDouble,  // and with 0.0
};

// A method as its row tells it (Kt_MethodTable.inc).
struct Method {
  const char16_t* name;
  MethodBody* body;
  MethodRule rule;
  kt_long least;  // arguments
};

// One call of a dataset method: the wrapper, its dataset, and the arguments as plain values.
//
//   kt_long DeleteRow(const MethodCall& call, Kt_Variant& result) {
//     const StoreAnswer answer(call);
//     return answer.Give(call.Wrapper().DeleteRow(call.Integer(0)), result);
//   }
//
// Asking an object for its text may destroy the dataset, the wrapper and the variables behind the
// arguments. So only Run makes calls: it asks all objects first, then looks for the dataset, and
// reading an argument never calls out.
//
// Whatever else calls out of the engine (events, expressions, other datasets' events) may do the
// same: read all arguments before, and touch neither dataset nor wrapper afterwards.
class MethodCall : private Kt_FuncArgs {
 public:
  static kt_long Run(Kt_ExprDataset& wrapper, const Method& method, const Kt_VariantList* args,
                     Kt_Variant& result);

  using Kt_FuncArgs::Count;
  using Kt_FuncArgs::Has;

  Kt_ExprDataset& Wrapper() const { return wrapper_; }
  Kt_Dataset& Data() const { return *dataset_; }
  // The method with its brackets, "DeleteRow()".
  Kt_WString Name() const { return Kt_WString(method_.name) + u"()"; }

  Kt_WString Text(kt_long arg) const { return Plain(arg).ToString(); }
  kt_long Integer(kt_long arg) const { return Plain(arg).ToInteger(); }
  kt_long Integer(kt_long arg, kt_long absent) const { return Has(arg) ? Integer(arg) : absent; }
  bool Flag(kt_long arg, bool absent) const { return Has(arg) ? Integer(arg) != 0 : absent; }
  kt_long Column(kt_long arg) const { return ColumnIn(*dataset_, arg); }
  kt_long ColumnIn(const Kt_Dataset& dataset, kt_long arg) const {
    return ColumnOf(dataset, Plain(arg));
  }
  kt_long Constant(kt_long arg) const { return ConstantOf(*dataset_, Plain(arg)); }
  // As it was given, to be stored: it may be an object, which is not asked for anything here.
  Kt_Variant Given(kt_long arg) const { return Value(arg); }
  // The wrapper that an argument holds, or that the contexts around this one know by that id; null
  // for none. Its dataset may be null. The contexts are those of the host.
  Kt_ExprDataset* Other(kt_long arg) const;

  // Tells OnSystemError that the method is not for such a dataset. The code to return.
  kt_long Refuse() const;
  // Adds a row as the wrapper does, but with the code of the store when there is no room.
  kt_long AddRow(kt_long row, bool always_report) const {
    return wrapper_.AddRow(row, always_report);
  }
  static void TellColumnChanged(Kt_ExprDataset& wrapper, const Kt_WString& column,
                                const Kt_Variant& old_value, const Kt_Variant& new_value, int row) {
    (void)wrapper.TellColumnChanged(column, old_value, new_value, row, nullptr, -1);
  }

 private:
  MethodCall(Kt_ExprDataset& wrapper, const Method& method, const Kt_VariantList* args)
      : Kt_FuncArgs(args),
        wrapper_(wrapper),
        method_(method),
        dataset_(TakeTexts() ? wrapper.GetDataset() : nullptr) {}

  bool TakeTexts();
  // The argument, and of an object its text.
  const Kt_Variant& Plain(kt_long arg) const {
    const Kt_Variant& value = Value(arg);
    return value.IsObject() ? texts_.GetItemNN(arg) : value;
  }

  Kt_ExprDataset& wrapper_;
  const Method& method_;
  Kt_VariantList texts_;  // of the arguments that are objects
  Kt_Dataset* dataset_;
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
  explicit StoreAnswer(const MethodCall& call) : StoreAnswer(call.Wrapper()) {}
  explicit StoreAnswer(const Kt_ExprDataset& wrapper);
  // The answer is the result; but where no row or no memory was left, the result is -1 and that is
  // reported and returned, which ends the run: a script that adds rows until it has enough would go
  // on for ever.
  kt_long Give(kt_long answer, Kt_Variant& result) const;

 private:
  Kt_ObjectHolder context_;
  Kt_WString id_;
};

// Ends a method that yields a value.
template <class Value>
kt_long Yield(Value&& value, Kt_Variant& result) {
  result = Kt_Variant(std::forward<Value>(value));
  return kOk;
}

}  // namespace kt::detail
