// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

// Tells whether what has been typed so far can be run or goes on in the next line: while a bracket,
// a text or a block comment is open, and after the head of a function, loop or condition whose
// body has not begun. It looks at each character once, however many lines an input has.
//
//   Kt_CliInputScan scan;
//   do scan.Feed(NextLine()); while (scan.IsOpen());
//
// It judges length, not correctness: wrong brackets end an input, so that the parser can complain.
class Kt_CliInputScan {
 public:
  // One line without its line end.
  void Feed(std::u16string_view line);
  bool IsOpen() const {
    return quote_ != 0 || in_comment_ || depth_ > 0 || wanted_ != Wanted::kNone;
  }

 private:
  // What must come outside of brackets before the input can end.
  enum class Wanted {
    kNone,
    kName,  // of a function
    kHead,  // in parentheses
    kBody,  // a block or a statement
  };

  // Each returns how many units of `rest` it has dealt with.
  std::size_t PassText(std::u16string_view rest);
  std::size_t PassComment(std::u16string_view rest);
  std::size_t PassUnit(std::u16string_view rest);
  std::size_t PassWord(std::u16string_view rest);
  void OnBracket(char16_t unit);

  std::size_t depth_ = 0;
  char16_t quote_ = 0;  // the one that is open
  bool in_comment_ = false;
  Wanted wanted_ = Wanted::kNone;
};
