// SPDX-License-Identifier: MIT
#pragma once

#include "expr/detail/Kt_BoundForm.h"
#include "object/Kt_ExprNameSource.h"
#include "object/Kt_ExprObjInfo.h"

namespace kt::detail {

// Bound names for the evaluator, for one evaluation. What the bindings say is asked of the host's
// context, which hears of errors too.
class BoundContext : public Kt_ExprObject, public Kt_ExprNameSource {
 public:
  BoundContext(const BoundForm& form, BoundForm::Places places)
      : Kt_ExprObject(form.bindings.GetContext()), form_(form), places_(places) {}

  Kt_WString GetID() const override;
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  int GetMethodType(const Kt_WString& name, Kt_ExprObjInfo& info) override;
  kt_long GetCtxVar(const Kt_WString& name, Kt_Variable** variable, Kt_Variant* value) override;
  kt_long CallMethod(const Kt_WString& name, const Kt_VariantList* args,
                     Kt_Variant& result) override;
  void AddNames(Names which, std::vector<Kt_WString>& names) const override;

 private:
  bool IsAsked(const Kt_Bindings::Item* item) const;

  const BoundForm& form_;
  BoundForm::Places places_;
};

// 0 when a function takes that many arguments (`most` -1: any number from `least` on); else a code,
// noted.
kt_long CheckArgCount(const Kt_WString& name, kt_long count, kt_long least, kt_long most);

// Calls a bound function. Returns 0 or its code, noted. REQUIRES: it takes so many arguments.
kt_long CallBound(const Kt_Bindings::Item& function, std::span<const Kt_Variant> args,
                  Kt_Variant& result);

}  // namespace kt::detail
