// SPDX-License-Identifier: MIT
#include "cli/Kt_Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"
#include "script/Kt_SyntaxErrors.h"

namespace {

// Nobody mends more than this at a time, and a text that is no script at all has a fault a line.
constexpr std::size_t kMaxShown = 100;

std::vector<const Kt_SyntaxError*> InOrder(const Kt_SyntaxErrorList& found) {
  std::vector<const Kt_SyntaxError*> errors;
  for (const Kt_SyntaxError& error : found.GetErrors()) errors.push_back(&error);
  std::stable_sort(errors.begin(), errors.end(),
                   [](const Kt_SyntaxError* a, const Kt_SyntaxError* b) {
                     return std::tie(a->line, a->column) < std::tie(b->line, b->column);
                   });
  return errors;
}

kt::cli::Diagnostic ToDiagnostic(const Kt_SyntaxError& error) {
  kt::cli::Diagnostic diagnostic;
  using Severity = kt::cli::Diagnostic::Severity;
  diagnostic.severity = error.is_warning ? Severity::kWarning : Severity::kError;
  diagnostic.code = error.code;
  diagnostic.name = error.warning_name.ToUtf8();
  diagnostic.text = error.message.ToUtf8();
  if (!error.detail.IsEmpty()) diagnostic.text += ": " + error.detail.ToUtf8();
  if (!error.function_name.IsEmpty() && !error.is_warning) {
    diagnostic.text += " in function " + kt::cli::Shown(error.function_name);
  }
  return diagnostic;
}

}  // namespace

void Kt_CliReport::AtPlace(const std::string& name, const Kt_WString& part, std::size_t offset,
                           std::size_t length, kt::cli::Diagnostic what) {
  const Kt_WString& text = whole_ ? whole_->text : part;
  if (whole_) {
    const std::ptrdiff_t at = whole_->offset + static_cast<std::ptrdiff_t>(offset);
    offset = static_cast<std::size_t>(std::max(at, std::ptrdiff_t{0}));
  }
  offset = std::min(offset, text.View().size());
  kt::cli::Place place = kt::cli::PlaceAt(text, offset);
  if (whole_) place.line += whole_->first_line - 1;
  what.file = whole_ ? whole_->name : name;
  what.line = place.line;
  what.column = place.column;
  what.length = static_cast<kt_long>(length);
  what.below = kt::cli::LineWithCaret(text, offset, length);
  Tell(what);
}

bool Kt_CliReport::Syntax(const std::filesystem::path& file, const std::string& name,
                          const Kt_WString& text, const Kt_SyntaxErrorList& found) {
  const std::vector<const Kt_SyntaxError*> errors = InOrder(found);
  const bool clean = !found.HasFaults();
  if (!reported_.insert(file).second) return clean;
  for (std::size_t shown = 0; shown < std::min(errors.size(), kMaxShown); ++shown) {
    const Kt_SyntaxError& error = *errors[shown];
    const std::size_t offset =
        kt::cli::LineStart(text, error.line) + static_cast<std::size_t>(error.column) - 1;
    AtPlace(name, text, offset, static_cast<std::size_t>(std::max(error.length, kt_long{1})),
            ToDiagnostic(error));
  }
  if (errors.size() > kMaxShown) {
    Tell(kt::cli::Diagnostic::Note(fmt::format("{} more are not shown", errors.size() - kMaxShown),
                                   name));
  }
  return clean;
}
