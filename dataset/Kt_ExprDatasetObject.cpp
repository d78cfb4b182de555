// SPDX-License-Identifier: MIT
#include "dataset/Kt_ExprDatasetObject.h"

#include <algorithm>
#include <utility>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/text/Kt_Number.h"
#include "dataset/Kt_ExprDataset.h"
#include "dataset/methods/Kt_MemberNames.h"

namespace {

// What a column has beside "count".
constexpr Kt_Aggregate kTotals[] = {Kt_Aggregate::kSum, Kt_Aggregate::kMax, Kt_Aggregate::kMin,
                                    Kt_Aggregate::kAvg};

// kNone for every other name.
Kt_Aggregate FindTotal(const Kt_WString& name) {
  const Kt_Aggregate found = kt_findaggregateW(name);
  return found == Kt_Aggregate::kCount ? Kt_Aggregate::kNone : found;
}

struct Rows {
  kt_long start;
  kt_long end;  // after the last one
};

// `count` rows from `start`, negative: up to the last one; cut to those there are.
Rows RowsFrom(const Kt_Dataset& dataset, kt_long start, kt_long count) {
  const kt_long all = dataset.GetRowCount();
  start = std::clamp(start, 0, all);
  return {start, count < 0 || count > all - start ? all : start + count};
}

// The rows that the subtotal row `row` covers.
Rows CoveredRows(const Kt_Dataset& dataset, kt_long row) {
  const kt_long recorded = dataset.GetRowIndex(row);
  if (dataset.GetReverseSubSumStat()) return {row + 1, recorded + 1};
  return {recorded, row};
}

// "count" or a total of a column; -1 for any other name.
kt_long ReadTotal(const Kt_Dataset& dataset, const Kt_WString& name, kt_long col, Rows rows,
                  kt_long position, Kt_Variant& result) {
  if (name.EqualsNoCase(u"count")) {
    result = dataset.GetCount(rows.start, rows.end);
    return kOk;
  }
  const Kt_Aggregate total = FindTotal(name);
  if (total == Kt_Aggregate::kNone) return kFailed;
  (void)dataset.GetAggregate(total, col, rows.start, rows.end, result, position);
  return kOk;
}

}  // namespace

Kt_ExprDatasetObject::Kt_ExprDatasetObject(int kind, Kt_ExprDataset* dataset, int start, int count,
                                           const Kt_WString& column)
    : Kt_ExprDatasetObject(kind, dataset, start, count, column, -1) {}

Kt_ExprDatasetObject::Kt_ExprDatasetObject(int kind, Kt_ExprDataset* dataset, int start, int count,
                                           const Kt_WString& column, int pivot_index)
    : Kt_ExprObject(dataset != nullptr ? dataset->GetParentCtx() : nullptr),
      kind_(kind),
      start_(start),
      count_(count),
      column_(column),
      pivot_index_(pivot_index) {
  dataset_.Set(dataset != nullptr ? dataset->GetContainer() : nullptr, dataset);
}

Kt_ExprDataset* Kt_ExprDatasetObject::Wrapper() const {
  if (!dataset_.IsValid()) return nullptr;
  return static_cast<Kt_ExprDataset*>(Kt_ExprObject::From(dataset_.GetObject()));
}

const Kt_Dataset* Kt_ExprDatasetObject::Data() const {
  const Kt_ExprDataset* const wrapper = Wrapper();
  return wrapper != nullptr ? wrapper->GetDataset() : nullptr;
}

void Kt_ExprDatasetObject::Narrow(int kind, int start, int count, const Kt_WString& column,
                                  Kt_Variant& result) const {
  Kt_ExprDataset* const wrapper = Wrapper();
  auto* const part = new Kt_ExprDatasetObject(kind, wrapper, start, count, column, pivot_index_);
  kt::StoreObject(wrapper->GetContainer(), part, result);
}

Kt_WString Kt_ExprDatasetObject::GetID() const {
  const Kt_ExprDataset* const wrapper = Wrapper();
  if (wrapper == nullptr || wrapper->GetDataset() == nullptr) return {};
  return column_.IsEmpty() ? wrapper->GetID() : wrapper->GetID() + u"." + column_;
}

int Kt_ExprDatasetObject::ConvToString(Kt_WString& out) const {
  const Kt_ExprDataset* const wrapper = Wrapper();
  out = u"[Dataset:" + (wrapper != nullptr ? wrapper->GetID() : Kt_WString()) + u":";
  const Kt_WString start = kt_longtextW(start_);
  switch (kind_) {
    case kRowSet: out += u"rowset:" + start + u"," + kt_longtextW(count_); break;
    case kRow: out += u"row:" + start; break;
    case kColumnSet: out += u"colset:" + start + u"," + kt_longtextW(count_); break;
    default: break;
  }
  out += u"]";
  return 1;
}

int Kt_ExprDatasetObject::ConvToStream(Kt_Buffer&) const { return 0; }

const char16_t* Kt_ExprDatasetObject::GetDefaultProp() const { return u"Value"; }

// Items -------------------------------------------------------------------------------------------

int Kt_ExprDatasetObject::GetItemCount() const {
  const Kt_Dataset* const dataset = Data();
  if (dataset == nullptr) return 0;
  switch (kind_) {
    case kRowSet: return count_ >= 0 ? count_ : RowCount(*dataset);
    case kRow: return dataset->GetColCount();
    default: return 0;
  }
}

kt_long Kt_ExprDatasetObject::GetItem(const Kt_WString& name, Kt_Variant& result) {
  const Kt_Dataset* const dataset = Data();
  if (dataset == nullptr) return kFailed;
  (void)GetColumnItem(*dataset, name, result);
  return kOk;
}

// A column of a row set or row. False for other kinds and unknown ids.
bool Kt_ExprDatasetObject::GetColumnItem(const Kt_Dataset& dataset, const Kt_WString& id,
                                         Kt_Variant& result) const {
  if (kind_ != kRowSet && kind_ != kRow) return false;
  const kt_long col = dataset.GetColIndex(id.View());
  if (col < 0) return false;
  if (kind_ == kRowSet) {
    Narrow(kColumnSet, start_, count_, id, result);
  } else {
    Narrow(kCell, start_, col, id, result);
  }
  return true;
}

kt_long Kt_ExprDatasetObject::GetItem(int index, Kt_Variant& result) {
  const Kt_Dataset* const dataset = Data();
  if (dataset == nullptr) return kFailed;
  if (index < 0) return kOk;
  switch (kind_) {
    case kRowSet:
      if (index < RowCount(*dataset)) Narrow(kRow, start_ + index, 1, {}, result);
      return kOk;
    case kRow:
      if (index < dataset->GetColCount()) {
        Narrow(kCell, start_, index, dataset->GetColID(index), result);
      }
      return kOk;
    case kColumnSet: {
      const kt_long row = PlainRow(*dataset, index);
      if (row >= 0) Narrow(kCell, row, 1, column_, result);
      return kOk;
    }
    default: return kOk;
  }
}

// How many rows of the set there are.
kt_long Kt_ExprDatasetObject::RowCount(const Kt_Dataset& dataset) const {
  const Rows rows = RowsFrom(dataset, start_, count_);
  return rows.end - rows.start;
}

// The row of the n-th plain row from the start on, -1 for none. The index has to be one of the set;
// the row may lie past it, because subtotals do not count.
kt_long Kt_ExprDatasetObject::PlainRow(const Kt_Dataset& dataset, kt_long index) const {
  const Rows rows = RowsFrom(dataset, start_, count_);
  if (index >= rows.end - rows.start) return -1;
  if (dataset.GetGroupStr().IsEmpty()) return rows.start + index;
  for (kt_long row = rows.start; row < dataset.GetRowCount(); ++row) {
    if (!kt::detail::GoesOnAt(static_cast<std::size_t>(row), 16)) return -1;
    if (dataset.GetRowLevel(row) < 1 && index-- == 0) return row;
  }
  return -1;
}

// Properties --------------------------------------------------------------------------------------

kt_long Kt_ExprDatasetObject::GetProperty(const Kt_WString& name, const Kt_VariantList*,
                                          Kt_Variant& result) {
  const Kt_Dataset* const dataset = Data();
  if (dataset == nullptr) return kt::detail::NoteNoDataset(name);
  const kt_long code = ReadMember(*dataset, name, result);
  return KT_LIKELY(code == kOk) ? kOk : NoteNoMember(*dataset, name);
}

kt_long Kt_ExprDatasetObject::ReadMember(const Kt_Dataset& dataset, const Kt_WString& name,
                                         Kt_Variant& result) const {
  switch (kind_) {
    case kRowSet: return ReadRowSet(dataset, name, result);
    case kRow: return ReadRow(dataset, name, result);
    case kColumnSet: return ReadColumnSet(dataset, name, result);
    default: return ReadCell(dataset, name, result);
  }
}

// Rows have the columns for members, cells and columns the totals.
kt_long Kt_ExprDatasetObject::NoteNoMember(const Kt_Dataset& dataset,
                                           const Kt_WString& name) const {
  const Kt_WString id = GetID();
  if (kind_ == kRowSet || kind_ == kRow) {
    std::vector<Kt_WString> known = {u"count", u"rowlevel", GetDefaultProp()};
    kt::detail::AddColumnNames(dataset, known);
    return kt::NoteCause(kFailed, Kt_Cause::kNoColumn, {name, id}, known);
  }
  std::vector<Kt_WString> known = {u"count", GetDefaultProp()};
  for (const Kt_Aggregate total : kTotals) known.emplace_back(kt_aggregatenameW(total));
  return kt::NoteCause(kFailed, Kt_Cause::kNoMember, {name, id}, known);
}

kt_long Kt_ExprDatasetObject::ReadRowSet(const Kt_Dataset& dataset, const Kt_WString& name,
                                         Kt_Variant& result) const {
  if (GetColumnItem(dataset, name, result)) return kOk;
  if (!name.EqualsNoCase(u"count")) return kFailed;
  const Rows rows = RowsFrom(dataset, start_, count_);
  result = dataset.GetCount(rows.start, rows.end);
  return kOk;
}

kt_long Kt_ExprDatasetObject::ReadRow(const Kt_Dataset& dataset, const Kt_WString& name,
                                      Kt_Variant& result) const {
  if (GetColumnItem(dataset, name, result)) return kOk;
  if (name.EqualsNoCase(u"count")) {
    result = dataset.GetColCount();
    return kOk;
  }
  if (name.EqualsNoCase(GetDefaultProp())) {
    Kt_VariantList cells;
    const Kt_DatasetHandle handle(const_cast<Kt_Dataset*>(&dataset));
    for (kt_long col = 0; handle.Get() != nullptr && col < dataset.GetColCount(); ++col) {
      cells.Add(dataset.ReadColumn(start_, col, pivot_index_));
    }
    result = std::move(cells);
    return kOk;
  }
  if (!name.EqualsNoCase(u"rowlevel") && !name.EqualsNoCase(u"level")) return kFailed;
  result = dataset.GetRowLevel(start_);
  return kOk;
}

kt_long Kt_ExprDatasetObject::ReadColumnSet(const Kt_Dataset& dataset, const Kt_WString& name,
                                            Kt_Variant& result) const {
  const kt_long col = dataset.GetColIndex(column_.View());
  if (col < 0) return kFailed;
  return ReadTotal(dataset, name, col, RowsFrom(dataset, start_, count_), pivot_index_, result);
}

kt_long Kt_ExprDatasetObject::ReadCell(const Kt_Dataset& dataset, const Kt_WString& name,
                                       Kt_Variant& result) const {
  const kt_long col = dataset.GetColIndex(column_.View());
  if (col < 0) return kFailed;
  const bool is_group = dataset.GetRowLevel(start_) >= 1;
  if (name.EqualsNoCase(GetDefaultProp()) ||
      (!is_group && FindTotal(name) != Kt_Aggregate::kNone)) {
    result = dataset.ReadColumn(start_, col, pivot_index_);
    return kOk;
  }
  if (is_group) {
    return ReadTotal(dataset, name, col, CoveredRows(dataset, start_), pivot_index_, result);
  }
  if (!name.EqualsNoCase(u"count")) return kFailed;
  result = kt_long{1};
  return kOk;
}

void Kt_ExprDatasetObject::TakeValueOfCell(Kt_Variant& value) {
  Kt_ExprObject* const object = Kt_ExprObject::From(value.GetHolder().GetObject());
  const auto* const part = dynamic_cast<const Kt_ExprDatasetObject*>(object);
  if (part == nullptr || part->kind_ != kCell) return;
  Kt_Variant held;
  if (const Kt_Dataset* const dataset = part->Data()) {
    (void)part->ReadCell(*dataset, part->GetDefaultProp(), held);
  }
  value = std::move(held);
}

kt_long Kt_ExprDatasetObject::SetProperty(const Kt_WString& name, const Kt_VariantList*,
                                          const Kt_Variant&) {
  return kt::NoteCause(kFailed, Kt_Cause::kReadOnly, {name, GetID()});
}

kt_long Kt_ExprDatasetObject::CallMethod(const Kt_WString& name, const Kt_VariantList*,
                                         Kt_Variant&) {
  return kt::NoteCause(kFailed, Kt_Cause::kNoMethod, {name, GetID()});
}
