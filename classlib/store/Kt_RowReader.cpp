// SPDX-License-Identifier: MIT
#include "classlib/store/Kt_RowReader.h"

#include <algorithm>
#include <numeric>

#include "classlib/store/detail/Kt_DatasetBody.h"

const Kt_Column* Kt_RowReader::GetCells(kt_long col) const {
  const bool is_own = dataset_->body().columns_.Has(col) && !dataset_->IsLogical();
  return is_own ? dataset_->body().CellsOf(col) : nullptr;
}

std::uint32_t Kt_RowReader::GetRun(kt_long row, kt_long count) const {
  const auto view = dataset_->body().ActiveView();
  const bool is_inside = row >= 0 && count >= 0 && count <= dataset_->body().ViewCount(view) - row;
  if (!is_inside || dataset_->body().rows_.grouped) return kNoRecord;
  return dataset_->body().rows_.index->IsIdentity(view) ? static_cast<std::uint32_t>(row)
                                                        : kNoRecord;
}

void Kt_RowReader::GetRecords(kt_long row, kt_long count, std::uint32_t* records) const {
  const auto view = dataset_->body().ActiveView();
  const bool is_inside = row >= 0 && count >= 0 && count <= dataset_->body().ViewCount(view) - row;
  if (!is_inside || dataset_->body().rows_.grouped) {
    for (kt_long at = 0; at < count; ++at) {
      records[at] = dataset_->body().RecordAt(view, row + at).value_or(kNoRecord);
    }
    return;
  }
  std::uint32_t* next = records;
  dataset_->body().rows_.index->ForEachRun(
      view, row, row + count,
      [&](std::uint32_t first, std::uint32_t run) {
        std::iota(next, next + run, first);
        next += run;
      },
      [&](const std::uint32_t* slots, std::uint32_t run) { next = std::copy_n(slots, run, next); });
}
