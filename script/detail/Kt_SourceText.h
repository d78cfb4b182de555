// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "classlib/text/Kt_WString.h"

// Script text as the parser sees it: a source, the lines in it, and slices that know where in the
// source they come from.
namespace kt::detail {

// Where the lines of a text start. Borrows the text. Threads: one thread at a time (look-ups
// remember their place).
class LineTable {
 public:
  // `base` is the number of the first line.
  LineTable(std::u16string_view text, kt_long base);

  // The line that has the unit at `offset`. Fast when asked in source order.
  kt_long LineOf(kt_long offset) const;
  // From 1.
  kt_long ColumnOf(kt_long offset) const { return offset - starts_[IndexOf(offset)] + 1; }
  // Where the line ends that has the unit at `offset`, before its line break.
  kt_long LineEnd(kt_long offset) const;

 private:
  std::size_t IndexOf(kt_long offset) const;

  std::u16string_view text_;
  kt_long base_;
  std::vector<kt_long> starts_;   // starts_[0] == 0, ascending
  mutable std::size_t last_ = 0;  // answer of the last look-up
};

// A run of units: part of the source, or of a copy from which comments were removed.
struct Slice {
  const char16_t* text = u"";
  kt_long length = 0;
  kt_long offset = 0;                // of text[0] in the source, when `sources` is null
  const kt_long* sources = nullptr;  // of each unit in the source

  std::u16string_view View() const { return {text, static_cast<std::size_t>(length)}; }
  Kt_WString Text() const { return Kt_WString(text, length); }
  bool IsEmpty() const { return length == 0; }
  Slice Part(kt_long start, kt_long count) const {
    return {text + start, count, offset + start, sources != nullptr ? sources + start : nullptr};
  }
  // From `start` to the end.
  Slice From(kt_long start) const { return Part(start, length - start); }
  // Without the blanks at both ends.
  Slice Trimmed() const;
  // Where the unit at `at` stands in the source; `at` may be the length.
  kt_long SourceOf(kt_long at) const;
};

}  // namespace kt::detail
