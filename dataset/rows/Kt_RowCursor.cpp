// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_RowCursor.h"

#include <utility>

#include "script/Kt_RunBudget.h"

namespace kt::detail {

namespace {

// Row expressions see what the wrapper's container sees; a wrapper that belongs to nothing stands
// in its parent context.
Kt_ExprObject* ParentOfRows(const Kt_ExprDataset& wrapper) {
  Kt_ExprObject* const container = Kt_ExprObject::From(wrapper.GetContainer());
  return container != nullptr ? container : wrapper.GetParentCtx();
}

}  // namespace

FiltersOff::FiltersOff(Kt_Dataset& dataset, bool is_wanted)
    : had_filter_(is_wanted && dataset.GetFilterStat()),
      had_local_filter_(is_wanted && dataset.GetLocFilterStat()) {
  if (!had_filter_ && !had_local_filter_) return;
  dataset_ = Kt_DatasetHandle(&dataset);
  if (had_filter_) dataset.SetFilterStat(false);
  if (had_local_filter_) dataset.SetLocFilterStat(false);
}

FiltersOff::~FiltersOff() {
  Kt_Dataset* const dataset = dataset_.Get();
  if (dataset == nullptr) return;
  if (had_filter_) dataset->SetFilterStat(true);
  if (had_local_filter_) dataset->SetLocFilterStat(true);
  if (Kt_Object* const wrapper = wrapper_.GetObject()) {
    static_cast<Kt_ExprDataset*>(Kt_ExprObject::From(wrapper))->KeepPositionInside();
  }
}

RowCursor::RowCursor(Kt_ExprDataset& wrapper, CurrentRow current_row, kt_long pivot_index)
    : wrapper_(&wrapper),
      data_(wrapper.GetDataset()),
      handle_(data_),
      hold_(ParentOfRows(wrapper), &wrapper),
      context_(ParentOfRows(wrapper), nullptr, data_, nullptr, nullptr),
      current_row_(current_row),
      pivot_index_(pivot_index),
      is_logical_pivot_(data_->IsLogical() && data_->IsPivot()),
      row_count_(data_->GetRowCount()),
      version_(data_->GetStructureVersion()) {}

RowCursor::~RowCursor() {
  if (stop_code_ == kOk && owes_) {
    (void)kt::ChargeRun(kRowsPerPayment - rows_until_payment_);  // the script finds the code
  }
}

// Charges for the rows just walked; nothing at the first row, which only asks.
bool RowCursor::Pay() {
  rows_until_payment_ = 0;
  const bool owed = std::exchange(owes_, false);
  if (stop_code_ == kOk) stop_code_ = kt::ChargeRun(owed ? kRowsPerPayment : 0);
  if (stop_code_ != kOk || !IsThere()) return false;
  owes_ = true;
  rows_until_payment_ = kRowsPerPayment - 1;
  return true;
}

bool RowCursor::PayFor(std::int64_t steps) {
  if (stop_code_ == kOk) stop_code_ = kt::ChargeRun(steps);
  if (KT_LIKELY(stop_code_ == kOk)) return true;
  rows_until_payment_ = 0;  // the next row entered ends the walk
  return false;
}

void RowCursor::TakeBack(std::int64_t steps) {
  if (Kt_WorkMeter::CurrentStop() == kOk) PayQuietlyFor(-steps);
}

void RowCursor::Place() {
  const int current = current_row_ == kFollow ? row_ : wrapper_->GetCurRow();
  context_.SetRowPosition(wrapper_->GetRowPosition(), current, 0, row_);
  if (is_logical_pivot_) {
    context_.SetPivotRowPosition(wrapper_->GetPivotRowPosition(), current, 0, -1);
    context_.SetPivotColPosition(wrapper_->GetPivotColPosition(), pivot_index_, 0, -1);
  }
  is_placed_ = true;
}

bool RowCursor::EnterPosition(kt_long pivot_position) {
  if (!Enter(wrapper_->GetRowIdx())) return false;
  context_.SetRowPosition(wrapper_->GetRowPosition(), wrapper_->GetCurRow(), 0, row_);
  context_.SetPivotRowPosition(wrapper_->GetPivotRowPosition(), wrapper_->GetCurRow(), 0, -1);
  context_.SetPivotColPosition(pivot_position, pivot_position, 0, -1);
  is_placed_ = true;
  return true;
}

bool RowCursor::Stop() {
  stop_code_ = kt::CheckRun(nullptr);
  return false;
}

bool RowCursor::NoteChanges() {
  if (!IsThere()) return false;
  version_ = data_->GetStructureVersion();
  row_count_ = data_->GetRowCount();
  return true;
}

}  // namespace kt::detail
