// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_ColumnSet.h"

#include "classlib/base/Kt_Charge.h"

namespace kt::detail {

// Room first, so that no name is known without its column.
void ColumnSet::Add(DatasetColumn column) {
  if (columns_.size() == columns_.capacity()) columns_.reserve(columns_.size() * 2 + 4);
  names_.Write().Add(column.id, Count());
  columns_.push_back(std::move(column));
}

void ColumnSet::DropStored() {
  std::erase_if(columns_, [](const DatasetColumn& column) { return column.cells != nullptr; });
  NameMap& names = names_.Write();
  names.Clear();
  for (kt_long col = 0; col < Count(); ++col) names.Add((*this)[col].id, col);
}

// A chain with more steps than there are columns is a ring.
kt_long ColumnSet::EndOf(kt_long col) const {
  for (kt_long step = 0; step < Count() && Has(col); ++step) {
    const DatasetColumn& column = (*this)[col];
    if (column.cells != nullptr || column.source_col >= 0) return col;
    col = column.target;
  }
  return -1;
}

void ColumnSet::PadTo(std::size_t rows) {
  for (DatasetColumn& column : columns_) {
    if (column.cells == nullptr || column.cells->RowCount() >= rows) continue;
    const bool is_copied = column.cells.use_count() != 1;
    Kt_Column& cells = Own(column);
    // A copy has no room for more: it will move.
    if (is_copied && !kt::ChargeTime(static_cast<std::int64_t>(cells.RowCount()))) {
      throw WorkStopped();
    }
    cells.AppendNulls(rows - cells.RowCount());
  }
}

void ColumnSet::PrepareForget(Slot slot) {
  for (DatasetColumn& column : columns_) {
    if (column.cells != nullptr && !column.cells->IsNull(slot)) Own(column).MakeNullable();
  }
}

void ColumnSet::Forget(Slot slot) {
  for (DatasetColumn& column : columns_) {
    if (column.cells != nullptr && !column.cells->IsNull(slot)) Own(column).WriteNull(slot);
  }
}

}  // namespace kt::detail
