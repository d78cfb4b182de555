// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "expr/Kt_BoundExpr.h"
#include "expr/Kt_ExprProgram.h"
#include "object/Kt_DirectFuncs.h"

namespace kt::detail {

// The instructions of number code. Every one leaves its result in the accumulator. A form says
// where the two sides of an operator are: A the accumulator, P a place, C the constant of the
// instruction, T a slot; an S in front stores the accumulator into a slot first.
// clang-format off
#define KT_NUMBER_MEMORY_FORMS(X, op) X(op, PP) X(op, PC) X(op, CP)
#define KT_NUMBER_FORMS(X, op)                                   \
  X(op, AP) X(op, AC) X(op, AT) X(op, PA) X(op, CA) X(op, TA)    \
  KT_NUMBER_MEMORY_FORMS(X, op) X(op, SPP) X(op, SPC) X(op, SCP)
#define KT_NUMBER_OPERATORS(FORMS, X)                                          \
  FORMS(X, Add) FORMS(X, Sub) FORMS(X, Mul) FORMS(X, Div)                      \
  FORMS(X, Equal) FORMS(X, NotEqual) FORMS(X, Greater) FORMS(X, GreaterEqual)  \
  FORMS(X, Less) FORMS(X, LessEqual)
#define KT_NUMBER_OTHERS(X)                                                    \
  X(LoadP) X(LoadC) X(LoadT) X(Store) X(LongZero) X(NumberZero)                \
  X(Not) X(Truth) X(OrT) X(JumpFalse) X(JumpTrue)                              \
  X(Abs) X(Sqrt) X(OfOne) X(OfTwo) X(OfMany) X(Select) X(Least) X(Greatest)    \
  X(Return)
// clang-format on

enum class NumberOp : std::uint16_t {
#define KT_NUMBER_OP(op, form) k##op##form,
  KT_NUMBER_OPERATORS(KT_NUMBER_FORMS, KT_NUMBER_OP)
#undef KT_NUMBER_OP
#define KT_NUMBER_OP(op) k##op,
      KT_NUMBER_OTHERS(KT_NUMBER_OP)
#undef KT_NUMBER_OP
};

struct NumberInstr {
  NumberOp op;
  std::uint16_t a = 0;     // place or slot
  std::uint16_t b = 0;     // place; target of a jump
  std::uint16_t slot = 0;  // of the forms with S
  union {
    double constant;
    double (*of_one)(double);
    double (*of_two)(double, double);
    std::size_t call;  // among the host's functions
  };
};
static_assert(sizeof(NumberInstr) == 16);

// An expression over numbers, compiled for what is known about the kinds of its names, with one
// accumulator and slots for the rest:
//
//   a * x * x + b * x + c      a * x;  * x;  store, b * x;  slot +;  + c;  return
//
// Longs are computed as doubles, which hold them and their sums and products exactly as far as
// those stay longs; where a result could be a long or a double, or a zero could have the wrong
// sign, the code does not pretend to know: see GetKind and kNotSure.
//
// Immutable. Threads: may be used by several.
class NumberCode {
 public:
  // What is known of a value: a long, a double, or one of the two.
  enum class Kind : std::uint8_t { kLong, kDouble, kNumber };
  // What a called name stands for.
  struct Call {
    const DirectFunc* builtin = nullptr;  // or null
    Kt_NumbersFunc numbers = nullptr;     // a function of the host, or null: this is no number code
    void* user = nullptr;
    std::size_t arg_count = 0;
  };
  // A name of the program: its number among the places, and what is there.
  struct Name {
    std::uint16_t place = 0;
    Kind kind = Kind::kNumber;
  };
  // Results of one evaluation; temps and slots.
  static constexpr kt_long kNotSure = -0x7FFFFFFE;
  static constexpr int kMaxSlots = 256;

  // Null when `program` is more than numbers. `names` and `calls` are those of the program.
  static std::shared_ptr<const NumberCode> Make(const ExprProgram& program,
                                                std::span<const Name> names,
                                                std::span<const Call> calls);

  Kind GetKind() const { return kind_; }
  // Never answers kNotSure.
  bool IsSure() const { return is_sure_; }
  bool CallsHost() const { return !host_calls_.empty(); }
  // Work to be charged for one evaluation.
  std::int64_t GetUnits() const { return units_; }

  // Computes `self`, a NumberCode, with doubles at the places. Code kNotSure when it is to be
  // evaluated in the general form, from the beginning; else 0.
  static Kt_BoundDouble Run(const void* self, const void* const* places);
  // The same for this very code: a single operator needs no loop.
  using Entry = Kt_BoundDouble (*)(const void* self, const void* const* places);
  Entry GetEntry() const;

 private:
  friend class NumberCompiler;
  friend class NumberBlocks;

  std::vector<NumberInstr> code_;  // ends with kReturn
  std::vector<Call> host_calls_;
  std::int64_t units_ = 0;
  std::size_t slot_count_ = 0;
  Kind kind_ = Kind::kDouble;
  bool is_sure_ = true;
};

}  // namespace kt::detail
