// SPDX-License-Identifier: MIT
#include "analysis/Kt_Analysis.h"

#include <algorithm>
#include <tuple>

#include "analysis/Kt_Checks.h"

namespace kt::analysis {

const char16_t* NameOf(FindingCode code) {
  static constexpr const char16_t* kNames[] = {
#define KT_FINDING_TEXT(name, user_name) user_name,
      KT_FINDINGS(KT_FINDING_TEXT) KT_CAUSES(KT_FINDING_TEXT)
#undef KT_FINDING_TEXT
  };
  return kNames[static_cast<std::size_t>(code)];
}

std::vector<Finding> Analyse(std::span<const Kt_ScriptOutline* const> files,
                             const KnownNames& known, bool strict, NameUses* uses) {
  std::vector<Finding> findings;
  CheckNames(files, known, findings, uses);
  for (std::size_t file = 0; file < files.size(); ++file) {
    CheckFlow(*files[file], file, findings);
    if (strict) CheckTexts(*files[file], file, findings);
  }
  std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
    return std::tie(a.file, a.offset) < std::tie(b.file, b.offset);
  });
  if (uses != nullptr) {
    std::sort(uses->uses.begin(), uses->uses.end(), [](const NameUse& a, const NameUse& b) {
      return std::tie(a.file, a.offset) < std::tie(b.file, b.offset);
    });
  }
  return findings;
}

}  // namespace kt::analysis
