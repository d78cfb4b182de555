// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <limits>
#include <vector>

#include "analysis/Kt_Finding.h"
#include "analysis/Kt_SourceTokens.h"

// The parts of Diagnose.
namespace kt::analysis {

// A syntax error as the engine tells it.
struct Fault {
  kt_long code = 0;  // kSyn...
  kt_long expression_code =
      0;  // kExpr... or, from the parser, kFailed, when that is kSynExpression
  kt_long offset = 0;
  kt_long length = 1;
  Kt_WString message;
  Kt_WString function_name;
  bool stands_alone = false;  // the source is one expression
};

// A supposed cause, and a change that lets the engine read on behind it.
struct Repair {
  FindingCode cause = FindingCode::kIncomplete;
  SourcePart place = {};
  Kt_WString hint = {};
  SourcePart related = {};
  std::vector<Edit> edits = {};
  bool is_cure = false;  // the change is what anybody would make
};

// Texts of hints: pieces that are texts or views, one after the other.
Kt_WString Joined(std::initializer_list<std::u16string_view> pieces);

// What the tokens around a fault show: words and operators of other languages, misspelt keywords,
// and else what the code of the engine comes to. Always gives a repair.
Repair RepairByRule(const SourceTokens& tokens, const Fault& fault);

// Changes that may be the cure: quotes, brackets and semicolons to put in, the likeliest first.
// Most are wrong, which the engine can tell.
std::vector<Repair> QuoteRepairs(const SourceTokens& tokens, const Fault& fault);
std::vector<Repair> BracketRepairs(const SourceTokens& tokens, const Fault& fault);
std::vector<Repair> SemicolonRepairs(const SourceTokens& tokens, const Fault& fault);

// Where functions begin that stand at the left edge, so that one can be looked at without the
// others. Nothing matches for sure behind `unsure_from`; kNowhere: all does.
inline constexpr kt_long kNowhere = std::numeric_limits<kt_long>::max();
std::vector<kt_long> CutAtFunctions(std::u16string_view source, kt_long unsure_from);

// Where braces do not match though the engine does not mind: it skips what closes nothing outside
// of functions. -1 when there is none.
kt_long FindSkippedBracket(const SourceTokens& tokens);

}  // namespace kt::analysis
