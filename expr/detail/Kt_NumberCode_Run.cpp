// SPDX-License-Identifier: MIT
//
// The interpreter of number code. One dispatch per instruction, by the address of a label where the
// compiler has that, and nothing else on the way: operands are doubles at places, in the
// instruction or in a slot on the native stack.
//
// The square root is compiled without errno.
#include "expr/detail/Kt_NumberCode.h"
#include "expr/detail/Kt_NumberOps.h"

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

using namespace number_ops;

namespace {

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
  KT_NUMBER_CASE(LongZero) acc = LongZero(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(NumberZero) if (KT_UNLIKELY(IsMinusZero(acc))) return {acc, kNotSure};
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Not) acc = Not(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Truth) acc = Truth(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(OrT) acc = Or(slots[in->a], acc);
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
  KT_NUMBER_CASE(Abs) acc = Abs(acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Sqrt) acc = Sqrt(acc);
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
  KT_NUMBER_CASE(Select) acc = Select(slots[in->a], slots[in->b], acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Least) acc = Least(slots[in->a], acc);
  KT_NUMBER_NEXT;
  KT_NUMBER_CASE(Greatest) acc = Greatest(slots[in->a], acc);
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
