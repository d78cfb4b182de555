// SPDX-License-Identifier: MIT
#include "cli/fmt/Kt_ExprPieces.h"

#include <algorithm>

#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprProgram.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::cli {
namespace {

constexpr int kMaxListDepth = 200;

// What a new line in front of an operator costs, from the loosest one on.
enum Cost { kComma, kLogical, kComparison, kSum, kProduct };

bool SameOps(const Kt_ExprOpList& a, const Kt_ExprOpList& b) {
  if (a.GetCount() != b.GetCount()) return false;
  for (kt_long at = 0; at < a.GetCount(); ++at) {
    const Kt_ExprOp& left = *a.GetItem(at);
    const Kt_ExprOp& right = *b.GetItem(at);
    if (left.code != right.code || left.arg != right.arg) return false;
    if (left.code == kOpInteger && left.GetInteger() != right.GetInteger()) return false;
    if (left.code == kOpDecimal && left.number.bits != right.number.bits) return false;
    if (left.text != right.text) return false;
  }
  return true;
}

// Whether texts that are the same but cannot be parsed count as the same expression.
enum class Faulty : bool { kDiffer, kCompare };

bool SameTexts(const Kt_WString& a, const Kt_WString& b, Faulty faulty, int depth);

// As it was written: a list loses its brackets when it is parsed.
Kt_WString SourceOf(const Kt_Expr& expr) {
  if (expr.GetState() != kStateList) return expr.GetText();
  return Kt_WString(u"[") + expr.GetText() + u"]";
}

bool SameLists(const Kt_Expr& a, const Kt_Expr& b, Faulty faulty, int depth) {
  std::vector<Kt_Expr> left;
  std::vector<Kt_Expr> right;
  if (!kt::SplitListExpr(a, left) || !kt::SplitListExpr(b, right)) return false;
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [&](const Kt_Expr& x, const Kt_Expr& y) {
                      return SameTexts(x.GetText(), y.GetText(), faulty, depth + 1);
                    });
}

bool SameTexts(const Kt_WString& a, const Kt_WString& b, Faulty faulty, int depth) {
  if (a == b && (faulty == Faulty::kCompare || a.IsEmpty())) return true;
  if (a.IsEmpty() || b.IsEmpty() || depth > kMaxListDepth) return false;
  Kt_Expr left;
  Kt_Expr right;
  Kt_WString ignored;
  const kt_long state = left.Parse(a, ignored);
  if (state < 0) return false;
  if (a == b) return state != kStateList || SameLists(left, left, faulty, depth);
  if (right.Parse(b, ignored) != state) return false;
  if (state == kStateList) return SameLists(left, right, faulty, depth);
  return SameOps(left.GetOps(), right.GetOps());
}

bool EqualsNoCase(std::u16string_view text, std::u16string_view lower) {
  return text.size() == lower.size() &&
         std::equal(text.begin(), text.end(), lower.begin(),
                    [](char16_t a, char16_t b) { return (a | 0x20) == b; });
}

class ExprTokens {
 public:
  ExprTokens(int cost, std::vector<LinePart>& pieces) : base_(cost), pieces_(pieces) {}

  void Add(std::u16string_view token);

 private:
  void AddOperand(std::u16string_view token);
  void AddOpening(std::u16string_view token);
  void AddOperator(std::u16string_view token, int cost);
  void AddSign(std::u16string_view token);
  void Append(std::u16string_view token, bool has_blank, int cost) {
    pieces_.push_back({std::u16string(token), has_blank, cost});
  }
  int CostOf(Cost cost) const { return base_ + depth_ * kCostOfDepth + cost; }

  int base_;
  std::vector<LinePart>& pieces_;
  int depth_ = 0;
  bool behind_value_ = false;  // a name, a value or a closing bracket stands in front
  bool wants_blank_ = false;
  int break_cost_ = kNoBreak;
};

void ExprTokens::AddOperand(std::u16string_view token) {
  Append(token, wants_blank_ || behind_value_, break_cost_);
  wants_blank_ = false;
  break_cost_ = kNoBreak;
}

void ExprTokens::AddOpening(std::u16string_view token) {
  Append(token, wants_blank_ && !behind_value_, behind_value_ ? kNoBreak : break_cost_);
  wants_blank_ = false;
  behind_value_ = false;
  break_cost_ = kNoBreak;
  ++depth_;
}

// The operator stands in front of the operand in the new line.
void ExprTokens::AddOperator(std::u16string_view token, int cost) {
  Append(token, true, cost);
  wants_blank_ = true;
  behind_value_ = false;
  break_cost_ = kNoBreak;
}

// A sign, a `!` or a step: it belongs to the operand behind it, or in front of it.
void ExprTokens::AddSign(std::u16string_view token) {
  Append(token, wants_blank_, behind_value_ ? kNoBreak : break_cost_);
  wants_blank_ = false;
  break_cost_ = kNoBreak;
}

void ExprTokens::Add(std::u16string_view token) {
  const char16_t first = token[0];
  if (first == u'(' || first == u'[') return AddOpening(token);
  if (first == u')' || first == u']') {
    depth_ = std::max(depth_ - 1, 0);
    Append(token, false, kNoBreak);
    wants_blank_ = false;
    behind_value_ = true;
    return;
  }
  if (first == u',') {
    Append(token, false, kNoBreak);
    wants_blank_ = true;
    behind_value_ = false;
    break_cost_ = CostOf(kComma);
    return;
  }
  if (token == u".") {
    Append(token, false, kNoBreak);
    wants_blank_ = false;
    behind_value_ = false;
    return;
  }
  if (token == u"++" || token == u"--") return AddSign(token);
  if (behind_value_) {
    if (EqualsNoCase(token, u"and") || EqualsNoCase(token, u"or") || token == u"&&" ||
        token == u"||") {
      return AddOperator(token, CostOf(kLogical));
    }
    if (first == u'+' || first == u'-') return AddOperator(token, CostOf(kSum));
    if (first == u'*' || first == u'/' || first == u'%') {
      return AddOperator(token, CostOf(kProduct));
    }
    if (first == u'=' || first == u'<' || first == u'>' || token == u"!=") {
      return AddOperator(token, CostOf(kComparison));
    }
  } else if (first == u'!' || first == u'+' || first == u'-') {
    return AddSign(token);
  }
  AddOperand(token);
  behind_value_ = true;
}

// False when the text is not made of tokens up to its end.
bool AppendTokens(const Kt_WString& text, int cost, std::vector<LinePart>& pieces) {
  ExprTokens tokens(cost, pieces);
  const char16_t* const units = text.GetText();
  const kt_long length = text.GetLength();
  for (kt_long at = 0; at < length;) {
    int start = 0;
    int size = 0;
    const int next = Kt_ExprUtil::FindToken(units + at, length - at, start, size);
    if (next < 1) return false;
    tokens.Add({units + at + start, static_cast<std::size_t>(size)});
    at += next;
  }
  return true;
}

}  // namespace

bool SameExpr(const Kt_Expr& a, const Kt_Expr& b) {
  return SameTexts(SourceOf(a), SourceOf(b), Faulty::kCompare, 0);
}

void AppendExpr(const Kt_WString& text, int cost, std::vector<LinePart>& pieces) {
  if (text.IsEmpty()) return;
  std::vector<LinePart> tokens;
  if (AppendTokens(text, cost, tokens)) {
    std::u16string joined;
    for (const LinePart& token : tokens) {
      if (token.has_blank) joined += u' ';
      joined += token.text;
    }
    if (SameTexts(text, Kt_WString(std::u16string_view(joined)), Faulty::kDiffer, 0)) {
      pieces.insert(pieces.end(), tokens.begin(), tokens.end());
      return;
    }
  }
  pieces.push_back({std::u16string(text.View()), false, kNoBreak});
}

}  // namespace kt::cli
