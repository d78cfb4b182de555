// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/detail/Kt_RowIndex.h"
#include "classlib/store/detail/Kt_SortedRuns.h"

namespace kt::detail {

// Writes `key` to `first` for those of some records whose cell is not that of the record before.
// REQUIRES: there is a record before.
void NoteKeyDifferences(const Kt_Column& cells, const Slot* records, std::size_t count,
                        std::uint32_t key, std::uint32_t* first);

// Calls visit(record, key) for those of the records [first, end) that differ from the one before in
// a key. REQUIRES: first is not 0. Threads: any.
template <class Keys, class Visit>
void VisitKeyChanges(const Keys& keys, const CountedVector<Slot>& records, std::size_t first,
                     std::size_t end, Visit visit) {
  constexpr std::size_t kBatch = 1024;  // records
  const auto key_count = static_cast<std::uint32_t>(keys.size());
  std::array<std::uint32_t, kBatch> different;  // by record: the first key that is
  for (std::size_t from = first; from < end; from += kBatch) {
    const std::size_t count = std::min(kBatch, end - from);
    ChargeOrLeave(static_cast<std::int64_t>(count) * (key_count + 1) * Kt_WorkMeter::kUnitsPerCell);
    std::fill_n(different.begin(), count, key_count);
    for (std::uint32_t key = key_count; key-- > 0;) {
      NoteKeyDifferences(*keys[key].cells, &records[from], count, key, different.data());
    }
    for (std::size_t at = 0; at < count; ++at) {
      if (different[at] < key_count) visit(from + at, different[at]);
    }
  }
}

// Calls visit(record, key) for every record but the first that differs from the one before in a
// key, with the first such key. `keys` are items with `cells`, the outermost one first. `runs` is
// what a sort of these records by these keys, and perhaps more, knows of it; null for nothing: then
// a second thread notes the changes in the second half of the records, 8 bytes each.
template <class Keys, class Visit>
void ForEachKeyChange(const Keys& keys, const CountedVector<Slot>& records, const SortedRuns* runs,
                      Visit visit) {
  if (runs != nullptr) {
    RoundCharge charge;
    for (std::size_t at = 0; at < runs->starts.size(); ++at) {
      charge.AddOrLeave(Kt_WorkMeter::kUnitsPerCell);
      if (runs->changed[at] < keys.size()) visit(runs->starts[at], runs->changed[at]);
    }
    return;
  }
  // Cells of any kind are the first thread's: comparing them may take references.
  const bool may_share = std::ranges::none_of(keys, [](const auto& key) {
    return key.cells->Type() == Kt_ColumnType::kVariant ||
           key.cells->Type() == Kt_ColumnType::kBinary;
  });
  Helper helper(may_share ? records.size() : 0);
  if (!helper.IsThere()) return VisitKeyChanges(keys, records, 1, records.size(), visit);
  const std::size_t middle = records.size() / 2 + 1;
  CountedVector<std::pair<std::uint32_t, std::uint32_t>> later;
  helper.Both([&] { VisitKeyChanges(keys, records, 1, middle, visit); },
              [&] {
                VisitKeyChanges(keys, records, middle, records.size(),
                                [&](std::size_t record, std::uint32_t key) {
                                  later.emplace_back(static_cast<std::uint32_t>(record), key);
                                });
              });
  for (const auto& [record, key] : later) visit(record, key);
}

}  // namespace kt::detail
