// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kt::cli {

// A part of a statement that is never broken, and what may stand in front of it.
struct LinePart {
  std::u16string text;
  bool has_blank = false;
  int break_cost = 0;  // of a new line in front of it; below 0: there is none
};

inline constexpr int kNoBreak = -1;

// Writes lines of a width that is kept where pieces allow it.
//
// Comments that stand where no line can end wait until the line that is being written ends.
// Threads: one.
class Flow {
 public:
  explicit Flow(int width) : width_(width) {}

  // Begins a line, with an empty one in front of it when `after_blank`.
  void NewLine(int indent, bool after_blank = false);
  // On the line at hand; a statement that does not fit goes on in lines that are indented further.
  void Write(const std::vector<LinePart>& pieces, int indent);
  void Write(std::u16string_view text);
  bool IsEmpty() const { return out_.empty(); }
  // Whether so much text still fits on the line at hand.
  bool HasRoom(std::u16string_view text) const;
  // Behind what is on the line at hand, when that ends.
  void WriteAtLineEnd(std::u16string_view comment);
  // Writes the comments that wait and a last line break.
  std::u16string Take();

 private:
  void FlushComments();
  void BreakLine(int indent);
  std::size_t LineEnd(const std::vector<LinePart>& pieces, std::size_t from) const;

  int width_;
  int column_ = 0;
  int indent_ = 0;
  std::u16string out_;
  std::vector<std::u16string> waiting_;
};

}  // namespace kt::cli
