// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "analysis/Kt_Finding.h"

namespace kt::analysis {

// A word or an operator of other languages, and what is written here.
struct Foreign {
  enum class Shape : std::uint8_t {
    kAny,
    kWord,  // only a word: what follows it is a statement by itself
    kTry,   // a part of a statement of several blocks
  };
  std::u16string_view text;
  FindingCode cause;
  std::u16string_view hint;
  std::u16string_view cure;  // what it becomes; empty: that takes more than another word
  Shape shape = Shape::kAny;
};

// Each knows one kind, in any case; null when there is none.
const Foreign* FindType(std::u16string_view text);          // before the name of a variable
const Foreign* FindStatement(std::u16string_view text);     // at the beginning of a statement
const Foreign* FindWordOperator(std::u16string_view text);  // a word before or between values
const Foreign* FindMark(std::u16string_view text);          // an operator
// Names that nobody knows here.
const Foreign* FindValueName(std::u16string_view text);
const Foreign* FindFunctionName(std::u16string_view text);

// Says of an unknown name what is written here.
void Suggest(const Foreign& row, Finding& finding);

}  // namespace kt::analysis
