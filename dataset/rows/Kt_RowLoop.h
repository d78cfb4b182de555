// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>

#include "dataset/rows/Kt_RowCursor.h"
#include "dataset/rows/Kt_RowExpr.h"

namespace kt::detail {

// From the first row up, or from the last one down.
enum class RowOrder : bool { kUp, kDown };

// Gives the values of an expression in the rows [start, end) to `taker`, in order, as long as there
// are such rows and the walk goes on:
//
//   bool Wants(kt_long row)
//       optional: whether the row, which was entered, is evaluated at all. Rows in which an
//       expression gives a plain number ahead are not asked about: they are no subtotals.
//   bool TakeOne(kt_long row, const Kt_Variant& value, bool goes_on)
//       the value of a row that was evaluated by itself; the walk ends with it unless `goes_on`.
//   kt_long TakeMany(kt_long first, const RowNumbers& numbers)
//       the values of the rows from `first` on that were computed ahead: how many of them were
//       taken (downwards: all). The rest is evaluated again.
//
// TakeOne ends the loop with false, TakeMany with -1. Evaluating may change the number of rows:
// those that went are left out, those that came before `end` are taken. False when the walk has to
// end.
template <RowOrder kOrder, class Taker>
bool ForEachValue(RowCursor& cursor, RowExpr& expr, kt_long start, kt_long end, Taker& taker) {
  constexpr bool kUp = kOrder == RowOrder::kUp;
  const auto is_wanted = [&](kt_long row) {
    if constexpr (requires { taker.Wants(row); }) return taker.Wants(row);
    return true;
  };
  Kt_Variant value;
  while (true) {
    const kt_long last = std::min(end, cursor.RowCount());
    if (start >= last) return true;
    const kt_long row = kUp ? start : last - 1;
    const RowNumbers numbers =
        kUp ? expr.NumbersFrom(cursor, row, last) : expr.NumbersTo(cursor, row, start);
    kt_long taken = 1;
    if (numbers.count > 0) {
      taken = taker.TakeMany(kUp ? row : row + 1 - numbers.count, numbers);
      if (taken < 0) return true;
    } else {
      if (!cursor.Enter(row)) return false;
      if (is_wanted(row)) {
        const bool goes_on = expr.Evaluate(cursor, value);
        if (!taker.TakeOne(row, value, goes_on)) return goes_on;
        if (!goes_on) return false;
      }
    }
    if (kUp) {
      start = row + taken;
    } else {
      end = row + 1 - taken;
    }
  }
}

}  // namespace kt::detail
