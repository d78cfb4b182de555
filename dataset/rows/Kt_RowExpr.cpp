// SPDX-License-Identifier: MIT
//
// Binding a row expression, and its compiled form.
//
// Names are asked of the context of the walk, just as the evaluator would ask them, but once for
// all rows: a name that comes out as a column of the dataset or as a row keyword is one in every
// row, until rows or columns change. Anything else could be another thing in the next row, so such
// an expression stays with the evaluator.
//
// The compiled form reads cells by record where they lie, 256 records at a time. Other code runs in
// it only when something is reported, which calls the host; the cursor counts that, so one
// comparison per row tells whether what was bound still holds. A row costs a switch per operation
// and the evaluator's own functions on values, so results cannot differ from the evaluator's.
#include "dataset/rows/Kt_RowExpr.h"

#include <algorithm>
#include <atomic>

#include "classlib/base/Kt_Memory.h"
#include "classlib/store/Kt_RowReader.h"
#include "classlib/value/Kt_VarInline.h"
#include "dataset/Kt_ExprDatasetObject.h"
#include "dataset/rows/Kt_RowBinding.h"
#include "dataset/rows/Kt_RowBlock.h"
#include "dataset/rows/Kt_RowCursor.h"
#include "dataset/rows/Kt_RowMap.h"
#include "object/Kt_ExprStackObj.h"
#include "script/Kt_RunBudget.h"

namespace kt::detail {

namespace {

std::atomic<RowExpr::Form> best_form{RowExpr::Form::kBlocks};

bool IsText(const Kt_Variant& value, const char16_t* text) {
  return value.IsString() && value.AsString().EqualsNoCase(text);
}

}  // namespace

bool IsTrueCondition(const Kt_Variant& value) {
  return value.IsLong() ? value.AsLong() != 0 : IsText(value, u"true");
}

bool IsFalseCondition(const Kt_Variant& value) {
  return value.IsLong() ? value.AsLong() == 0 : IsText(value, u"false");
}

RowExpr::RowExpr(const Kt_WString& text) { expr_.SetExpr(text); }
RowExpr::~RowExpr() = default;

void RowExpr::SetBestForm(Form form) {
  best_form = form;
  Kt_Expr::SetCompiled(form != Form::kEvaluator);
}

bool RowExpr::Computes() { return best_form != Form::kEvaluator; }

// Choice of the form ------------------------------------------------------------------------------

void RowExpr::Choose(RowCursor& cursor) {
  if (way_ == Way::kUnknown && best_form != Form::kEvaluator) {
    program_ = ExprProgram::Of(expr_);
    way_ = HasPlainCode(program_) ? Way::kCompiled : Way::kEvaluator;
  } else if (way_ == Way::kUnknown) {
    way_ = Way::kEvaluator;
  }
  if (way_ == Way::kCompiled && !Bind(cursor)) way_ = Way::kEvaluator;
}

bool RowExpr::Bind(RowCursor& cursor) {
  const bool names_changed = names_at_ != cursor.GetVersion();
  if (names_changed) {
    names_at_ = cursor.GetVersion();
    Kt_DatasetCtx& context = cursor.GetContext();
    const bool is_found = FindNames(program_, context, cursor.GetDataset(), nullptr, names_) &&
                          FindCalls(program_, context, calls_);
    if (!is_found) return false;
    CountMapSteps();
    temps_.assign(program_.temp_count, {});
  }
  if (!BindCells(cursor)) return false;
  BindBlock(names_changed);
  return true;
}

bool RowExpr::BindCells(RowCursor& cursor) {
  if (!FindCells(cursor.GetDataset(), names_)) return false;
  first_record_row_ = -1;
  cells_at_ = cursor.GetOthersRun();
  return true;
}

// Where a column is computed on the right of an && or ||, what a row costs hangs on the row.
void RowExpr::CountMapSteps() {
  map_steps_ = 0;
  ForEachMap(program_, names_, [&](const RowMap& map, bool is_sure) {
    map_steps_ += map.GetSteps();
    has_no_blocks_ = has_no_blocks_ || !is_sure;
  });
}

void RowExpr::BindBlock(bool names_changed) {
  has_no_blocks_ = has_no_blocks_ || best_form != Form::kBlocks || rows_since_binding_ < kLeastRows;
  rows_since_binding_ = 0;
  if (has_no_blocks_) {
    block_ = nullptr;
  } else if (names_changed) {
    block_ = RowBlock::Make(program_, names_, calls_);
    has_no_blocks_ = block_ == nullptr;
  } else {
    block_->Rebind(names_);
  }
}

// Evaluation --------------------------------------------------------------------------------------

// Rebinds after script or host code has run.
void RowExpr::Prepare(RowCursor& cursor) {
  if (KT_LIKELY(cells_at_ == cursor.GetOthersRun())) return;
  if (way_ == Way::kCompiled || way_ == Way::kUnknown) Choose(cursor);
}

void RowExpr::FillBlock(const RowCursor& cursor, kt_long row) {
  if (KT_LIKELY(block_->Has(row))) return;
  block_->Fill(cursor.GetDataset(), cursor.RowCount(), row);
}

// Rows of a pivot are looked at one by one: whether they count depends on their cells.
const RowBlock* RowExpr::BlockOf(RowCursor& cursor, kt_long row) {
  if (cursor.IsLogicalPivot()) return nullptr;
  Prepare(cursor);
  if (way_ != Way::kCompiled || block_ == nullptr) return nullptr;
  FillBlock(cursor, row);
  rows_since_binding_ = kLeastRows;
  return block_.get();
}

std::int64_t RowExpr::GetBinding(const RowCursor& cursor) const {
  const bool is_bound = way_ == Way::kCompiled && block_ != nullptr &&
                        cells_at_ == cursor.GetOthersRun() && !cursor.IsLogicalPivot();
  return is_bound ? cells_at_ : kUnbound;
}

int RowExpr::GetCost() const { return block_->GetCost(); }

std::unique_ptr<RowBlock> RowExpr::MakeReader() const { return block_->MakeReader(names_); }

RowNumbers RowExpr::PaidNumbersFrom(RowCursor& cursor, kt_long row, kt_long end) {
  const RowBlock* const block = BlockOf(cursor, row);
  if (block == nullptr) return {};
  RowNumbers numbers = block->NumbersFrom(row);
  numbers.count = std::min(numbers.count, end - row);
  return numbers;
}

RowNumbers RowExpr::PaidAddendsFrom(RowCursor& cursor, kt_long row, kt_long end) {
  const RowBlock* const block = BlockOf(cursor, row);
  if (block == nullptr) return {};
  RowNumbers numbers = block->AddendsFrom(row);
  numbers.count = std::min(numbers.count, end - row);
  return numbers;
}

RowNumbers RowExpr::NumbersFrom(RowCursor& cursor, kt_long row, kt_long end) {
  const RowNumbers numbers = PaidNumbersFrom(cursor, row, end);
  return numbers.count > 0 && PayFor(cursor, numbers.count) ? numbers : RowNumbers();
}

RowNumbers RowExpr::NumbersTo(RowCursor& cursor, kt_long row, kt_long start) {
  const RowBlock* const block = BlockOf(cursor, row);
  if (block == nullptr) return {};
  RowNumbers numbers = block->NumbersTo(row);
  const kt_long surplus = std::max(numbers.count - (row + 1 - start), 0);
  numbers.count -= surplus;
  if (numbers.longs != nullptr) numbers.longs += surplus;
  if (numbers.doubles != nullptr) numbers.doubles += surplus;
  return numbers.count > 0 && PayFor(cursor, numbers.count) ? numbers : RowNumbers();
}

bool RowExpr::PayFor(RowCursor& cursor, kt_long rows) const {
  return cursor.PayFor(rows * (1 + map_steps_));
}

void RowExpr::LeaveRows(RowCursor& cursor, kt_long rows) const {
  if (rows > 0) cursor.TakeBack(rows * (1 + map_steps_));
}

bool RowExpr::Evaluate(RowCursor& cursor, Kt_Variant& value) {
  value.Clear();
  const std::int64_t ran_before = cursor.GetOthersRun();
  Compute(cursor, value);
  if (KT_LIKELY(cursor.LookAround(ran_before))) return true;
  if (cursor.GetStopCode() != kOk) value.Clear();
  return false;
}

void RowExpr::Compute(RowCursor& cursor, Kt_Variant& value) {
  Prepare(cursor);
  switch (way_) {
    case Way::kCompiled:
      ++rows_since_binding_;
      if (block_ != nullptr) {
        FillBlock(cursor, cursor.GetRow());
        if (block_->Read(cursor.GetRow(), value)) return ChargeMaps(map_steps_, value);
      }
      return RunCompiled(cursor, value);
    case Way::kFaulty: return;
    default: return RunGeneral(cursor, value);
  }
}

// Charges for the cells that a value was computed of; without them there is no value.
void RowExpr::ChargeMaps(std::int64_t steps, Kt_Variant& value) {
  if (KT_UNLIKELY(steps > 0) && kt::ChargeRun(steps) != kOk) value.Clear();
}

void RowExpr::RunGeneral(RowCursor& cursor, Kt_Variant& value) {
  cursor.NoteOthersRun();
  const kt_long code = expr_.ExecExpr(&cursor.Placed(), value);
  if (code == kOk) {
    if (KT_UNLIKELY(value.IsObject())) Kt_ExprDatasetObject::TakeValueOfCell(value);
    return;
  }
  if (code == kErrNoMemory) kt::PassMemoryFailure();
  value.Clear();
  // Reported when it was parsed; every row gives the same.
  if (expr_.GetState() < 0) way_ = Way::kFaulty;
}

void RowExpr::FindRecord(RowCursor& cursor) {
  const kt_long row = cursor.GetRow();
  const kt_long first = row & ~(kRecordRows - 1);
  if (first != first_record_row_) {
    const kt_long count = std::min(kRecordRows, cursor.RowCount() - first);
    Kt_RowReader(cursor.GetDataset()).GetRecords(first, count, records_);
    first_record_row_ = first;
  }
  record_ = records_[row - first];
}

const Kt_Variant& RowExpr::Get(RowCursor& cursor, std::uint16_t operand) {
  if (operand < CodeOperand::kConstBase) return temps_[operand];
  if (operand < CodeOperand::kNameBase) return program_.consts[operand - CodeOperand::kConstBase];
  return Read(cursor, names_[operand - CodeOperand::kNameBase]);
}

const Kt_Variant& RowExpr::Read(RowCursor& cursor, RowName& name) {
  if (name.kind == RowName::Kind::kRow) {
    name.value.Set(cursor.GetRow());
  } else if (name.kind == RowName::Kind::kKeyword) {
    name.value.Clear();
    (void)(cursor.Placed().*name.keyword)(nullptr, name.value);
  } else if (KT_UNLIKELY(record_ == Kt_RowReader::kNoRecord)) {
    name.value = cursor.GetDataset().ReadColumn(cursor.GetRow(), name.col);
  } else if (KT_UNLIKELY(name.kind == RowName::Kind::kMapped)) {
    ReadMapped(cursor, name);
  } else {
    ReadCell(name, record_);
  }
  return name.value;
}

// A cell that was computed ahead, or one that the dataset computes, which may run other code.
void RowExpr::ReadMapped(RowCursor& cursor, RowName& name) {
  const kt_long row = cursor.GetRow();
  if (name.map->Read({cursor.GetDataset(), cursor.RowCount(), row, record_}, name.value)) {
    return ChargeMaps(name.map->GetSteps(), name.value);
  }
  cursor.NoteOthersRun();
  name.value = cursor.GetDataset().ReadColumn(row, name.col);
  is_cut_short_ = !FindRowAgain(cursor);
}

// After other code ran in the middle of a row. False when the walk has to end.
bool RowExpr::FindRowAgain(RowCursor& cursor) {
  if (!cursor.IsUnchanged()) return false;
  if (FindCells(cursor.GetDataset(), names_)) {
    first_record_row_ = -1;
    FindRecord(cursor);
  } else {
    record_ = Kt_RowReader::kNoRecord;  // the rest of the row is read as the evaluator does it
  }
  cells_at_ = kRowOnly;
  return true;
}

// One call of a built-in function. False when the expression fails.
bool RowExpr::RunCall(RowCursor& cursor, const CodeInstr& in) {
  if (!kt::ChargeTime(Kt_WorkMeter::kUnitsPerCall)) return false;
  args_.ClearItems();
  for (std::uint16_t arg = 0; arg < in.b; ++arg) args_.Add(temps_[in.a + arg]);
  Kt_Variant value;
  Kt_ExprObject& context = cursor.GetContext();
  const std::int64_t ran_before = cursor.GetOthersRun();
  const Kt_Getter function = calls_[static_cast<std::size_t>(in.extra)].function;
  if ((context.*function)(&args_, value) != kOk || CheckCallResult(&context, value) != kOk) {
    expr_.PlaceFailure();
    return false;
  }
  // It reported: the host's handler ran.
  if (KT_UNLIKELY(ran_before != cursor.GetOthersRun()) && !FindRowAgain(cursor)) return false;
  temps_[in.dst] = std::move(value);
  return true;
}

void RowExpr::RunCompiled(RowCursor& cursor, Kt_Variant& value) {
  FindRecord(cursor);
  is_cut_short_ = false;
  const CodeInstr* const first = program_.instrs.data();
  for (const CodeInstr* in = first; !is_cut_short_; ++in) {
    switch (in->op) {
      case CodeOp::kMove: temps_[in->dst] = Get(cursor, in->a); break;
      case CodeOp::kTestAnd:
      case CodeOp::kTestOr: {
        const Kt_Variant& left = Get(cursor, in->a);
        const bool is_true = IsConditionTrue(left);
        if (is_true == (in->op == CodeOp::kTestOr)) {
          temps_[in->dst].Set(kt_long{is_true});
          in = first + in->extra - 1;
        } else if (in->dst != in->a) {
          temps_[in->dst] = left;
        }
        break;
      }
      case CodeOp::kCall:
        if (!RunCall(cursor, *in)) return;
        break;
      case CodeOp::kReturn: value = Get(cursor, in->a); return;
      default: {
        // In this order, as computing a cell may report.
        const Kt_Variant& left = Get(cursor, in->a);
        if (KT_UNLIKELY(is_cut_short_)) return;
        const Kt_Variant& right = Get(cursor, in->b);
        const kt_long code = kt::Compute(OperatorOf(in->op), left, right, temps_[in->dst]);
        if (KT_LIKELY(code == kOk)) break;
        (void)kt::Report(&cursor.GetContext(), u"Kt_Expr", code, OperatorText(OperatorOf(in->op)));
        expr_.PlaceFailure();
        return;
      }
    }
  }
}

}  // namespace kt::detail
