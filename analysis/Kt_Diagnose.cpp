// SPDX-License-Identifier: MIT
//
// Diagnosis by repair. The engine tells the first fault of a function and gives up there, or goes
// on and tells what only follows from it. So a supposed cause is repaired in a copy and the engine
// reads that: what is still wrong then has another cause. Where several repairs are possible (which
// of three braces is missing?) the engine also decides between them: the one after which it comes
// farthest is taken, of equal ones the likeliest.
//
// A copy knows for each of its units where it stands in the source, so repairs never move places.
//
// Every try reads a copy, so that copy should be small: a script is cut into its functions, and
// each with faults is looked at as if it were the script.
#include "analysis/Kt_Diagnose.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "analysis/Kt_Repair.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptFunc.h"
#include "script/Kt_SyntaxErrors.h"

namespace kt::analysis {
namespace {

// Reading more than this again takes too long for a message.
constexpr std::size_t kMaxUnits = 5'000'000;
constexpr std::size_t kMaxFindings = 300;
// Of a bracket that is no error.
constexpr kt_long kSkipped = 1;
constexpr kt_long kFarthest = kNowhere;

// What the engine finds --------------------------------------------------------------------------

std::vector<kt_long> LineStarts(std::u16string_view text) {
  std::vector<kt_long> starts = {0};
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != u'\r' && text[at] != u'\n') continue;
    if (text[at] == u'\r' && at + 1 < text.size() && text[at + 1] == u'\n') ++at;
    starts.push_back(static_cast<kt_long>(at) + 1);
  }
  return starts;
}

Fault ToFault(const Kt_SyntaxError& error, const std::vector<kt_long>& lines) {
  const auto line = std::min(static_cast<std::size_t>(std::max(error.line, 1)), lines.size());
  Fault fault{error.code,   error.detail_code, lines[line - 1] + error.column - 1,
              error.length, error.message,     error.function_name};
  if (!error.detail.IsEmpty()) fault.message = error.message + u": " + error.detail;
  return fault;
}

std::vector<Fault> ToFaults(const Kt_SyntaxErrorList& found, std::u16string_view source) {
  const std::vector<kt_long> lines = LineStarts(source);
  std::vector<Fault> faults;
  for (const Kt_SyntaxError& error : found.GetErrors()) {
    if (!error.is_warning && error.code != kSynNul) faults.push_back(ToFault(error, lines));
  }
  return faults;
}

std::vector<Fault> ScriptFaults(const Kt_WString& text, SourceKind kind) {
  Kt_SyntaxErrorList found;
  if (kind == SourceKind::kBody) {
    Kt_ScriptFunc().SetInfo(u"", u"", text, 0, 0, &found);
  } else {
    Kt_RunBudget budget;
    budget.limit_steps = 1;  // globals are not computed
    Kt_Script script;
    script.SetBudget(&budget);
    Kt_WStrList includes;
    script.ParseScript(u"", includes, text.GetText(), &found);
  }
  return ToFaults(found, text);
}

// A text without end passes the check of the engine, because scripts may hold such texts. Where an
// expression stands by itself it is an error.
kt_long OpenTextCode(const Kt_WString& text, kt_long& offset) {
  const kt_long size = text.GetLength();
  const kt_long end = Kt_ExprUtil::TokensEnd(text.GetText(), size);
  int start = 0;
  int code = 0;
  (void)Kt_ExprUtil::FindToken(text.GetText() + end, size - end, start, code);
  offset = end;
  return code < -1 ? code : 0;
}

std::vector<Fault> ExpressionFaults(const Kt_WString& text) {
  const bool is_list = text.GetAt(0) == u'[' && text.GetAt(text.GetLength() - 1) == u']';
  Fault fault;
  fault.code = kSynExpression;
  fault.stands_alone = true;
  if (!is_list) fault.expression_code = OpenTextCode(text, fault.offset);
  if (fault.expression_code == 0) {
    fault.expression_code =
        Kt_ExprUtil::IsValidExpr(text.GetText(), text.GetLength(), &fault.offset);
  }
  if (fault.expression_code != 0) {
    fault.message = kt_exprtextW(fault.expression_code);
    return {fault};
  }
  Kt_Expr expression;
  if (expression.Parse(fault.message, text.GetText()) >= 0) return {};
  fault.expression_code = kFailed;
  fault.offset = std::max(expression.GetErrorOffset(), kt_long{0});
  return {fault};
}

// What all parts of a source share.
struct Effort {
  std::size_t units = 0;  // read so far
  std::size_t findings = 0;

  bool HasTime() const { return units < kMaxUnits && Kt_WorkMeter::CurrentStop() == 0; }
};

std::vector<Fault> Read(std::u16string_view source, SourceKind kind, Effort& effort) {
  const Kt_WString text(source);
  effort.units += source.size() + 1;
  std::vector<Fault> faults =
      kind == SourceKind::kExpression ? ExpressionFaults(text) : ScriptFaults(text, kind);
  if (kind != SourceKind::kScript || !faults.empty()) return faults;
  const kt_long skipped = FindSkippedBracket(SourceTokens(source));
  if (skipped >= 0) faults.push_back({kSkipped, 0, skipped, 1, u"this '}' is skipped", {}});
  return faults;
}

// The copy ---------------------------------------------------------------------------------------

class Copy {
 public:
  explicit Copy(std::u16string_view source) : text_(source), sources_(source.size() + 1) {
    for (std::size_t at = 0; at < sources_.size(); ++at) sources_[at] = static_cast<kt_long>(at);
  }

  std::u16string_view Text() const { return text_; }
  kt_long SourceOf(kt_long at) const {
    return sources_[std::min(static_cast<std::size_t>(std::max(at, 0)), sources_.size() - 1)];
  }
  SourcePart SourceOf(const SourcePart& part) const {
    const kt_long offset = SourceOf(part.offset);
    return {offset, std::max(SourceOf(part.offset + part.length) - offset, kt_long{0})};
  }

  // Whatever their order and overlaps: of two that overlap the later one is left out.
  void Change(std::vector<Edit> edits) {
    std::stable_sort(edits.begin(), edits.end(),
                     [](const Edit& a, const Edit& b) { return a.part.offset < b.part.offset; });
    std::u16string text;
    std::vector<kt_long> sources;
    std::size_t at = 0;
    const auto keep_to = [&](std::size_t end) {
      text.append(text_, at, end - at);
      sources.insert(sources.end(), sources_.begin() + static_cast<std::ptrdiff_t>(at),
                     sources_.begin() + static_cast<std::ptrdiff_t>(end));
      at = end;
    };
    for (const Edit& edit : edits) {
      const auto start = static_cast<std::size_t>(edit.part.offset);
      if (start < at) continue;
      keep_to(start);
      text.append(edit.text.View());
      sources.insert(sources.end(), edit.text.View().size(), sources_[at]);
      at += static_cast<std::size_t>(edit.part.length);
    }
    keep_to(text_.size());
    sources.push_back(sources_.back());
    text_ = std::move(text);
    sources_ = std::move(sources);
  }

 private:
  std::u16string text_;
  std::vector<kt_long> sources_;  // of each unit, and of the end
};

// The search -------------------------------------------------------------------------------------

class Diagnosis {
 public:
  // With the faults of the source.
  Diagnosis(std::u16string_view source, SourceKind kind, std::vector<Fault> faults, Effort& effort)
      : copy_(source), kind_(kind), faults_(std::move(faults)), effort_(effort) {}

  std::vector<Finding> Run() {
    for (; !faults_.empty() && Repairing(); faults_ = Read(copy_.Text(), kind_, effort_)) {
    }
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
    return std::move(findings_);
  }

 private:
  // Repairs the first fault, and those behind it that have nothing to do with it: of other
  // functions, or of other statements while each is a sound one by itself. False at the end.
  bool Repairing() {
    const SourceTokens tokens(copy_.Text());
    std::vector<Edit> edits;
    kt_long repaired_to = -1;
    for (const Fault& fault : faults_) {
      if (effort_.findings >= kMaxFindings) return false;
      if (fault.offset < repaired_to) continue;
      if (!effort_.HasTime()) {
        Tell(fault, RepairByRule(tokens, fault));
        continue;
      }
      if (const std::optional<Fault> inner = Unreadable(tokens, fault)) {
        if (std::optional<Repair> found = Inside(tokens, *inner)) {
          Tell(*inner, *found);
          edits = std::move(found->edits);
          break;
        }
      }
      if (std::optional<Repair> found = Search(tokens, fault)) {
        if (!IsNew(*found)) return false;
        Tell(fault, *found);
        std::move(found->edits.begin(), found->edits.end(), std::back_inserter(edits));
        break;
      }
      const Repair repair = RepairByRule(tokens, fault);
      if (!IsNew(fault, repair)) return false;
      Tell(fault, repair);
      if (repair.edits.empty()) return false;
      edits.insert(edits.end(), repair.edits.begin(), repair.edits.end());
      if (!IsSound(tokens, fault, repair)) break;
      repaired_to = tokens.StartOf(StatementEnd(tokens, repair));
    }
    copy_.Change(std::move(edits));
    return effort_.HasTime();
  }

  // A fault that its repair has left there ends the search.
  bool IsNew(const Fault& fault, const Repair& repair) {
    const kt_long place = copy_.SourceOf(fault.offset);
    seen_.emplace(fault.code, place);
    return causes_.emplace(repair.cause, place).second;
  }

  // The same bracket again and again: what is wrong is something else.
  bool IsNew(const Repair& found) {
    return found_
        .emplace(found.cause, copy_.SourceOf(found.place.offset),
                 copy_.SourceOf(found.related.offset))
        .second;
  }

  // The first character behind the place of a fault, in its function, that no token has: for such a
  // one the engine may refuse a statement that begins long before it.
  static std::optional<Fault> Unreadable(const SourceTokens& tokens, const Fault& fault) {
    constexpr std::u16string_view kNowhereElse = u"#$@\\`~^?";
    if (fault.stands_alone) return {};
    std::size_t at = tokens.At(fault.offset) + 1;
    for (; at < tokens.Count() && !tokens.BeginsFunction(at); ++at) {
      if (kNowhereElse.find(tokens.Text(at)[0]) == kNowhereElse.npos) continue;
      Fault found = fault;
      found.code = kSynExpression;
      found.expression_code = kExprBadToken;
      found.offset = tokens[at].start;
      found.message = kt_exprtextW(kExprBadToken);
      return found;
    }
    return {};
  }

  // What the rule makes of it, or the text without it, when that also mends all before it.
  std::optional<Repair> Inside(const SourceTokens& tokens, const Fault& fault) {
    Repair by_rule = RepairByRule(tokens, fault);
    const SourcePart place{fault.offset, 1};
    const auto unit = tokens.Source().substr(static_cast<std::size_t>(fault.offset), 1);
    Repair without{FindingCode::kBadToken, place, Joined({u"this '", unit, u"' is one too many"})};
    without.edits = {{place, {}}};
    const kt_long reach = Reach(by_rule, fault);
    if (Reach(without, fault) > reach) return without;
    if (reach > 0) return by_rule;
    return {};
  }

  static std::size_t StatementEnd(const SourceTokens& tokens, const Repair& repair) {
    std::size_t at = tokens.At(repair.place.offset);
    while (at < tokens.Count() && !IsOneOf(tokens.Text(at), {u";", u"{", u"}"})) ++at;
    return at;
  }

  // Whether the statement ends where the engine thinks that it does.
  static bool IsSound(const SourceTokens& tokens, const Fault& fault, const Repair& repair) {
    if (fault.code != kSynExpression) return false;
    std::size_t at = tokens.StatementStart(tokens.At(fault.offset));
    const std::size_t end = StatementEnd(tokens, repair);
    if (!tokens.Is(end, u";")) return false;
    for (; at < end; ++at) {
      if (tokens.IsOpening(at) && tokens.BehindGroup(at) > end) return false;
    }
    return true;
  }

  // The best of the possible repairs, if one is any good.
  std::optional<Repair> Search(const SourceTokens& tokens, const Fault& fault) {
    if (fault.code == kSynTooDeep || fault.expression_code == kExprTooDeep) return {};
    std::vector<Repair> repairs = QuoteRepairs(tokens, fault);
    for (auto* const more : {&BracketRepairs, &SemicolonRepairs}) {
      if (fault.stands_alone && more == &SemicolonRepairs) continue;
      std::vector<Repair> found = more(tokens, fault);
      std::move(found.begin(), found.end(), std::back_inserter(repairs));
    }
    std::optional<Repair> best;
    kt_long best_reach = 0;
    for (Repair& repair : repairs) {
      if (!effort_.HasTime()) break;
      const kt_long reach = Reach(repair, fault);
      if (reach <= best_reach) continue;
      best_reach = reach;
      best = std::move(repair);
      if (reach == kFarthest) break;
    }
    return best;
  }

  // How far the engine comes with the repair, in the source; 0 when it does not help.
  kt_long Reach(const Repair& repair, const Fault& fault) {
    Copy changed = copy_;
    changed.Change(repair.edits);
    const std::vector<Fault> faults = Read(changed.Text(), kind_, effort_);
    if (faults.empty()) return kFarthest;
    kt_long first = kFarthest;
    for (const Fault& left : faults) {
      const kt_long place = changed.SourceOf(left.offset);
      if (!seen_.contains({left.code, place})) first = std::min(first, place);
    }
    const kt_long needed =
        std::max(copy_.SourceOf(fault.offset), copy_.SourceOf(repair.place.offset));
    return first > needed ? first : 0;
  }

  void Tell(const Fault& fault, const Repair& repair) {
    const SourcePart place = copy_.SourceOf(repair.place);
    Finding finding{repair.cause, 0, place.offset, std::max(place.length, kt_long{1}),
                    fault.message};
    finding.is_error = fault.code != kSkipped;
    const bool has_code = finding.is_error && kind_ != SourceKind::kExpression;
    finding.syntax_code = has_code ? fault.code : kOk;
    finding.function_name = fault.function_name;
    finding.hint = repair.hint;
    if (repair.related.length > 0) finding.related = copy_.SourceOf(repair.related);
    if (repair.is_cure) {
      for (const Edit& edit : repair.edits) {
        finding.fix.push_back({copy_.SourceOf(edit.part), edit.text});
      }
    }
    findings_.push_back(std::move(finding));
    ++effort_.findings;
  }

  Copy copy_;
  const SourceKind kind_;
  std::vector<Fault> faults_;
  Effort& effort_;
  // What rules have repaired: the codes of the faults, and the causes, with their places.
  std::set<std::pair<kt_long, kt_long>> seen_;
  std::set<std::pair<FindingCode, kt_long>> causes_;
  // What the search has found: causes with their two places.
  std::set<std::tuple<FindingCode, kt_long, kt_long>> found_;
  std::vector<Finding> findings_;
};

void Move(std::vector<Finding> findings, kt_long by, std::vector<Finding>& to) {
  for (Finding& finding : findings) {
    finding.offset += by;
    if (finding.related.length > 0) finding.related.offset += by;
    for (Edit& edit : finding.fix) edit.part.offset += by;
    to.push_back(std::move(finding));
  }
}

// Function by function, from the one with the first fault on. None when that has no fault by
// itself: then the cut was wrong.
std::vector<Finding> DiagnoseFunctions(std::u16string_view source, const std::vector<Fault>& faults,
                                       Effort& effort) {
  const kt_long skipped = FindSkippedBracket(SourceTokens(source));
  kt_long first = skipped >= 0 ? skipped : kNowhere;
  kt_long unsure_from = kNowhere;
  for (const Fault& fault : faults) {
    first = std::min(first, fault.offset);
    if (fault.code != kSynExpression) unsure_from = std::min(unsure_from, fault.offset);
  }
  std::vector<kt_long> cuts = CutAtFunctions(source, kNowhere);
  if (unsure_from != kNowhere) {
    // What does not match may begin before the place of the fault, but in the same function.
    const auto behind = std::ranges::upper_bound(cuts, unsure_from);
    const kt_long start = behind != cuts.begin() ? *std::prev(behind) : 0;
    cuts = CutAtFunctions(source, start);
    first = std::min(first, start);
  }
  cuts.insert(cuts.begin(), 0);
  cuts.push_back(static_cast<kt_long>(source.size()));
  std::vector<Finding> findings;
  for (std::size_t part = 0; part + 1 < cuts.size(); ++part) {
    if (cuts[part + 1] <= first) continue;
    const std::u16string_view text =
        source.substr(static_cast<std::size_t>(cuts[part]),
                      static_cast<std::size_t>(cuts[part + 1] - cuts[part]));
    Diagnosis diagnosis(text, SourceKind::kScript, Read(text, SourceKind::kScript, effort), effort);
    Move(diagnosis.Run(), cuts[part], findings);
    if (findings.empty()) break;
  }
  return findings;
}

}  // namespace

bool SkipsBrackets(std::u16string_view script) {
  return FindSkippedBracket(SourceTokens(script.substr(0, script.find(u'\0')))) >= 0;
}

std::vector<Finding> Diagnose(std::u16string_view source, SourceKind kind,
                              const Kt_SyntaxErrorList* found) {
  source = source.substr(0, source.find(u'\0'));  // what stands behind a NUL is not read
  Effort effort;
  std::vector<Fault> faults;
  if (found != nullptr) faults = ToFaults(*found, source);
  if (faults.empty()) faults = Read(source, kind, effort);
  if (faults.empty()) return {};
  if (kind == SourceKind::kScript) {
    std::vector<Finding> findings = DiagnoseFunctions(source, faults, effort);
    if (!findings.empty()) return findings;
  }
  return Diagnosis(source, kind, std::move(faults), effort).Run();
}

}  // namespace kt::analysis
