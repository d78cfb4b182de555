// SPDX-License-Identifier: MIT
//
// Bodies and what controls them. Simple statements are in Kt_BodyParser_Simple.cpp.
#include "script/detail/Kt_BodyParser.h"

#include <algorithm>

#include "classlib/base/Kt_NativeStack.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"

namespace kt::detail {

namespace {

// Counts a level of nesting for as long as it lives.
class Level {
 public:
  explicit Level(int& depth) : depth_(depth) { ++depth_; }
  ~Level() { --depth_; }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;

 private:
  int& depth_;
};

kt_long NextToken(const Slice& text, kt_long at, kt_long& error_pos) {
  error_pos = 0;
  const kt_long token = Kt_ScriptUtil::FindNextToken(text.text + at, text.length - at, error_pos);
  error_pos += at;
  return token < 0 ? token : at + token;
}

kt_long WordLength(const Slice& text, kt_long at) {
  return at < text.length ? Kt_ExprUtil::FindWordEnd(text.text + at, text.length - at) : 0;
}

bool IsWord(const Slice& text, kt_long at, kt_long length, std::u16string_view word) {
  return IsKeyword(text.text + at, length, word);
}

}  // namespace

const BodyParser::Keyword BodyParser::kKeywords[] = {
    {u"if", &BodyParser::ParseIf, kScriptIf},
    {u"for", &BodyParser::ParseForStatement, kScriptFor},
    {u"var", &BodyParser::ParseVarStatement, kScriptVar},
    {u"else", &BodyParser::ParseLoneElse, 0},
    {u"while", &BodyParser::ParseWhileStatement, kScriptWhile},
    {u"break", &BodyParser::ParseBreak, kScriptBreak},
    {u"switch", &BodyParser::ParseSwitchStatement, kScriptSwitch},
    {u"return", &BodyParser::ParseReturn, kScriptReturn},
    {u"continue", &BodyParser::ParseContinue, kScriptContinue},
};

kt_long BodyParser::Fail(kt_long code, const Slice* near_text, kt_long line, const Slice& place,
                         kt_long unnamed_code) {
  Kt_WString near_copy;
  if (near_text != nullptr) near_copy = near_text->Text();
  Fault fault{code, line, {place.SourceOf(0), place.length}};
  if (near_text != nullptr) fault.near_text = &near_copy;
  fault.function_name = &function_name_;
  if (code == -1) fault.record_code = unnamed_code;
  reporter_.Report(fault);
  return -1;
}

kt_long BodyParser::FailScan(kt_long code, const Statement& statement, const Slice& text,
                             kt_long error_pos) {
  if (code == -1) return FailEnd(code, statement);
  const Slice word = statement.ShownWord();
  const bool at_end = error_pos >= text.length;
  return Fail(code, &word, statement.line, at_end ? statement.Word() : text.Part(error_pos, 1));
}

// Without a ';' the text runs to the end of the body; what the author forgot belongs after the
// first line of it.
kt_long BodyParser::FailEnd(kt_long code, const Statement& statement) {
  const Slice rest = statement.body.From(statement.start);
  const std::size_t line_end = std::min(rest.View().find_first_of(u"\r\n"), rest.View().size());
  const Slice first_line = rest.Part(0, static_cast<kt_long>(line_end)).Trimmed();
  const Slice near_text = code == kSynLineEnd ? first_line : statement.ShownWord();
  return Fail(code, &near_text, statement.line,
              first_line.Part(std::max(first_line.length - 1, 0), 1));
}

void BodyParser::Warn(Kt_ScriptWarning warning, const Slice& place) {
  if (KT_LIKELY(!reporter_.WantsWarnings())) return;
  reporter_.Warn(warning, {place.SourceOf(0), place.length}, &function_name_);
}

void BodyParser::WarnOfLabelCase(const Slice& word) {
  const bool label =
      IsWord(word, 0, word.length, u"case") || IsWord(word, 0, word.length, u"default");
  if (!label || word.View() == u"case" || word.View() == u"default") return;
  Warn(Kt_ScriptWarning::kWarnLabelCase, word);
}

const BodyParser::Keyword* BodyParser::KeywordOf(const Slice& word) {
  static const Keyword kBlock{u"{", &BodyParser::ParseBlock, kScriptBlock};
  if (word.length == 1 && word.text[0] == u'{') return &kBlock;
  for (const Keyword& keyword : kKeywords) {
    if (IsKeyword(word.text, word.length, keyword.word)) return &keyword;
  }
  return nullptr;
}

kt_long BodyParser::ParseBody(Kt_ScriptOpList& ops, const Slice& body) {
  const Level level(depth_);
  if (depth_ > kMaxBlockDepth || !kt_hasstack()) {
    return Fail(kSynTooDeep, nullptr, LineOf(body, 0), body.Part(0, 1));
  }
  const OutlineMark mark(reporter_, OutlineMark::Kind::kScope, body);
  return ParseStatements(ops, body);
}

kt_long BodyParser::ParseStatements(Kt_ScriptOpList& ops, const Slice& body) {
  constexpr std::int64_t kUnitsPerCharacter = 4;
  constexpr std::int64_t kUnitsPerStatement = 1024;
  for (kt_long at = 0;;) {
    kt_long error_pos = 0;
    const kt_long token = NextToken(body, at, error_pos);
    if (token < 0) {
      return Fail(token, nullptr, LineOf(body, error_pos), body.Part(error_pos, 2));
    }
    if (token >= body.length) return 0;
    Statement statement{ops, body, token, WordLength(body, token), LineOf(body, token)};
    const Keyword* const keyword = KeywordOf(statement.Word());
    if (keyword != nullptr) statement.keyword = keyword->word;
    const StatementParser parse = keyword != nullptr ? keyword->parse : &BodyParser::ParseSimple;
    OutlineMark mark(reporter_, OutlineMark::Kind::kStatement, statement.Word(), {},
                     keyword != nullptr ? keyword->code : std::int16_t{0});
    if (const kt_long code = (this->*parse)(statement)) return code;
    if (!kt::ChargeTime((statement.end - at) * kUnitsPerCharacter + kUnitsPerStatement)) return -1;
    mark.SetEnd(body.Part(token, statement.end - token));
    at = statement.end;
  }
}

kt_long BodyParser::ParseBlock(Statement& statement) {
  const Slice rest = statement.body.From(statement.start);
  Span inner;
  kt_long error_pos = 0;
  const kt_long length =
      detail::FindBlock(rest.text, rest.length, inner.start, inner.length, error_pos, depth_);
  if (length < 0) return FailScan(length, statement, rest, error_pos);
  statement.end = statement.start + length;
  Kt_ScriptOp* const op = statement.ops.AddOp(kScriptBlock, statement.line);
  return op != nullptr ? ParseBody(*op->GetBlock(), rest.Part(inner.start, inner.length)) : -1;
}

kt_long BodyParser::ParseLoneElse(Statement& statement) {
  const Slice word = statement.ShownWord();
  return Fail(kSynKeyword, &word, statement.line, statement.Word());
}

kt_long BodyParser::ParseForStatement(Statement& statement) {
  return ParseCompound(statement,
                       {kScriptFor, &BodyParser::ParseForHead, &BodyParser::ParseForBody});
}

kt_long BodyParser::ParseWhileStatement(Statement& statement) {
  return ParseCompound(statement,
                       {kScriptWhile, &BodyParser::ParseWhileHead, &BodyParser::ParseWhileBody});
}

kt_long BodyParser::ParseSwitchStatement(Statement& statement) {
  return ParseCompound(statement,
                       {kScriptSwitch, &BodyParser::ParseSwitchHead, &BodyParser::ParseSwitchBody});
}

kt_long BodyParser::ParseCompound(Statement& statement, const Compound& compound) {
  const Slice head_text = statement.body.From(statement.BehindWord());
  Span head;
  Span inner;
  kt_long error_pos = 0;
  const kt_long head_end = Kt_ScriptUtil::FindLineBlock(head_text.text, head_text.length,
                                                        head.start, head.length, error_pos);
  if (head_end < 0) return FailScan(head_end, statement, head_text, error_pos);
  const Slice body_text = head_text.From(head_end);
  error_pos = 0;
  const kt_long body_end = detail::FindBlock(body_text.text, body_text.length, inner.start,
                                             inner.length, error_pos, depth_);
  if (body_end < 0) return FailScan(body_end, statement, body_text, error_pos);
  statement.end = statement.BehindWord() + head_end + body_end;
  const kt_long line = LineOf(head_text, head.start);
  Kt_ScriptOp* const op = statement.ops.AddOp(compound.code, line);
  if (op == nullptr) return -1;
  {
    const CleanText clean(head_text.Part(head.start, head.length), reporter_, &function_name_);
    const kt_long code = (this->*compound.parse_head)(*op, clean.Get(), line);
    if (code != 0) return code;
  }
  return (this->*compound.parse_body)(*op, body_text.Part(inner.start, inner.length));
}

kt_long BodyParser::ParseWhileHead(Kt_ScriptOp& op, const Slice& condition, kt_long line) {
  if (condition.IsEmpty()) {
    const Slice word{u"while", 5};
    return Fail(kSynNullExpr, &word, line, condition);
  }
  SetExpr(op.GetWhile()->condition, condition, line);
  return 0;
}

kt_long BodyParser::ParseWhileBody(Kt_ScriptOp& op, const Slice& body) {
  return ParseBody(op.GetWhile()->body, body);
}

kt_long BodyParser::ParseForBody(Kt_ScriptOp& op, const Slice& body) {
  return ParseBody(op.GetFor()->body, body);
}

kt_long BodyParser::ParseForHead(Kt_ScriptOp& op, const Slice& head, kt_long line) {
  Kt_ScriptOpFor& loop = *op.GetFor();
  const Slice word{u"for", 3};
  if (head.IsEmpty()) return Fail(kSynNullExpr, &word, line, head);
  kt_long error_pos = 0;
  const kt_long init = Kt_ScriptUtil::FindLineEnd(head.text, head.length, error_pos);
  if (init < 0) return Fail(kSynLabelMark, &word, line, head);
  const Slice rest = head.From(init);
  const kt_long condition_end = Kt_ScriptUtil::FindLineEnd(rest.text, rest.length, error_pos);
  if (condition_end < 0) return Fail(kSynLabelMark, &word, line, head);
  if (const kt_long code = ParseForInit(loop, head.Part(0, init - 1), head, line)) return code;
  const Slice condition = rest.Part(0, condition_end - 1).Trimmed();
  if (condition.IsEmpty()) Warn(Kt_ScriptWarning::kWarnForEver, head);
  SetExpr(loop.condition, condition, line);
  const Slice step = rest.From(condition_end);
  return ParsePieces(loop.step, step, step, line);
}

kt_long BodyParser::ParseForInit(Kt_ScriptOpFor& loop, const Slice& init, const Slice& head,
                                 kt_long line) {
  const bool declares = init.length > 3 && IsWord(init, 0, 3, u"var") && IsBlank(init.text[3]);
  if (!declares) return ParsePieces(loop.init, init, head, line);
  const Slice list = init.From(4);
  std::vector<Span> pieces;
  if (SplitSpans(list.text, list.length, pieces) < 0) {
    return Fail(kSynExpression, &head, line, head);
  }
  return ParseDeclarators(loop.init, list, pieces, line);
}

// A list of simple statements with commas between them.
kt_long BodyParser::ParsePieces(Kt_ScriptOpList& ops, const Slice& text, const Slice& shown,
                                kt_long line) {
  std::vector<Span> pieces;
  if (SplitSpans(text.text, text.length, pieces) < 0) {
    return Fail(kSynExpression, &shown, line, shown);
  }
  for (const Span& piece : pieces) {
    if (const kt_long code = AddLine(ops, text.Part(piece.start, piece.length), line)) {
      return code;
    }
  }
  return 0;
}

// One op for the whole chain. `else if` is an unguarded branch with an if of its own in its body.
kt_long BodyParser::ParseIf(Statement& statement) {
  Kt_ScriptOp* const op = statement.ops.AddOp(kScriptIf, statement.line);
  if (op == nullptr) return -1;
  statement.end = statement.BehindWord();
  kt_long line = statement.line;
  bool guarded = true;
  for (bool more = true; more;) {
    if (const kt_long code = ParseBranch(statement, *op->GetIf(), guarded, line)) return code;
    if (const kt_long code = FindElse(statement, more, guarded, line)) return code;
  }
  return 0;
}

kt_long BodyParser::ParseBranch(Statement& statement, Kt_ScriptOpIf& chain, bool guarded,
                                kt_long line) {
  Kt_ScriptOpItem* const item = chain.items.AddItem(guarded ? 0 : 1, line);
  if (item == nullptr) return -1;
  const OutlineMark mark(reporter_, OutlineMark::Kind::kBranch, statement.Word());
  if (guarded) {
    if (const kt_long code = ParseCondition(statement, *item)) return code;
  }
  const Slice rest = statement.body.From(statement.end);
  Span inner;
  kt_long error_pos = 0;
  const kt_long length =
      detail::FindBlock(rest.text, rest.length, inner.start, inner.length, error_pos, depth_);
  if (length < 0) return FailScan(length, statement, rest, error_pos);
  statement.end += length;
  return ParseBody(item->body, rest.Part(inner.start, inner.length));
}

kt_long BodyParser::ParseCondition(Statement& statement, Kt_ScriptOpItem& item) {
  const Slice rest = statement.body.From(statement.end);
  Span inner;
  kt_long error_pos = 0;
  const kt_long length =
      Kt_ScriptUtil::FindLineBlock(rest.text, rest.length, inner.start, inner.length, error_pos);
  if (length < 0) return FailScan(length, statement, rest, error_pos);
  statement.end += length;
  const CleanText clean(rest.Part(inner.start, inner.length), reporter_, &function_name_);
  if (clean.Get().IsEmpty()) {
    // Only recorded: the branch stays, with a condition that is never true.
    const Slice word = statement.ShownWord();
    Fail(kSynNullExpr, &word, item.line, rest.Part(inner.start, 1));
  }
  SetExpr(item.expression, clean.Get(), item.line);
  return 0;
}

// Looks for an else after a branch and moves the end of the statement after it. After else, any
// word of two letters but `if` is taken for the `if` of a guarded branch.
kt_long BodyParser::FindElse(Statement& statement, bool& found, bool& guarded, kt_long& line) {
  const Slice& body = statement.body;
  kt_long error_pos = 0;
  const kt_long token = NextToken(body, statement.end, error_pos);
  if (token < 0) return FailScan(token, statement, body, error_pos);
  const kt_long word = WordLength(body, token);
  found = word == 4 && IsWord(body, token, word, u"else");
  if (!found) return 0;
  line = LineOf(body, token);
  const Slice else_word{u"else", 4};
  const kt_long next = NextToken(body, token + word, error_pos);
  if (next < 0) return FailScan(next, statement, body, error_pos);
  if (next >= body.length) return Fail(kSynBlockEnd, &else_word, line, body.Part(token, word));
  const kt_long next_word = WordLength(body, next);
  guarded = next_word == 2 && !IsWord(body, next, 2, u"if");
  statement.end = guarded ? next + 2 : token + word;
  if (guarded) Warn(Kt_ScriptWarning::kWarnElseWord, body.Part(next, 2));
  return 0;
}

}  // namespace kt::detail
