// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "classlib/store/Kt_RowReader.h"
#include "expr/Kt_ExprProgram.h"
#include "object/Kt_NameTables.h"

namespace kt::detail {

class RowBlock;
class RowLoop;

// Values of rows that follow one another, computed ahead: longs or doubles, the other is null. Good
// until other code runs.
struct RowNumbers {
  const kt_long* longs = nullptr;
  const double* doubles = nullptr;
  kt_long count = 0;
};

// What a name of a row expression stands for, looked up once.
struct RowName {
  enum class Kind : std::uint8_t {
    kLongs,    // a column of longs
    kDoubles,  // a column of doubles
    kCells,    // any other column with cells of its own
    kRow,      // the number of the row
    kKeyword,  // any other row keyword
  };
  Kind kind = Kind::kRow;
  kt_long col = -1;
  const Kt_Column* cells = nullptr;
  Kt_Getter keyword = nullptr;
  Kt_Variant value;  // as last read
};

// An expression that a row loop evaluates row by row. Parsed once; and when all its names are
// columns and row keywords of the dataset, and its calls built-in functions, compiled once.
//
// The compiled form gives what the evaluator gives: it is the evaluator's own rules run on paper
// (expr/Kt_ExprProgram.h), over operands that reading does not change. Members, elements,
// assignments, and names that would be asked of the parent context are left to the evaluator.
// Compiled expressions of plain numbers are computed a block of rows ahead (Kt_RowBlock.h).
//
// Serves one loop.
class RowExpr {
 public:
  explicit RowExpr(const Kt_WString& text);
  RowExpr(const RowExpr&) = delete;
  RowExpr& operator=(const RowExpr&) = delete;
  ~RowExpr();

  // The value in the row that `loop` entered, empty when it fails. REQUIRES: `value` is empty.
  void Evaluate(RowLoop& loop, Kt_Variant& value);

  // The block that holds a row; null when the expression is not computed in blocks.
  const RowBlock* BlockOf(RowLoop& loop, kt_long row);

  // For tests that compare the forms: how much of the above is used.
  enum class Form : std::uint8_t { kEvaluator, kCompiled, kBlocks };
  KT_SCRIPT_API static void SetBestForm(Form form);

 private:
  enum class Way : std::uint8_t { kUnknown, kFaulty, kEvaluator, kCompiled };
  static constexpr kt_long kRecordRows = 256;
  // A block is computed anew whenever other code ran; with fewer rows between two such changes it
  // does not pay.
  static constexpr std::int64_t kLeastRows = 64;

  void Prepare(RowLoop& loop);
  void Choose(RowLoop& loop);
  bool Bind(RowLoop& loop);
  bool BindName(RowLoop& loop, const Kt_WString& text, RowName& name) const;
  bool BindCalls(RowLoop& loop);
  bool BindCells(RowLoop& loop);
  void BindBlock(bool names_changed);
  void EvaluateSlow(RowLoop& loop, Kt_Variant& value);
  void Run(RowLoop& loop, Kt_Variant& value);
  bool RunCall(RowLoop& loop, const CodeInstr& in);
  void FindRecord(RowLoop& loop);
  const Kt_Variant& Get(RowLoop& loop, std::uint16_t operand);
  const Kt_Variant& Read(RowLoop& loop, RowName& name);

  Kt_Expr expr_;
  Way way_ = Way::kUnknown;
  std::int64_t epoch_ = 0;     // of the loop, when the cells were found
  kt_long change_count_ = -1;  // of the loop, when the names were
  ExprProgram program_;
  std::vector<RowName> names_;    // of the program
  std::vector<Kt_Getter> calls_;  // of the program
  std::vector<Kt_Variant> temps_;
  Kt_VariantList args_;
  std::unique_ptr<RowBlock> block_;
  bool has_no_blocks_ = false;  // other than plain numbers, or not worth while
  std::int64_t rows_since_binding_ = kLeastRows;
  std::uint32_t record_ = 0;       // of the row
  kt_long first_record_row_ = -1;  // of records_, -1: none
  std::uint32_t records_[kRecordRows];
};

}  // namespace kt::detail
