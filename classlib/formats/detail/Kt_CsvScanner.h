// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/formats/detail/Kt_StopMask.h"

namespace kt::detail {

template <class Unit>
struct CsvFormat {
  Unit separator = ',';
  Unit quote = '"';  // 0: cells have no quotes
  Unit comment = 0;  // 0: there are no comments
};

// Cuts CSV text into records of cells. Cells are views into the text; nothing is copied until a
// cell with doubled quotes is asked for its content.
//
// A record is a line, or several when a quoted cell has line ends in it. Where quotes break the
// rules, the line in which the record began is a bad record of its own and the next one begins with
// the line after it, however far the quotes reached: one stray quote costs one line, and every line
// belongs to exactly one record. Lines of comments, which begin with the sign where a record
// begins, belong to none.
//
// No text is read more than three times, whatever its quotes are. Say that a record runs from line
// i to line j and breaks there. Then it is inside quotes at the end of the lines i to j-1, so each
// of the lines i+1 to j-1 has an even number of quotes. A record that begins with one of those is
// outside of quotes at the end of that line and ends there. So each of them is read by itself once
// more, and only the record of line j can run on. A bad record reads its own line once more.
template <class Unit>
class CsvScanner {
 public:
  using View = std::basic_string_view<Unit>;
  using Buffer = std::basic_string<Unit, std::char_traits<Unit>, CountedAllocator<Unit>>;
  struct Cell {
    View text;  // without the outer quotes
    bool quoted = false;
    bool doubled = false;  // quotes in the text are written twice

    bool IsNull() const { return text.empty() && !quoted; }
    // The content; `buffer` is used when quotes have to be undoubled.
    View Content(Unit quote, Buffer& buffer) const {
      if (!doubled) return text;
      buffer.clear();
      for (std::size_t at = 0; at < text.size(); ++at) {
        buffer += text[at];
        if (text[at] == quote) ++at;
      }
      return buffer;
    }
  };
  using Cells = CountedVector<Cell>;
  enum class Row : std::uint8_t { kGood, kBad, kEnd };

  CsvScanner(View text, const CsvFormat<Unit>& format)
      : at_(text.data()),
        end_(at_ + text.size()),
        block_(at_),
        block_end_(at_),
        format_(format),
        // Without quotes a NUL is a character like any other.
        stops_({Unit{'\n'}, Unit{'\r'}, format.separator,
                format.quote != 0 ? format.quote : format.separator}) {}

  void SkipLines(std::int64_t count) {
    for (; count > 0 && at_ != end_; --count) SkipLine();
  }

  // The next record; `cells` is filled for a good one. Empty lines are records with one null cell.
  Row Next(Cells& cells) {
    cells.clear();
    while (format_.comment != 0 && at_ != end_ && *at_ == format_.comment) SkipLine();
    record_ = at_;
    if (at_ == end_) return Row::kEnd;
    line_ = next_line_;
    for (;;) {
      Cell& cell = cells.emplace_back();
      if (IsQuoteAt(at_)) {
        if (!Quoted(cell)) return Row::kBad;
      } else if (!Plain(cell)) {
        return Row::kBad;
      }
      if (at_ == end_ || *at_ != format_.separator) {
        record_end_ = at_;
        has_line_ends_ = next_line_ > line_;
        SkipLineEnd();
        return Row::kGood;
      }
      ++at_;
    }
  }

  std::int64_t Line() const { return line_; }          // in which the last record begins
  bool HasLineEnds() const { return has_line_ends_; }  // inside the cells of the last record
  // The last record as it stands, without its line end.
  View Text() const { return {record_, static_cast<std::size_t>(record_end_ - record_)}; }
  // What comes after it.
  View Rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }
  const char16_t* Reason() const { return reason_; }

 private:
  bool IsQuoteAt(const Unit* at) const {
    return at != end_ && *at == format_.quote && format_.quote != 0;
  }
  static bool IsLineEnd(Unit unit) { return unit == '\n' || unit == '\r'; }

  // Goes on to the first stop, at_ itself included, that `ends` accepts, or to the end. Long ways
  // and the parts of long records are charged on the way; the caller charges by the record.
  template <class Ends>
  void Pass(Ends ends) {
    constexpr std::uint32_t kParts = 4096;
    if (KT_UNLIKELY(++parts_ % kParts == 0)) ChargeOrLeave(kParts * Kt_WorkMeter::kUnitsPerCell);
    for (const Unit* charged = at_;;) {
      ToStop();
      if (at_ == end_ || ends(*at_)) return;
      ++at_;
      if (KT_LIKELY(at_ - charged < static_cast<std::ptrdiff_t>(kPieceUnits))) continue;
      ChargeOrLeave(static_cast<std::int64_t>(kPieceUnits));
      charged = at_;
    }
  }

  // Goes on to the first stop, at_ itself included, or to the end.
  void ToStop() {
    std::size_t passed = 0;
    for (;;) {
      if (at_ >= block_end_) {
        if (at_ == end_) return;
        LoadBlock();
        passed += StopMask<Unit>::kUnits;
        if (KT_UNLIKELY(passed % kPieceUnits == 0)) ChargeOrLeave(kPieceUnits);
      }
      const std::uint64_t left = stops_in_block_ >> (at_ - block_);
      if (left != 0) {
        at_ += std::countr_zero(left);
        return;
      }
      at_ = block_end_;
    }
  }

  // The block that begins here. The last one may be short, and nothing after the text is read.
  void LoadBlock() {
    constexpr std::size_t kUnits = StopMask<Unit>::kUnits;
    const auto left = static_cast<std::size_t>(end_ - at_);
    block_ = at_;
    block_end_ = at_ + std::min(left, kUnits);
    if (KT_LIKELY(left >= kUnits)) {
      stops_in_block_ = stops_.Of(at_);
      return;
    }
    Unit units[kUnits] = {};
    std::copy(at_, end_, units);
    stops_in_block_ = stops_.Of(units) & ((std::uint64_t{1} << left) - 1);
  }

  bool Plain(Cell& cell) {
    const Unit* const start = at_;
    Pass([](Unit) { return true; });
    cell.text = View(start, static_cast<std::size_t>(at_ - start));
    return !IsQuoteAt(at_) || Bad(u"quote inside a cell without quotes");
  }

  bool Quoted(Cell& cell) {
    const Unit quote = format_.quote;
    const Unit* const start = ++at_;
    cell.quoted = true;
    for (;; ++at_) {
      Pass([quote](Unit unit) { return unit == quote || IsLineEnd(unit); });
      if (at_ == end_) return Bad(u"quote that is never closed");
      if (*at_ == '\r') {
        next_line_ += at_ + 1 == end_ || at_[1] != '\n' ? 1 : 0;
      } else if (*at_ == '\n') {
        ++next_line_;
      } else if (at_ + 1 != end_ && at_[1] == quote) {
        cell.doubled = true;
        ++at_;
      } else {
        break;
      }
    }
    cell.text = View(start, static_cast<std::size_t>(at_ - start));
    ++at_;
    if (at_ == end_ || *at_ == format_.separator || IsLineEnd(*at_)) return true;
    return Bad(u"text after a closing quote");
  }

  // The record is its first line.
  bool Bad(const char16_t* reason) {
    reason_ = reason;
    at_ = block_end_ = record_;
    next_line_ = line_;
    Pass(IsLineEnd);
    record_end_ = at_;
    has_line_ends_ = false;
    SkipLineEnd();
    return false;
  }

  void SkipLine() {
    Pass(IsLineEnd);
    SkipLineEnd();
  }

  void SkipLineEnd() {
    if (at_ == end_) return;
    if (*at_++ == '\r' && at_ != end_ && *at_ == '\n') ++at_;
    ++next_line_;
  }

  const Unit* at_;
  const Unit* end_;
  const Unit* block_;  // whose stops are known, up to block_end_; at_ is not before it
  const Unit* block_end_;
  std::uint64_t stops_in_block_ = 0;
  const Unit* record_ = nullptr;
  const Unit* record_end_ = nullptr;
  CsvFormat<Unit> format_;
  StopMask<Unit> stops_;
  std::int64_t line_ = 1;
  std::int64_t next_line_ = 1;
  std::uint32_t parts_ = 0;  // cells, and pieces of quoted ones
  bool has_line_ends_ = false;
  const char16_t* reason_ = u"";
};

}  // namespace kt::detail
