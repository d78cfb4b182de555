// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <unordered_map>

#include "classlib/Kt_Dataset.h"
#include "expr/Kt_Expr.h"
#include "object/Kt_ExprObject.h"

namespace kt::detail {

// Computes the logical columns of datasets by row expressions. Names are, as in every row
// expression, row keywords, columns, and what the context of the first wrapper knows.
//
// Columns may build on columns as deep as the native stack allows. A cell that needs more, or a
// column that comes back to itself, is empty, and that is reported once (kErrTooDeep,
// kErrNotAllowed). What is asked for more than once on the way to one cell is computed once, so
// that columns built on columns cost no more than there are.
class ColumnExprs final : public Kt_ColumnEvaluator {
 public:
  // Gives the dataset one unless it has one that works. `context` may be null.
  static void Attach(Kt_Dataset& dataset, Kt_ExprObject* context);

  explicit ColumnExprs(Kt_ExprObject* context) : context_(nullptr, context) {}
  bool IsAlive() const override { return context_.IsEmpty() || context_.IsValid(); }
  bool EvaluateColumn(const Kt_Dataset& dataset, kt_long row, bool filtered,
                      const Kt_WString& expression, Kt_Variant& result) override;

 private:
  struct Column {
    Kt_WString text;
    Kt_Expr expr;
    bool is_running = false;
    std::unordered_map<std::int64_t, Kt_Variant> known;  // by row and filters, while one cell runs
  };
  class Run;

  Column& Find(const Kt_WString& text);
  kt_long Compute(Column& column, const Kt_Dataset& dataset, kt_long row, Kt_Variant& result);
  void Forget();
  template <class... Args>
  bool Fail(kt_long code, const Args&... args);

  Kt_ObjectHolder context_;
  std::deque<Column> columns_;  // in place while they run
  int depth_ = 0;
};

}  // namespace kt::detail
