// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <optional>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"
#include "classlib/store/Kt_RowReader.h"
#include "dataset/detail/Kt_GroupTakers.h"
#include "dataset/methods/Kt_MethodArgs.h"
#include "dataset/rows/Kt_RowLoop.h"

namespace kt::detail {

// How two threads share the rows of a part: the first one begins alone, which shows whether it is
// worth it, and has half of the rest, up to `middle`.
struct RowHalves {
  static constexpr std::size_t kBlock = 1024;

  explicit RowHalves(std::size_t rows)
      : alone(std::min(rows, (rows / kBlock / 16 + 1) * kBlock)),
        middle(std::min(rows, alone + (rows - alone + 2 * kBlock - 1) / (2 * kBlock) * kBlock)) {}

  std::size_t alone;
  std::size_t middle;
};

// The rows of one part. A column that is held as cells of one type is shared with a second thread
// where there are many rows.
class GroupPart {
 public:
  // REQUIRES: the wrapper has a dataset.
  explicit GroupPart(Kt_ExprDataset& wrapper)
      : wrapper_(wrapper), there_(wrapper), rows_(wrapper.GetDataset()->GetRowCount()) {}

  std::size_t RowCount() const { return static_cast<std::size_t>(rows_); }
  // The values of a column or an expression. False when the run is to stop or rows have changed;
  // throws WorkStopped.
  template <class Taker>
  bool Each(const Kt_WString& text, Taker& taker) {
    if (!there_) return false;
    const kt_long col = wrapper_.GetDataset()->GetColIndex(text.View());
    if (col < 0) return EachResult(text, taker);
    EachCell(col, taker);
    return true;
  }
  kt_long GetStopCode() const { return stop_code_ != kOk ? stop_code_ : kFailed; }

  // The second thread; null where there is none.
  Helper* GetHelper() {
    if (!helper_) helper_.emplace(RowCount());
    return helper_->IsThere() ? &*helper_ : nullptr;
  }

 private:
  static constexpr auto kRowsAtOnce = static_cast<kt_long>(RowHalves::kBlock);

  template <class Taker>
  void EachCell(kt_long col, Taker& taker) {
    const Kt_RowReader reader(*wrapper_.GetDataset());
    const Kt_Column* const cells = reader.GetShownCells(col);
    kt_long first = 0;
    if (cells != nullptr && taker.MayShare(*cells) && GetHelper() != nullptr && FindRecords()) {
      first = ShareCells(*cells, taker);
    }
    for (; first < rows_; first += kRowsAtOnce) {
      const kt_long count = std::min(kRowsAtOnce, rows_ - first);
      ChargeOrLeave(count * Kt_WorkMeter::kUnitsPerCell);
      if (cells == nullptr || !TakeRecords(reader, *cells, first, count, taker)) {
        TakeEachRow(col, first, count, taker);
      }
    }
  }
  // How many rows were taken: some, or all.
  template <class Taker>
  kt_long ShareCells(const Kt_Column& cells, Taker& taker) {
    const RowHalves halves(RowCount());
    TakeKnown(cells, 0, halves.alone, taker);
    if (!taker.IsWorthSharing(halves.alone, RowCount())) return static_cast<kt_long>(halves.alone);
    Taker later = taker.ForLater();
    helper_->Both([&] { TakeKnown(cells, halves.alone, halves.middle, taker); },
                  [&] { TakeKnown(cells, halves.middle, RowCount(), later); });
    taker.TakeIn(later, cells, halves.middle, RowCount(), *helper_);
    return rows_;
  }
  // Finds the records of all rows; false where some have none. On the second thread nothing is to
  // be looked up in the dataset.
  bool FindRecords() {
    const Kt_Dataset& dataset = *wrapper_.GetDataset();
    if (records_at_ == dataset.GetStructureVersion()) return has_records_;
    const Kt_RowReader reader(dataset);
    records_.clear();
    records_at_ = dataset.GetStructureVersion();
    has_records_ = reader.GetRun(0, rows_) == 0;
    if (has_records_) return true;
    records_.resize(RowCount());
    for (kt_long first = 0; first < rows_; first += kRowsAtOnce) {
      const kt_long count = std::min(kRowsAtOnce, rows_ - first);
      std::uint32_t* const some = &records_[static_cast<std::size_t>(first)];
      reader.GetRecords(first, count, some);
      if (std::find(some, some + count, Kt_RowReader::kNoRecord) != some + count) return false;
    }
    has_records_ = true;
    return true;
  }
  // Cells of rows with known records, on either thread.
  template <class Taker>
  void TakeKnown(const Kt_Column& cells, std::size_t first, std::size_t end, Taker& taker) const {
    for (; first < end; first += RowHalves::kBlock) {
      const std::size_t count = std::min(RowHalves::kBlock, end - first);
      ChargeOrLeave(static_cast<std::int64_t>(count) * Kt_WorkMeter::kUnitsPerCell);
      if (records_.empty()) {
        const RecordRun run{static_cast<std::uint32_t>(first)};
        taker.TakeCells(CellsOfRows<RecordRun>{cells, first, count, run});
      } else {
        taker.TakeCells(CellsOfRows<RecordList>{cells, first, count, records_.data() + first});
      }
    }
  }
  // False, and nothing is taken, where some rows have no record.
  template <class Taker>
  static bool TakeRecords(const Kt_RowReader& reader, const Kt_Column& cells, kt_long first,
                          kt_long row_count, Taker& taker) {
    const auto first_row = static_cast<std::size_t>(first);
    const auto count = static_cast<std::size_t>(row_count);
    const std::uint32_t run = reader.GetRun(first, row_count);
    if (run != Kt_RowReader::kNoRecord) {
      taker.TakeCells(CellsOfRows<RecordRun>{cells, first_row, count, {run}});
      return true;
    }
    std::array<std::uint32_t, kRowsAtOnce> some;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    reader.GetRecords(first, row_count, some.data());
    if (std::find(some.data(), some.data() + count, Kt_RowReader::kNoRecord) !=
        some.data() + count) {
      return false;
    }
    taker.TakeCells(CellsOfRows<RecordList>{cells, first_row, count, some.data()});
    return true;
  }
  // Subtotals among them, or computed cells.
  template <class Taker>
  void TakeEachRow(kt_long col, kt_long first, kt_long count, Taker& taker) const {
    for (kt_long row = first; row < first + count; ++row) {
      if (taker.Wants(row)) {
        taker.TakeOne(row, wrapper_.GetDataset()->ReadColumn(row, col), true);
      }
    }
  }
  template <class Taker>
  bool EachResult(const Kt_WString& text, Taker& taker) {
    RowCursor cursor(wrapper_, RowCursor::kFollow);
    RowExpr expr(text);
    const bool is_done = ForEachValue<RowOrder::kUp>(cursor, expr, 0, rows_, taker);
    stop_code_ = cursor.GetStopCode();
    return is_done && stop_code_ == kOk && cursor.RowCount() == rows_;
  }

  Kt_ExprDataset& wrapper_;
  StillThere there_;
  const kt_long rows_;
  kt_long stop_code_ = kOk;
  std::optional<Helper> helper_;
  // As they were at a structure version of the dataset.
  std::optional<std::uint64_t> records_at_;
  bool has_records_ = false;
  CountedVector<std::uint32_t> records_;  // by row; empty: those of their numbers
};

}  // namespace kt::detail
