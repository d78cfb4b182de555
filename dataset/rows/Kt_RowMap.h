// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_DatasetHandle.h"
#include "dataset/rows/Kt_QuietCall.h"
#include "dataset/rows/Kt_RowNames.h"
#include "expr/Kt_ExprProgram.h"

namespace kt::detail {

class RowBlock;

// Which maps are being bound, each for the one before.
struct MapNest {
  static constexpr std::size_t kMostNested = 16;
  std::vector<Kt_WString> maps;
};

// The expression of a logical column, computed for blocks of rows ahead where it is plain numbers,
// else as straight code row by row.
//
// Read by itself, a cell of such a column has a context of its own and takes the evaluator, through
// the dataset (ColumnExprs). Here are the maps that give the same without: of columns of the same
// dataset, which may be computed columns themselves, and pure functions. Nothing is reported and no
// other code runs; a cell in which something fails is not computed here, and whoever wants it asks
// the dataset, which then does all there is to do.
//
// A cell takes as many steps as the dataset charges for it: one for every computed cell that is
// asked for on the way, of which each is computed once. So that this is one number, computed
// columns on the right of an && or || are left to the evaluator.
//
// Borrows the dataset; FindCells finds out whether it is there. Threads: const members may run in
// parallel.
class RowMap {
 public:
  // Null for a map that is the evaluator's, and while any cell is being computed. A logical
  // dataset's column may be that of its source.
  static std::shared_ptr<RowMap> Make(const Kt_Dataset& dataset, kt_long col, MapNest& nest);
  RowMap(const RowMap&) = delete;
  RowMap& operator=(const RowMap&) = delete;
  ~RowMap();

  Kt_ColumnType GetType() const { return converter_.Type(); }
  std::int64_t GetSteps() const { return steps_; }

  // Finds the cells that it reads anew after other code has run. False when they are not what they
  // were: this is not to be used any more.
  bool FindCells();

  // A row of the dataset that is walked over, which shows `row_count` rows.
  struct Row {
    const Kt_Dataset& walked;
    kt_long row_count;
    kt_long row;
    std::uint32_t record;  // there is one
  };
  // The cell in a row. Charges no steps. False: to be asked of the dataset.
  bool Read(const Row& row, Kt_Variant& value);

  // The expression in blocks, for whoever computes another one of it; with names as they are now.
  // Null when it has other than plain numbers.
  std::unique_ptr<RowBlock> MakeBlock() const;
  const std::vector<RowName>& GetNames() const { return names_; }
  // The value of a cell, as its column keeps it.
  Kt_Variant Converted(const Kt_Variant& value) const { return converter_.Converted(value); }

 private:
  // How often a map names computed columns.
  using AsksOfMaps = std::unordered_map<std::string, std::int64_t>;

  RowMap(const Kt_Dataset& dataset, kt_long col);
  bool Bind(MapNest& nest, bool is_of_source);
  bool CountSteps();
  bool ReadAhead(const Row& row, Kt_Variant& value);
  bool Run(const Row& row, Kt_Variant& value);
  bool RunCode(const Row& row, Kt_Variant& value);
  const Kt_Variant* Get(const Row& row, std::uint16_t operand);

  Kt_DatasetHandle dataset_;
  std::uint64_t version_;               // of the dataset
  const Kt_ColumnEvaluator* computer_;  // of the dataset
  Kt_WString text_;
  bool is_loaded_ = false;
  Kt_Column converter_;
  ExprProgram program_;
  std::vector<RowName> names_;
  std::vector<RowCall> calls_;
  AsksOfMaps asks_;  // of this map and those below, by text
  int block_count_ = 1;
  bool uses_row_ = false;  // its number
  std::int64_t steps_ = 1;

  // A block is computed anew whenever other code ran; with fewer rows between two such changes it
  // does not pay.
  static constexpr std::int64_t kLeastRows = 64;
  std::unique_ptr<RowBlock> block_;  // null: no plain numbers, or not worth while
  bool is_filled_ = false;
  std::int64_t rows_since_filling_ = 0;
  std::vector<Kt_Variant> temps_;
  QuietCalls quiet_;
};

}  // namespace kt::detail
