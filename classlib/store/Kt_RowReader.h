// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>

#include "classlib/store/Kt_Column.h"

class Kt_Dataset;

// Reads columns of a dataset over many rows without going through the dataset for every cell.
//
//   const Kt_RowReader reader(orders);
//   const Kt_Column* const prices = reader.GetCells(price);
//   std::uint32_t records[256];
//   reader.GetRecords(row, 256, records);         // prices->Read(records[0]) is the cell of `row`
//
// What it gives is good until the structure version of the dataset changes or a cell is written.
// Borrows the dataset. Threads: those of the dataset.
class KT_CLASS_API Kt_RowReader {
 public:
  // Stands for rows without a record: subtotals, numbers outside, and rows of a logical dataset
  // whose record is not there any more.
  static constexpr std::uint32_t kNoRecord = std::numeric_limits<std::uint32_t>::max();

  explicit Kt_RowReader(const Kt_Dataset& dataset) : dataset_(&dataset) {}

  // The cells of a column by record. Null for what the dataset does not hold itself: the columns of
  // a logical dataset or a pivot, and expressions.
  const Kt_Column* GetCells(kt_long col) const;
  // The same, with the columns of a logical dataset, whose records are those of its source. These
  // are good until code runs that may change the source. Null for pivots and expressions.
  const Kt_Column* GetShownCells(kt_long col) const;
  // The records of the rows [row, row + count) as they are shown.
  void GetRecords(kt_long row, kt_long count, std::uint32_t* records) const;
  // The record of `row` where those of [row, row + count) are known to follow one another without
  // looking at each: rows as they were loaded, none of them hidden, deleted or gone. Else
  // kNoRecord.
  std::uint32_t GetRun(kt_long row, kt_long count) const;

 private:
  void GetShownRecords(kt_long row, kt_long count, std::uint32_t* records) const;
  void GetRecordsOfGroups(kt_long row, kt_long count, std::uint32_t* records) const;

  const Kt_Dataset* dataset_;
};
