// SPDX-License-Identifier: MIT
#include "dataset/detail/Kt_ColumnExprs.h"

#include <memory>
#include <vector>

#include "classlib/Kt_Memory.h"
#include "classlib/Kt_NativeStack.h"
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
  Column made;
  made.text = text;
  made.expr.SetExpr(text);
  return columns_.emplace_back(std::move(made));
}

// One column that is being computed, and on its way to which other; those of all datasets make one
// chain on the native stack. The outermost one of a dataset clears what was kept.
class ColumnExprs::Run {
 public:
  Run(ColumnExprs& owner, const Kt_Dataset& dataset, Column& column)
      : owner_(owner),
        dataset_(const_cast<Kt_Dataset*>(&dataset)),
        column_(column),
        outer_(innermost) {
    innermost = this;
    column_.is_running = true;
    ++owner_.depth_;
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    innermost = outer_;
    if (outer_ == nullptr) has_failed = false;
    column_.is_running = false;
    if (--owner_.depth_ == 0) owner_.Forget();
  }

  // "t.a -> t.b -> t.a", from `column`, which is running, to itself.
  static Kt_WString RingOf(const Column& column) {
    constexpr std::size_t kMaxNames = 12;
    std::vector<Kt_WString> names;
    for (const Run* run = innermost; run != nullptr; run = run->outer_) {
      const Kt_Dataset* const dataset = run->dataset_.Get();  // null: destroyed on the way
      names.push_back(dataset != nullptr ? NameOf(*dataset, run->column_.text) : run->column_.text);
      if (&run->column_ == &column) break;
    }
    Kt_WString ring = names.back();
    const std::size_t left_out = names.size() > kMaxNames ? names.size() - kMaxNames : 0;
    for (std::size_t at = names.size() - 1; at-- > left_out;) ring += u" -> " + names[at];
    if (left_out > 0) ring += u" -> ...";
    return ring + u" -> " + names.back();
  }

  static Kt_WString NameOf(const Kt_Dataset& dataset, const Kt_WString& expression) {
    kt_long col = 0;
    while (col < dataset.GetColCount() && dataset.GetColMapValue(col) != expression) ++col;
    return dataset.GetId() + u"." + dataset.GetColID(col);
  }

  static inline KT_THREAD_LOCAL Run* innermost = nullptr;
  // The cell that all this is for cannot be computed, which has been reported: whatever is still
  // asked for on the way is empty.
  static inline KT_THREAD_LOCAL bool has_failed = false;

 private:
  ColumnExprs& owner_;
  Kt_DatasetHandle dataset_;
  Column& column_;
  Run* const outer_;
};

void ColumnExprs::Forget() {
  for (Column& column : columns_) column.known.clear();
}

// Reports once for the cell that was asked for first. Always false: the cell is empty.
template <class... Args>
bool ColumnExprs::Fail(kt_long code, const Args&... args) {
  Run::has_failed = Run::innermost != nullptr;
  (void)kt::Report(Kt_ExprObject::From(context_.GetObject()), u"Kt_Dataset", code, args...);
  return false;
}

bool ColumnExprs::EvaluateColumn(const Kt_Dataset& dataset, kt_long row, bool filtered,
                                 const Kt_WString& expression, Kt_Variant& result) {
  // Also for what ends at once: aggregates over columns that need each other ask very often.
  if (kt::ChargeRun(1) != kOk || Run::has_failed) return false;
  if (!kt_hasstack()) return Fail(kErrTooDeep, Run::NameOf(dataset, expression));
  // Filters are switched, not changed: every loop on the way goes on where it was.
  const FiltersOff all_rows(const_cast<Kt_Dataset&>(dataset), !filtered);
  Column& column = Find(expression);
  if (column.is_running) {
    return Fail(kErrNotAllowed, Run::NameOf(dataset, expression),
                u"columns that need each other: " + Run::RingOf(column));
  }
  const std::int64_t key = RowKey(dataset, row);
  if (const auto known = column.known.find(key); known != column.known.end()) {
    result = known->second;
    return true;
  }
  const bool is_outermost = depth_ == 0;
  const Run run(*this, dataset, column);
  const kt_long code = Compute(column, dataset, row, result);
  if (code == kErrNoMemory) kt::PassMemoryFailure();
  // Where the stack ended inside of the expression, that has been reported.
  if (code == kErrTooDeep) Run::has_failed = true;
  if (code != kOk || Run::has_failed) return false;
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
