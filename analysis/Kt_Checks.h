// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <vector>

#include "analysis/Kt_Finding.h"
#include "analysis/Kt_KnownNames.h"
#include "analysis/Kt_NameUses.h"
#include "script/Kt_ScriptOutline.h"

// The parts of Analyse; each appends what it finds.
namespace kt::analysis {

using Outlines = std::span<const Kt_ScriptOutline* const>;

// Unknown names, counts of arguments, and what becomes of variables. `uses` may be null.
void CheckNames(Outlines files, const KnownNames& known, std::vector<Finding>& findings,
                NameUses* uses);

// What one file shows without names: the ways through its functions, labels, conditions.
void CheckFlow(const Kt_ScriptOutline& outline, std::size_t file, std::vector<Finding>& findings);

// Text literals that are no numbers, where arithmetic reads them as 0.
void CheckTexts(const Kt_ScriptOutline& outline, std::size_t file, std::vector<Finding>& findings);

// Calls `visit` with each node that is directly in `node`. A null node: all
// that is in no other.
template <class Visit>
void EachChild(const Kt_ScriptOutline& outline, const Kt_OutlineNode* node, Visit visit) {
  const Kt_OutlineNode* const nodes = outline.nodes.data();
  const Kt_OutlineNode* at = node != nullptr ? node + 1 : nodes;
  const Kt_OutlineNode* const end = nodes + (node != nullptr ? node->next : outline.nodes.size());
  for (; at < end; at = nodes + at->next) visit(*at);
}

}  // namespace kt::analysis
