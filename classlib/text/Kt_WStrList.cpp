// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_WStrList.h"

#include <algorithm>
#include <bitset>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/detail/Kt_Blank.h"

namespace {

bool IsQuote(char16_t unit) { return unit == u'"' || unit == u'\''; }
bool IsOpen(char16_t unit) { return unit == u'(' || unit == u'[' || unit == u'{'; }
bool IsClose(char16_t unit) { return unit == u')' || unit == u']' || unit == u'}'; }

// One look-up per unit however many delimiters a script names.
class UnitSet {
 public:
  explicit UnitSet(std::u16string_view units) : single_(units.empty() ? u'\0' : units[0]) {
    many_ = units.size() > 1;
    empty_ = units.empty();
    if (!many_) return;
    kt::detail::InPieces(units.size(), 1, [&](std::size_t first, std::size_t count) {
      for (const char16_t unit : units.substr(first, count)) bits_.set(unit);
      return true;
    });
  }
  bool Has(char16_t unit) const { return many_ ? bits_[unit] : !empty_ && unit == single_; }

 private:
  bool many_;
  bool empty_;
  char16_t single_;
  std::bitset<0x10000> bits_;
};

struct SplitOptions {
  char16_t escape;
  bool multi_dim;
  bool check_quotes;
  bool delete_quotes;
  bool trim;
  bool brackets;
};

// Cuts a text into pieces. A piece is found, trimmed and freed of its quotes as a view into the
// text; only then are the escapes taken out, so an escaped blank or quote at an end survives.
class Splitter {
 public:
  Splitter(std::u16string_view text, std::u16string_view delimiters, const SplitOptions& options)
      : text_(text), delimiters_(delimiters), options_(options) {}

  // Calls add(piece) for each piece until it returns false; returns false then.
  template <class Add>
  bool Run(Add add) {
    for (std::size_t start = 0; start <= text_.size(); start = end_ + 1) {
      FindEnd(start);
      const auto length = static_cast<std::int64_t>(end_ - start);
      if (!charge_.Add(length + kUnitsPerPiece)) return false;
      const bool dropped = !options_.multi_dim && end_ == start;
      if (!dropped && !add(Piece(start))) return false;
    }
    return true;
  }

 private:
  bool IsEscape(std::size_t at) const {
    return options_.escape != u'\0' && text_[at] == options_.escape && at + 1 < text_.size();
  }

  // Sets end_ to the delimiter that ends the piece from `at`, or to the end of the text.
  void FindEnd(std::size_t at) {
    kt_long depth = 0;
    plain_end_ = at;
    for (; at < text_.size(); ++at) {
      const char16_t unit = text_[at];
      if (!kt::detail::GoesOnAt(at)) break;
      if (IsEscape(at)) {
        plain_end_ = ++at + 1;
      } else if (options_.check_quotes && IsQuote(unit)) {
        at = SkipQuoted(at);
      } else if (depth == 0 && delimiters_.Has(unit)) {
        break;
      } else if (options_.brackets) {
        if (IsOpen(unit)) ++depth;
        if (IsClose(unit) && depth > 0) --depth;
      }
    }
    end_ = at;
  }

  // Index of the quote that closes the one at `open`. A quote that is never closed encloses
  // nothing: it is an apostrophe, and stays a plain character. One search to the end of the text
  // settles that for every later quote of its kind.
  std::size_t SkipQuoted(std::size_t open) {
    bool& unclosed = text_[open] == u'"' ? unclosed_double_ : unclosed_single_;
    if (unclosed) return open;
    std::size_t escaped_end = plain_end_;
    for (std::size_t at = open + 1; at < text_.size() && kt::detail::GoesOnAt(at); ++at) {
      if (IsEscape(at)) {
        escaped_end = ++at + 1;
      } else if (text_[at] == text_[open]) {
        plain_end_ = escaped_end;
        return at;
      }
    }
    unclosed = true;
    return open;
  }

  Kt_WString Piece(std::size_t start) {
    std::u16string_view piece = text_.substr(start, end_ - start);
    const std::size_t plain = plain_end_ - start;
    if (options_.trim) piece = Trimmed(piece, std::min(plain, piece.size()));
    if (options_.delete_quotes && IsQuoted(piece)) piece = piece.substr(1, piece.size() - 2);
    return Unescaped(piece);
  }

  // Without the blanks at both ends, but never shorter than the first `plain` units at the right:
  // these end in an escaped unit.
  static std::u16string_view Trimmed(std::u16string_view piece, std::size_t plain) {
    const std::size_t length = std::max(kt::detail::WithoutTrailingBlanks(piece).size(), plain);
    return kt::detail::WithoutLeadingBlanks(piece.substr(0, length));
  }

  // True when the quote at the left end is closed by the one at the right end and no sooner.
  bool IsQuoted(std::u16string_view piece) const {
    if (piece.size() < 2 || !IsQuote(piece[0])) return false;
    std::size_t at = 1;
    while (at < piece.size() && piece[at] != piece[0] && kt::detail::GoesOnAt(at)) {
      at += options_.escape != u'\0' && piece[at] == options_.escape ? 2 : 1;
    }
    return at == piece.size() - 1;
  }

  Kt_WString Unescaped(std::u16string_view piece) const {
    if (options_.escape == u'\0' || kt::detail::FindUnit(piece, options_.escape) == piece.npos)
      return piece;
    Kt_WString out;
    for (std::size_t at = 0; at < piece.size() && kt::detail::GoesOnAt(at, 4); ++at) {
      if (piece[at] == options_.escape && at + 1 < piece.size()) ++at;
      out += piece[at];
    }
    return out;
  }

  std::u16string_view text_;
  UnitSet delimiters_;
  SplitOptions options_;
  static constexpr std::int64_t kUnitsPerPiece = 32;

  kt::detail::RoundCharge charge_;
  bool unclosed_double_ = false;
  bool unclosed_single_ = false;
  std::size_t end_ = 0;
  std::size_t plain_end_ = 0;  // after the last escaped unit of the piece, or its start
};

}  // namespace

const Kt_WString& Kt_WStrList::GetItem(kt_long index) const {
  static const Kt_WString kEmpty;
  return index >= 0 && index < GetCount() ? items_[static_cast<std::size_t>(index)] : kEmpty;
}

kt_long Kt_WStrList::Find(std::u16string_view text) const {
  const auto same = [text](const Kt_WString& item) { return item.View() == text; };
  const auto found = std::find_if(items_.begin(), items_.end(), same);
  return found == items_.end() ? -1 : static_cast<kt_long>(found - items_.begin());
}

kt_long Kt_WStrList::FindNoCase(std::u16string_view text) const {
  const auto same = [text](const Kt_WString& item) { return item.EqualsNoCase(text); };
  const auto found = std::find_if(items_.begin(), items_.end(), same);
  return found == items_.end() ? -1 : static_cast<kt_long>(found - items_.begin());
}

Kt_WString Kt_WStrList::Join(std::u16string_view separator) const {
  Kt_WString out;
  bool fits = true;
  for (std::size_t index = 0; fits && index < items_.size(); ++index) {
    fits = (index == 0 || out.Append(separator)) && out.Append(items_[index]) &&
           kt::detail::GoesOnAt(index, Kt_WorkMeter::kUnitsPerItem);
  }
  return fits ? out : Kt_WString();
}

kt_long Kt_WStrList::Add(const Kt_WString& text) {
  if (GetCount() >= kMaxListItems) return -1;
  items_.push_back(text);
  return GetCount() - 1;
}

void Kt_WStrList::RemoveAt(kt_long index) {
  if (index >= 0 && index < GetCount()) items_.erase(items_.begin() + index);
}

kt_long Kt_WStrList::Parse(std::u16string_view text, std::u16string_view delimiters,
                           char16_t escape, bool multi_dim, bool check_quotes, bool delete_quotes,
                           bool trim, bool brackets) {
  if (text.empty()) return GetCount();
  // The text may belong to an item of this very list.
  const Kt_WString own_text(text);
  const std::size_t old_count = items_.size();
  const SplitOptions options{escape, multi_dim, check_quotes, delete_quotes, trim, brackets};
  Splitter splitter(own_text, delimiters, options);
  try {
    const auto add = [this](const Kt_WString& piece) { return Add(piece) >= 0; };
    if (own_text.View().size() == text.size() && splitter.Run(add)) return GetCount();
  } catch (...) {
    items_.resize(old_count);
    throw;
  }
  items_.resize(old_count);
  return -1;
}
