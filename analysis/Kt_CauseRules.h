// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "analysis/Kt_ForeignWords.h"
#include "analysis/Kt_Repair.h"

namespace kt::analysis {

// What the tokens around one fault say by themselves. Borrows the tokens and the fault.
class CauseRules {
 public:
  CauseRules(const SourceTokens& tokens, const Fault& fault)
      : tokens_(tokens),
        fault_(fault),
        at_(tokens.At(fault.offset)),
        start_(tokens.StatementStart(at_)),
        end_(StatementEnd()) {}

  // Asks the rules from the particular to the general: words of other languages and misspelt ones
  // at the beginning of the statement, operators of other languages anywhere in it, what the kind
  // of fault says, the code of the engine.
  Repair Run() const;

 private:
  using Found = std::optional<Repair>;
  using Kind = SourceTokens::Kind;

  static constexpr auto kDeclares = FindingCode::kForeignDeclaration;
  static constexpr auto kStatement = FindingCode::kForeignStatement;
  static constexpr auto kOperator = FindingCode::kForeignOperator;
  static constexpr auto kValue = FindingCode::kForeignValue;

  // Tools -----------------------------------------------------------------------------------------

  static std::span<const std::u16string_view> Keywords();
  static bool IsKeyword(std::u16string_view word);

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

  std::size_t StatementEnd() const;
  bool IsValueBrace(std::size_t at) const;
  // What stands before the block of the statement, or all of the statement.
  Edit WithoutHead() const;

  // Words that begin statements -------------------------------------------------------------------

  Found FirstWord() const;
  Repair Replace(const Foreign& row, std::size_t at) const;
  // With the other parts, however many there are.
  Repair Try(const Foreign& row) const;
  Repair ForeignFunction(const Foreign& row) const;
  Repair NestedFunction() const;
  // Shapes keep names that are only near a keyword from being taken for one.
  bool HasShapeOf(std::u16string_view keyword, std::size_t next) const;
  Found Misspelt() const;

  // Functions, variables, arguments ---------------------------------------------------------------

  // The end of what stands there without being anything.
  std::size_t RunEnd() const;
  Found Outside() const;
  Found Declaration() const;
  Repair BadName(std::vector<Edit> edits) const;
  Found Argument() const;
  std::size_t NameEnd() const;
  // A function without the '{' or the '(' where they belong.
  Found Function() const;

  // The shape of statements -----------------------------------------------------------------------

  Found Pragma() const;
  Found Comment() const;
  Found ForHead() const;
  Repair ForParts(std::size_t from, std::size_t to, std::vector<Edit> edits) const;
  // A condition without parentheses: up to the block, or to the end of the line.
  Found Head() const;
  Found Structure() const;
  // Another ':' further down hides that this one is missing.
  Found CaseValue() const;
  Found Label() const;
  // A word at a place where it cannot stand.
  Found Word() const;
  Found Empty() const;
  // A comparison as a statement is read as an assignment, in the middle of its operator.
  Found Compare() const;

  // Operators and values of other languages -------------------------------------------------------

  Found ForeignMark() const;
  Found ForeignMarkAt(std::size_t at) const;
  // Up to the end of the line a comment.
  Edit Hidden(std::size_t from) const;
  Repair Arrow(const Foreign& row, std::size_t at) const;
  Repair Backquoted(std::size_t at) const;
  Found Number(std::size_t at) const;
  Found ForeignWord() const;
  Repair Not(const Foreign& row, std::size_t at) const;

  // Expressions -----------------------------------------------------------------------------------

  // Global variables come without the code.
  kt_long ExpressionCode() const;
  Repair Expression() const;
  Repair TwoValues() const;
  Repair Unfinished() const;
  Repair Comma() const;
  Edit WithoutComma() const;
  Repair Point() const;
  // What passes the check and not the parser.
  Repair Sign() const;

  const SourceTokens& tokens_;
  const Fault& fault_;
  const std::size_t at_;     // the token at fault
  const std::size_t start_;  // of its statement
  const std::size_t end_;    // of it: the ';' or the brace
};

}  // namespace kt::analysis
