// SPDX-License-Identifier: MIT
#pragma once

#include "object/Kt_FuncArgs.h"
#include "object/Kt_NameTables.h"

namespace kt {

// A built-in function as a plain one, for compiled code that has the arguments at hand and makes no
// list of them. The handlers of the table of built-ins call the same ones.
struct DirectFunc {
  // What it is, for code that computes with numbers only.
  enum class Kind : std::uint8_t { kNumbers, kIif, kLeast, kGreatest, kTexts };

  Kt_Getter handler;
  Kind kind;
  // A double for that many arguments read as double; null where it does not take so many.
  double (*of_one)(double);
  double (*of_two)(double, double);
  // Any number of arguments of any kind, for the kinds but kNumbers. Cannot fail.
  void (*of_values)(const Kt_FuncArgs& in, Kt_Variant& result);
  // of_one for `count` numbers, with the same bits; `out` may be `in`. There where of_one is.
  void (*of_block)(const double* in, double* out, std::size_t count) = nullptr;
  // Goes by the decimal text of numbers, whose length is charged where it is hundreds of digits.
  bool makes_texts = false;
  // of_block does several numbers at once, in hardly more time than a sum.
  bool is_quick = false;
};

// Null for functions that have no such form.
const DirectFunc* FindDirectFunc(Kt_Getter handler);

// The block form of a function that is some built-in's of_one.
const DirectFunc* FindOfOne(double (*of_one)(double));

// Calls a built-in without making a list. False when it has no such form for these arguments.
bool CallDirect(const DirectFunc* direct, std::span<const Kt_Variant> args, Kt_Variant& value);

}  // namespace kt
