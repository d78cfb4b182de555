// SPDX-License-Identifier: MIT
//
// The interpreter of number code. One dispatch per instruction, by the address of a label where the
// compiler has that, and nothing else on the way: operands are doubles at places, in the
// instruction or in a slot on the native stack.
//
// No instruction computes two things in one go, so a compiler that fuses multiplication and
// addition has nothing to fuse here, and every result has the bits that the evaluator gives it. The
// square root is compiled without errno.
#include <cmath>

#include "classlib/value/Kt_VarInline.h"
#include "expr/detail/Kt_NumberCode.h"

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wpedantic"  // addresses of labels
#define KT_NUMBER_CASE(op) L_##op:
#define KT_NUMBER_NEXT goto* kLabels[static_cast<std::size_t>((++in)->op)]
#define KT_NUMBER_FIRST goto* kLabels[static_cast<std::size_t>(in->op)];
#define KT_NUMBER_LAST
#else
#define KT_NUMBER_CASE(op) case NumberOp::k##op:
#define KT_NUMBER_NEXT \
  {                    \
    ++in;              \
    continue;          \
  }
#define KT_NUMBER_FIRST \
  for (;;) {            \
    switch (in->op) {
#define KT_NUMBER_LAST \
  }                    \
  }
#endif

#define KT_PLACE(at) (*static_cast<const double*>(places[at]))

// The sides of an operator by its form.
#define KT_SIDES_AP acc, KT_PLACE(in->a)
#define KT_SIDES_AC acc, in->constant
#define KT_SIDES_AT acc, slots[in->a]
#define KT_SIDES_PA KT_PLACE(in->a), acc
#define KT_SIDES_CA in->constant, acc
#define KT_SIDES_TA slots[in->a], acc
#define KT_SIDES_PP KT_PLACE(in->a), KT_PLACE(in->b)
#define KT_SIDES_PC KT_PLACE(in->a), in->constant
#define KT_SIDES_CP in->constant, KT_PLACE(in->a)
#define KT_SIDES_SPP KT_PLACE(in->a), KT_PLACE(in->b)
#define KT_SIDES_SPC KT_PLACE(in->a), in->constant
#define KT_SIDES_SCP in->constant, KT_PLACE(in->a)

namespace kt::detail {

namespace {

KT_ALWAYS_INLINE double Add(double left, double right) { return AddOp::Doubles(left, right); }
KT_ALWAYS_INLINE double Sub(double left, double right) { return SubOp::Doubles(left, right); }
KT_ALWAYS_INLINE double Mul(double left, double right) { return MulOp::Doubles(left, right); }
KT_ALWAYS_INLINE double Div(double left, double right) { return DivOp::Doubles(left, right); }

template <std::int16_t kRelation>
KT_ALWAYS_INLINE double Related(double left, double right) {
  return Relate(left, right, kRelation) != 0 ? 1.0 : 0.0;
}
KT_ALWAYS_INLINE double Equal(double left, double right) { return Related<kCmpEqual>(left, right); }
KT_ALWAYS_INLINE double Greater(double left, double right) {
  return Related<kCmpGreater>(left, right);
}
KT_ALWAYS_INLINE double GreaterEqual(double left, double right) {
  return Related<kCmpGreaterEqual>(left, right);
}
KT_ALWAYS_INLINE double Less(double left, double right) { return Related<kCmpLess>(left, right); }
KT_ALWAYS_INLINE double LessEqual(double left, double right) {
  return Related<kCmpLessEqual>(left, right);
}
KT_ALWAYS_INLINE double NotEqual(double left, double right) { return 1 - Equal(left, right); }

// A condition goes by the integer value (kt::IsConditionTrue), truth by the number (Var_IsTrue).
KT_ALWAYS_INLINE bool Holds(double value) { return std::fabs(value) >= 1; }
KT_ALWAYS_INLINE double Truth(double value) { return value != 0 ? 1 : 0; }

constexpr bool StoresFirst(const char* form) { return form[0] == 'S'; }

}  // namespace

Kt_BoundDouble NumberCode::Run(const void* code, const void* const* places) {
#if defined(__GNUC__)
  static const void* const kLabels[] = {
#define KT_NUMBER_LABEL(op, form) &&L_##op##form,
      KT_NUMBER_OPERATORS(KT_NUMBER_FORMS, KT_NUMBER_LABEL)
#undef KT_NUMBER_LABEL
#define KT_NUMBER_LABEL(op) &&L_##op,
          KT_NUMBER_OTHERS(KT_NUMBER_LABEL)
#undef KT_NUMBER_LABEL
  };
#endif
  const NumberCode& self = *static_cast<const NumberCode*>(code);
  const NumberInstr* in = self.code_.data();
  double slots[kMaxSlots];
  double acc = 0;
  KT_NUMBER_FIRST
#define KT_NUMBER_OPERATOR(op, form)                         \
  KT_NUMBER_CASE(op##form) {                                 \
    if constexpr (StoresFirst(#form)) slots[in->slot] = acc; \
    acc = op(KT_SIDES_##form);                               \
  }                                                          \
  KT_NUMBER_NEXT;
  KT_NUMBER_OPERATORS(KT_NUMBER_FORMS, KT_NUMBER_OPERATOR)
#undef KT_NUMBER_OPERATOR

  KT_NUMBER_CASE(LoadP) acc = KT_PLACE(in->a);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(LoadC) acc = in->constant;
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(LoadT) acc = slots[in->a];
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Store) slots[in->a] = acc;
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(LongZero) acc += 0.0;  // the product of two longs is never -0
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(NumberZero) if (KT_UNLIKELY(acc == 0 && std::signbit(acc))) return {acc, kNotSure};
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Not) acc = 1 - Truth(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Truth) acc = Truth(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(OrT) acc = slots[in->a] != 0 || acc != 0 ? 1 : 0;
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(JumpFalse) if (!Holds(acc)) {
    acc = 0;
    in = self.code_.data() + in->b - 1;
  }
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(JumpTrue) if (Holds(acc)) {
    acc = 1;
    in = self.code_.data() + in->b - 1;
  }
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Abs) acc = std::fabs(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Sqrt) acc = std::sqrt(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(OfOne) acc = in->of_one(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(OfTwo) acc = in->of_two(slots[in->a], acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(OfMany) {
    const Call& call = self.host_calls_[in->call];
    acc = call.numbers(slots + in->a, call.user);
  }
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Select) acc = slots[in->a] != 0 ? slots[in->b] : acc;
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Least) acc = std::isnan(slots[in->a]) || acc < slots[in->a] ? acc : slots[in->a];
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Greatest)
  acc = std::isnan(slots[in->a]) || acc > slots[in->a] ? acc : slots[in->a];
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Return) return {acc, kOk};
  KT_NUMBER_LAST
}

NumberCode::Entry NumberCode::GetEntry() const {
  if (code_.size() != 2) return Run;
  switch (code_[0].op) {
#define KT_NUMBER_SINGLE(op, form)                                                      \
  case NumberOp::k##op##form:                                                           \
    return [](const void* code, const void* const* places) -> Kt_BoundDouble {          \
      const NumberInstr* const in = static_cast<const NumberCode*>(code)->code_.data(); \
      return {op(KT_SIDES_##form), kOk};                                                \
    };
    KT_NUMBER_OPERATORS(KT_NUMBER_MEMORY_FORMS, KT_NUMBER_SINGLE)
#undef KT_NUMBER_SINGLE
    default: return Run;
  }
}

}  // namespace kt::detail
