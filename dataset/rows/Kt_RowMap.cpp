// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_RowMap.h"

#include <algorithm>

#include "classlib/value/Kt_VarInline.h"
#include "dataset/rows/Kt_ColumnExprs.h"
#include "dataset/rows/Kt_RowBinding.h"
#include "dataset/rows/Kt_RowBlock.h"

namespace kt::detail {

namespace {

// Every use of a computed column in another one has a block of its own.
constexpr int kMostBlocks = 32;

bool IsKeyword(const RowName& name) { return name.kind == RowName::Kind::kKeyword; }

}  // namespace

RowMap::RowMap(const Kt_Dataset& dataset, kt_long col)
    : dataset_(const_cast<Kt_Dataset*>(&dataset)),
      version_(dataset.GetStructureVersion()),
      computer_(dataset.GetEvaluator().get()),
      text_(dataset.GetColMapValue(col)),
      is_loaded_(dataset.IsLoadedMap(col)),
      converter_(dataset.GetColType(col)) {}

RowMap::~RowMap() = default;

// Rows of a source have other numbers than those of the dataset that shows them, and what was
// computed for one of its cells is not kept for the next.
std::shared_ptr<RowMap> RowMap::Make(const Kt_Dataset& dataset, kt_long col, MapNest& nest) {
  if (dataset.IsPivot() || dataset.IsEvaluating()) return nullptr;
  const kt_long source_col = dataset.GetSourceCol(col);
  const bool is_of_source = source_col >= 0;
  const Kt_Dataset* const owner = is_of_source ? dataset.GetSource() : &dataset;
  const kt_long owner_col = is_of_source ? source_col : col;
  if (owner == nullptr || !owner->IsLogicalColumn(owner_col) || owner->IsEvaluating()) {
    return nullptr;
  }
  if (is_of_source && (!nest.maps.empty() || !owner->IsPhysical())) return nullptr;
  std::shared_ptr<RowMap> map(new RowMap(*owner, owner_col));
  return map->Bind(nest, is_of_source) ? map : nullptr;
}

bool RowMap::Bind(MapNest& nest, bool is_of_source) {
  ColumnExprs* const exprs = ColumnExprs::Of(*dataset_.Get());
  const bool is_ring = std::ranges::find(nest.maps, text_) != nest.maps.end();
  if (exprs == nullptr || is_ring || nest.maps.size() >= MapNest::kMostNested) return false;
  is_loaded_ = is_loaded_ && !exprs->TrustsLoadedMaps();
  Kt_Expr expr;
  expr.SetExpr(text_);
  program_ = ExprProgram::Of(expr);
  if (!HasPlainCode(program_)) return false;
  nest.maps.push_back(text_);
  const bool is_found =
      exprs->InContextOf(*dataset_.Get(), text_, is_loaded_, [&](Kt_DatasetCtx& context) {
        return kt::detail::FindNames(program_, context, *dataset_.Get(), &nest, names_) &&
               FindCalls(program_, context, calls_) &&
               kt::detail::FindCells(*dataset_.Get(), names_);
      });
  nest.maps.pop_back();
  if (!is_found || std::ranges::any_of(names_, IsKeyword)) return false;
  if (!std::ranges::all_of(calls_, &RowCall::is_pure)) return false;
  uses_row_ = std::ranges::any_of(names_, [](const RowName& name) {
    return name.kind == RowName::Kind::kRow || (name.map != nullptr && name.map->uses_row_);
  });
  if (is_of_source && uses_row_) return false;
  if (!CountSteps() || block_count_ > kMostBlocks) return false;
  block_ = MakeBlock();
  return true;
}

// Every map on the way is computed once and asks for each column that it names.
bool RowMap::CountSteps() {
  std::int64_t own_asks = 0;
  bool are_sure = true;
  ForEachMap(program_, names_, [&](const RowMap&, bool is_sure) {
    ++own_asks;
    are_sure = are_sure && is_sure;
  });
  if (!are_sure) return false;
  for (const RowName& name : names_) {
    if (name.map == nullptr) continue;
    asks_.insert(name.map->asks_.begin(), name.map->asks_.end());
    block_count_ += name.map->block_count_;
  }
  asks_[text_.ToUtf8() + (is_loaded_ ? "!" : "")] = own_asks;
  steps_ = 1;
  for (const auto& [text, asks] : asks_) steps_ += asks;
  return true;
}

std::unique_ptr<RowBlock> RowMap::MakeBlock() const {
  return RowBlock::Make(program_, names_, calls_);
}

bool RowMap::FindCells() {
  const Kt_Dataset* const dataset = dataset_.Get();
  if (dataset == nullptr || dataset->GetStructureVersion() != version_ ||
      dataset->GetEvaluator().get() != computer_ || !kt::detail::FindCells(*dataset, names_)) {
    return false;
  }
  if (block_ != nullptr && is_filled_ && rows_since_filling_ < kLeastRows) block_ = nullptr;
  if (block_ != nullptr) block_->Rebind(names_);
  is_filled_ = false;
  rows_since_filling_ = 0;
  return true;
}

bool RowMap::Read(const Row& row, Kt_Variant& value) {
  if (block_ != nullptr ? !ReadAhead(row, value) : !Run(row, value)) return false;
  const bool is_its_own = (value.IsDouble() && GetType() == Kt_ColumnType::kDouble) ||
                          (value.IsLong() && GetType() == Kt_ColumnType::kLong);
  if (!is_its_own) value = Converted(value);
  return true;
}

bool RowMap::ReadAhead(const Row& row, Kt_Variant& value) {
  if (!block_->Has(row.row)) block_->Fill(row.walked, row.row_count, row.row);
  is_filled_ = true;
  ++rows_since_filling_;
  return block_->Read(row.row, value);
}

// Row by row, as RowExpr::RunCompiled does it. What fails is not told here.
bool RowMap::Run(const Row& row, Kt_Variant& value) {
  const std::uint64_t failures = QuietCalls::CountFailures();
  temps_.resize(program_.temp_count);
  return RunCode(row, value) && failures == QuietCalls::CountFailures();
}

bool RowMap::RunCode(const Row& row, Kt_Variant& value) {
  const CodeInstr* const first = program_.instrs.data();
  for (const CodeInstr* in = first;; ++in) {
    if (in->op == CodeOp::kCall) {
      const Kt_Getter function = calls_[static_cast<std::size_t>(in->extra)].function;
      Kt_Variant result;
      if (!quiet_.Run(function, {temps_.data() + in->a, in->b}, result)) return false;
      temps_[in->dst] = std::move(result);
      continue;
    }
    const Kt_Variant* const left = Get(row, in->a);
    if (left == nullptr) return false;
    if (in->op == CodeOp::kReturn) {
      value = *left;
      return true;
    }
    if (in->op == CodeOp::kTestAnd || in->op == CodeOp::kTestOr) {
      const bool is_true = IsConditionTrue(*left);
      if (is_true == (in->op == CodeOp::kTestOr)) {
        temps_[in->dst].Set(kt_long{is_true});
        in = first + in->extra - 1;
        continue;
      }
    }
    if (!IsOperator(in->op)) {
      if (left != &temps_[in->dst]) temps_[in->dst] = *left;
      continue;
    }
    const Kt_Variant* const right = Get(row, in->b);
    if (right == nullptr) return false;
    if (Compute(OperatorOf(in->op), *left, *right, temps_[in->dst]) != kOk) return false;
  }
}

// Null when it is not known here.
const Kt_Variant* RowMap::Get(const Row& row, std::uint16_t operand) {
  if (operand < CodeOperand::kConstBase) return &temps_[operand];
  if (operand < CodeOperand::kNameBase) return &program_.consts[operand - CodeOperand::kConstBase];
  RowName& name = names_[operand - CodeOperand::kNameBase];
  if (name.kind == RowName::Kind::kRow) {
    name.value.Set(row.row);
  } else if (name.map == nullptr) {
    ReadCell(name, row.record);
  } else if (!name.map->Read(row, name.value)) {
    return nullptr;
  }
  return &name.value;
}

}  // namespace kt::detail
