// SPDX-License-Identifier: MIT
//
// The parser: one pass over the tokens that writes one record per token, in the order of the
// source. Precedence is settled by reduce markers before an operator: each tells the
// evaluator to apply one pending operator first. `1 * 2 + 3` becomes 1 * 2 reduce + 3 end.
//
// How many markers an operator gets is found by walking back over the records already written
// (CountPending). The walk stops at an earlier marker, so a chain such as a - b * c * d - e gets
// one marker too few and groups as a - (b * c * d - e). Scripts rely on the lists being as they
// are; FindExprWarnings points such chains out.
//
// Cost: a walk passes a group in parentheses or an indexer in one step, because a closing record
// keeps the index of its opener in its number field, which has no other use there. It passes only
// records behind the operator before it, and operators of rising precedence, of which there are at
// most six in a row. So parsing is linear.
#include <algorithm>
#include <bit>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprTexts.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_ExprObject.h"

namespace {

using Kt_ExprUtil::FindToken;

constexpr std::int64_t kUnitsPerToken = 128;

constexpr bool IsOperator(std::int16_t code) { return GetOpClass(code) == 3; }
constexpr bool IsOperand(std::int16_t code) { return GetOpClass(code) == 1; }
// The high byte tells the groups of operators apart.
constexpr int GroupOf(std::int16_t code) { return code >> 8; }
constexpr int kLogical = 0x31;
constexpr int kComparison = 0x32;
constexpr int kArithmetic = 0x33;
constexpr int kStep = 0x34;  // prefix ++ and --

// What an opening record keeps in its number field while its group is being parsed.
struct Opener {
  kt_long outer;  // index of the opener of the same kind around it, -1 if none
  kt_long depth;  // pending operators and brackets before it
};

struct Operator {
  std::int16_t code;
  const char16_t* name;  // as messages show it
};

constexpr Operator kNoOperator = {0, u""};

bool EqualsNoCase(std::u16string_view text, std::u16string_view lower) {
  return text.size() == lower.size() &&
         std::equal(text.begin(), text.end(), lower.begin(),
                    [](char16_t a, char16_t b) { return (a | 0x20) == b; });
}

// The operator that `token` is; kNoOperator for every other token. `next` is the unit after the
// first.
Operator ReadOperator(std::u16string_view token, char16_t first, char16_t next) {
  switch (first) {
    case u'*': return {kOpMul, u"*"};
    case u'/': return {kOpDiv, u"/"};
    case u'%': return {kOpMod, u"%"};
    case u'=': return {kOpEqual, u"="};
    case u'+': return next == u'+' ? Operator{kOpPreInc, u"++"} : Operator{kOpAdd, u"+"};
    case u'-': return next == u'-' ? Operator{kOpPreDec, u"--"} : Operator{kOpSub, u"-"};
    case u'>': return next == u'=' ? Operator{kOpGreaterEqual, u">="} : Operator{kOpGreater, u">"};
    case u'!': return next == u'=' ? Operator{kOpNotEqual, u"!="} : Operator{kOpNot, u"!"};
    case u'&': return next == u'&' ? Operator{kOpAnd, u"&&"} : Operator{kOpLoneAnd, u"&"};
    case u'|': return {kOpOr, next == u'|' ? u"||" : u"|"};
    case u'<':
      if (next == u'>') return {kOpNotEqual, u"<>"};
      return next == u'=' ? Operator{kOpLessEqual, u"<="} : Operator{kOpLess, u"<"};
    case u'A':
    case u'a': return EqualsNoCase(token, u"and") ? Operator{kOpAnd, u"and"} : kNoOperator;
    case u'O':
    case u'o': return EqualsNoCase(token, u"or") ? Operator{kOpOr, u"or"} : kNoOperator;
    default: return kNoOperator;
  }
}

// Whether `op` may stand behind a record with the code `previous` (0: at the start).
bool CanFollow(std::int16_t op, std::int16_t previous) {
  if (!IsOperator(previous)) return true;
  const int group = GroupOf(previous);
  switch (op) {
    case kOpAdd:
    case kOpSub: return group != kArithmetic && group != kStep;
    case kOpNot: return group == kLogical || group == kComparison || previous == kOpParen;
    default: return false;
  }
}

bool IsTraceName(std::u16string_view name) {
  return EqualsNoCase(name, u"trace") || EqualsNoCase(name, u"tracedata") ||
         EqualsNoCase(name, u"tracevar");
}

class Parser {
 public:
  // `texts` may be null.
  Parser(Kt_ExprOpList& ops, std::u16string_view text, kt::ExprTexts* texts)
      : ops_(ops), text_(text.data()), length_(static_cast<kt_long>(text.size())), texts_(texts) {}

  // The parse state, -1 with the error position and message set.
  kt_long Run();

  kt_long ErrorOffset() const { return error_offset_; }
  Kt_WString Message() const { return Kt_WString(message_) + detail_; }

 private:
  // Each returns false after an error. Parse... take the current token.
  bool ParseToken();
  bool ParseOperator(Operator op);
  bool ParseParen();
  bool ParseParenEnd();
  bool ParseBracket();
  bool ParseBracketEnd();
  bool ParseComma();
  bool ParseMember();
  bool ParseOperand();
  bool ParseNumber(int kind);

  // Writes the current slot and takes the next one.
  bool Write(std::int16_t code, std::u16string_view text = {});
  void WriteText(std::int16_t code, std::u16string_view text);
  bool WriteMarkers(kt_long count);
  bool WriteOpener(std::int16_t code, kt_long& innermost);
  bool NextSlot();

  kt_long CountPending(int precedence) const;
  // Pending entries that nothing inside the innermost open bracket can apply.
  kt_long BaseDepth() const;
  Opener GetOpener(kt_long index) const {
    return std::bit_cast<Opener>(ops_.GetItem(index)->number.bits);
  }
  // Goes back to what is around the innermost one, if there is any.
  void LeaveOpener(kt_long& innermost) {
    if (innermost < 0) return;
    const Opener opener = GetOpener(innermost);
    innermost = opener.outer;
    depth_ = opener.depth;
  }
  kt_long Classify() const;
  // What follows the current token.
  int FollowingType() const { return Kt_ExprUtil::GetTokenType(text_ + at_, length_ - at_); }
  std::u16string_view Token() const {
    return {text_ + start_, static_cast<std::size_t>(std::max(token_length_, 0))};
  }
  bool Fail(const char16_t* message, std::u16string_view detail = {});

  Kt_ExprOpList& ops_;
  const char16_t* text_;
  kt_long length_;
  kt::ExprTexts* texts_;

  std::size_t round_ = 0;
  kt_long at_ = 0;  // after the current token
  kt_long start_ = 0;
  kt_long token_length_ = 0;

  Kt_ExprOp* slot_ = nullptr;  // the last record of the list, not written yet
  std::int16_t previous_ = 0;  // code of the token before the current one
  kt_long open_paren_ = -1;    // index of the innermost open '(' / '['
  kt_long open_bracket_ = -1;
  kt_long last_bracket_ = -1;  // index of the last '[' written, open or not
  kt_long depth_ = 0;          // entries that the evaluator will hold at this point

  kt_long error_offset_ = -1;
  const char16_t* message_ = u"";
  std::u16string_view detail_;
};

kt_long Parser::Run() {
  ops_.Start();
  if (!NextSlot()) return kFailed;
  while (at_ < length_) {
    if (!kt::detail::GoesOnInTime(++round_, kUnitsPerToken)) return kFailed;
    int start = 0;
    const int next = FindToken(text_ + at_, length_ - at_, start, token_length_);
    if (next < 1) break;
    start_ = at_ + start;
    at_ += next;
    if (!ParseToken()) return kFailed;
  }
  slot_->code = kOpEnd;
  slot_->arg = 0;
  slot_->text.Empty();
  return Classify();
}

bool Parser::ParseToken() {
  const char16_t first = text_[start_];
  const char16_t next = start_ + 1 < length_ ? text_[start_ + 1] : u'\0';
  switch (first) {
    case u'(': return ParseParen();
    case u')': return ParseParenEnd();
    case u'[': return ParseBracket();
    case u']': return ParseBracketEnd();
    case u',': return ParseComma();
    case u'.': return token_length_ == 1 ? ParseMember() : ParseOperand();
    default: break;
  }
  const Operator op = ReadOperator(Token(), first, next);
  return op.code != 0 ? ParseOperator(op) : ParseOperand();
}

bool Parser::ParseOperator(Operator op) {
  if (op.code == kOpPreInc || op.code == kOpPreDec) {
    const bool prefix = previous_ == 0 || IsOperator(previous_);
    if (!prefix) return Write(op.code == kOpPreInc ? kOpPostInc : kOpPostDec);
  } else if (!CanFollow(op.code, previous_)) {
    return Fail(u"Invalid Operator ", op.name);
  }
  if (!WriteMarkers(CountPending(GetOpPrecedence(op.code)))) return false;
  if (++depth_ > kMaxExprDepth) return Fail(u"Expression Nested Too Deeply");
  return Write(op.code);
}

// Walks back from the record before the current slot and counts the operators that must be applied
// before one of this precedence. The record before a group is looked at like any other: it is
// a called or indexed name, or, before a grouping '(', an operator.
// After a ']' the walk goes on at the nearest '[', also when that belongs to an indexer inside.
kt_long Parser::CountPending(int precedence) const {
  kt_long count = 0;
  for (kt_long index = ops_.GetCount() - 2; index >= 0; --index) {
    const Kt_ExprOp& op = *ops_.GetItem(index);
    if (op.code == kOpMarker || op.code == kOpComma || op.code == kOpEnd) break;
    if (op.code == kOpParenEnd || op.code == kOpBracketEnd) {
      index = static_cast<kt_long>(op.number.bits);  // the opener; the loop steps over it
    } else if (IsOperator(op.code)) {
      if (GetOpPrecedence(op.code) < precedence) break;
      ++count;
      if (GetOpPrecedence(op.code) == precedence) break;
    }
  }
  return count;
}

bool Parser::WriteMarkers(kt_long count) {
  // After an operator the markers find no operand, and the evaluator applies none of them.
  if (!IsOperator(previous_)) depth_ = std::max(depth_ - count, BaseDepth());
  for (; count > 0; --count) {
    slot_->code = kOpMarker;
    slot_->arg = 1;
    slot_->text.Empty();
    if (!NextSlot()) return false;
  }
  return true;
}

bool Parser::ParseParen() {
  const bool callable = previous_ == kOpCall || previous_ == kOpRef || previous_ == kOpMethod;
  if (IsOperand(previous_) && !callable) return Fail(u"Invalid token '(' : ");
  return WriteOpener(kOpParen, open_paren_);
}

bool Parser::ParseBracket() {
  if (IsOperator(previous_)) return Fail(u"Invalid token '[' : ");
  last_bracket_ = ops_.GetCount() - 1;
  return WriteOpener(kOpBracket, open_bracket_);
}

bool Parser::WriteOpener(std::int16_t code, kt_long& innermost) {
  slot_->number.bits = std::bit_cast<std::int64_t>(Opener{innermost, depth_});
  innermost = ops_.GetCount() - 1;
  if (++depth_ > kMaxExprDepth) return Fail(u"Expression Nested Too Deeply");
  return Write(code);
}

bool Parser::ParseParenEnd() {
  if (IsOperator(previous_) && previous_ != kOpParen) return Fail(u"Invalid token )", Token());
  slot_->number.bits = open_paren_;
  LeaveOpener(open_paren_);
  return Write(kOpParenEnd);
}

bool Parser::ParseBracketEnd() {
  if (IsOperator(previous_)) return Fail(u"Invalid token ']' : ");
  slot_->number.bits = last_bracket_;
  LeaveOpener(open_bracket_);
  return Write(kOpBracketEnd);
}

bool Parser::ParseComma() {
  depth_ = BaseDepth();
  return Write(kOpComma);
}

kt_long Parser::BaseDepth() const {
  const kt_long innermost = std::max(open_paren_, open_bracket_);
  return innermost < 0 ? 0 : GetOpener(innermost).depth + 1;
}

bool Parser::ParseMember() {
  const kt_long point = start_;
  int start = 0;
  const int next = FindToken(text_ + at_, length_ - at_, start, token_length_);
  if (next < 1 || token_length_ < 1) {
    token_length_ = 1;
    return Fail(u"Fail to Find Token ", {text_ + point, 1});
  }
  start_ = at_ + start;
  at_ += next;
  return Write(FollowingType() == 3 ? kOpMethod : kOpMember, Token());
}

bool Parser::ParseOperand() {
  const char16_t* const token = text_ + start_;
  if (Kt_ExprUtil::IsConstant(token, token_length_)) return Write(kOpWord, Token());
  if (*token == u'"' || *token == u'\'') {
    return Write(kOpString, Token().substr(1, static_cast<std::size_t>(token_length_ - 2)));
  }
  // No letter begins a number.
  const int kind = *token < u'A' ? Kt_ExprUtil::ChkNumber(token, token_length_) : 0;
  if (kind != 0) return ParseNumber(kind);
  if (!Kt_ExprUtil::ChkName(token, token_length_)) return Fail(u"Invalid Token ", Token());
  if (FollowingType() != 3) return Write(kOpName, Token());
  return Write(EqualsNoCase(Token(), u"ref") ? kOpRef : kOpCall, Token());
}

bool Parser::ParseNumber(int kind) {
  if (kind == 1 && token_length_ <= 9) {  // always fits a long
    kt_long value = 0;
    for (const char16_t digit : Token()) value = value * 10 + (digit - u'0');
    slot_->number.integer = value;
    return Write(kOpInteger);
  }
  const double value = Kt_WString(Token()).ToDouble();
  // Like the result of an operator, a whole number that no long can hold is a double.
  if (kind == 1 && value <= std::numeric_limits<kt_long>::max()) {
    slot_->number.integer = static_cast<kt_long>(value);
    return Write(kOpInteger);
  }
  slot_->number.decimal = value;
  return Write(kOpDecimal);
}

bool Parser::Write(std::int16_t code, std::u16string_view text) {
  slot_->code = code;
  slot_->arg = 0;
  if (text.empty()) {
    slot_->text.Empty();
  } else {
    WriteText(code, text);
  }
  previous_ = code;
  return NextSlot();
}

void Parser::WriteText(std::int16_t code, std::u16string_view text) {
  using Known = kt::ExprTexts::Known;
  Known own;
  if (texts_ == nullptr) own.text = Kt_WString(text);
  Known& known = texts_ != nullptr ? texts_->Get(text) : own;
  if (code == kOpCall || code == kOpMember || code == kOpMethod) {
    slot_->SetBuiltinRow(known.BuiltinRow());
  }
  slot_->text = known.text;
}

bool Parser::NextSlot() {
  slot_ = ops_.Append();
  return slot_ || Fail(u"Out Of Memory");
}

bool Parser::Fail(const char16_t* message, std::u16string_view detail) {
  message_ = message;
  detail_ = detail;
  error_offset_ = start_;
  return false;
}

kt_long Parser::Classify() const {
  const kt_long count = ops_.GetCount();
  const Kt_ExprOp& first = *ops_.GetItem(0);
  if (count == 1) return kStateEmpty;
  if (count > 2)
    return first.code == kOpCall && IsTraceName(first.text) ? kStateTrace : kStateOrdinary;
  switch (first.code) {
    case kOpName: return kStateName;
    case kOpWord:
    case kOpString:
    case kOpInteger:
    case kOpDecimal: return kStateConstant;
    default: return kStateOrdinary;
  }
}

}  // namespace

namespace {

bool IsBracketList(std::u16string_view text) {
  return !text.empty() && text.front() == u'[' && text.back() == u']';
}

}  // namespace

kt_long Kt_Expr::ParseExpr(const char16_t* text, kt_long length, Kt_WString& error) {
  const std::u16string_view view(text, static_cast<std::size_t>(std::max(length, 0)));
  if (IsBracketList(view)) return kStateList;
  Parser parser(ops_, view, nullptr);
  const kt_long state = parser.Run();
  if (state < 0) {
    error = parser.Message();
    error_offset_ = parser.ErrorOffset();
  }
  ops_.Shrink();  // scripts keep thousands of expressions
  return state;
}

kt_long Kt_Expr::ParseApart(Kt_ExprOpList& ops, kt::ExprTexts& texts) const {
  Kt_WString trimmed = text_;
  trimmed.Trim();
  if (IsBracketList(trimmed)) return kStateList;
  const kt_long state = Parser(ops, trimmed, &texts).Run();
  return Kt_WorkMeter::CurrentStop() == kOk ? state : kFailed;
}
