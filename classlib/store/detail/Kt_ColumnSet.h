// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "classlib/base/detail/Kt_CopyOnWrite.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/Kt_ColumnMap.h"
#include "classlib/store/detail/Kt_CellHash.h"
#include "classlib/store/detail/Kt_RowIndex.h"
#include "classlib/text/detail/Kt_NameMap.h"

namespace kt::detail {

// What a dataset knows of one of its columns.
struct DatasetColumn {
  Kt_WString id;
  Kt_WString map;  // of a logical column
  Kt_ColumnType type = Kt_ColumnType::kString;
  kt_long size = 0;
  kt_long target = -1;                 // column that a logical column stands for, -1: none
  bool is_alias = false;               // stands for the source's column with the id `map`
  kt_long source_col = -1;             // the source's column that it stands for, -1: none
  std::shared_ptr<Kt_Column> cells{};  // shared between copies; null for a logical column
  std::shared_ptr<const Kt_MapOrigin> origin{};  // of a map that a load brought
  mutable ColumnSearches searches{};             // of the cells
};

// The columns of a dataset in their order, found by id without regard to case, and their cells by
// slot. Copies share the cells until one side writes.
class ColumnSet {
 public:
  kt_long Count() const { return static_cast<kt_long>(columns_.size()); }
  bool Has(kt_long col) const { return col >= 0 && col < Count(); }
  // -1 when there is none of that id.
  kt_long Find(std::u16string_view id) const { return names_->Find(id); }

  // REQUIRES: Has(col).
  DatasetColumn& operator[](kt_long col) { return columns_[static_cast<std::size_t>(col)]; }
  const DatasetColumn& operator[](kt_long col) const {
    return columns_[static_cast<std::size_t>(col)];
  }
  auto begin() { return columns_.begin(); }
  auto end() { return columns_.end(); }
  auto begin() const { return columns_.begin(); }
  auto end() const { return columns_.end(); }

  // REQUIRES: no column has the id.
  void Add(DatasetColumn column);
  // Drops all columns that have cells.
  void DropStored();
  // The column with cells, or of the source, that `col` stands for through logical columns; -1 for
  // an expression, and for a ring.
  kt_long EndOf(kt_long col) const;

  // The cells of a column for writing. REQUIRES: it has some.
  Kt_Column& Write(kt_long col) { return Own((*this)[col]); }
  // Adds null cells where a column has fewer than that.
  void PadTo(std::size_t rows);
  // Makes the cells of a slot null. After PrepareForget that needs no memory.
  void PrepareForget(Slot slot);
  void Forget(Slot slot);

 private:
  static Kt_Column& Own(DatasetColumn& column) {
    column.searches.Forget();
    if (column.cells.use_count() != 1) column.cells = std::make_shared<Kt_Column>(*column.cells);
    return *column.cells;
  }

  std::vector<DatasetColumn> columns_;
  CopyOnWrite<NameMap> names_;
};

}  // namespace kt::detail
