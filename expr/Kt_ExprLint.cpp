// SPDX-License-Identifier: MIT
//
// How marker-grouping is found: the operation list is run twice over a stack without values, once
// applying pending operators where the evaluator would (markers and closing records), once where
// the precedence table says. Each run notes for every operator which records it is applied to; an
// operator with two different answers is grouped otherwise than it looks.
#include "expr/Kt_ExprLint.h"

#include <algorithm>

#include "classlib/base/Kt_Memory.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"

namespace {

// Lists in lists are examined to this depth. Each level is scanned once for every level around it.
constexpr int kMaxListNesting = 100;
// Longer operands are shown cut.
constexpr std::size_t kMaxShown = 40;

bool IsOperator(std::int16_t code) { return GetOpClass(code) == 3 && !IsOpener(code); }

// The records from the start of an operator's left operand to the end of its right one.
struct Span {
  kt_long first = -1;
  kt_long last = -1;
  bool operator==(const Span&) const = default;
};

enum class Order { kMarkers, kPrecedence };

class Grouper {
 public:
  Grouper(const Kt_ExprOpList& ops, Order order)
      : ops_(ops), order_(order), spans_(static_cast<std::size_t>(ops.GetCount())) {}

  // One span per record, meaningful for operators.
  std::vector<Span> Run() {
    stack_.push_back({0});
    for (kt_long index = 0; index < ops_.GetCount(); ++index) Take(index);
    return std::move(spans_);
  }

 private:
  struct Entry {
    kt_long first;
    kt_long op = -1;  // index of the pending operator or opener after the operand
    bool has_operand = false;
  };

  std::int16_t CodeAt(kt_long index) const { return ops_.GetItem(index)->code; }

  void Take(kt_long index) {
    const std::int16_t code = CodeAt(index);
    if (code == kOpMarker) {
      if (order_ == Order::kMarkers) TakeMarker(index);
      return;
    }
    switch (code) {
      case kOpParenEnd:
      case kOpBracketEnd: CloseGroup(); break;
      case kOpComma:
        while (HasPending()) Apply();
        stack_.back() = {index + 1};
        break;
      case kOpEnd:
        while (HasPending()) Apply();
        break;
      default: GetOpClass(code) == 3 ? Push(index) : TakeOperand(); break;
    }
    last_ = index;
  }

  void TakeOperand() { stack_.back().has_operand = true; }

  // A marker applies one operator, unless the record behind it is an operator that binds tighter
  // than the pending one. An operator that has no operand yet is never applied.
  void TakeMarker(kt_long index) {
    if (!HasPending() || !stack_.back().has_operand) return;
    const std::int16_t next = CodeAt(index + 1);
    if (IsOperator(next) && GetOpPrecedence(next) > GetOpPrecedence(Pending())) return;
    Apply();
  }

  void Push(kt_long index) {
    const std::int16_t code = CodeAt(index);
    if (order_ == Order::kPrecedence && IsOperator(code) && stack_.back().has_operand) {
      while (HasPending() && GetOpPrecedence(Pending()) >= GetOpPrecedence(code)) Apply();
    }
    stack_.back().op = index;
    stack_.push_back({index + 1});
  }

  void CloseGroup() {
    while (HasPending()) Apply();
    if (stack_.size() > 1) PopInto();
  }

  bool HasPending() const { return stack_.size() > 1 && !IsOpener(Pending()); }
  std::int16_t Pending() const { return CodeAt(stack_[stack_.size() - 2].op); }

  void Apply() {
    const Entry& left = stack_[stack_.size() - 2];
    spans_[static_cast<std::size_t>(left.op)] = {left.first, last_};
    PopInto();
  }
  void PopInto() {
    stack_.pop_back();
    stack_.back().op = -1;
    stack_.back().has_operand = true;
  }

  const Kt_ExprOpList& ops_;
  Order order_;
  std::vector<Entry> stack_;
  std::vector<Span> spans_;
  kt_long last_ = -1;  // the last record that is no marker
};

// Where each record of a parsed text stands in it.
struct Place {
  kt_long start = 0;
  kt_long end = 0;
};

std::vector<Place> FindPlaces(std::u16string_view text, const Kt_ExprOpList& ops) {
  std::vector<Place> places(static_cast<std::size_t>(ops.GetCount()));
  const auto length = static_cast<kt_long>(text.size());
  kt_long at = 0;
  const auto take_token = [&] {
    int start = 0;
    int token_length = 0;
    const int next = Kt_ExprUtil::FindToken(text.data() + at, length - at, start, token_length);
    const Place place{at + start, at + start + std::max(token_length, 0)};
    at += std::max(next, 0);
    return place;
  };
  for (kt_long index = 0; index + 1 < ops.GetCount(); ++index) {
    Place& place = places[static_cast<std::size_t>(index)];
    const std::int16_t code = ops.GetItem(index)->code;
    place = code == kOpMarker ? Place{at, at} : take_token();
    if (code == kOpMember || code == kOpMethod) place.end = take_token().end;
  }
  return places;
}

std::u16string_view WithoutBlanks(std::u16string_view text) {
  const auto first = text.find_first_not_of(u" \t\r\n");
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(u" \t\r\n") + 1 - first);
}

class Linter {
 public:
  Linter(const Kt_WString& text, std::vector<Kt_ExprWarning>& out) : text_(text), out_(out) {}

  void Run() {
    const auto first_new = static_cast<std::ptrdiff_t>(out_.size());
    pieces_.push_back({0, text_.View(), 0});
    while (!pieces_.empty()) {
      const Piece piece = pieces_.back();
      pieces_.pop_back();
      LintPiece(piece);
    }
    std::stable_sort(out_.begin() + first_new, out_.end(),
                     [](const auto& a, const auto& b) { return a.offset < b.offset; });
  }

 private:
  struct Piece {
    kt_long offset;
    std::u16string_view text;
    int nesting;  // lists around it
  };
  struct Level {
    bool has_and = false;
    bool has_or = false;
    bool told_mixed = false;
    bool told_grouping = false;
  };

  void LintPiece(Piece piece) {
    const std::u16string_view text = WithoutBlanks(piece.text);
    if (text.empty()) return;
    piece.offset += static_cast<kt_long>(text.data() - piece.text.data());
    piece.text = text;
    if (text.front() == u'[' && text.back() == u']') {
      if (text.size() > 1 && piece.nesting < kMaxListNesting) SplitList(piece);
      return;
    }
    LintTokens(piece);
    Kt_Expr expr;
    Kt_WString error;
    const bool valid =
        Kt_ExprUtil::IsValidExpr(text.data(), static_cast<kt_long>(text.size())) == 0;
    if (!valid) return;
    const kt_long parsed = expr.Parse(Kt_WString(text), error);
    if (parsed == kErrNoMemory) kt::PassMemoryFailure();
    if (parsed >= 0) {
      LintOps(piece, expr.GetOps());
    } else {
      // The parser is stricter than the validator in places: signs after operators, lists inside
      // expressions. A script with such an expression loads, and fails where it runs.
      Warn(u"fails-at-run-time", piece.offset + std::max(expr.GetErrorOffset(), 0),
           Kt_WString(u"this expression fails when it runs: ") + error);
    }
  }

  // Calls `visit` with the offset, first unit and length of every token.
  template <class Visit>
  static void EachToken(std::u16string_view text, Visit visit) {
    const auto length = static_cast<kt_long>(text.size());
    for (kt_long at = 0; at < length;) {
      int start = 0;
      int token_length = 0;
      const int next = Kt_ExprUtil::FindToken(text.data() + at, length - at, start, token_length);
      if (next < 1) return;
      const kt_long offset = at + start;
      visit(offset, text[static_cast<std::size_t>(offset)], token_length);
      at += next;
    }
  }

  void SplitList(const Piece& list) {
    const std::u16string_view inner = list.text.substr(1, list.text.size() - 2);
    int depth = 0;
    kt_long item = 0;
    const auto add = [&](kt_long end) {
      pieces_.push_back(
          {list.offset + 1 + item,
           inner.substr(static_cast<std::size_t>(item), static_cast<std::size_t>(end - item)),
           list.nesting + 1});
    };
    EachToken(inner, [&](kt_long offset, char16_t first, int) {
      if (first == u'(' || first == u'[') ++depth;
      if (first == u')' || first == u']') --depth;
      if (first != u',' || depth > 0) return;
      add(offset);
      item = offset + 1;
    });
    add(static_cast<kt_long>(inner.size()));
  }

  void LintTokens(const Piece& piece) {
    EachToken(piece.text, [&](kt_long offset, char16_t first, int token_length) {
      const auto behind = static_cast<std::size_t>(offset) + 1;
      if (first != u'.' || token_length != 1 || behind >= piece.text.size()) return;
      if (piece.text[behind] != u'9') return;
      Warn(u"dot-nine", piece.offset + offset,
           Kt_WString(u"'.9' is a point and the number 9; write '0.9' for the number"));
    });
  }

  void LintOps(const Piece& piece, const Kt_ExprOpList& ops) {
    const std::vector<Place> places = FindPlaces(piece.text, ops);
    const std::vector<Span> actual = Grouper(ops, Order::kMarkers).Run();
    const std::vector<Span> expected = Grouper(ops, Order::kPrecedence).Run();
    std::vector<Level> levels(1);
    for (kt_long index = 0; index < ops.GetCount(); ++index) {
      const std::int16_t code = ops.GetItem(index)->code;
      const auto at = static_cast<std::size_t>(index);
      if (IsOpener(code)) levels.emplace_back();
      if ((code == kOpParenEnd || code == kOpBracketEnd) && levels.size() > 1) levels.pop_back();
      if (code == kOpComma) levels.back() = {};
      Level& level = levels.back();
      CheckMixed(level, code, piece.offset + places[at].start);
      if (IsOperator(code) && !(actual[at] == expected[at]) && !level.told_grouping) {
        level.told_grouping = true;
        WarnGrouping(piece, places, index, actual[at]);
      }
    }
  }

  void CheckMixed(Level& level, std::int16_t code, kt_long offset) {
    if (code == kOpAnd) level.has_and = true;
    if (code == kOpOr) level.has_or = true;
    if (!level.has_and || !level.has_or || level.told_mixed) return;
    level.told_mixed = true;
    Warn(u"mixed-and-or", offset,
         Kt_WString(u"&& and || are mixed without parentheses; the first operand that decides its "
                    u"operator ends the whole group"));
  }

  void WarnGrouping(const Piece& piece, const std::vector<Place>& places, kt_long op, Span span) {
    const Place& place = places[static_cast<std::size_t>(op)];
    const auto shown = [&](kt_long start, kt_long end) {
      const std::u16string_view part = WithoutBlanks(piece.text.substr(
          static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
      return part.size() <= kMaxShown ? Kt_WString(part)
                                      : Kt_WString(part.substr(0, kMaxShown)) + u"...";
    };
    const auto start_of = [&](kt_long index) { return places[static_cast<std::size_t>(index)]; };
    const Kt_WString left = shown(start_of(span.first).start, place.start);
    Kt_WString text(u"not grouped by precedence: this is ");
    if (!left.IsEmpty()) text = text + u"(" + left + u") ";
    text += shown(place.start, place.end);
    text = text + u" (" + shown(place.end, start_of(span.last).end) + u"); use parentheses";
    Warn(u"marker-grouping", piece.offset + place.start, text);
  }

  void Warn(const char16_t* name, kt_long offset, const Kt_WString& text) {
    out_.push_back({name, offset, text});
  }

  const Kt_WString& text_;
  std::vector<Kt_ExprWarning>& out_;
  std::vector<Piece> pieces_;
};

}  // namespace

void FindExprWarnings(const Kt_WString& text, std::vector<Kt_ExprWarning>& out) {
  Linter(text, out).Run();
}
