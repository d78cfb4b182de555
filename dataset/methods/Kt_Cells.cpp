// SPDX-License-Identifier: MIT
//
// Cells and constants: reading, and writing with the questions and announcements around it.
#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_VarInline.h"
#include "dataset/Kt_ExprDataset.h"
#include "dataset/detail/Kt_EventCall.h"
#include "object/Kt_ExprStackObj.h"
#include "object/Kt_MemoryDoor.h"

// A cell by column index, its row counted with or without the filters.
struct Kt_ExprDataset::Cell {
  kt_long row;
  kt_long col;
  bool filtered;

  bool IsIn(const Kt_Dataset& dataset) const {
    const kt_long row_count = filtered ? dataset.GetRowCount() : dataset.GetRowCountNF();
    return row >= 0 && row < row_count && col >= 0 && col < dataset.GetColCount();
  }
  Kt_RowIdentity Identity(const Kt_Dataset& dataset) const {
    return filtered ? dataset.GetRowIdentity(row) : dataset.GetRowIdentityNF(row);
  }
  Kt_Variant Read(const Kt_Dataset& dataset) const {
    return filtered ? dataset.ReadColumn(row, col) : dataset.ReadColumnNF(row, col);
  }
  kt_long Store(Kt_Dataset& dataset, const Kt_Variant& value) const {
    return filtered ? dataset.SetColumn(row, col, value) : dataset.SetColumnNF(row, col, value);
  }
  // Whether the store would take the value for the one that is there.
  bool Holds(const Kt_Dataset& dataset, const Kt_Variant& old_value,
             const Kt_Variant& value) const {
    if (filtered && dataset.IsPhysical()) return !dataset.WouldChange(row, col, value);
    Kt_Column probe(dataset.GetColType(col));
    probe.Append(old_value);
    return probe.Equals(0, value);
  }
  kt_long ShownRow(const Kt_Dataset& dataset) const;
};

struct Kt_ExprDataset::Write {
  const Kt_Variant& value;
  const Kt_Component* component;
  int pivot_index;
};

// Shown rows have ascending numbers without filters. -1 for a hidden row.
kt_long Kt_ExprDataset::Cell::ShownRow(const Kt_Dataset& dataset) const {
  if (filtered) return row;
  kt_long low = 0;
  kt_long high = dataset.GetRowCount();
  while (low < high) {
    const kt_long middle = low + (high - low) / 2;
    if (dataset.GetRowIndexNF(middle) < row) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return dataset.GetRowIndexNF(low) == row ? low : -1;
}

namespace {

constexpr const char16_t* kSource = u"Kt_ExprDataset";

Kt_Result Refusal(const Kt_WString& column, int row, const Kt_Variant& old_value,
                  const Kt_Variant& new_value) {
  Kt_Result result;
  result.AddMsg(kErrColumnRejected, kSource, 0, column, kt_longtextW(row), old_value.ToString(),
                new_value.ToString());
  return result;
}

int Done(kt_long code) { return code > 0 ? 1 : code; }

// What an object is stored as, asked before the store is in the middle of anything: the value of
// its default property, else its text; a variant column takes the object itself.
Kt_Variant StoredValue(const Kt_Variant& object, bool is_any_kind) {
  const Kt_Variant held(object);
  Kt_Variant value;
  if (!kt::detail::ReadDefaultProp(held, value)) value = held;
  return value.IsObject() && !is_any_kind ? Kt_Variant(value.ToString()) : value;
}

}  // namespace

// Reading -----------------------------------------------------------------------------------------

int Kt_ExprDataset::IsColumn(const char16_t* id) const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset != nullptr && id != nullptr && dataset->GetColIndex(id) >= 0 ? 1 : 0;
}

int Kt_ExprDataset::GetColumn(int row, int col, Kt_Variant& result, int pivot_index) const {
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr || !Cell{row, col, true}.IsIn(*dataset)) {
    result.Clear();
    return 0;
  }
  result = dataset->ReadColumn(row, col, pivot_index);
  return 1;
}

int Kt_ExprDataset::GetColumn(int row, const Kt_WString& id, Kt_Variant& result,
                              int pivot_index) const {
  return GetColumn(row, FindColumn(id), result, pivot_index);
}

const Kt_Variant* Kt_ExprDataset::GetColumn(int row, int col, int pivot_index) const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetColumn(row, col, pivot_index) : &Kt_Variant::_KtNullVariant;
}

int Kt_ExprDataset::GetColumnSet(int row, int col, Kt_Variant& result) const {
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr || !Cell{row, col, true}.IsIn(*dataset)) {
    result.Clear();
    return 0;
  }
  result = Kt_Variant(dataset->GetColumnSet(row, col));
  return 1;
}

int Kt_ExprDataset::GetColumnSet(int row, const Kt_WString& id, Kt_Variant& result) const {
  return GetColumnSet(row, FindColumn(id), result);
}

const Kt_Variant& Kt_ExprDataset::GetConstColumn(int constant) const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetConstColumn(constant) : Kt_Variant::_KtNullVariant;
}

const Kt_Variant& Kt_ExprDataset::GetConstColumn(const Kt_WString& id) const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetConstColumn(id) : Kt_Variant::_KtNullVariant;
}

// Writing -----------------------------------------------------------------------------------------

int Kt_ExprDataset::SetColumn(int row, int col, const Kt_Variant& value,
                              const Kt_Component* component, int pivot_index) {
  return kt::AtMemoryDoorOf(*this, kSource, [&] {
    return WriteCell({row, col, true}, {value, component, pivot_index});
  });
}

int Kt_ExprDataset::SetColumn(int row, const Kt_WString& id, const Kt_Variant& value,
                              const Kt_Component* component, int pivot_index) {
  return SetColumn(row, FindColumn(id), value, component, pivot_index);
}

int Kt_ExprDataset::SetColumnNF(int row, int col, const Kt_Variant& value) {
  return kt::AtMemoryDoorOf(*this, kSource, [&] {
    return WriteCell({row, col, false}, {value, nullptr, -1});
  });
}

int Kt_ExprDataset::SetColumnNF(int row, const Kt_WString& id, const Kt_Variant& value) {
  return SetColumnNF(row, FindColumn(id), value);
}

int Kt_ExprDataset::WriteObject(const Cell& cell, const Write& write) {
  const bool is_any_kind = GetDataset()->GetColType(cell.col) == Kt_ColumnType::kVariant;
  const Kt_ObjectHolder self(nullptr, this);
  const Kt_Variant value = StoredValue(write.value.Target(), is_any_kind);
  if (self.GetObject() == nullptr || GetDataset() == nullptr) return -1;
  return WriteValue(cell, {value, write.component, write.pivot_index});
}

int Kt_ExprDataset::WriteCell(const Cell& cell, const Write& write) {
  if (GetDataset() == nullptr) return -1;
  if (KT_UNLIKELY(write.value.Target().IsObject())) return WriteObject(cell, write);
  return WriteValue(cell, write);
}

int Kt_ExprDataset::WriteValue(const Cell& cell, const Write& write) {
  Kt_Dataset* const dataset = GetDataset();
  if (events_on_ == 0 && SourceFor(*dataset) == nullptr) {
    return Done(cell.Store(*dataset, write.value));
  }
  // The value may be one of the host's, which handlers may change.
  const Kt_Variant value = write.value.Dereference();
  return WriteAsked(*dataset, cell, {value, write.component, write.pivot_index});
}

int Kt_ExprDataset::WriteAsked(Kt_Dataset& dataset, const Cell& cell, const Write& write) {
  if (!cell.IsIn(dataset) || dataset.IsPivot()) return -1;
  const Kt_ObjectHolder self(nullptr, this);
  const Kt_Variant old_value = cell.Read(dataset);
  if (self.GetObject() == nullptr || GetDataset() != &dataset) return -1;
  // The store says whether a cell that keeps its value could have been written.
  if (cell.Holds(dataset, old_value, write.value)) return Done(cell.Store(dataset, write.value));
  const Kt_WString column = dataset.GetColID(cell.col);
  const int shown_row = cell.ShownRow(dataset);
  const Kt_RowIdentity identity = cell.Identity(dataset);
  const Answer answer = AskColumn(column, old_value, shown_row, write);
  if (answer == Answer::kNo) return 0;
  if (answer == Answer::kGone || cell.Identity(dataset) != identity ||
      dataset.GetColID(cell.col) != column) {
    return GiveUp(self, shown_row);
  }
  const int stored = StoreCell(dataset, cell, write);
  if (stored < 1 || self.GetObject() == nullptr || GetDataset() != &dataset) return stored;
  (void)TellColumnChanged(column, old_value, write.value, shown_row, write.component,
                          write.pivot_index);
  return stored;
}

Kt_ExprDataset::Answer Kt_ExprDataset::AskColumn(const Kt_WString& column,
                                                 const Kt_Variant& old_value, int row,
                                                 const Write& write) {
  const Answer answer = Ask(kCanColumnChange, [&] {
    return CanColumnChange(column, old_value, write.value, row, write.component, write.pivot_index);
  });
  if (answer == Answer::kNo) Fail(Refusal(column, row, old_value, write.value));
  return answer;
}

// The wrapper through which a dataset without cells of its own is edited; null: directly.
Kt_ExprDataset* Kt_ExprDataset::SourceFor(const Kt_Dataset& dataset) const {
  return dataset.IsPhysical() ? nullptr : GetLogicalSource();
}

int Kt_ExprDataset::StoreCell(Kt_Dataset& dataset, const Cell& cell, const Write& write) {
  Kt_ExprDataset* const source = SourceFor(dataset);
  const kt_long col = source ? dataset.GetSourceCol(cell.col) : -1;
  const kt_long shown_row = col < 0 ? -1 : cell.ShownRow(dataset);
  const kt_long row = shown_row < 0 ? -1 : dataset.GetSourceRowNF(shown_row);
  // What the source does not show (its own columns, rows that its filter hides) goes to the store.
  if (row < 0) return Done(cell.Store(dataset, write.value));
  return source->WriteCell({row, col, false}, write);
}

int Kt_ExprDataset::SetConstColumn(int constant, const Kt_Variant& value) {
  Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr || constant < 0 || constant >= dataset->GetConstCount()) return -1;
  return kt::AtMemoryDoorOf(*this, kSource,
                            [&] { return WriteConstant(*dataset, constant, value.Dereference()); });
}

int Kt_ExprDataset::SetConstColumn(const Kt_WString& id, const Kt_Variant& value) {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? SetConstColumn(dataset->GetConstIndex(id), value) : -1;
}

int Kt_ExprDataset::WriteConstant(Kt_Dataset& dataset, kt_long constant, const Kt_Variant& value) {
  const Kt_Variant old_value = dataset.GetConstColumn(constant);
  if (old_value.GetTag() == value.GetTag() && kt::VarCmp(old_value, value, kCmpEqual) != 0) {
    return 1;
  }
  const Kt_WString id = dataset.GetConstColID(constant);
  const Answer answer = AskColumn(id, old_value, -1, {value, nullptr, -1});
  if (answer == Answer::kNo) return 0;
  // By id: the host may have given the dataset other constants.
  if (answer == Answer::kGone || dataset.SetConstColumn(id, value) < 1) return -1;
  (void)TellColumnChanged(id, old_value, value, -1, nullptr, -1);
  return 1;
}

// What stack entries ask -------------------------------------------------------------------------

kt_long Kt_ExprDataset::GetCurrentRow() const { return row_index_; }
kt_long Kt_ExprDataset::GetWriteRow() const { return row_position_; }

kt_long Kt_ExprDataset::FindColumn(const Kt_WString& name) const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetColIndex(name) : -1;
}

void Kt_ExprDataset::ReadColumn(kt_long row, kt_long col, Kt_Variant& result) const {
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return result.Clear();
  result = dataset->ReadColumn(row, col, dataset->IsPivot() ? pivot_col_index_ : -1);
}

void Kt_ExprDataset::ReadOriginal(kt_long row, kt_long col, Kt_Variant& result) const {
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return result.Clear();
  result = dataset->GetOrgBuffColumn(row, col);
}

kt_long Kt_ExprDataset::WriteColumn(kt_long row, kt_long col, const Kt_Variant& value) {
  return SetColumn(row, col, value);
}

kt_long Kt_ExprDataset::GetRowLevel(kt_long row) const {
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return 0;
  return dataset->IsPivot() ? dataset->GetPivotRowLevel(row) : dataset->GetRowLevel(row);
}

kt_long Kt_ExprDataset::GetRowIndex(kt_long row) const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetRowIndex(row) : -1;
}

kt_long Kt_ExprDataset::GetReverseSubSumStat() const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset != nullptr && dataset->GetReverseSubSumStat() ? 1 : 0;
}

void Kt_ExprDataset::ReadAggregate(Aggregate what, kt_long col, kt_long start, kt_long end,
                                   Kt_Variant& result) const {
  result.Clear();
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return;
  const kt_long position = dataset->IsPivot() ? pivot_col_index_ : -1;
  (void)dataset->GetAggregate(what, col, start, end, result, position);
}
