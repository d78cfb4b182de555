// SPDX-License-Identifier: MIT
//
// Columns and constants.
#include "classlib/store/Kt_Dataset.h"

#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_Edit.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): parts

namespace {

const Kt_WString kNoText;

}  // namespace

const char16_t* kt_rowtypetextW(kt_long type) {
  switch (type) {
    case kRowTypeInsert: return u"insert";
    case kRowTypeUpdate: return u"update";
    case kRowTypeDelete: return u"delete";
    case kRowTypeLogical: return u"logical";
    default: return u"normal";
  }
}

Kt_DatasetHandle::Kt_DatasetHandle(Kt_Dataset* dataset)
    : life_(dataset != nullptr ? dataset->life_.Hold(dataset) : nullptr) {}

// ---- The dataset itself -----------------------------------------------------------------------

Kt_Dataset::Kt_Dataset() : body_(std::make_unique<Body>(*this, DatasetParts())) {}

Kt_Dataset::Kt_Dataset(const Kt_WString& id) : Kt_Dataset() { body().id_ = id; }

Kt_Dataset::Kt_Dataset(const Kt_Dataset& other)
    : body_(std::make_unique<Body>(*this, DatasetParts(other.body()))) {}

Kt_Dataset::Kt_Dataset(Kt_Dataset&& other)
    : body_(std::make_unique<Body>(*this, DatasetParts(std::move(other.body())))) {}

Kt_Dataset& Kt_Dataset::operator=(const Kt_Dataset& other) {
  static_cast<DatasetParts&>(body()) = other.body();
  return *this;
}

Kt_Dataset& Kt_Dataset::operator=(Kt_Dataset&& other) {
  static_cast<DatasetParts&>(body()) = std::move(other.body());
  return *this;
}

Kt_Dataset::~Kt_Dataset() = default;

const Kt_WString& Kt_Dataset::GetId() const { return body().id_; }
void Kt_Dataset::SetId(const Kt_WString& id) { body().id_ = id; }
std::uint64_t Kt_Dataset::GetStructureVersion() const { return body().structure_version_; }
bool Kt_Dataset::IsPhysical() const { return body().IsPhysical(); }
bool Kt_Dataset::IsLogical() const { return body().IsLogical(); }
bool Kt_Dataset::IsPivot() const { return body().IsPivot(); }

// ---- Columns ----------------------------------------------------------------------------------

kt_long Kt_Dataset::GetColCount() const { return body().columns_.Count(); }
kt_long Kt_Dataset::GetColIndex(std::u16string_view id) const { return body().columns_.Find(id); }
kt_long Kt_Dataset::GetColIDxByOrder(kt_long order) const {
  return body().columns_.Has(order) ? order : -1;
}

const Kt_WString& Kt_Dataset::GetColID(kt_long col) const {
  return body().columns_.Has(col) ? body().columns_[col].id : kNoText;
}

Kt_ColumnType Kt_Dataset::GetColType(kt_long col) const {
  return body().columns_.Has(col) ? body().columns_[col].type : Kt_ColumnType::kString;
}

kt_long Kt_Dataset::GetColSize(kt_long col) const {
  return body().columns_.Has(col) ? body().columns_[col].size : 0;
}

const Kt_WString& Kt_Dataset::GetColMapValue(kt_long col) const {
  return body().columns_.Has(col) ? body().columns_[col].map : kNoText;
}

bool Kt_Dataset::IsLogicalColumn(kt_long col) const {
  if (!body().columns_.Has(col)) return false;
  const DatasetColumn& column = body().columns_[col];
  return column.cells == nullptr && !column.is_alias;
}

bool Kt_Dataset::IsLoadedMap(kt_long col) const {
  return body().columns_.Has(col) && body().columns_[col].origin != nullptr;
}

// Other copies of the columns keep what they have: they may be on other threads.
void Kt_Dataset::NameLoadedMaps(const Kt_WString& file) {
  for (DatasetColumn& column : body().columns_) {
    if (column.origin == nullptr || !column.origin->GetFile().IsEmpty()) continue;
    column.origin = std::make_shared<Kt_MapOrigin>(file);
  }
}

kt_long Kt_Dataset::Body::AddColumnRow(DatasetColumn column) {
  return Edit([&]() -> kt_long {
    if (column.id.IsEmpty() || self_.GetColIndex(column.id) >= 0) return -1;
    if (self_.GetColCount() >= kMaxDatasetColumns) return -1;
    const kt_long col = self_.GetColCount();
    columns_.Add(std::move(column));
    DatasetColumn& added = columns_[col];
    ResolveLogicalColumn(added);
    // Of the others only those can change that have waited for this id. Looking all of them up
    // again would make adding many columns a matter of seconds.
    for (DatasetColumn& other : columns_) {
      const bool waits = other.cells == nullptr && other.target < 0 && !other.is_alias;
      if (waits && other.map.EqualsNoCase(added.id)) ResolveLogicalColumn(other);
    }
    ++structure_version_;
    return col;
  });
}

kt_long Kt_Dataset::AddColumn(const Kt_WString& id, Kt_ColumnType type, kt_long size) {
  return body().Edit([&] {
    DatasetColumn column{id, {}, type, size};
    constexpr std::int64_t kUnitsPerNull = Kt_WorkMeter::kUnitsPerCell / 2;
    ChargeOrLeave(body().PlainSlotCount() * kUnitsPerNull);
    column.cells = std::make_shared<Kt_Column>(type);
    column.cells->AppendNulls(body().PlainSlotCount());
    return body().AddColumnRow(std::move(column));
  });
}

kt_long Kt_Dataset::AddColumn(const Kt_WString& id, std::u16string_view type, kt_long size) {
  Kt_ColumnType column_type = Kt_ColumnType::kString;
  if (!type.empty() && !kt_findcolumntypeW(type, column_type)) return -1;
  return AddColumn(id, column_type, size);
}

kt_long Kt_Dataset::AddLogicalColumn(const Kt_WString& id, const Kt_WString& map,
                                     std::u16string_view type, kt_long size) {
  Kt_ColumnType column_type = Kt_ColumnType::kString;
  if (!type.empty() && !kt_findcolumntypeW(type, column_type)) return -1;
  if (map.IsEmpty()) return -1;
  return body().AddColumnRow({id, map, column_type, size});
}

kt_long Kt_Dataset::AddLogicalColumnOf(const Kt_Dataset& source, kt_long col) {
  if (!source.IsLogicalColumn(col)) return -1;
  const DatasetColumn& from = source.body().columns_[col];
  DatasetColumn column{from.id, from.map, from.type, from.size};
  column.origin = from.origin;
  return body().AddColumnRow(std::move(column));
}

// Own columns come first, also when one is added later.
void Kt_Dataset::Body::ResolveLogicalColumn(DatasetColumn& column) {
  if (column.cells != nullptr) return;
  const Kt_Dataset* const source = ShowsSource() ? GetSource() : nullptr;
  column.target = column.is_alias ? -1 : self_.GetColIndex(column.map);
  const bool is_source_col = column.target < 0 && source != nullptr;
  column.source_col = is_source_col ? source->GetColIndex(column.map) : -1;
  if (column.is_alias && column.source_col >= 0) {
    column.type = source->GetColType(column.source_col);
  }
}

void Kt_Dataset::Body::ResolveLogicalColumns() {
  for (DatasetColumn& column : columns_) ResolveLogicalColumn(column);
}

kt_long Kt_Dataset::Body::StoredCol(kt_long col) const {
  const kt_long end = IsPivot() ? -1 : columns_.EndOf(col);
  return end >= 0 && columns_[end].cells != nullptr ? end : -1;
}

bool Kt_Dataset::Body::IsComputed(kt_long col) const {
  if (IsPivot()) return false;
  const kt_long end = columns_.EndOf(col);
  if (end < 0) return true;
  const DatasetColumn& column = columns_[end];
  if (column.cells != nullptr) return false;
  const Kt_Dataset* const source = GetSource();
  return source != nullptr && source->body().columns_.Has(column.source_col) &&
         source->body().IsComputed(column.source_col);
}

const std::shared_ptr<Kt_Column>* Kt_Dataset::Body::FindCells(kt_long col) const {
  const kt_long end = columns_.EndOf(col);
  if (end < 0) return nullptr;
  const DatasetColumn& column = columns_[end];
  return column.cells != nullptr ? &column.cells : GetSource()->body().FindCells(column.source_col);
}

const Kt_Column* Kt_Dataset::Body::CellsOf(kt_long col) const {
  if (IsPivot()) return pivot_->RowKeyCells(col).get();
  const std::shared_ptr<Kt_Column>* const cells = FindCells(col);
  return cells != nullptr ? cells->get() : nullptr;
}

// ---- Constants --------------------------------------------------------------------------------

kt_long Kt_Dataset::GetConstCount() const { return static_cast<kt_long>(body().constants_.size()); }

kt_long Kt_Dataset::GetConstIndex(std::u16string_view id) const {
  return body().constants_.Find(id);
}

kt_long Kt_Dataset::AddConstColumn(const Kt_WString& id, const Kt_Variant& value) {
  return body().Edit([&]() -> kt_long {
    if (id.IsEmpty() || GetConstIndex(id) >= 0) return -1;
    if (GetConstCount() >= kMaxDatasetColumns) return -1;
    body().constants_.Add(id, value.Target());
    return GetConstCount() - 1;
  });
}

const Kt_WString& Kt_Dataset::GetConstColID(kt_long constant) const {
  if (constant < 0 || constant >= GetConstCount()) return kNoText;
  return body().constants_[static_cast<std::size_t>(constant)].id;
}

const Kt_Variant& Kt_Dataset::GetConstColumn(kt_long constant) const {
  if (constant < 0 || constant >= GetConstCount()) return Kt_Variant::_KtNullVariant;
  return body().constants_[static_cast<std::size_t>(constant)].value;
}

const Kt_Variant& Kt_Dataset::GetConstColumn(std::u16string_view id) const {
  return GetConstColumn(GetConstIndex(id));
}

kt_long Kt_Dataset::SetConstColumn(kt_long constant, const Kt_Variant& value) {
  return body().Edit([&] {
    if (constant < 0 || constant >= GetConstCount()) return -1;
    body().constants_.Set(static_cast<std::size_t>(constant), value.Target());
    return 1;
  });
}

kt_long Kt_Dataset::SetConstColumn(std::u16string_view id, const Kt_Variant& value) {
  return SetConstColumn(GetConstIndex(id), value);
}
