// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/value/Kt_Variant.h"

namespace kt {

// The arguments of one call of a built-in function or method. A null list has none, an argument
// that is not there reads as the empty value, and a reference as the value behind it. Borrows the
// list.
class Kt_FuncArgs {
 public:
  explicit Kt_FuncArgs(const Kt_VariantList* list) : list_(list) {}

  kt_long Count() const { return list_ ? list_->GetCount() : 0; }
  bool Has(kt_long arg) const { return arg < Count(); }
  const Kt_Variant& Value(kt_long arg) const {
    return list_ ? list_->GetItemNN(arg).Target() : Kt_Variant::_KtNullVariant;
  }
  Kt_WString Text(kt_long arg) const { return Value(arg).ToString(); }
  kt_long Integer(kt_long arg) const { return Value(arg).ToInteger(); }
  kt_long Integer(kt_long arg, kt_long absent) const { return Has(arg) ? Integer(arg) : absent; }
  double Number(kt_long arg) const { return Value(arg).ToDouble(); }

 private:
  const Kt_VariantList* list_;
};

}  // namespace kt
