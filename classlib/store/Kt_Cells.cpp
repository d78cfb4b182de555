// SPDX-License-Identifier: MIT
//
// Reading and writing cells.
#include <cstring>

#include "classlib/base/Kt_NativeStack.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_CellValue.h"
#include "classlib/store/detail/Kt_Edit.h"
#include "classlib/store/detail/Kt_Whole.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

// Short texts, four units at a time.
KT_ALWAYS_INLINE bool IsSameId(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  std::size_t at = 0;
  for (; at + 4 <= a.size(); at += 4) {
    std::uint64_t words[2];
    std::memcpy(&words[0], a.data() + at, sizeof words[0]);
    std::memcpy(&words[1], b.data() + at, sizeof words[1]);
    if (words[0] != words[1]) return false;
  }
  for (; at < a.size(); ++at) {
    if (a[at] != b[at]) return false;
  }
  return true;
}

// Whether a number is stored as `old`, which a cell of the same column has or had, or perhaps so.
bool IsNumberStoredAs(const Kt_Variant& number, const Kt_Variant& old) {
  if (old.IsEmpty()) return false;
  const double first = old.ToDouble();
  const double now = number.ToDouble();
  return !(now < first) && !(now > first);
}

// What is written to a cell as it is, without work that is charged or may need memory.
bool IsNumberOf(Kt_ColumnType type, const Kt_Variant& value) {
  switch (type) {
    case Kt_ColumnType::kLong: return value.IsLong();
    case Kt_ColumnType::kDouble: return value.IsDouble() || value.IsLong();
    default: return false;
  }
}

}  // namespace

Kt_Variant Kt_Dataset::Body::ReadCell(View view, kt_long row, kt_long col, kt_long position) const {
  KT_CHECK_THREAD(one_thread_, "dataset", id_);
  if (const Column* const column = OwnCellsAt(col); KT_LIKELY(column != nullptr)) {
    const auto slot = OwnRecordAt(view, row);
    return KT_LIKELY(slot.has_value()) ? CellValue(*column->cells, *slot) : Kt_Variant();
  }
  const auto slot = RecordAt(view, row);
  if (!slot) return ReadSubtotal(view, row, col, position);
  if (!columns_.Has(col)) return {};
  if (IsPivot()) return pivot_->GetColumn(static_cast<kt_long>(*slot), col, position);
  if (columns_[col].cells != nullptr && !ShowsSource()) return columns_[col].cells->Read(*slot);
  if (IsGone(*slot)) return {};
  if (const Kt_Column* const cells = CellsOf(col)) return cells->Read(*slot);
  const kt_long source_col = self_.GetSourceCol(col);
  if (source_col >= 0) {
    return Outside([&] { return GetSource()->body().ReadSlot(*slot, source_col); });
  }
  return ReadExpression(view, row, columns_[col]);
}

Kt_Variant Kt_Dataset::Body::ReadSubtotal(View view, kt_long row, kt_long col,
                                          kt_long position) const {
  const Subtotal* const subtotal =
      rows_.grouped && HasRow(view, row) ? GroupsOf(view).Find(row) : nullptr;
  if (subtotal == nullptr) return {};
  const kt_long type = self_.GetPivotColType(col);
  if (IsPivot() && type == 2) return pivot_->GetColumn(0, col, position);
  const Kt_Variant* const value = subtotal->Find(col, IsPivot() && type == 0 ? position : -1);
  return value != nullptr ? *value : Kt_Variant();
}

Kt_Variant Kt_Dataset::Body::ReadExpression(View view, kt_long row, const Column& column) const {
  // An evaluator that asks for the stack itself is called once without one, to report it; one that
  // does not is stopped here.
  if (evaluator_.pointer == nullptr || evaluator_.out_of_stack) return {};
  // Copies: the evaluator runs code that we do not know.
  const std::shared_ptr<Kt_ColumnEvaluator> evaluator = evaluator_.pointer;
  const Kt_ColumnMap map{column.id, column.map, column.origin};
  const Kt_Column converter(column.type);
  Kt_Variant value;
  const Callout callout(self_, evaluator_, history_);
  evaluator_.out_of_stack = !kt_hasstack();
  const bool found = evaluator->EvaluateColumn(self_, row, view == ActiveView(), map, value);
  callout.EndOperationUnlessThere();
  const bool is_whole = found && callout.IsThere() && !evaluator_.out_of_stack;
  return is_whole ? converter.Converted(value) : Kt_Variant();
}

// A cell of the n-th record of all.
Kt_Variant Kt_Dataset::Body::ReadRecord(kt_long record, kt_long col) const {
  const kt_long row = rows_.grouped ? GroupsOf(kAllRows).RowOf(record) : record;
  return ReadCell(kAllRows, row, col);
}

const Kt_Variant* Kt_Dataset::Body::Remember(Kt_Variant value) const {
  Kt_Variant& place = scratch_.values[scratch_.next];
  scratch_.next = (scratch_.next + 1) % scratch_.values.size();
  place = std::move(value);
  return &place;
}

// Rows as they were loaded, here; everything else is a call that this one ends with.
Kt_Variant Kt_Dataset::ReadColumn(kt_long row, kt_long col, kt_long position) const {
  const Body& own = body();
  const Body::Column* const column = own.OwnCellsAt(col);
  if (KT_LIKELY(column != nullptr && own.rows_.index->IsIdentityAt(own.ActiveView(), row))) {
    KT_CHECK_THREAD(own.one_thread_, "dataset", own.id_);
    return CellValue(*column->cells, static_cast<Slot>(row));
  }
  return own.ReadCell(own.ActiveView(), row, col, position);
}

Kt_Variant Kt_Dataset::ReadColumnNF(kt_long row, kt_long col, kt_long position) const {
  return body().ReadCell(kAllRows, row, col, position);
}

const Kt_Variant* Kt_Dataset::GetColumn(kt_long row, kt_long col, kt_long position) const {
  if (KT_LIKELY(body().IsPlain(col))) return body().Remember(ReadColumn(row, col, position));
  return body().Whole([&] { return body().Remember(ReadColumn(row, col, position)); },
                      &Kt_Variant::_KtNullVariant);
}

const Kt_Variant* Kt_Dataset::GetColumnNF(kt_long row, kt_long col, kt_long position) const {
  if (KT_LIKELY(body().IsPlain(col))) return body().Remember(ReadColumnNF(row, col, position));
  return body().Whole([&] { return body().Remember(ReadColumnNF(row, col, position)); },
                      &Kt_Variant::_KtNullVariant);
}

Kt_VariantList Kt_Dataset::GetColumnSet(kt_long row, kt_long col) const {
  Kt_VariantList values;
  const kt_long count = IsPivot() ? GetPivotColCount() : 1;
  body().Whole([&] {
    for (kt_long at = 0; at < count; ++at) values.Add(ReadColumn(row, col, at));
    return true;
  });
  return values;
}

KT_ALWAYS_INLINE
const Kt_Dataset::Body::Column* Kt_Dataset::Body::FindOwnCells(std::u16string_view id,
                                                               kt_long& col) const {
  if (KT_UNLIKELY(!columns_.Has(col) || !IsSameId(columns_[col].id.View(), id))) {
    col = columns_.Find(id);
    if (col < 0) return nullptr;
  }
  const Column* const column = OwnCellsAt(col);
  return column != nullptr && KT_LIKELY(column->type != Kt_ColumnType::kVariant) ? column : nullptr;
}

bool Kt_Dataset::ReadOwnCell(kt_long row, std::u16string_view id, kt_long& col,
                             Kt_Variant& value) const {
  const Body& own = body();
  KT_CHECK_THREAD(own.one_thread_, "dataset", own.id_);
  const Body::Column* const column = own.FindOwnCells(id, col);
  if (KT_UNLIKELY(column == nullptr)) return false;
  const auto slot = own.OwnRecordAt(own.ActiveView(), row);
  value = KT_LIKELY(slot.has_value()) ? CellValue(*column->cells, *slot) : Kt_Variant();
  return true;
}

bool Kt_Dataset::WriteOwnCell(kt_long row, std::u16string_view id, kt_long& col,
                              const Kt_Variant& value, kt_long& answer) {
  Body& own = body();
  KT_CHECK_THREAD(own.one_thread_, "dataset", own.id_);
  if (KT_UNLIKELY(own.FindOwnCells(id, col) == nullptr || own.IsEvaluating())) return false;
  const auto slot = own.OwnRecordAt(own.ActiveView(), row);
  answer = KT_LIKELY(slot.has_value()) ? own.WriteOwn(*slot, col, value) : -1;
  return true;
}

// WriteSlot of a record of a dataset that has rows and cells of its own. A number that takes the
// place of another one, in a row whose first values are known, needs no way back.
kt_long Kt_Dataset::Body::WriteOwn(Slot slot, kt_long col, const Kt_Variant& value) {
  const Column& column = columns_[col];
  Kt_Column& cells = *column.cells;
  if (KT_LIKELY(IsNumberOf(column.type, value) && column.cells.use_count() == 1)) {
    const std::uint8_t flags = rows_.index->Flags(slot);
    bool is_free = (flags & kRowInserted) != 0;
    if (!is_free && (flags & kRowUpdated) != 0) {
      const Kt_Variant* const old = rows_.changes->OldValue(slot, col);
      is_free = old != nullptr && !IsNumberStoredAs(value, *old);
    }
    if (is_free) {
      if (cells.Write(slot, value)) column.searches.Forget();
      return 1;
    }
  }
  return Edit([&] {
    const Kt_Variant before = CellValue(cells, slot);
    const bool differs = IsNumberOf(column.type, value) && !IsNumberStoredAs(value, before);
    if (differs || !cells.Equals(slot, value)) StoreCell(slot, col, before, value);
    return 1;
  });
}

bool Kt_Dataset::WouldChange(kt_long row, kt_long col, const Kt_Variant& value) const {
  const auto slot = body().RecordAt(body().ActiveView(), row);
  if (!slot || IsPivot() || body().IsGone(*slot)) return false;
  const Kt_Column* const cells = body().CellsOf(col);
  return cells != nullptr && !cells->Equals(*slot, value);
}

kt_long Kt_Dataset::Body::WriteCell(View view, kt_long row, kt_long col, const Kt_Variant& value) {
  if (OwnCellsAt(col) != nullptr && !IsEvaluating()) {
    KT_CHECK_THREAD(one_thread_, "dataset", id_);
    const auto slot = OwnRecordAt(view, row);
    return slot ? WriteOwn(*slot, col, value) : -1;
  }
  return Edit([&] {
    const auto slot = RecordAt(view, row);
    return slot && !IsPivot() ? WriteSlot(*slot, col, value) : -1;
  });
}

// Writes where the cell is: in a column of its own, or through the source. Rows of a source are in
// its state table; columns of its own that a logical dataset has know no first values.
kt_long Kt_Dataset::Body::WriteSlot(Slot slot, kt_long col, const Kt_Variant& value) {
  const PlainRows plain(rows_, pivot_);
  if (IsGone(slot)) return -1;
  const kt_long end = columns_.EndOf(col);
  if (end < 0) return -1;
  const Column& column = columns_[end];
  if (column.cells == nullptr) return GetSource()->body().WriteSlot(slot, column.source_col, value);
  // Asked first, so that an equal value does not part a column that copies share.
  if (column.cells->Equals(slot, value)) return 1;
  if (ShowsSource()) {
    columns_.Write(end).Write(slot, value);
  } else {
    StoreCell(slot, end, CellValue(*column.cells, slot), value);
  }
  return 1;
}

KT_ALWAYS_INLINE
void Kt_Dataset::Body::StoreCell(Slot slot, kt_long stored_col, const Kt_Variant& before,
                                 const Kt_Variant& value) {
  Kt_Column& cells = columns_.Write(stored_col);
  if ((rows_.index->Flags(slot) & kRowInserted) != 0) {
    cells.Write(slot, value);
    return;
  }
  ChangeBuffer& changes = rows_.changes.Write();
  const ChangeBuffer::Noted noted = changes.NoteWrite(slot, stored_col, before);
  try {
    // The mark first: it costs nothing to take back.
    rows_.index.Write().Mark(slot, kRowUpdated, 0);
    cells.Write(slot, value);
  } catch (...) {
    if (noted == ChangeBuffer::Noted::kRow) rows_.index.Write().Mark(slot, 0, kRowUpdated);
    changes.TakeBack(slot, stored_col, noted);
    throw;
  }
  if (noted != ChangeBuffer::Noted::kNothing) return;  // it is not what it was just before
  const bool restored = cells.Equals(slot, *changes.OldValue(slot, stored_col));
  const bool changed = !restored || changes.NoteRestored(slot, stored_col);
  if (!changed) rows_.index.Write().Mark(slot, 0, kRowUpdated);
}

void Kt_Dataset::SetEvaluator(std::shared_ptr<Kt_ColumnEvaluator> evaluator) {
  body().evaluator_.pointer = std::move(evaluator);
}
const std::shared_ptr<Kt_ColumnEvaluator>& Kt_Dataset::GetEvaluator() const {
  return body().evaluator_.pointer;
}
bool Kt_Dataset::IsEvaluating() const { return body().IsEvaluating(); }

kt_long Kt_Dataset::SetColumn(kt_long row, kt_long col, const Kt_Variant& value) {
  Body& own = body();
  const bool is_own = own.OwnCellsAt(col) != nullptr && !own.IsEvaluating();
  if (KT_LIKELY(is_own && own.rows_.index->IsIdentityAt(own.ActiveView(), row))) {
    KT_CHECK_THREAD(own.one_thread_, "dataset", own.id_);
    return own.WriteOwn(static_cast<Slot>(row), col, value);
  }
  return own.WriteCell(own.ActiveView(), row, col, value);
}

kt_long Kt_Dataset::SetColumnNF(kt_long row, kt_long col, const Kt_Variant& value) {
  return body().WriteCell(kAllRows, row, col, value);
}
