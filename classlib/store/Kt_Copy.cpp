// SPDX-License-Identifier: MIT
//
// Copying between datasets.
#include <algorithm>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/detail/Kt_Edit.h"
#include "classlib/store/detail/Kt_KeyTable.h"
#include "classlib/store/detail/Kt_TableDoor.h"
#include "classlib/store/detail/Kt_Whole.h"

using namespace kt::detail;  // NOLINT(google-build-using-namespace): flags and views

namespace {

constexpr std::int64_t kUnitsPerCopy = 8 * Kt_WorkMeter::kUnitsPerCell;

}  // namespace

// The content of another dataset in place of this one's; what belongs to the dataset itself stays.
void Kt_Dataset::Body::TakeContent(const Kt_Dataset& source) {
  const Kt_WString id = id_;
  const std::uint64_t version = std::max(structure_version_, source.body().structure_version_);
  SourceLink link = source_;
  link.TakeOwnCells();
  Kt_Dataset copy(source);
  self_ = std::move(copy);
  id_ = id;
  source_ = std::move(link);
  structure_version_ = version + 1;
}

void Kt_Dataset::Body::DropArrangement() {
  keys_.Clear();
  filter_text_.Empty();
  rows_.grouped = false;
  rows_.DropGroups();
  self_.UnFilter();
  self_.LocUnFilter();
}

// A copy from a dataset without rows of its own, by way of a table that has them.
template <class Take>
kt_long Kt_Dataset::Body::FromTable(const Kt_Dataset& source, View view, Take take) {
  const auto work = [&]() -> kt_long {
    return take(Outside([&] { return source.body().AsTable(view); }));
  };
  return Whole(work, -1);
}

// A change that reads a source row by row, during which both have to be what they are.
template <class Change>
kt_long Kt_Dataset::Body::WithSource(const Kt_Dataset& source, Change change) {
  return Whole([&]() -> kt_long { return source.body().Whole(change, -1); }, -1);
}

kt_long Kt_Dataset::Assign(const Kt_Dataset& source) {
  return body().Edit([&] {
    if (&source == this) return GetRowCount();
    if (source.body().ShowsSource() && body().IsShownBy(source)) return -1;
    const SourceLink link = source.body().source_;
    body().TakeContent(source);
    if (link.IsSet()) body().source_ = link;
    return GetRowCount();
  });
}

kt_long Kt_Dataset::Copy(const Kt_Dataset& source) {
  return body().Edit([&] {
    if (&source == this) return GetRowCount();
    if (!source.IsPhysical()) {
      return body().FromTable(source, kAllRows,
                              [&](const Kt_Dataset& table) { return Copy(table); });
    }
    const std::uint32_t failures = kt::MemoryFailures();
    Kt_Dataset next(source);
    next.body().DropArrangement();
    kt::PassMemoryFailure(failures);
    body().TakeContent(next);
    return GetRowCount();
  });
}

kt_long Kt_Dataset::CopyF(const Kt_Dataset& source) {
  return body().Edit([&]() -> kt_long {
    if (!source.IsPhysical()) {
      return body().FromTable(source, source.body().ActiveView(),
                              [&](const Kt_Dataset& table) { return CopyF(table); });
    }
    LoadedTable table = TableDoor::Shown(source);
    Kt_Dataset next(body().id_);
    next.body().constants_ = source.body().constants_;
    if (const kt_long adopted = TableDoor::Take(next, table, true); adopted < 0) return adopted;
    next.body().id_ = body().id_;
    body().TakeContent(next);
    return GetRowCount();
  });
}

// Pairs of stored columns with the same id: source, target.
std::vector<std::pair<kt_long, kt_long>> Kt_Dataset::Body::SharedColumns(
    const Kt_Dataset& source) const {
  std::vector<std::pair<kt_long, kt_long>> cols;
  for (kt_long col = 0; col < source.GetColCount(); ++col) {
    const kt_long target = self_.GetColIndex(source.GetColID(col));
    if (target >= 0 && !self_.IsLogicalColumn(target)) cols.emplace_back(col, target);
  }
  return cols;
}

void Kt_Dataset::Body::CopyCells(kt_long row, const Kt_Dataset& source, kt_long source_row,
                                 const std::vector<std::pair<kt_long, kt_long>>& cols) {
  for (const auto& [from, to] : cols) {
    self_.SetColumn(row, to, source.body().CellFor(self_, source_row, from));
  }
}

// A cell that goes into another dataset, which refuses changes while it is computed.
Kt_Variant Kt_Dataset::Body::CellFor(const Kt_Dataset& target, kt_long row, kt_long col) const {
  if (IsPlain(col)) return self_.ReadColumn(row, col);
  return target.body().Outside([&] { return self_.ReadColumn(row, col); });
}

kt_long Kt_Dataset::AppendDataset(const Kt_Dataset& source) {
  return body().Edit([&] {
    if (!IsPhysical()) return -1;
    if (&source == this) return AppendDataset(Kt_Dataset(source));
    if (!source.IsPhysical()) {
      return body().FromTable(source, source.body().ActiveView(),
                              [&](const Kt_Dataset& table) { return AppendDataset(table); });
    }
    return body().WithSource(source, [&] { return body().AppendRows(source); });
  });
}

kt_long Kt_Dataset::Body::AppendRows(const Kt_Dataset& source) {
  const kt_long first = GetRowCount();
  kt_long appended = 0;
  const auto append = [&]() -> kt_long {
    const auto cols = SharedColumns(source);
    const std::int64_t units = (static_cast<std::int64_t>(cols.size()) + 4) * kUnitsPerCopy;
    RoundCharge charge;
    // Room for the way back.
    rows_.free_slots.reserve(rows_.free_slots.size() +
                             static_cast<std::size_t>(source.GetRowCount()));
    const std::uint32_t failures = kt::MemoryFailures();
    for (kt_long row = 0; row < source.GetRowCount(); ++row) {
      if (source.GetRowLevel(row) > 0) continue;
      charge.AddOrLeave(units);
      const kt_long target = self_.AppendRow();
      kt::PassMemoryFailure(failures);
      if (target < 0) return target;
      ++appended;
      CopyCells(target, source, row, cols);
      kt::PassMemoryFailure(failures);
    }
    ChargeOrLeave(0);
    return appended;
  };
  const auto take_out = [&] {
    while (appended-- > 0) (void)self_.DeleteRow(first + appended);
  };
  // Few rows are taken out again when the work is stopped: that costs less than a copy.
  const bool is_long = source.GetRowCount() >= self_.GetRowCountNF() / 8;
  return OrTakeBack(is_long, append, take_out);
}

// The texts of the key cells, each with its length in front so that no two keys look the same.
kt::CountedText Kt_Dataset::Body::KeyText(kt_long row, const std::vector<kt_long>& cols) const {
  kt::CountedText key;
  for (const kt_long col : cols) {
    const Kt_Variant value = self_.ReadColumn(row, col);
    const Kt_WString text = value.ToString();
    key += static_cast<char16_t>(value.IsEmpty() ? u'-' : u'+');
    key += static_cast<char16_t>(text.GetLength() & 0xFFFF);
    key += static_cast<char16_t>(text.GetLength() >> 16);
    InPiecesOrLeave(text.View().size(), 1, [&](std::size_t first, std::size_t count) {
      key += text.View().substr(first, count);
    });
  }
  return key;
}

kt_long Kt_Dataset::Merge(const Kt_Dataset& source) {
  return body().Edit([&] {
    if (!IsPhysical()) return -1;
    if (&source == this) return 0;
    if (source.IsPhysical()) return body().MergePhysical(source);
    return body().FromTable(source, source.body().ActiveView(),
                            [&](const Kt_Dataset& table) { return Merge(table); });
  });
}

kt_long Kt_Dataset::Body::MergePhysical(const Kt_Dataset& source) {
  std::vector<kt_long> own_keys;
  std::vector<kt_long> source_keys;
  for (const Key& key : keys_) {
    const bool orders = key.type == Kt_KeyType::kSort || key.type == Kt_KeyType::kGroup;
    const bool is_new = std::find(own_keys.begin(), own_keys.end(), key.col) == own_keys.end();
    const kt_long source_col = source.GetColIndex(self_.GetColID(key.col));
    if (!orders || !is_new || source_col < 0) continue;
    own_keys.push_back(key.col);
    source_keys.push_back(source_col);
  }
  if (own_keys.empty()) return self_.AppendDataset(source);
  return WithSource(source, [&]() -> kt_long {
    KeyTable rows(static_cast<std::size_t>(GetRowCount()));
    const auto key_units = (static_cast<std::int64_t>(own_keys.size()) + 4) * kUnitsPerCopy;
    RoundCharge charge;
    for (kt_long row = 0; row < GetRowCount(); ++row) {
      charge.AddOrLeave(key_units);
      if (self_.GetRowLevel(row) > 0) continue;
      rows.Add(source.body().Outside([&] { return KeyText(row, own_keys); }), row);
    }
    // On a copy, which shares what is not changed. It has no evaluator: keys were read before.
    const std::uint32_t failures = kt::MemoryFailures();
    Kt_Dataset next(self_);
    const kt_long merged =
        Outside([&] { return next.body().MergeByKeys(source, rows, source_keys); });
    kt::PassMemoryFailure(failures);
    if (merged < 0) return merged;
    ChargeOrLeave(0);
    std::swap(next.body().history_, history_);  // the rows that were here keep their slots
    self_ = std::move(next);
    return merged;
  });
}

kt_long Kt_Dataset::Body::MergeByKeys(const Kt_Dataset& source, const KeyTable& rows,
                                      const std::vector<kt_long>& source_keys) {
  const auto cols = SharedColumns(source);
  const auto units =
      (static_cast<std::int64_t>(source_keys.size() + cols.size()) + 4) * kUnitsPerCopy;
  RoundCharge charge;
  kt_long merged = 0;
  for (kt_long row = 0; row < source.GetRowCount(); ++row) {
    if (source.GetRowLevel(row) > 0) continue;
    charge.AddOrLeave(units);
    const kt_long found = rows.Find(source.body().KeyText(row, source_keys));
    if (found < 0) {
      const kt_long added = self_.AppendRow();
      if (added < 0) return added;
      CopyCells(added, source, row, cols);
    } else if (source.GetRowType(row) != kRowTypeNormal) {
      CopyCells(found, source, row, cols);
    } else {
      continue;
    }
    ++merged;
  }
  return merged;
}

kt_long Kt_Dataset::CopyColumn(kt_long row, kt_long col, const Kt_Dataset& source,
                               kt_long source_row, kt_long source_col) {
  if (!source.body().HasRow(source.body().ActiveView(), source_row) ||
      !source.body().columns_.Has(source_col))
    return -1;
  const auto copy = [&] {
    return SetColumn(row, col, source.body().CellFor(*this, source_row, source_col));
  };
  return RefuseOnFailure([&] { return body().Whole(copy, -1); });
}
