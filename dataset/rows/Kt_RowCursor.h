// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_DatasetCtx.h"
#include "object/Kt_RowMark.h"

namespace kt::detail {

// Suspends the filters of a dataset that are on, and restores them; a dataset that has gone
// meanwhile is not touched.
class FiltersOff {
 public:
  // Does nothing when `is_wanted` is false, so that one body serves both forms of a method.
  FiltersOff(Kt_Dataset& dataset, bool is_wanted);
  // Also brings the position back to the rows that are shown then: what runs meanwhile may move it.
  // REQUIRES: the wrapper has a dataset.
  FiltersOff(Kt_ExprDataset& wrapper, bool is_wanted)
      : FiltersOff(*wrapper.GetDataset(), is_wanted) {
    wrapper_.Set(nullptr, &wrapper);
  }
  FiltersOff(const FiltersOff&) = delete;
  FiltersOff& operator=(const FiltersOff&) = delete;
  ~FiltersOff();

 private:
  Kt_DatasetHandle dataset_;
  Kt_ObjectHolder wrapper_;
  bool had_filter_;
  bool had_local_filter_;
};

// The context of one row loop. A fault that every row has would be reported a million times, so
// only the first report of a loop passes. What script functions report on their own behalf does not
// come through here and is not held back.
class RowContext final : public Kt_DatasetCtx {
 public:
  using Kt_DatasetCtx::Kt_DatasetCtx;
  int IsSystemLogMode() override { return has_reported_ ? 0 : Kt_DatasetCtx::IsSystemLogMode(); }
  void OnRunTimeError(const Kt_Result& result) override {
    ++others_run;
    if (!std::exchange(has_reported_, true)) Kt_DatasetCtx::OnRunTimeError(result);
  }

  std::int64_t others_run = 0;  // how often code ran that may have changed anything

 private:
  bool has_reported_ = false;
};

// Where a walk over the rows of a wrapper's dataset stands, whether all of that is still there, and
// what the walk costs.
//
//   RowExpr condition(text);
//   RowCursor cursor(wrapper, RowCursor::kFollow);
//   for (kt_long row = 0; row < cursor.RowCount() && cursor.Enter(row); ++row) {
//     Kt_Variant value;
//     if (!condition.Evaluate(cursor, value)) break;
//     ...
//   }
//   return cursor.GetStopCode();
//
// ForEachValue (Kt_RowLoop.h) is that loop with many rows at once where expressions are plain
// numbers.
//
// An expression may run script and host code, which may change the dataset or destroy it or the
// wrapper. After each evaluation LookAround finds that out, by two numbers: how often other code
// ran, and the structure version of the dataset as the walk knows it. While the first stands, so do
// cells; while the second stands, so do rows and columns. False ends the walk: then neither dataset
// nor wrapper may be touched again. When only rows or columns changed, RowCount tells the new
// number and the expressions find their columns anew.
//
// A row costs one step of the budget of the script that runs, if any.
class RowCursor {
 public:
  // What the current row of the context is: that of the wrapper, or the row entered.
  enum CurrentRow { kKeep, kFollow };

  // `pivot_index` is the position that cells of a pivot are read at.
  // REQUIRES: the wrapper has a dataset.
  RowCursor(Kt_ExprDataset& wrapper, CurrentRow current_row, kt_long pivot_index = -1);
  RowCursor(const RowCursor&) = delete;
  RowCursor& operator=(const RowCursor&) = delete;
  ~RowCursor();

  // Goes to a row / to a position of the wrapper's pivot row. False when the walk has to end.
  bool Enter(kt_long row) {
    GoTo(row);
    return KT_LIKELY(--rows_until_payment_ >= 0) || Pay();
  }
  bool EnterPosition(kt_long pivot_position);
  // Pays for several rows at once, computed ahead, by the steps that they take. False: they do not
  // count, and the next row that is entered ends the walk.
  bool PayFor(std::int64_t steps);
  // Takes back what was paid for rows that were not taken after all.
  void TakeBack(std::int64_t steps);
  // PayFor where no other code may run: nobody is told of a stop before PayFor is asked again.
  static bool PayQuietlyFor(std::int64_t steps) {
    return kt::Charge(steps * Kt_WorkMeter::kUnitsPerStep);
  }
  // Goes to one of those.
  void GoTo(kt_long row) {
    row_ = row;
    is_placed_ = false;
  }
  // Called after anything that may run other code; `ran_before` is GetOthersRun from before it.
  // False when the walk has to end.
  bool LookAround(std::int64_t ran_before) {
    if (KT_UNLIKELY(Kt_WorkMeter::CurrentStop() != kOk)) return Stop();
    return KT_LIKELY(ran_before == GetOthersRun()) || IsUnchanged() || NoteChanges();
  }

  // REQUIRES: none of the above has answered false.
  Kt_Dataset& GetDataset() const { return *data_; }
  kt_long GetRow() const { return row_; }
  kt_long RowCount() const { return row_count_; }
  bool IsLogicalPivot() const { return is_logical_pivot_; }
  // The code of the budget that ended the walk, or 0.
  kt_long GetStopCode() const { return stop_code_; }

  // For expressions. The context, put to the row entered.
  Kt_DatasetCtx& Placed() {
    if (!is_placed_) Place();
    return context_;
  }
  Kt_DatasetCtx& GetContext() { return context_; }
  // How often code ran that may have changed anything.
  std::int64_t GetOthersRun() const { return context_.others_run; }
  void NoteOthersRun() { ++context_.others_run; }
  // The structure version of the dataset when the walk looked last.
  std::uint64_t GetVersion() const { return version_; }
  // Dataset and wrapper are there, and what was found out about columns still holds.
  bool IsUnchanged() const { return IsThere() && data_->GetStructureVersion() == version_; }

 private:
  static constexpr kt_long kRowsPerPayment = 256;

  bool IsThere() const { return handle_.Get() == data_ && hold_.IsValid() && HasDataset(); }
  bool HasDataset() const { return wrapper_->GetDataset() == data_; }
  bool Pay();
  bool Stop();
  void Place();
  bool NoteChanges();

  Kt_ExprDataset* wrapper_;
  Kt_Dataset* data_;  // good while handle_ knows it
  Kt_DatasetHandle handle_;
  Kt_ObjectHolder hold_;  // on the wrapper and the parent of the context
  RowContext context_;
  CurrentRow current_row_;
  int pivot_index_;
  bool is_logical_pivot_;
  bool is_placed_ = false;
  kt_long row_ = -1;
  const RowMark row_mark_{row_};
  kt_long row_count_;
  kt_long rows_until_payment_ = 0;
  bool owes_ = false;  // for kRowsPerPayment - rows_until_payment_ rows
  kt_long stop_code_ = 0;
  std::uint64_t version_;
};

}  // namespace kt::detail
