// SPDX-License-Identifier: MIT
//
// Hiding rows by an expression, and showing them again.
#include <new>

#include "classlib/base/Kt_Memory.h"
#include "dataset/methods/Kt_MethodArgs.h"
#include "dataset/rows/Kt_RowLoop.h"
#include "object/Kt_MemoryDoor.h"

namespace {

using namespace kt::detail;  // NOLINT(google-build-using-namespace): loops and ranges

using RowMarks = kt::CountedVector<std::uint8_t>;  // by row; not 0: to be hidden

bool IsGrouped(const Kt_Dataset& dataset) { return !dataset.GetGroupStr().IsEmpty(); }

// The local filter lies over the rows as they are shown: for those that are laid out anew when the
// main filter changes, and for the first filter of plain data.
bool TakesLocalFilter(const Kt_Dataset& dataset) {
  return dataset.IsPivot() || IsGrouped(dataset) ||
         (dataset.IsPhysical() && !dataset.GetLocFilterStat() && dataset.GetFilterStr().IsEmpty());
}

// The filters that a new one replaces. The main filter of a pivot is part of what it shows, and so
// is that of a dataset whose definition has one.
void DropFilters(Kt_Dataset& dataset, bool is_local) {
  dataset.LocUnFilter();
  if (is_local && (dataset.IsPivot() || !dataset.GetFilterStr().IsEmpty())) return;
  dataset.UnFilter();
}

// Marks the rows whose condition is false.
struct FalseMarker {
  // Blocks are marked in place, anew if their part is thrown away.
  struct Part {};
  static const RowExpr* GetSecond() { return nullptr; }
  static int GetOwnCost() { return 1; }
  bool MakePart(PartRows& rows, Part&) const {
    const RowBlock* const conditions = rows.Of(0);
    if (conditions == nullptr || !conditions->IsWhole()) return false;
    for (kt_long row = rows.First(); row < rows.End();) {
      const RowNumbers some = conditions->NumbersFrom(row);
      if (some.count == 0) hidden[static_cast<std::size_t>(row)] = 0;  // empty
      Mark(hidden.data() + row, some);
      row += std::max(some.count, 1);
    }
    return true;
  }
  void TakePart(const Part&) {}

  kt_long TakeMany(kt_long first, const RowNumbers& conditions) {
    std::uint8_t* const marks = hidden.data() + first;
    Mark(marks, conditions);
    return conditions.count;
  }
  bool TakeOne(kt_long row, const Kt_Variant& condition, bool) {
    hidden[static_cast<std::size_t>(row)] = IsFalseCondition(condition) ? 1 : 0;
    return true;
  }

  // Doubles are no conditions.
  static void Mark(std::uint8_t* marks, const RowNumbers& conditions) {
    if (conditions.longs == nullptr) {
      std::fill_n(marks, conditions.count, std::uint8_t{0});
      return;
    }
    for (kt_long at = 0; at < conditions.count; ++at) {
      marks[at] = conditions.longs[at] == 0 ? 1 : 0;
    }
  }

  RowMarks& hidden;
};

// Marks the rows whose expression is false. All rows are judged before the first one is hidden, so
// that an expression that asks about other rows ("price > Avg('price')") gets one answer for all.
// False when the dataset or wrapper was destroyed or the run is to stop.
bool JudgeRows(Kt_ExprDataset& wrapper, const Kt_WString& text, kt_long row_count, RowMarks& hidden,
               kt_long& stop_code) {
  RowCursor cursor(wrapper, RowCursor::kFollow);
  RowExpr expr(text);
  hidden.assign(static_cast<std::size_t>(row_count), 0);
  const kt_long rows_at_first = cursor.RowCount();
  FalseMarker marker{hidden};
  const bool is_done = ForEachValue<RowOrder::kDown>(cursor, expr, 0, row_count, marker);
  stop_code = cursor.GetStopCode();
  // What was found out goes by row numbers: it is void when rows came or went meanwhile.
  return is_done && cursor.RowCount() == rows_at_first;
}

// One application of a filter expression.
class FilterRun {
 public:
  FilterRun(Kt_ExprDataset& wrapper, const Kt_WString& text, bool recalc)
      : wrapper_(wrapper),
        dataset_(*wrapper.GetDataset()),
        there_(wrapper),
        text_(text),
        recalc_(recalc) {}

  // 1 when it acted.
  int Run() {
    if (recalc_ && (dataset_.IsPivot() || IsGrouped(dataset_))) return 0;
    const bool is_local = TakesLocalFilter(dataset_);
    const Kt_Dataset::Rollback rollback(dataset_);
    DropFilters(dataset_, is_local);
    if (is_local) {
      RunLocal();
    } else {
      RunMain();
    }
    return 1;
  }
  kt_long GetStopCode() const { return stop_code_; }

 private:
  void RunLocal() {
    if (text_.IsEmpty()) return;
    const kt_long rows = dataset_.IsPivot() ? dataset_.GetRowCountNF() : dataset_.GetRowCount();
    if (rows > 1) dataset_.ResetFilIndex();
    if (!HideFalse(true, rows)) return;
    if (!IsGrouped(dataset_)) return;
    if (dataset_.IsPivot()) {
      dataset_.PivotLocSubSum_Reset();
    } else {
      dataset_.RecalcGroup();
    }
  }

  void RunMain() {
    const bool has_source = dataset_.IsLogical() && dataset_.GetSource() != nullptr;
    if (!text_.IsEmpty() || has_source) {
      dataset_.ResetRecIndex();
      if (!there_) return;
      if (!text_.IsEmpty() && !HideFalse(false, dataset_.GetRowCount())) return;
    }
    if (!dataset_.IsPhysical() && !dataset_.GetFilterStat()) {
      dataset_.ResetRecIndex();
      if (!there_) return;
      dataset_.SetFilterStat(true);
    }
    if (!text_.IsEmpty() && !recalc_) dataset_.RecalcGroup();
  }

  // False when the dataset is not there any more.
  bool HideFalse(bool is_local, kt_long row_count) {
    RowMarks hidden;
    const bool is_judged = JudgeRows(wrapper_, text_, row_count, hidden, stop_code_);
    if (!there_) return false;
    if (!is_judged) return true;
    (void)(is_local ? dataset_.LocFilterRows(hidden) : dataset_.FilterRows(hidden));
    return true;
  }

  Kt_ExprDataset& wrapper_;
  Kt_Dataset& dataset_;
  StillThere there_;
  Kt_WString text_;
  bool recalc_;
  kt_long stop_code_ = kOk;
};

// 1 when it acted; the code of a budget that stopped it in `stop_code`.
int ApplyFilter(Kt_ExprDataset& wrapper, const Kt_WString& text, bool recalc, kt_long& stop_code) {
  stop_code = kOk;
  if (wrapper.GetDataset() == nullptr) return 0;
  FilterRun run(wrapper, text, recalc);
  const int acted = run.Run();
  stop_code = run.GetStopCode();
  return acted;
}

bool HidesRows(const Kt_Dataset& dataset) {
  if (dataset.IsPivot()) return dataset.GetLocFilterStat();
  return dataset.GetRowCount() != dataset.GetRowCountNF();
}

// Back to the rows that the dataset shows by itself.
kt_long ShowRows(Kt_ExprDataset& wrapper) {
  Kt_Dataset& dataset = *wrapper.GetDataset();
  const Kt_WString definition = dataset.GetFilterStr();
  kt_long stop_code = kOk;
  if (dataset.GetLocFilterStat()) dataset.LocUnFilter();
  if (dataset.IsPivot()) return kOk;
  // Groups keep the filter of their definition, which could not be applied to them again.
  if (definition.IsEmpty() || !IsGrouped(dataset)) dataset.UnFilter();
  const Kt_DatasetHandle handle(&dataset);
  if (!definition.IsEmpty()) (void)ApplyFilter(wrapper, definition, true, stop_code);
  if (handle.Get() != nullptr) dataset.RecalcGroup();
  return stop_code;
}

// `self` holds the wrapper, which the filter may have destroyed.
void AnnounceFilter(Kt_ExprDataset& wrapper, const Kt_ObjectHolder& self) {
  if (!self.IsValid() || wrapper.GetDataset() == nullptr) return;
  (void)wrapper.AnnounceRows(Kt_LoadReason::kFiltered);
}

}  // namespace

int Kt_ExprDataset::ExprFilter(const Kt_WString& text, bool recalc) {
  kt_long stop_code = kOk;
  return kt::AtMemoryDoorOf(*this, u"Kt_ExprDataset",
                            [&] { return ApplyFilter(*this, text, recalc, stop_code); });
}

namespace kt::detail::methods {

kt_long Filter(const MethodCall& call, Kt_Variant&) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  const Kt_ObjectHolder self(nullptr, &wrapper);
  const Kt_WString text = call.Text(0);
  kt_long stop_code = kOk;
  if (!text.IsEmpty()) {
    (void)ApplyFilter(wrapper, text, false, stop_code);
  } else if (HidesRows(call.Data())) {
    stop_code = ShowRows(wrapper);
  }
  AnnounceFilter(wrapper, self);
  return stop_code;
}

kt_long UnFilter(const MethodCall& call, Kt_Variant& result) {
  Kt_ExprDataset& wrapper = call.Wrapper();
  const kt_long hidden = call.Data().GetRowCountNF() - call.Data().GetRowCount();
  if (!HidesRows(call.Data())) return Yield(0, result);
  result = hidden;
  const Kt_ObjectHolder self(nullptr, &wrapper);
  const kt_long stop_code = ShowRows(wrapper);
  AnnounceFilter(wrapper, self);
  return stop_code;
}

kt_long RecalcFilter(const MethodCall& call, Kt_Variant&) {
  const Kt_Dataset& dataset = call.Data();
  kt_long stop_code = kOk;
  if (dataset.IsLogical() && !dataset.IsPivot() && !IsGrouped(dataset)) {
    (void)ApplyFilter(call.Wrapper(), dataset.GetFilterStr(), true, stop_code);
  }
  return stop_code;
}

}  // namespace kt::detail::methods
