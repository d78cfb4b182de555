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

kt_long RowTeam::Begin(kt_long blocks) {
  if (rest_ > 0) {
    --rest_;
    return 0;
  }
  const kt_long round = std::min(blocks, round_blocks_);
  return round > 1 && Bind() ? round : 0;
}

void RowTeam::Note(kt_long blocks, kt_long missed) {
  if (missed * 4 <= blocks) {
    round_blocks_ = std::min(round_blocks_ * 2, kMostBlocks);
    next_rest_ = kFirstRest;
  } else {
    round_blocks_ = kFirstBlocks;
    rest_ = next_rest_;
    next_rest_ = std::min(next_rest_ * 2, kMostRest);
  }
}

void RowTeam::FindRecords(kt_long first_row, kt_long blocks) {
  const Kt_RowReader reader(cursor_.GetDataset());
  const kt_long rows = blocks * kRowsPerBlock;
  first_row_ = first_row;
  first_record_ = reader.GetRun(first_row, rows);
  if (first_record_ != Kt_RowReader::kNoRecord) return;
  listed_.resize(static_cast<std::size_t>(rows));
  reader.GetRecords(first_row, rows, listed_.data());
}

RowRecords RowTeam::RecordsOf(kt_long row) const {
  const auto at = static_cast<std::uint32_t>(row - first_row_);
  if (first_record_ != Kt_RowReader::kNoRecord) return {first_record_ + at, nullptr};
  return {0, listed_.data() + at};
}

}  // namespace kt::detail
