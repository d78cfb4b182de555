// SPDX-License-Identifier: MIT
#include "analysis/Kt_MemberCheck.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "analysis/Kt_DatasetNames.h"
#include "analysis/Kt_Diagnose.h"
#include "analysis/Kt_ForeignWords.h"
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
  if (HasColumn(dataset, folded) || names.HasProperty(folded)) return;
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
  const bool is_known = HasColumn(dataset, folded) ||
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
    const std::u16string_view quoted = TextOf(literal);
    const std::u16string_view inner = quoted.substr(1, quoted.size() - 2);
    const kt_long offset = literal.offset + 1;
    switch (kind) {
      case Argument::kValue: break;
      case Argument::kColumn: CheckColumn(dataset, inner, offset); break;
      case Argument::kColumnList: CheckColumnList(dataset, inner, offset); break;
      case Argument::kRowExpression: CheckRowExpression(dataset, inner, offset); break;
    }
  }
}

// The offsets of these are in the expression, behind the quote.
void MemberCheck::CheckColumn(const Dataset& dataset, std::u16string_view name, kt_long offset) {
  if (HasColumn(dataset, Folded(name))) return;
  ReportUnknown(FindingCode::kUnknownColumn, offset, name,
                Kt_WString(u"no column ") + Quoted(name) + u" in " + dataset.name, dataset.columns);
}

void MemberCheck::CheckColumnList(const Dataset& dataset, std::u16string_view list,
                                  kt_long offset) {
  constexpr std::u16string_view kBlanks = u" \t\r\n";
  for (std::size_t at = 0; at < list.size();) {
    const std::size_t end = std::min(list.find(u',', at), list.size());
    std::u16string_view item = list.substr(at, end - at);
    item = item.substr(0, item.find_first_of(u":="));
    const std::size_t first = std::min(item.find_first_not_of(kBlanks), item.size());
    const std::u16string_view name = item.substr(first, item.find_last_not_of(kBlanks) + 1 - first);
    if (!name.empty()) CheckColumn(dataset, name, offset + static_cast<kt_long>(at + first));
    at = end + 1;
  }
}

bool MemberCheck::TellFaults(std::u16string_view text, kt_long offset) {
  kt_long fault = 0;
  const int code = Kt_ExprUtil::IsValidExpr(text.data(), static_cast<kt_long>(text.size()), &fault);
  if (code == 0) return false;
  const Kt_WString message(u"this is no expression over rows: ");
  std::vector<Finding> causes = Diagnose(text, SourceKind::kExpression);
  // At the end the quote is what comes too early.
  if (causes.empty()) {
    Report(FindingCode::kRowExpression, offset + fault, 1, message + kt_exprtextW(code));
  }
  const auto place_of = [&](kt_long at) { return node_.SourceOf(offset + at); };
  for (Finding& cause : causes) {
    Finding finding{FindingCode::kRowExpression, file_, place_of(cause.offset), cause.length,
                    message + cause.message};
    finding.hint = cause.hint;
    if (cause.related.length > 0) {
      finding.related = {place_of(cause.related.offset), cause.related.length};
    }
    // A quote or an escape means something else in the string.
    const bool fits = std::ranges::all_of(cause.fix, [](const Edit& edit) {
      return edit.text.View().find_first_of(u"\"'\\") == edit.text.View().npos;
    });
    for (Edit& edit : cause.fix) edit.part.offset = place_of(edit.part.offset);
    if (fits) finding.fix = std::move(cause.fix);
    findings_.push_back(std::move(finding));
  }
  return true;
}

void MemberCheck::CheckRowExpression(const Dataset& dataset, std::u16string_view quoted,
                                     kt_long offset) {
  constexpr std::u16string_view kBlanks = u" \t\r\n";
  const std::size_t first = std::min(quoted.find_first_not_of(kBlanks), quoted.size());
  const std::u16string_view text =
      quoted.substr(first, quoted.find_last_not_of(kBlanks) + 1 - first);
  offset += static_cast<kt_long>(first);
  if (TellFaults(text, offset)) return;
  for (const Kt_ExprName& name : FindExprNames(text)) {
    CheckRowName(
        dataset, name,
        text.substr(static_cast<std::size_t>(name.offset), static_cast<std::size_t>(name.length)),
        offset + name.offset);
  }
}

void MemberCheck::CheckRowName(const Dataset& dataset, const Kt_ExprName& name,
                               std::u16string_view text, kt_long offset) {
  const std::u16string folded = Folded(text);
  const DatasetNames& names = DatasetNames::Get();
  const std::size_t told = findings_.size();
  const Foreign* foreign = FindValueName(text);
  std::vector<Kt_WString> known;
  if (name.kind == NameKind::kVariable) {
    if (HasColumn(dataset, folded) || names.HasRowKeyword(folded) || name.is_path_root ||
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
    foreign = FindFunctionName(text);
    ReportUnknown(FindingCode::kUnknownFunction, offset, text,
                  Kt_WString(u"unknown function ") + Quoted(text), known);
  }
  if (foreign != nullptr && findings_.size() > told) Suggest(*foreign, findings_.back());
}

}  // namespace kt::analysis
