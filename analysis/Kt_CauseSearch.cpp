// SPDX-License-Identifier: MIT
//
// What may have been left out: a quote, a bracket, a semicolon. Where braces belong, the
// indentation of the lines says; everything else follows from the tokens at the place.
#include <algorithm>
#include <iterator>
#include <utility>

#include "analysis/Kt_ForeignWords.h"
#include "analysis/Kt_Repair.h"
#include "classlib/base/Kt_Codes.h"

namespace kt::analysis {
namespace {

using Kind = SourceTokens::Kind;

// Whoever looks through more candidates looks in the wrong place.
constexpr std::size_t kMaxRepairs = 300;

void Add(Repair repair, std::vector<Repair>& repairs) {
  if (repairs.size() < kMaxRepairs) repairs.push_back(std::move(repair));
}

Edit Insert(kt_long at, std::u16string_view text) { return {{at, 0}, Kt_WString(text)}; }

char16_t ClosingOf(std::u16string_view open) {
  return open == u"(" ? u')' : open == u"[" ? u']' : u'}';
}
std::u16string_view OpeningOf(std::u16string_view close) {
  return close == u")" ? u"(" : close == u"]" ? u"[" : u"{";
}

SourcePart PartOf(const SourceTokens& tokens, std::size_t at) {
  if (at >= tokens.Count()) return {tokens.StartOf(at), 0};
  return {tokens[at].start, tokens[at].length};
}

bool IsOneWord(const SourceTokens& tokens, std::size_t at,
               std::initializer_list<std::u16string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](std::u16string_view word) { return tokens.IsWord(at, word); });
}

bool BeginsLine(const SourceTokens& tokens, std::size_t at) {
  return at < tokens.Count() && tokens[at].begins_line;
}

bool IsLoopHead(const SourceTokens& tokens, std::size_t open) {
  return open > 0 && tokens.IsWord(open - 1, u"for");
}

bool IsControlHead(const SourceTokens& tokens, std::size_t open) {
  return open > 0 && (IsOneWord(tokens, open - 1, {u"if", u"for", u"while", u"switch"}) ||
                      (open > 1 && tokens.BeginsFunction(open - 2)));
}

// `{` of another language's value or function, inside of parentheses.
bool IsForeignBrace(const SourceTokens& tokens, std::size_t at, std::size_t open) {
  if (tokens.Is(at + 1, u"}") || tokens.Is(at - 1, u"=>")) return true;
  if (tokens.Is(at + 2, u":") && !tokens.IsKind(at + 1, Kind::kMark)) return true;
  return tokens.Is(at - 1, u")") && !IsControlHead(tokens, open);
}

// A bracket that has no other.
struct Problem {
  enum class Kind : std::uint8_t { kNone, kUnclosed, kStray };
  Kind kind = Kind::kNone;
  std::size_t open = 0;  // the one around the place, if any
  bool has_open = false;
  std::size_t at = 0;  // the token that cannot stand inside of it; the stray bracket
};

// Statements do not begin inside of parentheses, functions not inside of braces.
bool EndsParentheses(const SourceTokens& tokens, std::size_t at, std::size_t open) {
  if (tokens.Is(at, u"{")) return !IsForeignBrace(tokens, at, open);
  if (tokens.Is(at, u";")) return !IsLoopHead(tokens, open);
  if (tokens.IsWord(at, u"var")) return at != open + 1 || !IsLoopHead(tokens, open);
  if (IsOneWord(tokens, at, {u"if", u"for"})) {
    return tokens[at].begins_line && tokens.Is(at + 1, u"(");
  }
  return IsOneWord(tokens, at, {u"return", u"while", u"switch", u"break", u"continue"});
}

// Whether `bracket` is open around what is open innermost, but for braces in between.
bool HasOpen(const SourceTokens& tokens, const std::vector<std::size_t>& open,
             std::u16string_view bracket) {
  for (auto one = open.rbegin(); one != open.rend(); ++one) {
    if (tokens.Is(*one, bracket)) return true;
    if (tokens.Is(*one, u"{")) return false;
  }
  return false;
}

Problem FindProblem(const SourceTokens& tokens, bool functions_end_braces) {
  std::vector<std::size_t> open;
  const auto unclosed = [&](std::size_t at) {
    return Problem{Problem::Kind::kUnclosed, open.back(), true, at};
  };
  for (std::size_t at = 0; at < tokens.Count(); ++at) {
    const bool in_braces = open.empty() || tokens.Is(open.back(), u"{");
    if (!in_braces && EndsParentheses(tokens, at, open.back())) return unclosed(at);
    if (functions_end_braces && !open.empty() && tokens.BeginsFunction(at)) return unclosed(at);
    if (tokens.IsOpening(at)) {
      open.push_back(at);
    } else if (tokens.IsClosing(at)) {
      if (!open.empty() && tokens.Is(open.back(), OpeningOf(tokens.Text(at)))) {
        open.pop_back();
      } else if (!in_braces && HasOpen(tokens, open, OpeningOf(tokens.Text(at)))) {
        return unclosed(at);
      } else {
        return {Problem::Kind::kStray, open.empty() ? 0 : open.back(), !open.empty(), at};
      }
    }
  }
  return open.empty() ? Problem{} : unclosed(tokens.Count());
}

std::size_t FunctionStart(const SourceTokens& tokens, std::size_t before) {
  std::size_t at = std::min(before, tokens.Count());
  while (at > 0 && !tokens.BeginsFunction(at)) --at;
  return at;
}

// Parentheses and brackets ------------------------------------------------------------------------

void AddClosing(const SourceTokens& tokens, std::size_t open, std::size_t before,
                std::vector<Repair>& repairs) {
  const char16_t close = ClosingOf(tokens.Text(open));
  const std::u16string_view text(&close, 1);
  const kt_long at = tokens.EndBefore(before);
  Repair repair{FindingCode::kUnclosedBracket, {at, 0}};
  // What stands there may be on another line.
  if (before < tokens.Count() && tokens[before].start == at) repair.place.length = 1;
  repair.hint = Joined({u"'", text, u"' is missing here, for the '", tokens.Text(open), u"'"});
  repair.related = PartOf(tokens, open);
  repair.edits = {Insert(at, text)};
  Add(std::move(repair), repairs);
}

// Where a value follows a value the expression has hardly been meant to go on.
bool IsGap(const SourceTokens& tokens, std::size_t at) {
  return tokens.EndsValue(at - 1) && tokens.BeginsValue(at) && !tokens.Is(at, u"(") &&
         !tokens.Is(at, u"[");
}

void AddOther(const SourceTokens& tokens, const Problem& problem, std::vector<Repair>& repairs) {
  const char16_t close = ClosingOf(tokens.Text(problem.open));
  Repair repair{FindingCode::kStrayBracket, PartOf(tokens, problem.at)};
  repair.hint = Joined({u"'", std::u16string_view(&close, 1), u"' is needed here, for the '",
                        tokens.Text(problem.open), u"'"});
  repair.related = PartOf(tokens, problem.open);
  repair.edits = {{repair.place, Kt_WString(std::u16string_view(&close, 1))}};
  Add(std::move(repair), repairs);
}

void CloseParentheses(const SourceTokens& tokens, const Problem& problem,
                      std::vector<Repair>& repairs) {
  // An index ends before the '=' of its assignment.
  for (std::size_t at = problem.open + 1; tokens.Is(problem.open, u"[") && at < problem.at; ++at) {
    if (IsOneOf(tokens.Text(at), {u"=", u"+=", u"-=", u"*=", u"/=", u"%="})) {
      AddClosing(tokens, problem.open, at, repairs);
    }
  }
  AddClosing(tokens, problem.open, problem.at, repairs);
  if (tokens.Is(problem.at, u")") || tokens.Is(problem.at, u"]")) {
    AddOther(tokens, problem, repairs);
  }
  for (std::size_t at = problem.open + 2; at < problem.at; ++at) {
    if (IsGap(tokens, at) || tokens.Is(at, u"{") || tokens.Is(at, u",") || tokens.Is(at, u":")) {
      AddClosing(tokens, problem.open, at, repairs);
    }
  }
}

void AddOpening(const SourceTokens& tokens, std::size_t stray, std::size_t before,
                std::vector<Repair>& repairs) {
  const std::u16string_view text = OpeningOf(tokens.Text(stray));
  // Behind a name or a keyword without the blank that may follow.
  const bool is_behind_word = tokens.IsKind(before - 1, Kind::kWord);
  const kt_long at = is_behind_word ? tokens.EndBefore(before) : tokens.StartOf(before);
  Repair repair{FindingCode::kStrayBracket, PartOf(tokens, stray)};
  repair.hint = Joined(
      {u"this '", tokens.Text(stray), u"' closes nothing; a '", text, u"' seems to be missing"});
  repair.related = {at, 1};
  repair.edits = {Insert(at, text)};
  Add(std::move(repair), repairs);
}

void AddWithout(const SourceTokens& tokens, std::size_t stray, std::vector<Repair>& repairs) {
  Repair repair{FindingCode::kStrayBracket, PartOf(tokens, stray)};
  repair.hint = Joined({u"this '", tokens.Text(stray), u"' closes nothing"});
  repair.edits = {{PartOf(tokens, stray), Kt_WString(u" ")}};
  Add(std::move(repair), repairs);
}

// The first token of the line or, if that is farther back, of the statement.
std::size_t LineStart(const SourceTokens& tokens, std::size_t at) {
  std::size_t start = at;
  while (start > 0 && !tokens[start].begins_line) --start;
  return std::min(start, tokens.StatementStart(at));
}

void OpenParentheses(const SourceTokens& tokens, const Problem& problem,
                     std::vector<Repair>& repairs) {
  const std::size_t start = LineStart(tokens, problem.at);
  if (problem.has_open && !tokens.Is(problem.open, u"{")) AddOther(tokens, problem, repairs);
  for (std::size_t at = start + 1; at < problem.at; ++at) {
    if (tokens.IsKind(at - 1, Kind::kWord) && IsGap(tokens, at)) {
      AddOpening(tokens, problem.at, at, repairs);
    }
  }
  const bool is_doubled = tokens.Is(problem.at - 1, tokens.Text(problem.at));
  if (is_doubled) AddWithout(tokens, problem.at, repairs);
  for (std::size_t at = start + 1; at < problem.at; ++at) {
    const bool is_behind_mark = tokens.IsKind(at - 1, Kind::kMark) && !tokens.EndsValue(at - 1);
    const bool is_behind_word = tokens.IsKind(at - 1, Kind::kWord);
    if (is_behind_mark || is_behind_word) AddOpening(tokens, problem.at, at, repairs);
  }
  if (problem.at > start) AddOpening(tokens, problem.at, problem.at, repairs);
  AddWithout(tokens, problem.at, repairs);
}

// Braces -----------------------------------------------------------------------------------------

// A line that stands no deeper than the one with an open brace is not in the braces any more.
void CloseBraces(const SourceTokens& tokens, const Problem& problem, std::vector<Repair>& repairs) {
  std::vector<std::size_t> open;
  const auto is_left_at = [&](std::size_t at) {
    const SourceToken& token = tokens[at];
    const SourceToken& brace = tokens[open.back()];
    if (IsOneWord(tokens, at, {u"case", u"default"}) || tokens.Is(at, u"{")) return false;
    return tokens.Is(at, u"}") ? brace.indent > token.indent : brace.indent >= token.indent;
  };
  std::vector<Repair> others;  // where an `else` or a '}' follows, whatever the lines look like
  for (std::size_t at = FunctionStart(tokens, problem.open); at < problem.at; ++at) {
    const bool may_end = tokens.IsWord(at, u"else") || tokens.Is(at, u"}");
    if (may_end && !open.empty()) AddClosing(tokens, open.back(), at, others);
    while (tokens[at].begins_line && !open.empty() && is_left_at(at)) {
      AddClosing(tokens, open.back(), at, repairs);
      open.pop_back();
    }
    if (tokens.Is(at, u"{")) open.push_back(at);
    if (tokens.Is(at, u"}") && !open.empty()) open.pop_back();
  }
  for (; !open.empty(); open.pop_back()) AddClosing(tokens, open.back(), problem.at, repairs);
  std::move(others.begin(), others.end(), std::back_inserter(repairs));
}

// Behind the head of a function or a statement that has no brace; 0 when there is none at `at`.
std::size_t BehindBareHead(const SourceTokens& tokens, std::size_t at) {
  std::size_t end = 0;
  if (tokens.BeginsFunction(at)) {
    end = tokens.BehindGroup(at + 2);
  } else if (IsOneWord(tokens, at, {u"if", u"for", u"while", u"switch"}) &&
             tokens.Is(at + 1, u"(")) {
    end = tokens.BehindGroup(at + 1);
  } else if (tokens.IsWord(at, u"else") && !tokens.IsWord(at + 1, u"if")) {
    end = at + 1;
  }
  return tokens.Is(end, u"{") ? 0 : end;
}

void AddBrace(const SourceTokens& tokens, std::size_t behind, const Problem& problem,
              std::vector<Repair>& repairs) {
  Repair repair{FindingCode::kStrayBracket, {tokens.EndBefore(behind), 0}};
  repair.hint = u"'{' is missing here, for the '}'";
  repair.related = PartOf(tokens, problem.at);
  repair.edits = {Insert(tokens.EndBefore(behind), u"{")};
  Add(std::move(repair), repairs);
}

bool BeginsItem(const SourceTokens& tokens, std::size_t at) {
  return at >= tokens.Count() || tokens.BeginsFunction(at) || tokens.IsWord(at, u"var") ||
         tokens.Is(at, u"#");
}

// The '}' of a block whose '{' is missing stands below its head.
void OpenBraces(const SourceTokens& tokens, const Problem& problem, std::vector<Repair>& repairs) {
  const std::size_t start = FunctionStart(tokens, problem.at);
  std::vector<std::size_t> open;
  std::vector<std::size_t> heads;
  const auto head_of_line = [&](std::size_t at) {
    const std::size_t behind = BehindBareHead(tokens, at);
    return behind > 0 && behind < tokens.Count() ? behind : 0;
  };
  for (std::size_t at = start; at < problem.at; ++at) {
    if (const std::size_t behind = head_of_line(at)) heads.push_back(at);
    const bool is_close = tokens.Is(at, u"}");
    const bool is_deeper = is_close && !open.empty() && tokens[at].begins_line &&
                           tokens[open.back()].indent < tokens[at].indent;
    const auto head = std::find_if(heads.rbegin(), heads.rend(), [&](std::size_t one) {
      return tokens[one].indent == tokens[at].indent;
    });
    if (is_deeper && head != heads.rend()) {
      AddBrace(tokens, head_of_line(*head), problem, repairs);
    } else if (is_close && !open.empty()) {
      open.pop_back();
      if (open.empty() && !BeginsItem(tokens, at + 1)) AddWithout(tokens, at, repairs);
    }
    if (tokens.Is(at, u"{")) open.push_back(at);
  }
  for (; !heads.empty(); heads.pop_back()) {
    AddBrace(tokens, head_of_line(heads.back()), problem, repairs);
  }
  AddWithout(tokens, problem.at, repairs);
}

// Quotes -----------------------------------------------------------------------------------------

// The first text from there on that goes over the end of its line: texts may, but few do.
std::size_t FindLongText(const SourceTokens& tokens, std::size_t from) {
  constexpr auto kNowhere = std::u16string_view::npos;
  std::size_t at = from;
  while (at < tokens.Count() &&
         !(tokens.IsKind(at, Kind::kText) &&
           (tokens.Text(at).find_first_of(u"\r\n") != kNowhere || at + 1 == tokens.Count()))) {
    ++at;
  }
  return at;
}

void AddQuote(kt_long at, char16_t quote, SourcePart place, std::u16string_view hint,
              std::vector<Repair>& repairs) {
  repairs.push_back({FindingCode::kUnclosedString,
                     place,
                     Kt_WString(hint),
                     {},
                     {Insert(at, std::u16string_view(&quote, 1))}});
}

// The text that begins with the quote ends somewhere in the line: behind all of it, or before
// what ends statements and calls.
void CloseQuote(const SourceTokens& tokens, kt_long start, char16_t quote,
                std::vector<Repair>& repairs) {
  const std::u16string_view source = tokens.Source();
  const auto from = static_cast<std::size_t>(start);
  const Kt_WString hint =
      Joined({u"the string that begins here has no closing ", std::u16string_view(&quote, 1)});
  std::size_t end = std::min(source.find_first_of(u"\r\n", from), source.size());
  constexpr std::u16string_view kBehind = u" \t;,)]}";
  for (; end > from; --end) {
    const bool is_end = end == source.size() || kBehind.find(source[end]) != kBehind.npos ||
                        source[end] == u'\r' || source[end] == u'\n';
    if (is_end) AddQuote(static_cast<kt_long>(end), quote, {start, 1}, hint, repairs);
  }
}

// The quote ends a text that begins before it in the line.
void OpenQuote(const SourceTokens& tokens, std::size_t text, char16_t quote,
               std::vector<Repair>& repairs) {
  const SourcePart place{tokens[text].start, 1};
  const Kt_WString hint =
      Joined({u"the string that ends here has no opening ", std::u16string_view(&quote, 1)});
  for (const bool behind_marks : {true, false}) {
    for (std::size_t at = text; at > 0; --at) {
      if (tokens.IsKind(at - 1, Kind::kMark) == behind_marks) {
        AddQuote(tokens.StartOf(at), quote, place, hint, repairs);
      }
      if (tokens[at - 1].begins_line) {
        if (behind_marks) AddQuote(tokens.StartOf(at - 1), quote, place, hint, repairs);
        break;
      }
    }
  }
}

// At any edge in the line: the quotes between it and the one without another change their sides.
void AddAnyQuote(const SourceTokens& tokens, kt_long start, char16_t quote,
                 std::vector<Repair>& repairs) {
  const std::u16string_view source = tokens.Source();
  constexpr std::u16string_view kEdges = u" \t;,()[]{}+=";
  std::size_t at = source.find_last_of(u"\r\n", static_cast<std::size_t>(start));
  at = at == source.npos ? 0 : at + 1;
  const Kt_WString hint = Joined({u"a ", std::u16string_view(&quote, 1), u" is missing here"});
  for (; at < static_cast<std::size_t>(start); ++at) {
    const bool is_edge = kEdges.find(source[at]) != kEdges.npos ||
                         (at > 0 && kEdges.find(source[at - 1]) != kEdges.npos);
    const auto place = static_cast<kt_long>(at);
    if (is_edge) AddQuote(place, quote, {place, 1}, hint, repairs);
  }
}

// The quote has no other because it is one too many: for sure where it doubles the end of a text.
void RemoveQuote(const SourceTokens& tokens, kt_long start, char16_t quote,
                 std::vector<Repair>& repairs) {
  const auto at = static_cast<std::size_t>(start);
  Repair repair{FindingCode::kUnclosedString, {start, 1}};
  repair.hint = Joined({u"this ", std::u16string_view(&quote, 1), u" is one too many"});
  repair.edits = {{{start, 1}, {}}};
  repair.is_cure = at > 0 && tokens.Source()[at - 1] == quote;
  repairs.push_back(std::move(repair));
}

bool CanEndStatement(const SourceTokens& tokens, std::size_t at) {
  if (IsOneWord(tokens, at, {u"else", u"if", u"while", u"for", u"var"})) return false;
  const bool is_foreign = tokens.IsKind(at, Kind::kWord) &&
                          FindStatement(tokens.Text(at)) != nullptr &&
                          (tokens[at].begins_line || tokens.Is(at - 1, u")"));
  return tokens.EndsValue(at) && !is_foreign;
}

bool CanBeginStatement(const SourceTokens& tokens, std::size_t at) {
  if (tokens.IsKind(at, Kind::kMark)) return IsOneOf(tokens.Text(at), {u"}", u"++", u"--", u"("});
  return at == tokens.Count() || tokens.IsKind(at, Kind::kWord);
}

bool IsStatementWord(const SourceTokens& tokens, std::size_t at) {
  if (IsOneWord(tokens, at, {u"if", u"for", u"while", u"switch"})) return tokens.Is(at + 1, u"(");
  return IsOneWord(tokens, at, {u"var", u"break", u"return", u"continue", u"case", u"default"});
}

}  // namespace

std::vector<Repair> QuoteRepairs(const SourceTokens& tokens, const Fault& fault) {
  std::vector<Repair> repairs;
  const std::size_t fault_at = tokens.At(fault.offset);
  const std::size_t text =
      FindLongText(tokens, FunctionStart(tokens, std::min(fault_at, tokens.Count())));
  if (text >= tokens.Count()) return repairs;
  const char16_t quote = tokens.Text(text)[0];
  CloseQuote(tokens, tokens[text].start, quote, repairs);
  OpenQuote(tokens, text, quote, repairs);
  // A quote of the other kind in what was to be a text begins one.
  const char16_t other = quote == u'"' ? u'\'' : u'"';
  OpenQuote(tokens, text, other, repairs);
  RemoveQuote(tokens, tokens[text].start, quote, repairs);
  AddAnyQuote(tokens, tokens[text].start, quote, repairs);
  AddAnyQuote(tokens, tokens[text].start, other, repairs);
  return repairs;
}

std::vector<Repair> BracketRepairs(const SourceTokens& tokens, const Fault&) {
  std::vector<Repair> repairs;
  Problem problem = FindProblem(tokens, false);
  if (problem.kind == Problem::Kind::kNone) return repairs;
  if (problem.kind == Problem::Kind::kUnclosed) problem = FindProblem(tokens, true);
  const bool is_brace = problem.kind == Problem::Kind::kUnclosed ? tokens.Is(problem.open, u"{")
                                                                 : tokens.Is(problem.at, u"}");
  if (problem.kind == Problem::Kind::kUnclosed) {
    is_brace ? CloseBraces(tokens, problem, repairs) : CloseParentheses(tokens, problem, repairs);
  } else {
    is_brace ? OpenBraces(tokens, problem, repairs) : OpenParentheses(tokens, problem, repairs);
  }
  return repairs;
}

std::vector<Repair> SemicolonRepairs(const SourceTokens& tokens, const Fault& fault) {
  std::vector<Repair> repairs;
  if (fault.code == kSynBlockEnd) return repairs;  // what is missing is more than that
  const std::size_t fault_at = std::min(tokens.At(fault.offset), tokens.Count());
  const std::size_t start = tokens.StatementStart(fault_at);
  for (std::size_t at = start + 1; at <= tokens.Count(); ++at) {
    const bool begins = BeginsLine(tokens, at) || IsStatementWord(tokens, at) ||
                        tokens.Is(at, u"}") || at == tokens.Count();
    if (begins && CanEndStatement(tokens, at - 1) && CanBeginStatement(tokens, at)) {
      const kt_long end = tokens.EndBefore(at);
      repairs.push_back({FindingCode::kMissingSemicolon,
                         {end, 0},
                         u"';' is missing here",
                         {},
                         {Insert(end, u";")},
                         true});
    }
    if (at > fault_at && IsOneOf(tokens.Text(at), {u";", u"{", u"}"})) break;
  }
  return repairs;
}

kt_long FindSkippedBracket(const SourceTokens& tokens) {
  std::size_t depth = 0;
  for (std::size_t at = 0; at < tokens.Count(); ++at) {
    if (tokens.Is(at, u"{")) ++depth;
    if (!tokens.Is(at, u"}")) continue;
    if (depth == 0) return tokens[at].start;
    --depth;
  }
  return -1;
}

}  // namespace kt::analysis
