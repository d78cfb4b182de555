// SPDX-License-Identifier: MIT
#include "dataset/rows/Kt_ColumnExprs.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_NativeStack.h"
#include "classlib/store/Kt_RowReader.h"
#include "dataset/Kt_ExprDatasetObject.h"
#include "dataset/rows/Kt_RowCursor.h"
#include "dataset/rows/Kt_RowExpr.h"
#include "dataset/rows/Kt_RowMap.h"
#include "expr/Kt_ExprPurity.h"
#include "object/Kt_ExprObjInfo.h"
#include "script/Kt_RunBudget.h"

namespace kt::detail {

namespace {

// One number for a row as it is counted at the moment.
std::int64_t RowKey(const Kt_Dataset& dataset, kt_long row) {
  const int view = (dataset.GetFilterStat() ? 1 : 0) + (dataset.GetLocFilterStat() ? 2 : 0);
  return std::int64_t{row} * 4 + view;
}

// The context of a loaded map: the row and the columns of its dataset. Reports go to the context
// that another map would run in.
class LoadedMapContext final : public Kt_DatasetCtx {
 public:
  LoadedMapContext(Kt_ExprObject* listener, const Kt_Dataset& dataset)
      : Kt_DatasetCtx(nullptr, nullptr, const_cast<Kt_Dataset*>(&dataset), nullptr, nullptr),
        listener_(nullptr, listener) {}

  // Neither methods of the dataset nor functions of a script: built-in functions are what remains.
  int GetMethodType(const Kt_WString&, Kt_ExprObjInfo&) override { return EXPR_OBJ_UNKNOWN; }
  int IsSystemLogMode() override {
    Kt_ExprObject* const listener = Listener();
    return listener != nullptr ? listener->IsSystemLogMode() : 0;
  }
  void OnRunTimeError(const Kt_Result& result) override {
    if (Kt_ExprObject* const listener = Listener()) listener->OnRunTimeError(result);
  }

 private:
  Kt_ExprObject* Listener() const { return Kt_ExprObject::From(listener_.GetObject()); }

  Kt_ObjectHolder listener_;
};

}  // namespace

void ColumnExprs::Attach(Kt_Dataset& dataset, Kt_ExprObject* context) {
  const auto& present = dataset.GetEvaluator();
  if (present != nullptr && present->IsAlive()) return;
  dataset.SetEvaluator(std::make_shared<ColumnExprs>(context));
}

// Few columns have expressions, so they are searched one by one.
ColumnExprs::Column& ColumnExprs::Find(const Kt_WString& text, bool is_loaded) {
  for (Column& column : columns_) {
    if (column.is_loaded == is_loaded && column.text == text) return column;
  }
  Column made;
  made.text = text;
  made.is_loaded = is_loaded;
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
                                 const Kt_ColumnMap& map, Kt_Variant& result) {
  // Also for what ends at once: aggregates over columns that need each other ask very often.
  if (kt::ChargeRun(1) != kOk || Run::has_failed) return false;
  if (!kt_hasstack()) return Fail(kErrTooDeep, Run::NameOf(dataset, map.expression));
  // Filters are switched, not changed: every loop on the way goes on where it was.
  const FiltersOff all_rows(const_cast<Kt_Dataset&>(dataset), !filtered);
  Column& column = Find(map.expression, map.origin != nullptr && !TrustsLoadedMaps());
  if (column.is_running) {
    return Fail(kErrNotAllowed, Run::NameOf(dataset, map.expression),
                u"columns that need each other: " + Run::RingOf(column));
  }
  const std::int64_t key = RowKey(dataset, row);
  if (const auto known = column.known.find(key); known != column.known.end()) {
    result = known->second;
    return true;
  }
  const bool is_outermost = depth_ == 0;
  const Run run(*this, dataset, column);
  if (column.is_loaded && !MayRun(column, dataset, row, map)) return false;
  const kt_long code = Compute(column, dataset, row, result);
  if (code == kErrNoMemory) kt::PassMemoryFailure();
  // Where the stack ended inside of the expression, that has been reported.
  if (code == kErrTooDeep) Run::has_failed = true;
  if (code != kOk || Run::has_failed) return false;
  if (!is_outermost) column.known.emplace(key, result);
  return true;
}

// As row expressions that name the column do it (RowMap).
kt_long ColumnExprs::ComputeRows(const Kt_Dataset& dataset, kt_long col, kt_long row, kt_long end,
                                 bool filtered, const Taker& take) {
  constexpr kt_long kRowsAtOnce = 256;
  const bool is_computed = Kt_RowReader(dataset).GetShownCells(col) == nullptr;
  if (!is_computed || !RowExpr::Computes()) return 0;
  MapNest nest;
  const std::shared_ptr<RowMap> map = RowMap::Make(dataset, col, nest);
  if (map == nullptr) return 0;
  const FiltersOff all_rows(const_cast<Kt_Dataset&>(dataset), !filtered);
  const Kt_RowReader reader(dataset);
  const kt_long row_count = dataset.GetRowCount();
  std::array<std::uint32_t, kRowsAtOnce> records;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  Kt_Variant value;
  for (kt_long next = row; next < end; ++next) {
    const auto at = static_cast<std::size_t>((next - row) % kRowsAtOnce);
    if (at == 0) reader.GetRecords(next, std::min(kRowsAtOnce, end - next), records.data());
    const bool is_there = records[at] != Kt_RowReader::kNoRecord &&
                          map->Read({dataset, row_count, next, records[at]}, value);
    if (!is_there || kt::ChargeRun(map->GetSteps()) != kOk) return next - row;
    take(value);
  }
  return end - row;
}

kt_long ColumnExprs::Compute(Column& column, const Kt_Dataset& dataset, kt_long row,
                             Kt_Variant& result) {
  Kt_ExprObject* const parent = Kt_ExprObject::From(context_.GetObject());
  const RowMark row_mark(row);
  if (column.is_loaded) {
    LoadedMapContext context(parent, dataset);
    context.SetRowPosition(row, row, 0, row);
    return column.expr.ExecExpr(&context, result);
  }
  RowContext context(parent, nullptr, const_cast<Kt_Dataset*>(&dataset), nullptr, nullptr);
  context.SetRowPosition(row, row, 0, row);
  const kt_long code = column.expr.ExecExpr(&context, result);
  if (KT_UNLIKELY(code == kOk && result.IsObject())) Kt_ExprDatasetObject::TakeValueOfCell(result);
  return code;
}

bool ColumnExprs::InContextOf(const Kt_Dataset& dataset, const Kt_WString& text, bool is_loaded,
                              const std::function<bool(Kt_DatasetCtx&)>& use) {
  if (Run::innermost != nullptr) return false;
  Kt_ExprObject* const parent = Kt_ExprObject::From(context_.GetObject());
  if (!is_loaded || TrustsLoadedMaps()) {
    RowContext context(parent, nullptr, const_cast<Kt_Dataset*>(&dataset), nullptr, nullptr);
    return use(context);
  }
  Column& column = Find(text, true);
  Judge(column, dataset);
  if (!column.impure.IsEmpty() || !column.any_value_columns.empty()) return false;
  LoadedMapContext context(parent, dataset);
  return use(context);
}

// Asks the context what the names are, so that they are here what they will be when it runs.
void ColumnExprs::Judge(Column& column, const Kt_Dataset& dataset) {
  const bool is_known =
      column.judged_for == &dataset && column.judged_version == dataset.GetStructureVersion();
  if (is_known) return;
  LoadedMapContext context(nullptr, dataset);
  column.any_value_columns.clear();
  column.impure = kt::FindImpure(column.text, [&](const Kt_WString& name) {
    Kt_ExprObjInfo info;
    switch (context.GetVarType(name, info)) {
      case EXPR_OBJ_PROPERTY: return kt::NameUse::kPlain;
      case EXPR_OBJ_COLUMN: break;
      default: return kt::NameUse::kOther;
    }
    const kt_long col = dataset.GetColIndex(name);
    if (dataset.GetColType(col) != Kt_ColumnType::kVariant) return kt::NameUse::kPlain;
    column.any_value_columns.push_back(col);
    return kt::NameUse::kAnyValue;
  });
  column.judged_for = &dataset;
  column.judged_version = dataset.GetStructureVersion();
}

// Whether a loaded map only computes. A script may have put objects of the host into the cells of a
// file; those it does not get to see.
bool ColumnExprs::MayRun(Column& column, const Kt_Dataset& dataset, kt_long row,
                         const Kt_ColumnMap& map) {
  Judge(column, dataset);
  if (!column.impure.IsEmpty()) {
    ReportOnce(dataset, map, column.impure);
    return false;
  }
  // Reading may compute a column of the host, which may destroy the dataset.
  const Kt_DatasetHandle handle(const_cast<Kt_Dataset*>(&dataset));
  for (const kt_long col : column.any_value_columns) {
    const bool is_object = dataset.ReadColumn(row, col).IsObject();
    if (handle.Get() == nullptr) return false;
    if (!is_object) continue;
    ReportOnce(dataset, map, u"an object in column '" + dataset.GetColID(col) + u"'");
    return false;
  }
  return true;
}

void ColumnExprs::ReportOnce(const Kt_Dataset& dataset, const Kt_ColumnMap& map,
                             const Kt_WString& what) {
  const Kt_WString& file = map.origin->GetFile();
  const Kt_WString source = file.IsEmpty() ? dataset.GetId() : file;
  Kt_ExprObject* const listener = Kt_ExprObject::From(context_.GetObject());
  if (listener == nullptr || listener->IsSystemLogMode() == 0 || !map.origin->TakeReport()) return;
  (void)kt::Report(listener, u"Kt_Dataset", kErrNotAllowed,
                   u"column '" + map.column + u"' of " + source,
                   u"its map uses " + what + u", which a map that comes with data may not");
}

}  // namespace kt::detail
