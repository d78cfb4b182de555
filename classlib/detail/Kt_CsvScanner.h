// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kt::detail {

// Cuts CSV text into rows of cells. Cells are views into the text; nothing is copied until a cell
// with doubled quotes is asked for its content.
//
// A row that breaks the rules about quotes is given as bad and the scanner goes on with the next
// line, so that one stray quote costs one row. After a quote that is never closed it goes on behind
// the line in which it was opened. That reads the rest of the text a second time, but never a
// third: all quotes behind the unclosed one come in pairs, and so no later one can stay open.
template <class Unit>
class CsvScanner {
 public:
  using View = std::basic_string_view<Unit>;
  struct Cell {
    View text;  // without the outer quotes
    bool quoted = false;
    bool doubled = false;  // quotes in the text are written twice

    bool IsNull() const { return text.empty() && !quoted; }
    // The content; `buffer` is used when quotes have to be undoubled.
    View Content(std::basic_string<Unit>& buffer) const {
      if (!doubled) return text;
      buffer.clear();
      for (std::size_t at = 0; at < text.size(); ++at) {
        buffer += text[at];
        if (text[at] == '"') ++at;
      }
      return buffer;
    }
  };
  enum class Row : std::uint8_t { kGood, kBad, kEnd };

  CsvScanner(View text, Unit separator) : at_(text.data()), end_(at_ + text.size()) {
    separator_ = separator;
    stops_.fill(false);
    if (static_cast<std::size_t>(separator) < stops_.size()) {
      stops_[static_cast<std::size_t>(separator)] = true;
    }
    for (const char stop : {'\n', '\r', '"'}) stops_[static_cast<std::size_t>(stop)] = true;
  }

  // The next row; `cells` is filled for a good one. Empty lines are rows with one null cell.
  Row Next(std::vector<Cell>& cells) {
    cells.clear();
    if (at_ == end_) return Row::kEnd;
    line_ = next_line_;
    row_start_ = at_;
    for (;;) {
      Cell& cell = cells.emplace_back();
      if (at_ != end_ && *at_ == '"') {
        if (!Quoted(cell)) return Row::kBad;
      } else if (!Plain(cell)) {
        return Row::kBad;
      }
      if (at_ == end_) return Row::kGood;
      if (*at_ != separator_) {
        SkipLineEnd();
        return Row::kGood;
      }
      ++at_;
    }
  }

  std::int64_t Line() const { return line_; }  // in which the last row begins
  const char16_t* Reason() const { return reason_; }
  void SetReason(const char16_t* reason) { reason_ = reason; }

 private:
  bool IsStop(Unit unit) const {
    const auto code = static_cast<std::make_unsigned_t<Unit>>(unit);
    return code < stops_.size() ? stops_[code] : unit == separator_;
  }

  bool Plain(Cell& cell) {
    const Unit* const start = at_;
    while (at_ != end_ && !IsStop(*at_)) ++at_;
    cell.text = View(start, static_cast<std::size_t>(at_ - start));
    if (at_ == end_ || *at_ != '"') return true;
    return Bad(u"quote inside a cell without quotes");
  }

  bool Quoted(Cell& cell) {
    const Unit* const start = ++at_;
    cell.quoted = true;
    std::int64_t lines = 0;
    for (;; ++at_) {
      while (at_ != end_ && *at_ != '"' && *at_ != '\n' && *at_ != '\r') ++at_;
      if (at_ == end_) return Unclosed();
      if (*at_ == '\r') {
        lines += at_ + 1 == end_ || at_[1] != '\n' ? 1 : 0;
      } else if (*at_ == '\n') {
        ++lines;
      } else if (at_ + 1 != end_ && at_[1] == '"') {
        cell.doubled = true;
        ++at_;
      } else {
        break;
      }
    }
    next_line_ += lines;
    cell.text = View(start, static_cast<std::size_t>(at_ - start));
    ++at_;
    if (at_ == end_ || *at_ == separator_ || *at_ == '\n' || *at_ == '\r') return true;
    return Bad(u"text after a closing quote");
  }

  bool Bad(const char16_t* reason) {
    reason_ = reason;
    while (at_ != end_ && *at_ != '\n' && *at_ != '\r') ++at_;
    SkipLineEnd();
    return false;
  }

  bool Unclosed() {
    at_ = row_start_;
    next_line_ = line_;
    return Bad(u"quote that is never closed");
  }

  void SkipLineEnd() {
    if (at_ == end_) return;
    if (*at_++ == '\r' && at_ != end_ && *at_ == '\n') ++at_;
    ++next_line_;
  }

  const Unit* at_;
  const Unit* end_;
  const Unit* row_start_ = nullptr;
  Unit separator_;
  std::array<bool, 128> stops_;
  std::int64_t line_ = 1;
  std::int64_t next_line_ = 1;
  const char16_t* reason_ = u"";
};

}  // namespace kt::detail
