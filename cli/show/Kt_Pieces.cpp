// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Pieces.h"

#include <algorithm>

#include "classlib/text/Kt_WStrList.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"

namespace kt::cli {
namespace {

bool IsWord(std::u16string_view text, const char16_t* word) { return kt_stricmpW(text, word) == 0; }

bool IsStatementWord(std::u16string_view word) {
  constexpr const char16_t* kWords[] = {u"if",   u"else",    u"for",    u"while", u"switch",
                                        u"case", u"default", u"return", u"break", u"continue"};
  return std::any_of(std::begin(kWords), std::end(kWords),
                     [word](const char16_t* other) { return IsWord(word, other); });
}

bool IsIn(char16_t unit, std::u16string_view set) { return set.find(unit) != set.npos; }

// True for what can stand left of an assignment: a name, and elements and members of one.
bool IsTarget(Kt_WString text) {
  text.Trim();
  if (text.IsEmpty() || IsIn(text.GetAt(0), u"0123456789([")) return false;
  if (IsIn(text.GetAt(text.GetLength() - 1), u").")) return false;
  kt_long depth = 0;
  for (const char16_t unit : text.View()) {
    if (depth == 0 && IsIn(unit, u"+-*/%<>!&|,\"'{};")) return false;
    if (IsIn(unit, u"([")) ++depth;
    if (IsIn(unit, u")]")) --depth;
  }
  return depth == 0;
}

// In an expression `=` compares. Of a line like `x = 1` everybody expects that it assigns, and of
// `x == 1` and `f(x) = 1` that they compare.
bool IsAssignment(Kt_WString text) {
  Kt_ScriptUtil::RemoveComment(text);
  kt_long set_at = Kt_ScriptUtil::FindSetOP(text.GetText(), text.GetLength());
  if (set_at <= 0 || text.GetAt(set_at + 1) == u'=' || IsIn(text.GetAt(set_at - 1), u"<>!")) {
    return false;
  }
  if (IsIn(text.GetAt(set_at - 1), u"+-*/%")) --set_at;
  return IsTarget(text.Mid(0, set_at));
}

// True when a declaration has a name with a size, which means more for globals than in functions.
bool HasSizes(const Kt_WString& declaration) {
  Kt_WStrList declarators;
  Kt_ScriptUtil::SplitLine(declaration.GetText(), declaration.GetLength(), declarators);
  for (kt_long index = 0; index < declarators.GetCount(); ++index) {
    const Kt_WString& declarator = declarators[index];
    const kt_long set_at = Kt_ScriptUtil::FindSetOP(declarator.GetText(), declarator.GetLength());
    const kt_long name_end = set_at > 0 ? set_at : declarator.GetLength();
    if (declarator.Mid(0, name_end).Find(u"[") >= 0) return true;
  }
  return false;
}

class Cutter {
 public:
  explicit Cutter(const Kt_WString& text) : text_(text) {}

  std::vector<Piece> Cut() {
    std::vector<Piece> pieces;
    for (kt_long at = 0; (at = NextToken(at)) < text_.GetLength();) {
      if (text_.GetAt(at) == u';') {
        ++at;
        continue;
      }
      pieces.push_back(PieceAt(at));
      at = pieces.back().whole.start + std::max(pieces.back().whole.length, kt_long{1});
    }
    return pieces;
  }

 private:
  const char16_t* At(kt_long at) const { return text_.GetText() + at; }
  kt_long RestAt(kt_long at) const { return text_.GetLength() - at; }

  // The next token from `at` on; a comment without end counts as one.
  kt_long NextToken(kt_long at) const {
    kt_long error_pos = 0;
    const kt_long token = Kt_ScriptUtil::FindNextToken(At(at), RestAt(at), error_pos);
    return at + (token < 0 ? error_pos : token);
  }

  std::u16string_view WordAt(kt_long at) const {
    const int length = Kt_ExprUtil::FindWordEnd(At(at), RestAt(at));
    return {At(at), static_cast<std::size_t>(length)};
  }

  Piece PieceAt(kt_long start) const {
    Piece piece;
    piece.whole = {start, RestAt(start)};
    const std::u16string_view word = WordAt(start);
    if (word == u"#") {
      piece.kind = PieceKind::kPragma;
    } else if (IsWord(word, u"function")) {
      piece.kind = PieceKind::kFunction;
      CutFunction(piece);
    } else {
      CutStatement(piece, word);
    }
    return piece;
  }

  void CutFunction(Piece& piece) const {
    const kt_long behind_word = piece.whole.start + 8;
    piece.name.start = NextToken(behind_word);
    piece.name.length = Kt_ExprUtil::FindWordEnd(At(piece.name.start), RestAt(piece.name.start));
    const kt_long head = piece.name.start + piece.name.length;
    kt_long error_pos = 0;
    const kt_long head_length = Kt_ScriptUtil::FindLineBlock(
        At(head), RestAt(head), piece.proto.start, piece.proto.length, error_pos);
    if (head_length < 0) return;
    piece.proto.start += head;
    const kt_long block = head + head_length;
    const kt_long length = Kt_ScriptUtil::FindBraceBlock(At(block), RestAt(block), piece.body.start,
                                                         piece.body.length, error_pos);
    if (length < 0) return;
    piece.body.start += block;
    piece.whole.length = block + length - piece.whole.start;
  }

  void CutStatement(Piece& piece, std::u16string_view word) const {
    kt_long error_pos = 0;
    PieceSpan ignored;
    const kt_long start = piece.whole.start;
    const kt_long length = Kt_ScriptUtil::FindBlock(At(start), RestAt(start), ignored.start,
                                                    ignored.length, error_pos);
    if (length < 1) return;
    piece.whole.length = length;
    if (word == u"{" || IsStatementWord(word)) return;
    const Kt_WString text = text_.Mid(start, length - 1);
    if (IsWord(word, u"var")) {
      if (HasSizes(text)) piece.kind = PieceKind::kDeclaration;
    } else if (!IsAssignment(text)) {
      piece.kind = PieceKind::kExpression;
      --piece.whole.length;
    }
  }

  const Kt_WString& text_;
};

}  // namespace

std::vector<Piece> CutPieces(const Kt_WString& text) { return Cutter(text).Cut(); }

}  // namespace kt::cli
