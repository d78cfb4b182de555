// SPDX-License-Identifier: MIT
#include "classlib/store/Kt_RowReader.h"

#include <algorithm>
#include <numeric>

#include "classlib/store/detail/Kt_DatasetBody.h"

const Kt_Column* Kt_RowReader::GetCells(kt_long col) const {
  const bool is_own = dataset_->body().columns_.Has(col) && !dataset_->IsLogical();
  return is_own ? dataset_->body().CellsOf(col) : nullptr;
}

const Kt_Column* Kt_RowReader::GetShownCells(kt_long col) const {
  const Kt_Dataset::Body& body = dataset_->body();
  if (!body.columns_.Has(col) || body.IsPivot()) return nullptr;
  return body.HasKnownSlots() ? body.CellsOf(col) : nullptr;
}

std::uint32_t Kt_RowReader::GetRun(kt_long row, kt_long count) const {
  const Kt_Dataset::Body& body = dataset_->body();
  const auto view = body.ActiveView();
  const bool is_inside = row >= 0 && count >= 0 && count <= body.ViewCount(view) - row;
  if (!is_inside || body.rows_.grouped) return kNoRecord;
  const bool is_run = body.rows_.index->IsIdentity(view) && (body.IsPivot() || body.IsIntact());
  return is_run ? static_cast<std::uint32_t>(row) : kNoRecord;
}

void Kt_RowReader::GetRecords(kt_long row, kt_long count, std::uint32_t* records) const {
  const Kt_Dataset::Body& body = dataset_->body();
  const auto view = body.ActiveView();
  const bool is_inside = row >= 0 && count >= 0 && count <= body.ViewCount(view) - row;
  if (!is_inside) {
    for (kt_long at = 0; at < count; ++at) {
      records[at] = body.RecordAt(view, row + at).value_or(kNoRecord);
    }
  } else if (body.rows_.grouped) {
    GetRecordsOfGroups(row, count, records);
  } else {
    GetShownRecords(row, count, records);
  }
  if (body.IsPivot() || body.IsIntact()) return;
  for (kt_long at = 0; at < count; ++at) {
    if (records[at] != kNoRecord && body.IsGone(records[at])) records[at] = kNoRecord;
  }
}

// Records by their number in the view.
void Kt_RowReader::GetShownRecords(kt_long row, kt_long count, std::uint32_t* records) const {
  dataset_->body().rows_.index->ForEachRun(
      dataset_->body().ActiveView(), row, row + count,
      [&](std::uint32_t first, std::uint32_t run) {
        std::iota(records, records + run, first);
        records += run;
      },
      [&](const std::uint32_t* slots, std::uint32_t run) {
        records = std::copy_n(slots, run, records);
      });
}

// The records from one subtotal to the next at once.
void Kt_RowReader::GetRecordsOfGroups(kt_long row, kt_long count, std::uint32_t* records) const {
  kt::detail::GroupView& groups = dataset_->body().GroupsOf(dataset_->body().ActiveView());
  const kt_long end = row + count;
  while (row < end) {
    const kt_long next = std::min(groups.NextFrom(row), end);
    GetShownRecords(groups.RecordsBefore(row), next - row, records);
    records += next - row;
    row = next;
    if (row < end) {
      *records++ = kNoRecord;
      ++row;
    }
  }
}
