// SPDX-License-Identifier: MIT
//
// Logical datasets: the records of a source.
//
// The record order of a logical dataset holds slots of the dataset where the cells are, its root,
// so that everything that works on an order and on columns by slot works here without copies. A
// slot is looked at only while the root's history says that it holds the same row still.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/detail/Kt_Edit.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

constexpr int kMaxSources = 16;

void ChargeRows(std::size_t rows) {
  ChargeOrLeave(static_cast<std::int64_t>(rows) * Kt_WorkMeter::kUnitsPerCell);
}

}  // namespace

// ---- The chain of sources ---------------------------------------------------------------------

// Whether this dataset is `source`, or one that it shows.
bool Kt_Dataset::Body::IsShownBy(const Kt_Dataset& source) const {
  const Kt_Dataset* dataset = &source;
  for (int step = 0; step < kMaxSources && dataset != nullptr; ++step) {
    if (dataset == &self_) return true;
    dataset = dataset->GetSource();
  }
  return dataset != nullptr;
}

bool Kt_Dataset::Body::SourceLives() const {
  if (IsPivot()) return true;  // which has values of its own
  const Kt_Dataset* dataset = &self_;
  for (int step = 0; step <= kMaxSources && dataset != nullptr; ++step) {
    if (!dataset->body().ShowsSource()) return true;
    dataset = dataset->GetSource();
  }
  return false;
}

// The dataset that has the cells; null when one on the way has ended or become another since its
// rows were taken.
const Kt_Dataset* Kt_Dataset::Body::Root() const {
  const Kt_Dataset* dataset = &self_;
  for (int step = 0; step <= kMaxSources; ++step) {
    if (!dataset->body().ShowsSource()) return dataset;
    const Kt_Dataset* const source = dataset->GetSource();
    if (source == nullptr || !dataset->body().source_.Knows(source->body().history_))
      return nullptr;
    dataset = source;
  }
  return nullptr;
}

// True when no row can be gone.
bool Kt_Dataset::Body::IsIntact() const {
  if (!ShowsSource()) return true;
  const Kt_Dataset* const root = Root();
  return root != nullptr && source_.HasAll(root->body().history_);
}

// False when every row is gone.
bool Kt_Dataset::Body::HasKnownSlots() const {
  if (!ShowsSource()) return true;
  const Kt_Dataset* const root = Root();
  return root != nullptr && source_.KnowsSlots(root->body().history_);
}

// Whether the row that had the slot when the rows were taken is not there any more.
bool Kt_Dataset::Body::IsGone(Slot slot) const {
  if (!ShowsSource()) return false;
  const Kt_Dataset* const root = Root();
  if (root == nullptr || !source_.KnowsSlots(root->body().history_)) return true;
  if (source_.HasAll(root->body().history_)) return false;
  return source_.WasFreed(root->body().history_, slot) ||
         (root->body().PlainIndex().Flags(slot) & kRowDeleted) != 0;
}

Kt_RowIdentity Kt_Dataset::Body::IdentityOf(View view, kt_long row) const {
  const auto slot = IsPivot() ? std::nullopt : RecordAt(view, row);
  if (!slot || IsGone(*slot)) return {};
  const Kt_Dataset& root = *Root();  // there: the slot is not gone
  root.body().history_.Watch();
  Kt_RowIdentity identity;
  identity.era_ = root.body().history_.Era();
  identity.slot_ = *slot;
  identity.freed_at_ = root.body().history_.FreedAt(*slot);
  return identity;
}

Kt_Dataset* Kt_Dataset::GetSource() const { return body().GetSource(); }
Kt_RowIdentity Kt_Dataset::GetRowIdentity(kt_long row) const {
  return body().IdentityOf(body().ActiveView(), row);
}
Kt_RowIdentity Kt_Dataset::GetRowIdentityNF(kt_long row) const {
  return body().IdentityOf(kAllRows, row);
}

kt_long Kt_Dataset::SetSource(Kt_Dataset* source) {
  const auto set = [&]() -> kt_long {
    body().DropColumns();
    body().source_ = {};
    if (source == nullptr) return 1;
    body().source_ = SourceLink(source);
    for (kt_long col = 0; col < source->GetColCount(); ++col) {
      const Kt_WString& id = source->GetColID(col);
      DatasetColumn column{id, id, source->GetColType(col), source->GetColSize(col)};
      column.is_alias = true;
      if (body().AddColumnRow(std::move(column)) < 0) throw std::bad_alloc();
    }
    body().TakeSourceRows(true);
    return 1;
  };
  return body().Edit(
      [&] { return source != nullptr && body().IsShownBy(*source) ? -1 : body().OrRestore(set); });
}

// ---- Taking rows ------------------------------------------------------------------------------

// The slots of all records, in order.
kt::CountedVector<Slot> Kt_Dataset::Body::RecordSlots() const {
  const RowIndex& index = PlainIndex();
  kt::CountedVector<Slot> slots;
  ChargeRows(index.EntryCount());
  slots.reserve(index.EntryCount());
  const bool intact = IsIntact();
  index.ForEachEntry([&](RowIndex::Place, Slot slot) {
    if (index.IsIn(kAllRows, slot) && (intact || !IsGone(slot))) slots.push_back(slot);
  });
  return slots;
}

// By slot: whether it is in the order and holds the same row still.
std::vector<bool> Kt_Dataset::Body::KnownSlots() const {
  std::vector<bool> known(rows_.slot_count);
  const bool intact = IsIntact();
  rows_.index->ForEachEntry(
      [&](RowIndex::Place, Slot slot) { known[slot] = intact || !IsGone(slot); });
  return known;
}

// The known slots among `slots` in the order that they have here, then the others.
kt::CountedVector<Slot> Kt_Dataset::Body::InOwnOrder(const kt::CountedVector<Slot>& slots,
                                                     const std::vector<bool>& known) const {
  const auto is_known = [&](Slot slot) { return slot < known.size() && known[slot]; };
  std::vector<bool> wanted(known.size());
  for (const Slot slot : slots) {
    if (is_known(slot)) wanted[slot] = true;
  }
  kt::CountedVector<Slot> ordered;
  ordered.reserve(slots.size());
  rows_.index->ForEachEntry([&](RowIndex::Place, Slot slot) {
    if (wanted[slot]) ordered.push_back(slot);
  });
  for (const Slot slot : slots) {
    if (!is_known(slot)) ordered.push_back(slot);
  }
  return ordered;
}

// Makes the records those of the source as they are now: in its order and without a main filter,
// or those that are here still as they are, and the new ones behind them.
// REQUIRES: ShowsSource, and no pivot.
void Kt_Dataset::Body::TakeSourceRows(bool anew) {
  const Kt_Dataset* const source = GetSource();
  kt::CountedVector<Slot> slots;
  if (source != nullptr) slots = source->body().RecordSlots();
  const std::vector<bool> known = KnownSlots();
  ChargeRows(slots.size());
  if (!anew) slots = InOwnOrder(slots, known);
  ChargeRows(slots.size());
  RowIndex next;
  next.Assign(slots);
  const std::uint8_t forgotten = anew ? kRowMainHidden : 0;
  for (const Slot slot : slots) {
    if (slot < known.size() && known[slot])
      next.Mark(slot, rows_.index->Flags(slot) & ~forgotten, 0);
  }
  next.RecountAll();
  ChargeRows(slots.size());
  LinkSource();
  ClearStrangeCells(slots, known);
  rows_.index = CopyOnWrite<RowIndex>(std::move(next));
  rows_.DropGroups();
  ++structure_version_;
}

void Kt_Dataset::Body::LinkSource() {
  Kt_Dataset* const source = GetSource();
  source_.NoteSource(source != nullptr ? &source->body().history_ : nullptr);
  const Kt_Dataset* const root = Root();
  source_.NoteRoot(root != nullptr ? &root->body().history_ : nullptr);
  rows_.slot_count =
      std::max(rows_.slot_count, root != nullptr ? root->body().PlainSlotCount() : 0);
  if (root != nullptr) root->body().history_.Watch();
  ResolveLogicalColumns();
}

// Columns of its own have a cell for every slot; those of rows that are new here are null.
void Kt_Dataset::Body::ClearStrangeCells(const kt::CountedVector<Slot>& slots,
                                         const std::vector<bool>& known) {
  columns_.PadTo(rows_.slot_count);
  for (kt_long col = 0; col < columns_.Count(); ++col) {
    if (columns_[col].cells == nullptr) continue;
    Kt_Column& cells = columns_.Write(col);
    for (const Slot slot : slots) {
      if (slot >= known.size() || !known[slot]) cells.WriteNull(slot);
    }
  }
}

// ---- Rows and cells of the source -------------------------------------------------------------

// The number of a slot's record without filters; -1 when it is not there.
kt_long Kt_Dataset::Body::SourceRowOf(Slot slot) const {
  if (IsPivot()) return -1;
  const auto place = rows_.index->PlaceOf(slot);
  if (!place || !rows_.index->IsIn(kAllRows, slot)) return -1;
  const kt_long record = rows_.index->RankOf(kAllRows, *place);
  return rows_.grouped ? GroupsOf(kAllRows).RowOf(record) : record;
}

kt_long Kt_Dataset::GetSourceRowNF(kt_long row) const {
  const auto slot = IsPivot() ? std::nullopt : body().RecordAt(body().ActiveView(), row);
  if (!slot || !body().ShowsSource() || body().IsGone(*slot)) return -1;
  return GetSource()->body().SourceRowOf(*slot);
}

kt_long Kt_Dataset::GetSourceCol(kt_long col) const {
  const kt_long end = body().columns_.EndOf(col);
  return end >= 0 ? body().columns_[end].source_col : -1;
}

// A cell of a row that may be shown by others. REQUIRES: the slot is not gone.
Kt_Variant Kt_Dataset::Body::ReadSlot(Slot slot, kt_long col) const {
  const kt_long row = SourceRowOf(slot);
  return row >= 0 ? ReadCell(kAllRows, row, col) : Kt_Variant();
}

// ---- Cells of its own -------------------------------------------------------------------------

// Columns of the source become empty columns of its own.
void Kt_Dataset::Body::OwnColumns() {
  for (Column& column : columns_) {
    column.source_col = -1;
    if (!column.is_alias) continue;
    column.is_alias = false;
    column.map.Empty();
    column.cells = std::make_shared<Kt_Column>(column.type);
    column.cells->AppendNulls(rows_.slot_count);
  }
  source_.TakeOwnCells();
  ResolveLogicalColumns();
}

// Copies the cells of the rows that are here; filters, order and selection stay.
void Kt_Dataset::Body::TakeCells() {
  if (!ShowsSource()) return;
  const kt::CountedVector<Slot> slots = RecordSlots();
  std::vector<std::shared_ptr<Kt_Column>> cells;
  for (kt_long col = 0; col < columns_.Count(); ++col) {
    cells.emplace_back();
    if (self_.IsLogicalColumn(col)) continue;
    cells.back() = std::make_shared<Kt_Column>(SlotCells(col)->Gather(slots));
  }
  RowIndex next;
  next.Append(0, static_cast<std::uint32_t>(slots.size()));
  for (Slot slot = 0; slot < slots.size(); ++slot)
    next.Mark(slot, rows_.index->Flags(slots[slot]), 0);
  next.RecountAll();
  rows_.slot_count = 0;
  OwnColumns();
  for (kt_long col = 0; col < columns_.Count(); ++col) {
    std::shared_ptr<Kt_Column>& own = cells[static_cast<std::size_t>(col)];
    if (own == nullptr) continue;
    columns_[col].type = own->Type();
    columns_[col].cells = std::move(own);
  }
  rows_.slot_count = static_cast<Slot>(slots.size());
  rows_.index = CopyOnWrite<RowIndex>(std::move(next));
  history_.Restart();
  rows_.DropGroups();
  ++structure_version_;
}

Kt_Dataset Kt_Dataset::Body::AsTable(View view) const {
  if (IsPivot()) return PivotTable(view);
  Kt_Dataset table(self_);
  table.body().TakeCells();
  table.body().source_ = {};
  return table;
}
