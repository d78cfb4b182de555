// SPDX-License-Identifier: MIT
#include <algorithm>

#include "classlib/text/Kt_NearestName.h"
#include "cli/lsp/Kt_Features.h"

namespace kt::cli::lsp {
namespace {

// The nearest name that could stand in place of an unknown one.
void AddNearestName(Program& program, std::size_t file, const Problem& problem,
                    std::vector<Fix>& fixes) {
  const bool is_call = problem.code == "unknown-function";
  const Kt_WString name(program.Files()[file].text.View(problem.range));
  std::vector<Kt_WString> names;
  for (const CompletionItem& item : Complete({program, file, problem.range.start})) {
    using Kind = CompletionItem::Kind;
    const bool is_called = item.kind == Kind::kFunction || item.kind == Kind::kMethod;
    const bool fits = problem.code == "unknown-member" || is_called == is_call;
    if (fits && item.kind != Kind::kKeyword) names.push_back(item.label);
  }
  std::sort(names.begin(), names.end(),
            [](const Kt_WString& a, const Kt_WString& b) { return a.View() < b.View(); });
  const Kt_WString* const nearest = kt_nearestnameW(name, names);
  if (nearest == nullptr || nearest->EqualsNoCase(name)) return;
  fixes.push_back({"Change to '" + nearest->ToUtf8() + "'", &problem, problem.range, *nearest});
}

}  // namespace

std::vector<Fix> FindFixes(Program& program, std::size_t file, Range within) {
  std::vector<Fix> fixes;
  for (const Problem& problem : program.Files()[file].problems) {
    const bool touches = problem.range.start <= within.end && within.start <= problem.range.end;
    if (!touches || !problem.code.starts_with("unknown-")) continue;
    AddNearestName(program, file, problem, fixes);
  }
  return fixes;
}

}  // namespace kt::cli::lsp
