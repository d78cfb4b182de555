// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

// The rules of CSV read slowly, as an oracle: record by record, each from its first line, without a
// thought for speed.
class PlainCsv {
 public:
  struct Cell {
    std::u16string text;
    bool quoted = false;
    bool IsNull() const { return text.empty() && !quoted; }
  };
  struct Record {
    bool good = true;
    std::vector<Cell> cells;
    std::u16string_view text;  // without its line end
    long line = 1;
    bool IsEmpty() const { return good && cells.size() == 1 && cells[0].IsNull(); }
  };

  // A quote or a comment of 0: there is none.
  PlainCsv(std::u16string_view text, char16_t separator, char16_t quote = u'"',
           char16_t comment = 0)
      : text_(text), separator_(separator), quote_(quote), comment_(comment) {}

  void SkipLine() { PassLine(); }

  bool Next(Record& record) {
    while (comment_ != 0 && at_ < text_.size() && text_[at_] == comment_) PassLine();
    record = {};
    record.line = line_;
    if (at_ == text_.size()) return false;
    const std::size_t start = at_;
    record.good = ReadCells(record.cells);
    if (!record.good) {
      at_ = start;
      while (!IsEnd()) ++at_;
    }
    record.text = text_.substr(start, at_ - start);
    at_ = start + record.text.size();
    for (std::size_t unit = 0; unit < record.text.size(); ++unit) {
      line_ += EndsLine(record.text, unit) ? 1 : 0;
    }
    PassLine();
    return true;
  }

 private:
  static bool EndsLine(std::u16string_view text, std::size_t at) {
    return text[at] == u'\n' ||
           (text[at] == u'\r' && (at + 1 == text.size() || text[at + 1] != u'\n'));
  }
  bool IsEnd() const { return at_ >= text_.size() || text_[at_] == u'\n' || text_[at_] == u'\r'; }
  bool Is(char16_t unit) const { return at_ < text_.size() && text_[at_] == unit; }
  bool IsQuote() const { return quote_ != 0 && Is(quote_); }

  void PassLine() {
    while (!IsEnd()) ++at_;
    if (at_ == text_.size()) return;
    const bool is_cr = text_[at_++] == u'\r';
    if (is_cr && Is(u'\n')) ++at_;
    ++line_;
  }

  bool ReadCells(std::vector<Cell>& cells) {
    for (;;) {
      Cell& cell = cells.emplace_back();
      if (IsQuote()) {
        if (!ReadQuoted(cell)) return false;
      } else {
        while (!IsEnd() && !Is(separator_) && !IsQuote()) cell.text += text_[at_++];
        if (IsQuote()) return false;
      }
      if (!Is(separator_)) return IsEnd();
      ++at_;
    }
  }

  // False when the quote is never closed.
  bool ReadQuoted(Cell& cell) {
    cell.quoted = true;
    for (++at_; at_ < text_.size(); cell.text += text_[at_++]) {
      if (text_[at_] != quote_) continue;
      ++at_;
      if (!IsQuote()) return true;
    }
    return false;
  }

  std::u16string_view text_;
  char16_t separator_;
  char16_t quote_;
  char16_t comment_;
  std::size_t at_ = 0;
  long line_ = 1;
};
