// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <unordered_set>
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
  // `added_columns`: of all datasets, besides their own.
  MemberCheck(const KnownNames& known, const std::unordered_set<std::u16string>& added_columns,
              std::size_t file, const Kt_OutlineNode& node, const std::vector<Kt_ExprName>& names,
              std::vector<Finding>& findings)
      : known_(known),
        added_columns_(added_columns),
        file_(file),
        node_(node),
        names_(names),
        findings_(findings) {}

  // `member` follows `dataset`, or an element of it, and a point.
  void Check(const KnownNames::Dataset& dataset, const Kt_ExprName& member);
  // The same of `object`. What it lacks may be a built-in function: value.f(a) is f(value, a).
  void Check(const KnownNames::Object& object, const Kt_ExprName& member);

 private:
  using Dataset = KnownNames::Dataset;

  bool HasColumn(const Dataset& dataset, const std::u16string& folded) const {
    return dataset.HasColumn(folded) || added_columns_.contains(folded);
  }
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
  const std::unordered_set<std::u16string>& added_columns_;
  std::size_t file_;
  const Kt_OutlineNode& node_;
  const std::vector<Kt_ExprName>& names_;
  std::vector<Finding>& findings_;
};

}  // namespace kt::analysis
