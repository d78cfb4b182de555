// SPDX-License-Identifier: MIT
//
// IsValidExpr: a walk over the tokens with one state and a stack of open brackets. What a kind of
// token needs and does is one row of a table, so the whole grammar can be read in one place.
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "expr/Kt_ExprUtil.h"

namespace {

constexpr std::int64_t kUnitsPerToken = 64;

// What came last. Bits, so that a row can name a set of them.
enum State : std::uint8_t {
  kStart = 1,     // nothing, '(', '[' or ','
  kOperator = 2,  // a binary operator or a sign
  kPrefix = 4,    // prefix ++ or --
  kNot = 8,       // '!'
  kDot = 16,      // '.'
  kName = 32,     // a name or ']'
  kValue = 64     // a literal, ')' or a postfix operator
};
constexpr int kOperand = kName | kValue;

enum Kind : std::uint8_t {
  kBinary,
  kWordOperator,
  kSign,
  kLoneNot,
  kStep,
  kParenOpen,
  kParenClose,
  kBracketOpen,
  kBracketClose,
  kComma,
  kMember,
  kLiteral,
  kNameToken,
  kUnknown
};

struct Rule {
  int allowed;    // states in which the token may stand
  kt_long error;  // the code in any other state
  State next;
};

// clang-format off
constexpr Rule kRules[] = {
    /* kBinary       */ {kOperand,                                 kExprNoOperand,    kOperator},
    /* kWordOperator */ {kStart | kOperand,                        kExprNoOperand,    kOperator},
    /* kSign         */ {kStart | kOperator | kOperand,            kExprNoOperand,    kOperator},
    /* kLoneNot      */ {kStart | kOperator | kNot,                kExprNoOperand,    kNot},
    /* kStep         */ {kStart | kOperator | kName,               kExprNoOperand,    kPrefix},
    /* kParenOpen    */ {kStart | kOperator | kPrefix | kNot | kName, kExprParenOpen, kStart},
    /* kParenClose   */ {kStart | kOperand,                        kExprParenClose,   kValue},
    /* kBracketOpen  */ {kName,                                    kExprBracketOpen,  kStart},
    /* kBracketClose */ {kOperand,                                 kExprBracketClose, kName},
    /* kComma        */ {kStart | kOperand,                        kExprComma,        kStart},
    /* kMember       */ {kOperand,                                 kExprDot,          kDot},
    /* kLiteral      */ {~kOperand,                                kExprNoOperator,   kValue},
    /* kNameToken    */ {~kOperand,                                kExprNoOperator,   kName},
    /* kUnknown      */ {~kOperand,                                kExprNoOperator,   kStart},
};
// clang-format on

bool IsWordOperator(const char16_t* text, kt_long length) {
  if (length == 2) return (text[0] | 0x20) == u'o' && (text[1] | 0x20) == u'r';
  return length == 3 && (text[0] | 0x20) == u'a' && (text[1] | 0x20) == u'n' &&
         (text[2] | 0x20) == u'd';
}

Kind ClassifyOperand(const char16_t* text, kt_long length) {
  if (IsWordOperator(text, length)) return kWordOperator;
  if (text[0] == u'"' || text[0] == u'\'' || Kt_ExprUtil::ChkNumber(text, length)) return kLiteral;
  return Kt_ExprUtil::ChkName(text, length) ? kNameToken : kUnknown;
}

Kind Classify(const char16_t* text, kt_long length) {
  switch (text[0]) {
    case u'*':
    case u'/':
    case u'%':
    case u'<':
    case u'>':
    case u'=':
    case u'&':
    case u'|': return kBinary;
    case u'!': return length == 1 ? kLoneNot : kBinary;
    case u'+':
    case u'-': return length == 1 ? kSign : kStep;
    case u'(': return kParenOpen;
    case u')': return kParenClose;
    case u'[': return kBracketOpen;
    case u']': return kBracketClose;
    case u',': return kComma;
    case u'.': return length == 1 ? kMember : ClassifyOperand(text, length);
    default: return ClassifyOperand(text, length);
  }
}

// The open brackets. The first 64 need no memory: hardly any expression has more.
class BracketStack {
 public:
  bool IsEmpty() const { return count_ == 0; }
  bool IsFull() const { return count_ >= kMaxExprDepth; }
  char16_t Top() const {
    if (IsEmpty()) return u'\0';
    return count_ <= kFirst ? first_[count_ - 1] : more_.back();
  }
  void Push(char16_t bracket) {
    if (count_ < kFirst) {
      first_[count_] = bracket;
    } else {
      more_.push_back(bracket);
    }
    ++count_;
  }
  void Pop() {
    if (--count_ >= kFirst) more_.pop_back();
  }

 private:
  static constexpr kt_long kFirst = 64;
  kt_long count_ = 0;
  char16_t first_[kFirst];
  std::vector<char16_t> more_;
};

class Validator {
 public:
  // 0, or the code for a token that cannot stand here.
  kt_long Take(const char16_t* text, kt_long length) {
    const Kind kind = Classify(text, length);
    const Rule& rule = kRules[kind];
    if (!(rule.allowed & state_) || !HasOpener(kind)) return rule.error;
    if (kind == kUnknown) return kExprBadToken;
    if ((kind == kParenOpen || kind == kBracketOpen) && brackets_.IsFull()) return kExprTooDeep;
    TrackBrackets(kind);
    state_ = kind == kStep && state_ == kName ? kValue : rule.next;
    return 0;
  }

  bool IsFinished() const {
    return brackets_.IsEmpty() && !(state_ & (kOperator | kPrefix | kDot));
  }

 private:
  bool HasOpener(Kind kind) const {
    if (kind == kParenClose || kind == kComma) return brackets_.Top() == u'(';
    return kind != kBracketClose || brackets_.Top() == u'[';
  }
  void TrackBrackets(Kind kind) {
    if (kind == kParenOpen) brackets_.Push(u'(');
    if (kind == kBracketOpen) brackets_.Push(u'[');
    if (kind == kParenClose || kind == kBracketClose) brackets_.Pop();
  }

  State state_ = kStart;
  BracketStack brackets_;
};

int Fail(kt_long code, kt_long offset, kt_long* error_offset) {
  if (error_offset) *error_offset = offset;
  return code;
}

}  // namespace

int Kt_ExprUtil::IsValidExpr(const char16_t* text, kt_long length, kt_long* error_offset) {
  if (!text || length < 1) return 0;
  if (text[0] == u'[' && text[length - 1] == u']') return 0;
  Validator validator;
  kt_long at = 0;
  for (std::size_t round = 1; at < length; ++round) {
    if (!kt::detail::GoesOnInTime(round, kUnitsPerToken)) {
      return Fail(kExprUnfinished, at, error_offset);
    }
    int start = 0;
    int token_length = 0;
    const int next = FindToken(text + at, length - at, start, token_length);
    // Where the scan ended: the text's end, or what FindToken cannot go on with.
    if (next < 1)
      return validator.IsFinished() ? 0 : Fail(kExprUnfinished, at + start, error_offset);
    const kt_long code = validator.Take(text + at + start, token_length);
    if (code != 0) return Fail(code, at + start, error_offset);
    at += next;
  }
  return validator.IsFinished() ? 0 : Fail(kExprUnfinished, length, error_offset);
}
