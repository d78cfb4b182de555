// SPDX-License-Identifier: MIT
#include "cli/fmt/Kt_Format.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "classlib/base/Kt_NativeStack.h"
#include "cli/fmt/Kt_StatementPieces.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"

namespace kt::cli {
namespace {

constexpr int kIndent = 2;
constexpr std::u16string_view kLineBreaks = u"\r\n";

// Thrown where a scanner finds no end; a script without errors has no such places.
struct NoStructure {};

// A part of the text: [begin, end).
struct Range {
  kt_long begin = 0;
  kt_long end = 0;
};

// `text` whose first line moves by `delta` columns: its other lines move along where that adds and
// takes blanks only. One blank stays, for a comment in front of it takes it along.
std::u16string Moved(std::u16string_view text, int delta) {
  std::u16string out;
  for (std::size_t at = 0; at < text.size();) {
    const char16_t unit = text[at];
    if (unit == u'"' || unit == u'\'') {
      const int size =
          Kt_ExprUtil::FindQuotEnd(text.data() + at, static_cast<kt_long>(text.size() - at), unit);
      const std::size_t length = size < 0 ? 1 : static_cast<std::size_t>(size);
      out += text.substr(at, length);
      at += length;
      continue;
    }
    ++at;
    if (unit == u'\r' && at < text.size() && text[at] == u'\n') continue;
    out += unit;
    if (unit != u'\n') continue;
    const std::size_t first = std::min(text.find_first_not_of(u" \t", at), text.size());
    const auto blanks = static_cast<int>(first - at);
    const bool is_empty = first < text.size() && kLineBreaks.find(text[first]) != text.npos;
    if (blanks > 0 && !is_empty) {
      out.append(static_cast<std::size_t>(std::max(blanks + delta, 1)), u' ');
    }
    at = first;
  }
  return out;
}

class Formatter {
 public:
  Formatter(std::u16string_view text, int width) : text_(text), flow_(width) {}

  Kt_WString Run();

 private:
  // Scanning. Places are those in the whole text.
  kt_long Size() const { return static_cast<kt_long>(text_.size()); }
  const char16_t* At(kt_long at) const { return text_.data() + at; }
  char16_t UnitAt(kt_long at) const {
    return at < Size() ? text_[static_cast<std::size_t>(at)] : u'\0';
  }
  std::u16string_view View(Range range) const {
    return text_.substr(static_cast<std::size_t>(range.begin),
                        static_cast<std::size_t>(range.end - range.begin));
  }
  std::u16string_view Word(Range rest) const;
  bool HasLineBreak(Range range) const {
    return View(range).find_first_of(kLineBreaks) != text_.npos;
  }
  kt_long Token(Range range) const;
  kt_long LineEnd(Range range) const;
  Range Group(Range range) const;
  Range Block(Range range) const;
  int ColumnOf(kt_long at) const;
  int IndentOf(kt_long at) const;

  // Comments and lines.
  kt_long Gap(Range range, int indent, int label_column = -1);
  kt_long CommentEnd(kt_long at, kt_long end) const;
  void Comment(Range comment, int indent, int breaks, bool goes_on);
  void HoldComments(Range range);
  void StartLine(int indent);

  // Each takes what begins at its range and gives the place behind it.
  kt_long Item(Range rest);
  kt_long Global(Range rest);
  kt_long Function(Range rest);
  kt_long Statement(Range rest, int indent);
  kt_long Simple(Range rest, int indent);
  kt_long If(Range rest, int indent);
  kt_long Else(Range rest, int indent, bool is_braced);
  kt_long Loop(Range rest, int indent);
  kt_long Switch(Range rest, int indent);
  kt_long Label(Range rest, int indent);
  bool IsInline(Range& body, std::size_t max_statements, std::u16string& text) const;

  void Body(Range body, int indent, int label_column = -1);
  void Verbatim(Range statement, int indent);
  // The word of a statement and what is in its parentheses.
  Range Head(Range rest, kt_long word_size, int indent,
             std::vector<LinePart> (*make_pieces)(std::u16string_view));
  // The block or the statement that another one controls, in the line that it stands in.
  Range Controlled(Range rest, int indent);
  void Braces(Range block, int indent);

  std::u16string_view text_;
  Flow flow_;
  bool is_first_ = true;      // nothing stands in the block so far
  bool wants_blank_ = false;  // an empty line stood in front of what comes next
  bool is_glued_ = false;     // what comes next goes on in the line of a comment
};

// Scanning ----------------------------------------------------------------------------------------

std::u16string_view Formatter::Word(Range rest) const {
  const int size = Kt_ExprUtil::FindWordEnd(At(rest.begin), rest.end - rest.begin);
  return View({rest.begin, rest.begin + std::max(size, 0)});
}

kt_long Formatter::Token(Range range) const {
  kt_long ignored = 0;
  const kt_long token =
      Kt_ScriptUtil::FindNextToken(At(range.begin), range.end - range.begin, ignored);
  if (token < 0) throw NoStructure();
  return range.begin + token;
}

// Behind the next ';'.
kt_long Formatter::LineEnd(Range range) const {
  kt_long ignored = 0;
  const kt_long end = Kt_ScriptUtil::FindLineEnd(At(range.begin), range.end - range.begin, ignored);
  if (end < 0) throw NoStructure();
  return range.begin + end;
}

// The next parentheses.
Range Formatter::Group(Range range) const {
  const kt_long open = Token(range);
  kt_long ignored = 0;
  if (open >= range.end || UnitAt(open) != u'(') throw NoStructure();
  const kt_long size = Kt_ScriptUtil::FindBraceEnd(At(open), range.end - open, u')', ignored);
  if (size < 0) throw NoStructure();
  return {open, open + size};
}

// The next statement, or block with its braces.
Range Formatter::Block(Range range) const {
  kt_long start = 0;
  kt_long length = 0;
  kt_long ignored = 0;
  const kt_long size =
      Kt_ScriptUtil::FindBlock(At(range.begin), range.end - range.begin, start, length, ignored);
  if (size < 0) throw NoStructure();
  return {Token(range), range.begin + size};
}

int Formatter::ColumnOf(kt_long at) const {
  const auto place = static_cast<std::size_t>(at);
  const std::size_t line = text_.substr(0, place).find_last_of(kLineBreaks);
  return static_cast<int>(line == text_.npos ? place : place - line - 1);
}

// Of the line that has the place.
int Formatter::IndentOf(kt_long at) const {
  const kt_long line = at - ColumnOf(at);
  const std::size_t first = text_.find_first_not_of(u" \t", static_cast<std::size_t>(line));
  return static_cast<int>(first) - line;
}

// Comments and lines ------------------------------------------------------------------------------

kt_long Formatter::CommentEnd(kt_long at, kt_long end) const {
  const auto begin = static_cast<std::size_t>(at);
  if (text_[begin + 1] == u'*') return static_cast<kt_long>(text_.find(u"*/", begin + 2)) + 2;
  return static_cast<kt_long>(
      std::min(text_.find_first_of(kLineBreaks, begin), static_cast<std::size_t>(end)));
}

// Writes the comments up to the next token, whose place it gives. Behind the last statement of a
// label at `label_column`, those that are indented no further belong to the next label.
kt_long Formatter::Gap(Range range, int indent, int label_column) {
  const kt_long token = Token(range);
  int breaks = 0;
  is_glued_ = false;
  for (kt_long at = range.begin; at < token;) {
    const char16_t unit = UnitAt(at);
    if (unit != u'/') {
      const bool is_pair = unit == u'\r' && UnitAt(at + 1) == u'\n';
      if (!is_pair && kLineBreaks.find(unit) != kLineBreaks.npos) ++breaks;
      ++at;
      continue;
    }
    const kt_long end = CommentEnd(at, token);
    const bool goes_on = token < range.end && !HasLineBreak({at, token}) &&
                         View({end, token}).find(u'/') == text_.npos;
    const bool is_next = token >= range.end && breaks > 0 && ColumnOf(at) <= label_column;
    Comment({at, end}, is_next ? indent - kIndent : indent, breaks, goes_on);
    breaks = 0;
    at = end;
  }
  wants_blank_ = breaks > 1;
  return token;
}

void Formatter::Comment(Range comment, int indent, int breaks, bool goes_on) {
  const bool is_behind = breaks == 0 && !flow_.IsEmpty();
  const std::u16string text =
      Moved(View(comment), is_behind ? 0 : indent - ColumnOf(comment.begin));
  const std::size_t end = text.find_last_not_of(u" \t") + 1;
  const std::u16string_view shown = std::u16string_view(text).substr(0, end);
  if (is_behind) return flow_.WriteAtLineEnd(shown);
  flow_.NewLine(indent, breaks > 1 && !is_first_);
  flow_.Write(shown);
  is_first_ = false;
  is_glued_ = goes_on;
}

// Of a place where no line can end.
void Formatter::HoldComments(Range range) {
  for (kt_long at = range.begin; at < range.end;) {
    if (UnitAt(at) != u'/') {
      ++at;
      continue;
    }
    const kt_long end = CommentEnd(at, range.end);
    flow_.WriteAtLineEnd(Moved(View({at, end}), 0));
    at = end;
  }
}

void Formatter::StartLine(int indent) {
  if (is_glued_) {
    flow_.Write(u" ");
  } else {
    flow_.NewLine(indent, wants_blank_ && !is_first_);
  }
  is_first_ = wants_blank_ = is_glued_ = false;
}

// What stands outside of functions ----------------------------------------------------------------

Kt_WString Formatter::Run() {
  for (Range rest{0, Size()};;) {
    rest.begin = Gap(rest, 0);
    if (rest.begin >= rest.end) break;
    rest.begin = Item(rest);
  }
  return Kt_WString(std::u16string_view(flow_.Take()));
}

kt_long Formatter::Item(Range rest) {
  const std::u16string_view word = Word(rest);
  if (IsWord(word, u"var")) return Global(rest);
  if (IsWord(word, u"function")) return Function(rest);
  if (UnitAt(rest.begin) == u';') return rest.begin + 1;
  if (word.empty() && UnitAt(rest.begin) < 0x80) {  // a character that the loader passes over
    StartLine(0);
    flow_.Write(View({rest.begin, rest.begin + 1}));
    return rest.begin + 1;
  }
  if (word != u"#") throw NoStructure();
  const std::size_t found = text_.find_first_of(kLineBreaks, static_cast<std::size_t>(rest.begin));
  const auto end = static_cast<kt_long>(std::min(found, text_.size()));
  StartLine(0);
  flow_.Write(Trimmed(View({rest.begin, end})).View());
  return end;
}

// The loader takes the keyword and the one character behind it.
kt_long Formatter::Global(Range rest) {
  const Range list{std::min(rest.begin + 4, rest.end), rest.end};
  const kt_long end = LineEnd(list);
  StartLine(0);
  const bool is_plain = kt_findskipW(At(list.begin - 1), 1) == 1;
  if (!is_plain || HasComment(View({rest.begin, end}))) {
    Verbatim({rest.begin, end}, 0);
  } else {
    flow_.Write(StatementPieces(View({rest.begin, end - 1})), 0);
  }
  return end;
}

kt_long Formatter::Function(Range rest) {
  constexpr kt_long kWord = 8;
  if (kt_findskipW(At(rest.begin + kWord), 1) != 1) throw NoStructure();
  const kt_long name = Token({rest.begin + kWord, rest.end});
  const kt_long name_size = static_cast<kt_long>(Word({name, rest.end}).size());
  StartLine(0);
  HoldComments({rest.begin + kWord, name});
  flow_.Write(View({rest.begin, rest.begin + kWord}));
  flow_.Write(u" ");
  const Range head = Head({name, rest.end}, name_size, 0, ArgumentPieces);
  const Range block = Block({head.end, rest.end});
  HoldComments({head.end, block.begin});
  flow_.Write(u" ");
  Braces(block, 0);
  return block.end;
}

// Statements --------------------------------------------------------------------------------------

void Formatter::Body(Range body, int indent, int label_column) {
  for (;;) {
    body.begin = Gap(body, indent, label_column);
    if (body.begin >= body.end) return;
    if (UnitAt(body.begin) == u';') {
      ++body.begin;
      continue;
    }
    StartLine(indent);
    body.begin = Statement(body, indent);
  }
}

kt_long Formatter::Statement(Range rest, int indent) {
  const std::u16string_view word = Word(rest);
  if (IsWord(word, u"if")) return If(rest, indent);
  if (IsWord(word, u"for") || IsWord(word, u"while")) return Loop(rest, indent);
  if (IsWord(word, u"switch")) return Switch(rest, indent);
  if (word != u"{") return Simple(rest, indent);
  const Range block = Block(rest);
  Braces(block, indent);
  return block.end;
}

// As it is, but for where its lines begin.
void Formatter::Verbatim(Range statement, int indent) {
  flow_.Write(Moved(View(statement), indent - IndentOf(statement.begin)));
}

kt_long Formatter::Simple(Range rest, int indent) {
  const kt_long end = LineEnd(rest);
  if (HasComment(View({rest.begin, end}))) {
    Verbatim({rest.begin, end}, indent);
  } else {
    flow_.Write(StatementPieces(View({rest.begin, end - 1})), indent);
  }
  return end;
}

Range Formatter::Head(Range rest, kt_long word_size, int indent,
                      std::vector<LinePart> (*make_pieces)(std::u16string_view)) {
  const kt_long word_end = rest.begin + word_size;
  const Range group = Group({word_end, rest.end});
  HoldComments({word_end, group.begin});
  const std::u16string_view inner = View({group.begin + 1, group.end - 1});
  const bool is_function = make_pieces == ArgumentPieces;
  std::vector<LinePart> pieces;
  pieces.push_back({std::u16string(View({rest.begin, word_end})), false, kNoBreak});
  pieces.push_back({u"(", !is_function, kNoBreak});
  if (HasComment(inner)) {
    pieces.push_back({Moved(inner, indent - IndentOf(rest.begin)), false, kNoBreak});
  } else {
    const std::vector<LinePart> parts = make_pieces(inner);
    pieces.insert(pieces.end(), parts.begin(), parts.end());
    if (!parts.empty()) pieces[2].has_blank = false;
  }
  pieces.push_back({u")", false, kNoBreak});
  flow_.Write(pieces, indent);
  return group;
}

kt_long Formatter::If(Range rest, int indent) {
  constexpr kt_long kWord = 2;
  const Range head = Head(rest, kWord, indent, ConditionPieces);
  const Range body = Controlled({head.end, rest.end}, indent);
  return Else({body.end, rest.end}, indent, UnitAt(body.begin) == u'{');
}

// Any word of two letters behind an `else` is taken for the `if` of another branch.
kt_long Formatter::Else(Range rest, int indent, bool is_braced) {
  const kt_long token = Token(rest);
  const std::u16string_view word = Word({token, rest.end});
  if (token >= rest.end || !IsWord(word, u"else")) return rest.begin;
  const bool has_comment = View({rest.begin, token}).find(u'/') != text_.npos;
  if (has_comment) (void)Gap(rest, indent);
  if (has_comment || !is_braced) {
    flow_.NewLine(indent);
  } else {
    flow_.Write(u" ");
  }
  is_first_ = wants_blank_ = is_glued_ = false;
  flow_.Write(word);
  rest.begin = token + static_cast<kt_long>(word.size());
  const kt_long next = Token(rest);
  const std::u16string_view next_word = Word({next, rest.end});
  if (next_word.size() != 2) return Controlled(rest, indent).end;
  HoldComments({rest.begin, next});
  flow_.Write(u" ");
  return If({next, IsWord(next_word, u"if") ? Block(rest).end : rest.end}, indent);
}

kt_long Formatter::Loop(Range rest, int indent) {
  const std::u16string_view word = Word(rest);
  const Range head = Head(rest, static_cast<kt_long>(word.size()), indent,
                          IsWord(word, u"for") ? ForPieces : ConditionPieces);
  return Controlled({head.end, rest.end}, indent).end;
}

Range Formatter::Controlled(Range rest, int indent) {
  const Range block = Block(rest);
  HoldComments({rest.begin, block.begin});
  Range body = block;
  std::u16string line = u" ";
  if (UnitAt(block.begin) == u'{') {
    flow_.Write(line);
    Braces(block, indent);
  } else if (IsInline(body, 1, line) && line.find(u'\n') == line.npos && flow_.HasRoom(line)) {
    flow_.Write(line.size() == 1 ? u" {}" : line);
  } else {
    flow_.NewLine(indent + kIndent);
    (void)Statement(block, indent + kIndent);
  }
  is_first_ = false;
  return block;
}

void Formatter::Braces(Range block, int indent) {
  const Range inner{block.begin + 1, block.end - 1};
  Range rest = inner;
  std::u16string line = u"{ ";
  const bool is_inline =
      !HasLineBreak(block) && IsInline(rest, 1, line) && View(rest).find(u'/') == text_.npos;
  line += u" }";
  if (Trimmed(View(inner)).IsEmpty()) {
    flow_.Write(u"{}");
  } else if (is_inline && flow_.HasRoom(line)) {
    flow_.Write(line);
  } else {
    flow_.Write(u"{");
    is_first_ = true;
    Body(inner, indent + kIndent);
    flow_.NewLine(indent);
    flow_.Write(u"}");
  }
  is_first_ = false;
}

// Appends the statements at the start of `body`, which becomes what stands behind them. False when
// there are too many, or one that controls others or has a comment.
bool Formatter::IsInline(Range& body, std::size_t max_statements, std::u16string& text) const {
  for (std::size_t count = 0;; ++count) {
    const kt_long token = Token(body);
    if (token >= body.end) return true;
    const std::u16string_view word = Word({token, body.end});
    for (const std::u16string_view compound : {u"if", u"for", u"while", u"switch", u"{"}) {
      if (IsWord(word, compound)) return false;
    }
    const kt_long end = LineEnd({token, body.end});
    if (count == max_statements || HasComment(View({body.begin, end}))) return false;
    if (UnitAt(token) != u';') {
      if (count > 0) text += u' ';
      for (const LinePart& piece : StatementPieces(View({token, end - 1}))) {
        if (piece.has_blank) text += u' ';
        text += piece.text;
      }
    }
    body.begin = end;
  }
}

// Labels ------------------------------------------------------------------------------------------

kt_long Formatter::Switch(Range rest, int indent) {
  constexpr kt_long kWord = 6;
  const Range head = Head(rest, kWord, indent, ConditionPieces);
  const Range block = Block({head.end, rest.end});
  HoldComments({head.end, block.begin});
  flow_.Write(u" {");
  is_first_ = true;
  Range body = block;
  if (UnitAt(block.begin) == u'{') body = {block.begin + 1, block.end - 1};
  body.begin = Gap(body, indent + kIndent);
  while (body.begin < body.end) body.begin = Label(body, indent + kIndent);
  flow_.NewLine(indent);
  flow_.Write(u"}");
  is_first_ = false;
  return block.end;
}

kt_long Formatter::Label(Range rest, int indent) {
  const std::u16string_view word = Word(rest);
  const kt_long value = rest.begin + static_cast<kt_long>(word.size());
  kt_long ignored = 0;
  const kt_long colon = Kt_ScriptUtil::FindColonEnd(At(value), rest.end - value, ignored);
  if (word.empty() || colon < 0) throw NoStructure();
  const Range label{value, value + colon};
  StartLine(indent);
  flow_.Write(word);
  if (HasComment(View(label))) {
    Verbatim(label, indent);
  } else if (!Trimmed(View(label)).IsEmpty()) {
    flow_.Write(u" ");
    flow_.Write(ConditionPieces(View(label)), indent);
  }
  flow_.Write(u":");
  Range body{label.end + 1, rest.end};
  const kt_long size = Kt_ScriptUtil::FindCaseToken(At(body.begin), body.end - body.begin, ignored);
  if (size < 0) throw NoStructure();
  body.end = body.begin + size;
  Range behind = body;
  std::u16string line = u" ";
  is_first_ = true;
  if (IsInline(behind, text_.size(), line) && !HasLineBreak({rest.begin, behind.begin}) &&
      line.size() > 1 && flow_.HasRoom(line)) {
    flow_.Write(line);
    body = behind;
    is_first_ = false;
  }
  Body(body, indent + kIndent, ColumnOf(rest.begin));
  is_first_ = false;
  return body.end;
}

}  // namespace

std::optional<Kt_WString> FormatScript(const Kt_WString& text, int width) {
  try {
    return Formatter(text.View(), width).Run();
  } catch (const NoStructure&) {
    return std::nullopt;
  }
}

}  // namespace kt::cli
