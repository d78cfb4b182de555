// SPDX-License-Identifier: MIT
#include "classlib/store/detail/Kt_GroupBuilder.h"

#include <algorithm>
#include <utility>

#include "classlib/base/Kt_Charge.h"
#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_ColumnTotal.h"
#include "classlib/store/detail/Kt_KeyRuns.h"
#include "classlib/store/detail/Kt_RunTotals.h"

namespace kt::detail {

namespace {

// The groups of all levels, as FoldRuns takes them.
class GroupRuns {
 public:
  GroupRuns(const CountedVector<Subtotal>& groups, std::size_t levels)
      : groups_(groups), levels_(levels) {}
  std::size_t LevelCount() const { return levels_; }
  std::size_t Count() const { return groups_.size(); }
  std::size_t Level(std::size_t group) const {
    return static_cast<std::size_t>(groups_[group].level) - 1;
  }
  std::size_t End(std::size_t group) const { return static_cast<std::size_t>(groups_[group].last); }

 private:
  const CountedVector<Subtotal>& groups_;
  std::size_t levels_;
};

}  // namespace

void GroupBuilder::Build(bool reverse, GroupView& groups) const {
  ChargeOrLeave(std::int64_t{index_.Count(view_)} * Kt_WorkMeter::kUnitsPerCell);
  const CountedVector<Slot>* const sorted = index_.SortedSlots(view_);
  const CountedVector<Slot> listed =
      sorted == nullptr ? index_.Slots(view_) : CountedVector<Slot>();
  const CountedVector<Slot>& records = sorted == nullptr ? listed : *sorted;
  Find(records, groups);
  const std::vector<Places> places = PlacesOfCells();
  RoundCharge charge;
  const auto cells = static_cast<std::int64_t>(keys_.size() + totals_.size() + 1);
  for (Subtotal& subtotal : groups.All()) {
    charge.AddOrLeave(cells * 16 * Kt_WorkMeter::kUnitsPerCell);
    FillKeys(records, places[LevelOf(subtotal)], subtotal);
  }
  FillTotals(records, places, groups);
  if (pivot_ != nullptr) FillPositions(records, groups);
  Place(reverse, groups);
  RangesToRows(groups);
}

// Cells stand by column. Of a key column that is totalled too the key is shown.
std::vector<GroupBuilder::Places> GroupBuilder::PlacesOfCells() const {
  std::vector<Places> levels(keys_.size());
  for (std::size_t level = 0; level < levels.size(); ++level) {
    Places& places = levels[level];
    places.keys.resize(keys_.size() - level);
    places.totals.assign(totals_.size(), kNoPlace);
    std::vector<std::pair<kt_long, std::size_t*>> cells;  // a column, and where its place is noted
    for (std::size_t at = 0; at < places.keys.size(); ++at) {
      cells.emplace_back(keys_[at].col, &places.keys[at]);
    }
    const auto key_cells = std::ssize(cells);
    for (std::size_t at = 0; at < totals_.size(); ++at) {
      const bool is_key = std::any_of(cells.begin(), cells.begin() + key_cells,
                                      [&](auto& cell) { return cell.first == totals_[at].col; });
      if (!is_key) cells.emplace_back(totals_[at].col, &places.totals[at]);
    }
    std::stable_sort(cells.begin(), cells.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& cell : cells) *cell.second = places.count++;
  }
  return levels;
}

// Within a level both ends rise, and with them how many subtotals stand before.
void GroupBuilder::RangesToRows(GroupView& groups) const {
  struct Passed {
    std::size_t first = 0;
    std::size_t last = 0;
  };
  std::vector<Passed> levels(keys_.size() + 1);
  CountedVector<Subtotal>& all = groups.All();
  const auto row_of = [&all](kt_long record, std::size_t& passed) {
    const auto stands_before = [&](std::size_t at) {
      return all[at].position - static_cast<kt_long>(at) <= record;
    };
    while (passed < all.size() && stands_before(passed)) ++passed;
    return record + static_cast<kt_long>(passed);
  };
  for (Subtotal& subtotal : all) {
    Passed& passed = levels[static_cast<std::size_t>(subtotal.level)];
    subtotal.first = row_of(subtotal.first, passed.first);
    subtotal.last = row_of(subtotal.last - 1, passed.last) + 1;
  }
}

// The groups with their ranges in records.
void GroupBuilder::Find(const CountedVector<Slot>& records, GroupView& groups) const {
  const auto key_count = static_cast<std::uint32_t>(keys_.size());
  if (runs_ != nullptr) groups.All().reserve(CountGroups());
  std::vector<kt_long> starts(key_count, 0);  // record that begins the open group of each key
  // Ends the groups of `key` and those after it before a record.
  const auto end_groups = [&](std::uint32_t key, std::size_t record) {
    const auto last = static_cast<kt_long>(record);
    for (std::uint32_t at = key_count; at-- > key;) {
      Subtotal subtotal;
      subtotal.level = static_cast<kt_long>(key_count - at);
      subtotal.first = starts[at];
      subtotal.last = last;
      groups.Add(std::move(subtotal));
      starts[at] = last;
    }
  };
  ForEachKeyChange(keys_, records, runs_,
                   [&](std::size_t record, std::uint32_t key) { end_groups(key, record); });
  if (!records.empty()) end_groups(0, records.size());
}

// How many there are by what the sort knows.
std::size_t GroupBuilder::CountGroups() const {
  std::size_t count = keys_.size();
  for (const std::uint32_t key : runs_->changed) {
    if (key < keys_.size()) count += keys_.size() - key;
  }
  return count;
}

// From record numbers to row numbers. Subtotals stand after their rows, inner levels first, or,
// reversed, before them, outer levels first.
void GroupBuilder::Place(bool reverse, GroupView& groups) {
  CountedVector<Subtotal>& all = groups.All();
  if (reverse) {
    RoundCharge charge;
    std::stable_sort(all.begin(), all.end(), [&](const Subtotal& a, const Subtotal& b) {
      charge.AddOrLeave(8 * Kt_WorkMeter::kUnitsPerCell);
      return a.first != b.first ? a.first < b.first : a.level > b.level;
    });
  }
  for (std::size_t at = 0; at < all.size(); ++at) {
    all[at].position = (reverse ? all[at].first : all[at].last) + static_cast<kt_long>(at);
  }
}

// REQUIRES for these: the ranges of the subtotals are still in records.
void GroupBuilder::FillKeys(const CountedVector<Slot>& records, const Places& places,
                            Subtotal& subtotal) const {
  const Slot slot = records[static_cast<std::size_t>(subtotal.first)];
  subtotal.cells.resize(places.count);
  for (std::size_t at = 0; at < places.keys.size(); ++at) {
    subtotal.cells[places.keys[at]] = {keys_[at].col, -1, keys_[at].cells->Read(slot)};
  }
}

void GroupBuilder::FillTotals(const CountedVector<Slot>& records, const std::vector<Places>& places,
                              GroupView& groups) const {
  CountedVector<Subtotal>& all = groups.All();
  const auto put = [&](std::size_t total, Subtotal& subtotal, Kt_Variant value) {
    const std::size_t place = places[LevelOf(subtotal)].totals[total];
    if (place != kNoPlace) subtotal.cells[place] = {totals_[total].col, -1, std::move(value)};
  };
  const auto can_fold = [](const TotalColumn& total) {
    return CanFoldRuns(total.what, *total.cells);
  };
  const GroupRuns runs(all, keys_.size());
  ShareRuns(runs, std::ranges::any_of(totals_, can_fold), [&](RunRange range) {
    for (std::size_t at = 0; at < totals_.size(); ++at) {
      if (!can_fold(totals_[at])) continue;
      const auto& [col, what, cells] = totals_[at];
      FoldRuns(what, *cells, records, runs, range, [&](std::size_t group, const Kt_CellFold& fold) {
        put(at, all[group], fold.Finish());
      });
    }
  });
  for (std::size_t at = 0; at < totals_.size(); ++at) {
    if (can_fold(totals_[at])) continue;
    const auto& [col, what, cells] = totals_[at];
    ChargeOrLeave(static_cast<std::int64_t>(records.size()) * Kt_WorkMeter::kUnitsPerCell);
    const Kt_Column in_order = cells->Gather(records);
    for (Subtotal& subtotal : all) {
      Kt_Variant value;
      TotalOfCells(what, in_order, static_cast<std::size_t>(subtotal.first),
                   static_cast<std::size_t>(subtotal.last), value);
      put(at, subtotal, std::move(value));
    }
  }
}

// Behind the keys those of every position, by column.
void GroupBuilder::FillPositions(const CountedVector<Slot>& records, GroupView& groups) const {
  RoundCharge charge;
  for (Subtotal& subtotal : groups.All()) {
    const CountedVector<Slot> rows(records.begin() + subtotal.first,
                                   records.begin() + subtotal.last);
    charge.AddOrLeave(static_cast<std::int64_t>(rows.size() + keys_.size() + 1) *
                      Kt_WorkMeter::kUnitsPerCell);
    pivot_->TotalRows(rows, subtotal.cells);
    std::sort(subtotal.cells.begin(), subtotal.cells.end(),
              [](const SubtotalCell& a, const SubtotalCell& b) {
                return std::pair(a.col, a.position) < std::pair(b.col, b.position);
              });
  }
}

}  // namespace kt::detail
