// SPDX-License-Identifier: MIT
#include "analysis/Kt_MemberCheck.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "analysis/Kt_DatasetNames.h"
#include "classlib/value/Kt_Aggregate.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_RunError.h"

namespace kt::analysis {
namespace {

using NameKind = Kt_ExprName::Kind;
using Argument = DatasetNames::Argument;

Kt_WString Quoted(std::u16string_view name) { return Kt_WString(u"'") + Kt_WString(name) + u"'"; }

}  // namespace

std::u16string_view MemberCheck::TextOf(const Kt_ExprName& name) const {
  return node_.text.View().substr(static_cast<std::size_t>(name.offset),
                                  static_cast<std::size_t>(name.length));
}

// `offset`: in the expression.
void MemberCheck::Report(FindingCode code, kt_long offset, kt_long length, Kt_WString message) {
  findings_.push_back({code, file_, node_.SourceOf(offset), length, std::move(message)});
}

void MemberCheck::ReportUnknown(FindingCode code, kt_long offset, std::u16string_view name,
                                const Kt_WString& text, std::vector<Kt_WString> known) {
  std::sort(known.begin(), known.end(),
            [](const Kt_WString& a, const Kt_WString& b) { return a.View() < b.View(); });
  Report(code, offset, static_cast<kt_long>(name.size()),
         kt::WithHint(text, Kt_WString(name), known));
}

void MemberCheck::Check(const Dataset& dataset, const Kt_ExprName& member) {
  if (member.is_of_element) return CheckOfElement(dataset, member);
  if (member.kind == NameKind::kMethod) return CheckMethod(dataset, member);
  const std::u16string_view text = TextOf(member);
  const std::u16string folded = Folded(text);
  const DatasetNames& names = DatasetNames::Get();
  if (dataset.HasColumn(folded) || names.HasProperty(folded)) return;
  if (names.FindMethod(folded) != nullptr) return;
  std::vector<Kt_WString> known = dataset.columns;
  names.ListProperties(known);
  ReportUnknown(FindingCode::kUnknownMember, member.offset, text,
                Kt_WString(u"no column or member ") + Quoted(text) + u" in " + dataset.name, known);
}

void MemberCheck::Check(const KnownNames::Object& object, const Kt_ExprName& member) {
  if (member.is_of_element) return;  // nothing is known of what is in it
  const std::u16string_view text = TextOf(member);
  const std::u16string folded = Folded(text);
  if (object.properties.contains(folded)) return;
  const auto method = object.methods.find(folded);
  if (method == object.methods.end()) {
    if (known_.FindFunction(folded) != nullptr) return;
    std::vector<Kt_WString> known;
    for (const auto& [ignored, name] : object.properties) known.push_back(name);
    for (const auto& [ignored, one] : object.methods) known.push_back(one.name);
    return ReportUnknown(FindingCode::kUnknownMember, member.offset, text,
                         Kt_WString(u"no member ") + Quoted(text) + u" in " + object.name, known);
  }
  const bool has_count = member.arguments != Kt_ExprName::kNone;
  if (has_count && !method->second.counts.Allows(member.arguments)) {
    Report(FindingCode::kArgumentCount, member.offset, member.length,
           method->second.counts.Complaint(method->second.name, member.arguments));
  }
}

// An index that is a number gives a row, one that is a text the whole of a column, and a variable
// may be either.
void MemberCheck::CheckOfElement(const Dataset& dataset, const Kt_ExprName& member) {
  static constexpr std::u16string_view kMembers[] = {u"rowlevel", u"level", u"value"};
  const std::u16string_view text = TextOf(member);
  const std::u16string folded = Folded(text);
  if (member.kind == NameKind::kMethod) {
    return Report(FindingCode::kUnknownMember, member.offset, member.length,
                  Kt_WString(u"no method ") + Quoted(text) + u" in a row of " + dataset.name);
  }
  const bool is_known = dataset.HasColumn(folded) ||
                        std::ranges::find(kMembers, folded) != std::end(kMembers) ||
                        kt_findaggregateW(Kt_WString(text)) != Kt_Aggregate::kNone;
  if (is_known) return;
  ReportUnknown(FindingCode::kUnknownMember, member.offset, text,
                Kt_WString(u"no column or member ") + Quoted(text) + u" in " + dataset.name,
                dataset.columns);
}

void MemberCheck::CheckMethod(const Dataset& dataset, const Kt_ExprName& call) {
  const std::u16string_view text = TextOf(call);
  const std::u16string folded = Folded(text);
  const DatasetNames::Method* const method = DatasetNames::Get().FindMethod(folded);
  if (method == nullptr) {
    std::vector<Kt_WString> known;
    DatasetNames::Get().ListMethods(known);
    return ReportUnknown(FindingCode::kUnknownMember, call.offset, text,
                         Kt_WString(u"no method ") + Quoted(text) + u" in " + dataset.name, known);
  }
  if (call.arguments != Kt_ExprName::kNone && !method->counts.Allows(call.arguments)) {
    Report(FindingCode::kArgumentCount, call.offset, call.length,
           method->counts.Complaint(method->name, call.arguments));
  }
  const auto index = static_cast<int>(&call - names_.data());
  for (const Kt_ExprName& literal : names_) {
    if (literal.kind != NameKind::kLiteral || literal.call != index || !literal.is_whole) continue;
    const Argument kind = method->KindOf(literal.argument);
    if (kind == Argument::kColumn) CheckColumn(dataset, literal);
    if (kind == Argument::kRowExpression) CheckRowExpression(dataset, literal);
  }
}

void MemberCheck::CheckColumn(const Dataset& dataset, const Kt_ExprName& literal) {
  const std::u16string_view quoted = TextOf(literal);
  const std::u16string_view text = quoted.substr(1, quoted.size() - 2);
  if (dataset.HasColumn(Folded(text))) return;
  ReportUnknown(FindingCode::kUnknownColumn, literal.offset + 1, text,
                Kt_WString(u"no column ") + Quoted(text) + u" in " + dataset.name, dataset.columns);
}

void MemberCheck::CheckRowExpression(const Dataset& dataset, const Kt_ExprName& literal) {
  const std::u16string_view quoted = TextOf(literal);
  const std::u16string_view text = quoted.substr(1, quoted.size() - 2);
  const auto length = static_cast<kt_long>(text.size());
  kt_long fault = 0;
  if (const int code = Kt_ExprUtil::IsValidExpr(text.data(), length, &fault)) {
    // At the end the quote is what comes too early.
    return Report(FindingCode::kRowExpression, literal.offset + 1 + fault, 1,
                  Kt_WString(u"this is no expression over rows: ") + kt_exprtextW(code));
  }
  for (const Kt_ExprName& name : FindExprNames(text)) {
    CheckRowName(
        dataset, name,
        text.substr(static_cast<std::size_t>(name.offset), static_cast<std::size_t>(name.length)),
        literal.offset + 1 + name.offset);
  }
}

void MemberCheck::CheckRowName(const Dataset& dataset, const Kt_ExprName& name,
                               std::u16string_view text, kt_long offset) {
  const std::u16string folded = Folded(text);
  const DatasetNames& names = DatasetNames::Get();
  std::vector<Kt_WString> known;
  if (name.kind == NameKind::kVariable) {
    if (dataset.HasColumn(folded) || names.HasRowKeyword(folded) || name.is_path_root ||
        known_.HasVariable(folded)) {
      return;
    }
    ReportUnknown(FindingCode::kUnknownColumn, offset, text,
                  Kt_WString(u"no column ") + Quoted(text) + u" in " + dataset.name,
                  dataset.columns);
  } else if (name.kind == NameKind::kCall && known_.FindFunction(folded) == nullptr &&
             names.FindMethod(folded) == nullptr) {
    known_.ListFunctions(known);
    names.ListMethods(known);
    ReportUnknown(FindingCode::kUnknownFunction, offset, text,
                  Kt_WString(u"unknown function ") + Quoted(text), known);
  }
}

}  // namespace kt::analysis
