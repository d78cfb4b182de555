// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_Types.h"

namespace kt::analysis {

// A token of a script that may be full of faults, and of other languages too.
struct SourceToken {
  enum class Kind : std::uint8_t {
    kWord,
    kNumber,
    kText,      // with its quotes; up to the end of the source when it has no end
    kMark,      // an operator or a bracket
    kUnclosed,  // a comment without end
  };
  Kind kind;
  bool begins_line;
  kt_long indent;  // of its line, in units
  kt_long start;
  kt_long length;

  kt_long End() const { return start + length; }
};

// A source cut into tokens, without comments. Borrows the text.
class SourceTokens {
 public:
  using Kind = SourceToken::Kind;

  explicit SourceTokens(std::u16string_view text);

  std::size_t Count() const { return tokens_.size(); }
  // REQUIRES: index < Count().
  const SourceToken& operator[](std::size_t index) const { return tokens_[index]; }
  // Empty behind the last token and before the first.
  std::u16string_view Text(std::size_t index) const;
  std::u16string_view Source() const { return text_; }

  bool Is(std::size_t index, std::u16string_view text) const { return Text(index) == text; }
  bool IsKind(std::size_t index, Kind kind) const {
    return index < tokens_.size() && tokens_[index].kind == kind;
  }
  // `word` is in small letters.
  bool IsWord(std::size_t index, std::u16string_view word) const;
  bool IsOpening(std::size_t index) const;
  bool IsClosing(std::size_t index) const;
  // Whether a value may end, or begin, with it.
  bool EndsValue(std::size_t index) const;
  bool BeginsValue(std::size_t index) const;
  // The head of a function: `function name (`.
  bool BeginsFunction(std::size_t index) const;

  // The first token that ends behind `offset`; Count() when there is none.
  std::size_t At(kt_long offset) const;
  // The first token of the statement, or of the part of a head, that the token is in.
  std::size_t StatementStart(std::size_t index) const;
  // Behind the bracket that closes the one at `index`, whatever the brackets in between are; behind
  // the token when it is no bracket; Count() when nothing closes it.
  std::size_t BehindGroup(std::size_t index) const;
  // Where the rest of an expression ends: at the next ';' or ',' or at a bracket that closes more
  // than was opened.
  std::size_t ExpressionEnd(std::size_t index) const;
  kt_long StartOf(std::size_t index) const;  // the length of the source for Count()
  // Of the last token that is there before it; 0 for none.
  kt_long EndBefore(std::size_t index) const {
    const std::size_t before = std::min(index, tokens_.size());
    return before > 0 ? tokens_[before - 1].End() : 0;
  }

 private:
  void Cut();
  kt_long Length(kt_long at, Kind& kind) const;
  kt_long SkipComment(kt_long at) const;
  std::size_t BehindHead(std::size_t start, std::size_t index) const;

  std::u16string_view text_;
  std::vector<SourceToken> tokens_;
};

bool IsOneOf(std::u16string_view text, std::initializer_list<std::u16string_view> words);

}  // namespace kt::analysis
