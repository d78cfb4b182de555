// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "classlib/value/Kt_Variant.h"

namespace kt {

// The arguments of one call of a built-in function or method. A null list has none, an argument
// that is not there reads as the empty value, and a reference as the value behind it. Borrows the
// arguments.
class Kt_FuncArgs {
 public:
  explicit Kt_FuncArgs(const Kt_VariantList* list) : list_(list) {}
  // The arguments side by side, for calls that make no list.
  explicit Kt_FuncArgs(std::span<const Kt_Variant> args) : args_(args) {}

  kt_long Count() const { return list_ ? list_->GetCount() : static_cast<kt_long>(args_.size()); }
  bool Has(kt_long arg) const { return arg < Count(); }
  const Kt_Variant& Value(kt_long arg) const {
    if (list_ != nullptr) return list_->GetItemNN(arg).Target();
    const auto at = static_cast<std::size_t>(arg);
    return at < args_.size() ? args_[at].Target() : Kt_Variant::_KtNullVariant;
  }
  Kt_WString Text(kt_long arg) const { return Value(arg).ToString(); }
  kt_long Integer(kt_long arg) const { return Value(arg).ToInteger(); }
  kt_long Integer(kt_long arg, kt_long absent) const { return Has(arg) ? Integer(arg) : absent; }
  double Number(kt_long arg) const { return Value(arg).ToDouble(); }

 private:
  const Kt_VariantList* list_ = nullptr;
  std::span<const Kt_Variant> args_;
};

}  // namespace kt
