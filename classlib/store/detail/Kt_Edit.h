// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/store/detail/Kt_DatasetBody.h"

// The door that every edit of a dataset goes through.
//
// An edit that is refused, stopped or short of memory changes nothing, and none is allowed while a
// cell is computed, because then some loop is in the middle of the rows. Edit sees to the second
// and turns exceptions into answers. For the first an edit has three ways, by what they cost:
//
// - It prepares what may fail before it changes anything. That is the way for edits of one row.
// - OrRestore keeps the state of before, which shares everything with the dataset: what is written
//   becomes a copy. For edits that go over all rows anyway.
// - OrTakeBack is told how to undo what was done, row by row. For edits of some rows, which a copy
//   of all of them would slow down. Where the work is limited that may take too long after a stop;
//   so long ones keep the state as well.
//
// Edits may be made of edits: what an inner one noted as a failure fails the outer one.

// All that edits change. A copy costs about as much as there are columns.
struct Kt_Dataset::State {
  explicit State(const Body& body)
      : columns(body.columns_),
        keys(body.keys_),
        rows(body.rows_),
        pivot(body.pivot_),
        source(body.source_),
        history(body.history_.Saved()) {}
  // Needs no memory.
  void Restore(Body& body);

  kt::detail::ColumnSet columns;
  kt::detail::KeyList keys;
  kt::detail::RowState rows;
  kt::detail::PivotLayer pivot;
  kt::detail::SourceLink source;
  kt::detail::SlotHistory history;
};

template <class Change>
kt_long Kt_Dataset::Body::Edit(Change change) {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  return IsEvaluating() ? -1 : kt::detail::RefuseOnFailure(change);
}

template <class Change>
kt_long Kt_Dataset::Body::OrRestore(Change change) {
  const std::uint32_t failures = kt::MemoryFailures();
  State before(*this);
  try {
    const kt_long answer = change();
    kt::PassMemoryFailure(failures);
    if (answer < 0) before.Restore(*this);
    return answer;
  } catch (const std::exception&) {  // and not where this dataset was destroyed
    before.Restore(*this);
    throw;
  }
}

template <class Change, class TakeBack>
kt_long Kt_Dataset::Body::OrTakeBack(bool is_long, Change change, TakeBack take_back) {
  const std::uint32_t failures = kt::MemoryFailures();
  const Rollback rollback(self_, is_long);
  try {
    const kt_long answer = change();
    kt::PassMemoryFailure(failures);
    if (rollback.TakesBack()) throw kt::detail::WorkStopped();
    if (answer < 0) take_back();
    return answer;
  } catch (const std::exception&) {  // and not where this dataset was destroyed
    if (!rollback.TakesBack()) take_back();
    throw;
  }
}
