// SPDX-License-Identifier: MIT
#include "expr/detail/Kt_NumberBlocks.h"

#include <algorithm>

#include "expr/detail/Kt_NumberOps.h"

// The rows of a block do not depend on each other: what is written is what is read at the same row,
// or something else altogether.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wpass-failed"  // under sanitizers it cannot
#define KT_ROWS_APART _Pragma("clang loop vectorize(assume_safety)")
#elif defined(__GNUC__)
#define KT_ROWS_APART _Pragma("GCC ivdep")
#else
#define KT_ROWS_APART
#endif

// The sides of an operator by its form.
#define KT_SIDES_AP Acc(), Place(in.a)
#define KT_SIDES_AC \
  Acc(), Constant { in.constant }
#define KT_SIDES_AT Acc(), Slot(in.a)
#define KT_SIDES_PA Place(in.a), Acc()
#define KT_SIDES_CA Constant{in.constant}, Acc()
#define KT_SIDES_TA Slot(in.a), Acc()
#define KT_SIDES_PP Place(in.a), Place(in.b)
#define KT_SIDES_PC \
  Place(in.a), Constant { in.constant }
#define KT_SIDES_CP Constant{in.constant}, Place(in.a)
#define KT_SIDES_SPP KT_SIDES_PP
#define KT_SIDES_SPC KT_SIDES_PC
#define KT_SIDES_SCP KT_SIDES_CP

namespace kt::detail {

namespace ops = number_ops;

NumberBlocks::NumberBlocks(const NumberCode& code, std::size_t rows)
    : code_(code), most_rows_(rows), slots_(code.slot_count_), scratch_(rows) {}

bool NumberBlocks::Run(const double* const* places, std::size_t rows, double* out) {
  places_ = places;
  rows_ = rows;
  out_ = out;
  jump_count_ = 0;
  const NumberInstr* in = code_.code_.data();
  for (std::size_t at = 0;; ++at, ++in) {
    Land(at);
    if (in->op == NumberOp::kReturn) break;
    is_last_ = in[1].op == NumberOp::kReturn;
    if (in->op == NumberOp::kNumberZero && HasMinusZero()) return false;
    Step(*in);
  }
  if (acc_ != out) std::copy_n(acc_, rows, out);
  return true;
}

// Every row of the result, for the loops. It may be what they read.
template <class Compute>
KT_ALWAYS_INLINE void NumberBlocks::Each(Compute compute) {
  double* const result = is_last_ ? out_ : scratch_.data();
  const std::size_t rows = rows_;
  KT_ROWS_APART
  for (std::size_t row = 0; row < rows; ++row) result[row] = compute(row);
  acc_ = result;
}

template <double (*kOperator)(double, double), class Left, class Right>
KT_NOINLINE void NumberBlocks::Apply(Left left, Right right) {
  Each([=](std::size_t row) { return kOperator(left[row], right[row]); });
}

template <double (*kOperator)(double)>
KT_NOINLINE void NumberBlocks::Apply(Column value) {
  Each([=](std::size_t row) { return kOperator(value[row]); });
}

void NumberBlocks::ApplyBlock(void (*block)(const double*, double*, std::size_t)) {
  double* const result = is_last_ ? out_ : scratch_.data();
  block(acc_, result, rows_);
  acc_ = result;
}

void NumberBlocks::Step(const NumberInstr& in) {
  switch (in.op) {
#define KT_NUMBER_OPERATOR(op, form)               \
  case NumberOp::k##op##form:                      \
    if constexpr (#form[0] == 'S') Store(in.slot); \
    return Apply<ops::op>(KT_SIDES_##form);
    KT_NUMBER_OPERATORS(KT_NUMBER_FORMS, KT_NUMBER_OPERATOR)
#undef KT_NUMBER_OPERATOR
    case NumberOp::kLoadP: acc_ = places_[in.a]; return;
    case NumberOp::kLoadC: return Each([value = in.constant](std::size_t) { return value; });
    case NumberOp::kLoadT: acc_ = slots_[in.a].data(); return;
    case NumberOp::kStore: return Store(in.a);
    case NumberOp::kLongZero: return Apply<ops::LongZero>(Acc());
    case NumberOp::kNot: return Apply<ops::Not>(Acc());
    case NumberOp::kTruth: return Apply<ops::Truth>(Acc());
    case NumberOp::kOrT: return Apply<ops::Or>(Slot(in.a), Acc());
    case NumberOp::kJumpFalse: return Leave(in.b, false);
    case NumberOp::kJumpTrue: return Leave(in.b, true);
    case NumberOp::kAbs: return Apply<ops::Abs>(Acc());
    case NumberOp::kSqrt: return Apply<ops::Sqrt>(Acc());
    case NumberOp::kOfOne: return ApplyBlock(FindOfOne(in.of_one)->of_block);
    case NumberOp::kOfTwo:
      return Each([call = in.of_two, left = Slot(in.a), acc = Acc()](std::size_t row) {
        return call(left[row], acc[row]);
      });
    case NumberOp::kSelect:
      return Each([condition = Slot(in.a), yes = Slot(in.b), acc = Acc()](std::size_t row) {
        return ops::Select(condition[row], yes[row], acc[row]);
      });
    case NumberOp::kLeast: return Apply<ops::Least>(Slot(in.a), Acc());
    case NumberOp::kGreatest: return Apply<ops::Greatest>(Slot(in.a), Acc());
    case NumberOp::kNumberZero:  // looked at before
    case NumberOp::kOfMany:      // not in here
    case NumberOp::kReturn: return;
  }
}

// What was computed stays where it is, and becomes the slot.
void NumberBlocks::Store(std::size_t slot) {
  std::vector<double>& stored = slots_[slot];
  if (acc_ == stored.data()) return;
  stored.resize(most_rows_);
  if (acc_ == scratch_.data()) {
    stored.swap(scratch_);
  } else {
    std::copy_n(acc_, rows_, stored.data());
  }
}

// A jump when the condition in the accumulator holds, or when it does not: that is its value then.
void NumberBlocks::Leave(std::size_t target, bool when) {
  if (jump_count_ == jumps_.size()) jumps_.push_back({0, 0, std::vector<double>(most_rows_)});
  Jump& jump = jumps_[jump_count_++];
  jump.target = target;
  jump.value = when ? 1 : 0;
  double* const taken = jump.taken.data();
  const double* const acc = acc_;
  const std::size_t rows = rows_;
  KT_ROWS_APART
  for (std::size_t row = 0; row < rows; ++row) {
    taken[row] = ops::Holds(acc[row]) == when ? 1.0 : 0.0;
  }
}

void NumberBlocks::Land(std::size_t at) {
  for (; jump_count_ > 0 && jumps_[jump_count_ - 1].target == at; --jump_count_) {
    const Jump& jump = jumps_[jump_count_ - 1];
    is_last_ = false;
    Each([taken = jump.taken.data(), value = jump.value, acc = acc_](std::size_t row) {
      return ops::Select(taken[row], value, acc[row]);
    });
  }
}

bool NumberBlocks::HasMinusZero() const {
  return std::any_of(acc_, acc_ + rows_, ops::IsMinusZero);
}

}  // namespace kt::detail
