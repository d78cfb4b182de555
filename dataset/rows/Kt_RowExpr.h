// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>

#include "dataset/rows/Kt_RowNames.h"
#include "expr/Kt_ExprProgram.h"

namespace kt::detail {

class RowBlock;
class RowCursor;

// An expression that is evaluated in row after row of one walk. It is parsed once, and bound in the
// row that is asked for first to the best of three forms:
//
//   general    the evaluator, for whatever a row expression may hold
//   compiled   when all names are columns of the dataset, or of the source that it shows, and row
//              keywords, and all calls built-in functions: straight code over the cells
//              (expr/Kt_ExprProgram.h)
//   in blocks  when the compiled form is plain numbers: 1024 rows ahead (Kt_RowBlock.h)
//
// All give the same. Members, elements, assignments, and names that would be asked of the parent
// context are left to the evaluator. What was bound holds until other code runs; then cells are
// found again, and names too when rows or columns have changed (RowCursor).
class RowExpr {
 public:
  explicit RowExpr(const Kt_WString& text);
  RowExpr(const RowExpr&) = delete;
  RowExpr& operator=(const RowExpr&) = delete;
  ~RowExpr();

  // The value in the row that `cursor` entered; empty when it fails. False when the walk has to
  // end, also with a value.
  bool Evaluate(RowCursor& cursor, Kt_Variant& value);

  // The values, paid for, of the rows from `row` on before `end` / from `start` on to `row`, as far
  // as they are numbers that were computed ahead, which takes no other code. None: enter `row` by
  // itself.
  RowNumbers NumbersFrom(RowCursor& cursor, kt_long row, kt_long end);
  RowNumbers NumbersTo(RowCursor& cursor, kt_long row, kt_long start);
  // Some of these rows are not taken now, and not paid for.
  void LeaveRows(RowCursor& cursor, kt_long rows) const;
  // As NumbersFrom, in a walk that has paid for these rows, but for GetMapSteps() of those whose
  // value is wanted; and for sums, in which an empty value is a 0.
  RowNumbers PaidNumbersFrom(RowCursor& cursor, kt_long row, kt_long end);
  RowNumbers PaidAddendsFrom(RowCursor& cursor, kt_long row, kt_long end);

  // What columns that are computed ahead of a row add to the step that it takes.
  std::int64_t GetMapSteps() const { return map_steps_; }

  // For work that several threads share: when the expression was bound to what the cursor walks
  // over, by GetOthersRun; kUnbound when it is not, or not to blocks.
  static constexpr std::int64_t kUnbound = -1;
  std::int64_t GetBinding(const RowCursor& cursor) const;
  // What a row costs then, see RowBlock.
  int GetCost() const;
  // Blocks of it for another thread, good while GetBinding stays the same; borrows this.
  // REQUIRES: it is bound.
  std::unique_ptr<RowBlock> MakeReader() const;

  // For tests that compare the forms: how much of the above is used.
  enum class Form : std::uint8_t { kEvaluator, kCompiled, kBlocks };
  KT_SCRIPT_API static void SetBestForm(Form form);
  // Whether anything but the evaluator is used.
  static bool Computes();

 private:
  enum class Way : std::uint8_t { kUnknown, kFaulty, kEvaluator, kCompiled };
  static constexpr kt_long kRecordRows = 256;
  // A block is computed anew whenever other code ran; with fewer rows between two such changes it
  // does not pay.
  static constexpr std::int64_t kLeastRows = 64;

  void Prepare(RowCursor& cursor);
  void Choose(RowCursor& cursor);
  bool Bind(RowCursor& cursor);
  bool BindCells(RowCursor& cursor);
  void CountMapSteps();
  void BindBlock(bool names_changed);
  const RowBlock* BlockOf(RowCursor& cursor, kt_long row);
  void FillBlock(const RowCursor& cursor, kt_long row);
  bool PayFor(RowCursor& cursor, kt_long rows) const;
  static void ChargeMaps(std::int64_t steps, Kt_Variant& value);
  void Compute(RowCursor& cursor, Kt_Variant& value);
  void RunGeneral(RowCursor& cursor, Kt_Variant& value);
  void RunCompiled(RowCursor& cursor, Kt_Variant& value);
  bool RunCall(RowCursor& cursor, const CodeInstr& in);
  void FindRecord(RowCursor& cursor);
  const Kt_Variant& Get(RowCursor& cursor, std::uint16_t operand);
  const Kt_Variant& Read(RowCursor& cursor, RowName& name);
  void ReadMapped(RowCursor& cursor, RowName& name);
  bool FindRowAgain(RowCursor& cursor);

  Kt_Expr expr_;
  Way way_ = Way::kUnknown;
  static constexpr std::int64_t kRowOnly = -1;
  // GetOthersRun of the cursor, when cells were found; kRowOnly: for the rest of a row at most.
  std::int64_t cells_at_ = kRowOnly;
  std::optional<std::uint64_t> names_at_;  // GetVersion of the cursor, when names were found
  ExprProgram program_;
  std::vector<RowName> names_;  // of the program
  std::vector<RowCall> calls_;  // of the program
  std::vector<Kt_Variant> temps_;
  Kt_VariantList args_;
  std::unique_ptr<RowBlock> block_;
  bool has_no_blocks_ = false;  // other than plain numbers, or not worth while
  std::int64_t map_steps_ = 0;  // that computed columns add to those of a row
  bool is_cut_short_ = false;   // what a cell was computed by has ended the walk
  std::int64_t rows_since_binding_ = kLeastRows;
  std::uint32_t record_ = 0;       // of the row
  kt_long first_record_row_ = -1;  // of records_, -1: none
  std::uint32_t records_[kRecordRows];
};

// What a search or a Case form takes for true: an explicit true. A filter takes only an explicit
// false for false; any other value is neither.
bool IsTrueCondition(const Kt_Variant& value);
bool IsFalseCondition(const Kt_Variant& value);

}  // namespace kt::detail
