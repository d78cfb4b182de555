// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "classlib/store/Kt_Dataset.h"

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
namespace kt::detail {

// No std::exception, so that nothing takes it for a failed allocation.
struct DatasetEnd {
  const void* dataset;
};

}  // namespace kt::detail

template <class Work>
std::invoke_result_t<Work> Kt_Dataset::Whole(Work work, std::invoke_result_t<Work> ended) const {
  if (evaluator_.in_operation) return work();
  class Mark {
   public:
    explicit Mark(const Kt_Dataset& dataset) : handle_(const_cast<Kt_Dataset*>(&dataset)) {
      dataset.evaluator_.in_operation = true;
    }
    Mark(const Mark&) = delete;
    Mark& operator=(const Mark&) = delete;
    ~Mark() {
      if (Kt_Dataset* const dataset = handle_.Get()) dataset->evaluator_.in_operation = false;
    }

   private:
    Kt_DatasetHandle handle_;
  };
  const void* const self = this;
  const Mark mark(*this);
  try {
    return work();
  } catch (const kt::detail::DatasetEnd& end) {
    if (end.dataset != self) throw;
    return ended;
  }
}

template <class Ask>
std::invoke_result_t<Ask> Kt_Dataset::Outside(Ask ask) const {
  const Callout callout(*this);
  auto answer = ask();
  callout.EndOperationUnlessThere();
  return answer;
}
