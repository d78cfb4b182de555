// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <vector>

#include "analysis/Kt_Finding.h"
#include "analysis/Kt_KnownNames.h"
#include "analysis/Kt_NameUses.h"
#include "script/Kt_ScriptOutline.h"

namespace kt::analysis {

// What is hardly meant in a script: names that nobody knows, statements that never run and the
// like, in the order of the places. `files` are the outlines of all its files, in the order in
// which they load; they are to be without faults. Where an unknown host may know more (a name with
// a member or an index behind it), nothing is said.
//
//   KnownNames known;
//   known.AddFunction(u"print", u"Print([varValue[...]])");
//   for (const Finding& finding : Analyse(outlines, known)) Show(finding);
//
// `strict` also finds texts that are no numbers and that arithmetic reads as 0. `uses` (may be
// null) gets what the names stand for; then the files may have faults. Time grows with the length
// of the files, and with the number of findings.
std::vector<Finding> Analyse(std::span<const Kt_ScriptOutline* const> files,
                             const KnownNames& known, bool strict = false,
                             NameUses* uses = nullptr);

}  // namespace kt::analysis
