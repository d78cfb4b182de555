// SPDX-License-Identifier: MIT
#pragma once

#include <type_traits>
#include <utility>

#include "object/Kt_ExprObject.h"
#include "object/Kt_FuncArgs.h"

namespace kt::detail {

// What run-time reports of the built-in functions name as their source.
inline constexpr const char16_t* kBuiltinSource = u"Kt_ExprFuncs";

template <class T>
T ReadArg(const Kt_Variant& value) {
  if constexpr (std::is_same_v<T, double>) {
    return value.ToDouble();
  } else if constexpr (std::is_same_v<T, kt_long>) {
    return value.ToInteger();
  } else if constexpr (std::is_same_v<T, Kt_WString>) {
    return value.ToString();
  } else {
    static_assert(std::is_same_v<T, Kt_Variant>);
    return value;
  }
}

inline void Answer(Kt_Variant& result, bool value) { result.Set(kt_long{value ? 1 : 0}); }
template <class T>
requires(!std::is_same_v<T, bool>) void Answer(Kt_Variant& result, T&& value) {
  result = std::forward<T>(value);
}

template <auto Function, class R, class... A, std::size_t... Index>
void CallPlain(R (*)(A...), const Kt_FuncArgs& in, Kt_Variant& result,
               std::index_sequence<Index...>) {
  Answer(result, Function(ReadArg<std::decay_t<A>>(in.Value(static_cast<kt_long>(Index)))...));
}

template <class R, class... A>
constexpr std::size_t ArityOf(R (*)(A...)) {
  return sizeof...(A);
}

// Runs a plain C++ function as the body of a handler: reads as many arguments as it takes, each as
// the kind that its parameter has, and stores what it returns; a bool becomes 1 or 0. Too few
// arguments leave the result as it is. `Function` must not fail and makes no result longer than
// its arguments.
template <auto Function>
void PlainOf(const Kt_FuncArgs& in, Kt_Variant& result) {
  constexpr std::size_t kArity = ArityOf(Function);
  if (in.Count() >= static_cast<kt_long>(kArity)) {
    CallPlain<Function>(Function, in, result, std::make_index_sequence<kArity>());
  }
}
template <auto Function>
kt_long Plain(const Kt_VariantList* args, Kt_Variant& result) {
  PlainOf<Function>(Kt_FuncArgs(args), result);
  return kOk;
}

// Report that the result of `function` ("lpad()") would pass a limit.
KT_COLD inline kt_long TextTooLong(Kt_ExprObject* self, const char16_t* function) {
  return kt::Report(self, kBuiltinSource, kErrStringTooLong, function);
}
KT_COLD inline kt_long ListTooLong(Kt_ExprObject* self, const char16_t* function) {
  return kt::Report(self, kBuiltinSource, kErrListTooLong, function);
}

}  // namespace kt::detail
