// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "classlib/store/detail/Kt_DatasetBody.h"

// How operations of a dataset survive its end.
//
// Computing a cell of an expression runs code that the store does not know. It may destroy the
// dataset, or assign another one to it, while a sort, an aggregate or a save is in the middle of
// its rows. Asking after every cell in every loop would be easy to forget, so the end travels as an
// exception: it is thrown where the cell was computed (Callout::EndOperationUnlessThere), passes
// all frames of the operation, and is caught in its outermost one (Whole), which answers without
// looking at the dataset again. The frames on the way belong to the store, because a callout hides
// the operation from everything that runs inside of it. Nothing of this is on the way to a cell of
// a plain column.
//
// Tests: dataset/destruction_test.cpp.
template <class Work>
std::invoke_result_t<Work> Kt_Dataset::Body::Whole(Work work,
                                                   std::invoke_result_t<Work> ended) const {
  if (evaluator_.in_operation) return work();
  const kt::detail::CellEvaluator* const own = &evaluator_;  // this may be gone when it is asked
  const kt::detail::WholeMark mark(self_, evaluator_);
  try {
    return work();
  } catch (const kt::detail::DatasetEnd& end) {
    if (end.of != own) throw;
    return ended;
  }
}

template <class Ask>
std::invoke_result_t<Ask> Kt_Dataset::Body::Outside(Ask ask) const {
  const kt::detail::Callout callout(self_, evaluator_, history_);
  auto answer = ask();
  callout.EndOperationUnlessThere();
  return answer;
}
