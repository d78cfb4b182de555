// SPDX-License-Identifier: MIT
//
// What the tokens around a fault say by themselves. Rules are asked from the particular to the
// general: words of other languages and misspelt ones at the beginning of the statement, operators
// of other languages anywhere in it, what the kind of fault says, the code of the engine.
#include <algorithm>
#include <optional>

#include "analysis/Kt_ForeignWords.h"
#include "analysis/Kt_Repair.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/text/Kt_NearestName.h"

namespace kt::analysis {
namespace {

using Kind = SourceTokens::Kind;

constexpr auto kDeclares = FindingCode::kForeignDeclaration;
constexpr auto kStatement = FindingCode::kForeignStatement;
constexpr auto kOperator = FindingCode::kForeignOperator;
constexpr auto kValue = FindingCode::kForeignValue;

constexpr std::u16string_view kColon = u"':' is missing here, after the label";

constexpr std::u16string_view kKeywords[] = {u"if",       u"for",   u"var",     u"else",
                                             u"while",    u"break", u"switch",  u"return",
                                             u"continue", u"case",  u"default", u"function"};

bool IsKeyword(std::u16string_view word) {
  const Kt_WString wanted(word);
  return std::any_of(std::begin(kKeywords), std::end(kKeywords),
                     [&](std::u16string_view keyword) { return wanted.EqualsNoCase(keyword); });
}

// One fault --------------------------------------------------------------------------------------

class Rules {
 public:
  Rules(const SourceTokens& tokens, const Fault& fault)
      : tokens_(tokens),
        fault_(fault),
        at_(tokens.At(fault.offset)),
        start_(tokens.StatementStart(at_)),
        end_(StatementEnd()) {}

  Repair Run() const {
    using Rule = std::optional<Repair> (Rules::*)() const;
    constexpr Rule kRules[] = {&Rules::Comment,  &Rules::Pragma,      &Rules::CaseValue,
                               &Rules::ForHead,  &Rules::FirstWord,   &Rules::Misspelt,
                               &Rules::Outside,  &Rules::Declaration, &Rules::Argument,
                               &Rules::Function, &Rules::Head,        &Rules::ForeignMark,
                               &Rules::Compare,  &Rules::ForeignWord, &Rules::Structure};
    for (const Rule rule : kRules) {
      if (std::optional<Repair> repair = (this->*rule)()) return *std::move(repair);
    }
    return Expression();
  }

 private:
  using Found = std::optional<Repair>;

  // Tools
  // ------------------------------------------------------------------------------------------

  SourcePart Part(std::size_t at) const {
    if (at >= tokens_.Count()) return {tokens_.StartOf(at), 0};
    return {tokens_[at].start, tokens_[at].length};
  }
  SourcePart Range(std::size_t from, std::size_t to) const {
    const kt_long start = tokens_.StartOf(from);
    return {start, std::max(tokens_.EndBefore(to) - start, 0)};
  }
  Edit Replaced(std::size_t from, std::size_t to, std::u16string_view text = u" ") const {
    return {Range(from, to), Kt_WString(text)};
  }
  static Edit Inserted(kt_long at, std::u16string_view text) { return {{at, 0}, Kt_WString(text)}; }
  // The rest of the expression from there on, by something that is none or a value.
  Edit WithoutRest(std::size_t from) const {
    return Replaced(from, tokens_.ExpressionEnd(from), tokens_.EndsValue(from - 1) ? u" " : u" 0 ");
  }
  Repair Make(FindingCode cause, SourcePart place, std::u16string_view hint,
              std::vector<Edit> edits = {}, bool is_cure = false) const {
    return {cause, place, Kt_WString(hint), {}, std::move(edits), is_cure};
  }
  Repair Make(FindingCode cause, std::size_t at, std::u16string_view hint,
              std::vector<Edit> edits = {}, bool is_cure = false) const {
    return Make(cause, Part(at), hint, std::move(edits), is_cure);
  }
  std::u16string_view Text(std::size_t at) const { return tokens_.Text(at); }
  bool Is(std::size_t at, std::u16string_view text) const { return tokens_.Is(at, text); }
  bool IsWord(std::size_t at) const { return tokens_.IsKind(at, Kind::kWord); }
  bool IsInFunction() const { return !fault_.function_name.IsEmpty(); }

  std::size_t StatementEnd() const {
    std::size_t end = at_;
    while (end < tokens_.Count() && !Is(end, u";") && !Is(end, u"}") &&
           !(Is(end, u"{") && !IsValueBrace(end))) {
      ++end;
    }
    return end;
  }
  bool IsValueBrace(std::size_t at) const {
    return Is(at, u"{") &&
           (at == 0 || IsOneOf(Text(at - 1), {u"=", u"(", u",", u"[", u":", u"+", u"=>"}) ||
            tokens_.IsWord(at - 1, u"return"));
  }
  // What stands before the block of the statement, or all of the statement.
  Edit WithoutHead() const { return Replaced(start_, end_); }

  // The whole -----------------------------------------------------------------------------------

  Found Pragma() const {
    if (fault_.code != kSynAtPragma) return {};
    return Make(FindingCode::kBadInclude, at_,
                u"'#' begins '#include \"file\"' only; comments begin with '//'", {Hidden(at_)});
  }

  Found Comment() const {
    if (fault_.code != kSynCommentEnd) return {};
    const std::u16string_view source = tokens_.Source();
    std::size_t at = 0;
    while (at < tokens_.Count() && !tokens_.IsKind(at, Kind::kUnclosed)) ++at;
    const auto start = static_cast<std::size_t>(tokens_.StartOf(at));
    const std::size_t end = std::min(source.find_first_of(u"\r\n", start), source.size());
    return Make(FindingCode::kUnclosedComment, {tokens_.StartOf(at), 2},
                u"the comment that begins here has no '*/'",
                {Inserted(static_cast<kt_long>(end), u" */")});
  }

  // Words at the beginning
  // -------------------------------------------------------------------------

  Found FirstWord() const {
    if (!IsWord(start_) || IsOneOf(Text(start_ + 1), {u"=", u".", u"[", u",", u")"})) return {};
    if (tokens_.BeginsFunction(start_) && fault_.code == kSynExpression) return NestedFunction();
    if (IsWord(start_ + 1) && !Is(start_ + 2, u"(")) {
      if (const Foreign* const row = FindType(Text(start_))) return Replace(*row, start_);
    }
    const Foreign* const row = FindStatement(Text(start_));
    const bool is_call = Is(start_ + 1, u"(") && !Is(tokens_.BehindGroup(start_ + 1), u"{");
    if (row == nullptr || is_call) return {};
    if (row->cure == u"function") return ForeignFunction(*row);
    if (!row->cure.empty()) return Replace(*row, start_);
    if (row->shape == Foreign::Shape::kTry) return Try(*row);
    if (row->shape == Foreign::Shape::kWord)
      return Make(row->cause, start_, row->hint, {Replaced(start_, start_ + 1)});
    if (Is(end_, u";")) return Make(row->cause, start_, row->hint, {WithoutHead()});
    return Make(row->cause, start_, row->hint,
                {IsInFunction() ? WithoutHead() : Replaced(start_, RunEnd())});
  }

  Repair Replace(const Foreign& row, std::size_t at) const {
    return Make(row.cause, at, row.hint, {Replaced(at, at + 1, row.cure)}, true);
  }

  // With the other parts, however many there are.
  Repair Try(const Foreign& row) const {
    std::vector<Edit> edits = {WithoutHead()};
    for (std::size_t at = end_; Is(at, u"{");) {
      const std::size_t behind = tokens_.BehindGroup(at);
      const Foreign* const more = IsWord(behind) ? FindStatement(Text(behind)) : nullptr;
      if (more == nullptr || more->shape != Foreign::Shape::kTry) break;
      at = behind;
      while (at < tokens_.Count() && !IsOneOf(Text(at), {u"{", u";", u"}"})) ++at;
      edits.push_back(Replaced(behind, at));
    }
    return Make(row.cause, start_, row.hint, std::move(edits));
  }

  Repair ForeignFunction(const Foreign& row) const {
    const bool fits =
        IsWord(start_ + 1) && Is(start_ + 2, u"(") && Is(tokens_.BehindGroup(start_ + 2), u"{");
    if (IsInFunction()) return NestedFunction();
    if (fits) return Replace(row, start_);
    return Make(row.cause, start_, row.hint, {Replaced(start_, RunEnd())});
  }

  Repair NestedFunction() const {
    std::size_t open = start_;
    while (open < tokens_.Count() && !IsOneOf(Text(open), {u"{", u";", u"}"})) ++open;
    return Make(FindingCode::kNestedFunction, start_,
                u"functions stand outside of others, one after the other",
                {Replaced(start_, tokens_.BehindGroup(open))});
  }

  // Shapes keep names that are only near a keyword from being taken for one.
  bool HasShapeOf(std::u16string_view keyword, std::size_t next) const {
    const std::size_t behind = tokens_.BehindGroup(next);
    if (IsOneOf(keyword, {u"if", u"while", u"switch"})) {
      return Is(next, u"(") && (Is(behind, u"{") || IsWord(behind));
    }
    if (keyword == u"for") {
      std::size_t at = next;
      while (at < behind && !Is(at, u";")) ++at;
      return Is(next, u"(") && at < behind;
    }
    if (keyword == u"else") return Is(next, u"{") || IsWord(next);
    if (keyword == u"default") return Is(next, u":");
    if (keyword == u"function") return IsWord(next) && Is(next + 1, u"(");
    if (keyword == u"var") return IsWord(next);
    return tokens_.BeginsValue(next) && !Is(next, u"(") && !Is(next, u"[");
  }

  Found Misspelt() const {
    if (!IsWord(start_) || start_ + 1 >= tokens_.Count()) return {};
    std::vector<Kt_WString> fitting;
    for (const std::u16string_view keyword : kKeywords) {
      const bool ends = keyword == u"break" || keyword == u"continue";
      if (!ends && HasShapeOf(keyword, start_ + 1)) fitting.emplace_back(keyword);
    }
    const Kt_WString word(Text(start_));
    const bool is_label = word.EqualsNoCase(u"case") || word.EqualsNoCase(u"default");
    const Kt_WString* const near = kt_nearestnameW(word.View(), fitting);
    if (near == nullptr || word == *near || (IsKeyword(word.View()) && !is_label)) return {};
    return Make(FindingCode::kMisspeltKeyword, start_, Joined({u"write '", near->View(), u"'"}),
                {Replaced(start_, start_ + 1, near->View())}, true);
  }

  // Outside of functions
  // ---------------------------------------------------------------------------

  // The end of what stands there without being anything.
  std::size_t RunEnd() const {
    std::size_t at = start_;
    do {
      at = Is(at, u"{") ? tokens_.BehindGroup(at) : at + 1;
    } while (at < tokens_.Count() &&
             !(tokens_[at].begins_line &&
               (tokens_.BeginsFunction(at) || tokens_.IsWord(at, u"var") || Is(at, u"#"))));
    return at;
  }

  Found Outside() const {
    if (fault_.code != kSynKeyword || IsInFunction()) return {};
    const bool is_function = IsWord(start_) && IsWord(start_ + 1) && Is(start_ + 2, u"(") &&
                             Is(tokens_.BehindGroup(start_ + 2), u"{");
    if (is_function) {
      return Make(kDeclares, start_, FindStatement(u"def")->hint,
                  {Replaced(start_, start_ + 1, u"function")}, true);
    }
    if (IsWord(start_) && tokens_.IsWord(start_ + 1, u"function")) {
      return Make(kDeclares, start_, FindStatement(u"def")->hint, {Replaced(start_, start_ + 1)},
                  true);
    }
    if (tokens_.IsWord(start_, u"function")) {
      return Make(FindingCode::kBadName, start_, u"a function needs a name: function name(...)",
                  {Replaced(start_, RunEnd())});
    }
    if (IsWord(start_) && Is(start_ + 1, u"(") && Is(tokens_.BehindGroup(start_ + 1), u"{") &&
        !IsKeyword(Text(start_))) {
      return Make(kDeclares, start_, FindStatement(u"def")->hint,
                  {Inserted(tokens_.StartOf(start_), u"function ")}, true);
    }
    return Make(FindingCode::kOutsideFunction, at_,
                u"statements stand in functions: function main() { ... }",
                {Replaced(start_, RunEnd())});
  }

  // Declarations
  // -----------------------------------------------------------------------------------

  Found Declaration() const {
    if (fault_.code != kSynVariable) return {};
    const std::size_t end = tokens_.ExpressionEnd(at_);
    std::size_t set = at_;
    while (set < end && !Is(set, u"=")) ++set;
    if (Is(at_ + 1, u":")) {
      return Make(kDeclares, at_ + 1, u"variables have no types", {Replaced(at_ + 1, set)}, true);
    }
    if (Is(at_ + 1, u":=")) return Replace(*FindMark(u":="), at_ + 1);
    if (FindType(Text(at_)) != nullptr && IsWord(at_ + 1)) {
      return Make(kDeclares, at_, u"variables have no types", {Replaced(at_, at_ + 1)}, true);
    }
    const std::vector<Edit> edits = {Replaced(at_, std::max(end, at_ + 1), u" x ")};
    if (Is(at_, u"{") || Is(at_, u"[")) {
      return Make(kDeclares, at_, u"declare each variable by itself", edits);
    }
    if (IsOneOf(Text(at_ + 1), {u"+=", u"-=", u"*=", u"/="})) {
      return Make(FindingCode::kBadName, at_ + 1, u"a new variable has no value yet; write '='",
                  edits);
    }
    if (IsWord(at_) && tokens_.BeginsValue(at_ + 1)) {
      return Make(FindingCode::kTwoValues, at_ + 1,
                  u"write '=' before its value, or ',' before another variable", edits);
    }
    return BadName(edits);
  }

  Repair BadName(std::vector<Edit> edits) const {
    return Make(FindingCode::kBadName, at_,
                u"a name consists of letters, digits and '_' and does not begin with a digit",
                std::move(edits));
  }

  Found Argument() const {
    if (fault_.code == kSynName) return BadName({Replaced(at_, NameEnd(), u" x")});
    if (fault_.code != kSynArgument) return {};
    const std::size_t end = tokens_.ExpressionEnd(at_);
    const std::vector<Edit> edits = {Replaced(at_, end, u" x ")};
    if (Is(at_ + 1, u"=")) {
      return Make(kDeclares, at_ + 1,
                  u"arguments have no values of their own; those that are not passed are null",
                  edits);
    }
    if (Is(at_ + 1, u":") || (IsWord(at_) && IsWord(at_ + 1))) {
      return Make(kDeclares, at_, u"arguments have no types: only their names, with ',' between",
                  edits);
    }
    if (Is(at_, u"...") || Is(at_, u"*") || Is(at_, u"&") || Is(at_, u"$")) {
      return Make(kDeclares, at_, u"arguments are names only; pass a list, or ref(variable)",
                  edits);
    }
    return BadName(edits);
  }

  std::size_t NameEnd() const {
    std::size_t at = at_;
    while (at < tokens_.Count() && !IsOneOf(Text(at), {u"(", u"{", u";", u"}"})) ++at;
    return at;
  }

  // A function without the '{' or the '(' where they belong.
  Found Function() const {
    const bool is_head = at_ > 0 && start_ < tokens_.Count() && tokens_.IsWord(start_, u"function");
    if (!is_head) return {};
    if (fault_.code == kSynParenStart && tokens_.IsClosing(end_ - 1)) {
      return Make(FindingCode::kStrayBracket, end_ - 1,
                  u"this ')' closes nothing; the '(' after the name of the function is missing",
                  {Replaced(at_, end_, u"()")});
    }
    if (fault_.code == kSynParenStart) {
      return Make(FindingCode::kMissingParentheses, {tokens_.EndBefore(at_), 0},
                  u"a function has parentheses, also without arguments: '()'",
                  {Inserted(tokens_.EndBefore(at_), u"()")}, true);
    }
    if (fault_.code != kSynBlockStart) return {};
    if (Is(end_, u"{")) {
      return Make(kDeclares, at_, u"functions have no types: '{' follows the arguments",
                  {Replaced(at_, end_)}, true);
    }
    return Make(
        FindingCode::kUnclosedBracket, {tokens_.EndBefore(at_), 0},
        u"'{' is missing here: the statements of a function stand in braces",
        {Inserted(tokens_.EndBefore(at_), u" {"), Inserted(tokens_.EndBefore(end_ + 1), u" }")});
  }

  // Heads
  // ------------------------------------------------------------------------------------------

  Found ForHead() const {
    const bool is_unbracketed = fault_.code == kSynParenStart && tokens_.IsWord(start_, u"for");
    const bool is_head = fault_.code == kSynLabelMark && at_ > 1 && tokens_.IsWord(at_ - 2, u"for");
    if (!is_unbracketed && !is_head) return {};
    const std::size_t from = is_head ? at_ : start_ + 1;
    const std::size_t to = is_head ? tokens_.BehindGroup(at_ - 1) - 1 : end_;
    const std::vector<Edit> edits = {Replaced(from, to, is_head ? u";0;" : u" (;0;) ")};
    for (std::size_t at = from; at < to; ++at) {
      const bool is_each = tokens_.IsWord(at, u"in") || tokens_.IsWord(at, u"of") ||
                           tokens_.IsWord(at, u"each") || Is(at, u":");
      if (is_each) return Make(kStatement, at, FindStatement(u"foreach")->hint, edits);
      if (tokens_.IsWord(at, u"to"))
        return Make(kStatement, at, FindWordOperator(u"to")->hint, edits);
    }
    return is_head ? ForParts(from, to, edits) : Found();
  }

  Repair ForParts(std::size_t from, std::size_t to, std::vector<Edit> edits) const {
    std::vector<std::size_t> commas;
    std::vector<std::size_t> gaps;
    std::size_t marks = 0;
    for (std::size_t at = from; at < to; at = tokens_.BehindGroup(at)) {
      if (Is(at, u",")) commas.push_back(at);
      if (Is(at, u";")) ++marks;
      const bool is_gap = at > from + 1 && tokens_.EndsValue(at - 1) && IsWord(at) && IsWord(at);
      if (is_gap && tokens_.BeginsValue(at)) gaps.push_back(at);
    }
    constexpr std::u16string_view kHint =
        u"a for has three parts with ';' between them: for (start; condition; step)";
    if (marks == 0 && commas.size() == 2) {
      return Make(
          FindingCode::kForHead, commas[0], kHint,
          {Replaced(commas[0], commas[0] + 1, u";"), Replaced(commas[1], commas[1] + 1, u";")},
          true);
    }
    if (marks == 1 && gaps.size() == 1) {
      return Make(FindingCode::kForHead, {tokens_.EndBefore(gaps[0]), 0}, kHint,
                  {Inserted(tokens_.EndBefore(gaps[0]), u";")}, true);
    }
    return Make(FindingCode::kForHead, Range(from, std::max(to, from + 1)), kHint,
                std::move(edits));
  }

  // A condition without parentheses: up to the block, or to the end of the line.
  Found Head() const {
    const bool is_head = tokens_.IsWord(at_ - 1, u"if") || tokens_.IsWord(at_ - 1, u"while") ||
                         tokens_.IsWord(at_ - 1, u"switch") || tokens_.IsWord(at_ - 1, u"for");
    if (at_ == 0 || !is_head) return {};
    if (fault_.code != kSynParenStart) return {};
    std::size_t to = at_ + 1;
    while (to < end_ && !tokens_[to].begins_line && !tokens_.IsWord(to, u"then") && !Is(to, u":"))
      ++to;
    const bool has_word = tokens_.IsWord(to, u"then") || Is(to, u":");
    std::vector<Edit> edits = {Inserted(tokens_.StartOf(at_), u"("),
                               Inserted(tokens_.EndBefore(to), u")")};
    if (has_word) edits.push_back(Replaced(to, to + 1));
    const bool is_for = tokens_.IsWord(at_ - 1, u"for");
    return Make(FindingCode::kMissingParentheses, Range(at_, to),
                Joined({u"parentheses stand around this: ", Text(at_ - 1), u" (...)"}),
                std::move(edits), Is(to, u"{") && !is_for);
  }

  // Operators and values of other languages -------------------------------------------------------

  Found ForeignMark() const {
    for (std::size_t at = start_; at < std::min(end_ + 1, tokens_.Count()); ++at) {
      if (Found found = ForeignMarkAt(at)) return found;
    }
    return {};
  }

  Found ForeignMarkAt(std::size_t at) const {
    if (IsValueBrace(at)) {
      return Make(kValue, at,
                  u"there are no values with named parts; use variables, lists or a dataset",
                  {Replaced(at, tokens_.BehindGroup(at), u"0")});
    }
    if (Is(at, u"`")) return Backquoted(at);
    if (tokens_.IsKind(at, Kind::kNumber)) return Number(at);
    if (tokens_.IsKind(at, Kind::kText) && IsWord(at - 1) &&
        tokens_.EndBefore(at) == tokens_.StartOf(at)) {
      return Make(kValue, at - 1, u"a string has no prefix; values are joined with '+'",
                  {Replaced(at - 1, at)});
    }
    if (tokens_.IsWord(at, u"function") && at > start_) {
      return Make(FindingCode::kNestedFunction, at,
                  u"functions have names and stand outside of others", {WithoutRest(at)});
    }
    if (!tokens_.IsKind(at, Kind::kMark)) return {};
    const Foreign* const row = FindMark(Text(at));
    if (row == nullptr) return {};
    if (row->text == u"=>") return Arrow(*row, at);
    if (!row->cure.empty()) return Replace(*row, at);
    if (row->text == u"#") return Make(row->cause, at, row->hint, {Hidden(at)});
    if (!tokens_.EndsValue(at - 1) && IsOneOf(row->text, {u"$", u"@", u"~", u"..."})) {
      return Make(row->cause, at, row->hint, {Replaced(at, at + 1)});
    }
    return Make(row->cause, at, row->hint, {WithoutRest(at)});
  }

  // Up to the end of the line a comment.
  Edit Hidden(std::size_t from) const {
    std::size_t to = from + 1;
    while (to < tokens_.Count() && !tokens_[to].begins_line) ++to;
    return Replaced(from, to);
  }

  Repair Arrow(const Foreign& row, std::size_t at) const {
    const bool is_condition = tokens_.IsWord(start_, u"if") || tokens_.IsWord(start_, u"while");
    if (is_condition) {
      return Make(row.cause, at, u"write '>='", {Replaced(at, at + 1, u">=")}, true);
    }
    return Make(row.cause, at, row.hint, {WithoutRest(at)});
  }

  Repair Backquoted(std::size_t at) const {
    std::size_t end = at + 1;
    while (end < tokens_.Count() && !Is(end, u"`") && !tokens_[end].begins_line) ++end;
    const SourcePart whole = Range(at, std::min(end + 1, tokens_.Count()));
    const std::u16string_view text =
        tokens_.Source().substr(static_cast<std::size_t>(whole.offset) + 1,
                                static_cast<std::size_t>(std::max(whole.length - 2, 0)));
    const bool is_plain = Is(end, u"`") && text.find_first_of(u"\"$\\") == text.npos;
    return Make(
        kValue, at,
        is_plain ? u"write \"...\"" : u"write \"...\"; values are joined with '+': \"a\" + b",
        {{whole, is_plain ? Joined({u"\"", text, u"\""}) : Kt_WString(u"\"\"")}}, is_plain);
  }

  Found Number(std::size_t at) const {
    const std::u16string_view text = Text(at);
    const std::size_t odd = text.find_first_not_of(u"0123456789.");
    const bool has_two_points = text.find(u'.') != text.rfind(u'.');
    if (odd == text.npos && !has_two_points) return {};
    std::u16string digits(text);
    std::erase(digits, u'_');
    const bool is_grouped =
        digits.find_first_not_of(u"0123456789.") == digits.npos && !has_two_points;
    return Make(kValue, at, u"numbers consist of digits and a point, such as 1000 or 0.5",
                {Replaced(at, at + 1, is_grouped ? digits : u"0")}, is_grouped);
  }

  Found ForeignWord() const {
    if (fault_.code != kSynExpression) return {};
    // The word, or what follows it, is what the engine does not understand.
    for (const std::size_t at : {at_, at_ - 1}) {
      if (at >= tokens_.Count() || at < start_ || !IsWord(at)) continue;
      const Foreign* const row = FindWordOperator(Text(at));
      if (row == nullptr) continue;
      if (row->text == u"not" || row->text == u"is") return Not(*row, at);
      if (!row->cure.empty()) return Replace(*row, at);
      if (row->cause == kValue) return Make(row->cause, at, row->hint, {WithoutRest(at)});
      const bool follows = tokens_.IsWord(at - 1, u"and") || row->text == u"then";
      return Make(row->cause, at, tokens_.IsWord(at - 1, u"and") ? u"write 'and' alone" : row->hint,
                  {follows ? Replaced(at, at + 1) : WithoutRest(at)},
                  tokens_.IsWord(at - 1, u"and"));
    }
    if (tokens_.IsWord(at_ - 1, u"else") && tokens_.IsWord(at_ - 2, u"or")) {
      return Make(kOperator, at_ - 1, u"write 'or' alone", {Replaced(at_ - 1, at_)}, true);
    }
    return {};
  }

  Repair Not(const Foreign& row, std::size_t at) const {
    const bool is_not_equal = row.text == u"is" && tokens_.IsWord(at + 1, u"not");
    if (is_not_equal) {
      return Make(row.cause, at, u"write '!='", {Replaced(at, at + 2, u"!=")}, true);
    }
    const bool is_simple = row.text == u"is" || Is(at + 1, u"(");
    return Make(row.cause, at, row.hint, {Replaced(at, at + 1, row.cure)}, is_simple);
  }

  // Faults of structure ---------------------------------------------------------------------------

  Found Structure() const {
    const bool has_head = Is(at_ + 1, u"(");
    switch (fault_.code) {
      case kSynLineEnd:
        return Make(FindingCode::kMissingSemicolon, {tokens_.EndBefore(end_), 0},
                    u"';' is missing here", {Inserted(tokens_.EndBefore(end_), u";")}, true);
      case kSynLabelMark: return Label();
      case kSynKeyword: return Word();
      case kSynNullExpr: return Empty();
      case kSynBlockEnd:
        return Make(FindingCode::kIncomplete, at_, u"a statement is missing after this",
                    {Inserted(tokens_.EndBefore(has_head ? tokens_.BehindGroup(at_ + 1) : at_ + 1),
                              has_head || tokens_.IsWord(at_, u"else") ? u" ;" : u" (0);")});
      case kSynTooDeep: return Make(FindingCode::kNestedTooDeeply, at_, u"");
      case kSynNul: return Make(FindingCode::kTextAfterNul, at_, u"");
      case kSynBraceEnd:
      case kSynParenEnd:
      case kSynBracketEnd:
      case kSynBlockStart:
      case kSynParenStart:
      case kSynBracketStart:
        return Make(FindingCode::kUnclosedBracket, at_, u"the brackets here do not match");
      case kSynDoubleQuote:
      case kSynSingleQuote:
        return Make(FindingCode::kUnclosedString, at_, u"a string from here on has no end");
      default: return {};
    }
  }

  // Another ':' further down hides that this one is missing.
  Found CaseValue() const {
    const bool is_label = tokens_.IsWord(start_, u"case") && at_ > start_ + 1;
    if (!is_label || fault_.expression_code != kExprNoOperator) return {};
    return Make(FindingCode::kMissingColon, {tokens_.EndBefore(at_), 0}, kColon,
                {Inserted(tokens_.EndBefore(at_), u":")}, true);
  }

  Found Label() const {
    if (!IsInFunction()) {
      return Make(FindingCode::kMissingSemicolon, {tokens_.EndBefore(end_), 0},
                  u"';' is missing here", {Inserted(tokens_.EndBefore(end_), u";")}, true);
    }
    std::size_t at = at_ + 1;
    while (at < end_ && !tokens_[at].begins_line &&
           (at == at_ + 1 || !(tokens_.EndsValue(at - 1) && tokens_.BeginsValue(at)) ||
            Is(at, u"("))) {
      ++at;
    }
    if (tokens_.IsWord(at_, u"default")) at = at_ + 1;
    return Make(FindingCode::kMissingColon, {tokens_.EndBefore(at), 0}, kColon,
                {Inserted(tokens_.EndBefore(at), u":")}, true);
  }

  // A word at a place where it cannot stand.
  Found Word() const {
    if (tokens_.IsWord(at_, u"else")) {
      const bool is_cut_off = Is(at_ - 1, u";") && Is(at_ - 2, u"}");
      if (is_cut_off) {
        return Make(FindingCode::kMisplacedWord, at_ - 1,
                    u"this ';' ends the 'if' before its 'else'", {Replaced(at_ - 1, at_)}, true);
      }
      return Make(FindingCode::kMisplacedWord, at_,
                  u"'else' follows the one statement of an 'if', or its block in braces",
                  {Replaced(at_, at_ + 1)});
    }
    if (tokens_.IsWord(start_, u"break") || tokens_.IsWord(start_, u"continue")) {
      return Make(
          FindingCode::kMisplacedWord, at_,
          Joined({u"nothing follows '", Text(start_), u"', which is about the innermost loop"}),
          {Replaced(start_ + 1, end_)});
    }
    return Make(FindingCode::kMisplacedWord, at_,
                u"in a switch, statements follow 'case value:' or 'default:'",
                {Inserted(tokens_.StartOf(at_), u"case 0: ")});
  }

  Found Empty() const {
    std::size_t at = at_;
    while (at > 0 && !IsKeyword(Text(at))) --at;
    const bool is_for = tokens_.IsWord(at, u"for");
    const std::size_t to = tokens_.IsWord(at, u"case") ? at + 1 : at + 2;
    return Make(FindingCode::kEmptyCondition, Range(at, std::max(to, at + 1)),
                is_for ? u"write 'for (start; condition; step)'"
                       : Joined({u"'", Text(at), u"' needs a value here"}).View(),
                {Inserted(tokens_.EndBefore(to), is_for ? u";0;" : u" 0")});
  }

  // A comparison as a statement is read as an assignment, in the middle of its operator.
  Found Compare() const {
    const bool is_split = at_ < tokens_.Count() && tokens_.IsKind(at_, Kind::kMark) &&
                          fault_.offset > tokens_[at_].start && fault_.code == kSynExpression;
    if (!is_split || !IsOneOf(Text(at_), {u"==", u"!=", u"<=", u">="})) return {};
    return Make(FindingCode::kMisplacedMark, at_,
                u"a comparison is no statement; '=' assigns a value",
                {Replaced(at_, at_ + 1, u"=")});
  }

  // Faults of expressions -------------------------------------------------------------------------

  // Global variables come without the code.
  kt_long ExpressionCode() const {
    if (fault_.expression_code != 0) return fault_.expression_code;
    if (IsOneOf(Text(at_), {u"-", u"+", u"!"})) return kFailed;
    if (tokens_.EndsValue(at_ - 1) && tokens_.BeginsValue(at_)) return kExprNoOperator;
    if (at_ >= end_ || tokens_.IsClosing(at_)) return kExprUnfinished;
    return tokens_.IsKind(at_, Kind::kMark) ? kExprNoOperand : kExprBadToken;
  }

  Repair Expression() const {
    switch (ExpressionCode()) {
      case kExprNoOperator: return TwoValues();
      case kExprNoOperand:
        return Make(FindingCode::kNoOperand, at_,
                    Joined({u"a value is missing before '", Text(at_), u"'"}),
                    {Inserted(fault_.offset, u" 0 ")});
      case kExprUnfinished: return Unfinished();
      case kExprParenClose:
        return Make(FindingCode::kNoOperand, at_, u"a value is missing before this ')'",
                    {Inserted(fault_.offset, u" 0 ")});
      case kExprBracketClose:
        return Make(FindingCode::kNoOperand, at_, u"an index is missing: name[0]",
                    {Inserted(fault_.offset, u" 0 ")});
      case kExprParenOpen:
        return Make(FindingCode::kMisplacedMark, at_,
                    u"only names are called; an operator seems to be missing", {WithoutRest(at_)});
      case kExprBracketOpen:
        return Make(
            FindingCode::kMisplacedMark, at_,
            u"only variables have elements, and a list stands alone: put it into a variable first",
            {WithoutRest(at_)});
      case kExprComma: return Comma();
      case kExprDot: return Point();
      case kExprTooDeep: return Make(FindingCode::kNestedTooDeeply, at_, u"");
      case kExprDoubleQuote:
      case kExprSingleQuote:
        return Make(FindingCode::kUnclosedString, at_, u"the string that begins here has no end");
      case kFailed: return Sign();
      default:
        return Make(FindingCode::kBadToken, {fault_.offset, fault_.length},
                    u"this is neither a number, a string nor a name",
                    {{{fault_.offset, std::max(fault_.length, 1)}, u" 0 "}});
    }
  }

  Repair TwoValues() const {
    const bool is_call = at_ == start_ + 1 && IsWord(start_) && !IsKeyword(Text(start_));
    if (is_call) {
      const kt_long end = tokens_.EndBefore(at_);
      const SourcePart gap{end, tokens_.StartOf(at_) - end};
      return Make(
          FindingCode::kMissingParentheses, Range(at_, std::max(end_, at_ + 1)),
          Joined({u"the arguments of a call stand in parentheses: ", Text(start_), u"(...)"}),
          {{gap, Kt_WString(u"(")}, Inserted(tokens_.EndBefore(end_), u")")},
          tokens_.IsWord(start_, u"print") && Is(end_, u";") && gap.length < 2);
    }
    const bool is_text = tokens_.IsKind(at_, Kind::kText) || tokens_.IsKind(at_ - 1, Kind::kText);
    return Make(FindingCode::kTwoValues, at_,
                Joined({u"an operator, ',' or ';' is missing before this",
                        is_text ? u"; strings are joined with '+'" : u""}),
                {WithoutRest(at_)});
  }

  Repair Unfinished() const {
    std::u16string closing;
    std::vector<std::size_t> open;
    for (std::size_t at = start_; at < at_; ++at) {
      if (tokens_.IsOpening(at)) open.push_back(at);
      if (tokens_.IsClosing(at) && !open.empty()) open.pop_back();
    }
    if (fault_.code == kSynExpression && !open.empty() && !tokens_.IsClosing(at_)) {
      for (; !open.empty(); open.pop_back()) closing += Is(open.back(), u"[") ? u"]" : u")";
    }
    return Make(FindingCode::kNoOperand, {fault_.offset, fault_.length},
                Joined({u"a value is missing after '", Text(at_ - 1), u"'"}),
                {Inserted(fault_.offset, u" 0 " + closing)});
  }

  Repair Comma() const {
    const bool has_value = tokens_.EndsValue(at_ - 1);
    return Make(FindingCode::kMisplacedMark, at_,
                has_value ? u"commas stand in the parentheses of calls and in lists only"
                          : u"a value is missing before this ','",
                {has_value ? WithoutComma() : Inserted(fault_.offset, u" 0 ")});
  }
  Edit WithoutComma() const {
    return Replaced(at_, std::max(tokens_.ExpressionEnd(at_ + 1), at_ + 1));
  }

  Repair Point() const {
    if (tokens_.IsKind(at_ + 1, Kind::kNumber)) {
      return Make(FindingCode::kMisplacedMark, at_, Joined({u"write '0.", Text(at_ + 1), u"'"}),
                  {Replaced(at_, at_ + 1, u"0.")}, true);
    }
    return Make(FindingCode::kMisplacedMark, at_, u"a '.' stands between a name and a member",
                {Replaced(at_, at_ + 1)}, Is(at_ - 1, u"."));
  }

  // What passes the check and not the parser.
  Repair Sign() const {
    const bool is_sign = Is(at_, u"-") || Is(at_, u"+") || Is(at_, u"!");
    if (!is_sign) {
      return Make(FindingCode::kMisplacedMark, at_,
                  Joined({u"'", Text(at_), u"' cannot stand here"}), {WithoutRest(at_)});
    }
    std::size_t behind = at_ + 2;
    while (IsOneOf(Text(behind), {u"(", u"[", u"."})) {
      behind = Is(behind, u".") ? behind + 2 : tokens_.BehindGroup(behind);
    }
    return Make(FindingCode::kBadSign, at_,
                Joined({u"put parentheses around it: (", Text(at_), Text(at_ + 1), u")"}),
                {Inserted(fault_.offset, u"("), Inserted(tokens_.EndBefore(behind), u")")},
                tokens_.BeginsValue(at_ + 1));
  }

  const SourceTokens& tokens_;
  const Fault& fault_;
  const std::size_t at_;     // the token at fault
  const std::size_t start_;  // of its statement
  const std::size_t end_;    // of it: the ';' or the brace
};

}  // namespace

Kt_WString Joined(std::initializer_list<std::u16string_view> pieces) {
  Kt_WString text;
  for (const std::u16string_view piece : pieces) text += piece;
  return text;
}

Repair RepairByRule(const SourceTokens& tokens, const Fault& fault) {
  return Rules(tokens, fault).Run();
}

}  // namespace kt::analysis
