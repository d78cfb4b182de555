// SPDX-License-Identifier: MIT
#include "cli/Kt_Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "classlib/base/Kt_Codes.h"
#include "cli/Kt_Visible.h"
#include "script/Kt_SyntaxErrors.h"

using kt::analysis::Finding;

namespace {

// Nobody mends more than this at a time, and a text that is no script at all has a fault a line.
constexpr std::size_t kMaxShown = 100;

// Of a part of a text, up to the end of its line; at least 1.
kt_long CharacterCount(std::u16string_view text, std::size_t offset, std::size_t length) {
  std::u16string_view part = text.substr(std::min(offset, text.size()), length);
  part = part.substr(0, part.find_first_of(u"\r\n"));
  const auto second_halves =
      std::ranges::count_if(part, [](char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; });
  return std::max(static_cast<kt_long>(part.size()) - static_cast<kt_long>(second_halves),
                  kt_long{1});
}

// Something to tell, and where in the source it stands.
struct Told {
  std::size_t offset;
  std::function<void()> tell;
};

}  // namespace

kt::cli::Diagnostic kt::cli::FromSyntaxError(const Kt_SyntaxError& error) {
  Diagnostic diagnostic;
  using Severity = Diagnostic::Severity;
  diagnostic.severity = error.is_warning ? Severity::kWarning : Severity::kError;
  diagnostic.code = error.code;
  diagnostic.name = error.warning_name.ToUtf8();
  diagnostic.text = error.message.ToUtf8();
  if (!error.detail.IsEmpty()) diagnostic.text += ": " + error.detail.ToUtf8();
  if (error.code == kSynNul) {
    diagnostic.name = Kt_WString(NameOf(kt::analysis::FindingCode::kTextAfterNul)).ToUtf8();
  } else if (!error.function_name.IsEmpty() && !error.is_warning) {
    diagnostic.text += " in function " + Shown(error.function_name);
  }
  return diagnostic;
}

kt::cli::Diagnostic kt::cli::FromFinding(const Finding& finding) {
  Diagnostic diagnostic;
  using Severity = Diagnostic::Severity;
  diagnostic.severity = finding.is_error ? Severity::kError : Severity::kWarning;
  diagnostic.code = finding.syntax_code;
  diagnostic.name = Kt_WString(NameOf(finding.code)).ToUtf8();
  diagnostic.text = finding.message.ToUtf8();
  if (!finding.function_name.IsEmpty()) {
    diagnostic.text += " in function " + Shown(finding.function_name);
  }
  diagnostic.hint = Shown(finding.hint);
  return diagnostic;
}

std::vector<Finding> kt::cli::CausesOf(const Kt_WString& text, const Kt_SyntaxErrorList& found,
                                       analysis::SourceKind kind, bool wants_warnings) {
  const bool skips = wants_warnings && kind == analysis::SourceKind::kScript &&
                     !found.HasFaults() && analysis::SkipsBrackets(text);
  if (!found.HasFaults() && !skips) return {};
  // Of expressions the list has less than the search wants to know.
  const bool is_script = kind == analysis::SourceKind::kScript;
  return analysis::Diagnose(text, kind, is_script ? &found : nullptr);
}

bool kt::cli::IsExplained(const Kt_SyntaxError& error, const std::vector<Finding>& causes) {
  return !error.is_warning && !causes.empty() && error.code != kSynNul;
}

kt::cli::Place Kt_CliReport::PlaceOf(const Kt_WString& part, std::size_t& offset) const {
  if (whole_) {
    const std::ptrdiff_t at = whole_->offset + static_cast<std::ptrdiff_t>(offset);
    offset = static_cast<std::size_t>(std::max(at, std::ptrdiff_t{0}));
  }
  const Kt_WString& text = whole_ ? whole_->text : part;
  offset = std::min(offset, text.View().size());
  kt::cli::Place place = kt::cli::PlaceAt(text, offset);
  if (whole_) place.line += whole_->first_line - 1;
  return place;
}

void Kt_CliReport::AtPlace(const std::string& name, const Kt_WString& part, std::size_t offset,
                           std::size_t length, kt::cli::Diagnostic what) {
  const kt::cli::Place place = PlaceOf(part, offset);
  what.file = whole_ ? whole_->name : name;
  what.line = place.line;
  what.column = place.column;
  what.length = CharacterCount(whole_ ? whole_->text : part, offset, length);
  what.below = kt::cli::LineWithCaret(whole_ ? whole_->text : part, offset, length);
  Tell(what);
}

void Kt_CliReport::Tell(const std::string& name, const Kt_WString& text, const Finding& finding) {
  kt::cli::Diagnostic what = kt::cli::FromFinding(finding);
  if (finding.related.length > 0) {
    auto offset = static_cast<std::size_t>(finding.related.offset);
    const kt::cli::Place place = PlaceOf(text, offset);
    what.related = {place.line, place.column,
                    CharacterCount(whole_ ? whole_->text : text, offset,
                                   static_cast<std::size_t>(finding.related.length))};
  }
  AtPlace(name, text, static_cast<std::size_t>(finding.offset),
          static_cast<std::size_t>(finding.length), std::move(what));
}

bool Kt_CliReport::Syntax(const std::filesystem::path& file, const std::string& name,
                          const Kt_WString& text, const Kt_SyntaxErrorList& found,
                          kt::analysis::SourceKind kind, std::span<const Finding> findings) {
  const bool clean = !found.HasFaults();
  if (!reported_.insert(file).second) return clean;
  const std::vector<Finding> causes = kt::cli::CausesOf(text, found, kind, warnings_);
  std::vector<Told> told;
  told.reserve(causes.size());
  for (const Finding& cause : causes) {
    told.push_back({static_cast<std::size_t>(cause.offset), [&] { Tell(name, text, cause); }});
  }
  for (const Kt_SyntaxError& error : found.GetErrors()) {
    if (kt::cli::IsExplained(error, causes)) continue;
    const std::size_t offset =
        kt::cli::LineStart(text, error.line) + static_cast<std::size_t>(error.column) - 1;
    told.push_back({offset, [&, offset] {
                      AtPlace(name, text, offset,
                              static_cast<std::size_t>(std::max(error.length, kt_long{1})),
                              kt::cli::FromSyntaxError(error));
                    }});
  }
  for (const Finding& finding : findings) {
    told.push_back({static_cast<std::size_t>(finding.offset), [&] { Tell(name, text, finding); }});
  }
  std::stable_sort(told.begin(), told.end(),
                   [](const Told& a, const Told& b) { return a.offset < b.offset; });
  for (std::size_t shown = 0; shown < std::min(told.size(), kMaxShown); ++shown) {
    told[shown].tell();
  }
  if (told.size() > kMaxShown) {
    Tell(kt::cli::Diagnostic::Note(fmt::format("{} more are not shown", told.size() - kMaxShown),
                                   name));
  }
  return clean;
}
