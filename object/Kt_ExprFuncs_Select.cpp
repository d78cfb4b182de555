// SPDX-License-Identifier: MIT
//
// Built-in functions that choose one of their arguments.

#include <cmath>

#include "classlib/base/Kt_Charge.h"
#include "object/Kt_ExprObject.h"
#include "object/detail/Kt_FuncAnswers.h"
#include "object/detail/Kt_PlainFuncs.h"

using kt::Kt_FuncArgs;

namespace {

bool IsTrue(const Kt_Variant& value) {
  if (KT_LIKELY(value.IsLong())) return value.AsLong() != 0;
  if (value.GetTag() == kTagBool) return value.AsInt64() != 0;
  return Var_AndOr(value, Kt_Variant(kt_long{1}), kLogicAnd) != 0;
}

bool IsNan(const Kt_Variant& value) { return value.IsDouble() && std::isnan(value.AsDouble()); }

// Keeps the value that stands in `relation` to all others. Empty values do not count, and NaN,
// which stands in no relation to anything, only when there is nothing else.
class Extreme {
 public:
  explicit Extreme(std::int16_t relation) : relation_(relation) {}

  void Offer(const Kt_Variant& value) {
    if (value.IsEmpty()) return;
    if (best_.IsEmpty() || IsNan(best_) || Var_Cmp(value, best_, relation_) != 0) best_ = value;
  }
  const Kt_Variant& Best() const { return best_; }

 private:
  std::int16_t relation_;
  Kt_Variant best_;
};

void Select(const Kt_FuncArgs& in, Kt_Variant& result, std::int16_t relation) {
  if (!in.Has(0)) return;
  Extreme extreme(relation);
  if (in.Count() == 1 && in.Value(0).IsList()) {
    const Kt_VariantList items = in.Value(0).GetList();
    kt::detail::RoundCharge charge;
    for (const Kt_Variant& item : items) {
      if (!charge.Add(2 * Kt_WorkMeter::kUnitsPerItem)) break;
      extreme.Offer(item.Target());
    }
  } else {
    for (kt_long arg = 0; arg < in.Count(); ++arg) extreme.Offer(in.Value(arg));
  }
  result = extreme.Best();
}

}  // namespace

void kt::detail::Iif(const Kt_FuncArgs& in, Kt_Variant& result) {
  if (in.Count() < 2) return;
  if (IsTrue(in.Value(0))) {
    result = in.Value(1);
  } else if (in.Has(2)) {
    result = in.Value(2);
  }
}
void kt::detail::Greatest(const Kt_FuncArgs& in, Kt_Variant& result) {
  Select(in, result, kCmpGreater);
}
void kt::detail::Least(const Kt_FuncArgs& in, Kt_Variant& result) { Select(in, result, kCmpLess); }

kt_long Kt_ExprObject::_iif(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Iif(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_decode(const Kt_VariantList* args, Kt_Variant& result) {
  const Kt_FuncArgs in(args);
  const kt_long count = in.Count();
  if (count < 2) return kOk;
  for (kt_long arg = 1; arg < count - 1; arg += 2) {
    if (Var_Cmp(in.Value(0), in.Value(arg), kCmpEqual) != 0) {
      result = in.Value(arg + 1);
      return kOk;
    }
  }
  if (count % 2 == 0) result = in.Value(count - 1);
  return kOk;
}

kt_long Kt_ExprObject::_greatest(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Greatest(Kt_FuncArgs(args), result);
  return kOk;
}

kt_long Kt_ExprObject::_least(const Kt_VariantList* args, Kt_Variant& result) {
  kt::detail::Least(Kt_FuncArgs(args), result);
  return kOk;
}
