// SPDX-License-Identifier: MIT
#include <algorithm>

#include "cli/lsp/Kt_Features.h"

namespace kt::cli::lsp {
namespace {

using analysis::NameUse;
using analysis::Symbol;
using Type = SemanticToken::Type;

class Painter {
 public:
  Painter(Program& program, std::size_t file)
      : uses_(program.Uses()), number_(file), file_(program.Files()[file]), view_(file_.View()) {
    const auto first = std::partition_point(uses_.uses.begin(), uses_.uses.end(),
                                            [&](const NameUse& use) { return use.file < file; });
    next_use_ = static_cast<std::size_t>(first - uses_.uses.begin());
  }

  std::vector<SemanticToken> Run(Range within) {
    for (std::size_t token = 0; token < file_.tokens.size(); ++token) {
      const Range& range = view_.At(token).range;
      if (range.end < within.start) continue;
      if (range.start > within.end) break;
      Paint(token);
    }
    return std::move(painted_);
  }

 private:
  void Paint(std::size_t token) {
    switch (view_.At(token).kind) {
      case Token::Kind::kComment: return Add(token, Type::kComment);
      case Token::Kind::kLiteral: return Add(token, Type::kString);
      case Token::Kind::kNumber: return Add(token, Type::kNumber);
      case Token::Kind::kWord: return PaintWord(token);
      default: return;
    }
  }

  void PaintWord(std::size_t token) {
    const std::size_t before = view_.Before(token);
    const bool is_called = view_.IsMark(view_.After(token), u'(');
    if (view_.IsMark(before, u'.')) {
      return Add(token, is_called ? Type::kMethod : Type::kProperty);
    }
    if (IsKeyword(view_.TextOf(token)) || view_.IsMark(before, u'#')) {
      return Add(token, Type::kKeyword);
    }
    const NameUse* const use = UseAt(view_.At(token).range.start);
    if (use == nullptr || use->symbol < 0) {
      return Add(token, is_called ? Type::kFunction : Type::kVariable);
    }
    const Symbol& symbol = uses_.symbols[static_cast<std::size_t>(use->symbol)];
    Type type = symbol.IsCalled() ? Type::kFunction : Type::kVariable;
    if (symbol.kind == Symbol::Kind::kArgument) type = Type::kParameter;
    Add(token, type,
        (use->declares ? SemanticToken::kDeclaration : 0) |
            (symbol.IsOfHost() ? SemanticToken::kDefaultLibrary : 0));
  }

  // Asked for in ascending order.
  const NameUse* UseAt(kt_long offset) {
    for (; next_use_ < uses_.uses.size(); ++next_use_) {
      const NameUse& use = uses_.uses[next_use_];
      if (use.file != number_ || use.offset > offset) return nullptr;
      if (use.offset == offset) return &use;
    }
    return nullptr;
  }

  // A part for each line.
  void Add(std::size_t token, Type type, int modifiers = 0) {
    const Range range = view_.At(token).range;
    for (kt_long line = file_.text.LineOf(range.start); line < file_.text.LineCount(); ++line) {
      const Range whole = file_.text.LineRange(line);
      if (whole.start >= range.end) break;
      const Range part{std::max(range.start, whole.start), std::min(range.end, whole.end)};
      if (part.end > part.start) painted_.push_back({part, type, modifiers});
    }
  }

  const analysis::NameUses& uses_;
  const std::size_t number_;
  const ScriptFile& file_;
  const TokenView view_;
  std::size_t next_use_ = 0;
  std::vector<SemanticToken> painted_;
};

}  // namespace

std::vector<SemanticToken> FindSemanticTokens(Program& program, std::size_t file, Range within) {
  return Painter(program, file).Run(within);
}

const std::vector<std::string>& SemanticTypeNames() {
  static const std::vector<std::string> kNames = {"keyword",  "comment",  "string",
                                                  "number",   "function", "method",
                                                  "property", "variable", "parameter"};
  return kNames;
}

const std::vector<std::string>& SemanticModifierNames() {
  static const std::vector<std::string> kNames = {"declaration", "defaultLibrary"};
  return kNames;
}

}  // namespace kt::cli::lsp
