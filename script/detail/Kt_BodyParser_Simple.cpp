// SPDX-License-Identifier: MIT
//
// Prototypes and the statements that control no others.
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"
#include "script/detail/Kt_BodyParser.h"

namespace kt::detail {

namespace {

// The operator of a compound assignment, by the unit before its "="; none for a plain one.
std::optional<Operator> CompoundBefore(char16_t unit) {
  for (const Operator op :
       {Operator::kAdd, Operator::kSub, Operator::kMul, Operator::kDiv, Operator::kMod}) {
    if (*OperatorText(op) == unit) return op;
  }
  return std::nullopt;
}

bool IsPair(const Slice& text, kt_long at, char16_t unit) {
  return text.text[at] == unit && text.text[at + 1] == unit;
}

}  // namespace

bool BodyParser::IsName(const Slice& text) const {
  return Kt_ExprUtil::ChkName(text.text, text.length) == 1;
}

void BodyParser::ReportExpr(kt_long expression_code, kt_long offset, const Slice& text,
                            kt_long line) {
  const Kt_WString near_text = text.Text();
  kt_long start = 0;
  kt_long length = 0;
  Kt_ExprUtil::FindToken(text.text + offset, text.length - offset, start, length);
  Fault fault{kSynExpression, line, {text.SourceOf(offset), length}};
  fault.near_text = &near_text;
  fault.function_name = &function_name_;
  fault.expression_code = expression_code;
  reporter_.Report(fault);
}

void BodyParser::CheckExpr(const Slice& text, kt_long line) {
  kt_long offset = 0;
  const kt_long code = Kt_ExprUtil::IsValidExpr(text.text, text.length, &offset);
  if (code != 0) ReportExpr(code, offset, text, line);
  if (KT_UNLIKELY(reporter_.WantsWarnings())) reporter_.WarnOfExpr(text, &function_name_);
}

void BodyParser::SetExpr(Kt_Expr& expr, const Slice& text, kt_long line) {
  CheckExpr(text, line);
  NoteExpr(text);
  expr.SetExpr(text.Text());
}

kt_long BodyParser::ParseProto(Kt_ScriptOpList& args, const Slice& proto, kt_long line) {
  const CleanText clean(proto, reporter_, &function_name_);
  const Slice& list = clean.Get();
  if (list.IsEmpty()) return 0;
  for (kt_long start = 0; start <= list.length;) {
    const std::size_t comma = list.View().find(u',', static_cast<std::size_t>(start));
    const kt_long end =
        comma == std::u16string_view::npos ? list.length : static_cast<kt_long>(comma);
    const Slice name = list.Part(start, end - start).Trimmed();
    if (!IsName(name)) return Fail(kSynArgument, &name, line, name);
    Kt_ScriptOp* const op = args.AddOp(kScriptVar, line);
    if (op == nullptr) return -1;
    op->GetVar()->name = NameOf(name);
    const OutlineMark mark(reporter_, OutlineMark::Kind::kArgument, name, name);
    start = end + 1;
  }
  return 0;
}

kt_long BodyParser::FindRest(Statement& statement, Slice& rest) {
  const Slice text = statement.body.From(statement.start);
  kt_long error_pos = 0;
  const kt_long length = Kt_ScriptUtil::FindLineEnd(text.text, text.length, error_pos);
  if (length < 0) return FailScan(length, statement, text, error_pos);
  statement.end = statement.start + length;
  rest = text.Part(statement.word, length - 1 - statement.word);
  return 0;
}

kt_long BodyParser::ParseVarStatement(Statement& statement) {
  Slice rest;
  if (const kt_long code = FindRest(statement, rest)) return code;
  const CleanText clean(rest, reporter_, &function_name_);
  std::vector<Span> pieces;
  const Slice& list = clean.Get();
  const kt_long code = SplitSpans(list.text, list.length, pieces);
  if (code >= 0) return ParseDeclarators(statement.ops, list, pieces, statement.line);
  const Slice word = statement.ShownWord();
  return Fail(code, &word, statement.line, list, kSynVariable);
}

kt_long BodyParser::ParseDeclarators(Kt_ScriptOpList& ops, const Slice& text,
                                     const std::vector<Span>& pieces, kt_long line) {
  for (const Span& piece : pieces) {
    Kt_ScriptOp* const op = ops.AddOp(kScriptVar, line);
    if (op == nullptr) return -1;
    if (const kt_long code = ParseVar(*op, text.Part(piece.start, piece.length), line)) {
      ops.RemoveLast();
      return code;
    }
  }
  return 0;
}

kt_long BodyParser::ParseVar(Kt_ScriptOp& op, const Slice& declarator, kt_long line) {
  Kt_ScriptOpVar& var = *op.GetVar();
  const kt_long set_at = Kt_ScriptUtil::FindSetOP(declarator.text, declarator.length);
  if (set_at < 0) return Fail(kSynVariable, &declarator, line, declarator);
  const std::u16string_view view = declarator.View();
  const std::size_t open = set_at > 0 ? std::u16string_view::npos : view.find(u'[');
  const bool is_array = open != std::u16string_view::npos;
  const kt_long name_end = set_at > 0 ? set_at
                           : is_array ? static_cast<kt_long>(open)
                                      : declarator.length;
  const Slice name = declarator.Part(0, name_end).Trimmed();
  if (!IsName(name)) return Fail(kSynVariable, &declarator, line, declarator);
  var.name = NameOf(name);
  const OutlineMark mark(reporter_, OutlineMark::Kind::kVariable, declarator, name);
  if (set_at > 0) {
    SetExpr(var.expression, declarator.From(set_at + 1).Trimmed(), line);
  } else if (is_array) {
    const std::size_t close = view.find(u']', open);
    if (close == std::u16string_view::npos) {
      return Fail(kSynVariable, &declarator, line, declarator);
    }
    op.SetVariant(kScriptVarArray);
    const auto size = static_cast<kt_long>(close - open - 1);
    SetExpr(var.expression, declarator.Part(name_end + 1, size).Trimmed(), line);
  }
  return 0;
}

kt_long BodyParser::ParseJump(Statement& statement, std::int16_t code) {
  Slice rest;
  if (const kt_long fault = FindRest(statement, rest)) return fault;
  const CleanText clean(rest, reporter_, &function_name_);
  if (!clean.Get().IsEmpty()) {
    const Slice word = statement.ShownWord();
    return Fail(kSynKeyword, &word, statement.line, clean.Get());
  }
  return statement.ops.AddOp(code, statement.line) != nullptr ? 0 : -1;
}

kt_long BodyParser::ParseBreak(Statement& statement) { return ParseJump(statement, kScriptBreak); }

kt_long BodyParser::ParseContinue(Statement& statement) {
  return ParseJump(statement, kScriptContinue);
}

kt_long BodyParser::ParseReturn(Statement& statement) {
  Slice rest;
  if (const kt_long code = FindRest(statement, rest)) return code;
  Kt_ScriptOp* const op = statement.ops.AddOp(kScriptReturn, statement.line);
  if (op == nullptr) return -1;
  const CleanText clean(rest, reporter_, &function_name_);
  if (!clean.Get().IsEmpty()) SetExpr(op->GetSet()->value, clean.Get(), statement.line);
  return 0;
}

kt_long BodyParser::ParseSimple(Statement& statement) {
  const Slice text = statement.body.From(statement.start);
  kt_long error_pos = 0;
  const kt_long length = Kt_ScriptUtil::FindLineEnd(text.text, text.length, error_pos);
  if (length == -1) return FailEnd(kSynLineEnd, statement);
  if (length < 0) return FailScan(length, statement, text, error_pos);
  statement.end = statement.start + length;
  if (KT_UNLIKELY(switch_depth_ > 0)) WarnOfLabelCase(statement.Word());
  const CleanText clean(text.Part(0, length - 1), reporter_, &function_name_);
  if (clean.Get().IsEmpty()) return 0;
  return AddLine(statement.ops, clean.Get(), statement.line);
}

// An op that cannot be filled is taken away again, so that no tree has ops without a payload. One
// that is filled with a faulty expression stays.
kt_long BodyParser::AddLine(Kt_ScriptOpList& ops, const Slice& statement, kt_long line) {
  Kt_ScriptOp* const op = ops.GetSafeItem(ops.Append());
  if (op == nullptr) return -1;
  if (ParseLine(*op, statement, line) == 0 || op->HasPayload()) return 0;
  ops.RemoveLast();
  return -1;
}

kt_long BodyParser::ParseLine(Kt_ScriptOp& op, const Slice& statement, kt_long line) {
  op.SetLine(line);
  const kt_long set_at = Kt_ScriptUtil::FindSetOP(statement.text, statement.length);
  if (set_at < 0) return ParseUnbalanced(op, statement, line);
  if (set_at > 0) return ParseAssignment(op, statement, set_at, line);
  return ParseExprStatement(op, statement, line);
}

// A bracket that does not match hides where the target of an assignment would end. What is wrong is
// what the expression checker says of the whole, and running the statement fails.
kt_long BodyParser::ParseUnbalanced(Kt_ScriptOp& op, const Slice& statement, kt_long line) {
  kt_long offset = 0;
  const kt_long code = Kt_ExprUtil::IsValidExpr(statement.text, statement.length, &offset);
  ReportExpr(code, offset, statement, line);
  op.SetOpCode(kScriptExpr);
  if (op.HasPayload()) op.GetSet()->value.SetExpr(statement.Text());
  return -1;
}

kt_long BodyParser::ParseExprStatement(Kt_ScriptOp& op, const Slice& statement, kt_long line) {
  CheckExpr(statement, line);
  if (statement.length > 2) {
    const kt_long last = statement.length - 2;
    const bool front_inc = IsPair(statement, 0, u'+');
    const bool front = front_inc || IsPair(statement, 0, u'-');
    const bool back_inc = IsPair(statement, last, u'+');
    const bool back = !front && (back_inc || IsPair(statement, last, u'-'));
    const Slice name = (front ? statement.From(2) : statement.Part(0, last)).Trimmed();
    if ((front || back) && IsName(name)) {
      op.SetOpCode(kScriptNameGroup);
      if (!op.HasPayload()) return -1;
      op.SetVariant(front_inc || (back && back_inc) ? kScriptInc : kScriptDec);
      op.GetVar()->name = NameOf(name);
      const OutlineMark mark(reporter_, OutlineMark::Kind::kSet, statement, name, op.opcode);
      return 0;
    }
  }
  NoteExpr(statement);
  op.SetOpCode(kScriptExpr);
  if (!op.HasPayload()) return -1;
  op.GetSet()->value.SetExpr(statement.Text());
  return 0;
}

// The first '=' of the text decides, so a statement `a == b` assigns a value that begins with '='
// and is no expression.
kt_long BodyParser::ParseAssignment(Kt_ScriptOp& op, const Slice& statement, kt_long set_at,
                                    kt_long line) {
  const char16_t in_front = statement.text[set_at - 1];
  const char16_t behind = set_at + 1 < statement.length ? statement.text[set_at + 1] : u'\0';
  if (behind == u'=' || in_front == u'<' || in_front == u'>' || in_front == u'!') {
    Warn(Kt_ScriptWarning::kWarnCompare, statement);
  }
  const std::optional<Operator> compound = CompoundBefore(in_front);
  const kt_long target_end = compound ? set_at - 1 : set_at;
  const Slice target = statement.Part(0, target_end).Trimmed();
  const Slice value = statement.From(set_at + 1).Trimmed();
  CheckExpr(target, line);
  CheckExpr(value, line);
  const bool is_name = IsName(target);
  op.SetOpCode(is_name ? kScriptNameGroup : kScriptExpr);
  if (!op.HasPayload()) return -1;
  op.SetVariant(AssignmentCode(is_name, compound));
  if (is_name) {
    op.GetVar()->name = NameOf(target);
    op.GetVar()->expression.SetExpr(value.Text());
    const OutlineMark mark(reporter_, OutlineMark::Kind::kSet, statement, target, op.opcode);
    NoteExpr(value);
  } else {
    op.GetSet()->value.SetExpr(value.Text());
    op.GetSet()->target.SetExpr(target.Text());
    NoteExpr(target, OutlineMark::Kind::kTarget);
    NoteExpr(value);
  }
  return 0;
}

}  // namespace kt::detail
