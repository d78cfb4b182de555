// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "classlib/store/Kt_Dataset.h"
#include "dataset/Kt_DatasetCtx.h"
#include "dataset/rows/Kt_RowExpr.h"

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
    ++outside_count;
    if (!std::exchange(has_reported_, true)) Kt_DatasetCtx::OnRunTimeError(result);
  }

  std::int64_t outside_count = 0;  // how often code ran that may have changed anything

 private:
  bool has_reported_ = false;
};

// One walk of row expressions over the rows of a wrapper's dataset: what aggregates, filters and
// searches have in common.
//
//   RowExpr condition(text);
//   RowLoop loop(wrapper, RowLoop::kFollow);
//   for (kt_long row = 0; row < loop.RowCount() && loop.Enter(row); ++row) {
//     Kt_Variant value;
//     if (!loop.Evaluate(condition, value)) break;
//     ...
//   }
//   return loop.GetStopCode();
//
// Where expressions are plain numbers, EnterFrom and EnterTo give many rows at once.
//
// An expression may run script and host code, which may change the dataset or destroy it or the
// wrapper. Evaluate looks afterwards and answers false when the loop has to end: then neither may
// be touched again. When only rows or columns changed, RowCount tells the new number and the
// expressions find their columns anew.
//
// A row costs one step of the budget of the script that runs, if any.
class RowLoop {
 public:
  // What the current row of the context is: that of the wrapper, or the row entered.
  enum CurrentRow { kKeep, kFollow };

  // `pivot_index` is the position that cells of a pivot are read at.
  // REQUIRES: the wrapper has a dataset.
  RowLoop(Kt_ExprDataset& wrapper, CurrentRow current_row, kt_long pivot_index = -1);
  RowLoop(const RowLoop&) = delete;
  RowLoop& operator=(const RowLoop&) = delete;
  ~RowLoop();

  // Goes to a row / to a position of the wrapper's pivot row. False when the loop has to end.
  bool Enter(kt_long row) {
    row_ = row;
    is_placed_ = false;
    return KT_LIKELY(--rows_until_payment_ >= 0) || Pay();
  }
  bool EnterPosition(kt_long pivot_position);
  // Enters several rows at once: those from `row` on before `end` / down to `row` whose values are
  // computed already, which takes no other code. None: enter `row` by itself.
  RowNumbers EnterFrom(kt_long row, kt_long end, RowExpr& expr);
  RowNumbers EnterTo(kt_long row, RowExpr& expr);
  // Goes to one of the rows entered at once.
  void GoTo(kt_long row) {
    row_ = row;
    is_placed_ = false;
  }
  // The value of an expression in the row entered; empty when it fails. False when the loop has to
  // end, also with a value.
  bool Evaluate(RowExpr& expr, Kt_Variant& value);

  // REQUIRES: neither of the above has answered false.
  Kt_Dataset& GetDataset() const { return *data_; }
  kt_long RowCount() const { return row_count_; }
  // Counts the changes of rows and columns that the loop has noticed.
  kt_long GetChangeCount() const { return change_count_; }
  bool IsLogicalPivot() const { return is_logical_pivot_; }
  // The code of the budget that ended the loop, or 0.
  kt_long GetStopCode() const { return stop_code_; }

  // For expressions. The context, put to the row entered.
  Kt_DatasetCtx& Placed() {
    if (!is_placed_) Place();
    return context_;
  }
  Kt_DatasetCtx& GetContext() { return context_; }
  kt_long GetRow() const { return row_; }
  // Another number whenever cells, rows or columns may have changed.
  std::int64_t GetEpoch() const { return context_.outside_count + change_count_ + 1; }
  void NoteOutside() { ++context_.outside_count; }
  // Dataset and wrapper are there, and what was found out about columns still holds.
  bool IsUnchanged() const { return IsThere() && data_->GetStructureVersion() == version_; }

 private:
  static constexpr kt_long kRowsPerPayment = 256;

  bool IsThere() const { return handle_.Get() == data_ && hold_.IsValid() && HasDataset(); }
  bool HasDataset() const { return wrapper_->GetDataset() == data_; }
  bool Pay();
  const RowBlock* BlockOf(kt_long row, RowExpr& expr);
  RowNumbers PayFor(RowNumbers numbers);
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
  kt_long row_count_;
  kt_long rows_until_payment_ = 0;
  bool has_paid_ = false;
  kt_long stop_code_ = 0;
  kt_long change_count_ = 0;
  std::uint64_t version_;
};

// What a search or a Case form takes for true: an explicit true. A filter takes only an explicit
// false for false; any other value is neither.
bool IsTrueCondition(const Kt_Variant& value);
bool IsFalseCondition(const Kt_Variant& value);

}  // namespace kt::detail
