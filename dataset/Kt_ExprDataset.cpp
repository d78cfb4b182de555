// SPDX-License-Identifier: MIT
//
// Construction, cursor, items, and what a host without handlers answers to events.
#include "dataset/Kt_ExprDataset.h"

#include <algorithm>
#include <new>

#include "dataset/Kt_ExprDatasetObject.h"
#include "dataset/detail/Kt_EventCall.h"
#include "dataset/rows/Kt_ColumnExprs.h"
#include "object/Kt_MemoryDoor.h"

namespace {

// Wrappers that pass their writes on to each other.
constexpr int kMaxSourceDepth = 16;

// A row index beside a current row: a negative one follows it, one past the end is no row.
int IndexBeside(int current, int index, int limit) {
  if (index < 0) return current;
  return index < limit ? index : -1;
}

// Sets a current row and index by the rules of SetCurRow; true when they follow the position again.
bool PlaceCursor(int row, int index, int limit, int position, int& current, int& current_index) {
  if (row < 0) {
    current = row;
    current_index = index < 0 ? row : index;
    return index < 0;
  }
  current = row < limit ? row : position;
  current_index = IndexBeside(current, index, limit);
  return false;
}

}  // namespace

Kt_ExprObject* kt::ToExprObject(Kt_ExprDataset* dataset) { return dataset; }

Kt_ExprDataset::Kt_ExprDataset() : Kt_ExprDataset(nullptr, nullptr) {}

Kt_ExprDataset::Kt_ExprDataset(Kt_Dataset* dataset, Kt_ExprObject* parent)
    : Kt_ExprObject(parent), dataset_(dataset) {
  SetContainer(parent);
  guards_.fill(true);
  if (dataset != nullptr) kt::detail::ColumnExprs::Attach(*dataset, parent);
}

Kt_ExprDataset::~Kt_ExprDataset() = default;

void Kt_ExprDataset::InitWithMemory(Kt_ExprDataset* memory) { new (memory) Kt_ExprDataset; }
void Kt_ExprDataset::FreeWithMemory(Kt_ExprDataset* memory) { memory->~Kt_ExprDataset(); }

void Kt_ExprDataset::SetDataset(Kt_Dataset* dataset) {
  dataset_ = Kt_DatasetHandle(dataset);
  ResetCursor();
  if (dataset != nullptr) kt::detail::ColumnExprs::Attach(*dataset, GetParentCtx());
}

void Kt_ExprDataset::Rebind(Kt_Dataset* dataset, Kt_ExprObject* parent) {
  SetParent(parent);
  SetContainer(parent);
  SetDataset(dataset);
}

void Kt_ExprDataset::ResetCursor() {
  cursor_follows_ = pivot_row_follows_ = pivot_col_follows_ = true;
  StorePosition(-1);
  SetPivotRowPosition(-1);
  SetPivotColPosition(-1);
}

void Kt_ExprDataset::SetLogicalSource(Kt_ExprDataset* source) {
  int depth = 0;
  for (const Kt_ExprDataset* next = source; next != nullptr; next = next->GetLogicalSource()) {
    if (next == this || ++depth > kMaxSourceDepth) return;
  }
  logical_source_.Set(nullptr, source);
}

Kt_ExprDataset* Kt_ExprDataset::GetLogicalSource() const {
  return static_cast<Kt_ExprDataset*>(Kt_ExprObject::From(logical_source_.GetObject()));
}

// Cursor ------------------------------------------------------------------------------------------

int Kt_ExprDataset::GetRowCount() const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetRowCount() : 0;
}

int Kt_ExprDataset::GetPivotRowCount() const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetPivotRowCount() : 0;
}

int Kt_ExprDataset::GetPivotColCount() const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetPivotColCount() : 0;
}

int Kt_ExprDataset::RowLimit() const {
  const Kt_Dataset* const dataset = GetDataset();
  if (dataset == nullptr) return 0;
  return original_row_ != 0 ? dataset->GetOrgBuffCount() : dataset->GetRowCount();
}

void Kt_ExprDataset::KeepPositionInside() {
  const int row_count = GetRowCount();
  if (row_position_ >= row_count) StorePosition(row_count - 1);
}

void Kt_ExprDataset::StorePosition(int position) {
  row_position_ = position;
  if (!cursor_follows_) return;
  current_row_ = row_index_ = position;
  original_row_ = 0;
}

void Kt_ExprDataset::SetCurRow(int row, int original, int row_index) {
  original_row_ = row < 0 ? 0 : original;
  cursor_follows_ =
      PlaceCursor(row, row_index, RowLimit(), row_position_, current_row_, row_index_);
}

void Kt_ExprDataset::SetRowIdx(int row_index) {
  row_index_ = IndexBeside(current_row_, row_index, RowLimit());
  cursor_follows_ = false;
}

void Kt_ExprDataset::SetPivotRowPosition(int position) {
  if (position < -1 || (position >= 0 && position >= GetPivotRowCount())) return;
  pivot_row_position_ = position;
  if (pivot_row_follows_) pivot_current_row_ = pivot_row_index_ = position;
}

void Kt_ExprDataset::SetCurPivotRow(int row, int /*original*/, int row_index) {
  pivot_row_follows_ = PlaceCursor(row, row_index, GetPivotRowCount(), pivot_row_position_,
                                   pivot_current_row_, pivot_row_index_);
}

void Kt_ExprDataset::SetPivotRowIdx(int row_index) {
  pivot_row_index_ = IndexBeside(pivot_current_row_, row_index, GetPivotRowCount());
  pivot_row_follows_ = false;
}

void Kt_ExprDataset::SetPivotColPosition(int position) {
  if (position < -1 || (position >= 0 && position >= GetPivotColCount())) return;
  pivot_col_position_ = position;
  if (pivot_col_follows_) pivot_current_col_ = pivot_col_index_ = position;
}

void Kt_ExprDataset::SetCurPivotCol(int col, int /*original*/, int col_index) {
  pivot_col_follows_ = PlaceCursor(col, col_index, GetPivotColCount(), pivot_col_position_,
                                   pivot_current_col_, pivot_col_index_);
}

void Kt_ExprDataset::SetPivotColIdx(int col_index) {
  pivot_col_index_ = IndexBeside(pivot_current_col_, col_index, GetPivotColCount());
  pivot_col_follows_ = false;
}

// Items and text ----------------------------------------------------------------------------------

void* Kt_ExprDataset::GetInnerObject() const { return GetDataset(); }

Kt_WString Kt_ExprDataset::GetID() const {
  const Kt_Dataset* const dataset = GetDataset();
  return dataset ? dataset->GetId() : Kt_WString();
}

int Kt_ExprDataset::GetItemCount() const { return GetRowCount(); }

kt_long Kt_ExprDataset::GetItem(int index, Kt_Variant& result) {
  return kt::AtMemoryDoorOf(*this, u"Kt_ExprDataset", [&] {
    if (index < 0 || index >= GetRowCount()) return kOk;
    kt::StoreObject(GetContainer(),
                    new Kt_ExprDatasetObject(Kt_ExprDatasetObject::kRow, this, index, 1, {}),
                    result);
    return kOk;
  });
}

kt_long Kt_ExprDataset::GetItem(const Kt_WString& name, Kt_Variant& result) {
  return kt::AtMemoryDoorOf(*this, u"Kt_ExprDataset", [&] {
    if (FindColumn(name) < 0) return kOk;
    kt::StoreObject(
        GetContainer(),
        new Kt_ExprDatasetObject(Kt_ExprDatasetObject::kColumnSet, this, 0, GetRowCount(), name),
        result);
    return kOk;
  });
}

int Kt_ExprDataset::ConvToString(Kt_WString& out) const {
  out = u"[Dataset:" + GetID() + u"]";
  return 1;
}

int Kt_ExprDataset::ConvToStream(Kt_Buffer&) const { return 0; }

// Events ------------------------------------------------------------------------------------------

int Kt_ExprDataset::IsExistsEvent(int) { return 0; }
void Kt_ExprDataset::OnLoadCompleted(int, const Kt_WString&, int) {}
void Kt_ExprDataset::OnFail(const Kt_Result&) {}
int Kt_ExprDataset::CanColumnChange(const Kt_WString&, const Kt_Variant&, const Kt_Variant&, int,
                                    const Kt_Component*, int) {
  return 1;
}
void Kt_ExprDataset::OnColumnChanged(const Kt_WString&, const Kt_Variant&, const Kt_Variant&, int,
                                     const Kt_Component*, int) {}
int Kt_ExprDataset::CanRowPosChange(int, int) { return 1; }
void Kt_ExprDataset::OnRowPosChanged(int, int) {}
void Kt_ExprDataset::OnRowInserted(int, int) {}
void Kt_ExprDataset::OnRowDeleting(int, int) {}
void Kt_ExprDataset::OnRowDeleted(int, int) {}
void* Kt_ExprDataset::vfnReserved0(void*) { return nullptr; }
void* Kt_ExprDataset::vfnReserved1(void*) { return nullptr; }
void* Kt_ExprDataset::vfnReserved2(void*) { return nullptr; }
void* Kt_ExprDataset::fnReserved0(void*) { return nullptr; }
void* Kt_ExprDataset::fnReserved1(void*) { return nullptr; }
void* Kt_ExprDataset::fnReserved2(void*) { return nullptr; }

bool Kt_ExprDataset::TellColumnChanged(const Kt_WString& column, const Kt_Variant& old_value,
                                       const Kt_Variant& new_value, int row,
                                       const Kt_Component* component, int pivot_index) {
  return Tell(kOnColumnChanged,
              [&] { OnColumnChanged(column, old_value, new_value, row, component, pivot_index); });
}

bool Kt_ExprDataset::TellLoadCompleted(Kt_LoadReason reason) {
  if (events_on_ == 0) return true;
  const kt::detail::EventCall event(*this, nullptr);
  OnLoadCompleted(0, {}, static_cast<int>(reason));
  return event.IsAlive();
}

void Kt_ExprDataset::Fail(const Kt_Result& failure, bool always) {
  kt::detail::NoteReport(this, failure);
  const kt::detail::EventCall event(*this, nullptr);
  if (!always) {
    if (events_on_ == 0 || IsExistsEvent(kEventFail) == 0 || !event.IsAlive()) return;
  }
  OnFail(failure);
}
