// SPDX-License-Identifier: MIT
#include "analysis/Kt_DatasetNames.h"

#include <algorithm>

#include "dataset/Kt_DatasetCtx.h"
#include "dataset/Kt_ExprDataset.h"

namespace kt::analysis {
namespace {

using Argument = DatasetNames::Argument;

// By the name that the call form gives to an argument: a method that adds a column has none yet,
// and the list of one that copies to another dataset has the columns of that.
Argument KindOfName(std::u16string_view name, std::u16string_view method) {
  constexpr std::u16string_view kColumns[] = {u"strColID", u"strCol", u"strOutputColID",
                                              u"strConstID"};
  if (name.ends_with(u"Expr")) return Argument::kRowExpression;
  if (method.starts_with(u"add")) return Argument::kValue;
  if (name == u"strColList") return Argument::kColumnList;
  if (name == u"strColInfo" && !method.starts_with(u"copyto")) return Argument::kColumnList;
  return std::ranges::find(kColumns, name) != std::end(kColumns) ? Argument::kColumn
                                                                 : Argument::kValue;
}

// Of several forms the one that asks for most: a column alone is an expression, too.
std::vector<Argument> ArgumentsOf(std::u16string_view forms, std::u16string_view method) {
  std::vector<Argument> all;
  for (std::size_t at = forms.find(u'('); at < forms.size(); at = forms.find(u'(', at)) {
    const std::size_t end = std::min(forms.find(u')', at), forms.size());
    std::size_t argument = 0;
    for (++at; at < end; ++argument) {
      const std::size_t comma = std::min(forms.find(u',', at), end);
      std::u16string_view name = forms.substr(at, comma - at);
      const std::size_t first = std::min(name.find_first_not_of(u" ["), name.size());
      name = name.substr(first, name.find_first_of(u" []", first) - first);
      if (all.size() <= argument) all.push_back(Argument::kValue);
      all[argument] = std::max(all[argument], KindOfName(name, method));
      at = comma + 1;
    }
  }
  return all;
}

}  // namespace

const DatasetNames& DatasetNames::Get() {
  static const DatasetNames kNames;
  return kNames;
}

DatasetNames::DatasetNames() {
  const _EXPR_OBJMETHOD_INFO* const methods = Kt_ExprDataset::GetDSetMethodMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetMethodCount(); ++row) {
    const Kt_WString name(methods[row].name);
    const std::u16string_view forms = methods[row].help;
    const std::u16string folded = Folded(name);
    methods_.emplace(folded, Method{name, ArgumentCounts::Of(forms), ArgumentsOf(forms, folded)});
  }
  const _EXPR_SIMPLEPROP_INFO* const properties = Kt_ExprDataset::GetDSetPropMap();
  for (int row = 0; row < Kt_ExprDataset::GetDSetPropCount(); ++row) {
    properties_.emplace(Folded(properties[row].name), properties[row].name);
  }
  const _EXPR_SIMPLEPROP_INFO* const keywords = Kt_DatasetCtx::GetKeywordMap();
  for (int row = 0; row < Kt_DatasetCtx::GetKeywordCount(); ++row) {
    keywords_.emplace(Folded(keywords[row].name), keywords[row].name);
  }
}

const DatasetNames::Method* DatasetNames::FindMethod(const std::u16string& folded) const {
  const auto found = methods_.find(folded);
  return found != methods_.end() ? &found->second : nullptr;
}

void DatasetNames::ListMethods(std::vector<Kt_WString>& names) const {
  for (const auto& [folded, method] : methods_) names.push_back(method.name);
}

void DatasetNames::ListProperties(std::vector<Kt_WString>& names) const {
  for (const auto& [folded, name] : properties_) names.push_back(name);
}

}  // namespace kt::analysis
