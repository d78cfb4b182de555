// SPDX-License-Identifier: MIT
#include "cli/fmt/Kt_Flow.h"

#include <algorithm>

#include "cli/Kt_Text.h"

namespace kt::cli {
namespace {

constexpr int kContinuationIndent = 4;

// The columns of a text of one line.
int WidthOf(std::u16string_view text) {
  const bool is_ascii =
      std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
  return is_ascii ? static_cast<int>(text.size()) : DisplayWidth(text);
}

// The column behind `text`. False when a line of it passes `width`; texts may hold line breaks.
bool Advance(std::u16string_view text, int width, int& column) {
  bool fits = true;
  for (std::size_t at = 0;;) {
    const std::size_t end = std::min(text.find(u'\n', at), text.size());
    column += WidthOf(text.substr(at, end - at));
    fits = fits && column <= width;
    if (end == text.size()) return fits;
    column = 0;
    at = end + 1;
  }
}

}  // namespace

void Flow::FlushComments() {
  for (std::size_t at = 0; at < waiting_.size(); ++at) {
    // Nothing can follow a comment that goes to the end of its line.
    if (at > 0) out_.append(1, u'\n').append(static_cast<std::size_t>(indent_), u' ');
    if (at == 0) out_ += u' ';
    out_ += waiting_[at];
  }
  waiting_.clear();
}

void Flow::BreakLine(int indent) {
  out_.append(1, u'\n').append(static_cast<std::size_t>(indent), u' ');
  column_ = indent;
}

void Flow::NewLine(int indent, bool after_blank) {
  FlushComments();
  if (after_blank && !out_.empty()) out_ += u'\n';
  if (!out_.empty()) out_ += u'\n';
  out_.append(static_cast<std::size_t>(indent), u' ');
  column_ = indent_ = indent;
}

void Flow::Write(std::u16string_view text) {
  (void)Advance(text, width_, column_);
  out_ += text;
}

void Flow::WriteAtLineEnd(std::u16string_view comment) { waiting_.emplace_back(comment); }

bool Flow::HasRoom(std::u16string_view text) const {
  int column = column_;
  return waiting_.empty() && Advance(text, width_, column);
}

// Where the next line begins: where breaking costs least among what fits, and there at the end. A
// line that is too long whatever is done ends at the first place.
std::size_t Flow::LineEnd(const std::vector<LinePart>& pieces, std::size_t from) const {
  int column = column_;
  bool fits = true;
  std::size_t best = pieces.size();
  for (std::size_t at = from; at < pieces.size(); ++at) {
    const LinePart& piece = pieces[at];
    if (at > from && piece.break_cost >= 0) {
      const bool is_first = best == pieces.size();
      if (is_first || piece.break_cost <= pieces[best].break_cost) best = at;
    }
    if (piece.has_blank && at > from) ++column;
    fits = Advance(piece.text, width_, column) && fits;
    if (!fits && best != pieces.size()) return best;
  }
  return pieces.size();
}

void Flow::Write(const std::vector<LinePart>& pieces, int indent) {
  for (std::size_t at = 0; at < pieces.size();) {
    if (at > 0) BreakLine(indent + kContinuationIndent);
    const std::size_t end = LineEnd(pieces, at);
    for (const std::size_t first = at; at < end; ++at) {
      if (pieces[at].has_blank && at > first) Write(u" ");
      Write(pieces[at].text);
    }
  }
}

std::u16string Flow::Take() {
  FlushComments();
  if (!out_.empty()) out_ += u'\n';
  column_ = 0;
  return std::move(out_);
}

}  // namespace kt::cli
