// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_RowExpr.h"

#include <algorithm>
#include <atomic>

#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_VarInline.h"
#include "dataset/rows/Kt_RowBlock.h"
#include "dataset/rows/Kt_RowLoop.h"
#include "object/Kt_ExprStackObj.h"

namespace kt::detail {

namespace {

std::atomic<RowExpr::Form> best_form{RowExpr::Form::kBlocks};

// Assignments, elements and references need more than values.
bool IsPlainOperation(const CodeInstr& in) {
  switch (in.op) {
    case CodeOp::kStepBefore:
    case CodeOp::kStepAfter:
    case CodeOp::kElement:
    case CodeOp::kIndex:
    case CodeOp::kRef:
    case CodeOp::kTarget: return false;
    default: return true;
  }
}

// Functions that ask the context for more than to report a fault.
bool AsksContext(Kt_Getter function) {
  return function == kHandler<&Kt_ExprObject::_eval> ||
         function == kHandler<&Kt_ExprObject::_object> ||
         function == kHandler<&Kt_ExprObject::_DumpDataStatus>;
}

bool IsRowNumber(const Kt_WString& name) {
  return name.EqualsNoCase(u"row") || name.EqualsNoCase(u"rowidx") ||
         name.EqualsNoCase(u"rowindex");
}

RowName::Kind KindOfCells(Kt_ColumnType type) {
  switch (type) {
    case Kt_ColumnType::kLong: return RowName::Kind::kLongs;
    case Kt_ColumnType::kDouble: return RowName::Kind::kDoubles;
    default: return RowName::Kind::kCells;
  }
}

}  // namespace

RowExpr::RowExpr(const Kt_WString& text) { expr_.SetExpr(text); }
RowExpr::~RowExpr() = default;

void RowExpr::SetBestForm(Form form) { best_form = form; }

// Choice of the form ------------------------------------------------------------------------------

void RowExpr::Choose(RowLoop& loop) {
  if (way_ == Way::kUnknown && best_form != Form::kEvaluator) {
    program_ = ExprProgram::Of(expr_);
    const bool is_plain =
        !program_.IsEmpty() &&
        std::all_of(program_.instrs.begin(), program_.instrs.end(), IsPlainOperation);
    way_ = is_plain ? Way::kCompiled : Way::kEvaluator;
  } else if (way_ == Way::kUnknown) {
    way_ = Way::kEvaluator;
  }
  if (way_ == Way::kCompiled && !Bind(loop)) way_ = Way::kEvaluator;
}

bool RowExpr::Bind(RowLoop& loop) {
  const bool names_changed = change_count_ != loop.GetChangeCount();
  if (names_changed) {
    change_count_ = loop.GetChangeCount();
    names_.assign(program_.names.size(), {});
    for (std::size_t at = 0; at < names_.size(); ++at) {
      if (!BindName(loop, program_.names[at], names_[at])) return false;
    }
    if (!BindCalls(loop)) return false;
    temps_.assign(program_.temp_count, {});
  }
  if (!BindCells(loop)) return false;
  BindBlock(names_changed);
  return true;
}

bool RowExpr::BindName(RowLoop& loop, const Kt_WString& text, RowName& name) const {
  Kt_DatasetCtx& context = loop.GetContext();
  Kt_ExprObjInfo info;
  (void)context.GetVarType(text, info);
  if (info.GetKind() == EXPR_OBJ_PROPERTY) {
    const Kt_ExprObjProperty& property = info.GetObjProperty();
    if (property.object.GetObject() != &context || property.get == nullptr) return false;
    name.kind = IsRowNumber(text) ? RowName::Kind::kRow : RowName::Kind::kKeyword;
    name.keyword = property.get;
    return true;
  }
  if (info.GetKind() != EXPR_OBJ_COLUMN) return false;
  const Kt_ExprObjColumn& column = info.GetObjColumn();
  if (column.dataset.GetObject() != &context.GetWrapper()) return false;
  name.col = loop.GetDataset().GetColIndex(column.name.View());
  const Kt_Column* const cells = Kt_RowReader(loop.GetDataset()).GetCells(name.col);
  // Values of any kind may be objects, whose reading is the evaluator's.
  if (cells == nullptr || cells->Type() == Kt_ColumnType::kVariant) return false;
  name.kind = KindOfCells(cells->Type());
  return true;
}

// A name that any context knows as a call is not the built-in function of that name.
bool RowExpr::BindCalls(RowLoop& loop) {
  calls_.clear();
  for (const Kt_WString& text : program_.calls) {
    Kt_ExprObjInfo info;
    const int kind = loop.GetContext().GetMethodType(text, info);
    const Kt_Getter function = Kt_ExprObject::GetIntFunc(text.GetText());
    const bool is_builtin = info.GetKind() == EXPR_OBJ_NONE && kind == kUnknownName;
    if (!is_builtin || function == nullptr || AsksContext(function)) return false;
    calls_.push_back(function);
  }
  return true;
}

bool RowExpr::BindCells(RowLoop& loop) {
  const Kt_RowReader reader(loop.GetDataset());
  for (RowName& name : names_) {
    if (name.col < 0) continue;
    name.cells = reader.GetCells(name.col);
    if (name.cells == nullptr) return false;
  }
  first_record_row_ = -1;
  epoch_ = loop.GetEpoch();
  return true;
}

void RowExpr::BindBlock(bool names_changed) {
  has_no_blocks_ = has_no_blocks_ || best_form != Form::kBlocks || rows_since_binding_ < kLeastRows;
  rows_since_binding_ = 0;
  if (has_no_blocks_) {
    block_ = nullptr;
  } else if (names_changed) {
    block_ = RowBlock::Make(program_, names_);
    has_no_blocks_ = block_ == nullptr;
  } else {
    block_->Rebind(names_);
  }
}

// Evaluation --------------------------------------------------------------------------------------

// What was found out before other code ran is found out again.
void RowExpr::Prepare(RowLoop& loop) {
  if (KT_LIKELY(epoch_ == loop.GetEpoch())) return;
  if (way_ == Way::kCompiled || way_ == Way::kUnknown) Choose(loop);
}

const RowBlock* RowExpr::BlockOf(RowLoop& loop, kt_long row) {
  Prepare(loop);
  if (way_ != Way::kCompiled || block_ == nullptr) return nullptr;
  block_->Go(loop, row);
  rows_since_binding_ = kLeastRows;
  return block_.get();
}

void RowExpr::Evaluate(RowLoop& loop, Kt_Variant& value) {
  Prepare(loop);
  switch (way_) {
    case Way::kCompiled:
      ++rows_since_binding_;
      if (block_ != nullptr) {
        block_->Go(loop, loop.GetRow());
        if (block_->Read(loop.GetRow(), value)) return;
      }
      return Run(loop, value);
    case Way::kFaulty: return;
    default: return EvaluateSlow(loop, value);
  }
}

void RowExpr::EvaluateSlow(RowLoop& loop, Kt_Variant& value) {
  loop.NoteOutside();
  const kt_long code = expr_.ExecExpr(&loop.Placed(), value);
  if (code == kOk) return;
  if (code == kErrNoMemory) kt::PassMemoryFailure();
  value.Clear();
  // Reported when it was parsed; every row gives the same.
  if (expr_.GetState() < 0) way_ = Way::kFaulty;
}

void RowExpr::FindRecord(RowLoop& loop) {
  const kt_long row = loop.GetRow();
  const kt_long first = row & ~(kRecordRows - 1);
  if (first != first_record_row_) {
    const kt_long count = std::min(kRecordRows, loop.RowCount() - first);
    Kt_RowReader(loop.GetDataset()).GetRecords(first, count, records_);
    first_record_row_ = first;
  }
  record_ = records_[row - first];
}

const Kt_Variant& RowExpr::Get(RowLoop& loop, std::uint16_t operand) {
  if (operand < CodeOperand::kConstBase) return temps_[operand];
  if (operand < CodeOperand::kNameBase) return program_.consts[operand - CodeOperand::kConstBase];
  return Read(loop, names_[operand - CodeOperand::kNameBase]);
}

const Kt_Variant& RowExpr::Read(RowLoop& loop, RowName& name) {
  if (name.kind == RowName::Kind::kRow) {
    name.value.Set(loop.GetRow());
  } else if (name.kind == RowName::Kind::kKeyword) {
    name.value.Clear();
    (void)(loop.Placed().*name.keyword)(nullptr, name.value);
  } else if (KT_UNLIKELY(record_ == Kt_RowReader::kNoRecord)) {
    name.value = loop.GetDataset().ReadColumn(loop.GetRow(), name.col);
  } else if (KT_UNLIKELY(name.cells->IsNull(record_))) {
    name.value.Clear();
  } else if (name.kind == RowName::Kind::kLongs) {
    name.value.Set(name.cells->Cells<Kt_Column::Longs>()[record_]);
  } else if (name.kind == RowName::Kind::kDoubles) {
    name.value.Set(name.cells->Cells<Kt_Column::Doubles>()[record_]);
  } else {
    name.value = name.cells->Read(record_);
  }
  return name.value;
}

// One call of a built-in function. False when the expression fails.
bool RowExpr::RunCall(RowLoop& loop, const CodeInstr& in) {
  if (!kt::ChargeTime(Kt_WorkMeter::kUnitsPerCall)) return false;
  args_.ClearItems();
  for (std::uint16_t arg = 0; arg < in.b; ++arg) args_.Add(temps_[in.a + arg]);
  Kt_Variant value;
  Kt_ExprObject& context = loop.GetContext();
  const Kt_Getter function = calls_[static_cast<std::size_t>(in.extra)];
  if ((context.*function)(&args_, value) != kOk || CheckCallResult(&context, value) != kOk) {
    expr_.PlaceFailure();
    return false;
  }
  if (KT_UNLIKELY(epoch_ != loop.GetEpoch())) {  // it reported: the host's handler ran
    if (!loop.IsUnchanged() || !BindCells(loop)) return false;
    FindRecord(loop);
  }
  temps_[in.dst] = std::move(value);
  return true;
}

void RowExpr::Run(RowLoop& loop, Kt_Variant& value) {
  FindRecord(loop);
  const CodeInstr* const first = program_.instrs.data();
  for (const CodeInstr* in = first;; ++in) {
    switch (in->op) {
      case CodeOp::kMove: temps_[in->dst] = Get(loop, in->a); break;
      case CodeOp::kTestAnd:
      case CodeOp::kTestOr: {
        const Kt_Variant& left = Get(loop, in->a);
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
        if (!RunCall(loop, *in)) return;
        break;
      case CodeOp::kReturn: value = Get(loop, in->a); return;
      default: {
        const kt_long code =
            Compute(OperatorOf(in->op), Get(loop, in->a), Get(loop, in->b), temps_[in->dst]);
        if (KT_LIKELY(code == kOk)) break;
        (void)kt::Report(&loop.GetContext(), u"Kt_Expr", code, OperatorText(OperatorOf(in->op)));
        expr_.PlaceFailure();
        return;
      }
    }
  }
}

}  // namespace kt::detail
