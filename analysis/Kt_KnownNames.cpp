// SPDX-License-Identifier: MIT
#include "analysis/Kt_KnownNames.h"

#include <algorithm>
#include <utility>

#include "object/Kt_ExprObject.h"

namespace kt::analysis {
namespace {

// Those of one form, from behind its '(' on; `at` is left behind its ')'.
ArgumentCounts CountsOfForm(std::u16string_view forms, std::size_t& at) {
  ArgumentCounts counts{0, 0};
  int optional = 0;       // brackets around
  bool is_first = true;   // of the units of an argument
  bool has_more = false;  // "..."
  for (; at < forms.size() && forms[at] != u')'; ++at) {
    const char16_t unit = forms[at];
    if (unit == u'[') ++optional;
    if (unit == u']') --optional;
    if (unit == u',') is_first = true;
    if (unit == u'.') has_more = true;
    if (unit == u'[' || unit == u']' || unit == u',' || unit == u' ' || unit == u'.') continue;
    if (is_first) {
      ++counts.most;
      if (optional == 0) ++counts.least;
    }
    is_first = false;
  }
  if (has_more) counts.most = ArgumentCounts::kAny;
  return counts;
}

}  // namespace

std::u16string Folded(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& unit : folded) unit = kt_foldcaseW(unit);
  return folded;
}

ArgumentCounts ArgumentCounts::Of(std::u16string_view forms) {
  ArgumentCounts all{-1, 0};
  for (std::size_t at = forms.find(u'('); at < forms.size(); at = forms.find(u'(', at)) {
    const ArgumentCounts one = CountsOfForm(forms, ++at);
    all.least = all.least < 0 ? one.least : std::min(all.least, one.least);
    const bool is_any = all.most == kAny || one.most == kAny;
    all.most = is_any ? kAny : std::max(all.most, one.most);
  }
  return all.least < 0 ? ArgumentCounts() : all;
}

Kt_WString ArgumentCounts::Text() const {
  const auto number = [](int count) { return Kt_WString::FromUtf8(std::to_string(count)); };
  const auto noun = [](int count) { return count == 1 ? u" argument" : u" arguments"; };
  if (most == 0) return u"no arguments";
  if (most == kAny) return Kt_WString(u"at least ") + number(least) + noun(least);
  if (least == most) return number(most) + noun(most);
  return number(least) + (most - least == 1 ? u" or " : u" to ") + number(most) + noun(most);
}

Kt_WString ArgumentCounts::Complaint(const Kt_WString& name, int count) const {
  return Kt_WString(u"'") + name + u"' takes " + Text() + u", not " +
         Kt_WString::FromUtf8(std::to_string(count));
}

KnownNames::KnownNames() {
  const _EXPR_INTFUNC_INFO* const rows = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    AddFunction(rows[row].name, rows[row].help);
  }
  // What the evaluator itself knows.
  AddFunction(u"ref", u"Ref(varValue)");
  for (const char16_t* const name : {u"trace", u"tracevar", u"tracedata"}) AddFunction(name, u"");
}

void KnownNames::AddFunction(const Kt_WString& name, std::u16string_view forms, bool makes_names) {
  functions_.insert_or_assign(Folded(name), Function{name, ArgumentCounts::Of(forms), makes_names});
}

void KnownNames::AddDataset(const Kt_WString& name, std::vector<Kt_WString> columns) {
  AddVariable(name);
  Dataset dataset{name, std::move(columns), {}};
  for (const Kt_WString& column : dataset.columns) dataset.folded_columns.insert(Folded(column));
  datasets_.insert_or_assign(Folded(name), std::move(dataset));
}

KnownNames::Object& KnownNames::AddObject(const Kt_WString& name) {
  AddVariable(name);
  Object& object = objects_[Folded(name)];
  object.name = name;
  return object;
}

const KnownNames::Object* KnownNames::FindObject(const std::u16string& folded) const {
  const auto found = objects_.find(folded);
  return found != objects_.end() ? &found->second : nullptr;
}

const KnownNames::Dataset* KnownNames::FindDataset(const std::u16string& folded) const {
  const auto found = datasets_.find(folded);
  return found != datasets_.end() ? &found->second : nullptr;
}

const KnownNames::Function* KnownNames::FindFunction(const std::u16string& folded) const {
  const auto found = functions_.find(folded);
  return found != functions_.end() ? &found->second : nullptr;
}

void KnownNames::ListFunctions(std::vector<Kt_WString>& names) const {
  for (const auto& [folded, function] : functions_) names.push_back(function.name);
}

void KnownNames::ListVariables(std::vector<Kt_WString>& names) const {
  for (const auto& [folded, name] : variables_) names.push_back(name);
}

}  // namespace kt::analysis
