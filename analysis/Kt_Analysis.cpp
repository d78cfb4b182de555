// SPDX-License-Identifier: MIT
#include "analysis/Kt_Analysis.h"

#include <algorithm>
#include <tuple>

#include "analysis/Kt_Checks.h"

namespace kt::analysis {

const char16_t* NameOf(FindingCode code) {
  static constexpr const char16_t* kNames[] = {
#define KT_FINDING_TEXT(name, user_name) user_name,
      KT_FINDINGS(KT_FINDING_TEXT)
#undef KT_FINDING_TEXT
  };
  return kNames[static_cast<std::size_t>(code)];
}

std::vector<Finding> Analyse(std::span<const Kt_ScriptOutline* const> files,
                             const KnownNames& known) {
  std::vector<Finding> findings;
  CheckNames(files, known, findings);
  for (std::size_t file = 0; file < files.size(); ++file) {
    CheckFlow(*files[file], file, findings);
  }
  std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
    return std::tie(a.file, a.offset) < std::tie(b.file, b.offset);
  });
  return findings;
}

}  // namespace kt::analysis
