// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <functional>
#include <unordered_map>
#include <vector>

#include "classlib/store/Kt_CellBatches.h"
#include "classlib/store/Kt_Dataset.h"
#include "expr/Kt_Expr.h"
#include "object/Kt_ExprObject.h"

class Kt_DatasetCtx;

namespace kt::detail {

// Computes the logical columns of datasets by row expressions. Names are, as in every row
// expression, row keywords, columns, and what the context of the first wrapper knows.
//
// Columns may build on columns as deep as the native stack allows. A cell that needs more, or a
// column that comes back to itself, is empty, and that is reported once (kErrTooDeep,
// kErrNotAllowed). What is asked for more than once on the way to one cell is computed once, so
// that columns built on columns cost no more than there are.
//
// A map that a load brought runs in a context that ends at the dataset, so that no function,
// variable or object of the host is within its reach, and only when it merely computes
// (kt::FindImpure). Otherwise its cells are empty, which is reported once for each column of a
// file.
class ColumnExprs final : public Kt_ColumnEvaluator, public Kt_CellBatches {
 public:
  // Gives the dataset one unless it has one that works. `context` may be null.
  static void Attach(Kt_Dataset& dataset, Kt_ExprObject* context);

  explicit ColumnExprs(Kt_ExprObject* context) : context_(nullptr, context) {}
  bool IsAlive() const override { return context_.IsEmpty() || context_.IsValid(); }
  // That of a dataset; null when it has none, or one of another kind.
  static ColumnExprs* Of(const Kt_Dataset& dataset) {
    return dynamic_cast<ColumnExprs*>(dataset.GetEvaluator().get());
  }
  // What use(context) answers for a context as cells of the map are computed in, but for its row.
  // False while cells are computed on this thread, and for maps whose cells may have to stay empty.
  bool InContextOf(const Kt_Dataset& dataset, const Kt_WString& text, bool is_loaded,
                   const std::function<bool(Kt_DatasetCtx&)>& use);
  bool EvaluateColumn(const Kt_Dataset& dataset, kt_long row, bool filtered,
                      const Kt_ColumnMap& map, Kt_Variant& result) override;
  kt_long ComputeRows(const Kt_Dataset& dataset, kt_long col, kt_long row, kt_long end,
                      bool filtered, const Taker& take) override;

 private:
  struct Column {
    Kt_WString text;
    bool is_loaded = false;
    Kt_Expr expr;
    bool is_running = false;
    // Of a loaded map, found out for the columns that a dataset has at the moment.
    const Kt_Dataset* judged_for = nullptr;
    std::uint64_t judged_version = 0;
    Kt_WString impure;
    std::vector<kt_long> any_value_columns;  // that it names and whose cells may be objects
    std::unordered_map<std::int64_t, Kt_Variant> known;  // by row and filters, while one cell runs
  };
  class Run;

  Column& Find(const Kt_WString& text, bool is_loaded);
  kt_long Compute(Column& column, const Kt_Dataset& dataset, kt_long row, Kt_Variant& result);
  static void Judge(Column& column, const Kt_Dataset& dataset);
  bool MayRun(Column& column, const Kt_Dataset& dataset, kt_long row, const Kt_ColumnMap& map);
  void ReportOnce(const Kt_Dataset& dataset, const Kt_ColumnMap& map, const Kt_WString& what);
  void Forget();
  template <class... Args>
  bool Fail(kt_long code, const Args&... args);

  Kt_ObjectHolder context_;
  std::deque<Column> columns_;  // in place while they run
  int depth_ = 0;
};

}  // namespace kt::detail
