// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/Kt_WString.h"

namespace kt::cli::lsp {

// As editors count: from 0, a character is a UTF-16 unit.
struct Position {
  kt_long line = 0;
  kt_long character = 0;
};

// A part of a text, [start, end).
struct Range {
  kt_long start = 0;
  kt_long end = 0;
  bool Touches(kt_long at) const { return start <= at && at <= end; }
};

// A text whose lines are known. Lines end with \n, \r\n or \r.
class SourceText {
 public:
  SourceText() : SourceText(Kt_WString()) {}
  explicit SourceText(Kt_WString text);

  const Kt_WString& Text() const { return text_; }
  std::u16string_view View() const { return text_.View(); }
  std::u16string_view View(Range range) const {
    return View().substr(static_cast<std::size_t>(range.start),
                         static_cast<std::size_t>(range.end - range.start));
  }
  kt_long Size() const { return text_.GetLength(); }

  kt_long LineCount() const { return static_cast<kt_long>(line_starts_.size()); }
  kt_long LineOf(kt_long offset) const;
  // Of a line that is there; without its end.
  Range LineRange(kt_long line) const;
  Position PositionOf(kt_long offset) const;
  // The nearest place that there is: a character beyond the end of a line is its end.
  kt_long OffsetOf(Position position) const;

  // False when the result would be longer than a text can be, and nothing has changed.
  bool Replace(Range range, std::u16string_view by);

 private:
  void FindLines();

  Kt_WString text_;
  std::vector<kt_long> line_starts_;
};

}  // namespace kt::cli::lsp
