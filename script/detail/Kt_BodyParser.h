// SPDX-License-Identifier: MIT
#pragma once

#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprTexts.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/detail/Kt_ScriptScan.h"
#include "script/detail/Kt_SyntaxReporter.h"

class Kt_ScriptFunc;

namespace kt::detail {

// Builds the operation trees of one function out of slices of the source.
//
// A statement is known by its first word and cut out with the scanners; what is left of it is
// expressions, whose text is checked and stored. Every Parse function returns 0, or -1 when the
// structure is at fault and the bodies around must stop, too; faulty expressions are reported and
// stored all the same.
//
// Nesting is bounded by kMaxBlockDepth, and so is the native stack: keep the locals of whatever
// takes part in the recursion small.
class BodyParser {
 public:
  // `function_name` is what reports show. Borrows both.
  BodyParser(SyntaxReporter& reporter, const Kt_WString& function_name)
      : reporter_(reporter), function_name_(function_name) {}

  kt_long ParseProto(Kt_ScriptOpList& args, const Slice& proto, kt_long line);
  kt_long ParseBody(Kt_ScriptOpList& ops, const Slice& body);
  kt_long ParseLine(Kt_ScriptOp& op, const Slice& statement, kt_long line);
  kt_long ParseVar(Kt_ScriptOp& op, const Slice& declarator, kt_long line);
  // The two halves of a loop or a switch. The head is trimmed and without comments; the body is
  // parsed only when that gave 0.
  kt_long ParseForHead(Kt_ScriptOp& op, const Slice& head, kt_long line);
  kt_long ParseForBody(Kt_ScriptOp& op, const Slice& body);
  kt_long ParseWhileHead(Kt_ScriptOp& op, const Slice& condition, kt_long line);
  kt_long ParseWhileBody(Kt_ScriptOp& op, const Slice& body);
  kt_long ParseSwitchHead(Kt_ScriptOp& op, const Slice& expression, kt_long line);
  kt_long ParseSwitchBody(Kt_ScriptOp& op, const Slice& body);

 private:
  // The statement at hand.
  struct Statement {
    Kt_ScriptOpList& ops;  // where its op goes
    const Slice& body;     // the text that it is part of
    kt_long start;         // its first word there
    kt_long word;          // length of that word
    kt_long line;
    std::u16string_view keyword = {};  // as reports show it; empty for a simple statement
    kt_long end = 0;  // set by its parse function: where the next statement may start

    kt_long BehindWord() const { return start + word; }
    Slice Word() const { return body.Part(start, word); }
    Slice ShownWord() const {
      if (keyword.empty()) return Word();
      return {keyword.data(), static_cast<kt_long>(keyword.size())};
    }
  };
  using StatementParser = kt_long (BodyParser::*)(Statement& statement);
  struct Compound {
    std::int16_t code;
    kt_long (BodyParser::*parse_head)(Kt_ScriptOp& op, const Slice& head, kt_long line);
    kt_long (BodyParser::*parse_body)(Kt_ScriptOp& op, const Slice& body);
  };
  struct Keyword {
    std::u16string_view word;
    StatementParser parse;
    std::int16_t code;  // of what it parses; 0: a fault
  };
  static const Keyword kKeywords[];

  // Null for a statement without a keyword.
  static const Keyword* KeywordOf(const Slice& word);
  kt_long ParseStatements(Kt_ScriptOpList& ops, const Slice& body);
  kt_long ParseVarStatement(Statement& statement);
  kt_long ParseForStatement(Statement& statement);
  kt_long ParseWhileStatement(Statement& statement);
  kt_long ParseSwitchStatement(Statement& statement);
  kt_long ParseBreak(Statement& statement);
  kt_long ParseContinue(Statement& statement);
  kt_long ParseReturn(Statement& statement);
  kt_long ParseBlock(Statement& statement);
  kt_long ParseLoneElse(Statement& statement);
  kt_long ParseIf(Statement& statement);
  kt_long ParseSimple(Statement& statement);
  kt_long ParseCompound(Statement& statement, const Compound& compound);
  kt_long ParseJump(Statement& statement, std::int16_t code);

  // Sets the end of a statement that runs to its ';'; the text after its first word in `rest`.
  kt_long FindRest(Statement& statement, Slice& rest);
  kt_long ParseBranch(Statement& statement, Kt_ScriptOpIf& chain, bool guarded, kt_long line);
  kt_long ParseCondition(Statement& statement, Kt_ScriptOpItem& item);
  kt_long FindElse(Statement& statement, bool& found, bool& guarded, kt_long& line);

  kt_long ParseForInit(Kt_ScriptOpFor& loop, const Slice& init, const Slice& head, kt_long line);
  kt_long ParsePieces(Kt_ScriptOpList& ops, const Slice& text, const Slice& shown, kt_long line);
  kt_long ParseDeclarators(Kt_ScriptOpList& ops, const Slice& text, const std::vector<Span>& pieces,
                           kt_long line);
  kt_long AddLine(Kt_ScriptOpList& ops, const Slice& statement, kt_long line);
  kt_long ParseAssignment(Kt_ScriptOp& op, const Slice& statement, kt_long set_at, kt_long line);
  kt_long ParseUnbalanced(Kt_ScriptOp& op, const Slice& statement, kt_long line);
  kt_long ParseExprStatement(Kt_ScriptOp& op, const Slice& statement, kt_long line);

  struct Label;
  kt_long ParseLabels(Kt_ScriptOpSwitch& op, const Slice& body);
  kt_long FindLabel(const Slice& body, kt_long at, Label& label);
  kt_long ParseLabelValue(Kt_ScriptOpItem& item, const Slice& body, Label& label);
  kt_long ParseLabelBody(Kt_ScriptOpItem& item, const Slice& body, Label& label);

  // Reports a fault of the text and returns -1. `unnamed_code` is what a record shows when the
  // scanners' code is a plain -1.
  KT_COLD kt_long Fail(kt_long code, const Slice* near_text, kt_long line, const Slice& place,
                       kt_long unnamed_code = kSynLineEnd);
  // The same for a fault that a scanner found at `error_pos` of `text`; a place at the end of the
  // text says little, the statement at fault is shown instead.
  KT_COLD kt_long FailScan(kt_long code, const Statement& statement, const Slice& text,
                           kt_long error_pos);
  KT_COLD kt_long FailEnd(kt_long code, const Statement& statement);
  // Checks and stores an expression; faults are reported only.
  void SetExpr(Kt_Expr& expr, const Slice& text, kt_long line);
  void CheckExpr(const Slice& text, kt_long line);
  // Leaves an expression, or the target of an assignment, in the outline.
  void NoteExpr(const Slice& text, OutlineMark::Kind kind = OutlineMark::Kind::kExpression) {
    const OutlineMark mark(reporter_, kind, text, text);
  }
  KT_COLD void ReportExpr(kt_long expression_code, kt_long offset, const Slice& text, kt_long line);
  bool IsName(const Slice& text) const;
  const Kt_WString& NameOf(const Slice& text) { return names_.Get(text.View()).text; }
  kt_long LineOf(const Slice& text, kt_long at) const {
    return reporter_.Lines().LineOf(text.SourceOf(at));
  }
  void Warn(Kt_ScriptWarning warning, const Slice& place);
  void WarnOfLabelCase(const Slice& word);

  SyntaxReporter& reporter_;
  const Kt_WString& function_name_;
  ExprTexts names_;
  int depth_ = 0;         // bodies around the statement at hand
  int switch_depth_ = 0;  // switches around it
};

}  // namespace kt::detail
