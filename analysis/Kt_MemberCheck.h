// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "analysis/Kt_Finding.h"
#include "analysis/Kt_KnownNames.h"
#include "expr/Kt_ExprNames.h"
#include "script/Kt_ScriptOutline.h"

namespace kt::analysis {

// Looks at what follows an object or a dataset whose members are known, or a row of it: members,
// methods with the number of their arguments, and of texts in these whether they are columns, or
// expressions over rows. Those know columns and row keywords, the methods of the dataset and what
// the host has, but nothing of the script. Borrows everything.
class MemberCheck {
 public:
  MemberCheck(const KnownNames& known, std::size_t file, const Kt_OutlineNode& node,
              const std::vector<Kt_ExprName>& names, std::vector<Finding>& findings)
      : known_(known), file_(file), node_(node), names_(names), findings_(findings) {}

  // `member` follows `dataset`, or an element of it, and a point.
  void Check(const KnownNames::Dataset& dataset, const Kt_ExprName& member);
  // The same of `object`. What it lacks may be a built-in function: value.f(a) is f(value, a).
  void Check(const KnownNames::Object& object, const Kt_ExprName& member);

 private:
  using Dataset = KnownNames::Dataset;

  void CheckOfElement(const Dataset& dataset, const Kt_ExprName& member);
  void CheckMethod(const Dataset& dataset, const Kt_ExprName& call);
  void CheckColumn(const Dataset& dataset, std::u16string_view name, kt_long offset);
  void CheckColumnList(const Dataset& dataset, std::u16string_view list, kt_long offset);
  void CheckRowExpression(const Dataset& dataset, std::u16string_view text, kt_long offset);
  // False when it is an expression.
  bool TellFaults(std::u16string_view text, kt_long offset);
  void CheckRowName(const Dataset& dataset, const Kt_ExprName& name, std::u16string_view text,
                    kt_long offset);

  std::u16string_view TextOf(const Kt_ExprName& name) const;
  void Report(FindingCode code, kt_long offset, kt_long length, Kt_WString message);
  void ReportUnknown(FindingCode code, kt_long offset, std::u16string_view name,
                     const Kt_WString& text, std::vector<Kt_WString> known);

  const KnownNames& known_;
  std::size_t file_;
  const Kt_OutlineNode& node_;
  const std::vector<Kt_ExprName>& names_;
  std::vector<Finding>& findings_;
};

}  // namespace kt::analysis
