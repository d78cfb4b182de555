// SPDX-License-Identifier: MIT
#include "cli/Kt_Fix.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <utility>
#include <vector>

#include "analysis/Kt_Diagnose.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Diff.h"
#include "cli/Kt_File.h"

namespace kt::cli {
namespace {

using analysis::Edit;
using analysis::Finding;

std::vector<Finding> Causes(const Kt_WString& text) {
  return analysis::Diagnose(text, analysis::SourceKind::kScript);
}

// The text with the cures of `causes`; counts them. Cures do not overlap unless one is for what
// another one leaves.
Kt_WString Mended(const Kt_WString& text, const std::vector<Finding>& causes, std::size_t& count) {
  std::vector<const Edit*> edits;
  for (const Finding& cause : causes) {
    for (const Edit& edit : cause.fix) edits.push_back(&edit);
    if (!cause.fix.empty()) ++count;
  }
  std::stable_sort(edits.begin(), edits.end(),
                   [](const Edit* a, const Edit* b) { return a->part.offset < b->part.offset; });
  std::u16string mended;
  std::size_t at = 0;
  for (const Edit* const edit : edits) {
    const auto start = static_cast<std::size_t>(edit->part.offset);
    if (start < at) continue;
    mended.append(text.View(), at, start - at).append(edit->text.View());
    at = start + static_cast<std::size_t>(edit->part.length);
  }
  mended.append(text.View(), at);
  return Kt_WString(mended);
}

}  // namespace

std::optional<Kt_WString> FixText(const Kt_WString& text, std::size_t& count) {
  const std::vector<Finding> causes = Causes(text);
  count = 0;
  Kt_WString mended = Mended(text, causes, count);
  if (count == 0 || Causes(mended).size() >= causes.size()) return std::nullopt;
  return mended;
}

bool FixFile(const std::string& file, bool is_diff, Streams streams) {
  Kt_WString text;
  std::string error;
  if (ReadTextFile(file, text, error) != FileResult::kOk) {
    if (is_diff) Tell(streams, Diagnostic::Error("cannot read: " + error, file));
    return !is_diff;  // else the check tells it
  }
  std::size_t count = 0;
  const std::optional<Kt_WString> mended = FixText(text, count);
  if (!mended) return true;
  if (is_diff) {
    streams.out << UnifiedDiff(file, text.ToUtf8(), file, mended->ToUtf8());
    return true;
  }
  if (!WriteTextFile(file, *mended, error)) {
    Tell(streams, Diagnostic::Error("cannot write: " + error, file));
    return false;
  }
  Tell(streams,
       Diagnostic::Note(fmt::format("{} error{} mended", count, count == 1 ? "" : "s"), file));
  return true;
}

}  // namespace kt::cli
