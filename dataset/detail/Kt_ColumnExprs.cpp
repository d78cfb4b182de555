// SPDX-License-Identifier: MIT
#include "dataset/detail/Kt_ColumnExprs.h"

#include <memory>

#include "dataset/detail/Kt_RowLoop.h"
#include "script/Kt_RunBudget.h"

namespace kt::detail {

namespace {

// One number for a row as it is counted at the moment.
std::int64_t RowKey(const Kt_Dataset& dataset, kt_long row) {
  const int view = (dataset.GetFilterStat() ? 1 : 0) + (dataset.GetLocFilterStat() ? 2 : 0);
  return std::int64_t{row} * 4 + view;
}

}  // namespace

void ColumnExprs::Attach(Kt_Dataset& dataset, Kt_ExprObject* context) {
  const auto& present = dataset.GetEvaluator();
  if (present != nullptr && present->IsAlive()) return;
  dataset.SetEvaluator(std::make_shared<ColumnExprs>(context));
}

// Few columns have expressions, so they are searched one by one.
ColumnExprs::Column& ColumnExprs::Find(const Kt_WString& text) {
  for (Column& column : columns_) {
    if (column.text == text) return column;
  }
  Column& column = columns_.emplace_back();
  column.text = text;
  column.expr.SetExpr(text);
  return column;
}

// Marks a column as running; the outermost one clears what was kept.
class ColumnExprs::Run {
 public:
  Run(ColumnExprs& owner, Column& column) : owner_(owner), column_(column) {
    column_.is_running = true;
    ++owner_.depth_;
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    column_.is_running = false;
    if (--owner_.depth_ == 0) owner_.Forget();
  }

 private:
  ColumnExprs& owner_;
  Column& column_;
};

void ColumnExprs::Forget() {
  for (Column& column : columns_) column.known.clear();
}

bool ColumnExprs::EvaluateColumn(const Kt_Dataset& dataset, kt_long row, bool filtered,
                                 const Kt_WString& expression, Kt_Variant& result) {
  // Also for what ends at once: aggregates over columns that need each other ask very often.
  if (kt::ChargeRun(1) != kOk) return false;
  // Filters are switched, not changed: every loop on the way goes on where it was.
  const FiltersOff all_rows(const_cast<Kt_Dataset&>(dataset), !filtered);
  Column& column = Find(expression);
  if (column.is_running) return false;
  const std::int64_t key = RowKey(dataset, row);
  if (const auto known = column.known.find(key); known != column.known.end()) {
    result = known->second;
    return true;
  }
  const bool is_outermost = depth_ == 0;
  const Run run(*this, column);
  if (Compute(column, dataset, row, result) != kOk) return false;
  if (!is_outermost) column.known.emplace(key, result);
  return true;
}

kt_long ColumnExprs::Compute(Column& column, const Kt_Dataset& dataset, kt_long row,
                             Kt_Variant& result) {
  Kt_ExprObject* const parent = Kt_ExprObject::From(context_.GetObject());
  RowContext context(parent, nullptr, const_cast<Kt_Dataset*>(&dataset), nullptr, nullptr);
  context.SetRowPosition(row, row, 0, row);
  return column.expr.ExecExpr(&context, result);
}

}  // namespace kt::detail
