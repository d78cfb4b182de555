// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/detail/Kt_SlotHistory.h"

namespace kt::detail {

// Who computes the cells of expressions, and what is on the way. Not part of the value: copies
// start with none.
struct CellEvaluator {
  CellEvaluator() = default;
  CellEvaluator(const CellEvaluator&) {}
  CellEvaluator& operator=(const CellEvaluator&) { return *this; }

  std::shared_ptr<Kt_ColumnEvaluator> pointer;
  int depth = 0;              // cells on the way
  bool out_of_stack = false;  // of those cells, which all read empty then
  bool in_operation = false;  // one that goes on with the dataset is on the way (Kt_Whole.h)
};

// Thrown through an operation whose dataset has ended. No std::exception, so that nothing takes it
// for a failed allocation.
struct DatasetEnd {
  const CellEvaluator* of;
};

// Around code outside the store that runs while a dataset is in the middle of something: it refuses
// changes meanwhile. Assigning to the dataset and destroying it cannot be refused.
class Callout {
 public:
  Callout(Kt_Dataset& dataset, CellEvaluator& evaluator, const SlotHistory& history)
      : handle_(&dataset),
        evaluator_(evaluator),
        history_(history),
        era_(history.Era()),
        was_in_operation_(std::exchange(evaluator.in_operation, false)) {
    ++evaluator_.depth;
  }
  Callout(const Callout&) = delete;
  Callout& operator=(const Callout&) = delete;
  ~Callout() {
    if (handle_.Get() == nullptr) return;
    evaluator_.in_operation = was_in_operation_;
    if (--evaluator_.depth == 0) evaluator_.out_of_stack = false;
  }

  bool IsThere() const { return handle_.Get() != nullptr && history_.Era() == era_; }
  // Ends the operation that goes on with the dataset, if there is one and the dataset is not what
  // it was.
  void EndOperationUnlessThere() const {
    if (was_in_operation_ && !IsThere()) throw DatasetEnd{&evaluator_};
  }

 private:
  Kt_DatasetHandle handle_;
  CellEvaluator& evaluator_;  // looked at, as the history, only while handle_ knows the dataset
  const SlotHistory& history_;
  std::uint64_t era_;
  bool was_in_operation_;
};

// An operation that goes on with its dataset after cells were computed.
class WholeMark {
 public:
  WholeMark(Kt_Dataset& dataset, CellEvaluator& evaluator)
      : handle_(&dataset), evaluator_(evaluator) {
    evaluator_.in_operation = true;
  }
  WholeMark(const WholeMark&) = delete;
  WholeMark& operator=(const WholeMark&) = delete;
  ~WholeMark() {
    if (handle_.Get() != nullptr) evaluator_.in_operation = false;
  }

 private:
  Kt_DatasetHandle handle_;
  CellEvaluator& evaluator_;
};

}  // namespace kt::detail
