// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_RowTeam.h"

#include "classlib/store/Kt_RowReader.h"

namespace kt::detail {

std::atomic<std::int64_t> RowTeam::blocks_there{0};

// The second expression may be bound later, when its first value is asked for.
bool RowTeam::Bind() {
  for (std::size_t at = 0; at < exprs_.size(); ++at) {
    const std::int64_t now =
        exprs_[at] != nullptr ? exprs_[at]->GetBinding(cursor_) : RowExpr::kUnbound;
    if (now == bound_at_[at]) continue;
    bound_at_[at] = now;
    here_[at] = now != RowExpr::kUnbound ? exprs_[at]->MakeReader() : nullptr;
    there_[at] = now != RowExpr::kUnbound ? exprs_[at]->MakeReader() : nullptr;
  }
  return here_[0] != nullptr && there_[0] != nullptr;
}

// Where a row costs little, a second thread takes more rows to pay.
void RowTeam::Start(kt_long blocks) {
  constexpr std::int64_t kFullCost = 12;
  std::int64_t cost = -own_cost_;
  for (std::size_t at = 0; at < exprs_.size(); ++at) {
    if (here_[at] != nullptr) cost += exprs_[at]->GetCost();
  }
  cost = std::clamp<std::int64_t>(cost, 0, kFullCost);
  helper_.emplace(static_cast<std::size_t>(blocks * kRowsPerBlock * cost / kFullCost));
  is_off_ = !helper_->IsThere();
}

kt_long RowTeam::Begin(kt_long blocks) {
  if (rest_ > 0) {
    --rest_;
    return 0;
  }
  if (blocks < 2 || !Bind()) return 0;
  if (!helper_) Start(blocks);
  if (is_off_) return 0;
  // Rows as they were loaded have the records of their numbers.
  const Kt_Dataset& dataset = cursor_.GetDataset();
  is_listed_ = Kt_RowReader(dataset).GetRun(0, dataset.GetRowCount()) != 0;
  return std::min({blocks, round_blocks_, is_listed_ ? kMostListed : kMostBlocks});
}

void RowTeam::Note(kt_long done, kt_long missed) {
  constexpr kt_long kWorthwhile = 8;  // blocks for each that was missed
  if (missed * kWorthwhile <= done) {
    round_blocks_ = std::min(round_blocks_ * kGrowth, kMostBlocks);
    next_rest_ = kFirstRest;
  } else {
    round_blocks_ = kFirstBlocks;
    rest_ = next_rest_;
    next_rest_ = std::min(next_rest_ * 2, kMostRest);
  }
}

void RowTeam::FindRecords(kt_long first_row, kt_long blocks) {
  first_row_ = first_row;
  if (is_listed_) {
    const kt_long rows = blocks * kRowsPerBlock;
    listed_.resize(static_cast<std::size_t>(rows));
    Kt_RowReader(cursor_.GetDataset()).GetRecords(first_row, rows, listed_.data());
  }
}

RowRecords RowTeam::RecordsOf(kt_long row) const {
  const auto at = static_cast<std::uint32_t>(row - first_row_);
  if (!is_listed_) return {static_cast<std::uint32_t>(row), nullptr};
  return {0, listed_.data() + at};
}

}  // namespace kt::detail
