// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "cli/lsp/Kt_SourceText.h"

namespace kt::cli::lsp {

// The tokens of a script that may be wrong anywhere: what the parser cannot say of a text that is
// being typed.
struct Token {
  enum class Kind : std::uint8_t { kWord, kNumber, kLiteral, kComment, kMark };

  Kind kind = Kind::kMark;
  Range range;
};

// All of the text. A literal without an end ends with its line, a comment with the text.
std::vector<Token> ScanTokens(std::u16string_view text);

// Whether a word is one of the language (if, var, true, and ...), in any case.
bool IsKeyword(std::u16string_view word);

// Questions about places among the tokens. Borrows both.
class TokenView {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  TokenView(std::u16string_view text, const std::vector<Token>& tokens)
      : text_(text), tokens_(tokens) {}

  const Token& At(std::size_t token) const { return tokens_[token]; }
  std::u16string_view TextOf(std::size_t token) const;
  bool IsMark(std::size_t token, char16_t mark) const;
  bool IsWord(std::size_t token) const;

  // How many tokens begin before `offset`.
  std::size_t CountBefore(kt_long offset) const;
  // The word or number that the offset is in or at the end of; kNone for none.
  std::size_t WordAt(kt_long offset) const;
  // The literal or comment that the offset is inside of.
  std::size_t TextAround(kt_long offset) const;
  // The token before or after that is no comment.
  std::size_t Before(std::size_t token) const;
  std::size_t After(std::size_t token) const;

  // A call whose parentheses are open in front of a token.
  struct Call {
    std::size_t name;
    int argument;
  };
  std::optional<Call> FindCall(std::size_t token) const;

  // What stands in front of a member and its point.
  struct Owner {
    std::size_t name = kNone;  // kNone: something without a name
    bool is_element = false;   // name[...]
    bool is_result = false;    // name(...)
  };
  // Nothing when no point stands in front of `token`.
  std::optional<Owner> FindOwner(std::size_t token) const;

 private:
  // The bracket that opens what the one at `token` closes.
  std::size_t FindOpening(std::size_t token) const;

  std::u16string_view text_;
  const std::vector<Token>& tokens_;
};

}  // namespace kt::cli::lsp
