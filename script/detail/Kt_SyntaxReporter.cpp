// SPDX-License-Identifier: MIT
#include "script/detail/Kt_SyntaxReporter.h"

#include <algorithm>

#include "expr/Kt_ExprLint.h"
#include "script/Kt_ScriptUtil.h"
#include "script/detail/Kt_ScriptScan.h"

namespace kt::detail {

namespace {

const char16_t* TextOf(const Kt_WString* text) {
  return text != nullptr ? text->GetText() : nullptr;
}

bool HasComment(std::u16string_view text) {
  for (std::size_t at = text.find(u'/'); at < text.size() - 1; at = text.find(u'/', at + 1)) {
    if (text[at + 1] == u'/' || text[at + 1] == u'*') return true;
  }
  return false;
}

}  // namespace

Kt_SyntaxError SyntaxReporter::RecordAt(Place place, const Kt_WString* function_name) const {
  const auto size = static_cast<kt_long>(source_.size());
  const kt_long offset = std::clamp(place.offset, kt_long{0}, size);
  // Not looked for from the place on: a line may be as long as the source and full of faults.
  const kt_long line_end = std::max(lines_.LineEnd(offset), offset);
  Kt_SyntaxError error;
  error.source_name = source_name_;
  error.line = lines_.LineOf(offset) + 1;
  error.column = lines_.ColumnOf(offset);
  error.length = std::max(std::min(place.length, line_end - offset), 1);
  if (function_name != nullptr) error.function_name = *function_name;
  return error;
}

void SyntaxReporter::Report(const Fault& fault) {
  Kt_ScriptUtil::SetSyntexError(errors_, fault.code, TextOf(fault.function_name),
                                TextOf(fault.near_text), fault.line);
  if (places_ == nullptr) return;
  Kt_SyntaxError error = RecordAt(fault.place, fault.function_name);
  error.code = fault.record_code != 0 ? fault.record_code : fault.code;
  if (fault.near_text != nullptr) error.near_text = *fault.near_text;
  error.message = kt_scripttextW(error.code);
  error.detail_code = fault.expression_code;
  if (fault.expression_code != 0) error.detail = kt_exprtextW(fault.expression_code);
  places_->AddError(std::move(error));
}

void SyntaxReporter::AddWarning(const Kt_WString& name, const Kt_WString& text, Place place,
                                const Kt_WString* function_name, const Kt_WString& detail) {
  Kt_SyntaxError error = RecordAt(place, function_name);
  error.is_warning = true;
  error.message = text;
  error.detail = detail;
  error.warning_name = name;
  places_->AddError(std::move(error));
}

void SyntaxReporter::Warn(Kt_ScriptWarning warning, Place place, const Kt_WString* function_name,
                          const Kt_WString& detail) {
  if (!WantsWarnings()) return;
  AddWarning(GetWarningName(warning), GetWarningText(warning), place, function_name, detail);
}

void SyntaxReporter::WarnOfExpr(const Slice& expression, const Kt_WString* function_name) {
  if (!WantsWarnings()) return;
  std::vector<Kt_ExprWarning> warnings;
  FindExprWarnings(expression.Text(), warnings);
  for (const Kt_ExprWarning& warning : warnings) {
    AddWarning(warning.name, warning.text, {expression.SourceOf(warning.offset), 1}, function_name);
  }
}

void OutlineMark::Open(Kind kind, const Slice& whole, const Slice& text, std::int16_t code) {
  node_ = outline_->nodes.size();
  Kt_OutlineNode& node = outline_->nodes.emplace_back();
  node.kind = kind;
  node.code = code;
  node.start = whole.SourceOf(0);
  node.end = whole.SourceOf(whole.length);
  node.text = text.Text();
  node.text_start = text.SourceOf(0);
  if (text.sources != nullptr) node.sources.assign(text.sources, text.sources + text.length);
}

CleanText::CleanText(const Slice& raw, SyntaxReporter& reporter, const Kt_WString* function_name)
    : slice_(raw) {
  if (KT_UNLIKELY(raw.length > 1 && HasComment(raw.View()))) Copy(raw, reporter, function_name);
  slice_ = slice_.Trimmed();
}

void CleanText::Copy(const Slice& raw, SyntaxReporter& reporter, const Kt_WString* function_name) {
  char16_t* const units = copy_.GetBuffer(raw.length);
  if (units == nullptr) return;
  std::vector<kt_long> dropped;
  CommentRemover remover;
  if (reporter.WantsPlaces()) remover.sources = &sources_;
  if (reporter.WantsWarnings()) remover.dropped = &dropped;
  const kt_long written = remover.Copy(raw.text, raw.length, units);
  for (kt_long& source : sources_) source = raw.SourceOf(source);
  for (const kt_long at : dropped) {
    reporter.Warn(Kt_ScriptWarning::kWarnCommentEats, {raw.SourceOf(at), 1}, function_name);
  }
  slice_ = {units, written, raw.offset, reporter.WantsPlaces() ? sources_.data() : nullptr};
}

}  // namespace kt::detail
