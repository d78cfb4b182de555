// SPDX-License-Identifier: MIT
//
// A part is added column by column, as its expressions are computed fastest. Filter and keys come
// first and give every row the number of its group: a key numbers its values, and each pair of the
// group so far and a value is a group of its own. Then each total is folded by these numbers. Only
// what the part came to is looked up among the groups of all parts.
//
// The rows stay where they are and are not sorted: sums are exact, so the order of rows does not
// matter. The cells of a column are read where they lie; the texts of one are looked up once for
// every text, and pairs in a table where there are not too many to have one.
#include "dataset/Kt_GroupTotals.h"

#include <algorithm>
#include <numeric>

#include "classlib/base/Kt_Charge.h"
#include "classlib/formats/Kt_Formats.h"
#include "dataset/detail/Kt_GroupPart.h"

namespace {

using namespace kt::detail;  // NOLINT(google-build-using-namespace): loops over rows

// Gives the rows of two keys the numbers of their pairs, and the pairs.
PairNumbers NumberPairs(Numbers& groups, std::size_t group_count, const Numbers& numbers,
                        std::size_t value_count, Helper* helper) {
  const std::size_t rows = groups.size();
  const std::size_t most_places = helper == nullptr ? 4 * rows : rows / 2;  // for each thread
  PairNumbers pairs(group_count, value_count, most_places);
  if (helper == nullptr) {
    pairs.NumberRows(groups, numbers, 0, rows);
    return pairs;
  }
  const RowHalves halves(rows);
  pairs.NumberRows(groups, numbers, 0, halves.alone);
  if (!IsFew(pairs.Count(), halves.alone)) {
    pairs.NumberRows(groups, numbers, halves.alone, rows);
    return pairs;
  }
  PairNumbers later(group_count, value_count, most_places);
  helper->Both([&] { pairs.NumberRows(groups, numbers, halves.alone, halves.middle); },
               [&] { later.NumberRows(groups, numbers, halves.middle, rows); });
  Renumber(groups, pairs.TakeIn(later), halves.middle, rows, *helper);
  return pairs;
}

// Splits groups by the values that their rows have, numbered as they come. Gives the keys of the
// new groups: those that they had, and the value.
std::vector<std::vector<Kt_Variant>> SplitGroups(Numbers& groups,
                                                 const std::vector<std::vector<Kt_Variant>>& keys,
                                                 Numbers& numbers, const Distinct& values,
                                                 Helper* helper) {
  std::vector<std::vector<Kt_Variant>> longer;
  const auto add = [&](std::uint32_t group, std::uint32_t value) {
    std::vector<Kt_Variant>& key = longer.emplace_back();
    key.reserve(keys[group].size() + 1);
    key = keys[group];
    key.push_back(values.Value(value));
  };
  if (keys.size() == 1) {  // values come as their numbers do
    longer.reserve(values.Count());
    for (std::uint32_t value = 0; value < values.Count(); ++value) add(0, value);
    groups.swap(numbers);
    return longer;
  }
  const PairNumbers pairs = NumberPairs(groups, keys.size(), numbers, values.Count(), helper);
  longer.reserve(pairs.Count());
  for (const PairNumbers::Pair pair : pairs.Pairs()) add(pair.group, pair.value);
  return longer;
}

// ---- Columns of the answer --------------------------------------------------------------------

bool IsNumber(Kt_Tag tag) {
  return tag == kTagLong || tag == kTagDouble || tag == kTagCurrency || tag == kTagBool;
}

// Numbers of several kinds become doubles: which of them came as what may depend on the parts.
std::shared_ptr<Kt_Column> ColumnOf(std::vector<Kt_Variant> values) {
  const auto kind_of_all = [&values](auto counts) {
    Kt_Tag tag = kTagEmpty;
    for (const Kt_Variant& value : values) {
      if (value.IsEmpty() || !counts(value.GetTag())) continue;
      if (tag != kTagEmpty && tag != value.GetTag()) return kTagUndeclared;
      tag = value.GetTag();
    }
    return tag;
  };
  if (kind_of_all(IsNumber) == kTagUndeclared) {
    for (Kt_Variant& value : values) {
      if (IsNumber(value.GetTag())) value = value.ToDouble();
    }
  }
  const Kt_Tag tag = kind_of_all([](Kt_Tag) { return true; });
  auto column = std::make_shared<Kt_Column>(kt_columntypeofW(tag));
  for (const Kt_Variant& value : values) column->Append(value);
  return column;
}

Kt_WString StateId(char16_t kind, std::size_t number) {
  return Kt_WString(std::u16string_view(&kind, 1)) +
         Kt_WString::FromUtf8(std::to_string(number)).View();
}

}  // namespace

std::size_t Kt_GroupTotals::Hash::operator()(const Values& values) const {
  std::size_t hash = values.size();
  for (const Kt_Variant& value : values) hash = std::rotl(hash, 5) * 31 + kt::HashOf(value);
  return hash;
}

Kt_GroupTotals::Kt_GroupTotals(std::vector<Key> keys, std::vector<Total> totals, Kt_WString filter)
    : keys_(std::move(keys)), totals_(std::move(totals)), filter_(std::move(filter)) {
  Clear();
}

// All rows are a group, also when there are none.
void Kt_GroupTotals::Clear() {
  groups_.clear();
  places_.clear();
  if (!keys_.empty()) return;
  std::vector<Group> all_rows(1);
  all_rows[0].folds = NewFolds();
  TakeAll(std::move(all_rows));
}

std::vector<Kt_PartFold> Kt_GroupTotals::NewFolds() const {
  std::vector<Kt_PartFold> folds;
  folds.reserve(totals_.size());
  for (const Total& total : totals_) folds.emplace_back(total.what);
  return folds;
}

// What needs memory comes first, and is taken back when there is none.
template <class Groups>
void Kt_GroupTotals::TakeAll(Groups&& later) {
  using Part = std::conditional_t<std::is_lvalue_reference_v<Groups>, const Group&, Group&&>;
  const std::size_t before = groups_.size();
  std::vector<std::size_t> places;
  places.reserve(later.size());
  try {
    for (auto& group : later) places.push_back(PlaceFor(std::forward<Part>(group)));
  } catch (...) {
    for (; groups_.size() > before; groups_.pop_back()) places_.erase(groups_.back().key);
    throw;
  }
  for (std::size_t at = 0; at < later.size(); ++at) {
    if (places[at] == kNew) continue;
    Group& group = groups_[places[at]];
    for (std::size_t key = 0; key < group.key.size(); ++key) {
      KeepKind(group.key[key], later[at].key[key]);
    }
    for (std::size_t total = 0; total < totals_.size(); ++total) {
      group.folds[total].Merge(later[at].folds[total]);
    }
  }
}

// Of a group of later rows; kNew when it was put there. After this merging them needs no memory.
template <class AnyGroup>
std::size_t Kt_GroupTotals::PlaceFor(AnyGroup&& later) {
  const auto place = places_.find(later.key);
  if (place == places_.end()) {
    groups_.push_back(std::forward<AnyGroup>(later));
    places_.emplace(groups_.back().key, groups_.size() - 1);
    return kNew;
  }
  Group& group = groups_[place->second];
  for (std::size_t total = 0; total < totals_.size(); ++total) {
    group.folds[total].PrepareMerge(later.folds[total]);
  }
  return place->second;
}

kt_long Kt_GroupTotals::Add(Kt_ExprDataset& rows) {
  if (rows.GetDataset() == nullptr) return kFailed;
  try {
    return AddPart(rows);
  } catch (const WorkStopped&) {
    return Kt_WorkMeter::CurrentStop();
  }
}

kt_long Kt_GroupTotals::AddPart(Kt_ExprDataset& rows) {
  GroupPart part(rows);
  Numbers groups(part.RowCount(), 0);
  FilterTaker filter(groups);
  if (!filter_.IsEmpty() && !part.Each(filter_, filter)) return part.GetStopCode();

  std::vector<Values> keys(1);
  for (const Key& key : keys_) {
    Numbers numbers(part.RowCount(), kNoGroup);
    KeyTaker taker(groups, numbers);
    if (!part.Each(key.text, taker)) return part.GetStopCode();
    keys = SplitGroups(groups, keys, numbers, taker.Values(), part.GetHelper());
  }

  std::vector<Kt_PartFold> folds;
  folds.reserve(keys.size() * totals_.size());
  for (std::size_t group = 0; group < keys.size(); ++group) {
    for (const Total& total : totals_) folds.emplace_back(total.what);
  }
  for (std::size_t at = 0; at < totals_.size() && !keys.empty(); ++at) {
    TotalTaker taker(groups, totals_[at].what, folds.data() + at, totals_.size(), keys.size());
    if (!part.Each(totals_[at].text, taker)) return part.GetStopCode();
    taker.Finish();
  }
  std::vector<Group> made(keys.size());
  for (std::size_t group = 0; group < keys.size(); ++group) {
    const auto first = std::make_move_iterator(folds.begin() +
                                               static_cast<std::ptrdiff_t>(group * totals_.size()));
    made[group] = {std::move(keys[group]), {first, first + std::ssize(totals_)}};
  }
  TakeAll(std::move(made));
  return kOk;
}

bool Kt_GroupTotals::Merge(const Kt_GroupTotals& later) {
  const auto is_same = [](const Total& a, const Total& b) {
    return a.id == b.id && a.what == b.what && a.text == b.text;
  };
  if (later.keys_.size() != keys_.size() || !std::ranges::equal(later.totals_, totals_, is_same)) {
    return false;
  }
  TakeAll(later.groups_);
  return true;
}

kt_long Kt_GroupTotals::Finish(Kt_Dataset& answer) const {
  std::vector<std::size_t> order(groups_.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, [this](std::size_t a, std::size_t b) {
    return std::ranges::lexicographical_compare(
        groups_[a].key, groups_[b].key,
        [](const Kt_Variant& x, const Kt_Variant& y) { return Var_Order(x, y) < 0; });
  });
  std::vector<kt::ColumnData> columns;
  for (std::size_t at = 0; at < keys_.size(); ++at) {
    Values values;
    for (const std::size_t group : order) values.push_back(groups_[group].key[at]);
    columns.push_back({keys_[at].id, ColumnOf(std::move(values))});
  }
  for (std::size_t at = 0; at < totals_.size(); ++at) {
    Values values;
    for (const std::size_t group : order) values.push_back(groups_[group].folds[at].Finish());
    columns.push_back({totals_[at].id, ColumnOf(std::move(values))});
  }
  return kt::LoadColumns(answer, columns, true);
}

// ---- State ------------------------------------------------------------------------------------

// A dataset with a row for each group: keys k0, k1..., of each total its bytes (s0, s1...) and its
// extreme (b0, b1...).
kt_long Kt_GroupTotals::Save(Kt_Buffer& bytes) const {
  std::vector<kt::ColumnData> columns;
  const auto add = [&](char16_t kind, std::size_t number, auto value_of) {
    auto column = std::make_shared<Kt_Column>(Kt_ColumnType::kVariant);
    for (const Group& group : groups_) column->Append(value_of(group));
    columns.push_back({StateId(kind, number), std::move(column)});
  };
  for (std::size_t at = 0; at < keys_.size(); ++at) {
    add(u'k', at, [at](const Group& group) { return group.key[at]; });
  }
  for (std::size_t at = 0; at < totals_.size(); ++at) {
    add(u's', at, [at](const Group& group) {
      const std::string state = group.folds[at].Save();
      Kt_Variant value;
      value.SetBinary(state.data(), state.size());
      return value;
    });
    add(u'b', at, [at](const Group& group) { return group.folds[at].Best(); });
  }
  Kt_Dataset state(u"totals");
  const kt_long code = kt::LoadColumns(state, columns, true);
  if (code < 0) return code;
  Kt_SaveReport report;
  return kt::SaveBinary(state, u"", bytes, report);
}

bool Kt_GroupTotals::Load(std::span<const std::uint8_t> bytes) {
  Kt_Dataset state(u"totals");
  Kt_LoadReport report;
  groups_.clear();
  places_.clear();
  if (kt::LoadBinary(state, bytes, true, report) >= 0 && LoadGroups(state)) return true;
  Clear();
  return false;
}

bool Kt_GroupTotals::LoadGroups(const Kt_Dataset& state) {
  const auto cell = [&state](kt_long row, char16_t kind, std::size_t number) {
    const kt_long col = state.GetColIndex(StateId(kind, number).View());
    return col < 0 ? Kt_Variant() : state.ReadColumn(row, col);
  };
  if (static_cast<std::size_t>(state.GetColCount()) != keys_.size() + 2 * totals_.size()) {
    return false;
  }
  std::vector<Group> groups;
  for (kt_long row = 0; row < state.GetRowCount(); ++row) {
    Group& group = groups.emplace_back();
    for (std::size_t at = 0; at < keys_.size(); ++at) group.key.push_back(cell(row, u'k', at));
    group.folds = NewFolds();
    for (std::size_t at = 0; at < group.folds.size(); ++at) {
      const Kt_Variant bytes = cell(row, u's', at);
      if (bytes.GetTag() != kTagBinary ||
          !group.folds[at].Load(bytes.AsBinary(), cell(row, u'b', at))) {
        return false;
      }
    }
  }
  TakeAll(std::move(groups));
  return !keys_.empty() || groups_.size() == 1;
}
