// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>

#include "classlib/text/Kt_NearestName.h"
#include "cli/Kt_Visible.h"
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
  const Range& range = problem.range;
  fixes.push_back({"Change to '" + nearest->ToUtf8() + "'",
                   &problem,
                   {{{range.start, range.end - range.start}, *nearest}}});
}

std::string InQuotes(std::u16string_view text) {
  Kt_WString shown(text);
  shown.Trim();
  return "'" + Shown(shown) + "'";
}

std::string Doing(const std::string& before, const std::string& after) {
  if (before == "''") return "insert " + after;
  if (after == "''") return "remove " + before;
  return fmt::format("replace {} by {}", before, after);
}

// "Insert ';'", "Replace 'let' by 'var'", "Insert '(', insert ')'".
std::string TitleOf(const std::vector<analysis::Edit>& edits, const SourceText& text) {
  std::string title;
  for (const analysis::Edit& edit : edits) {
    const auto& [offset, length] = edit.part;
    if (!title.empty()) title += ", ";
    title += Doing(InQuotes(text.View({offset, offset + length})), InQuotes(edit.text));
  }
  title[0] = static_cast<char>(title[0] - 'a' + 'A');
  return title;
}

}  // namespace

std::vector<Fix> FindFixes(Program& program, std::size_t file, Range within) {
  std::vector<Fix> fixes;
  for (const Problem& problem : program.Files()[file].problems) {
    const bool touches = problem.range.start <= within.end && within.start <= problem.range.end;
    if (!touches) continue;
    if (!problem.fix.empty()) {
      fixes.push_back({TitleOf(problem.fix, program.Files()[file].text), &problem, problem.fix});
    } else if (problem.code.starts_with("unknown-")) {
      AddNearestName(program, file, problem, fixes);
    }
  }
  return fixes;
}

}  // namespace kt::cli::lsp
