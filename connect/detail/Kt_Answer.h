// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "connect/Kt_Database.h"
#include "connect/detail/Kt_ColumnBuilder.h"

namespace kt::detail {

// What a statement answers, as it comes: a builder for each column.
// Fails: throws std::bad_alloc, and WorkStopped when the work has to stop.
class Answer {
 public:
  explicit Answer(std::function<bool(std::int64_t)> progress = {})
      : progress_(std::move(progress)) {}

  // False, with the reason, for more columns than a dataset has.
  bool Begin(std::vector<Kt_DatabaseColumn> columns, std::string& error) {
    columns_ = std::move(columns);
    if (columns_.size() > static_cast<std::size_t>(kMaxDatasetColumns)) {
      error = "more than " + std::to_string(kMaxDatasetColumns) + " columns";
      return false;
    }
    cells_.clear();
    for (const Kt_DatabaseColumn& column : columns_) cells_.emplace_back(column.type);
    return true;
  }
  const std::vector<Kt_DatabaseColumn>& Columns() const { return columns_; }
  ColumnBuilder& operator[](std::size_t col) { return cells_[col]; }
  std::int64_t RowCount() const { return rows_; }

  // After the cells of a row. False, with the reason, when there are too many.
  bool EndRow(std::size_t bytes, std::string& error) {
    constexpr std::int64_t kRowsPerReport = 1 << 16;
    ++rows_;
    charge_.AddOrLeave(static_cast<std::int64_t>(cells_.size()) * 4 * Kt_WorkMeter::kUnitsPerCell +
                       static_cast<std::int64_t>(bytes));
    if (KT_UNLIKELY(rows_ > kMaxDatasetRows)) {
      error = "more than " + std::to_string(kMaxDatasetRows) + " rows";
      return false;
    }
    if (KT_UNLIKELY(rows_ % kRowsPerReport == 0) && progress_ && !progress_(rows_)) {
      error = "cancelled";
      return false;
    }
    return true;
  }
  // What a message calls the next cell: "row 3, column 'name'".
  std::string Place(std::size_t col) const {
    return "row " + std::to_string(rows_ + 1) + ", column '" + columns_[col].name + "'";
  }

  std::int64_t changed = 0;  // rows that the statement inserted, updated or deleted

 private:
  std::vector<Kt_DatabaseColumn> columns_;
  std::vector<ColumnBuilder> cells_;
  std::int64_t rows_ = 0;
  std::function<bool(std::int64_t)> progress_;
  RoundCharge charge_;
};

// The connectors; null for one that this build does not have.
std::unique_ptr<Kt_Database> OpenSqlite(const Kt_DatabaseUrl& url,
                                        const Kt_Database::Options& options, std::string& error);
std::unique_ptr<Kt_Database> OpenPostgresql(const Kt_DatabaseUrl& url,
                                            const Kt_Database::Options& options,
                                            std::string& error);

}  // namespace kt::detail
