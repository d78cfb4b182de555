// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <optional>

#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_PtrList.h"
#include "classlib/text/Kt_WString.h"
#include "classlib/value/Kt_Operators.h"

// Every operation record: name, code, the token as a dump shows it; the operators over two values
// are listed in KT_OPERATORS. The top hexadecimal digit of a code is its class: 1 operands, 3
// operators and opening brackets, 4 postfix, 7 closing punctuation and markers. The low digit of an
// operator is its precedence; higher binds tighter.
// clang-format off
#define KT_EXPR_OPS(X)                      \
  X(kOpWord,        0x1010, "word")         \
  X(kOpString,      0x1020, "string")       \
  X(kOpInteger,     0x1030, "integer")      \
  X(kOpDecimal,     0x1031, "decimal")      \
  X(kOpName,        0x1040, "name")         \
  X(kOpCall,        0x1110, "call")         \
  X(kOpRef,         0x1120, "ref")          \
  X(kOpMember,      0x1339, "member")       \
  X(kOpMethod,      0x1349, "method")       \
  X(kOpParen,       0x3010, "(")            \
  X(kOpBracket,     0x3020, "[")            \
  X(kOpPreInc,      0x3418, "++x")          \
  X(kOpPreDec,      0x3428, "--x")          \
  X(kOpPostInc,     0x4011, "x++")          \
  X(kOpPostDec,     0x4012, "x--")          \
  X(kOpMarker,      0x7000, "reduce")       \
  X(kOpParenEnd,    0x7100, ")")            \
  X(kOpBracketEnd,  0x7200, "]")            \
  X(kOpComma,       0x7300, ",")            \
  X(kOpEnd,         0x7999, "end")
// clang-format on

#define KT_EXPR_OP_CONSTANT(name, code, ...) inline constexpr std::int16_t name = code;
KT_EXPR_OPS(KT_EXPR_OP_CONSTANT)
KT_OPERATORS(KT_EXPR_OP_CONSTANT)
#undef KT_EXPR_OP_CONSTANT

// The class digit of a code (1, 3, 4 or 7) and the precedence of an operator.
constexpr int GetOpClass(std::int16_t code) { return code >> 12; }
constexpr int GetOpPrecedence(std::int16_t code) { return code & 15; }
constexpr bool IsOpener(std::int16_t code) { return code == kOpParen || code == kOpBracket; }
// Operators that stand before their operand. Signs are among them when nothing stands before.
constexpr bool IsPrefix(std::int16_t code) {
  return code == kOpNot || code == kOpPreInc || code == kOpPreDec || code == kOpAdd ||
         code == kOpSub;
}
// The operator over two values that a record stands for; none for any other record.
constexpr std::optional<kt::Operator> FindOperator(std::int16_t code) {
  switch (code) {
#define KT_EXPR_OP_OPERATOR(record, value, token, name, compute) \
  case record: return kt::Operator::name;
    KT_OPERATORS(KT_EXPR_OP_OPERATOR)
#undef KT_EXPR_OP_OPERATOR
    default: return std::nullopt;
  }
}
// The text of a code for dumps; "?" for an unknown one.
KT_SCRIPT_API const char* GetOpText(std::int16_t code);

// One operation of a parsed expression.
class KT_SCRIPT_API Kt_ExprOp {
 public:
  Kt_ExprOp() = default;
  Kt_ExprOp(const Kt_ExprOp& other) { Set(other); }
  Kt_ExprOp& operator=(const Kt_ExprOp& other) {
    Set(other);
    return *this;
  }
  // Copies code, arg and text; the number only when the code is an integer or a decimal, so a
  // record keeps its old number otherwise.
  void Set(const Kt_ExprOp& other);

  kt_long GetInteger() const { return number.integer; }
  double GetDecimal() const { return number.decimal; }

  // Of a call, member or method as the parser wrote it: the row of the built-in function of that
  // name, -1 when there is none. Found once, so that evaluations need not search.
  int GetBuiltinRow() const { return static_cast<int>(number.bits) - 1; }
  void SetBuiltinRow(int row) { number.bits = row + 1; }

  std::int16_t code = 0;
  std::int16_t arg = 0;  // 1 on a reduce marker
  Kt_WString text;       // name, member name, string content or constant word
  union Number {
    std::int64_t bits = 0;
    kt_long integer;
    double decimal;
  } number;
};

// The operations of one expression, in blocks that never move: a pointer to a record stays good
// until Clear or Shrink. Parsing again reuses the blocks.
//
// Owns its records. Threads: const members may run in parallel.
// Fails: past kMaxListItems blocks the pointers are null and the indexes -1; without memory
// std::bad_alloc is thrown.
class KT_SCRIPT_API Kt_ExprOpList {
 public:
  // `block_size` is cut to a power of two; below 1 or above 4096 means 256. Allocates nothing.
  explicit Kt_ExprOpList(kt_long block_size = 256);
  Kt_ExprOpList(const Kt_ExprOpList& other);
  Kt_ExprOpList& operator=(const Kt_ExprOpList& other);
  ~Kt_ExprOpList();

  kt_long GetCount() const { return count_; }
  kt_long GetBlockSize() const { return block_size_; }
  kt_long GetBlockCount() const { return blocks_.GetCount(); }
  // A negative index means the last record. Null when its block is not allocated; the index is not
  // compared with the count.
  const Kt_ExprOp* GetItem(kt_long index) const {
    if (index < 0) index = count_ - 1;
    return index >= 0 && index < capacity_ ? At(index) : nullptr;
  }

  // Count 0; the blocks and their old contents stay for reuse.
  void Start() { count_ = 0; }
  // As GetItem, allocating every missing block up to the one that holds the index.
  Kt_ExprOp* GetSafeItem(kt_long index) {
    if (index < 0) index = std::max(count_ - 1, 0);
    return KT_LIKELY(index < capacity_) || Grow(index) ? At(index) : nullptr;
  }
  Kt_ExprOp& operator[](kt_long index) { return *GetSafeItem(index); }
  // Appends a copy; returns its index. A null pointer appends a slot and leaves it as it was.
  kt_long Add(const Kt_ExprOp& op);
  kt_long Add(const Kt_ExprOp* op);
  // Appends a slot without resetting it: a reused slot still holds its old text and number.
  Kt_ExprOp* Append() {
    Kt_ExprOp* const slot = GetSafeItem(count_);
    if (KT_LIKELY(slot != nullptr)) ++count_;
    return slot;
  }
  void Append(const Kt_ExprOpList& other);
  // Gives back the memory after the last record; its block moves, and is made whole again when
  // more is appended.
  void Shrink();
  void Clear();
  // Exchanges the records; none moves in memory.
  void Swap(Kt_ExprOpList& other) noexcept;

 private:
  void CopyFrom(const Kt_ExprOpList& other);
  Kt_ExprOp* At(kt_long index) const {
    return BlockAt(index >> shift_) + (index & (block_size_ - 1));
  }
  Kt_ExprOp* BlockAt(kt_long at) const { return static_cast<Kt_ExprOp*>(blocks_.GetItem(at)); }
  kt_long SizeOf(kt_long block) const {
    return std::min(block_size_, capacity_ - (block << shift_));
  }
  void ResizeLastBlock(kt_long size);
  bool Grow(kt_long index);

  kt_long block_size_;
  kt_long shift_;  // block_size_ == 1 << shift_
  kt_long count_ = 0;
  kt_long capacity_ = 0;  // records in all blocks; after Shrink the last block is a short one
  Kt_PtrList blocks_;
};
